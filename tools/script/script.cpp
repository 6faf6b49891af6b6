#include "script.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "platform/text/text.h"

namespace script {

using toolkit::Control;
using toolkit::Key;
using toolkit::KeyStroke;
using toolkit::ListBox;
using toolkit::TextBox;

namespace {

using namespace std::chrono_literals;

int g_line = 0;  // being run; 0 before the first
std::chrono::milliseconds g_clock = 12h + 30min;

// Names as for `show`, each with what it had when the user saw it last.
std::vector<std::pair<std::u16string, std::string>> g_watched;

std::string Text(std::u16string_view s) { return text::ToUtf8(s); }

// The line that `show` prints. Throws Error.
std::string Show(const std::u16string& name);

}  // namespace

std::chrono::milliseconds Clock() { return g_clock; }

bool CanCopy() {
  const Control* focus = ANAGPARC::Me.Focus();
  return focus != nullptr && !focus->Copied(toolkit::Choice::Copy, -1).empty();
}

std::string Quote(std::u16string_view text) {
  std::string out = "\"";
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    const bool high = text::IsHighSurrogate(c);
    if (high && i + 1 < text.size() && text::IsLowSurrogate(text[i + 1])) {
      out += Text(text.substr(i++, 2));
    } else if (c == u'"' || c == u'\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c == u'\r') {
      out += "\\r";
    } else if (c == u'\n') {
      out += "\\n";
    } else if (high || text::IsLowSurrogate(c) || text::IsControl(c)) {
      constexpr char kDigits[] = "0123456789ABCDEF";
      out += "\\u";
      for (int shift = 12; shift >= 0; shift -= 4) {
        out += kDigits[c >> shift & 15];
      }
    } else {
      out += Text({&c, 1});
    }
  }
  return out + '"';
}

void Fail(const Error& error) {
  std::cout.flush();
  std::cerr << "riga " << g_line << ": " << Text(error.text) << std::endl;
  std::_Exit(2);
}

// --- What the program does

int Answers::Next(const toolkit::Message& message) {
  if (message.buttons.size() == 1) {
    return message.buttons[0].code;
  }
  if (codes_.empty()) {
    throw Error{u"nessuna risposta pronta per la domanda: " + text::FromUtf8(Quote(message.text))};
  }
  if (codes_.front() == kLeftOpen && open) {
    codes_.pop_front();
    const std::deque<int> later = std::exchange(codes_, {});
    open(message);
    codes_.insert(codes_.end(), later.begin(), later.end());
  }
  const int code = codes_.front();
  codes_.pop_front();
  for (const auto& button : message.buttons) {
    if (button.code == code) {
      return code;
    }
  }
  throw Error{u"la domanda non ha il pulsante " + text::Decimal(code) + u": " +
              text::FromUtf8(Quote(message.text))};
}

int NoScreen::Ask(const toolkit::Message& message) {
  try {
    return answers_.Next(message);
  } catch (const Error& error) {
    Fail(error);
  }
}

