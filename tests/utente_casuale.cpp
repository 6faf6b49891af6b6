// A user who does anything: clicks, keys, texts and answers by chance, on the
// model of the form and a real archive. After each action it checks what must
// hold whatever the user does.
//
//   utente_casuale SEED ACTIONS BASE.sql
//   utente_casuale --scenario SEED ACTIONS BASE.sql
//
// BASE.sql puts the recipients into the archive. When a check fails, the folder
// utente_casuale.SEED gets the archive as it was at the program's last start,
// and a script that repeats what followed. The second form writes a scenario of
// one run of the program, with looks at the state, for a run on any screen; it
// leaves out what comes to a real window in another way than to the model.
#include <sqlite3.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "identity/identity.h"
#include "platform/text/text.h"
#include "program.h"
#include "script/script.h"
#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/common_interface_defs.h>
#endif

using namespace ANAGPARC;
using namespace MOD770BAS;
using toolkit::Control;
using toolkit::Kind;
using toolkit::ListBox;
using toolkit::TextBox;

namespace {

// The same numbers everywhere.
class Chance {
 public:
  explicit Chance(std::uint64_t seed) : state_(seed) {}
  std::size_t UpTo(std::size_t n) {
    state_ += 0x9E3779B97F4A7C15u;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return (z ^ (z >> 31)) % n;
  }
  bool OneIn(std::size_t n) { return UpTo(n) == 0; }
  template <class T>
  const T& One(const std::vector<T>& of) {
    return of[UpTo(of.size())];
  }

 private:
  std::uint64_t state_;
};

enum class Situation { Selection, Insertion, Change, Record, Lookup, None };

Situation Now() {
  const bool record = Frmtestata.Visible();
  if (Frmmoduli(0).Visible() != record || Frmbottoni.Visible() != record ||
      FrmSelezione.Visible() == record) {
    return Situation::None;
  }
  const bool insertion = FrmInserimento.Visible(), change = FrameCambiaCf.Visible(),
             lookup = Framecodif.Visible();
  if (record) {
    return insertion || change ? Situation::None : lookup ? Situation::Lookup : Situation::Record;
  }
  return lookup || (insertion && change) ? Situation::None
         : insertion                     ? Situation::Insertion
         : change                        ? Situation::Change
                                         : Situation::Selection;
}

std::string Name(const Control& control) { return text::ToUtf8(control.FullName()); }

// What the user does next, as a line of a script.
class Will {
 public:
  Will(Chance& chance, bool anyScreen) : chance_(chance), anyScreen_(anyScreen) {}

  std::string Next() {
    if (chance_.OneIn(3)) {
      return OnPurpose();
    }
    const std::size_t n = chance_.UpTo(100);
    if (n < 20) {
      return TypeInto(Characters(1 + chance_.UpTo(6), !anyScreen_));
    }
    if (n < 42) {
      return "key " + Key();
    }
    if (n < 64) {
      return Click();
    }
    if (n < 76) {
      return Row(chance_.OneIn(3) ? ListTabmin : List1, chance_.OneIn(4));
    }
    if (n < 85) {
      return "paste " +
             script::Quote(chance_.OneIn(3) ? Code() : Characters(chance_.UpTo(60), true));
    }
    if (n < 91) {
      return "focus " + Name(*chance_.One(Me.Controls()));
    }
    if (n < 95) {
      return "caret " + std::to_string(chance_.UpTo(20));
    }
    if (n < 99 || anyScreen_ || !chance_.OneIn(4)) {
      return std::string("access ") + chance_.One<char>({'C', 'A', 'S', 'N', 'c', '1'});
    }
    return "close";
  }

 private:
  // A step of what the screen is for, so that the user gets somewhere.
  std::string OnPurpose() {
    switch (Now()) {
      case Situation::Insertion:
        return Fill({&TEXTCF, &TextCOGNO}, CmdInserimento(0));
      case Situation::Change:
        return Fill({&Text2}, CmdConfermaCF);
      case Situation::Lookup:
        return chance_.OneIn(3) ? "key Enter" : Row(ListTabmin, chance_.OneIn(2));
      case Situation::Record:
        switch (chance_.UpTo(8)) {
          case 0:
          case 1:
            return "click cmdmemorizza";
          case 2:
            return "click " + Name(CMDAPRILIST(static_cast<int>(chance_.UpTo(6))));
          case 3:
            return chance_.OneIn(2) ? "click cmdparcprec" : "click cmdparcsuc";
          case 4:
            return "click cmdselprec";
          case 5:
            return Me.Focus() == &Text1(4) ? TypeInto(Digits(8)) : "focus Text1(4)";
          default: {
            TextBox& province = Text1(chance_.OneIn(2) ? 6 : 8);
            return Me.Focus() == &province
                       ? TypeInto(chance_.One<std::u16string>({u"rm", u"EE", u"ps", u"zz", u" "}))
                       : "focus " + Name(province);
          }
        }
      default:
        switch (chance_.UpTo(6)) {
          case 0:
            return "click CmdCambia";
          case 1:
            return "click Cmdcancella";
          case 2:
            return "dblclick List1 0";
          default:
            return Row(List1, chance_.OneIn(2));
        }
    }
  }

