// A user who does anything: clicks, keys, texts and answers by chance, on the
// model of the form and a real archive. After each action it checks what must
// hold whatever the user does.
//
//   utente_casuale [--server] SEED ACTIONS BASE.sql
//   utente_casuale --scenario SEED ACTIONS BASE.sql
//
// BASE.sql puts the recipients into the archive. When a check fails, the seed and the
// action are told; the same seed fails there again. With --server the archive is published into
// the empty database that the environment names (PGHOST, ...). The second form writes a scenario of
// one run of the program, with looks at the state, for a run on any screen; it leaves out
// what comes to a real window in another way than to the model.
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <utility>

#include "archivio/archivio.h"
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#ifdef ANAGPARC_SERVER
#include "platform/postgresql/postgresql.h"
#endif
#include "platform/text/text.h"
#include "program.h"
#include "script/script.h"

using namespace ANAGPARC;
using namespace MOD770BAS;
using toolkit::Control;
using toolkit::ListBox;
using toolkit::TextBox;
namespace fs = std::filesystem;

namespace {

// What the screen is for, by the frames in sight.
enum Situation { kSelection = 1, kInsertion = 3, kChange = 5, kRecord = 0x70, kLookup = 0x78 };

int Now() {
  int shown = 0, bit = 1;
  for (const Control* frame : {&FrmSelezione, &FrmInserimento, &FrameCambiaCf, &Framecodif,
                               &Frmtestata, &Frmmoduli(0), &Frmbottoni}) {
    shown |= frame->Visible() ? bit : 0;
    bit *= 2;
  }
  return shown;
}

std::string Name(const Control& control) { return text::ToUtf8(control.FullName()); }

// What the user does next, as a line of a script.
class Will {
 public:
  Will(unsigned long long seed, bool anyScreen) : numbers_(seed), any_screen_(anyScreen) {}

  std::size_t UpTo(std::size_t n) { return numbers_() % n; }
  bool OneIn(std::size_t n) { return UpTo(n) == 0; }
  template <class T>
  const T& One(const std::vector<T>& of) {
    return of[UpTo(of.size())];
  }

  std::string Next() {
    if (OneIn(3)) {
      return OnPurpose();
    }
    const std::size_t n = UpTo(100);
    return n < 20   ? TypeInto(Characters(1 + UpTo(6), !any_screen_))
           : n < 42 ? "key " + Key()
           : n < 58 ? Click()
           : n < 64 ? RightClick()
           : n < 74 ? Row(OneIn(3) ? ListTabmin : List1, OneIn(4))
           : n < 76 ? Scroll(OneIn(2) ? ListTabmin : List1)
           : n < 85 ? "paste " + script::Quote(OneIn(3) ? Code() : Characters(UpTo(60), true))
           : n < 91 ? "focus " + Name(*One(Me.Controls()))
           : n < 95 ? "caret " + std::to_string(UpTo(20))
           : n < 99 || any_screen_ || !OneIn(4)
               ? std::string("access ") + One<char>({'C', 'A', 'S', 'N', 'c', '1'})
               : "close";
  }

 private:
  // A step of what the screen is for, so that the user gets somewhere.
  std::string OnPurpose() {
    switch (Now()) {
      case kInsertion:
        return Fill({&TEXTCF, &TextCOGNO}, CmdInserimento(0));
      case kChange:
        return Fill({&Text2}, CmdConfermaCF);
      case kLookup:
        return OneIn(3) ? "key Enter" : Row(ListTabmin, OneIn(2));
      case kRecord: {
        TextBox& province = Text1(OneIn(2) ? 6 : 8);
        const auto sigla = One<std::u16string>({u"rm", u"EE", u"ps", u"zz", u" "});
        const std::string into_province = Into(province, sigla);
        return One<std::string>({"click cmdmemorizza", "click cmdmemorizza", "click cmdparcprec",
                                 "click cmdparcsuc", "click cmdselprec",
                                 "click " + Name(CMDAPRILIST(static_cast<int>(UpTo(6)))),
                                 Into(Text1(4), Digits(8)), into_province, into_province});
      }
      default:
        return One<std::string>({"click CmdCambia", "click Cmdcancella", "dblclick List1 0",
                                 Scroll(List1), Row(List1, false), Row(List1, true),
                                 Row(List1, true)});
    }
  }

