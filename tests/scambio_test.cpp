// Recipients out of an archive and into one, copies of archives, and a user's
// first preparation.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

#include "archivio/archivio.h"
#include "archivio/sqlite.h"

namespace archivio {
namespace {

namespace fs = std::filesystem;

constexpr char kPerson[] = "RSSMRA80A01H501U";
constexpr char kHeader[] =
    "CFP,APARC_1,APARC_2,APARC_3,APARC_4,APARC_5,APARC_6,APARC_7,APARC_8,APARC_9,APARC_11,"
    "APARC_12,APARC_13,APARC_14,APARC_16,APARC_17";
// What follows a code and a name.
constexpr char kRest[] = ",,,,,,,,,,,,,,";

std::string Bytes(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

class Exchange : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (fs::temp_directory_path() / "scambio-XXXXXX").native();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
    empty_ = folder_ / "empty";
    WriteTemplate(empty_);
  }
  void TearDown() override { fs::remove_all(folder_); }

  fs::path NewArchive(const char* sql = "") {
    const fs::path file = folder_ / "archive";
    fs::copy_file(empty_, file, fs::copy_options::overwrite_existing);
    Sqlite(file, Sqlite::Mode::kWrite).Run(sql);
    return file;
  }

  fs::path Csv(const std::string& bytes) {
    std::ofstream(folder_ / "csv", std::ios::binary) << bytes;
    return folder_ / "csv";
  }

  // All that the tool says; its exit status in status_.
  std::string Tell(const std::vector<std::string>& arguments) {
    std::ostringstream out;
    status_ = archivio::Run(arguments, out, out);
    return out.str();
  }

  static std::string Ask(const fs::path& file, const std::string& sql) {
    const Sqlite database(file, Sqlite::Mode::kRead);
    Statement query(database, sql);
    std::string answer;
    while (query.Next()) {
      answer += query.Text(0) + "\n";
    }
    return answer;
  }

  static std::string Rows(const fs::path& file) {
    std::string columns = "quote(CFP)";
    for (int i = 1; i <= 17; ++i) {
      columns += "||','||quote(APARC_" + std::to_string(i) + ")";
    }
    return Ask(file, "SELECT " + columns + " FROM PERCPARCELLE ORDER BY rowid");
  }

  std::size_t Files() const {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder_), {}));
  }

  fs::path folder_;
  fs::path empty_;
  int status_ = -1;
};

TEST_F(Exchange, WhatGoesOutComesInAgain) {
  const fs::path nasty = NewArchive(
      "INSERT INTO PERCPARCELLE (CFP, APARC_1, APARC_2, APARC_4, APARC_10, APARC_14) VALUES"
      " ('RSSMRA80A01H501U', 'D''ANGELO, \"DETTO\"', '', '00000000', NULL, '  0'),"
      " ('00743110157     ', '  blanks  ', NULL, '19600229', '', '002'),"
      " (' 00743110165', '=1+1', '\"', '', 'x', NULL),"
      " ('MALE', char(13,10) || 'two' || char(10) || 'lines' || char(13), ',', '20150231', '', ''),"
      " ('ZZZZZZ80A01H501U', char(9) || 'ÀÈ😀' || char(65533), ',\"\"', NULL, 'NULL', '999'),"
      " ('01234567890', printf('%200c', 'w'), 'nome', '0000', '\\', 'EE')");
  const std::string rows = Rows(nasty);
  const fs::path csv = folder_ / "out.csv";
  EXPECT_EQ(Export(nasty, csv), 6U);
  EXPECT_EQ(Bytes(csv).substr(0, 12), "CFP,APARC_1,");

  const fs::path archive = NewArchive();
  const std::string before = Bytes(archive);
  std::ostringstream report;
  EXPECT_FALSE(Import(csv, archive, {}, report, nullptr).written);
  EXPECT_EQ(Bytes(archive), before) << "rows that want a confirmation";
  EXPECT_EQ(Import(csv, archive, {.confirm = true}, report, nullptr).added, 6U);
  EXPECT_EQ(Rows(archive), rows);
  EXPECT_EQ(Check(archive), std::vector<std::string>());

  // Without a question, what the program itself may have written; again, with
  // the values of the first time changed.
  const fs::path year = folder_ / "year";
  WriteDemonstration(year, 3000);
  fs::remove(csv);
  Export(year, csv);
  std::ostringstream silence;
  NewArchive();
  EXPECT_EQ(Import(csv, archive, {}, silence, nullptr).added, 3000U);
  EXPECT_EQ(Rows(archive), Rows(year));
  Sqlite(archive, Sqlite::Mode::kWrite)
      .Run("UPDATE PERCPARCELLE SET APARC_1 = 'X', APARC_9 = NULL");
  EXPECT_EQ(Import(csv, archive, {.update = true}, silence, nullptr).updated, 3000U);
  EXPECT_EQ(Rows(archive), Rows(year));
  EXPECT_EQ(silence.str(), "");
}