  std::string Fill(const std::vector<TextBox*>& boxes, const Control& confirm) {
    for (TextBox* box : boxes) {
      const bool code = box != &TextCOGNO;
      if (box->Text().empty() || (Me.Focus() == box && chance_.OneIn(4))) {
        if (Me.Focus() != box) {
          return "focus " + Name(*box);
        }
        if (!box->Text().empty()) {
          return "key CtrlA";
        }
        return TypeInto(code ? Code() : Characters(5, false));
      }
    }
    return "click " + Name(confirm);
  }

  // Letters typed fast search a list together: how fast must not matter here.
  std::string TypeInto(const std::u16string& characters) {
    const bool list = Me.Focus() != nullptr && Me.Focus()->Type() == Kind::ListBox;
    return anyScreen_ && list ? "key Down" : "type " + script::Quote(characters);
  }

  std::string Key() {
    static const std::vector<std::string> keys = {
        "Backspace", "Delete", "Left",      "Right",     "Home",         "End",
        "Up",        "Down",   "PageUp",    "PageDown",  "Enter",        "Escape",
        "Tab",       "Tab",    "ShiftTab",  "CtrlA",     "CtrlC",        "CtrlX",
        "CtrlV",     "CtrlZ",  "ShiftLeft", "ShiftHome", "CtrlShiftEnd", "CtrlRight"};
    return chance_.One(keys);
  }

  std::string Click() {
    std::vector<const Control*> controls;
    for (const Control* control : Me.Controls()) {
      if (control->Type() != Kind::ListBox && (control->Usable() || chance_.OneIn(20))) {
        controls.push_back(control);
      }
    }
    const Control& chosen = *chance_.One(controls);
    return chosen.Name() == u"cmduscita" && !chance_.OneIn(anyScreen_ ? 30 : 6)
               ? "key Tab"
               : "click " + Name(chosen);
  }

  std::string Row(const ListBox& list, bool twice) {
    const auto rows = static_cast<std::size_t>(list.ListCount());
    const std::size_t row = chance_.OneIn(20) ? rows + chance_.UpTo(3) : chance_.UpTo(rows + 1);
    const bool below = chance_.OneIn(20);
    return (twice ? "dblclick " : "click ") + Name(list) + ' ' +
           (below ? "-1" : std::to_string(row));
  }

  std::u16string Digits(std::size_t n) {
    std::u16string digits;
    while (n-- > 0) {
      digits += static_cast<char16_t>(u'0' + chance_.UpTo(10));
    }
    return digits;
  }

  // Any characters; with `wild` also those that no keyboard has.
  std::u16string Characters(std::size_t n, bool wild) {
    std::u16string out;
    for (; n > 0; --n) {
      switch (chance_.UpTo(wild && !anyScreen_ ? 9 : 6)) {
        case 0:
          out += Digits(1);
          break;
        case 1:
          out +=
              chance_.One<char16_t>({u' ', u' ', u'\'', u'"', u'\\', u'/', u'%', u'-', u',', u'.'});
          break;
        case 2:
          out += chance_.One<char16_t>({u'à', u'ß', u'ÿ', u'€', u'Ω', u'ı', u'ŉ', u'М'});
          break;
        case 3:
          if (wild) {
            out += u"𝄞";
          }
          break;
        case 4:
        case 5:
          out += static_cast<char16_t>(u'A' + chance_.UpTo(58));
          break;
        case 6:
          out += static_cast<char16_t>(chance_.UpTo(0x10000));
          break;
        case 7:
          out += static_cast<char16_t>(0xD800 + chance_.UpTo(0x800));
          break;
        default:
          out += static_cast<char16_t>(chance_.UpTo(0xA0));
      }
    }
    return out;
  }