void Printer::MessageShown(const toolkit::Message& message, int answer) {
  out_ << "MsgBox flags=" << message.flags << " answer=" << answer
       << " title=" << Quote(message.title) << " text=" << Quote(message.text) << '\n';
}
void Printer::Beeped() { out_ << "Beep\n"; }
void Printer::Activated(std::u16string_view title, bool found) {
  out_ << "Activate " << Quote(title) << " = " << found << '\n';
}
void Printer::Started(std::u16string_view path) { out_ << "Shell " << Quote(path) << '\n'; }
void Printer::Printed(const toolkit::Document& document) {
  const auto line = [this](std::initializer_list<std::u16string_view> texts) {
    out_ << "Print";
    for (const std::u16string_view text : texts) {
      out_ << ' ' << Quote(text);
    }
    out_ << '\n';
  };
  line({document.name});
  line({document.program});
  line({document.title});
  for (const std::u16string& text : document.lines) {
    line({text});
  }
  for (const toolkit::Block& block : document.blocks) {
    line({block.title});
    for (const toolkit::Item& item : block.items) {
      line({item.label, item.value, item.description});
    }
  }
  const std::size_t columns = document.columns.size();
  for (std::size_t i = 0; i < columns; ++i) {
    out_ << (i == 0 ? "Print " : " ") << Quote(document.columns[i].title);
  }
  for (std::size_t i = 0; columns > 0 && i < document.cells.size(); ++i) {
    out_ << (i % columns == 0 ? "\nPrint " : " ") << Quote(document.cells[i]);
  }
  if (columns > 0) {
    out_ << '\n';
    line({document.closing});
  }
}
void Printer::ManualAsked(std::u16string_view chapter) {
  out_ << "Manual " << Quote(chapter) << '\n';
}
void Printer::Painted() {
  for (auto& [name, seen] : g_watched) {
    if (const std::string now = Show(name); std::exchange(seen, now) != now) {
      out_ << "Painted " << now << '\n';
    }
  }
}
void Printer::Ended(int status) { out_ << "End " << status << '\n'; }

// --- Actions on the model alone

namespace {

toolkit::Form& Form() { return ANAGPARC::Me; }

// A caption without the mark of its letter.
std::u16string Plain(std::u16string_view caption) {
  std::u16string plain(caption);
  std::erase(plain, u'&');
  return plain;
}

}  // namespace

bool ModelActions::Click(Control& control) { return Form().UserClick(control); }
bool ModelActions::ClickRow(ListBox& list, int row) { return Form().UserClickRow(list, row); }
bool ModelActions::DblClickRow(ListBox& list, int row) {
  if (!Form().UserClickRow(list, row)) {
    return false;
  }
  Form().UserDblClickRow(list, row);
  return true;
}
bool ModelActions::Scroll(ListBox& list, int row) { return Form().UserScroll(list, row); }
bool ModelActions::RightClick(Control& control, int row, std::u16string_view choice,
                              std::vector<std::u16string>& offered) {
  if (auto* list = dynamic_cast<ListBox*>(&control)) {
    Form().UserScroll(*list, list->TopToShow(row));
  }
  for (const toolkit::MenuEntry& entry : Form().UserMenu(control, row)) {
    if (entry.enabled) {
      offered.push_back(Plain(entry.caption));
      if (offered.back() == choice) {
        return Form().UserChoose(control, row, entry);
      }
    }
  }
  return choice.empty() && !offered.empty();
}
bool ModelActions::Focus(Control& control) { return Form().UserFocus(control); }
bool ModelActions::Caret(int offset) { return Form().UserClick(*Form().Focus(), offset); }
bool ModelActions::Key(const KeyStroke& stroke) {
  if (!stroke.control || stroke.key != toolkit::Key::Character) {
    return Form().UserKey(stroke);
  }
  switch (stroke.text[0]) {
    case u'A':
      return Form().UserSelectAll();
    case u'C':
      return Form().UserCopy();
    case u'V':
      return Form().UserPaste();
    case u'X':
      return Form().UserCut();
    case u'Z':
      return Form().UserUndo();
    default:
      return Form().UserKey(stroke);
  }
}
bool ModelActions::Paste(std::u16string_view clipboard) {
  toolkit::App().view->SetClipboard(clipboard);
  return Form().UserPaste();
}
bool ModelActions::Access(char16_t letter) { return Form().UserAccess(letter); }
bool ModelActions::Close() { return Form().UserClose(); }
bool ModelActions::Screenshot(const std::string&) { return false; }

// --- Words of a line

