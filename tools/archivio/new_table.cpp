#include "archivio/new_table.h"

#include <algorithm>

#include "platform/sqlite/sqlite.h"
#include "platform/text/text.h"

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
    std::string declared = sqlite::Identifier(column.name) + ' ' + std::string(column.type);
    if (column.ends_trimmed) {
      declared += " COLLATE RTRIM";
    }
    text::AppendItem(columns, declared);
  }
  return "CREATE TABLE " + sqlite::Identifier(table.name) + " (" + columns + ")";
}

std::string KeyText(const NewTable& table, const NewIndex& index) {
  std::string columns;
  for (const std::size_t column : index.columns) {
    text::AppendItem(columns, sqlite::Identifier(table.columns[column].name));
  }
  return columns;
}

std::string CreateText(const NewTable& table, const NewIndex& index) {
  return (index.unique ? "CREATE UNIQUE INDEX " : "CREATE INDEX ") +
         sqlite::Identifier(index.name) + " ON " + sqlite::Identifier(table.name) + " (" +
         KeyText(table, index) + ")";
}

std::string ServerName(std::string_view name) {
  std::string lower(name);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') {
      c = static_cast<char>(c - 'A' + 'a');
    } else if (c == '.') {
      c = '_';
    }
  }
  return lower;
}

std::string ServerNumber(const NewTable& table) {
  std::string number = "numero_riga";
  while (std::ranges::any_of(
      table.columns, [&](const NewColumn& column) { return ServerName(column.name) == number; })) {
    number += '_';
  }
  return number;
}

namespace {

std::string ServerIdentifier(std::string_view name) {
  return sqlite::Identifier(ServerName(name));  // both quote names in the same way
}

}  // namespace

std::string ServerText(const NewTable& table) {
  std::string columns =
      ServerIdentifier(ServerNumber(table)) + " bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY";
  for (const NewColumn& column : table.columns) {
    columns += ", " + ServerIdentifier(column.name) + (column.ends_trimmed ? " bpchar" : " text") +
               " COLLATE \"C\"";
  }
  return "CREATE TABLE " + ServerIdentifier(table.name) + " (" + columns + ")";
}

std::vector<std::string> ServerIndexNames(const NewTable& table, const NewIndex& index) {
  const std::string name = ServerName(index.name);
  if (index.unique) {
    return {name, name + "_ordine"};
  }
  if (table.columns[index.columns.front()].ends_trimmed) {
    return {name};
  }
  return {};
}

std::vector<std::string> ServerTexts(const NewTable& table, const NewIndex& index) {
  std::vector<std::string> texts;
  const std::string on = " ON " + ServerIdentifier(table.name) + " (";
  for (const std::string& name : ServerIndexNames(table, index)) {
    texts.push_back("CREATE INDEX " + ServerIdentifier(name) + on +
                    ServerIdentifier(table.columns[index.columns.front()].name) + " NULLS FIRST, " +
                    ServerIdentifier(ServerNumber(table)) + ")");
  }
  if (index.unique) {
    texts.front() = "CREATE UNIQUE INDEX " + ServerIdentifier(index.name) + on +
                    ServerName(KeyText(table, index)) + ")";
  }
  return texts;
}

}  // namespace archivio