  std::string Into(const TextBox& box, const std::u16string& characters) {
    return Me.Focus() == &box ? TypeInto(characters) : "focus " + Name(box);
  }

  std::string Fill(const std::vector<TextBox*>& boxes, const Control& confirm) {
    for (TextBox* box : boxes) {
      if (Me.Focus() == box && !box->Text().empty() && OneIn(4)) {
        return "key CtrlA";
      }
      if (box->Text().empty()) {
        return Into(*box, box == &TextCOGNO ? Characters(5, false) : Code());
      }
    }
    return "click " + Name(confirm);
  }

  // Letters typed fast search a list together: how fast must not matter here.
  std::string TypeInto(const std::u16string& characters) {
    const bool list = dynamic_cast<ListBox*>(Me.Focus()) != nullptr;
    return any_screen_ && list ? "key Down" : "type " + script::Quote(characters);
  }

  std::string Key() {
    static const std::vector<std::string> with = {"Shift", "Ctrl", "CtrlShift"};
    static const std::vector<std::string> any = {
        "Backspace", "Delete", "Left",     "Right",  "Home",  "End", "Up",
        "Down",      "PageUp", "PageDown", "Escape", "Enter", "F4",  "F6"};
    if (OneIn(4)) {
      return One(with) + One(any);
    }
    std::istringstream keys(
        "Backspace Delete Left Right Home End Up Down PageUp PageDown Enter Escape Tab Tab "
        "ShiftTab F4 F4 F6 CtrlS CtrlA CtrlC CtrlX CtrlV CtrlZ");
    return One(std::vector<std::string>(std::istream_iterator<std::string>(keys), {}));
  }

  std::string Click() {
    std::vector<const Control*> controls;
    for (const Control* control : Me.Controls()) {
      if (dynamic_cast<const ListBox*>(control) == nullptr && (control->Usable() || OneIn(20))) {
        controls.push_back(control);
      }
    }
    const Control& chosen = *One(controls);
    return chosen.Name() == u"cmduscita" && !OneIn(any_screen_ ? 30 : 6) ? "key Tab"
                                                                         : "click " + Name(chosen);
  }

  std::string RightClick() {
    static const std::vector<std::string> choices = {"",
                                                     "",
                                                     " \"Copia\"",
                                                     " \"Taglia\"",
                                                     " \"Incolla\"",
                                                     " \"Annulla\"",
                                                     " \"Seleziona tutto\"",
                                                     " \"Copia codice\"",
                                                     " \"Copia riga\"",
                                                     " \"Apri\"",
                                                     " \"Cambia C.F.\"",
                                                     " \"Cancella\""};
    const Control& on = *One(Me.Controls());
    const auto* list = dynamic_cast<const ListBox*>(&on);
    return "rightclick " + Name(on) + (list != nullptr ? ' ' + SomeRow(*list) : "") + One(choices);
  }

  std::string Scroll(const ListBox& list) { return "scroll " + Name(list) + ' ' + SomeRow(list); }

  // Now and then the empty space below the rows, or a row that isn't there.
  std::string Row(const ListBox& list, bool twice) {
    return (twice ? "dblclick " : "click ") + Name(list) + ' ' + SomeRow(list);
  }
  std::string SomeRow(const ListBox& list) {
    const auto rows = static_cast<std::size_t>(list.ListCount());
    const std::size_t row = UpTo(rows + (OneIn(20) ? 3 : 1));
    return OneIn(20) ? "-1" : std::to_string(row);
  }

  std::u16string Unit(std::size_t first, std::size_t many) {
    return std::u16string(1, static_cast<char16_t>(first + UpTo(many)));
  }
  std::u16string Of(std::u16string_view units) {
    return std::u16string(1, units[UpTo(units.size())]);
  }
  std::u16string Digits(std::size_t n) {
    std::u16string digits;
    while (digits.size() < n) {
      digits += Unit(u'0', 10);
    }
    return digits;
  }