namespace {

// What stands after a backslash, from `i` on, which moves to its last character.
char16_t Escaped(std::u16string_view line, std::size_t& i) {
  char16_t c = u'\0';
  if (i < line.size()) {
    c = line[i];
  }
  switch (c) {
    case u'"':
    case u'\\':
      return c;
    case u'r':
      return u'\r';
    case u'n':
      return u'\n';
    case u't':
      return u'\t';
    case u'u': {
      const std::string digits = Text(line.substr(i + 1, 4));
      std::uint16_t unit = 0;
      const auto end = std::from_chars(digits.data(), digits.data() + digits.size(), unit, 16).ptr;
      if (digits.size() == 4 && end == digits.data() + 4) {
        i += 4;
        return unit;
      }
      [[fallthrough]];
    }
    default:
      throw Error{u"dopo \\ sono ammessi \" \\ r n t uXXXX"};
  }
}

}  // namespace

std::vector<Word> Split(std::u16string_view line) {
  std::vector<Word> words;
  std::size_t i = 0;
  while (i < line.size()) {
    if (line[i] == u' ' || line[i] == u'\t') {
      ++i;
      continue;
    }
    Word word;
    if (line[i] != u'"') {
      while (i < line.size() && line[i] != u' ' && line[i] != u'\t') {
        word.text += line[i++];
      }
      words.push_back(word);
      continue;
    }
    word.quoted = true;
    for (++i; i < line.size() && line[i] != u'"'; ++i) {
      if (line[i] == u'\\') {
        word.text += Escaped(line, ++i);
      } else {
        word.text += line[i];
      }
    }
    if (i >= line.size()) {
      throw Error{u"manca la virgoletta di chiusura"};
    }
    ++i;
    words.push_back(word);
  }
  return words;
}

namespace {

std::optional<int> Number(std::u16string_view s) {
  const std::string digits = Text(s);
  int n = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), n);
  if (error != std::errc() || end != digits.data() + digits.size()) {
    return std::nullopt;
  }
  return n;
}

int NumberOf(const Word& word) {
  const std::optional<int> n = Number(word.text);
  if (!n || word.quoted) {
    throw Error{u"non è un numero: " + word.text};
  }
  return *n;
}

// --- Names

Control* FindControl(std::u16string_view name) {
  for (Control* control : Form().Controls()) {
    if (name.starts_with(control->Name()) && control->FullName() == name) {
      return control;
    }
  }
  return nullptr;
}

Control& ControlOf(const Word& word) {
  Control* control = FindControl(word.text);
  if (control == nullptr) {
    throw Error{u"controllo sconosciuto: " + word.text};
  }
  return *control;
}

ListBox& ListOf(const Word& word) {
  auto* list = dynamic_cast<ListBox*>(&ControlOf(word));
  if (list == nullptr) {
    throw Error{u"non è una lista: " + word.text};
  }
  return *list;
}

using Shown = std::optional<std::string>;

Shown Format(const std::u16string& text) { return Quote(text); }
Shown Format(bool on) { return on ? "1" : "0"; }
Shown Format(long long n) { return std::to_string(n); }
Shown Format(int n) { return std::to_string(n); }
Shown Format(toolkit::Color color) { return std::to_string(color); }

Shown Variable(std::u16string_view name) {
  using namespace ANAGPARC;
  using namespace MOD770BAS;
  static constexpr std::pair<std::u16string_view, Shown (*)()> kVariables[] = {
      {u"FlagFormCaricato", [] { return Format(FlagFormCaricato); }},
      {u"FlagVariazioni", [] { return Format(FlagVariazioni); }},
      {u"FlagErroreCampi", [] { return Format(FlagErroreCampi); }},
      {u"FlagNuovaAnagrafica", [] { return Format(FlagNuovaAnagrafica); }},
      {u"RispostaUtente", [] { return Format(RispostaUtente); }},
      {u"TabellaAperta", [] { return Format(TabellaAperta); }},
      {u"IndiceCampo", [] { return Format(static_cast<long long>(IndiceCampo)); }},
      {u"CFCorrente", [] { return Format(CFCorrente); }},
      {u"CFPrecedente", [] { return Format(CFPrecedente); }},
      {u"CFNuovo", [] { return Format(CFNuovo); }},
      {u"RigaSelezionata", [] { return Format(RigaSelezionata); }},
      {u"PercorsoArchivi", [] { return Format(PercorsoArchivi); }},
      {u"PercorsoProgrammi", [] { return Format(PercorsoProgrammi); }},
  };
  for (const auto& [variable, value] : kVariables) {
    if (variable == name) {
      return value();
    }
  }
  return std::nullopt;
}

