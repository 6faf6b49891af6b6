// The program on a disk that fails: at every single call of an operation, for
// each cause; and at its start on files that can't be used.
#include <gtest/gtest.h>

#ifndef _WIN32
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#endif

#include <array>
#include <functional>
#include <optional>
#include <set>

#include "archivio/archivio.h"
#include "fault_vfs.h"
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "platform/system/state.h"
#include "platform/text/text.h"
#include "program.h"
#include "record/record.h"

namespace {

using namespace ANAGPARC;
using namespace MOD770BAS;
namespace fs = std::filesystem;

constexpr char16_t kOld[] = u"RSSMRA80A01H501U", kNext[] = u"ZNTLNZ42T31L736X";
constexpr char16_t kNew[] = u"VRDGPP70B02F205K";
constexpr char16_t kTyped[] = u"NUOVA DENOMINAZIONE";
constexpr std::pair<fault::Cause, const char*> kCauses[] = {{fault::Cause::kDiskFull, "disk full"},
                                                            {fault::Cause::kIo, "I/O error"},
                                                            {fault::Cause::kReadOnly, "read-only"},
                                                            {fault::Cause::kBusy, "busy"}};

std::string Stored(const fs::path& file) {
  return Rows(file) +
         Sql(file, "SELECT quote(CFP) FROM QUADROLAUT ORDER BY rowid;PRAGMA integrity_check");
}

class Guasti : public testing::Test {
 protected:
  Guasti() {
    fault::Install();
    fs::copy_file(program.Template(), program.File());
    Sql(program.File(),
        "INSERT INTO PERCPARCELLE (CFP, APARC_1, APARC_2, APARC_4) VALUES"
        " ('00743110157', 'ALFA', '', '00000000'), ('RSSMRA80A01H501U', 'ROSSI', 'MARIO',"
        " '19800101'), ('ZNTLNZ42T31L736X', 'ZANETTI', 'LORENZO', '19421231');"
        "WITH n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 60) INSERT INTO QUADROLAUT"
        " (CFP, CAUSALE) SELECT iif(i % 6, 'RSSMRA80A01H501U', '00743110157'), hex(zeroblob(200))"
        " FROM n;"
        "DELETE FROM TABCOMUNI; VACUUM");
    year = Bytes(program.File());
  }
  ~Guasti() override { fault::Disarm(); }

  // Back to the archive of the beginning, which the program opens.
  void Begin() {
    program.Stop();
    fs::remove(program.Journal());
    SetBytes(program.File(), year);
    ASSERT_TRUE(program.Start());
    program.TakeBoxes();
  }

  // The one critical message; "" when there is none.
  std::string Told() {
    std::string told;
    for (const toolkit::Message& box : program.TakeBoxes()) {
      // The user is alone at work: nothing is asked of others.
      EXPECT_FALSE(box.flags & toolkit::kDefaultSecond) << text::ToUtf8(box.text);
      if (box.flags == toolkit::kCritical) {
        EXPECT_EQ(told, "") << "a second message: " << text::ToUtf8(box.text);
        EXPECT_EQ(box.title, Titolo());
        told = text::ToUtf8(box.text);
        // Causes come from the system in English.
        EXPECT_FALSE(Has(told, "error") || Has(told, "unable")) << told;
      }
    }
    return told;
  }