  // Any characters; with `wild` also those that no keyboard has.
  std::u16string Characters(std::size_t n, bool wild) {
    std::u16string out;
    for (; n > 0; --n) {
      const std::size_t kind = UpTo(wild && !any_screen_ ? 9 : 6);
      out += kind == 0   ? Digits(1)
             : kind == 1 ? Of(u"  '\"\\/%-,.")
             : kind == 2 ? Of(u"àßÿ€ΩıŉМ")
             : kind == 3 ? std::u16string(wild ? u"𝄞" : u"")
             : kind < 6  ? Unit(u'A', 58)
             : kind == 6 ? Unit(0, 0x10000)
             : kind == 7 ? Unit(0xD800, 0x800)
                         : Unit(0, 0xA0);
    }
    return out;
  }

  // Few enough that they come again, also when the recipient has gone.
  std::u16string Code() {
    static const std::vector<std::u16string> some = {
        u"RSSMRA85T10A562S", u"MRTMTT25D09F205Z", u"MLLSNT82P65Z404U", u"TTTFFF60T45F205J",
        u"RSSMRA80A01H501U", u"ZNTLNZ42T31L736X", u"VRDGPP70B02F205K", u"12345678903",
        u"00743110157",      u"90000000001",      u"  00743110157",    u"00743110150",
        u"' OR ''='       ", u"O'BRIEN'''''''''", u"%______________%", u"\"; DROP TABLE --",
        u"abcdef00a00a000a", u"ÀÈÌÒÙÀÈÌÒÙÀÈÌÒÙÀ", u"-1234567,89",      u"1.234.567,8"};
    const std::size_t kind = UpTo(8);
    return kind < 5    ? One(some)
           : kind == 5 ? std::u16string(text::Trim(List1.Text()).substr(0, 16))
           : kind == 6 ? Characters(16, true)
                       : Digits(OneIn(3) ? 16 : 11);
  }

  std::mt19937_64 numbers_;
  bool any_screen_;
};

std::string Trimmed(std::u16string_view code) { return text::ToUtf8(text::Trim(code)); }
std::string Trimmed(const std::string& code) { return Trimmed(text::FromUtf8(code)); }

// Without parameters: what the environment says.
constexpr char kServer[] = "postgresql:///";

// The archive as another program sees it.
class Archive {
 public:
  using Row = std::vector<std::string>;
  struct State {
    std::multiset<Row> recipients;              // CFP first
    std::map<std::string, int> certifications;  // number by code
  };

  Archive(const fs::path& file, bool server) {
    if (server) {
#ifdef ANAGPARC_SERVER
      server_.emplace(kServer, u"");
#endif
    } else {
      file_.emplace(file, sqlite::Mode::kWrite);
    }
    Changed();
  }

  // Looks again; true when another connection has written since the last look.
  bool Changed() {
    const char* const sql =
        file_ ? "PRAGMA data_version" : "SELECT pg_snapshot_xmax(pg_current_snapshot())";
    const std::string version = Query(sql)[0][0];
    if (std::exchange(version_, version) == version) {
      return false;
    }
    std::string columns = "CFP";
    for (int i = 1; i <= 17; ++i) {
      columns += ", APARC_" + std::to_string(i);
    }
    const std::vector<Row> rows = Query("SELECT " + columns + " FROM PERCPARCELLE");
    before = std::exchange(now, {{rows.begin(), rows.end()}, {}});
    for (const Row& row : Query("SELECT trim(CFP) FROM QUADROLAUT")) {
      ++now.certifications[row[0]];
    }
    return true;
  }
  // Nobody has a lock or a transaction there.
  bool Free() {
    if (file_) {
      return Sql(*file_, "BEGIN EXCLUSIVE; ROLLBACK").empty();
    }
    return Query(
               "SELECT state FROM pg_stat_activity WHERE backend_type = 'client backend'"
               " AND state <> 'idle' AND pid <> pg_backend_pid()")
        .empty();
  }

  State now, before;

