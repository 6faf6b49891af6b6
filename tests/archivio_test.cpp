// The archive tool: archives made, checked and copied, recipients out of them
// and into them, and a user's first preparation.
#include "archivio/archivio.h"

#include <gtest/gtest.h>

#ifndef _WIN32
#include <unistd.h>
#endif

#include <algorithm>
#include <array>
#include <numeric>
#include <set>
#include <sstream>

#include "files.h"
#include "frame/MOD770BAS.h"
#include "identity/identity.h"
#include "platform/text/text.h"

namespace archivio {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

// A word of a call. Names of files are UTF-8 there.
struct Word : std::string {
  using std::string::string;
  Word(const std::string& word) : std::string(word) {}
  Word(const fs::path& path) : std::string(sys::PathBytes(path)) {}
};
using Call = std::vector<Word>;

// With slashes between folders on every system.
std::string Slashes(std::string text) {
  if (!kPosixFiles) {
    std::ranges::replace(text, '\\', '/');
  }
  return text;
}
std::string Name(const fs::path& path) { return Slashes(sys::PathBytes(path)); }

constexpr char kPerson[] = "RSSMRA80A01H501U";
constexpr char kHeader[] =
    "CFP,APARC_1,APARC_2,APARC_3,APARC_4,APARC_5,APARC_6,APARC_7,APARC_8,APARC_9,APARC_11,"
    "APARC_12,APARC_13,APARC_14,APARC_16,APARC_17";
// What follows a code and a name.
constexpr char kRest[] = ",,,00000000,,,,,,,,,,,";

// True where files have no modes.
bool HasMode(const fs::path& file, unsigned mode) {
  return !kPosixFiles || fs::status(file).permissions() == fs::perms(mode);
}

class Archive : public testing::Test {
 protected:
  // All that the tool says; its exit status in status_. Failures, and they
  // alone, come on the error stream.
  std::string Tell(const Call& call) {
    const Words arguments(call.begin(), call.end());
    std::ostringstream out, err;
    status_ = archivio::Run(arguments, out, err);
    const bool told = !arguments.empty() && (arguments[0] == "verifica" || out.str() != "");
    EXPECT_EQ(err.str().empty(), status_ == 0 || (status_ == 1 && told)) << err.str();
    return Slashes(out.str() + err.str());
  }
  int Status(const Call& arguments) { return Tell(arguments), status_; }

  fs::path NewArchive(const char* sql = "") {
    static const std::string empty = [&] {
      WriteTemplate(folder_ / "model");
      const std::string bytes = Bytes(folder_ / "model");
      fs::remove(folder_ / "model");
      return bytes;
    }();
    SetBytes(folder_ / "archive", empty);
    EXPECT_EQ(Sql(folder_ / "archive", std::string("PRAGMA journal_mode; ") + sql).substr(0, 7),
              "delete\n");
    return folder_ / "archive";
  }

  fs::path Csv(const std::string& bytes) {
    SetBytes(folder_ / "csv", bytes);
    return folder_ / "csv";
  }

  // Names of a folder's files, each with a blank after it.
  static std::string Names(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
      names.insert(Name(entry.path().filename()) + " ");
    }
    return std::accumulate(names.begin(), names.end(), std::string());
  }

  Folder folder_;
  int status_ = -1;
};

TEST_F(Archive, TemplateHasTheTablesAndTheReferenceRows) {
  const fs::path file = NewArchive();
  EXPECT_EQ(Check(file), Words());
  EXPECT_EQ(Sql(file,
                "PRAGMA encoding; PRAGMA page_size; SELECT count(*) FROM PERCPARCELLE;"
                "SELECT count(*) FROM RELEASE; SELECT count(*) FROM TABMIN_SD;"
                "SELECT descprov FROM TABMIN_PROV WHERE codprov = 'FC  ';"
                "SELECT cod_tmsg FROM TABMIN_SG WHERE descr_tmsg = 'AFGHANISTAN';"
                "SELECT count(*) FROM TABMIN_SG WHERE length(cod_tmsg) = 3;"
                "SELECT count(*) FROM TABCOMUNI WHERE length(CODICE || PROV) = 6"),
            "UTF-8\n4096\n0\n1\n18\nFORLÌ-CESENA\n002\n232\n8130\n");
}

TEST_F(Archive, CommandsWriteNewFilesOnlyForWhomTheFolderIs) {
  const fs::path folder = folder_ / "uno" / "due";
  for (const auto& [of_folder, of_file] : {std::pair{0700U, 0600U}, std::pair{0770U, 0660U}}) {
    SCOPED_TRACE(of_folder);
    fs::create_directories(folder);
    fs::permissions(folder, fs::perms(of_folder));
    EXPECT_EQ(Tell({"crea", folder, "--dimostrazione", "3"}),
              "Scritto l'archivio dell'anno " + Name(folder / kYearName) +
                  ", con 3 percettori inventati.\nScritto il modello " +
                  Name(folder / kTemplateName) + ".\n");
    EXPECT_TRUE(HasMode(folder / kTemplateName, of_file));
    EXPECT_TRUE(HasMode(folder / kYearName, of_file));
    // One of two stands in the way, whatever its case: nothing is written.
    const std::string before = Bytes(folder / kYearName);
    fs::rename(folder / kYearName, folder / "s7702015.mdb");
    fs::remove(folder / kTemplateName);
    EXPECT_EQ(Status({"crea", folder, "--dimostrazione", "3"}), 1);
    EXPECT_EQ(text::Upper(text::FromUtf8(Names(folder))), u"S7702015.MDB ");
    EXPECT_EQ(Status({"crea", folder}), 0);
    EXPECT_EQ(Status({"crea", folder}), 1);
    EXPECT_EQ(Status({"crea", folder / "s7702015.mdb"}), 1);
    EXPECT_EQ(Bytes(folder / "s7702015.mdb"), before);
    // A template that is there stays, and the year database comes beside it.
    fs::remove(folder / "s7702015.mdb");
    SetBytes(folder / kTemplateName, "x");
    EXPECT_TRUE(Has(Tell({"crea", folder, "--dimostrazione=1"}), "c'era già"));
    EXPECT_EQ(Bytes(folder / kTemplateName), "x");
    EXPECT_EQ(Check(folder / kYearName), Words());
    fs::remove_all(folder_ / "uno");
  }
}

