#include "exchange.h"

#include <fstream>
#include <iostream>
#include <stdexcept>

#include "archives.h"
#include "archivio/archivio.h"
#include "measure.h"

namespace bench {

namespace fs = std::filesystem;

namespace {

constexpr long kRecipients = 100'000;

fs::path Csv() { return Archive(kRecipients).parent_path() / "percettori.csv"; }

double Export(const fs::path& tool) {
  fs::remove(Csv());
  return RunProcess({tool, "esporta", Csv(), Archive(kRecipients)}).elapsed;
}

// A new archive without recipients.
fs::path Empty() {
  const fs::path folder = Archive(kRecipients).parent_path() / "import";
  fs::remove_all(folder);
  archivio::Create(folder, 0, std::cerr);
  return folder / archivio::kYearName;
}

void CheckEqual(const fs::path& one, const fs::path& another) {
  const std::string differing = ShellOutput(
      one, "ATTACH '" + another.native() +
               "' AS b; SELECT count(*) FROM (SELECT * FROM main.PERCPARCELLE EXCEPT SELECT * FROM "
               "b.PERCPARCELLE); SELECT (SELECT count(*) FROM main.PERCPARCELLE) - (SELECT "
               "count(*) FROM b.PERCPARCELLE)");
  if (differing != "0\n0\n") {
    throw std::runtime_error("the table has changed on its way through the CSV file");
  }
}

double Import(const fs::path& tool) {
  const fs::path to = Empty();
  const double seconds = RunProcess({tool, "importa", Csv(), to}).elapsed;
  CheckEqual(Archive(kRecipients), to);
  return seconds;
}

double ShellImports() {
  const fs::path to = Empty(), script = to.parent_path() / "import.sql";
  std::ofstream(script) << ".import --csv --skip 1 '" << Csv().native() << "' PERCPARCELLE\n";
  return RunProcess({"sqlite3", "-batch", "-init", "/dev/null", to}, script).elapsed;
}

double ShellExports() {
  const fs::path csv = Archive(kRecipients).parent_path() / "shell.csv";
  const fs::path script = csv.parent_path() / "export.sql";
  std::ofstream(script) << ".headers on\n.mode csv\nSELECT * FROM PERCPARCELLE ORDER BY CFP;\n";
  return RunProcess({"sqlite3", "-batch", "-init", "/dev/null", Archive(kRecipients)}, script, csv)
      .elapsed;
}

}  // namespace

std::vector<Comparison> ExchangeComparisons(const fs::path& tool) {
  return {{"Export of 100,000 recipients to CSV", "sqlite3 shell writing the same table as CSV",
           1.5, "time", 7,
           [=] {
             return Pair{[=] { return Export(tool); }, [] { return ShellExports(); }};
           }},
          {"Import of 100,000 recipients from CSV, each code tested",
           "sqlite3 shell's own .import of the same file", 1.5, "time", 7, [=] {
             Export(tool);
             return Pair{[=] { return Import(tool); }, [] { return ShellImports(); }};
           }}};
}

}  // namespace bench