 private:
  std::vector<Row> Query(const std::string& sql) {
    std::vector<Row> rows;
#ifdef ANAGPARC_SERVER
    if (server_) {
      const postgresql::Result result = server_->Run(sql);
      rows.resize(static_cast<std::size_t>(result.Rows()));
      for (int i = 0; i < result.Rows() * result.Columns(); ++i) {
        const int row = i / result.Columns(), column = i % result.Columns();
        rows[static_cast<std::size_t>(row)].emplace_back(result.Bytes(row, column));
      }
      return rows;
    }
#endif
    sqlite::Statement statement(*file_, sql);
    while (statement.Next()) {
      Row& row = rows.emplace_back();
      for (int i = 0; i < statement.ColumnCount(); ++i) {
        row.emplace_back(statement.Bytes(i));
      }
    }
    return rows;
  }

  std::optional<sqlite::Connection> file_;
#ifdef ANAGPARC_SERVER
  std::optional<postgresql::Connection> server_;
#endif
  std::string version_;
};

class User : public Program {
 public:
  User(const std::string& seed, bool anyScreen, bool server, const fs::path& base)
      : seed_(seed), will_(std::stoull(seed), anyScreen), any_screen_(anyScreen) {
    fs::copy_file(Template(), File());
    Must(Sql(File(), Bytes(base)).empty(), "base");
    if (server) {
      std::stringstream report;
      Must(archivio::Publish(File(), kServer, std::nullopt, report, nullptr), report.str());
      SetBytes(File(), kServer);
    }
    archive_.emplace(File(), server);
  }

  void Run(long actions) {
    for (; actions_ < actions && (Running() || starts_ == 0 || !any_screen_); ++actions_) {
      if (!Running()) {
        Begin();
      }
      Act(will_.Next());
    }
    Must(archivio::Check(File()).empty(), "archivio danneggiato");
  }

  // Of the run: a scenario of it, or what it came to.
  std::string Told() const {
    return any_screen_ ? script_
                       : "seme " + seed_ + ": " + std::to_string(actions_) + " azioni, " +
                             std::to_string(starts_) + " avvii, " + std::to_string(writes_) +
                             " anagrafiche scritte\n";
  }

  int Ask(const toolkit::Message& message) override {
    for (const char16_t* never :
         {u"Errore interno", u"non riuscit", u"non eseguit", u"non complet"}) {
      Must(message.text.find(never) == message.text.npos, text::ToUtf8(message.text));
    }
    Must(message.title == Titolo(), "titolo di un messaggio");
    Must(!will_.OneIn(8) || archive_->Free(), "archivio bloccato davanti a un messaggio");
    const int code = will_.One(message.buttons).code;
    if (any_screen_ && message.buttons.size() > 1) {
      script_ += "answer " + std::to_string(code) + '\n';
    }
    return code;
  }

 private:
  void Must(bool holds, const std::string& what) {
    if (!holds) {
      std::cerr << "seme " << seed_ << ", azione " << actions_ << ", " << line_ << ": " << what
                << std::endl;
      std::exit(1);
    }
  }

  void Begin() {
    Must(!fs::exists(Journal()), "giornale rimasto");
    clipboard.clear();
    lengths_.clear();
    line_ = "avvio";
    ++starts_;
    Must(Start(), "il programma non parte");
    Check();
  }

  void Act(std::string line) {
    line_ = std::move(line);
    IndiceCampo = kUntouched;
    code_before_ = CFCorrente;
    try {
      script::RunLine(text::FromUtf8(line_), nowhere_, answers_, form_);
    } catch (const script::Error& error) {
      Must(false, text::ToUtf8(error.text));
    }
    if (any_screen_) {
      script_ += line_ + '\n';
      Look();
    }
    CheckArchive();
    if (Running()) {
      Check();
    }
  }

  void Look() {
    script_ +=
        "show Focus\nshow FlagVariazioni\nshow CFCorrente\nshow List1.ListIndex\n"
        "show List1.TopIndex\nshow ListTabmin.ListIndex\nshow ListTabmin.TopIndex\n"
        "show Clipboard\n";
    for (const Control* frame : {&FrmSelezione, &FrmInserimento, &FrameCambiaCf, &Framecodif}) {
      script_ += "show " + Name(*frame) + ".Visible\n";
    }
    const Control* focus = Me.Focus();
    if (dynamic_cast<const toolkit::TextBox*>(focus) != nullptr) {
      script_ += "show " + Name(*focus) + "\nshow " + Name(*focus) + ".SelStart\n";
    }
  }