TEST_F(Archive, BadCallsAreNamed) {
  fs::current_path(folder_.Path());
  const std::pair<const char*, const char*> usage[] = {
      {"", ": manca il comando"},
      {"distruggi x", ": comando sconosciuto \"distruggi\""},
      {"crea", " crea: manca CARTELLA"},
      {"crea x y", " crea: argomento di troppo \"y\""},
      {"crea x --dimostrazione", " crea: --dimostrazione: manca N"},
      {"crea x --dimostrazione -1",
       " crea: --dimostrazione vuole un numero da 0 a 1000000, non \"-1\""},
      {"crea x --dimostrazione=3x",
       " crea: --dimostrazione vuole un numero da 0 a 1000000, non \"3x\""},
      {"verifica x --conferma", " verifica: opzione sconosciuta \"--conferma\""},
      {"esporta x y z", " esporta: argomento di troppo \"z\""},
      {"esporta x --leggibile=si", " esporta: --leggibile non vuole un valore"},
      {"importa -- --salta --forza x", " importa: argomento di troppo \"x\""},
  };
  for (const auto& [line, told] : usage) {
    std::istringstream words(line);
    const Call arguments{std::istream_iterator<std::string>(words), {}};
    const bool known = told[0] == ' ';
    EXPECT_EQ(Tell(arguments), "anagparc-archivio" + std::string(told) +
                                   ". Aiuto: anagparc-archivio" +
                                   (known ? " " + arguments[0] : "") + " --help\n");
    EXPECT_EQ(status_, 2) << line;
  }
  EXPECT_EQ(Tell({"crea", ""}),
            "anagparc-archivio crea: CARTELLA è vuoto. Aiuto: anagparc-archivio crea --help\n");

  NewArchive();
  fs::create_directory("folder");
  const std::string missing = ": il file o la cartella non esiste.\n",
                    folder = ": è una cartella, non un file.\n";
  const std::pair<const char*, std::string> failures[] = {
      {"verifica missing", "Impossibile leggere il file missing" + missing},
      {"verifica folder", "Impossibile leggere il file folder" + folder},
      {"copia missing folder", "Impossibile leggere il file missing" + missing},
      {"copia archive missing/x", "Impossibile creare il file missing/x" + missing},
      {"copia archive archive", "Il file archive esiste già e resta com'è.\n"},
      {"esporta folder archive", "Il file folder esiste già e resta com'è.\n"},
      {"importa missing archive", "Impossibile leggere il file missing" + missing},
      {"importa archive missing", "Impossibile leggere il file missing" + missing},
      {"crea archive/x", "Impossibile creare la cartella archive/x: archive non è una cartella.\n"},
  };
  for (const auto& [line, told] : failures) {
    std::istringstream words(line);
    EXPECT_EQ(Tell({std::istream_iterator<std::string>(words), {}}), told) << line;
    EXPECT_EQ(status_, 1) << line;
  }

  for (const Call& help : {Call{"-h"}, {"--help"}, {"crea", "x", "-h"}, {"copia", "--help"}}) {
    EXPECT_TRUE(Tell(help).starts_with("Uso:\n  anagparc-archivio c"));
    EXPECT_EQ(status_, 0);
  }
  EXPECT_TRUE(Tell({"--version"}).starts_with("anagparc-archivio 1."));
  EXPECT_EQ(Names("."), "archive folder ");
  EXPECT_EQ(Status({"crea", "--", "-h"}), 0);
  EXPECT_EQ(Names("-h"), "SQ4RXXXX.MDB ");
  fs::current_path(fs::temp_directory_path());
}

std::string NewIndex(const std::string& table, const std::string& key) {
  const std::string name = '"' + table + ".CHIAVE\"";
  return "DROP INDEX IF EXISTS " + name + "; CREATE INDEX " + name + " ON " + table + " (" + key;
}

