#include "archivio/values.h"

#include <string_view>

#include "archivio/columns.h"
#include "frame/schema.h"
#include "platform/text/text.h"

namespace archivio {

namespace {

// Empty where nothing is wrong.
std::string_view Fault(const sqlite::Statement& row, int column) {
  switch (row.Type(column)) {
    case sqlite::Type::kInteger:
    case sqlite::Type::kReal:
      return "contiene un numero, non un testo";
    case sqlite::Type::kBlob:
      return "contiene dati binari, non un testo";
    default:
      break;
  }
  const std::string_view text = row.Bytes(column);
  if (text.find('\0') != text.npos) {
    return "contiene un carattere NUL";
  }
  if (!text::IsUtf8(text)) {
    return "contiene byte che non sono un testo UTF-8";
  }
  return {};
}

std::string WhoseRow(const std::string& table, const std::vector<std::string>& columns,
                     const sqlite::Statement& row) {
  std::string whose;
  if (SameName(table, "PERCPARCELLE")) {
    whose = ", percettore";
  } else if (SameName(table, "QUADROLAUT")) {
    whose = ", certificazione di";
  } else {
    return whose;
  }
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (SameName(columns[i], "CFP") || SameName(columns[i], "APARC_1") ||
        SameName(columns[i], "APARC_2")) {
      whose += " " + Shown(row.Bytes(static_cast<int>(i)));
    }
  }
  return whose;
}

}  // namespace

std::size_t NameNoTexts(sqlite::Connection& database, const std::string& table,
                        const std::vector<std::string>& columns,
                        const std::function<void(std::string)>& tell) {
  constexpr std::size_t kMost = 20;
  if (columns.empty()) {
    return 0;
  }
  std::string names;
  for (const std::string& column : columns) {
    text::AppendItem(names, sqlite::Identifier(column));
  }
  const std::string label = "Tabella " + table + ", ";
  std::size_t faults = 0;
  sqlite::Statement row(database,
                        "SELECT " + names + " FROM " + sqlite::Identifier(table) + " NOT INDEXED");
  for (std::size_t number = 1; row.Next(); ++number) {
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const std::string_view fault = Fault(row, static_cast<int>(i));
      if (fault.empty() || ++faults > kMost) {
        continue;
      }
      std::string column = columns[i];
      if (const std::string readable = ReadableName(column); readable != column) {
        column += " (" + readable + ")";
      }
      tell(label + "riga " + std::to_string(number) + WhoseRow(table, columns, row) +
           ": la colonna " + column + " " + std::string(fault) + ".");
    }
  }
  if (faults > kMost) {
    tell(label + "e altri " + std::to_string(faults - kMost) + " valori che non sono testi.");
  }
  return faults;
}

}  // namespace archivio