  std::u16string WithCheck(std::u16string code, std::u16string_view checks,
                           int (*test)(std::u16string_view)) {
    for (const char16_t check : checks) {
      if (test(code + check) == 0) {
        return code + check;
      }
    }
    return code;
  }

  // Few enough that they come again, also when the recipient has gone.
  std::u16string Code() {
    const auto which = static_cast<char16_t>(u'0' + chance_.UpTo(8));
    switch (chance_.UpTo(8)) {
      case 0:
        return std::u16string(text::Trim(
            List1.List(static_cast<int>(chance_.UpTo(static_cast<std::size_t>(List1.ListCount()))))
                .substr(0, 16)));
      case 1:
      case 2:
        return WithCheck(u"RSSMRA8" + std::u16string(1, which) + u"A01H501",
                         u"ABCDEFGHIJKLMNOPQRSTUVWXYZ", CONTROLLOCF);
      case 3:
        return WithCheck(u"074311" + std::u16string(1, which) + u"015", u"0123456789",
                         CONTROLLOPIVA);
      case 4:
        return std::u16string(chance_.UpTo(6), u' ') + u"0074311015" + which;
      case 5:
        return chance_.One<std::u16string>(
            {u"' OR ''='       ", u"O'BRIEN'''''''''", u"%______________%", u"\"; DROP TABLE --",
             u"abcdef00a00a000a", u"ÀÈÌÒÙÀÈÌÒÙÀÈÌÒÙÀ", u"-1234567,89", u"1.234.567,8"});
      case 6:
        return Characters(16, true);
      default:
        return Digits(chance_.OneIn(3) ? 16 : 11);
    }
  }

  Chance& chance_;
  bool anyScreen_;
};

// The archive as another program sees it.
class Archive {
 public:
  using Rows = std::map<std::int64_t, std::vector<std::string>>;

  void Open(const std::filesystem::path& file) {
    sqlite3_close(db_);
    sqlite3_open(file.c_str(), &db_);
    version_ = -1;
    Changed();
  }
  Archive() = default;
  Archive(const Archive&) = delete;
  Archive& operator=(const Archive&) = delete;
  ~Archive() { sqlite3_close(db_); }

  // Looks again; true when the rows are others than before.
  bool Changed() {
    const std::int64_t version = std::stoll(Query("PRAGMA data_version").begin()->second[0]);
    if (version == version_) {
      return false;
    }
    version_ = version;
    recipientsBefore = std::move(recipients);
    certificationsBefore = std::move(certifications);
    recipients = Query("SELECT * FROM PERCPARCELLE");
    certifications.clear();
    for (const auto& [row, columns] : Query("SELECT trim(CFP) FROM QUADROLAUT")) {
      ++certifications[columns[0]];
    }
    return true;
  }
  bool Free() {
    return sqlite3_exec(db_, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr) == SQLITE_OK &&
           sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr) == SQLITE_OK;
  }
  bool Sound() { return Query("PRAGMA integrity_check").begin()->second[0] == "ok"; }

  Rows recipients, recipientsBefore;                                // CFP first
  std::map<std::string, int> certifications, certificationsBefore;  // number by code

 private:
  Rows Query(const char* sql) {
    Rows rows;
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db_, sql, -1, &statement, nullptr);
    while (sqlite3_step(statement) == SQLITE_ROW) {
      auto& row = rows[static_cast<std::int64_t>(rows.size())];
      for (int i = 0; i < sqlite3_column_count(statement); ++i) {
        const void* const bytes = sqlite3_column_text(statement, i);
        row.emplace_back(bytes != nullptr ? static_cast<const char*>(bytes) : "",
                         static_cast<std::size_t>(sqlite3_column_bytes(statement, i)));
      }
    }
    sqlite3_finalize(statement);
    return rows;
  }

  sqlite3* db_ = nullptr;
  std::int64_t version_ = -1;
};

std::string Trimmed(std::u16string_view code) { return text::ToUtf8(text::Trim(code)); }
std::string Trimmed(const std::string& code) { return Trimmed(text::FromUtf8(code)); }

class User : public Program {
 public:
  User(std::string seed, bool anyScreen, const std::filesystem::path& base)
      : seed_(std::move(seed)),
        chance_(std::stoull(seed_)),
        will_(chance_, anyScreen),
        anyScreen_(anyScreen) {
    std::filesystem::copy_file(Template(), File());
    if (const std::string error = Sql(File(), Bytes(base)); !error.empty()) {
      Fail("base: " + error);
    }
    archive_.Open(File());
  }