TEST_F(Archive, CheckFindsWhatIsAmissAndChangesNothing) {
  // Damages, and part of the only finding; empty where the archive is sound all the same.
  const std::pair<std::string, std::string> cases[] = {
      {"DROP TABLE QUADROSS; CREATE VIEW QUADROSS AS SELECT 1", "Tabella QUADROSS: manca."},
      {"DROP INDEX \"TABMIN_SG.CHIAVE2\"", "Indice TABMIN_SG.CHIAVE2: manca."},
      {"DROP INDEX \"TABMIN_SF.CHIAVE\"; CREATE INDEX \"TABMIN_SF.CHIAVE\" ON TABMIN_SE (cod_tmse)",
       "Indice TABMIN_SF.CHIAVE: manca."},
      {"ALTER TABLE TABMIN_SD DROP COLUMN descR_tmsd", "manca la colonna descR_tmsd."},
      {"DROP TABLE TABMIN_SD; CREATE TABLE TABMIN_SD (cod_tmsd TEXT COLLATE RTRIM, descR_tmsd "
       "INT);" +
           NewIndex("TABMIN_SD", "cod_tmsd)"),
       "la colonna descR_tmsd non è di tipo testo."},
      {NewIndex("QUADROLAUT", "CFP COLLATE BINARY)"), "la chiave distingue gli spazi finali"},
      {"DROP TABLE PERCETTORI; CREATE TABLE PERCETTORI (K TEXT);" +
           NewIndex("PERCETTORI", "K COLLATE RTRIM)"),
       "la chiave distingue gli spazi finali"},
      {NewIndex("QUADROLAUT", "ANNO COLLATE RTRIM)"), "la chiave non è la colonna CFP."},
      {NewIndex("QUADROSV", "CFS, IMPORTO)"), ""},
      {NewIndex("QUADROSV", "CFS || 'x')"), "la chiave non è una colonna."},
      {NewIndex("TABCOMUNI", "COMUNE DESC)"), "è in ordine decrescente."},
      {NewIndex("TABCOMUNI", "COMUNE) WHERE PROV <> 'RM'"), "non comprende tutte le righe."},
      {NewIndex("PERCPARCELLE", "CFP)"), "ammette chiavi doppie."},
      {"DROP TABLE PERCETTORI; CREATE TABLE PERCETTORI (K TEXT COLLATE RTRIM PRIMARY KEY) WITHOUT "
       "ROWID;" +
           NewIndex("PERCETTORI", "K)"),
       "Tabella PERCETTORI: le righe non hanno un numero"},
      {"ALTER TABLE RELEASE ADD COLUMN RowID; ALTER TABLE RELEASE ADD COLUMN _RowID_", ""},
      {"ALTER TABLE RELEASE ADD COLUMN RowID; ALTER TABLE RELEASE ADD COLUMN oid;"
       "ALTER TABLE RELEASE ADD COLUMN x AS (1); ALTER TABLE RELEASE RENAME COLUMN x TO _RowID_",
       "Tabella RELEASE: le righe non hanno un numero"},
      {"INSERT INTO PERCPARCELLE (CFP, APARC_1) VALUES ('A', 'È' || char(65533)), ('B', "
       "CAST(x'45FF' AS TEXT))",
       "Tabella PERCPARCELLE, riga 2, percettore B E\xEF\xBF\xBD : la colonna APARC_1 (Cognome o "
       "Denominazione) contiene byte che non sono un testo UTF-8."},
      {"INSERT INTO QUADROLAUT (CFP, ANNO) VALUES ('C', ''), ('B', NULL), ('A', x'41')",
       "Tabella QUADROLAUT, riga 3, certificazione di A: la colonna ANNO contiene dati binari"},
      {"INSERT INTO PERCPARCELLE (CFP) VALUES ('A' || char(0))", "contiene un carattere NUL."},
      {"ALTER TABLE QUADROLAUT ADD COLUMN N INT; INSERT INTO QUADROLAUT (N) VALUES (1)", ""},
      {"PRAGMA journal_mode = WAL", "modalità WAL"},
      {"DROP INDEX \"PERCPARCELLE.NOME\"; ALTER TABLE PERCPARCELLE DROP COLUMN APARC_15", ""},
      {"DROP TABLE PERCETTORI; CREATE TABLE percettori (K TEXT COLLATE RTRIM); "
       "CREATE INDEX \"percettori.chiave\" ON percettori (K)",
       ""},
  };
  for (const auto& [damage, finding] : cases) {
    const fs::path file = NewArchive(damage.c_str());
    const std::string before = Bytes(file);
    const Words findings = Check(file);
    ASSERT_EQ(findings.size(), finding.empty() ? 0U : 1U) << damage;
    EXPECT_TRUE(findings.empty() || Has(findings[0], finding)) << findings[0];
    EXPECT_EQ(Bytes(file), before) << damage;
  }
  // So many values that the program can't show as they are that only the first are named.
  const Words many = Check(NewArchive(
      "DROP TABLE QUADROLAUT; CREATE TABLE QUADROLAUT (CFP COLLATE RTRIM); CREATE INDEX"
      " \"QUADROLAUT.CHIAVE\" ON QUADROLAUT (CFP); INSERT INTO QUADROLAUT WITH n(i) AS (SELECT 1"
      " UNION ALL SELECT i + 1 FROM n LIMIT 25) SELECT i * 0.5 FROM n"));
  ASSERT_EQ(many.size(), 22U);
  EXPECT_TRUE(Has(many[1], "riga 1, certificazione di 0.5: la colonna CFP")) << many[1];
  EXPECT_TRUE(many[21].ends_with("e altri 5 valori che non sono testi."));
  const std::string whole = Bytes(NewArchive());
  std::string scribbled = whole;
  scribbled.replace(scribbled.size() / 2, 20000, 20000, '\xA5');
  for (const std::string& bytes :
       {std::string(), std::string("CFP;APARC_1\n"), whole.substr(0, 100),
        whole.substr(0, whole.size() / 2), scribbled}) {
    SetBytes(folder_ / "archive", bytes);
    EXPECT_EQ(Status({"verifica", folder_ / "archive"}), 1);
    EXPECT_EQ(Status({"copia", folder_ / "archive", folder_ / "copy"}), 1);
    EXPECT_EQ(Bytes(folder_ / "archive"), bytes);
  }
  EXPECT_EQ(Status({"verifica", folder_.Path()}), 1);
  EXPECT_EQ(Status({"verifica", folder_ / "missing"}), 1);
  EXPECT_EQ(Names(folder_.Path()), "archive ");
}