  Program program;
  std::string year;
};

struct Operation {
  const char* name;
  std::function<bool(Program&)> prepare;
  std::function<void(Program&)> act;
  // What a message says about the archive: false, nothing has been done.
  std::vector<std::pair<const char*, bool>> claims;
  std::function<void(bool done)> look;
  std::function<void(Program&)> retry = act;
};

void Save(Program&) { Me.UserClick(cmdmemorizza); }
void LookAtRecord(bool done) {
  EXPECT_TRUE(Frmmoduli(0).Visible());
  EXPECT_EQ(Text1(7).Text(), kTyped);
  EXPECT_EQ(Text1(1).Text(), Text1(0).Text() == kOld ? u"ROSSI" : u"GIALLI");
  EXPECT_EQ(CFCorrente, Text1(0).Text());
  EXPECT_EQ(FlagVariazioni, done ? 0 : 1);
}

const std::vector<std::pair<const char*, bool>> kSaveClaims = {
    {"Registrazione non eseguita", false}, {"La registrazione è stata eseguita", true}};

const std::vector<Operation> kOperations = {
    {"save of an old record",
     [](Program& p) { return p.Open(kOld) && (p.Type(Text1(7), kTyped), true); }, Save, kSaveClaims,
     LookAtRecord},
    {"save of a new record",
     [](Program& p) { return p.Insert(kNew, u"GIALLI") && (p.Type(Text1(7), kTyped), true); }, Save,
     kSaveClaims, LookAtRecord},
    {"change of code",
     [](Program& p) { return p.BeginChange(kOld, kNew); },
     [](Program&) { Me.UserClick(CmdConfermaCF); },
     {{"Cambio codice fiscale non eseguito", false},
      {"Operazione non riuscita", false},
      {"Il codice è stato cambiato, ma", true}},
     [](bool done) {
       EXPECT_EQ(FrameCambiaCf.Visible(), !done);
       EXPECT_FALSE(Label2(15).Visible());
       EXPECT_EQ(toolkit::Screen.MousePointer, 0);
     }},
    {"deletion",
     [](Program& p) { return p.Select(kOld); },
     [](Program&) { Me.UserClick(Cmdcancella); },
     {{"Non è stato cancellato nulla", false},
      {"Operazione non riuscita", false},
      {"Il percettore è stato cancellato, ma", true}},
     [](bool) { EXPECT_EQ(toolkit::Screen.MousePointer, 0); },
     [](Program& p) {
       Me.UserClick(Option1(1));
       if (p.Select(kOld)) {
         Me.UserClick(Cmdcancella);
       }
     }},
    // A record must not take the next one's code, nor lose its texts.
    {"move to the next record",
     [](Program& p) { return p.Open(kOld) && Me.UserFocus(Text1(7)); },
     [](Program&) { Me.UserKey({.key = toolkit::Key::PageDown}); },
     {{"Operazione non riuscita", true}},
     [](bool) {
       EXPECT_EQ(Me.Focus(), &Text1(7)) << "a blank would press the button";
       EXPECT_EQ(CFCorrente, Text1(0).Text());
       EXPECT_EQ(LabCF.Caption(), u" " + CFCorrente);
       EXPECT_EQ(Text1(1).Text(), CFCorrente == kOld ? u"ROSSI" : u"ZANETTI");
     },
     [](Program& p) {
       if (Text1(0).Text() == kOld) {
         Me.UserKey({.key = toolkit::Key::PageDown});
       }
       EXPECT_EQ(Text1(0).Text(), kNext);
       p.TakeBoxes();
     }},
    // The panel that is open, of the provinces, stays open and whole; a state's row has 44
    // characters.
    {"another lookup panel",
     [](Program& p) { return p.Open(kOld) && Me.UserClick(CMDAPRILIST(0)); },
     [](Program&) {
       if (TabellaAperta != 3) {
         Me.UserClick(CMDAPRILIST(3));
       }
     },
     {{"Operazione non riuscita", true}},
     [](bool) {
       EXPECT_TRUE(Framecodif.Visible());
       ASSERT_GT(ListTabmin.ListCount(), 0);
       EXPECT_EQ(ListTabmin.List(0).size() == 44, TabellaAperta == 3);
       EXPECT_EQ(LabTabmin.Caption() == u" Tabella stati esteri", TabellaAperta == 3);
     }},
    // Never a list that lacks rows.
    {"print of the list",
     [](Program&) {
       toolkit::App().print = [](const toolkit::Document& document) {
         EXPECT_EQ(document.cells.size(), 9U);
         return std::u16string();
       };
       return true;
     },
     [](Program&) { Me.UserKey({.text = u"P", .control = true}); },
     {{"Operazione non riuscita", true}},
     [](bool) {}},
};

TEST_F(Guasti, EveryCallThatFailsLeavesAllOrNothingAndIsTold) {
  const std::string before = Stored(program.File());
  for (const Operation& operation : kOperations) {
    Begin();
    ASSERT_TRUE(operation.prepare(program)) << operation.name;
    operation.act(program);
    const std::string after = Stored(program.File());
    EXPECT_EQ(Told(), "");
    // False when the operation has fewer calls.
    const auto strike = [&](fault::Cause cause, bool lasting, long n) {
      Begin();
      EXPECT_TRUE(operation.prepare(program));
      program.TakeBoxes();
      fault::Arm(cause, n, lasting);
      operation.act(program);
      if (!fault::Disarm()) {
        return false;
      }
      EXPECT_TRUE(program.Running());
      const std::string told = Told(), now = Stored(program.File());
      bool known = told.empty();
      if (known) {
        EXPECT_EQ(now, after);
      }
      for (const auto& [part, done] : operation.claims) {
        if (Has(told, part)) {
          known = true;
          EXPECT_EQ(now, done ? after : before) << told;
        }
      }
      EXPECT_TRUE(known) << told;
      operation.look(now == after);
      operation.retry(program);
      EXPECT_EQ(Told(), "");
      EXPECT_EQ(Stored(program.File()), after);
      operation.look(true);
      EXPECT_FALSE(fs::exists(program.Journal()));
      return true;
    };
    for (const auto& [cause, name] : kCauses) {
      for (const bool lasting : {false, true}) {
        for (long n = 1; strike(cause, lasting, n); ++n) {
          ASSERT_FALSE(HasFailure()) << operation.name << ", " << name << " at call " << n
                                     << (lasting ? " and from then on" : "");
        }
      }
    }
  }
}

TEST_F(Guasti, APrintThatFailsIsTold) {
  Begin();
  toolkit::App().print = [](const toolkit::Document&) { return std::u16string(u"È spenta."); };
  Me.UserKey({.text = u"P", .control = true});
  EXPECT_EQ(Told(), "Stampa non eseguita.\r\rÈ spenta.");
}

TEST_F(Guasti, ListThatCannotBeReadIsReadAgain) {
  Begin();
  fault::Arm(fault::Cause::kIo, 1, true);
  Me.UserClick(Option1(1));
  EXPECT_TRUE(fault::Disarm());
  EXPECT_NE(Told(), "");
  EXPECT_EQ(List1.ListCount(), 1);
  EXPECT_TRUE(program.Select(u""));  // the row for a new recipient
  Me.UserClick(Option1(1));
  EXPECT_EQ(Told(), "");
  EXPECT_EQ(List1.ListCount(), 4);
  Me.UserClickRow(List1, 2);
  Me.UserClick(Option1(1));
  EXPECT_EQ(List1.ListIndex(), 2) << "a list that is whole stays as it is";
}

// From any of three, deleted by another program, in each direction, after a message too.
TEST_F(Guasti, MovesGoOnFromARecordThatIsGone) {
  const std::u16string codes[] = {u"00743110157", kOld, kNext};
  for (int at = 0; at < 3; ++at) {
    for (const int step : {-1, 1}) {
      Begin();
      ASSERT_TRUE(program.Open(codes[at]));
      Sql(program.File(), "DELETE FROM PERCPARCELLE WHERE CFP = '" + text::ToUtf8(codes[at]) + "'");
      const auto move = [&](int by) {
        Me.UserClick(by < 0 ? cmdparcprec : cmdparcsuc);
        return CFCorrente;
      };
      const int to = at + step;
      if (to < 0 || to > 2) {
        EXPECT_EQ(move(step), codes[at]) << "nobody there";
        EXPECT_EQ(program.TakeBoxes().size(), 2U);
        EXPECT_EQ(move(-step), codes[at - step]);
      } else {
        EXPECT_EQ(move(step), codes[to]);
      }
      EXPECT_EQ(Told(), "");
    }
  }
}

// Nothing is written to a file that has lost its name, nor read from it, and a limit met while
// saving is told as what it is. Once the cause is gone Memorizza goes through.
TEST_F(Guasti, WhatAnotherHasChangedIsToldBeforeItIsWrittenOver) {
  Begin();
  ASSERT_TRUE(program.Open(kOld));
  program.Type(Text1(1), u"NI");
  Sql(program.File(),
      "UPDATE PERCPARCELLE SET APARC_3 = 'F', APARC_5 = printf('%.41c', 'L'), APARC_7 = 'ROMA',"
      " APARC_8 = 'RM', APARC_11 = '1', APARC_12 = 'Y' WHERE CFP = 'RSSMRA80A01H501U'");
  Me.UserClick(cmdmemorizza);
  const std::vector<toolkit::Message> boxes = program.TakeBoxes();
  ASSERT_EQ(boxes.size(), 1U);
  EXPECT_EQ(boxes[0].preset, toolkit::kNo);
  const std::u16string none = u"\", sullo schermo \"\"\r";
  EXPECT_EQ(boxes[0].text,
            u"La scheda è stata modificata da un altro programma dopo che è stata aperta.\r\r"
            u"Sesso ( M/F ): ora \"F" +
                none + u"Comune (o Stato estero) di nascita: ora \"" + std::u16string(40, u'L') +
                u"…" + none + u"Comune: ora \"ROMA" + none +
                u"Prov. del domicilio fiscale: ora \"RM" + none +
                u"Codice di identificazione fiscale estero: ora \"1" + none +
                u"e altri 2 campi\r\rRegistrare ugualmente quello che è sullo schermo ?");
}

TEST_F(Guasti, CauseIsTheRightOne) {
  const fs::path file = program.File(), aside = program.Place() / "aside";
#ifndef _WIN32
  const auto limit = [](rlim_t most) {
    setrlimit(RLIMIT_FSIZE, std::array{rlimit{most, RLIM_INFINITY}}.data());
  };
  signal(SIGXFSZ, SIG_IGN);
  const std::function<void()> back = [&] { fs::rename(aside, file); };
#endif
  const std::tuple<const char*, std::function<void()>, std::function<void()>> cases[] = {
#ifndef _WIN32
      {"spostato, sostituito o cancellato", [&] { fs::rename(file, aside); }, back},
      {"spostato, sostituito o cancellato",
       [&] { fs::rename(file, aside), fs::copy_file(aside, file); }, back},
      {"spostato, sostituito o cancellato",
       [&] { fs::create_hard_link(file, aside), fs::remove(file); }, back},
      {"non può crescere", [&] { limit(600); }, [&] { limit(RLIM_INFINITY); }},
#endif
      {"troppi file aperti", [] { fault::Arm(fault::Cause::kTooManyFiles, 1, true); },
       fault::Disarm},
  };
  for (const auto& [told, cause, remedy] : cases) {
    SCOPED_TRACE(told);
    Begin();
    ASSERT_TRUE(program.Open(kOld));
    program.Type(Text1(7), kTyped);
    cause();
    Me.UserClick(cmdmemorizza);
    const bool moved = fs::exists(aside);
    EXPECT_EQ(Bytes(moved ? aside : file), year);
    EXPECT_TRUE(Has(Told(), told));
    FlagVariazioni = 0;
    Me.UserClick(moved ? cmdparcsuc : cmdmemorizza);
    EXPECT_TRUE(Has(Told(), told));
    EXPECT_EQ(Text1(7).Text(), kTyped);
    remedy();
    Me.UserClick(cmdmemorizza);
    EXPECT_EQ(Told(), "");
    EXPECT_TRUE(Has(Stored(file), text::ToUtf8(kTyped)));
  }
}

TEST_F(Guasti, CopyOfTheDayIsOneAndThirtyStay) {
  const fs::path today = program.MakeCopies(), folder = today.parent_path();
  const auto work = [&](const char16_t* typed) {
    ASSERT_TRUE(program.Start());
    EXPECT_TRUE(program.TakeBoxes().empty());
    ASSERT_TRUE(program.Open(kOld));
    if (typed != nullptr) {
      program.Type(Text1(7), typed);
      Me.UserClick(cmdmemorizza);
    }
    program.Stop();
  };
  work(nullptr);
  EXPECT_TRUE(fs::is_empty(folder)) << "nothing was written";
  // Thirty and more from before, one of a day to come; what isn't surely a copy stays.
  for (int day = 10; day < 43; ++day) {
    SetBytes(folder / ("S7702015-20" + std::to_string(day) + "-01-01.MDB"), "x");
  }
  const std::set<std::string> others = {"S7702015-2009-02-29.MDB",
                                        "S7702015-2009-1-001.MDB",
                                        "S7702015-2009-01-01.mdb",
                                        "S7702015-2009-01-01.MDB.bak",
                                        "S7702015.MDB",
                                        "S7702014-2009-01-01.MDB"};
  for (const std::string& name : others) {
    SetBytes(folder / name, "x");
  }
  fs::create_directory(folder / "S7702015-2009-01-02.MDB");
  if (kPosixFiles) {
    fs::create_symlink("S7702015.MDB", folder / "S7702015-2009-01-03.MDB");
  }
  for (const char16_t* typed : {u"UNO", u"DUE"}) {
    work(typed);
    EXPECT_EQ(archivio::Check(today), std::vector<std::string>());
    EXPECT_EQ(Stored(today), Stored(program.File()));
    EXPECT_TRUE(Has(Rows(today), text::ToUtf8(typed)));
  }
  int copies = 0;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    copies += entry.is_regular_file() && !entry.is_symlink() &&
              !others.contains(entry.path().filename().string());
  }
  EXPECT_EQ(copies, 30);
  EXPECT_FALSE(fs::exists(folder / "S7702015-2013-01-01.MDB"));
  EXPECT_TRUE(fs::exists(folder / "S7702015-2014-01-01.MDB"));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}),
            30 + std::ssize(others) + 1 + kPosixFiles);
}

