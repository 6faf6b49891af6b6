// Measures the program against what the machine can do with the same file and
// the same window.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <QApplication>
#include <QLineEdit>
#include <QTest>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "archives.h"
#include "chart.h"
#include "exchange.h"
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "lifecycle/lifecycle.h"
#include "measure.h"
#include "platform/desktop/look.h"
#include "platform/engine/engine.h"
#include "platform/sqlite/sqlite.h"
#include "platform/text/text.h"
#include "program.h"
#include "selection/selection.h"
#include "server.h"
#include "table.h"

namespace bench {

namespace fs = std::filesystem;
using namespace ANAGPARC;

namespace {

fs::path programs;  // the folder of our own programs

std::string Thousands(long n) {
  std::string digits = std::to_string(n);
  for (std::size_t i = digits.size(); i > 3;) {
    digits.insert(i -= 3, ",");
  }
  return digits;
}

// --- The list of recipients

// The list's rows as SQL makes them.
std::string RowsQuery() {
  return "SELECT substr(trim(CFP) || '                ', 1, 16) || ' ' || substr(trim(APARC_1) "
         "|| "
         "' ' || trim(APARC_2) || '                                             ', 1, 45) "
         "FROM PERCPARCELLE ORDER BY cfp";
}

// Brings the other order up in silence, so that the next list is in this one.
void SetOrder(bool by_name) {
  FlagFormCaricato = 0;
  Option1(by_name ? 1 : 0).SetValue(true);
  FlagFormCaricato = 1;
}

// A list that didn't show what the archive holds would be quick in vain. By name the
// order isn't the shell's.
void CheckRows(const fs::path& archive, bool by_name) {
  std::vector<std::string> rows, expected;
  for (int i = 1; i < List1.ListCount(); ++i) {
    rows.push_back(text::ToUtf8(List1.List(i)));
  }
  std::istringstream shell(ShellOutput(archive, RowsQuery()));
  for (std::string row; std::getline(shell, row);) {
    expected.push_back(row);
  }
  if (by_name) {
    std::ranges::sort(rows);
    std::ranges::sort(expected);
  }
  if (rows != expected) {
    throw std::runtime_error("the list differs from the archive");
  }
}

Cost ListWithoutScreen(const fs::path& archive, bool by_name) {
  Running(archive, Show::Nothing);
  SetOrder(by_name);
  return Measured([] {
    LISTAPERCETTORI();
    engine::Rest();
  });
}

double List(const fs::path& archive, Show show, bool by_name) {
  if (show == Show::Nothing) {
    return ListWithoutScreen(archive, by_name).cpu;
  }
  MeasuredProgram& program = Running(archive, show);
  SetOrder(!by_name);
  program.Settle();
  return Measured([&] { program.Click(Option1(by_name ? 1 : 0)); }).cpu;
}

double ListFromServer(const fs::path& archive, const fs::path& model, bool by_name) {
  const double seconds = ListWithoutScreen(archive, by_name).elapsed;
  CheckRows(model, by_name);
  return seconds;
}

int ShellTimes(long rows) { return static_cast<int>(std::max(1L, 100'000 / rows)); }

Comparison ListComparison(long recipients, Show show, bool by_name) {
  const std::string work = "List of " + Thousands(recipients) +
                           (by_name ? " by name" : " by code") +
                           (show == Show::Nothing ? ", no screen" : ", drawn on the desktop");
  return {work,
          by_name ? "the same by code" : "sqlite3 shell printing the same rows",
          show == Show::Nothing && !by_name ? 1.2 : 1.5,
          "cpu",
          recipients >= 1'000'000 ? 3 : 15,
          [=] {
            const fs::path archive = Archive(recipients);
            List(archive, show, by_name);
            CheckRows(archive, by_name);
            return Pair{
                [=] { return List(archive, show, by_name); },
                [=] {
                  return by_name ? List(archive, show, false)
                                 : ShellPrints(archive, RowsQuery(), ShellTimes(recipients)).cpu;
                }};
          }};
}

Comparison MemoryComparison() {
  constexpr long kRecipients = 1'000'000;
  return {"Memory of the process at its peak, 1,000,000 recipients listed",
          "the rows' characters",
          2,
          "memory",
          1,
          [] {
            const fs::path archive = Archive(kRecipients);
            EndRunning();
            BeginSession("processes");
            Choose(archive);
            return Pair{[=] {
                          const fs::path told = fs::temp_directory_path() / "anagparc_bench.memory";
                          RunProcess({programs / "program_drawn"}, "/dev/null", told);
                          double kilobytes = 0;
                          std::ifstream(told) >> kilobytes;
                          fs::remove(told);
                          return kilobytes * 1024;
                        },
                        [] { return kRecipients * 62.0 * sizeof(char16_t); }};
          }};
}

// Where the yardstick has a word in it, its process has to find fonts, as any
// program that shows text.
Comparison StartComparison(bool word) {
  return {"Start of the process to the drawn window, 200 recipients",
          std::string("an empty Qt main window") + (word ? " with a word in it" : "") + ", drawn",
          1.5,
          "cpu",
          25,
          [=] {
            const fs::path archive = Archive(200);
            EndRunning();
            BeginSession("processes");
            Choose(archive);
            return Pair{[] { return RunProcess({programs / "program_drawn"}).cpu; },
                        [=] {
                          std::vector<std::string> command = {programs / "empty_window"};
                          if (word) {
                            command.push_back("anagparc");
                          }
                          return RunProcess(command).cpu;
                        }};
          }};
}

// --- One record

// Rows spread over the list, another one each time.
int SomeRow() {
  static unsigned n = 0;
  n += 2654435769U;
  return 1 + static_cast<int>(n % static_cast<unsigned>(List1.ListCount() - 1));
}

double Opening(long recipients, Show show) {
  MeasuredProgram& program = Running(Archive(recipients), show);
  int row = 0;
  return Typical(
      200,
      [&] {
        LeaveRecord();
        program.Settle();
        program.ClickRow(List1, row = SomeRow());
      },
      [&] { program.DblClickRow(List1, row); });
}

Comparison OpeningComparison(Show show) {
  const std::string where = show == Show::Nothing ? ", no screen" : ", drawn";
  return {
      "Opening a record of 1,000,000" + where,
      "opening a record of 1,000" + where,
      2,
      "time",
      3,
      [=] {
        return Pair{[=] { return Opening(1'000'000, show); }, [=] { return Opening(1'000, show); }};
      }};
}

Comparison OpeningLimitComparison(Show show) {
  return {"Opening a record of 1,000,000" +
              std::string(show == Show::Nothing ? ", no screen" : ", drawn on the desktop"),
          "2 ms",
          1,
          "time",
          5,
          [=] {
            return Pair{[=] { return Opening(1'000'000, show); }, [] { return 2e-3; }};
          }};
}

// A connection that synchronises as the program does, with a statement on it.
struct Yardstick {
  Yardstick(const fs::path& archive, std::string_view sql)
      : database(archive, sqlite::Mode::kWrite), statement(database, sql) {
    database.Run("PRAGMA journal_mode = DELETE; PRAGMA synchronous = EXTRA");
  }

  // Runs an update of at least `rows` rows.
  void Update(const std::string& value, const std::string& key, int rows) {
    statement.Bind(1, value).Bind(2, key).Next();
    if (database.Changes() < rows) {
      throw std::runtime_error("not updated");
    }
  }

  sqlite::Connection database;
  sqlite::Statement statement;
};

Comparison SaveComparison() {
  return {"Memorizza of an existing record, 100,000 recipients",
          "a transaction that updates one row, synchronised",
          1.3,
          "time",
          60,
          [] {
            const fs::path archive = Archive(100'000);
            MeasuredProgram& program = Running(archive, Show::Nothing);
            OpenRecord(50'000);
            const auto other = std::make_shared<Yardstick>(
                archive, "UPDATE PERCPARCELLE SET APARC_13 = ?1 WHERE CFP = ?2");
            const std::string code = text::ToUtf8(CFCorrente);
            const auto turn = std::make_shared<int>(0);
            return Pair{
                [=, &program] {
                  Text1(13).SetText(++*turn % 2 == 0 ? u"VIA ROMA 1" : u"VIA ROMA 2");
                  const double seconds = Measured([&] { program.Click(cmdmemorizza); }).elapsed;
                  if (MOD770BAS::FlagErroreCampi != 0) {
                    throw std::runtime_error("not saved");
                  }
                  return seconds;
                },
                [=] {
                  return Measured([&] {
                           other->Update(++*turn % 2 == 0 ? "VIA ROMA 3" : "VIA ROMA 4", code, 1);
                         })
                      .elapsed;
                }};
          }};
}

double Next(long recipients, Show show = Show::Nothing) {
  MeasuredProgram& program = Running(Archive(recipients), show);
  const int steps = static_cast<int>(std::min(300L, recipients / 3));
  SetOrder(false);
  OpenRecord(SomeRow() % (List1.ListCount() - steps) + 1);
  program.Settle();
  return Typical(
      steps, [] {}, [&] { program.Click(cmdparcsuc); });
}

// Steps from one code to the next one, reading the whole row.
double NextBySql(Yardstick& other) {
  std::string code = text::ToUtf8(text::TrimRight(List1.List(SomeRow()).substr(0, 16)));
  sqlite::Statement& next = other.statement;
  return Typical(
      300, [] {},
      [&] {
        next.Bind(1, code);
        if (next.Next()) {
          std::string following(next.Bytes(0));
          for (int column = 1; column < next.ColumnCount(); ++column) {
            benchmark::DoNotOptimize(next.Text(column));
          }
          next.Reset();
          code = std::move(following);
        }
      });
}

Comparison NextComparison() {
  return {"Anagrafica successiva, 1,000,000 recipients",
          "a step of a prepared indexed query",
          3,
          "time",
          15,
          [] {
            const fs::path archive = Archive(1'000'000);
            Running(archive, Show::Nothing);
            const auto other = std::make_shared<Yardstick>(
                archive, "SELECT * FROM PERCPARCELLE WHERE CFP > ?1 ORDER BY CFP LIMIT 1");
            return Pair{[] { return Next(1'000'000); }, [=] { return NextBySql(*other); }};
          }};
}

Comparison NextFlatComparison() {
  return {"Anagrafica successiva, 1,000,000 recipients",
          "the same, 1,000 recipients",
          2,
          "time",
          3,
          [] {
            return Pair{[] { return Next(1'000'000); }, [] { return Next(1'000); }};
          }};
}

// --- Keys

// A field and what is typed into it again and again.
struct KeyKind {
  const char* name;
  int field;
  QString key;
  std::u16string_view before;  // what the field holds
  int caret;
};

const std::vector<KeyKind>& KeyKinds() {
  static const std::vector<KeyKind> kinds = {
      {"text", 1, "a", u"ROSSI", 5},
      {"text, Backspace", 1, "\b", u"ROSSI", 5},
      {"sex", 3, "m", u"", 0},
      {"date", 4, "1", u"00/00/0000", 0},
      {"province", 6, "r", u"", 0},
      {"table code", 9, "x", u"A", 1},
      {"numeric code", 14, "5", u"0", 1},
  };
  return kinds;
}

void PrepareField(MeasuredProgram& program, const KeyKind& kind) {
  toolkit::TextBox& box = Text1(kind.field);
  if (Me.Focus() != &box) {
    Text1(4).SetText(u"00/00/0000");  // half a date wouldn't let the focus go
    Me.UserFocus(box);
  }
  box.SetText(kind.before);
  box.SetSelStart(kind.caret);
  program.Settle();
}

double KeyTime(Show show, const KeyKind& kind) {
  MeasuredProgram& program = Running(Archive(1'000), show);
  if (!Frmmoduli(0).Visible()) {
    OpenRecord(1);
  }
  if (program.Window() != nullptr) {
    Activate(program.Window()->Widget());
  }
  return Typical(
      300, [&] { PrepareField(program, kind); }, [&] { program.Key(kind.key); });
}

Comparison ModelKeyComparison(const KeyKind& kind) {
  return {
      "A key in a field, model alone: " + std::string(kind.name), "5 µs", 1, "time", 15, [&kind] {
        return Pair{[&kind] { return KeyTime(Show::Nothing, kind); }, [] { return 5e-6; }};
      }};
}

// A line edit alone in a window.
class BareField {
 public:
  explicit BareField(const KeyKind& kind) : kind_(kind), field_(new QLineEdit(&window_)) {
    const toolkit::TextBox& box = Text1(kind.field);
    window_.setFixedSize(801, 583);
    field_->setGeometry(desktop::PixelRect(box));
    field_->setFont(desktop::FaceFont(toolkit::Font::Fixed));
    field_->setFocus();
    ShowDrawn(window_);
  }

  double KeyTime() {
    Activate(window_);
    return Typical(
        300,
        [this] {
          field_->setText(QString::fromUtf16(kind_.before.data(), std::ssize(kind_.before)));
          field_->setCursorPosition(kind_.caret);
          Draw(window_);
        },
        [this] {
          SendKey(*field_, kind_.key);
          Draw(window_);
        });
  }

 private:
  const KeyKind& kind_;
  QWidget window_;
  QLineEdit* field_;
};

Comparison DrawnKeyComparison(const KeyKind& kind) {
  return {"A key in a field, to the drawn widget: " + std::string(kind.name),
          "the same key in a bare line edit, drawn",
          1.5,
          "time",
          15,
          [&kind] {
            Running(Archive(1'000), Show::Window);
            const auto bare = std::make_shared<BareField>(kind);
            return Pair{[&kind] { return KeyTime(Show::Window, kind); },
                        [bare] { return bare->KeyTime(); }};
          }};
}

// --- Lookup panel, change of code

Comparison MunicipalitiesComparison() {
  return {"Municipality panel, click to drawn",
          "sqlite3 shell printing the same rows",
          1.5,
          "cpu",
          25,
          [] {
            const fs::path archive = Archive(1'000);
            MeasuredProgram& program = Running(archive, Show::Window);
            OpenRecord(1);
            program.Settle();
            return Pair{[&program] {
                          const double seconds =
                              Measured([&] { program.Click(CMDAPRILIST(5)); }).cpu;
                          if (!Framecodif.Visible() || ListTabmin.ListCount() < 7'000) {
                            throw std::runtime_error("the panel hasn't opened");
                          }
                          program.Click(CMDAPRILIST(5));
                          return seconds;
                        },
                        [=] {
                          return ShellPrints(archive,
                                             "SELECT COMUNE || ' ' || PROV || ' ' || CODICE "
                                             "FROM TABCOMUNI ORDER BY COMUNE",
                                             20)
                              .cpu;
                        }};
          }};
}

Comparison ChangeComparison() {
  return {"CAMBIACF with 10,000 certifications",
          "one SQL update of the same rows, synchronised",
          1.5,
          "time",
          15,
          [] {
            const fs::path archive = ArchiveOfCertifications();
            Running(archive, Show::Nothing);
            const auto other = std::make_shared<Yardstick>(
                archive, "UPDATE QUADROLAUT SET CFP = ?1 WHERE CFP = ?2");
            const std::u16string code = text::FromUtf8(other->database.Text(
                "SELECT CFP FROM QUADROLAUT GROUP BY CFP ORDER BY count(*) DESC LIMIT 1"));
            const bool changed = code.starts_with(u'Z');
            const auto codes = std::make_shared<std::pair<std::u16string, std::u16string>>(
                code, changed ? u"AAAAAA00A00A000A" : u"ZZZZZZ99Z99Z999Z");
            return Pair{[=] {
                          std::tie(CFCorrente, CFNuovo) = *codes;
                          std::swap(codes->first, codes->second);
                          return Measured([] {
                                   MOD770BAS::TRANSAZIONE transazione;
                                   CAMBIACF();
                                   transazione.CONFERMA();
                                   engine::Rest();
                                 })
                              .elapsed;
                        },
                        [=] {
                          // The recipient's own row goes back and forth by CAMBIACF alone.
                          const std::string from = text::ToUtf8(codes->first),
                                            to = text::ToUtf8(codes->second);
                          const double seconds =
                              Measured([&] { other->Update(to, from, 10'000); }).elapsed;
                          other->Update(from, to, 10'000);
                          return seconds;
                        }};
          }};
}

std::vector<Comparison> AllComparisons() {
  std::vector<Comparison> rows;
  for (const Show show : {Show::Nothing, Show::Window}) {
    for (const long recipients : {1'000L, 100'000L, 1'000'000L}) {
      for (const bool by_name : {false, true}) {
        rows.push_back(ListComparison(recipients, show, by_name));
      }
    }
  }
  rows.push_back(OpeningComparison(Show::Nothing));
  rows.push_back(OpeningLimitComparison(Show::Nothing));
  rows.push_back(OpeningComparison(Show::Window));
  rows.push_back(OpeningLimitComparison(Show::Window));
  rows.push_back(NextFlatComparison());
  rows.push_back(NextComparison());
  rows.push_back(SaveComparison());
  for (const KeyKind& kind : KeyKinds()) {
    rows.push_back(ModelKeyComparison(kind));
  }
  for (const KeyKind& kind : KeyKinds()) {
    rows.push_back(DrawnKeyComparison(kind));
  }
  rows.push_back(MunicipalitiesComparison());
  rows.push_back(ChangeComparison());
  for (Comparison& row : ExchangeComparisons(programs / "anagparc-archivio")) {
    rows.push_back(std::move(row));
  }
  for (Comparison& row : ServerComparisons(programs / "anagparc-archivio", ListFromServer)) {
    rows.push_back(std::move(row));
  }
  rows.push_back(StartComparison(false));
  rows.push_back(StartComparison(true));
  rows.push_back(MemoryComparison());
  return rows;
}

// --- The chart

void DrawChart(const fs::path& file) {
  const std::vector<long> sizes = {1'000, 10'000, 100'000, 1'000'000};
  std::vector<Line> lines = {
      {"list by code", "#1b5ca8", {}},
      {"list by name", "#b3541e", {}},
      {"list by code, drawn", "#7fb2e5", {}},
      {"sqlite3 shell, rows by code", "#888888", {}},
      {"opening a record, drawn", "#2e8b57", {}},
      {"Anagrafica successiva, drawn", "#8a2be2", {}},
  };
  for (const long recipients : sizes) {
    const fs::path archive = Archive(recipients);
    const auto of_three = [](const std::function<double()>& measure) {
      return Median({measure(), measure(), measure()});
    };
    const double seconds[] = {
        of_three([&] { return List(archive, Show::Nothing, false); }),
        of_three([&] { return List(archive, Show::Nothing, true); }),
        of_three([&] { return List(archive, Show::Window, false); }),
        of_three([&] { return ShellPrints(archive, RowsQuery(), ShellTimes(recipients)).cpu; }),
        Opening(recipients, Show::Window),
        Next(recipients, Show::Window),
    };
    for (std::size_t i = 0; i < lines.size(); ++i) {
      lines[i].seconds.push_back(seconds[i]);
    }
  }
  WriteChart(file, sizes, lines);
  std::cout << "\nThe cost as the work grows: " << file.native() << '\n';
}

}  // namespace

}  // namespace bench

// FOLDER is where the archives lie. With the name of a picture to write the
// chart is drawn; with ONLY, rows alone whose work contains that text.
int main(int argc, char** argv) {
  if (argc < 2) {
    std::cerr << "usage: benchmarks FOLDER [--chart FILE] [ONLY]\n";
    return 2;
  }
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
  std::string chart, only;
  for (int i = 2; i < argc; ++i) {
    const std::string word = argv[i];
    if (word == "--chart" && i + 1 < argc) {
      chart = argv[++i];
    } else {
      only = word;
    }
  }
  bench::programs = std::filesystem::path(argv[0]).parent_path();
  bench::SetFolder(argv[1]);
  int one = 1;
  benchmark::Initialize(&one, argv);
  QApplication application(one, argv);
  bench::MeasureAll(bench::AllComparisons(), only);
  if (!chart.empty()) {
    bench::DrawChart(chart);
  }
  bench::EndRunning();
  return 0;
}