TEST_F(Archive, WhatGoesOutComesInAgain) {
  const fs::path archive = NewArchive(
      "INSERT INTO PERCPARCELLE (CFP, APARC_1, APARC_2, APARC_4, APARC_10, APARC_14) VALUES"
      " ('RSSMRA80A01H501U', 'D''ANGELO, \"DETTO\"', '', '00000000', NULL, '  0'),"
      " ('00743110157     ', '  blanks  ', NULL, '19600229', '', '002'),"
      " (' 00743110165', '=1+1', '''@', '', '''''-x', '000'),"
      " ('  00743110165', '', NULL, '12/05/1960', '', NULL),"
      " ('00743110165', '''', '\"', '''12/05/1960', '''''', NULL),"
      " ('MALE', char(13,10) || 'two' || char(10) || 'lines' || char(13), ',', '20150231', '', ''),"
      " ('ZZZZZZ80A01H501U', char(9) || 'ÀÈ😀' || char(65533), ',\"\"', NULL, 'NULL', '999'),"
      " ('01234567890', printf('%200c', 'w'), 'nome', '0000', '\\', 'EE')");
  const std::string rows = Rows(archive);
  const fs::path csv = folder_ / "out.csv";
  EXPECT_EQ(Tell({"esporta", csv, archive}), "Percettori scritti: 8.\n");

  const std::string before = Bytes(NewArchive());
  EXPECT_EQ(Status({"importa", csv, archive}), 1) << "rows that want a confirmation";
  EXPECT_EQ(Bytes(archive), before);
  EXPECT_TRUE(Has(Tell({"importa", csv, archive, "--conferma"}), "Percettori aggiunti: 8,"));
  EXPECT_EQ(Rows(archive), rows);
  EXPECT_EQ(Check(archive), Words());
  fs::remove(csv);
  Tell({"esporta", csv, archive, "--leggibile"});
  for (const char* text : {"\"'=1+1\"", "\"''@\"", "\"'''-x\"", "\"'\t", "\"'\r\n", "\"''12/05"}) {
    EXPECT_TRUE(Has(Bytes(csv), text)) << text;
  }
  NewArchive();
  Tell({"importa", csv, archive, "--conferma"});
  EXPECT_EQ(Rows(archive), rows);

  // Without a question, what the program itself may have written; again, with
  // the values of the first time changed.
  const fs::path year = folder_ / "year";
  WriteDemonstration(year, 3000);
  EXPECT_EQ(Check(year), Words());
  WriteDemonstration(folder_ / "again", 3000);
  EXPECT_EQ(Bytes(folder_ / "again"), Bytes(year)) << "the same people each time";
  const std::string rest = "righe saltate: 0.\n";
  for (const auto& [option, separator] : {std::pair{"", ','}, {"", '\t'}, {"--leggibile", ';'}}) {
    SCOPED_TRACE(option);
    fs::remove(csv);
    Call call = {"esporta", csv, year};
    if (*option != '\0') {
      call.push_back(option);
    }
    Tell(call);
    EXPECT_EQ(Has(Bytes(csv), "\"Cognome o Denominazione\""), *option != '\0');
    std::string bytes = Bytes(csv);
    for (bool quoted = false; char& c : bytes) {
      quoted ^= c == '"';
      c = c == ',' && !quoted ? separator : c;
    }
    SetBytes(csv, bytes);
    NewArchive();
    EXPECT_EQ(Tell({"importa", csv, archive}), "Percettori aggiunti: 3000, aggiornati: 0, " + rest);
    EXPECT_EQ(Rows(archive), Rows(year));
  }
  Sql(archive, "UPDATE PERCPARCELLE SET APARC_1 = 'X', APARC_9 = NULL");
  EXPECT_EQ(Tell({"importa", csv, archive, "--aggiorna"}),
            "Percettori aggiunti: 0, aggiornati: 3000, " + rest);
  EXPECT_EQ(Rows(archive), Rows(year));
}