  void Check() {
    const int now = Now();
    Must(now == kSelection || now == kInsertion || now == kChange || now == kRecord ||
             now == kLookup,
         "riquadri in nessuna delle situazioni previste");
    Must(Me.Focus() != nullptr && Me.Focus()->CanFocus(), "il fuoco non è su un controllo usabile");
    Must(toolkit::Screen.MousePointer == 0, "puntatore occupato");
    const bool old = FlagNuovaAnagrafica == 0;
    Must(cmdparcprec.Enabled() == old && cmdparcsuc.Enabled() == old,
         "spostamenti abilitati contro FlagNuovaAnagrafica");
    Must(!Label2(8).Visible() && !Label2(15).Visible(), "avanzamento rimasto in vista");
    Must(now != kLookup || Me.Focus() == &ListTabmin || Me.Focus()->Name() == u"CMDAPRILIST",
         "tabella aperta lontano dal fuoco");
    const bool list = FrmSelezione.Visible();
    if (list && (!list_ || List1.Revision() != revision_)) {
      CheckList();
    }
    list_ = list;
    revision_ = List1.Revision();
    if (IndiceCampo == kAllFields) {  // all fields were emptied, loaded or tested
      CheckFields(now);
    }
    for (const Control* control : Me.Controls()) {
      if (const auto* box = dynamic_cast<const TextBox*>(control)) {
        CheckLength(*box);
      }
    }
    Must(actions_ % 50 != 0 || archive_->Free(), "archivio bloccato a riposo");
  }

  // Nothing typed is longer than its field. The date is written by its editor, and
  // what is loaded may be longer.
  void CheckLength(const TextBox& box) {
    const std::size_t is = box.Text().size(), was = std::exchange(lengths_[&box], is);
    const bool loaded = IndiceCampo == kAllFields && box.Name() == u"Text1";
    Must(loaded || &box == &Text1(4) ||
             is <= std::max(was, static_cast<std::size_t>(box.MaxLength())),
         "testo più lungo di MaxLength");
  }

  void CheckList() {
    std::multiset<std::string> shown, stored;
    for (int row = 1; row < List1.ListCount(); ++row) {
      Must(List1.List(row).size() == 62, "riga della lista non di 62 caratteri");
      shown.insert(Trimmed(List1.List(row).substr(0, 16)));
    }
    for (const Archive::Row& row : archive_->now.recipients) {
      stored.insert(Trimmed(row[0]));
    }
    Must(shown == stored, "la lista non mostra le anagrafiche dell'archivio");
  }

  void CheckFields(int now) {
    int yellow = 0;
    for (int i = 0; i < Text1.Bound(); ++i) {
      yellow += Text1.Has(i) && Text1(i).BackColor() == toolkit::kYellow ? 1 : 0;
    }
    Must(yellow <= 1, "più campi gialli");
    if (now != kRecord || FlagVariazioni != 0 || FlagErroreCampi != 0) {
      return;
    }
    const auto row = std::ranges::find_if(archive_->now.recipients, [](const Archive::Row& r) {
      return Trimmed(r[0]) == Trimmed(CFCorrente);
    });
    Must(row != archive_->now.recipients.end(), "sullo schermo un'anagrafica che non c'è");
    Must(LabCF.Caption() == u" " + Text1(0).Text(), "testata di un'altra anagrafica");
    for (int i = 0; i < Text1.Bound(); ++i) {
      if (!Text1.Has(i)) {
        continue;
      }
      std::u16string stored = text::FromUtf8((*row)[static_cast<std::size_t>(i)]);
      if (i == 4) {
        const auto part = [&](std::size_t at, std::size_t length) {
          return std::u16string(text::Mid(stored, at, length));
        };
        stored = part(7, 2) + u"/" + part(5, 2) + u"/" + part(1, 4);
      } else if (i == 12 || i == 13) {
        stored = text::Trim(stored);
        if (stored.find_first_not_of(u'0') == stored.npos) {
          stored.clear();
        }
      }
      Must(Text1(i).Text() == stored, "lo schermo non mostra ciò che è scritto");
    }
  }

