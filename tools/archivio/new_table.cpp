#include "archivio/new_table.h"

#include <algorithm>

#include "platform/sqlite/sqlite.h"

namespace archivio {

NewTable ProgramTable(const Table& table) {
  NewTable made = {std::string(table.name)};
  for (const Column& column : Columns(table)) {
    made.columns.push_back({std::string(column.name), "TEXT"});
  }
  for (const Index& index : table.indexes) {
    NewIndex key = {made.name + "." + std::string(index.name), index.use == Use::kUniqueKey,
                    Places(made, index.columns)};
    if (index.use != Use::kOrder) {
      made.columns[key.columns.front()].ends_trimmed = true;
    }
    made.indexes.push_back(std::move(key));
  }
  return made;
}

std::vector<std::size_t> Places(const NewTable& table, std::string_view names) {
  std::vector<std::size_t> places;
  for (const std::string_view name : Words(names)) {
    const auto found = std::ranges::find_if(
        table.columns, [name](const NewColumn& column) { return SameName(column.name, name); });
    if (found != table.columns.end()) {
      places.push_back(static_cast<std::size_t>(found - table.columns.begin()));
    }
  }
  return places;
}

std::string CreateText(const NewTable& table) {
  std::string columns;
  for (const NewColumn& column : table.columns) {
    columns += (columns.empty() ? "" : ", ") + sqlite::Identifier(column.name) + ' ' +
               std::string(column.type) + (column.ends_trimmed ? " COLLATE RTRIM" : "");
  }
  return "CREATE TABLE " + sqlite::Identifier(table.name) + " (" + columns + ")";
}

std::string KeyText(const NewTable& table, const NewIndex& index) {
  std::string columns;
  for (const std::size_t column : index.columns) {
    columns += (columns.empty() ? "" : ", ") + sqlite::Identifier(table.columns[column].name);
  }
  return columns;
}

std::string CreateText(const NewTable& table, const NewIndex& index) {
  return (index.unique ? "CREATE UNIQUE INDEX " : "CREATE INDEX ") +
         sqlite::Identifier(index.name) + " ON " + sqlite::Identifier(table.name) + " (" +
         KeyText(table, index) + ")";
}

}  // namespace archivio