// Nor of a row what is as it was exported, though a text says less than the value.
TEST_F(Archive, AnUpdateChangesNoOtherRow) {
  const fs::path archive = NewArchive(
      "ALTER TABLE PERCPARCELLE ADD COLUMN RowID INT DEFAULT 5;"
      "ALTER TABLE PERCPARCELLE ADD COLUMN QUOTA; INSERT INTO PERCPARCELLE (CFP, APARC_1, APARC_4,"
      " QUOTA) VALUES ('RSSMRA80A01H501U', 'ROSSI', '00000000', 0.1 + 0.2),"
      " ('00743110157', 'BIANCHI', '00000000', 7), ('00743110165', 'BIANCHI', '00000000', NULL)");
  const fs::path csv = folder_ / "out.csv";
  Tell({"esporta", csv, archive});
  std::string bytes = Bytes(csv);
  bytes.replace(bytes.find("BIANCHI"), 7, "VERDI");
  SetBytes(csv, bytes);
  const std::string told = Tell({"importa", csv, archive, "--aggiorna"});
  EXPECT_TRUE(Has(told, "aggiunti: 0, aggiornati: 3, ")) << told;
  EXPECT_EQ(Sql(archive, "SELECT APARC_1 || (QUOTA IN (0.1 + 0.2, 7)) FROM PERCPARCELLE"),
            "ROSSI1\nVERDI1\nNULL\n");
  // A row that the archive's own rules leave as it is stops everything.
  Sql(archive,
      "CREATE TRIGGER X BEFORE UPDATE ON PERCPARCELLE WHEN new.APARC_1 = 'VERDI' BEGIN"
      " SELECT RAISE(IGNORE); END; UPDATE PERCPARCELLE SET APARC_1 = 'NERI'");
  EXPECT_TRUE(Has(Tell({"importa", csv, archive, "--aggiorna"}), "Riga 3: avrebbe cambiato 0 "));
  EXPECT_EQ(Sql(archive, "SELECT DISTINCT APARC_1 FROM PERCPARCELLE"), "NERI\n");
}

TEST_F(Archive, EachValueIsTested) {
  // Column, value, and how the report ends: "" where it goes in without a word; !
  // where no confirmation helps.
  const std::array<const char*, 3> cases[] = {
      {"CFP", "00743110157     ", ""},
      {"CFP", "RSSMRA80A01H501X", "codice fiscale formalmente errato"},
      {"CFP", "00743110158", "partita IVA formalmente errata"},
      {"CFP", " 12345678903", "partita IVA formalmente errata"},
      {"CFP", "RSSMRA80A01H501U ", "!codice più lungo di 16 caratteri"},
      {"CFP", "   ", "!manca il codice"},
      {"CFP", " ESISTE  ", "!codice già presente nell'archivio"},
      {"CFP", "ESISTE", "lunghezza codice fiscale errata"},
      {"APARC_1", "ÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀ", ""},
      {"APARC_1", "ÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀÀA", "APARC_1 ha più di 30 caratteri"},
      {"APARC_1", "  ", "APARC_1 è vuoto: manca il cognome o la denominazione"},
      {"APARC_2", "\xC3(", "!APARC_2 non è un testo UTF-8"},
      {"APARC_2", "\"due\nrighe\"", "APARC_2 contiene un a capo o un altro carattere di controllo"},
      {"APARC_10", "di altri", ""},
      {"APARC_11", "\xC2\x85", "carattere di controllo"},
      {"APARC_3", "\" \"", ""},
      {"APARC_3", "m", "APARC_3 non è M, F, uno spazio o vuoto"},
      {"APARC_4", "19600229", ""},
      {"APARC_4", "", "APARC_4 non è una data AAAAMMGG né 00000000"},
      {"APARC_4", "20130229", "APARC_4 non è una data AAAAMMGG né 00000000"},
      {"APARC_4", "201202290", "APARC_4 non è una data AAAAMMGG né 00000000"},
      {"APARC_6", "EE", ""},
      {"APARC_6", "  ", ""},
      {"APARC_6", "PS", "APARC_6 non è una provincia valida"},
      {"APARC_8", "PS", ""},
      {"APARC_9", "A", ""},
      {"APARC_9", "ZZ", "APARC_9 non è un codice della sua tabella"},
      {"APARC_12", "000", ""},
      {"APARC_14", "002", ""},
      {"APARC_14", "  0", ""},
      {"APARC_14", "000", ""},
      {"APARC_14", "0 0", "APARC_14 non è un codice di stato estero valido"},
      {"APARC_16", "8", ""},
      {"APARC_16", "9", "APARC_16 non è un codice della sua tabella"},
      {"APARC_16", "12", "APARC_16 ha più di 1 carattere"},
      {"APARC_17", "H501", ""},
      {"APARC_17", "Q999", "APARC_17 non è un codice della sua tabella"},
  };
  // One file with a row for each, every one with a code of its own.
  const std::string header = std::string("APARC_10,") + kHeader;
  std::string rows = header + "\r\n";
  int number = 100;
  for (const auto& [column, value, told] : cases) {
    std::u16string code = u"RSSMRA80A01Z" + text::Decimal(number++) + u'A';
    for (; CONTROLLOCF(code) == 1; ++code.back()) {
    }
    std::istringstream names(header);
    for (std::string name; std::getline(names, name, ',');) {
      rows += name == column      ? value
              : name == "CFP"     ? text::ToUtf8(code)
              : name == "APARC_1" ? "ROSSI"
              : name == "APARC_4" ? "00000000"
                                  : "";
      rows += name == "APARC_17" ? "\r\n" : ",";
    }
  }
  const fs::path csv = Csv(rows);
  const fs::path file = NewArchive("INSERT INTO PERCPARCELLE (CFP) VALUES (' ESISTE')");
  for (const bool confirmed : {false, true}) {
    Call call = {"importa", csv, file, "--salta"};
    if (confirmed) {
      call.push_back("--conferma");
      NewArchive("INSERT INTO PERCPARCELLE (CFP) VALUES (' ESISTE')");
    }
    std::istringstream said(Tell(call));
    std::size_t wrong = 0;
    std::string report;
    for (const auto& [column, value, told] : cases) {
      if (*told == '\0') {
        continue;
      }
      const bool certain = *told == '!', refused = certain || !confirmed;
      wrong += refused ? 1 : 0;
      std::getline(said, report);
      EXPECT_TRUE(report.ends_with(told + (certain ? 1 : 0) + std::string(".")) &&
                  Has(report, refused ? "): " : "), accettata: "))
          << column << " " << value << ": " << report;
    }
    std::getline(said, report);
    EXPECT_EQ(report, "Percettori aggiunti: " + std::to_string(std::size(cases) - wrong) +
                          ", aggiornati: 0, righe saltate: " + std::to_string(wrong) + ".");
  }
}