// The copy from before stays, nothing half lies about, and the next start tells once.
TEST_F(Guasti, CopyThatFailsIsToldOnceAtTheNextStart) {
  const fs::path today = program.MakeCopies(), folder = today.parent_path();
  const fs::path aside = program.Place() / "aside";
  std::optional<sqlite::Connection> other;
  const std::function<void()> away = [&] { fs::remove_all(today); };
  const std::tuple<const char*, std::function<void()>, std::function<void()>> cases[] = {
      {"non esiste", [&] { fs::rename(folder, aside); }, [&] { fs::rename(aside, folder); }},
#ifndef _WIN32
      {"esiste già", [&] { fs::create_symlink(program.Template(), today); }, away},
      {"esiste già", [&] { mkfifo(today.c_str(), 0600); }, away},
#endif
      {"esiste già", [&] { fs::create_directory(today); }, away},
      {"appartiene alla copia di prima", [&] { SetBytes(sys::Beside(today, "-journal"), "x"); },
       [&] { fs::remove(sys::Beside(today, "-journal")); }},
      {"occupato",
       [&] { Sql(other.emplace(program.File(), sqlite::Mode::kWrite), "BEGIN EXCLUSIVE"); },
       [&] { other.reset(); }},
      {"Disco pieno", [] { fault::Arm(fault::Cause::kDiskFull, 20, true); }, fault::Disarm},
      {"Errore di lettura", [] { fault::Arm(fault::Cause::kIo, 40, true); }, fault::Disarm},
      {"danneggiato",
       [&] {
         Sql(program.File(),
             "PRAGMA writable_schema = 1; UPDATE sqlite_schema SET rootpage = 3 WHERE name = "
             "'PERCPARCELLE.CHIAVE'");
       },
       [&] { SetBytes(program.File(), year); }},
  };
  for (const auto& [told, cause, remedy] : cases) {
    SCOPED_TRACE(told);
    Begin();
    ASSERT_TRUE(program.Open(kOld));
    program.Type(Text1(7), kTyped);
    Me.UserClick(cmdmemorizza);
    EXPECT_EQ(Told(), "");
    cause();
    program.Stop();
    EXPECT_TRUE(program.TakeBoxes().empty());
    remedy();
    EXPECT_TRUE(fs::is_empty(folder)) << told;
    for (const bool first : {true, false}) {
      ASSERT_TRUE(program.Start());
      const auto boxes = program.TakeBoxes();
      ASSERT_EQ(boxes.size(), first ? 1U : 0U) << told;
      EXPECT_TRUE(!first || (boxes[0].flags == toolkit::kExclamation &&
                             Has(text::ToUtf8(boxes[0].text), told)))
          << text::ToUtf8(boxes[0].text);
      program.Stop();
    }
  }
  // One that succeeds forgets what was left untold.
  Begin();
  sys::LeaveNote(sys::Note::kWarning, u"prima");
  Me.UserClickRow(List1, 1);
  Me.UserClick(Cmdcancella);
  program.Stop();
  EXPECT_EQ(sys::LeftNote(sys::Note::kWarning), u"");
  EXPECT_TRUE(fs::exists(today));
}

