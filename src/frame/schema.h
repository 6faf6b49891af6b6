// What an archive consists of: the names of its files, its tables with their columns and
// indexes. One list for the program, which opens the tables, and for the archive tool, which
// makes, checks and converts archives.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace archivio {

inline constexpr std::string_view kTemplateName = "SQ4RXXXX.MDB";
inline constexpr std::string_view kYearName = "S7702015.MDB";

enum class Use {
  kKey,        // the program sets it on the table: one key column
  kUniqueKey,  // the same, and no two rows share a key
  kOrder,      // only spares the database a sort; an archive can do without
};

struct Index {
  std::string_view name;     // in the file the table's name and a point precede it
  std::string_view columns;  // separated by blanks
  Use use;
};

struct Table {
  std::string_view name;
  // Separated by blanks. A question mark after a column: the program never
  // reads or writes it, so that an archive of other make may lack it.
  std::string columns;
  std::vector<Index> indexes;
};

struct Column {
  std::string_view name;
  bool needed;
};

// For each table, in the order in which the program opens them, T(name, columns, index...):
// see Table. The last key is the one that the program sets on it.
#define TABLES_OF_THE_ARCHIVE(T)                                                                 \
  T(FRONTESPIZIO, "CFS? ANNO? DENOMINAZIONE?", {"CHIAVE", "CFS", kKey})                          \
  T(ANAGSOSTITUTI, "CFS? DENOMINAZIONE? COMUNE? PROV? CAP? INDIRIZZO?", {"CHIAVE", "CFS", kKey}) \
  T(PERCPARCELLE, FieldColumns(), {"CHIAVE", "CFP", kUniqueKey},                                 \
    {"NOME", "APARC_1 APARC_2", kOrder})                                                         \
  T(PERCETTORI, "CFP? COGNOME? NOME?", {"CHIAVE", "CFP", kKey})                                  \
  T(QUADROLAUT, "CFP PROGRESSIVO? ANNO? CAUSALE? LORDO? IMPONIBILE? RITENUTA?",                  \
    {"CHIAVE", "CFP", kKey})                                                                     \
  T(QUADROLDIP1, "CFP? PROGRESSIVO? IMPORTO?", {"CHIAVE", "CFP", kKey})                          \
  T(QUADROLDIP2, "CFP? PROGRESSIVO? IMPORTO?", {"CHIAVE", "CFP", kKey})                          \
  T(QUADROLDIP3, "CFP? PROGRESSIVO? IMPORTO?", {"CHIAVE", "CFP", kKey})                          \
  T(QUADROLDIP4, "CFP? PROGRESSIVO? IMPORTO?", {"CHIAVE", "CFP", kKey})                          \
  T(QUADROLDIP5, "CFP? PROGRESSIVO? IMPORTO?", {"CHIAVE", "CFP", kKey})                          \
  T(QUADROST, "CFS? PROGRESSIVO? IMPORTO?", {"CHIAVE", "CFS", kKey})                             \
  T(QUADROSV, "CFS? PROGRESSIVO? IMPORTO?", {"CHIAVE", "CFS", kKey})                             \
  T(QUADROSX, "CFS? PROGRESSIVO? IMPORTO?", {"CHIAVE", "CFS", kKey})                             \
  T(QUADROSS, "CFS? PROGRESSIVO? IMPORTO?", {"CHIAVE", "CFS", kKey})                             \
  T(QUADROSY, "CFS? PROGRESSIVO? IMPORTO?", {"CHIAVE", "CFS", kKey})                             \
  T(RELEASE, "RELEASE?")                                                                         \
  T(TABMIN_PROV, "codprov descprov", {"CHIAVE", "codprov", kKey})                                \
  T(TABMIN_SA, "cod_tmsa? descr_tmsa?", {"CHIAVE", "cod_tmsa", kKey})                            \
  T(TABMIN_SB, "cod_tmsb? descr_tmsb?", {"CHIAVE", "cod_tmsb", kKey})                            \
  T(TABMIN_SC, "cod_tmsc? descr_tmsc?", {"CHIAVE", "cod_tmsc", kKey})                            \
  T(TABMIN_SD, "cod_tmsd descR_tmsd", {"CHIAVE", "cod_tmsd", kKey})                              \
  T(TABMIN_SE, "cod_tmse? descr_tmse?", {"CHIAVE", "cod_tmse", kKey})                            \
  T(TABMIN_SF, "cod_tmsf? descr_tmsf?", {"CHIAVE", "cod_tmsf", kKey})                            \
  T(TABMIN_SG, "cod_tmsg descr_tmsg", {"CHIAVE1", "cod_tmsg", kKey},                             \
    {"CHIAVE2", "descr_tmsg", kKey})                                                             \
  T(TABhelpDIP, "CODICE? TESTO?", {"CHIAVE", "CODICE", kKey})                                    \
  T(ANAFORNMAGNETICO, "CF? DENOMINAZIONE?", {"CHIAVE", "CF", kKey})                              \
  T(TABCOMUNI, "CODICE COMUNE PROV", {"CHIAVE", "COMUNE", kKey})                                 \
  T(TABAPPOSTAMPA, "RIGA? TESTO?")                                                               \
  T(SUPPMAGNETICO, "RIGA? TESTO?")

std::span<const Table> Tables();
// Null where the archive has no table of that name.
const Table* FindTable(std::string_view name);

// Whether two names of tables, columns or indexes, in UTF-8, are one: letter case aside.
bool SameName(std::string_view a, std::string_view b);

std::vector<std::string_view> Words(std::string_view text);
std::vector<Column> Columns(const Table& table);

}  // namespace archivio