TEST_F(Archive, WrongRowsAreToldByTheirLines) {
  const std::string rest = std::string(kRest) + "\r\n", vat = "00743110157,";
  const fs::path csv =
      Csv(std::string("\xEF\xBB\xBF") + kHeader + "\n" + kPerson + ",una riga" + kRest +
          "\n\r\n\n" + vat + "\"a\na\"\r\n" + kPerson + ",b" + kRest + "\n" + vat + "\"N" + '\0' +
          "L\"" + rest + vat + "c" + kRest + ",\r\n" + vat + "d" + kRest);
  const fs::path file = NewArchive(
      "INSERT INTO PERCPARCELLE (CFP, APARC_10, APARC_17) VALUES"
      " ('00743110157    ', 'resta', 'va')");
  const std::string before = Bytes(file);
  const std::string faults =
      "Riga 5: 2 campi invece di 16.\n"
      "Riga 7 (RSSMRA80A01H501U): lo stesso codice della riga 2.\n"
      "Riga 8 (00743110157): APARC_1 contiene un carattere NUL.\n"
      "Riga 9: 17 campi invece di 16.\n";
  const std::string exists = "Riga 10 (00743110157): codice già presente nell'archivio.\n";
  EXPECT_EQ(Tell({"importa", csv, file}),
            faults + exists + "Righe sbagliate: 5. L'archivio resta com'era.\n");
  EXPECT_EQ(Tell({"importa", csv, file, "--aggiorna"}),
            faults + "Righe sbagliate: 4. L'archivio resta com'era.\n");
  EXPECT_EQ(status_, 1);
  EXPECT_EQ(Bytes(file), before);
  EXPECT_EQ(Tell({"importa", csv, file, "--salta", "--aggiorna"}),
            faults + "Percettori aggiunti: 1, aggiornati: 1, righe saltate: 4.\n");
  EXPECT_EQ(Sql(file,
                "SELECT CFP || '|' || APARC_1 || '|' || ifnull(APARC_10, '') || '|' || "
                "ifnull(APARC_17, 'null') FROM PERCPARCELLE"),
            "00743110157    |d|resta|null\nRSSMRA80A01H501U|una riga||null\n");
}

TEST_F(Archive, FilesThatCannotBeTrustedAreRefused) {
  const std::string header = std::string(kHeader) + "\r\n", rest = std::string(kRest) + "\r\n";
  const std::string row = std::string(kPerson) + ",ROSSI" + rest;
  const std::string good = header + row + "00743110157,";
  const std::pair<std::string, const char*> cases[] = {
      {"", "è vuoto"},
      {"\xFF\xFE" + header, "è un testo in UTF-16"},
      {std::string("C\0F\0P\0", 6), "è un testo in UTF-16"},
      {"PK\x03\x04" + header, "è un foglio elettronico (xlsx, ods)"},
      {"\xD0\xCF\x11\xE0" + header, "è un foglio elettronico (xls)"},
      {"CFP,APARC_1,INDIRIZZO\r\n", "colonna sconosciuta \"INDIRIZZO\""},
      {"CFP,cfp\r\n", "due colonne CFP"},
      {"CFP,APARC_1\r\n" + row, "manca la colonna APARC_2"},
      {good + "\"ROSSI" + rest + row, "riga 3: virgolette aperte"},
      {good + "RO\"SSI" + rest, "riga 3: virgolette fuori posto"},
      {good + "\"RO\"SSI" + rest, "riga 3: virgolette fuori posto"},
      {good + "RO\rSSI" + rest, "riga 3: ritorno a capo"},
      {good + std::string(2 << 20, 'X') + "\r\n", "riga 3: la riga non"},
      {good + std::string(2 << 20, ',') + "\r\n", "riga 3: la riga non finisce"},
  };
  const fs::path file = NewArchive();
  const std::string before = Bytes(file);
  for (const auto& [bytes, told] : cases) {
    const std::string said =
        Tell({"importa", Csv(bytes), file, "--salta", "--aggiorna", "--conferma"});
    EXPECT_EQ(status_, 1) << told;
    EXPECT_TRUE(Has(said, told)) << said.substr(0, 300) << "\nnot: " << told;
    EXPECT_EQ(Bytes(file), before) << told;
  }
  EXPECT_EQ(Status({"importa", folder_ / "missing", file}), 1);
  Sql(file, "DROP TABLE TABMIN_PROV");
  EXPECT_TRUE(Has(Tell({"importa", Csv(header + row), file}), "Tabella TABMIN_PROV: manca"));
}