// What one of the classes holds; nothing for a control of another.
template <auto kGet, class... Classes>
Shown Of(Control& control) {
  Shown value;
  const auto get = [&value](auto* one) {
    if (one != nullptr) {
      value = Format((one->*kGet)());
    }
  };
  (get(dynamic_cast<Classes*>(&control)), ...);
  return value;
}

Shown Place(Control& control) {
  std::string place;
  for (const int twips : {control.Left(), control.Top(), control.Width(), control.Height()}) {
    text::AppendItem(place, std::to_string(twips), " ");
  }
  return place;
}

template <int kNumber>
Shown Panel(Control& control) {
  auto* bar = dynamic_cast<toolkit::StatusBar*>(&control);
  if (bar == nullptr) {
    return std::nullopt;
  }
  return Format(bar->Panels(kNumber).Text());
}

constexpr struct {
  std::u16string_view name;
  Shown (*get)(Control& control);
  bool main;  // what a control is asked for when no property is named
} kProperties[] = {
    {u"Visible", Of<&Control::Visible, Control>, false},
    {u"Enabled", Of<&Control::Enabled, Control>, false},
    {u"ForeColor", Of<&Control::ForeColor, Control>, false},
    {u"BackColor", Of<&Control::BackColor, Control>, false},
    {u"ToolTipText", Of<&Control::ToolTipText, Control>, false},
    {u"TabIndex", Of<&Control::TabIndex, Control>, false},
    {u"Place", Place, false},
    {u"Text", Of<&TextBox::Text, TextBox>, true},
    {u"SelStart", Of<&TextBox::SelStart, TextBox>, false},
    {u"MaxLength", Of<&TextBox::MaxLength, TextBox>, false},
    {u"Locked", Of<&TextBox::Locked, TextBox>, false},
    {u"Refusals", Of<&TextBox::Refusals, TextBox>, false},
    {u"Text", Of<&ListBox::Text, ListBox>, true},
    {u"ListIndex", Of<&ListBox::ListIndex, ListBox>, false},
    {u"ListCount", Of<&ListBox::ListCount, ListBox>, false},
    {u"TopIndex", Of<&ListBox::TopIndex, ListBox>, false},
    {u"Value", Of<&toolkit::OptionButton::Value, toolkit::OptionButton>, true},
    {u"Panels(1)", Panel<1>, true},
    {u"Panels(2)", Panel<2>, false},
    {u"Caption",
     Of<&Control::Caption, toolkit::Label, toolkit::Frame, toolkit::Shape, toolkit::Button>, true},
};

// Of no property the control's main one.
Shown Property(Control& control, std::u16string_view property) {
  for (const auto& row : kProperties) {
    if ((property.empty() && row.main) || row.name == property) {
      if (Shown value = row.get(control)) {
        return value;
      }
    }
  }
  return std::nullopt;
}

Shown FormProperty(std::u16string_view property) {
  const toolkit::Form& form = Form();
  if (property == u"Caption") return Format(form.Caption());
  if (property == u"BackColor") return Format(form.BackColor());
  if (property == u"Left") return Format(form.Left());
  if (property == u"Top") return Format(form.Top());
  if (property == u"Width") return Format(form.Width());
  if (property == u"Height") return Format(form.Height());
  return std::nullopt;
}