TEST_F(Exchange, EachValueIsTested) {
  const struct {
    const char* column;
    const char* value;
    const char* told;  // "" where it goes in without a word
  } cases[] = {
      {"CFP", "RSSMRA80A01H501U", ""},
      {"CFP", "00743110157", ""},
      {"CFP", "00743110157     ", ""},
      {"CFP", "RSSMRA80A01H501X", "codice fiscale formalmente errato"},
      {"CFP", "rssmra80a01h501u", "codice fiscale formalmente errato"},
      {"CFP", "RSSMRA80A01H501", "lunghezza codice fiscale errata"},
      {"CFP", "00743110158", "partita IVA formalmente errata"},
      {"CFP", " 00743110157", "partita IVA formalmente errata"},
      {"CFP", "1234567890123456", "lunghezza partita IVA errata"},
      {"CFP", "RSSMRA80A01H501U ", "!codice più lungo di 16 caratteri"},
      {"CFP", "   ", "!manca il codice"},
      {"CFP", "ESISTE", "!codice già presente nell'archivio"},
      {"CFP", "  ESISTE  ", "!codice già presente nell'archivio"},
      {"APARC_1", "ÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀ", ""},
      {"APARC_1", "ÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀA", "APARC_1 ha più di 30 caratteri"},
      {"APARC_16", "12", "APARC_16 ha più di 1 carattere"},
      {"APARC_2", "\xC3(", "!APARC_2 non è un testo UTF-8"},
      {"APARC_4", "00000000", ""},
      {"APARC_4", "20120229", ""},
      {"APARC_4", "20130229", "APARC_4 non è una data AAAAMMGG"},
      {"APARC_4", "00000101", "APARC_4 non è una data AAAAMMGG"},
      {"APARC_4", "2012-2-9", "APARC_4 non è una data AAAAMMGG"},
      {"APARC_4", "201202290", "APARC_4 non è una data AAAAMMGG"},
      {"APARC_6", "RM", ""},
      {"APARC_6", "EE", ""},
      {"APARC_6", "  ", ""},
      {"APARC_6", "PS", "APARC_6 non è una provincia valida"},
      {"APARC_8", "PS", ""},
      {"APARC_8", "rm", "APARC_8 non è una provincia valida"},
      {"APARC_14", "002", ""},
      {"APARC_14", "  0", ""},
      {"APARC_14", "ITA", ""},
      {"APARC_14", "2", "APARC_14 non è un codice di stato estero valido"},
  };
  const fs::path file = NewArchive("INSERT INTO PERCPARCELLE (CFP) VALUES (' ESISTE')");
  const std::string before = Bytes(file);
  for (const auto& test : cases) {
    std::ofstream(file, std::ios::binary) << before;
    std::string row;
    std::istringstream names(kHeader);
    for (std::string name; std::getline(names, name, ',');) {
      row += (row.empty() ? "" : ",") + (name == test.column ? std::string(test.value)
                                         : name == "CFP"     ? kPerson
                                                             : "");
    }
    const fs::path csv = Csv(std::string(kHeader) + "\r\n" + row + "\r\n");
    std::string told = test.told;
    const bool certain = told.starts_with('!');  // no confirmation helps
    told.erase(0, certain ? 1 : 0);
    const std::string said = Tell({"importa", csv, file});
    EXPECT_EQ(status_, told.empty() ? 0 : 1) << row << said;
    EXPECT_EQ(said.find("Riga 2 (") == 0, !told.empty()) << said;
    EXPECT_NE(said.find(told), said.npos) << row << said;
    EXPECT_EQ(Bytes(file) == before, !told.empty()) << row;
    if (!told.empty()) {
      const std::string again = Tell({"importa", "--conferma", csv, file});
      EXPECT_EQ(status_, certain ? 1 : 0) << again;
      EXPECT_NE(again.find(told), again.npos) << again;
    }
  }
}