// A file that can't be used stops the start, and stays as it is; made from a
// template that can't be used, it goes again, so that the template can be
// mended.
TEST_F(Guasti, StartOnBadFiles) {
  const auto cut = [](std::size_t size) {
    return [size](const fs::path& file) { fs::resize_file(file, fs::file_size(file) - size); };
  };
  const auto sql = [](const char* text) { return [text](const fs::path& f) { Sql(f, text); }; };
  using Damage = std::function<void(const fs::path&)>;
  const std::tuple<const char*, Damage, const char*> kBad[] = {
      {"empty", [](const fs::path& f) { fs::resize_file(f, 0); }, "non è un database"},
      {"a head alone", [](const fs::path& f) { fs::resize_file(f, 100); }, "danneggiato"},
      {"short of a page", cut(4096), "danneggiato"},
      {"short of a byte", cut(1), "danneggiato"},
      {"a text", [](const fs::path& f) { SetBytes(f, "Gentile cliente,\n"); }, "non è un database"},
      {"no table", sql("DROP TABLE PERCETTORI"), "manca la tabella PERCETTORI"},
      {"no index", sql("DROP INDEX \"TABMIN_SG.CHIAVE2\""), "manca l'indice CHIAVE2"},
      {"no column of the list", sql("ALTER TABLE PERCPARCELLE RENAME APARC_1 TO ALTRO"),
       "manca la colonna APARC_1"},
  };
  const std::string model = Bytes(program.Template());
  // With no recipients nobody would ask for the column.
  Sql(program.Template(), "INSERT INTO PERCPARCELLE (CFP) VALUES ('A')");
  const std::string with_row = Bytes(program.Template());
  for (const bool in_template : {false, true}) {
    for (const auto& [name, damage, told] : kBad) {
      SCOPED_TRACE(std::string(name) + (in_template ? " in the template" : ""));
      SetBytes(program.Template(), with_row);
      SetBytes(program.File(), year);
      const fs::path& file = in_template ? program.Template() : program.File();
      damage(file);
      if (in_template) {
        fs::remove(program.File());
      }
      const std::string damaged = Bytes(file);
      EXPECT_FALSE(program.Start());
      EXPECT_TRUE(Has(Told(), told));
      EXPECT_EQ(Bytes(file), damaged);
      EXPECT_EQ(fs::exists(program.File()), !in_template);
      EXPECT_FALSE(fs::exists(program.Journal()));
      SetBytes(program.Template(), model);
      fs::remove(program.File());
      EXPECT_TRUE(program.Start());
      program.Stop();
    }
  }
}