  // What to do with a fault that ends the process.
  void Dump(const std::string& fault) {
    const std::filesystem::path folder = "utente_casuale." + seed_;
    std::filesystem::create_directories(folder);
    std::error_code ignored;
    for (const char* copy : {"S7702015.MDB", "SQ4RXXXX.MDB"}) {
      std::filesystem::copy_file(start_, folder / copy,
                                 std::filesystem::copy_options::overwrite_existing, ignored);
    }
    SetBytes(folder / "script", script_ + (done_ ? "" : line_ + '\n'));
    SetBytes(folder / "registro.reg",
             "REGEDIT4\n[HKEY_CURRENT_USER\\SOFTWARE\\CALVENZA\\MORVENNA]\n\"PERCORSOARCHIVI\"=\"" +
                 std::filesystem::absolute(folder).native() + "\"\n");
    std::cerr << "seme " << seed_ << ", azione " << actions_ << ": " << fault
              << "\n  dopo: " << line_ << "\n  si ripete, una volta sola, con:\nMORVENNA_REGISTRO="
              << std::filesystem::absolute(folder / "registro.reg").native() << " anagparc-script "
              << std::filesystem::absolute(folder / "script").native() << '\n';
    std::filesystem::remove_all(Folder(), ignored);
  }

  void Run(long actions) {
    for (; actions_ < actions; ++actions_) {
      if (!Running()) {
        if (anyScreen_ && starts_ > 0) {
          break;
        }
        Begin();
      }
      Act(will_.Next());
    }
    if (!archive_.Sound()) {
      Fail("archivio danneggiato");
    }
  }

  void Report() const {
    std::cout << "seme " << seed_ << ": " << actions_ << " azioni, " << starts_ << " avvii, "
              << boxes_ << " messaggi, " << added_ << " anagrafiche nuove, " << changed_
              << " modificate, " << deleted_ << " cancellate, " << archive_.recipients.size()
              << " alla fine\n";
  }

  int Ask(const toolkit::Message& message) override {
    ++boxes_;
    for (const char16_t* never :
         {u"Errore interno", u"non riuscit", u"non eseguit", u"non complet"}) {
      if (message.text.find(never) != message.text.npos) {
        Fail("messaggio: " + text::ToUtf8(message.text));
      }
    }
    if (message.title != Titolo()) {
      Fail("titolo: " + text::ToUtf8(message.title));
    }
    if (chance_.OneIn(8) && !archive_.Free()) {
      Fail("archivio bloccato davanti a un messaggio");
    }
    const int code = chance_.One(message.buttons).code;
    if (message.buttons.size() > 1) {
      script_ += "answer " + std::to_string(code) + '\n';
    }
    return code;
  }
  std::u16string Clipboard() override { return clipboard_; }
  void SetClipboard(std::u16string_view text) override { clipboard_ = text; }

  const std::string& Script() const { return script_; }

 private:
  [[noreturn]] void Fail(const std::string& fault) {
    Dump(fault);
    std::_Exit(1);
  }
  void Must(bool holds, const char* what) {
    if (!holds) {
      Fail(what);
    }
  }

  void Begin() {
    Must(!std::filesystem::exists(Journal()), "giornale rimasto");
    std::filesystem::copy_file(File(), start_, std::filesystem::copy_options::overwrite_existing);
    script_.clear();
    clipboard_.clear();
    line_ = "(avvio)";
    done_ = true;
    ++starts_;
    Must(Start(), "il programma non parte");
    Check();
  }

  void Act(std::string line) {
    line_ = std::move(line);
    done_ = false;
    IndiceCampo = kUntouched;
    codeBefore_ = CFCorrente;
    lengths_.clear();
    for (const Control* control : Me.Controls()) {
      if (control->Type() == Kind::TextBox) {
        lengths_.push_back(static_cast<const TextBox*>(control)->Text().size());
      }
    }
    try {
      script::RunLine(text::FromUtf8(line_), nowhere_, answers_, hands_);
    } catch (const script::Error& error) {
      Fail(text::ToUtf8(error.text));
    }
    script_ += line_ + '\n';
    done_ = true;
    if (anyScreen_) {
      Look();
    }
    CheckArchive();
    if (Running()) {
      Check();
    }
  }