TEST_F(Exchange, WrongRowsAreToldByTheirLines) {
  const std::string good = std::string(kPerson) + ",\"due\nrighe\"" + kRest;
  const fs::path csv =
      Csv(std::string("\xEF\xBB\xBF") + kHeader + "\n" + good + "\n\r\n\n" + "00743110157,a\r\n" +
          kPerson + ",b" + kRest + "\n" + "00743110157,\"N" + std::string(1, '\0') + "L\"" + kRest +
          "\r\n" + "00743110157,c" + kRest + ",\r\n" + "00743110157,\x1B[2Jd" + kRest);
  const fs::path file = NewArchive(
      "INSERT INTO PERCPARCELLE (CFP, APARC_10, APARC_17) VALUES"
      " ('00743110157    ', 'resta', 'va')");
  const std::string before = Bytes(file);
  const std::string faults =
      "Riga 6: 2 campi invece di 16.\n"
      "Riga 7 (RSSMRA80A01H501U): lo stesso codice della riga 2.\n"
      "Riga 8 (00743110157): APARC_1 contiene un carattere NUL.\n"
      "Riga 9: 17 campi invece di 16.\n";
  const std::string exists = "Riga 10 (00743110157): codice già presente nell'archivio.\n";
  EXPECT_EQ(Tell({"importa", csv, file}),
            faults + exists + "Righe sbagliate: 5. L'archivio resta com'era.\n");
  EXPECT_EQ(status_, 1);
  EXPECT_EQ(Tell({"importa", csv, file, "--aggiorna"}),
            faults + "Righe sbagliate: 4. L'archivio resta com'era.\n");
  EXPECT_EQ(Bytes(file), before);
  EXPECT_EQ(Tell({"importa", csv, file, "--salta", "--aggiorna"}),
            faults + "Percettori aggiunti: 1, aggiornati: 1, righe saltate: 4.\n");
  EXPECT_EQ(status_, 0);
  EXPECT_EQ(Ask(file,
                "SELECT CFP || '|' || APARC_1 || '|' || ifnull(APARC_10, '') || '|' || "
                "ifnull(APARC_17, 'null') FROM PERCPARCELLE"),
            "00743110157    |\x1B[2Jd|resta|null\nRSSMRA80A01H501U|due\nrighe||null\n");
}