std::string Show(const std::u16string& name) {
  if (name == u"Focus") {
    const Control* focus = Form().Focus();
    if (focus == nullptr) {
      return "Focus =";
    }
    return "Focus = " + Text(focus->FullName());
  }
  const auto point = name.find(u'.');
  const std::u16string owner = name.substr(0, point);
  std::u16string property;
  if (point != name.npos) {
    property = name.substr(point + 1);
  }
  Shown value;
  if (Control* control = FindControl(owner)) {
    value = Property(*control, property);
  } else if (owner == Form().Name()) {
    value = FormProperty(property);
  } else if (owner == u"Screen" && property == u"MousePointer") {
    value = Format(toolkit::Screen.MousePointer);
  } else if (name == u"Clipboard") {
    value = Format(toolkit::App().view->Clipboard());
  } else {
    value = Variable(name);
  }
  if (!value) {
    throw Error{u"nome sconosciuto: " + name};
  }
  return Text(name) + " = " + *value;
}

// --- Actions

constexpr std::u16string_view kWithControl = u"ACNPSVXZ0123";

// A key's name, with Ctrl, Shift or both in front; with Ctrl also one of the
// letters that stand for a command.
KeyStroke StrokeOf(const Word& word) {
  std::u16string_view name = word.text;
  const auto with = [&name](std::u16string_view modifier) {
    const bool there = name.starts_with(modifier);
    if (there) {
      name.remove_prefix(modifier.size());
    }
    return there;
  };
  const bool control = with(u"Ctrl");
  const bool shift = with(u"Shift");
  for (const std::u16string_view sign : {u"Plus+", u"Minus-"}) {
    if (control && !shift && name == sign.substr(0, sign.size() - 1)) {
      return {.text = sign.substr(sign.size() - 1), .control = true};
    }
  }
  if (control && !shift && name.size() == 1 && kWithControl.find(name[0]) != kWithControl.npos) {
    return {.text = name, .control = true};
  }
  const auto* found = std::ranges::find(toolkit::kNamedKeys, name, &toolkit::NamedKey::name);
  if (found == std::end(toolkit::kNamedKeys) || (control && found->key == Key::Tab)) {
    throw Error{u"tasto sconosciuto: " + word.text};
  }
  return {.key = found->key, .shift = shift, .control = control};
}

// The characters one by one, until one can't be typed; a line end is Enter, a
// tab the key of that name.
bool Type(Actions& actions, std::u16string_view characters) {
  for (std::size_t i = 0; i < characters.size();) {
    std::size_t length = 1;
    if (text::IsHighSurrogate(characters[i]) && i + 1 < characters.size() &&
        text::IsLowSurrogate(characters[i + 1])) {
      length = 2;
    }
    KeyStroke stroke{.text = characters.substr(i, length)};
    if (characters[i] == u'\r' || characters[i] == u'\n') {
      stroke = {.key = Key::Enter};
    } else if (characters[i] == u'\t') {
      stroke = {.key = Key::Tab};
    }
    if (!actions.Key(stroke)) {
      return false;
    }
    if (toolkit::App().ended) {
      return true;
    }
    i += length;
  }
  return true;
}

// One key after the other, until one has nowhere to go or ends the program.
bool PressKeys(Actions& actions, const std::vector<Word>& words) {
  std::vector<KeyStroke> strokes;
  for (std::size_t i = 1; i < words.size(); ++i) {
    strokes.push_back(StrokeOf(words[i]));
  }
  for (const KeyStroke& stroke : strokes) {
    if (!toolkit::App().ended && !actions.Key(stroke)) {
      return false;
    }
  }
  return true;
}

// --- The commands

// What a command works on: its line's words, its own first.
struct Call {
  const std::vector<Word>& words;
  std::ostream& out;
  Answers& answers;
  Actions& actions;
};

bool Answer(const Call& call) {
  for (std::size_t i = 1; i < call.words.size(); ++i) {
    const Word& word = call.words[i];
    if (word.text == u"?" && !word.quoted) {
      call.answers.Add(Answers::kLeftOpen);
    } else {
      call.answers.Add(NumberOf(word));
    }
  }
  return true;
}