TEST_F(Archive, ReviewTellsWhatContradictsTheCode) {
  const std::string insert =
      "INSERT INTO PERCPARCELLE (CFP, APARC_1, APARC_2, APARC_3, APARC_4, APARC_5, APARC_6, "
      "APARC_7, APARC_8) VALUES ";
  // Other spellings, Pesaro's old province, a state that has a municipality's name, a company, a
  // wrong check letter, a place that the table doesn't have.
  const fs::path file = NewArchive((insert + R"(
      ('VRDLCU50A41D704N', 'VERDI', 'LUCE', 'F', '19500101', 'Forli'' ', 'FC', 'PESARO', 'PS'),
      ('VRDLCU50A41Z252Y', 'NERI', 'LUCE', 'f', '19500101', 'PALAU', 'EE', NULL, ''),
      ('12345678903     ', 'ALFA', 'DI NERI', NULL, '00000000', '', '', 'BELLAGIO', 'CO'),
      ('VRDLCU50A41H501X', 'GALLI', 'LUCE', 'M', '19800101', 'MILANO', 'MI', 'DA ME', 'MI'),
      ('RSSMRA80A01X999W', 'ROSSI', '', 'M', '19800101', 'ATLANTIDE', 'MI', '', ''))")
                                       .c_str());
  EXPECT_EQ(Tell({"controlla", file}), "Percettori controllati: 5. Segnalazioni: 0.\n");
  EXPECT_EQ(status_, 0);
  Sql(file, insert + R"(
      ('VRDLCU50A41H501E', ' Verdì', 'LU-CE', 'M', '19500102', 'MILANO', 'MI', 'BELLAGIO', 'RM'),
      ('RSSMRA80A01H501U', 'ROSSI', 'MA' || char(10) || 'RIO', ' ', '', NULL, 'TO', 'ROMA', 'RM'),
      ('95', 'BETA', '', '', '', 'MILANO', 'RM', '', ''))");
  EXPECT_EQ(Tell({"controlla", file}),
            "95 BETA: Provincia diversa da quella del comune di nascita (\"RM\").\n"
            "RSSMRA80A01H501U ROSSI MA?RIO: Sesso richiesto con il nome (nel codice \"M\").\n"
            "RSSMRA80A01H501U ROSSI MA?RIO: Data richiesta con il nome (nel codice "
            "\"01/01/1980\").\n"
            "RSSMRA80A01H501U ROSSI MA?RIO: Comune o Stato richiesto con il nome (nel codice "
            "\"ROMA\").\n"
            "RSSMRA80A01H501U ROSSI MA?RIO: Provincia diversa dal codice fiscale (\"TO\", nel "
            "codice \"RM\").\n"
            "VRDLCU50A41H501E Verdì LU-CE: Sesso diverso dal codice fiscale (\"M\", nel codice "
            "\"F\").\n"
            "VRDLCU50A41H501E Verdì LU-CE: Data diversa dal codice fiscale (\"02/01/1950\", nel "
            "codice \"01/01/1950\").\n"
            "VRDLCU50A41H501E Verdì LU-CE: Comune diverso dal codice fiscale (\"MILANO\", nel "
            "codice \"ROMA\").\n"
            "VRDLCU50A41H501E Verdì LU-CE: Provincia diversa dal codice fiscale (\"MI\", nel "
            "codice \"RM\").\n"
            "VRDLCU50A41H501E Verdì LU-CE: Provincia diversa da quella del comune del domicilio "
            "(\"RM\").\n"
            "VRDLCU50A41H501E Verdì LU-CE: Stesso nome del codice VRDLCU50A41D704N.\n"
            "Percettori controllati: 8. Segnalazioni: 11.\n");
  EXPECT_EQ(status_, 1);
  Sql(file, "DROP TABLE TABCOMUNI");
  EXPECT_TRUE(Has(Tell({"controlla", file}), "Tabella TABCOMUNI: manca"));
}

