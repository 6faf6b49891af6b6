#include "archivio/archivio.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

#include "archivio/sqlite.h"
#include "identity/identity.h"
#include "platform/text/text.h"

namespace archivio {
namespace {

namespace fs = std::filesystem;

std::string Bytes(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void WriteBytes(const fs::path& file, const std::string& bytes) {
  std::ofstream(file, std::ios::binary) << bytes;
}

class Archive : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (fs::temp_directory_path() / "archivio-XXXXXX").native();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
  }
  void TearDown() override { fs::remove_all(folder_); }

  static std::string Ask(const fs::path& file, const std::string& sql) {
    const Sqlite database(file, Sqlite::Mode::kRead);
    Statement query(database, sql);
    return query.Next() ? query.Text(0) : "no row";
  }

  // The exit status. The tool speaks where it should: failures on the error
  // stream, findings on the other.
  static int Command(const std::vector<std::string>& arguments) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = archivio::Run(arguments, out, err);
    const std::string command = arguments.empty() ? "" : arguments[0];
    const bool silent = (command == "crea" || command == "copia") && status == 0;
    const bool answers = status == 0 || (command == "verifica" && status == 1);
    EXPECT_EQ(!out.str().empty(), answers && !silent) << out.str();
    EXPECT_EQ(!err.str().empty(), !answers) << err.str();
    return status;
  }

  // Names of the folder's files, sorted and joined by blanks.
  std::string Names() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_)) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    std::string joined;
    for (const std::string& name : names) {
      joined += (joined.empty() ? "" : " ") + name;
    }
    return joined;
  }

  fs::path folder_;
};

