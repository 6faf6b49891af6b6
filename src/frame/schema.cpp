#include "frame/schema.h"

#include <algorithm>

#include "platform/text/text.h"
#include "record/regole.h"

namespace archivio {

namespace {

// Of the recipients: one for each field; where the numbers skip one, a column that the
// program doesn't use.
std::string FieldColumns() {
  std::string columns;
  for (int i = 0; i <= regole::kUltimoCampo; ++i) {
    const regole::CampoPercettore* const field = regole::CAMPO(i);
    std::string column = "APARC_" + std::to_string(i) + "?";
    if (field != nullptr) {
      column = text::ToUtf8(field->colonna);
    }
    text::AppendItem(columns, column, " ");
  }
  return columns;
}

}  // namespace

std::span<const Table> Tables() {
  using enum Use;
#define TABLE(name, columns, ...) {#name, columns, {__VA_ARGS__}},
  static const std::vector<Table> tables = {TABLES_OF_THE_ARCHIVE(TABLE)};
#undef TABLE
  return tables;
}

const Table* FindTable(std::string_view name) {
  const auto tables = Tables();
  const auto found = std::ranges::find_if(
      tables, [name](const Table& table) { return SameName(table.name, name); });
  return found == tables.end() ? nullptr : &*found;
}

bool SameName(std::string_view a, std::string_view b) {
  return text::Upper(text::FromUtf8(a)) == text::Upper(text::FromUtf8(b));
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
    if (!needed) {
      word.remove_suffix(1);
    }
    columns.push_back({word, needed});
  }
  return columns;
}

}  // namespace archivio