TEST_F(Archive, ExportsAndCopiesAreNewWholeFiles) {
  const fs::path file = NewArchive("INSERT INTO PERCPARCELLE (CFP) VALUES ('A'), ('B')");
  fs::permissions(folder_.Path(), fs::perms(0770));
  EXPECT_EQ(Status({"esporta", folder_ / "x.csv", file}), 0);
  EXPECT_TRUE(HasMode(folder_ / "x.csv", 0600));
  const std::string before = Bytes(folder_ / "x.csv");
  EXPECT_EQ(Status({"esporta", folder_ / "X.CSV", file}), 1);
  EXPECT_EQ(Bytes(folder_ / "x.csv"), before);
  for (const char* value : {"x'4142'", "CAST(x'C328' AS TEXT)", "'a' || char(0) || 'b'"}) {
    Sql(file, std::string("UPDATE PERCPARCELLE SET APARC_1 = ") + value + " WHERE CFP = 'B'");
    EXPECT_EQ(Tell({"esporta", folder_ / "y.csv", file}),
              "Percettore n. 2: la colonna APARC_1 contiene dati che non sono un testo.\n");
  }
  EXPECT_EQ(Names(folder_.Path()), "archive x.csv ");

  const fs::path target = folder_ / "target";
  fs::create_directory(target);
  NewArchive("PRAGMA journal_mode = WAL");
#ifndef _WIN32
  // What an earlier run has left goes: its name, mark and owner together.
  const auto put = [&](const char* digits, unsigned mode) {
    const fs::path hidden = target / (std::string(".anagparc-") + digits);
    SetBytes(hidden, "x");
    fs::permissions(hidden, fs::perms(mode));
  };
  put("0000000000000000", 01660);
  put("0000000000000001", 0600);
  put("000000000000000X", 01600);
  put("backup", 01600);
  fs::create_directory(target / ".anagparc-0000000000000002");
  fs::permissions(target / ".anagparc-0000000000000002", fs::perms(01700));
  fs::create_symlink(".anagparc-backup", target / ".anagparc-0000000000000003");
  put("0000000000000004", 01666);
  if (chown((target / ".anagparc-0000000000000004").c_str(), 12345, 12345) != 0) {
    put("0000000000000004", 0600);  // only root can give it away
  }
#endif
  const std::string kept = Names(target);
  EXPECT_EQ(Tell({"copia", file, target}),
            "Copiato l'archivio " + Name(file) + " nel file " + Name(target / "archive") + ".\n");
  EXPECT_EQ(Check(target / "archive"), Words());
  EXPECT_TRUE(Has(Tell({"copia", file, target}), "esiste già"));
  // A journal left over there would be played into the copy.
  SetBytes(target / "y-journal", "x");
  EXPECT_EQ(Status({"copia", file, target / "y"}), 1);
  const std::string gone = kPosixFiles ? ".anagparc-0000000000000000 " : "";
  EXPECT_EQ(gone + Names(target), kept + "archive y-journal ");
}

TEST_F(Archive, PreparationMakesWhatIsMissing) {
  const fs::path registry = folder_ / "config" / "morvenna" / "registro.reg";
  // A system's own registry is left alone.
  SetVariable("MORVENNA_REGISTRO", kPosixFiles ? fs::path() : registry);
  SetVariable("XDG_CONFIG_HOME", folder_ / "config");
  const std::string quote = kPosixFiles ? "\"" : "'";  // as a name may have it
  const fs::path archives = folder_ / "uffici" / sys::PathOf("l'" + quote + "anno è 2015");
  EXPECT_THROW(YearArchive(), Failure);
  EXPECT_EQ(Tell({"prepara", archives}),
            "Creata la cartella " + Name(archives) + ".\nScritto il modello " +
                Name(archives / kTemplateName) + ".\nScritto il file di registro " +
                Name(registry) + ".\n");
  EXPECT_TRUE(Has(Tell({"esporta", folder_ / "x.csv"}), "L'archivio dell'anno non c'è ancora"));
  fs::copy_file(archives / kTemplateName, archives / kYearName);
  EXPECT_EQ(Tell({"esporta", folder_ / "x.csv"}), "Percettori scritti: 0.\n");
  EXPECT_EQ(Tell({"controlla"}), "Percettori controllati: 0. Segnalazioni: 0.\n");

  // A second time, and with one of the two gone, what is there stays.
  const std::string text = Bytes(registry);
  EXPECT_TRUE(Has(Tell({"prepara", Name(archives) + "/"}), "indica già"));
  fs::rename(archives / kTemplateName, archives / "sq4rxxxx.mdb");
  fs::remove(registry);
  EXPECT_TRUE(Has(Tell({"prepara", archives}), "c'era già"));
  EXPECT_EQ(status_, 0);

  // Copies are added to a registry in whatever form, or changed; their folder isn't made.
  const fs::path copies = folder_ / ("co" + quote + "pie");
  EXPECT_TRUE(Has(Tell({"prepara", archives, "--copie", copies}), "co" + quote + "pie non esiste"));
  EXPECT_EQ(Status({"prepara", archives, "--copie="}), 2);
  fs::create_directory(copies);
  const std::string plain = Bytes(registry);
  std::string wide = "\xFF\xFE";
  for (const char16_t unit : text::FromUtf8(plain)) {
    wide += {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
  }
  for (const std::string& form : {plain, plain.substr(0, plain.size() - 2), wide}) {
    SetBytes(registry, form);
    for (const fs::path& to : {archives, copies, copies}) {
      EXPECT_TRUE(Has(Tell({"prepara", archives, "--copie", to}), "cartella " + Name(to)));
      EXPECT_EQ(Slashes(text::ToUtf8(MOD770BAS::LEGGIVALOREREGISTRO(
                    MOD770BAS::kRadice, MOD770BAS::kChiave, MOD770BAS::kValoreCopie))),
                Name(to));
    }
    EXPECT_EQ(status_, 0);
  }
  EXPECT_TRUE(fs::is_empty(copies));
  SetBytes(registry, text);

  // Another folder, or a template that isn't ours to touch.
  const fs::path other = folder_ / "altra";
  EXPECT_TRUE(Has(Tell({"prepara", other}), "non indica questa cartella"));
  EXPECT_FALSE(fs::exists(other));
  SetVariable("MORVENNA_REGISTRO", folder_ / "mio.reg");
  fs::create_directory(other);
  SetBytes(other / kTemplateName, "x");
  EXPECT_TRUE(Has(Tell({"prepara", other}), "non è un archivio"));
  EXPECT_EQ(Bytes(other / kTemplateName) + Bytes(registry), "x" + text);
}

}  // namespace
}  // namespace archivio