TEST_F(Guasti, StartOnAReadOnlyOrLockedFile) {
#ifndef _WIN32
  const bool root = geteuid() == 0;
  // Another user reads them below, whatever the umask.
  for (const fs::path& file : {program.Place() / "registro.reg", program.Template()}) {
    fs::permissions(file, fs::perms(0444));
  }
  for (const auto& [folder, file] : {std::pair{0777U, 0444U}, std::pair{0555U, 0666U}}) {
    SCOPED_TRACE(folder);
    fs::permissions(program.Place(), fs::perms(folder));
    fs::permissions(program.File(), fs::perms(file));
    // Nothing is read-only for root.
    ASSERT_TRUE(!root || seteuid(65534) == 0);
    EXPECT_FALSE(program.Start());
    ASSERT_TRUE(!root || seteuid(0) == 0);
    EXPECT_TRUE(Has(Told(), "non può essere scritto"));
  }
  fs::permissions(program.Place(), fs::perms(0777));
#endif
  sqlite::Connection other(program.File(), sqlite::Mode::kWrite);
  fault::TakeWaited();
  Sql(other, "BEGIN EXCLUSIVE");
  EXPECT_FALSE(program.Start());
  EXPECT_TRUE(Has(Told(), "occupato da un altro programma"));
  EXPECT_NEAR(static_cast<double>(fault::TakeWaited()), 5000, 200);
}

