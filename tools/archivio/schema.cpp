#include "archivio/schema.h"

#include <algorithm>

namespace archivio {

std::span<const Table> Tables() {
  using enum Use;
  static const std::vector<Table> tables = {
      {"FRONTESPIZIO", "CFS? ANNO? DENOMINAZIONE?", {{"CHIAVE", "CFS", kKey}}},
      {"ANAGSOSTITUTI",
       "CFS? DENOMINAZIONE? COMUNE? PROV? CAP? INDIRIZZO?",
       {{"CHIAVE", "CFS", kKey}}},
      {"PERCPARCELLE",
       "CFP APARC_1 APARC_2 APARC_3 APARC_4 APARC_5 APARC_6 APARC_7 APARC_8 APARC_9 APARC_10? "
       "APARC_11 APARC_12 APARC_13 APARC_14 APARC_15? APARC_16 APARC_17",
       {{"CHIAVE", "CFP", kUniqueKey}, {"NOME", "APARC_1 APARC_2", kOrder}}},
      {"PERCETTORI", "CFP? COGNOME? NOME?", {{"CHIAVE", "CFP", kKey}}},
      {"QUADROLAUT",
       "CFP PROGRESSIVO? ANNO? CAUSALE? LORDO? IMPONIBILE? RITENUTA?",
       {{"CHIAVE", "CFP", kKey}}},
      {"QUADROLDIP1", "CFP? PROGRESSIVO? IMPORTO?", {{"CHIAVE", "CFP", kKey}}},
      {"QUADROLDIP2", "CFP? PROGRESSIVO? IMPORTO?", {{"CHIAVE", "CFP", kKey}}},
      {"QUADROLDIP3", "CFP? PROGRESSIVO? IMPORTO?", {{"CHIAVE", "CFP", kKey}}},
      {"QUADROLDIP4", "CFP? PROGRESSIVO? IMPORTO?", {{"CHIAVE", "CFP", kKey}}},
      {"QUADROLDIP5", "CFP? PROGRESSIVO? IMPORTO?", {{"CHIAVE", "CFP", kKey}}},
      {"QUADROST", "CFS? PROGRESSIVO? IMPORTO?", {{"CHIAVE", "CFS", kKey}}},
      {"QUADROSV", "CFS? PROGRESSIVO? IMPORTO?", {{"CHIAVE", "CFS", kKey}}},
      {"QUADROSX", "CFS? PROGRESSIVO? IMPORTO?", {{"CHIAVE", "CFS", kKey}}},
      {"QUADROSS", "CFS? PROGRESSIVO? IMPORTO?", {{"CHIAVE", "CFS", kKey}}},
      {"QUADROSY", "CFS? PROGRESSIVO? IMPORTO?", {{"CHIAVE", "CFS", kKey}}},
      {"RELEASE", "RELEASE?", {}},
      {"TABMIN_PROV", "codprov descprov", {{"CHIAVE", "codprov", kKey}}},
      {"TABMIN_SA", "cod_tmsa? descr_tmsa?", {{"CHIAVE", "cod_tmsa", kKey}}},
      {"TABMIN_SB", "cod_tmsb? descr_tmsb?", {{"CHIAVE", "cod_tmsb", kKey}}},
      {"TABMIN_SC", "cod_tmsc? descr_tmsc?", {{"CHIAVE", "cod_tmsc", kKey}}},
      {"TABMIN_SD", "cod_tmsd descR_tmsd", {{"CHIAVE", "cod_tmsd", kKey}}},
      {"TABMIN_SE", "cod_tmse? descr_tmse?", {{"CHIAVE", "cod_tmse", kKey}}},
      {"TABMIN_SF", "cod_tmsf? descr_tmsf?", {{"CHIAVE", "cod_tmsf", kKey}}},
      {"TABMIN_SG",
       "cod_tmsg descr_tmsg",
       {{"CHIAVE1", "cod_tmsg", kKey}, {"CHIAVE2", "descr_tmsg", kKey}}},
      {"TABhelpDIP", "CODICE? TESTO?", {{"CHIAVE", "CODICE", kKey}}},
      {"ANAFORNMAGNETICO", "CF? DENOMINAZIONE?", {{"CHIAVE", "CF", kKey}}},
      {"TABCOMUNI", "CODICE COMUNE PROV", {{"CHIAVE", "COMUNE", kKey}}},
      {"TABAPPOSTAMPA", "RIGA? TESTO?", {}},
      {"SUPPMAGNETICO", "RIGA? TESTO?", {}},
  };
  return tables;
}

std::vector<std::string_view> Words(std::string_view text) {
  std::vector<std::string_view> words;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    words.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return words;
}

std::vector<Column> Columns(const Table& table) {
  std::vector<Column> columns;
  for (std::string_view word : Words(table.columns)) {
    const bool needed = !word.ends_with('?');
    columns.push_back({word.substr(0, word.size() - (needed ? 0 : 1)), needed});
  }
  return columns;
}

}  // namespace archivio