bool ClickAt(const Call& call) {
  const std::vector<Word>& words = call.words;
  Control& control = ControlOf(words[1]);
  auto* list = dynamic_cast<ListBox*>(&control);
  if (list == nullptr && words.size() == 3) {
    throw Error{u"la riga vale solo per una lista"};
  }
  if (list == nullptr) {
    return control.Usable() && call.actions.Click(control);
  }
  if (words.size() < 3) {
    throw Error{u"manca la riga della lista"};
  }
  const int row = NumberOf(words[2]);
  if (row < -1) {
    throw Error{u"riga non valida: " + words[2].text};
  }
  return list->Usable() && call.actions.ClickRow(*list, row);
}

bool DblClickAt(const Call& call) {
  ListBox& list = ListOf(call.words[1]);
  const int row = NumberOf(call.words[2]);
  return list.Usable() && call.actions.DblClickRow(list, row);
}

bool ScrollTo(const Call& call) {
  ListBox& list = ListOf(call.words[1]);
  const int row = NumberOf(call.words[2]);
  return list.Usable() && call.actions.Scroll(list, row);
}

// A disabled list shows its rows, but can't be scrolled.
bool CanShowRow(const ListBox& list, int row) {
  return row >= 0 && row < list.ListCount() && list.Showing() &&
         (list.Usable() || list.TopToShow(row) == list.TopIndex());
}

// rightclick CTRL [ROW] ["choice"]
bool RightClickAt(const Call& call) {
  Control& control = ControlOf(call.words[1]);
  const auto* list = dynamic_cast<ListBox*>(&control);
  const std::size_t choice = list != nullptr ? 3 : 2;
  if (call.words.size() < choice || call.words.size() > choice + 1) {
    throw Error{u"argomenti sbagliati per rightclick"};
  }
  std::u16string chosen;
  if (call.words.size() > choice) {
    chosen = call.words[choice].text;
  }
  int row = -1;
  bool inSight = false;
  if (list != nullptr) {
    row = NumberOf(call.words[2]);
    inSight = CanShowRow(*list, row);
  } else {
    inSight = Form().PlaceToClick(control).has_value();
  }
  std::vector<std::u16string> offered;
  if (!inSight || !call.actions.RightClick(control, row, chosen, offered)) {
    return false;
  }
  if (call.words.size() == choice) {
    call.out << "Menu";
    for (const std::u16string& caption : offered) {
      call.out << ' ' << Quote(caption);
    }
    call.out << '\n';
  }
  return true;
}

bool FocusOn(const Call& call) {
  Control& control = ControlOf(call.words[1]);
  return control.CanFocus() && call.actions.Focus(control);
}

bool PlaceCaret(const Call& call) {
  const int offset = NumberOf(call.words[1]);
  return dynamic_cast<TextBox*>(Form().Focus()) != nullptr && call.actions.Caret(offset);
}

bool Paste(const Call& call) {
  return dynamic_cast<TextBox*>(Form().Focus()) != nullptr &&
         call.actions.Paste(call.words[1].text);
}

bool Access(const Call& call) {
  if (call.words[1].text.size() != 1) {
    throw Error{u"serve una lettera sola"};
  }
  return call.actions.Access(call.words[1].text[0]);
}

bool Wait(const Call& call) {
  g_clock += std::chrono::milliseconds(NumberOf(call.words[1]));
  Form().Idle();
  toolkit::App().view->Repaint();
  return true;
}

bool Watch(const Call& call) {
  g_watched.clear();
  for (std::size_t i = 1; i < call.words.size(); ++i) {
    g_watched.emplace_back(call.words[i].text, Show(call.words[i].text));
  }
  return true;
}

bool ShowList(const Call& call) {
  const ListBox& list = ListOf(call.words[1]);
  for (int row = 0; row < list.ListCount(); ++row) {
    call.out << Text(call.words[1].text) << '(' << row << ") = " << Quote(list.List(row)) << '\n';
  }
  return true;
}

constexpr std::size_t kAny = 1000;