// Every file that SQLite opens, whose it is, and that nothing is said outside the window; a list
// long enough for sorting to want room.
TEST_F(Guasti, RecipientsStayInTheArchive) {
  for (const auto& [folder_mode, file_mode] : {std::pair{0700U, 0600U}, std::pair{0770U, 0660U}}) {
    SCOPED_TRACE(folder_mode);
#ifndef _WIN32
    const mode_t mask = umask(0);
#endif
    fs::permissions(program.Place(), fs::perms(folder_mode));
    fs::remove(program.File());
    SetBytes(program.Journal(), "");  // a crash before the first byte
    fault::TakeOpened();
    testing::internal::CaptureStdout();
    ASSERT_TRUE(program.Start());
    Sql(program.File(),
        "WITH n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 3000) INSERT"
        " INTO PERCPARCELLE (CFP, APARC_1) SELECT i, hex(randomblob(15)) FROM n");
    fault::TakeOpened();
    EXPECT_TRUE(program.Insert(kNew, u"GIALLI"));
    Me.UserClick(cmdmemorizza);
    Me.UserClick(cmdselprec);
    Me.UserClick(Option1(1));
    EXPECT_TRUE(program.BeginChange(kNew, kOld));
    Me.UserClick(CmdConfermaCF);
    EXPECT_TRUE(program.Select(kOld));
    Me.UserClick(Cmdcancella);
    program.Stop();
#ifndef _WIN32
    umask(mask);
#endif
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    int journals = 0;
    for (const fault::Opened& opened : fault::TakeOpened()) {
      EXPECT_TRUE(opened.name == program.File() || opened.name == program.Journal()) << opened.name;
      EXPECT_TRUE(!kPosixFiles || opened.mode == fs::perms(file_mode)) << opened.name;
      journals += opened.name == program.Journal() ? 1 : 0;
    }
    EXPECT_EQ(journals, 3);  // a save, a change, a deletion
  }
}

TEST(Advice, OfAFieldComesFromTheCodeOnScreen) {
  Program program;
  ASSERT_TRUE(program.Start());
  ASSERT_TRUE(program.Insert(u"RSSMRA80A01H501U", u"ROSSI"));
  EXPECT_EQ(AVVISOCAMPO(6), u"");
  program.Type(Text1(6), u"TO");
  EXPECT_EQ(AVVISOCAMPO(6), u"Provincia diversa dal codice fiscale");
  program.Type(Text1(2), u"MARIO");
  EXPECT_EQ(AVVISOCAMPO(4), u"Data richiesta con il nome");
  EXPECT_EQ(COMPILADALCODICE(), u"Dal codice: sesso, data, comune");
  EXPECT_EQ(AVVISOCAMPO(4), u"");
  EXPECT_EQ(COMPILADALCODICE(), u"Dal codice: niente da aggiungere");
}

}  // namespace