TEST_F(Exchange, FilesThatCannotBeTrustedAreRefused) {
  const std::string header = std::string(kHeader) + "\r\n";
  const std::string row = std::string(kPerson) + ",ROSSI" + kRest + "\r\n";
  std::string semicolons = header;
  std::replace(semicolons.begin(), semicolons.end(), ',', ';');
  const struct {
    std::string bytes;
    const char* told;
  } cases[] = {
      {"", "è vuoto"},
      {semicolons + row, "colonna sconosciuta"},
      {"\xFF\xFE" + header, "colonna sconosciuta"},
      {"CFP,APARC_1,INDIRIZZO\r\n", "colonna sconosciuta \"INDIRIZZO\""},
      {"CFP,cfp\r\n", "due colonne CFP"},
      {"CFP,APARC_1\r\n" + row, "manca la colonna APARC_2"},
      {header + row + "00743110157,\"ROSSI" + kRest + "\r\n" + row, "riga 3: virgolette aperte"},
      {header + row + "00743110157,RO\"SSI" + kRest + "\r\n", "riga 3: virgolette fuori posto"},
      {header + row + "00743110157,\"RO\"SSI" + kRest + "\r\n", "riga 3: virgolette fuori posto"},
      {header + row + "00743110157,RO\rSSI" + kRest + "\r\n", "riga 3: ritorno a capo"},
      {header + row + "00743110157," + std::string(2 << 20, 'X') + "\r\n", "riga 3: la riga non"},
      {header + row + std::string(2 << 20, ',') + "\r\n", "riga 3: la riga non finisce"},
  };
  const fs::path file = NewArchive();
  const std::string before = Bytes(file);
  for (const auto& test : cases) {
    const std::string said =
        Tell({"importa", Csv(test.bytes), file, "--salta", "--aggiorna", "--conferma"});
    EXPECT_EQ(status_, 1) << test.told;
    EXPECT_NE(said.find(test.told), said.npos) << said.substr(0, 300) << "\nnot: " << test.told;
    EXPECT_EQ(Bytes(file), before) << test.told;
  }
  Csv(header + row);
  Tell({"importa", folder_ / "missing", file});
  EXPECT_EQ(status_, 1);
  Sqlite(file, Sqlite::Mode::kWrite).Run("DROP TABLE TABMIN_PROV");
  EXPECT_NE(Tell({"importa", folder_ / "csv", file}).find("Tabella TABMIN_PROV: manca"),
            std::string::npos);
}

TEST_F(Exchange, ExportsAreNewPrivateWholeFiles) {
  const fs::path file = NewArchive("INSERT INTO PERCPARCELLE (CFP) VALUES ('A'), ('B')");
  ASSERT_EQ(chmod(folder_.c_str(), 0770), 0);
  const fs::path csv = folder_ / "x.csv";
  EXPECT_EQ(Tell({"esporta", csv, file}), "Percettori scritti: 2.\n");
  struct stat info;
  ASSERT_EQ(stat(csv.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600U);
  const std::string before = Bytes(csv);
  Tell({"esporta", folder_ / "X.CSV", file});
  EXPECT_EQ(status_, 1);
  EXPECT_EQ(Bytes(csv), before);
  for (const char* value : {"x'4142'", "CAST(x'C328' AS TEXT)", "'a' || char(0) || 'b'"}) {
    Sqlite(file, Sqlite::Mode::kWrite)
        .Run(std::string("UPDATE PERCPARCELLE SET APARC_1 = ") + value + " WHERE CFP = 'B'");
    EXPECT_EQ(Tell({"esporta", folder_ / "y.csv", file}),
              "Percettore n. 2: la colonna APARC_1 contiene dati che non sono un testo.\n");
  }
  EXPECT_EQ(Files(), 3U);
}

TEST_F(Exchange, CopiesAreSoundWhileOthersWrite) {
  const fs::path file = folder_ / "archive";
  WriteDemonstration(file, 2000);
  // Each recipient has the same number at every moment.
  Sqlite(file, Sqlite::Mode::kWrite).Run("UPDATE PERCPARCELLE SET APARC_10 = '0'");
  std::atomic<bool> ended = false;
  std::atomic<int> writes = 0;
  std::thread writer([&] {
    Sqlite database(file, Sqlite::Mode::kWrite);
    for (; !ended; ++writes) {
      database.Run("UPDATE PERCPARCELLE SET APARC_10 = APARC_10 + 1");
    }
  });
  std::string last;
  for (int n = 0; n < 5; ++n) {
    const int seen = writes;
    while (writes == seen) {
      std::this_thread::yield();
    }
    const fs::path copy = folder_ / ("copy" + std::to_string(n));
    EXPECT_NO_THROW(archivio::Copy(file, copy));
    EXPECT_EQ(Check(copy), std::vector<std::string>());
    const std::string numbers = Ask(copy, "SELECT DISTINCT APARC_10 FROM PERCPARCELLE");
    EXPECT_EQ(std::count(numbers.begin(), numbers.end(), '\n'), 1) << numbers;
    EXPECT_NE(numbers, last);
    last = numbers;
  }
  ended = true;
  writer.join();
}

TEST_F(Exchange, CopiesAreNewFiles) {
  const fs::path file = NewArchive("PRAGMA journal_mode = WAL");
  const fs::path target = folder_ / "target";
  fs::create_directory(target);
  EXPECT_EQ(Tell({"copia", file, target}), "");
  EXPECT_EQ(Check(target / "archive"), std::vector<std::string>());
  const std::string before = Bytes(target / "archive");
  EXPECT_NE(Tell({"copia", file, target}).find("esiste già"), std::string::npos);
  EXPECT_EQ(Bytes(target / "archive"), before);

  // A journal left over there would be played into the copy.
  std::ofstream(target / "y-journal") << "x";
  Tell({"copia", file, target / "y"});
  EXPECT_EQ(status_, 1);
  EXPECT_FALSE(fs::exists(target / "y"));

  std::string damaged = before;
  damaged.replace(damaged.size() / 2, 20000, 20000, '\xA5');
  for (const std::string& bytes : {std::string(), std::string("CFP,A"), damaged}) {
    Tell({"copia", Csv(bytes), target / "z"});
    EXPECT_EQ(status_, 1);
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(target), {}), 2);
}