  void Look() {
    script_ += "show Focus\nshow FlagVariazioni\nshow CFCorrente\nshow List1.ListIndex\n";
    for (const Control* frame : {&FrmSelezione, &FrmInserimento, &FrameCambiaCf, &Framecodif}) {
      script_ += "show " + Name(*frame) + ".Visible\n";
    }
    const Control* focus = Me.Focus();
    if (focus != nullptr && focus->Type() == Kind::TextBox) {
      script_ += "show " + Name(*focus) + "\nshow " + Name(*focus) + ".SelStart\n";
    }
  }

  void Check() {
    const Situation now = Now();
    Must(now != Situation::None, "riquadri in nessuna delle situazioni previste");
    Must(Me.Focus() != nullptr && Me.Focus()->CanFocus(), "il fuoco non è su un controllo usabile");
    Must(toolkit::Screen.MousePointer == 0, "puntatore occupato");
    Must(cmdparcprec.Enabled() == (FlagNuovaAnagrafica == 0) &&
             cmdparcsuc.Enabled() == (FlagNuovaAnagrafica == 0),
         "spostamenti abilitati contro FlagNuovaAnagrafica");
    Must(!Label2(8).Visible() && !Label2(15).Visible(), "avanzamento rimasto in vista");
    CheckLengths();
    Must(now != Situation::Lookup || Me.Focus() == &ListTabmin ||
             Me.Focus()->Name() == u"CMDAPRILIST",
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
    if (actions_ % 50 == 0) {
      Must(archive_.Free(), "archivio bloccato a riposo");
    }
  }

  void CheckLengths() {
    auto before = lengths_.begin();
    for (Control* control : Me.Controls()) {
      if (control->Type() != Kind::TextBox) {
        continue;
      }
      const auto& box = static_cast<const TextBox&>(*control);
      const std::size_t was = lengths_.empty() ? 0 : *before++;
      // The date is written by its editor, the rest may come from the table.
      const bool written =
          &box == &Text1(4) || (IndiceCampo == kAllFields && box.Name() == u"Text1");
      Must(written || box.Text().size() <= was ||
               box.Text().size() <= static_cast<std::size_t>(box.MaxLength()),
           "testo più lungo di MaxLength");
    }
  }

  void CheckList() {
    std::multiset<std::string> shown, stored;
    for (int row = 1; row < List1.ListCount(); ++row) {
      Must(List1.List(row).size() == 62, "riga della lista non di 62 caratteri");
      shown.insert(Trimmed(List1.List(row).substr(0, 16)));
    }
    for (const auto& [row, columns] : archive_.recipients) {
      stored.insert(Trimmed(columns[0]));
    }
    Must(shown == stored, "la lista non mostra le anagrafiche dell'archivio");
  }

  void CheckFields(Situation now) {
    int yellow = 0;
    for (int i = 0; i < Text1.Bound(); ++i) {
      yellow += Text1.Has(i) && Text1(i).BackColor() == toolkit::kYellow ? 1 : 0;
    }
    Must(yellow <= 1, "più campi gialli");
    if (now != Situation::Record || FlagVariazioni != 0 || FlagErroreCampi != 0) {
      return;
    }
    const std::vector<std::string>* columns = Recipient(Trimmed(CFCorrente));
    Must(columns != nullptr, "sullo schermo un'anagrafica che non c'è");
    Must(LabCF.Caption() == u" " + Text1(0).Text(), "testata di un'altra anagrafica");
    for (int i = 0; i < Text1.Bound(); ++i) {
      if (!Text1.Has(i)) {
        continue;
      }
      std::u16string stored = text::FromUtf8((*columns)[static_cast<std::size_t>(i)]);
      std::u16string shown = Text1(i).Text();
      if (i == 4) {
        stored = std::u16string(text::Mid(stored, 7, 2)) + u"/" +
                 std::u16string(text::Mid(stored, 5, 2)) + u"/" +
                 std::u16string(text::Mid(stored, 1, 4));
      } else if (i == 12 || i == 13) {
        stored = text::Trim(stored);
        if (stored.find_first_not_of(u'0') == stored.npos) {
          stored.clear();
        }
      }
      Must(shown == stored, "lo schermo non mostra ciò che è scritto");
    }
  }

  const std::vector<std::string>* Recipient(const std::string& code) const {
    for (const auto& [row, columns] : archive_.recipients) {
      if (Trimmed(columns[0]) == code) {
        return &columns;
      }
    }
    return nullptr;
  }

  // One action writes at most one recipient, with its own certifications.
  void CheckArchive() {
    if (!archive_.Changed()) {
      return;
    }
    const auto& certifications = archive_.certificationsBefore;
    std::set<std::string> codes;
    std::vector<std::vector<std::string>> gone, come;
    std::vector<std::vector<std::string>> was, is;
    for (const auto& [row, columns] : archive_.recipientsBefore) {
      was.push_back(columns);
    }
    for (const auto& [row, columns] : archive_.recipients) {
      is.push_back(columns);
      Must(codes.insert(Trimmed(columns[0])).second, "due anagrafiche con un codice");
    }
    std::ranges::sort(was);
    std::ranges::sort(is);
    std::ranges::set_difference(was, is, std::back_inserter(gone));
    std::ranges::set_difference(is, was, std::back_inserter(come));
    Must(gone.size() <= 1 && come.size() <= 1, "scritta più di un'anagrafica");
    added_ += gone.empty() && !come.empty() ? 1 : 0;
    deleted_ += !gone.empty() && come.empty() ? 1 : 0;
    changed_ += !gone.empty() && !come.empty() ? 1 : 0;

    // Blanks typed on a button may go on twice.
    const std::set<std::string> mine = {Trimmed(codeBefore_), Trimmed(CFCorrente),
                                        Trimmed(CFPrecedente), Trimmed(CFNuovo)};
    for (const auto* rows : {&gone, &come}) {
      Must(rows->empty() || mine.contains(Trimmed((*rows)[0][0])), "scritta un'altra anagrafica");
    }
    auto others = [&mine](std::map<std::string, int> numbers) {
      std::erase_if(numbers, [&](const auto& number) { return mine.contains(number.first); });
      return numbers;
    };
    Must(others(certifications) == others(archive_.certifications), "certificazioni altrui");
    auto count = [](const std::map<std::string, int>& numbers, const std::string& code) {
      const auto found = numbers.find(code);
      return found == numbers.end() ? 0 : found->second;
    };
    if (!gone.empty()) {
      const std::string old = Trimmed(gone[0][0]);
      const std::string code = come.empty() ? std::string() : Trimmed(come[0][0]);
      Must(code == old || count(archive_.certifications, old) == 0, "certificazioni rimaste");
      Must(code.empty() || code == old ||
               count(archive_.certifications, code) ==
                   count(certifications, old) + count(certifications, code),
           "certificazioni perse nel cambio di codice");
    }
  }

  static constexpr double kUntouched = -1, kAllFields = 18;

  std::string seed_;
  Chance chance_;
  Will will_;
  bool anyScreen_;
  Archive archive_;
  script::Answers answers_;
  script::ModelHands hands_;
  std::ostream nowhere_{nullptr};
  std::u16string clipboard_;
  const std::filesystem::path start_ = Folder() / "inizio";  // archive at the last start
  std::string script_;                                       // what was done since
  std::string line_;                                         // what is being done
  bool done_ = true;                                         // and stands in the script
  std::vector<std::size_t> lengths_;                         // of the boxes' texts before it
  std::u16string codeBefore_;                                // CFCorrente before it
  bool list_ = false;                                        // was in sight
  std::uint64_t revision_ = 0;
  long actions_ = 0, starts_ = 0, boxes_ = 0, added_ = 0, changed_ = 0, deleted_ = 0;
};

User* g_user = nullptr;

[[noreturn]] void Died() {
  g_user->Dump("il processo si è interrotto");
  std::_Exit(1);
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> words(argv + 1, argv + argc);
  const bool scenario = !words.empty() && words[0] == "--scenario";
  words.erase(words.begin(), words.begin() + (scenario ? 1 : 0));
  if (words.size() != 3) {
    std::cerr << "uso: utente_casuale [--scenario] SEME AZIONI BASE.sql\n";
    return 2;
  }
  // The waits for a disk are not what is tested here.
  if (std::filesystem::is_directory("/dev/shm")) {
    setenv("TMPDIR", "/dev/shm", 1);
  }
  User user(words[0], scenario, words[2]);
  g_user = &user;
#ifdef __SANITIZE_ADDRESS__
  __sanitizer_set_death_callback([] { g_user->Dump("il processo si è interrotto"); });
#endif
  std::set_terminate(Died);
  user.Run(std::stol(words[1]));
  if (scenario) {
    std::cout << user.Script();
  } else {
    user.Report();
  }
  return 0;
}
