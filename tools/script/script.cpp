#include "script.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <map>
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
using toolkit::Kind;
using toolkit::ListBox;
using toolkit::TextBox;

namespace {

using namespace std::chrono_literals;

int g_line = 0;  // being run; 0 before the first
std::chrono::milliseconds g_clock = 12h + 30min;

std::string Text(std::u16string_view s) { return text::ToUtf8(s); }

}  // namespace

std::chrono::milliseconds Clock() { return g_clock; }

bool CanCopy() {
  const Control* focus = ANAGPARC::Me.Focus();
  if (const auto* list = dynamic_cast<const ListBox*>(focus)) {
    return list->Code && list->ListIndex() >= 0 && !list->Code(list->ListIndex()).empty();
  }
  const auto* box = dynamic_cast<const TextBox*>(focus);
  return box != nullptr && box->SelLength() > 0;
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
    } else if (c == u'\r' || c == u'\n') {
      out += c == u'\r' ? "\\r" : "\\n";
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

// --- What the program tells

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
  out_ << "Activate " << Quote(title) << " = " << (found ? 1 : 0) << '\n';
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
  for (std::size_t i = 0; i < document.cells.size(); ++i) {
    out_ << (i % columns == 0 ? "\nPrint " : " ") << Quote(document.cells[i]);
  }
  if (columns > 0) {
    out_ << '\n';
    line({document.closing});
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
        return Form().UserChoose(control, row, entry.choice);
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
  const char16_t c = i < line.size() ? line[i] : u'\0';
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
      word.text += line[i] == u'\\' ? Escaped(line, ++i) : line[i];
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
  const auto n = word.quoted ? std::nullopt : Number(word.text);
  if (!n) {
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
  Control& control = ControlOf(word);
  if (control.Type() != Kind::ListBox) {
    throw Error{u"non è una lista: " + word.text};
  }
  return static_cast<ListBox&>(control);
}

using Shown = std::optional<std::string>;

Shown Flag(bool on) { return on ? "1" : "0"; }
Shown Int(long long n) { return std::to_string(n); }

Shown Variable(std::u16string_view name) {
  using namespace ANAGPARC;
  using namespace MOD770BAS;
  static constexpr std::pair<std::u16string_view, Shown (*)()> kVariables[] = {
      {u"FlagFormCaricato", [] { return Int(FlagFormCaricato); }},
      {u"FlagVariazioni", [] { return Int(FlagVariazioni); }},
      {u"FlagErroreCampi", [] { return Int(FlagErroreCampi); }},
      {u"FlagNuovaAnagrafica", [] { return Int(FlagNuovaAnagrafica); }},
      {u"RispostaUtente", [] { return Int(RispostaUtente); }},
      {u"TabellaAperta", [] { return Int(TabellaAperta); }},
      {u"IndiceCampo", [] { return Int(static_cast<long long>(IndiceCampo)); }},
      {u"CFCorrente", [] { return Shown(Quote(CFCorrente)); }},
      {u"CFPrecedente", [] { return Shown(Quote(CFPrecedente)); }},
      {u"CFNuovo", [] { return Shown(Quote(CFNuovo)); }},
      {u"RigaSelezionata", [] { return Shown(Quote(RigaSelezionata)); }},
      {u"PercorsoArchivi", [] { return Shown(Quote(PercorsoArchivi)); }},
      {u"PercorsoProgrammi", [] { return Shown(Quote(PercorsoProgrammi)); }},
  };
  for (const auto& [variable, value] : kVariables) {
    if (variable == name) {
      return value();
    }
  }
  return std::nullopt;
}

Shown FormProperty(std::u16string_view property) {
  toolkit::Form& form = Form();
  if (property == u"Caption") return Quote(form.Caption());
  if (property == u"BackColor") return Int(form.BackColor());
  if (property == u"Left") return Int(form.Left());
  if (property == u"Top") return Int(form.Top());
  if (property == u"Width") return Int(form.Width());
  if (property == u"Height") return Int(form.Height());
  return std::nullopt;
}

Shown TextProperty(const TextBox& box, std::u16string_view property) {
  if (property == u"Text") return Quote(box.Text());
  if (property == u"SelStart") return Int(box.SelStart());
  if (property == u"MaxLength") return Int(box.MaxLength());
  if (property == u"Locked") return Flag(box.Locked());
  return std::nullopt;
}

Shown ListProperty(const ListBox& list, std::u16string_view property) {
  if (property == u"Text") return Quote(list.Text());
  if (property == u"ListIndex") return Int(list.ListIndex());
  if (property == u"ListCount") return Int(list.ListCount());
  if (property == u"TopIndex") return Int(list.TopIndex());
  return std::nullopt;
}

Shown Property(Control& control, std::u16string_view property) {
  if (property == u"Visible") return Flag(control.Visible());
  if (property == u"Enabled") return Flag(control.Enabled());
  if (property == u"ForeColor") return Int(control.ForeColor());
  if (property == u"BackColor") return Int(control.BackColor());
  if (property == u"ToolTipText") return Quote(control.ToolTipText());
  if (property == u"TabIndex") return Int(control.TabIndex());
  if (property == u"Place") {
    return *Int(control.Left()) + ' ' + *Int(control.Top()) + ' ' + *Int(control.Width()) + ' ' +
           *Int(control.Height());
  }
  switch (control.Type()) {
    case Kind::TextBox:
      return TextProperty(static_cast<TextBox&>(control), property);
    case Kind::ListBox:
      return ListProperty(static_cast<ListBox&>(control), property);
    case Kind::StatusBar:
      for (const int n : {1, 2}) {
        if (property == u"Panels(" + text::Decimal(n) + u")") {
          return Quote(static_cast<toolkit::StatusBar&>(control).Panels(n).Text());
        }
      }
      return std::nullopt;
    case Kind::OptionButton:
      if (property == u"Value") {
        return Flag(static_cast<toolkit::OptionButton&>(control).Value());
      }
      [[fallthrough]];
    default:
      return property == u"Caption" ? Shown(Quote(control.Caption())) : std::nullopt;
  }
}

// What a control is asked for when no property is named.
std::u16string_view MainProperty(const Control& control) {
  switch (control.Type()) {
    case Kind::TextBox:
    case Kind::ListBox:
      return u"Text";
    case Kind::OptionButton:
      return u"Value";
    case Kind::StatusBar:
      return u"Panels(1)";
    default:
      return u"Caption";
  }
}

std::string Show(const std::u16string& name) {
  if (name == u"Focus") {
    const Control* focus = Form().Focus();
    return "Focus =" + (focus != nullptr ? " " + Text(focus->FullName()) : std::string());
  }
  const auto point = name.find(u'.');
  const std::u16string owner = name.substr(0, point);
  const std::u16string property = point == name.npos ? u"" : name.substr(point + 1);
  Shown value;
  if (Control* control = FindControl(owner)) {
    value = Property(*control, point == name.npos ? MainProperty(*control) : property);
  } else if (owner == Form().Name()) {
    value = FormProperty(property);
  } else if (owner == u"Screen" && property == u"MousePointer") {
    value = Int(toolkit::Screen.MousePointer);
  } else if (name == u"Clipboard") {
    value = Quote(toolkit::App().view->Clipboard());
  } else {
    value = Variable(name);
  }
  if (!value) {
    throw Error{u"nome sconosciuto: " + name};
  }
  return Text(name) + " = " + *value;
}

// --- Actions

constexpr std::u16string_view kLetters = u"ACNPSVXZ123";  // with Ctrl

const std::map<std::u16string_view, KeyStroke>& Keys() {
  static const std::map<std::u16string_view, KeyStroke> keys = {
      {u"Backspace", {Key::Backspace}},
      {u"Delete", {Key::Delete}},
      {u"Left", {Key::Left}},
      {u"Right", {Key::Right}},
      {u"Home", {Key::Home}},
      {u"End", {Key::End}},
      {u"Up", {Key::Up}},
      {u"Down", {Key::Down}},
      {u"Enter", {Key::Enter}},
      {u"Escape", {Key::Escape}},
      {u"PageUp", {Key::PageUp}},
      {u"PageDown", {Key::PageDown}},
      {u"Tab", {Key::Tab}},
      {u"F3", {Key::F3}},
      {u"F4", {Key::F4}},
      {u"F5", {Key::F5}},
      {u"F6", {Key::F6}},
  };
  return keys;
}

// A key's name, with Ctrl, Shift or both in front; with Ctrl also one of the
// letters that stand for a command.
KeyStroke StrokeOf(const Word& word) {
  std::u16string_view name = word.text;
  const auto with = [&name](std::u16string_view modifier) {
    const bool there = name.starts_with(modifier);
    name.remove_prefix(there ? modifier.size() : 0);
    return there;
  };
  const bool control = with(u"Ctrl");
  const bool shift = with(u"Shift");
  if (control && !shift && name.size() == 1 && kLetters.find(name[0]) != kLetters.npos) {
    return {.text = name, .control = true};
  }
  const auto found = Keys().find(name);
  if (found == Keys().end() || (control && found->second.key == Key::Tab)) {
    throw Error{u"tasto sconosciuto: " + word.text};
  }
  return {.key = found->second.key, .shift = shift, .control = control};
}

// The characters one by one, until one can't be typed; a line end is Enter, a
// tab the key of that name.
bool Type(Actions& actions, std::u16string_view characters) {
  for (std::size_t i = 0; i < characters.size();) {
    const bool pair = text::IsHighSurrogate(characters[i]) && i + 1 < characters.size() &&
                      text::IsLowSurrogate(characters[i + 1]);
    const std::size_t length = pair ? 2 : 1;
    const bool lineEnd = characters[i] == u'\r' || characters[i] == u'\n';
    if (!actions.Key(lineEnd                  ? KeyStroke{Key::Enter}
                     : characters[i] == u'\t' ? KeyStroke{Key::Tab}
                                              : KeyStroke{.text = characters.substr(i, length)})) {
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
    const bool open = word.text == u"?" && !word.quoted;
    call.answers.Add(open ? Answers::kLeftOpen : NumberOf(word));
  }
  return true;
}

bool ClickAt(const Call& call) {
  const std::vector<Word>& words = call.words;
  Control& control = ControlOf(words[1]);
  const bool list = control.Type() == Kind::ListBox;
  if (list != (words.size() == 3)) {
    throw Error{list ? u"manca la riga della lista" : u"la riga vale solo per una lista"};
  }
  const int row = list ? NumberOf(words[2]) : 0;
  if (row < -1) {
    throw Error{u"riga non valida: " + words[2].text};
  }
  if (!control.Usable()) {
    return false;
  }
  return list ? call.actions.ClickRow(static_cast<ListBox&>(control), row)
              : call.actions.Click(control);
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
  const bool list = control.Type() == Kind::ListBox;
  const std::size_t choice = list ? 3 : 2;
  if (call.words.size() < choice || call.words.size() > choice + 1) {
    throw Error{u"argomenti sbagliati per rightclick"};
  }
  const bool chosen = call.words.size() > choice;
  const int row = list ? NumberOf(call.words[2]) : -1;
  std::vector<std::u16string> offered;
  if (!(list ? CanShowRow(static_cast<ListBox&>(control), row)
             : Form().PlaceToClick(control).has_value()) ||
      !call.actions.RightClick(control, row, chosen ? call.words[choice].text : u"", offered)) {
    return false;
  }
  if (!chosen) {
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

bool InTextBox() {
  const Control* focus = Form().Focus();
  return focus != nullptr && focus->Type() == Kind::TextBox;
}

bool PlaceCaret(const Call& call) {
  const int offset = NumberOf(call.words[1]);
  return InTextBox() && call.actions.Caret(offset);
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
    {u"paste", 1, 1, true,
     [](const Call& c) { return InTextBox() && c.actions.Paste(c.words[1].text); }},
    {u"access", 1, 1, false, Access},
    {u"close", 0, 0, false, [](const Call& c) { return c.actions.Close(); }},
    {u"show", 1, 1, false,
     [](const Call& c) {
       c.out << Show(c.words[1].text) << '\n';
       return true;
     }},
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