TEST_F(Exchange, PreparationMakesWhatIsMissing) {
  const fs::path registry = folder_ / "config" / "morvenna" / "registro.reg";
  unsetenv("MORVENNA_REGISTRO");
  setenv("XDG_CONFIG_HOME", (folder_ / "config").c_str(), 1);
  const fs::path archives = folder_ / "uffici" / "l'\"anno\" è 2015";
  EXPECT_THROW(YearArchive(), Failure);
  EXPECT_EQ(Tell({"prepara", archives}),
            "Creata la cartella " + archives.native() + ".\nScritto il modello " +
                (archives / kTemplateName).native() + ".\nScritto il file di registro " +
                registry.native() + ".\n");
  EXPECT_EQ(YearArchive(), archives / kYearName);
  fs::copy_file(archives / kTemplateName, archives / kYearName);
  EXPECT_EQ(Tell({"esporta", folder_ / "x.csv"}), "Percettori scritti: 0.\n");

  // A second time, and with one of the two gone, what is there stays.
  const std::string text = Bytes(registry);
  EXPECT_NE(Tell({"prepara", archives.native() + "/"}).find("indica già"), std::string::npos);
  EXPECT_EQ(status_, 0);
  fs::rename(archives / kTemplateName, archives / "sq4rxxxx.mdb");
  fs::remove(registry);
  EXPECT_NE(Tell({"prepara", archives}).find("c'era già"), std::string::npos);
  EXPECT_EQ(Bytes(registry), text);

  // Another folder, or a registry or template that isn't ours to touch.
  const fs::path other = folder_ / "altra";
  EXPECT_NE(Tell({"prepara", other}).find("non indica questa cartella"), std::string::npos);
  EXPECT_EQ(status_, 1);
  EXPECT_FALSE(fs::exists(other));
  setenv("MORVENNA_REGISTRO", (folder_ / "mio.reg").c_str(), 1);
  fs::create_directory(other);
  std::ofstream(other / kTemplateName) << "x";
  EXPECT_NE(Tell({"prepara", other}).find("non è un archivio"), std::string::npos);
  EXPECT_FALSE(fs::exists(folder_ / "mio.reg"));
  EXPECT_EQ(Bytes(other / kTemplateName), "x");
  Tell({"prepara", folder_ / "a\nb"});
  EXPECT_EQ(status_, 1);
  EXPECT_EQ(Bytes(registry), text);
}

}  // namespace
}  // namespace archivio