  // One action writes at most one recipient, with its own certifications.
  void CheckArchive() {
    if (!archive_->Changed()) {
      return;
    }
    auto [was, before] = archive_->before;
    auto [is, after] = archive_->now;
    std::set<std::string> codes;
    for (const Archive::Row& row : is) {
      Must(codes.insert(Trimmed(row[0])).second, "due anagrafiche con un codice");
    }
    std::vector<Archive::Row> gone, come;
    std::ranges::set_difference(was, is, std::back_inserter(gone));
    std::ranges::set_difference(is, was, std::back_inserter(come));
    Must(gone.size() <= 1 && come.size() <= 1, "scritta più di un'anagrafica");
    writes_ += gone.empty() && come.empty() ? 0 : 1;

    // Blanks typed on a button may go on twice.
    const std::set<std::string> mine = {Trimmed(code_before_), Trimmed(CFCorrente),
                                        Trimmed(CFPrecedente), Trimmed(CFNuovo)};
    for (const auto* rows : {&gone, &come}) {
      Must(rows->empty() || mine.contains(Trimmed((*rows)[0][0])), "scritta un'altra anagrafica");
    }
    if (!gone.empty()) {
      const std::string old = Trimmed(gone[0][0]);
      const std::string code = come.empty() ? std::string() : Trimmed(come[0][0]);
      Must(code == old || after[old] == 0, "certificazioni rimaste");
      Must(code.empty() || code == old || after[code] == before[old] + before[code],
           "certificazioni perse nel cambio di codice");
    }
    for (auto* numbers : {&before, &after}) {
      std::erase_if(*numbers, [&](const auto& number) { return mine.contains(number.first); });
    }
    Must(before == after, "certificazioni altrui");
  }

  static constexpr double kUntouched = -1, kAllFields = 18;

  std::string seed_;
  Will will_;
  bool any_screen_;
  script::Answers answers_;
  script::ModelActions form_;
  std::ostream nowhere_{nullptr};
  std::string script_;          // what was done, for a scenario
  std::string line_;            // what is being done
  std::u16string code_before_;  // CFCorrente before it
  std::map<const TextBox*, std::size_t> lengths_;
  bool list_ = false;  // was in sight
  std::uint64_t revision_ = 0;
  long actions_ = 0, starts_ = 0, writes_ = 0;
  std::optional<Archive> archive_;
};

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> words(argv + 1, argv + argc);
  const bool scenario = std::erase(words, "--scenario") > 0;
  const bool server = std::erase(words, "--server") > 0;
  if (words.size() != 3) {
    std::cerr << "uso: utente_casuale [--scenario | --server] SEME AZIONI BASE.sql\n";
    return 2;
  }
  User user(words[0], scenario, server, words[2]);
  user.Run(std::stol(words[1]));
  std::cout << user.Told();

  // What a user can make with the form, the import takes, but for codes that a question has let
  // in. One recipient of the base has no birth date.
  const fs::path end = user.Place() / "fine.mdb";
  const fs::path csv = user.Place() / "x.csv", copy = user.Place() / "x.mdb";
  std::stringstream report;
  archivio::Copy(user.File(), end, report);
  Sql(end, "UPDATE PERCPARCELLE SET APARC_4 = '00000000' WHERE APARC_4 IS NULL");
  report.str("");
  archivio::Export(end, csv);
  archivio::WriteTemplate(copy);
  archivio::Import(csv, copy, {.skip = true}, report, nullptr);
  for (std::string line; std::getline(report, line);) {
    if (!Has(line, "): codice fiscale formalmente") && !Has(line, "): partita IVA formalmente") &&
        !Has(line, "manca il cognome")) {
      std::cerr << "export and import: " << line << '\n';
      return 1;
    }
  }
}