constexpr struct Command {
  std::u16string_view name;
  std::size_t least, most;  // words after the command's own
  bool quoted;              // the one word stands between quotation marks
  bool (*run)(const Call& call);
} kCommands[] = {
    {u"answer", 1, kAny, false, Answer},
    {u"click", 1, 2, false, ClickAt},
    {u"dblclick", 2, 2, false, DblClickAt},
    {u"rightclick", 1, 3, false, RightClickAt},
    {u"scroll", 2, 2, false, ScrollTo},
    {u"focus", 1, 1, false, FocusOn},
    {u"caret", 1, 1, false, PlaceCaret},
    {u"type", 1, 1, true, [](const Call& c) { return Type(c.actions, c.words[1].text); }},
    {u"key", 1, kAny, false, [](const Call& c) { return PressKeys(c.actions, c.words); }},
    {u"paste", 1, 1, true, Paste},
    {u"access", 1, 1, false, Access},
    {u"close", 0, 0, false, [](const Call& c) { return c.actions.Close(); }},
    {u"show", 1, 1, false,
     [](const Call& c) {
       c.out << Show(c.words[1].text) << '\n';
       return true;
     }},
    {u"watch", 0, kAny, false, Watch},
    {u"list", 1, 1, false, ShowList},
    {u"wait", 1, 1, false, Wait},
    {u"screenshot", 1, 1, false,
     [](const Call& c) { return c.actions.Screenshot(Text(c.words[1].text)); }},
};

}  // namespace

void RunLine(std::u16string_view line, std::ostream& out, Answers& answers, Actions& actions) {
  if (line.starts_with(u'#')) {
    return;
  }
  const std::vector<Word> words = Split(line);
  if (words.empty()) {
    return;
  }
  const auto* const command = std::ranges::find(kCommands, words[0].text, &Command::name);
  if (command == std::end(kCommands)) {
    throw Error{u"comando sconosciuto: " + words[0].text};
  }
  const std::size_t given = words.size() - 1;
  if (given < command->least || given > command->most || (command->quoted && !words[1].quoted)) {
    throw Error{u"argomenti sbagliati per " + words[0].text};
  }
  if (!command->run({words, out, answers, actions})) {
    out << "ignored " << Text(line) << '\n';
  }
}

namespace {

// The next line, without blanks at its ends; false at the end of all.
bool ReadLine(std::istream& lines, std::ostream& out, std::u16string& line) {
  out.flush();
  std::string bytes;
  if (!std::getline(lines, bytes)) {
    return false;
  }
  ++g_line;
  if (bytes.ends_with('\r')) {
    bytes.pop_back();
  }
  line = text::Trim(text::FromUtf8(bytes));
  return true;
}

// A question that is left open takes its answer from the next line, or from a
// later one after looks at the state.
void AnswerOpen(std::istream& lines, std::ostream& out, Answers& answers, Actions& actions,
                const toolkit::Message& message) {
  out << "Question flags=" << message.flags << " text=" << Quote(message.text) << '\n';
  std::u16string line;
  while (ReadLine(lines, out, line)) {
    const bool answer = line.starts_with(u"answer ");
    if (!answer && !line.empty() && !line.starts_with(u'#') && !line.starts_with(u"show ") &&
        !line.starts_with(u"list ")) {
      throw Error{u"una domanda aspetta la risposta: " + line};
    }
    RunLine(line, out, answers, actions);
    if (answer) {
      return;
    }
  }
  throw Error{u"nessuna risposta alla domanda: " + text::FromUtf8(Quote(message.text))};
}

}  // namespace

void Run(std::istream& lines, std::ostream& out, Answers& answers, Actions& actions) {
  answers.open = [&](const toolkit::Message& message) {
    AnswerOpen(lines, out, answers, actions, message);
  };
  std::u16string line;
  while (!toolkit::App().ended && ReadLine(lines, out, line)) {
    try {
      RunLine(line, out, answers, actions);
    } catch (const Error& error) {
      Fail(error);
    }
  }
  answers.open = nullptr;
}

}  // namespace script