TEST_F(Archive, TemplateHasTheTablesAndTheReferenceRows) {
  const fs::path file = folder_ / "SQ4RXXXX.MDB";
  WriteTemplate(file);
  EXPECT_EQ(Check(file), std::vector<std::string>());
  EXPECT_EQ(Names(), "SQ4RXXXX.MDB");
  const struct {
    const char* sql;
    const char* value;
  } cases[] = {
      {"SELECT count(*) FROM sqlite_schema WHERE type = 'table'", "29"},
      {"SELECT count(*) FROM sqlite_schema WHERE name = 'PERCPARCELLE.CHIAVE'", "1"},
      {"PRAGMA encoding", "UTF-8"},
      {"PRAGMA page_size", "4096"},
      {"PRAGMA journal_mode", "delete"},
      {"SELECT count(*) FROM PERCPARCELLE", "0"},
      {"SELECT count(*) FROM RELEASE", "1"},
      {"SELECT count(*) FROM TABMIN_PROV", "110"},
      {"SELECT count(*) FROM TABMIN_SD", "18"},
      {"SELECT count(*) FROM TABMIN_SG", "232"},
      {"SELECT count(*) FROM TABCOMUNI", "8130"},
      {"SELECT descprov FROM TABMIN_PROV WHERE codprov = 'FC  '", "FORLÌ-CESENA"},
      {"SELECT cod_tmsg FROM TABMIN_SG WHERE descr_tmsg = 'AFGHANISTAN'", "002"},
      {"SELECT CODICE || PROV FROM TABCOMUNI WHERE COMUNE = 'ROMA'", "H501RM"},
      {"SELECT group_concat(PROV) FROM TABCOMUNI WHERE COMUNE = 'SAMONE'", "TN,TO"},
      {"SELECT count(*) FROM TABMIN_SG WHERE length(cod_tmsg) <> 3 OR descr_tmsg IS NULL", "0"},
      {"SELECT count(*) FROM TABCOMUNI WHERE length(CODICE) <> 4 OR length(PROV) <> 2", "0"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(Ask(file, test.sql), test.value) << test.sql;
  }
}

TEST_F(Archive, DemonstrationIsPlausible) {
  const fs::path file = folder_ / "S7702015.MDB";
  WriteDemonstration(file, 4000);
  EXPECT_EQ(Check(file), std::vector<std::string>());
  // Each condition is one that no recipient may fulfil.
  const char* const never[] = {
      "length(CFP) NOT IN (11, 16)",
      "length(APARC_1) NOT BETWEEN 1 AND 30 OR length(APARC_2) > 20 OR length(APARC_5) > 40",
      "length(APARC_11) > 30 OR length(APARC_12) > 40 OR length(APARC_13) > 35",
      "APARC_1 <> trim(APARC_1) OR APARC_2 <> trim(APARC_2)",
      "upper(APARC_1 || APARC_2 || APARC_5 || APARC_12 || APARC_13) <> "
      "APARC_1 || APARC_2 || APARC_5 || APARC_12 || APARC_13",
      "length(CFP) = 11 AND APARC_3 || APARC_4 || APARC_5 || APARC_6 <> '00000000'",
      "length(CFP) = 16 AND (APARC_3 NOT IN ('M', 'F') OR date(substr(APARC_4, 1, 4) || '-' || "
      "substr(APARC_4, 5, 2) || '-' || substr(APARC_4, 7)) IS NOT substr(APARC_4, 1, 4) || '-' || "
      "substr(APARC_4, 5, 2) || '-' || substr(APARC_4, 7))",
      "length(CFP) = 16 AND substr(CFP, 7, 5) <> substr(APARC_4, 3, 2) || "
      "substr('ABCDEHLMPRST', substr(APARC_4, 5, 2), 1) || "
      "printf('%02d', substr(APARC_4, 7) + iif(APARC_3 = 'F', 40, 0))",
      "length(CFP) = 16 AND APARC_6 <> 'EE' AND NOT EXISTS (SELECT 1 FROM TABCOMUNI WHERE "
      "CODICE = substr(CFP, 12, 4) AND COMUNE = APARC_5 AND PROV = APARC_6)",
      "APARC_6 = 'EE' AND substr(CFP, 12, 1) <> 'Z'",
      "APARC_8 <> 'EE' AND (APARC_14 <> '' OR NOT EXISTS (SELECT 1 FROM TABCOMUNI WHERE "
      "CODICE = APARC_17 AND COMUNE = APARC_7 AND PROV = APARC_8))",
      "APARC_8 = 'EE' AND (APARC_7 || APARC_17 <> '' OR '' IN (APARC_11, APARC_12, APARC_13) OR "
      "APARC_14 NOT IN (SELECT cod_tmsg FROM TABMIN_SG))",
      "APARC_9 <> '' AND APARC_9 NOT IN (SELECT cod_tmsd FROM TABMIN_SD)",
      "APARC_16 <> '' AND APARC_16 NOT IN ('1', '2', '3', '4', '5', '6', '7', '8')",
      "APARC_10 IS NOT NULL OR APARC_15 IS NOT NULL",
      "(SELECT count(*) FROM QUADROLAUT q WHERE q.CFP = p.CFP) > 3",
  };
  for (const char* condition : never) {
    EXPECT_EQ(Ask(file, std::string("SELECT count(*) FROM PERCPARCELLE p WHERE ") + condition), "0")
        << condition;
  }
  // And each of these some do.
  const char* const sometimes[] = {"length(CFP) = 11 AND APARC_2 <> ''",
                                   "APARC_6 = 'EE'",
                                   "APARC_8 = 'EE'",
                                   "APARC_9 <> ''",
                                   "APARC_16 <> ''",
                                   "APARC_3 = 'F'",
                                   "APARC_1 LIKE '%''%'",
                                   "APARC_1 LIKE '%À%'",
                                   "CFP IN (SELECT CFP FROM QUADROLAUT)",
                                   "CFP NOT IN (SELECT CFP FROM QUADROLAUT)"};
  for (const char* condition : sometimes) {
    EXPECT_NE(Ask(file, std::string("SELECT count(*) FROM PERCPARCELLE p WHERE ") + condition), "0")
        << condition;
  }
  EXPECT_EQ(
      Ask(file, "SELECT count(*) FROM QUADROLAUT WHERE CFP NOT IN (SELECT CFP FROM PERCPARCELLE)"),
      "0");
}

// The letters of a name as the rule for codes orders them, without accents.
std::string CodeLetters(const std::string& name, bool first_name) {
  const std::map<char16_t, char> plain = {{u'À', 'A'}, {u'È', 'E'}, {u'É', 'E'},
                                          {u'Ì', 'I'}, {u'Ò', 'O'}, {u'Ù', 'U'}};
  std::string letters;
  for (const char16_t c : text::FromUtf8(name)) {
    const auto found = plain.find(c);
    if (found != plain.end() || (c >= u'A' && c <= u'Z')) {
      letters += found != plain.end() ? found->second : static_cast<char>(c);
    }
  }
  const auto vowels = std::stable_partition(letters.begin(), letters.end(), [](char c) {
    return std::string_view("AEIOU").find(c) == std::string_view::npos;
  });
  return first_name && vowels - letters.begin() > 3
             ? std::string{letters[0], letters[2], letters[3]}
             : (letters + "XX").substr(0, 3);
}

TEST_F(Archive, DemonstrationCodesFitTheirOwners) {
  EXPECT_EQ(CodeLetters("D'ANGELO", false) + CodeLetters("NICOLÒ", true), "DNGNCL");
  EXPECT_EQ(CodeLetters("FO", false) + CodeLetters("GIANFRANCO", true), "FOXGFR");
  const fs::path file = folder_ / "S7702015.MDB";
  WriteDemonstration(file, 4000);
  const Sqlite database(file, Sqlite::Mode::kRead);
  Statement query(database, "SELECT CFP, APARC_1, APARC_2 FROM PERCPARCELLE");
  int people = 0;
  while (query.Next()) {
    const std::string code = query.Text(0);
    if (code.size() == 11) {
      EXPECT_EQ(CONTROLLOPIVA(text::FromUtf8(code)), 0) << code;
      continue;
    }
    ++people;
    EXPECT_EQ(CONTROLLOCF(text::FromUtf8(code)), 0) << code;
    EXPECT_EQ(code.substr(0, 6),
              CodeLetters(query.Text(1), false) + CodeLetters(query.Text(2), true))
        << query.Text(1) << ", " << query.Text(2);
  }
  EXPECT_NEAR(people, 3000, 150);
}

TEST_F(Archive, EqualNumbersGiveEqualFiles) {
  WriteDemonstration(folder_ / "a", 500);
  WriteDemonstration(folder_ / "b", 500);
  WriteDemonstration(folder_ / "c", 501);
  EXPECT_EQ(Bytes(folder_ / "a"), Bytes(folder_ / "b"));
  const std::string codes =
      "SELECT group_concat(CFP) FROM "
      "(SELECT CFP FROM PERCPARCELLE ORDER BY rowid LIMIT 500)";
  EXPECT_EQ(Ask(folder_ / "a", codes), Ask(folder_ / "c", codes));
}

TEST_F(Archive, CommandsWriteNewFilesOnly) {
  const std::string folder = folder_ / "uno" / "due";
  EXPECT_EQ(Command({"crea", folder, "--dimostrazione", "3"}), 0);
  const fs::path year = fs::path(folder) / "S7702015.MDB";
  EXPECT_EQ(Ask(year, "SELECT count(*) FROM PERCPARCELLE"), "3");
  EXPECT_EQ(Command({"verifica", year}), 0);
  fs::remove(fs::path(folder) / "SQ4RXXXX.MDB");

  // One of two stands in the way, whatever its case: nothing is written.
  folder_ = folder;
  fs::rename(year, folder_ / "s7702015.mdb");
  const std::string before = Bytes(folder_ / "s7702015.mdb");
  EXPECT_EQ(Command({"crea", folder, "--dimostrazione", "3"}), 1);
  EXPECT_EQ(Names(), "s7702015.mdb");
  EXPECT_EQ(Command({"crea", folder}), 0);
  EXPECT_EQ(Command({"crea", folder}), 1);
  EXPECT_EQ(Command({"crea", folder + "/s7702015.mdb"}), 1);
  EXPECT_EQ(Names(), "SQ4RXXXX.MDB s7702015.mdb");
  EXPECT_EQ(Bytes(folder_ / "s7702015.mdb"), before);
  fs::create_symlink("nowhere", folder_ / "link");
  EXPECT_THROW(WriteTemplate(folder_ / "LINK"), Failure);
  folder_ = folder_.parent_path().parent_path();
}

TEST_F(Archive, RightsFollowTheFolder) {
  for (const auto& [folder_mode, file_mode] : {std::pair{0700, 0600}, std::pair{0770, 0660}}) {
    const fs::path folder = folder_ / std::to_string(folder_mode);
    fs::create_directory(folder);
    ASSERT_EQ(chmod(folder.c_str(), static_cast<mode_t>(folder_mode)), 0);
    WriteTemplate(folder / "x");
    struct stat info;
    ASSERT_EQ(stat((folder / "x").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, static_cast<mode_t>(file_mode));
  }
}

TEST_F(Archive, WrongUsageIsTold) {
  const std::string folder = folder_ / "x";
  const std::vector<std::vector<std::string>> cases = {
      {},
      {"crea"},
      {"verifica"},
      {"distruggi", folder},
      {"crea", "--dimostrazione"},
      {"crea", folder, "--dimostrazione"},
      {"crea", folder, "--dimostrazione", "-1"},
      {"crea", folder, "--dimostrazione", "1000001"},
      {"crea", folder, "--dimostrazione", "99999999999999999999"},
      {"crea", folder, "--dimostrazione", "3x"},
      {"crea", folder, "3", "--dimostrazione"},
      {"verifica", folder, folder},
      {"copia", folder},
      {"prepara"},
      {"prepara", folder, "--salta"},
      {"esporta"},
      {"esporta", folder, folder, folder},
      {"importa", folder},
      {"importa", folder, folder, "--forza"},
  };
  for (const auto& arguments : cases) {
    EXPECT_EQ(Command(arguments), 2) << testing::PrintToString(arguments);
  }
  EXPECT_EQ(Names(), "");
  EXPECT_EQ(Command({"--help"}), 0);
}

TEST_F(Archive, CheckFindsWhatIsAmiss) {
  const struct {
    const char* damage;
    const char* finding;  // part of the only one; empty where the archive is sound all the same
  } cases[] = {
      {"DROP TABLE QUADROSS", "Tabella QUADROSS: manca."},
      {"DROP TABLE SUPPMAGNETICO; CREATE VIEW SUPPMAGNETICO AS SELECT 1",
       "Tabella SUPPMAGNETICO: manca."},
      {"DROP INDEX \"TABMIN_SG.CHIAVE2\"", "Indice TABMIN_SG.CHIAVE2: manca."},
      {"DROP INDEX \"TABMIN_SF.CHIAVE\"; CREATE INDEX \"TABMIN_SF.CHIAVE\" ON TABMIN_SE (cod_tmse)",
       "Indice TABMIN_SF.CHIAVE: manca."},
      {"ALTER TABLE PERCPARCELLE DROP COLUMN APARC_13", "manca la colonna APARC_13."},
      {"ALTER TABLE TABMIN_SD DROP COLUMN descR_tmsd", "manca la colonna descR_tmsd."},
      {"ALTER TABLE TABMIN_SD DROP COLUMN descR_tmsd; "
       "ALTER TABLE TABMIN_SD ADD COLUMN descR_tmsd INTEGER",
       "la colonna descR_tmsd non è di tipo testo."},
      {"DROP INDEX \"QUADROLAUT.CHIAVE\"; "
       "CREATE INDEX \"QUADROLAUT.CHIAVE\" ON QUADROLAUT (CFP COLLATE BINARY)",
       "la chiave distingue gli spazi finali"},
      {"DROP TABLE PERCETTORI; CREATE TABLE PERCETTORI (K TEXT); "
       "CREATE INDEX \"PERCETTORI.CHIAVE\" ON PERCETTORI (K COLLATE RTRIM)",
       "la chiave distingue gli spazi finali"},
      {"DROP INDEX \"QUADROLAUT.CHIAVE\"; "
       "CREATE INDEX \"QUADROLAUT.CHIAVE\" ON QUADROLAUT (ANNO COLLATE RTRIM)",
       "la chiave non è la colonna CFP."},
      {"DROP INDEX \"QUADROSV.CHIAVE\"; CREATE INDEX \"QUADROSV.CHIAVE\" ON QUADROSV (CFS, "
       "IMPORTO)",
       "la chiave non è una sola colonna."},
      {"DROP INDEX \"QUADROSV.CHIAVE\"; CREATE INDEX \"QUADROSV.CHIAVE\" ON QUADROSV (CFS || 'x')",
       "la chiave non è una sola colonna."},
      {"DROP INDEX \"TABCOMUNI.CHIAVE\"; "
       "CREATE INDEX \"TABCOMUNI.CHIAVE\" ON TABCOMUNI (COMUNE DESC)",
       "è in ordine decrescente."},
      {"DROP INDEX \"TABCOMUNI.CHIAVE\"; "
       "CREATE INDEX \"TABCOMUNI.CHIAVE\" ON TABCOMUNI (COMUNE) WHERE PROV <> 'RM'",
       "non comprende tutte le righe."},
      {"DROP INDEX \"PERCPARCELLE.CHIAVE\"; "
       "CREATE INDEX \"PERCPARCELLE.CHIAVE\" ON PERCPARCELLE (CFP)",
       "ammette chiavi doppie."},
      {"PRAGMA journal_mode = WAL", "modalità WAL"},
      {"DROP INDEX \"PERCPARCELLE.NOME\"", ""},
      {"ALTER TABLE PERCPARCELLE DROP COLUMN APARC_15; ALTER TABLE QUADROLAUT DROP COLUMN ANNO",
       ""},
      {"DROP TABLE PERCETTORI; CREATE TABLE percettori (K TEXT COLLATE RTRIM); "
       "CREATE INDEX \"percettori.chiave\" ON percettori (K)",
       ""},
  };
  const fs::path sound = folder_ / "sound";
  const fs::path file = folder_ / "file";
  WriteTemplate(sound);
  for (const auto& test : cases) {
    fs::copy_file(sound, file, fs::copy_options::overwrite_existing);
    Sqlite(file, Sqlite::Mode::kWrite).Run(test.damage);
    const std::string before = Bytes(file);
    const std::vector<std::string> findings = Check(file);
    ASSERT_EQ(findings.size(), *test.finding == '\0' ? 0U : 1U)
        << test.damage << testing::PrintToString(findings);
    if (!findings.empty()) {
      EXPECT_NE(findings[0].find(test.finding), std::string::npos) << findings[0];
    }
    EXPECT_EQ(Bytes(file), before);
    EXPECT_EQ(Names(), "file sound");
  }
}

TEST_F(Archive, CheckOfDamagedAndOtherFiles) {
  const fs::path sound = folder_ / "sound";
  WriteDemonstration(sound, 300);
  const std::string whole = Bytes(sound);
  std::string scribbled = whole;
  scribbled.replace(scribbled.size() / 2, 20000, 20000, '\xA5');
  const struct {
    const char* name;
    std::string bytes;
  } cases[] = {{"empty", ""},
               {"text", "CFP;APARC_1\n"},
               {"head", whole.substr(0, 100)},
               {"half", whole.substr(0, whole.size() / 2)},
               {"scribbled", scribbled}};
  for (const auto& test : cases) {
    WriteBytes(folder_ / "file", test.bytes);
    EXPECT_EQ(Command({"verifica", folder_ / "file"}), 1) << test.name;
    EXPECT_EQ(Bytes(folder_ / "file"), test.bytes) << test.name;
  }
  EXPECT_EQ(Command({"verifica", folder_}), 1);
  EXPECT_EQ(Command({"verifica", folder_ / "missing"}), 1);
  EXPECT_EQ(Names(), "file sound");
}

}  // namespace
}  // namespace archivio
