#include "archivio/file_tables.h"

#include <algorithm>
#include <optional>

#include "platform/text/text.h"

namespace archivio {

namespace {

class Reader {
 public:
  explicit Reader(sqlite::Connection& database) : database_(database) {}

  FileTables Run() {
    sqlite::Statement names(database_,
                            "SELECT name FROM sqlite_schema WHERE type = 'table' AND name NOT LIKE "
                            "'sqlite\\_%' ESCAPE '\\' ORDER BY rowid");
    while (names.Next()) {
      NewTable table = {std::string(names.Bytes(0))};
      ReadColumns(table);
      ReadIndexes(table);
      found_.tables.push_back(std::move(table));
    }
    sqlite::Statement others(database_,
                             "SELECT type, name FROM sqlite_schema WHERE type IN ('view', "
                             "'trigger') ORDER BY type, name");
    while (others.Next()) {
      const std::string name(others.Bytes(1));
      if (others.Bytes(0) == "view") {
        LeaveOut("La vista " + name);
      } else {
        LeaveOut("Il trigger " + name);
      }
    }
    return std::move(found_);
  }

 private:
  void LeaveOut(const std::string& what) {
    found_.left_out.push_back(what + ", di un altro programma, resta fuori.");
  }

  void ReadColumns(NewTable& table) {
    constexpr std::int64_t kOfVirtualTable = 1;
    sqlite::Statement columns(
        database_, "SELECT name, \"notnull\", dflt_value, hidden FROM pragma_table_xinfo(?)");
    columns.Bind(1, table.name);
    while (columns.Next()) {
      if (columns.Number(3) == kOfVirtualTable) {
        continue;
      }
      const std::string name(columns.Bytes(0));
      table.columns.push_back(
          {name, "TEXT", SameName(database_.Collation(table.name, name), "RTRIM")});
      if (columns.Number(1) != 0 || columns.Text(2)) {
        LeaveOut("La regola NOT NULL o DEFAULT della colonna " + table.name + "." + name);
      }
    }
  }

  void ReadIndexes(NewTable& table) {
    sqlite::Statement list(database_,
                           "SELECT name, \"unique\", partial, origin FROM pragma_index_list(?) "
                           "ORDER BY seq DESC");
    list.Bind(1, table.name);
    while (list.Next()) {
      NewIndex index = {std::string(list.Bytes(0)), list.Number(1) != 0};
      if (list.Number(2) != 0 || !ReadKey(table, index)) {
        LeaveOut("L'indice " + index.name);
        continue;
      }
      if (list.Bytes(3) != "c") {  // of a rule of the table; its name is SQLite's own
        index.name = table.name + ".REGOLA" + std::to_string(table.indexes.size() + 1);
      }
      table.indexes.push_back(std::move(index));
    }
  }

  // False where a key isn't a column, ascending, by the column's own comparison.
  bool ReadKey(const NewTable& table, NewIndex& index) {
    sqlite::Statement keys(database_,
                           "SELECT name, coll, \"desc\" FROM pragma_index_xinfo(?) WHERE key");
    keys.Bind(1, index.name);
    while (keys.Next()) {
      const auto column = std::ranges::find(table.columns, keys.Bytes(0), &NewColumn::name);
      if (column == table.columns.end() || keys.Number(2) != 0 ||
          !SameName(keys.Bytes(1), column->ends_trimmed ? "RTRIM" : "BINARY")) {
        return false;
      }
      index.columns.push_back(static_cast<std::size_t>(column - table.columns.begin()));
    }
    return !index.columns.empty();
  }

  sqlite::Connection& database_;
  FileTables found_;
};

}  // namespace

FileTables ReadTables(sqlite::Connection& database) { return Reader(database).Run(); }

std::string SelectText(sqlite::Connection& database, const NewTable& table) {
  std::string names;
  for (const NewColumn& column : table.columns) {
    text::AppendItem(names, sqlite::Identifier(column.name));
  }
  const std::string from = " FROM " + sqlite::Identifier(table.name);
  const std::string number = database.RowNumber(table.name, {database, "SELECT *" + from});
  return "SELECT " + names + from + (number.empty() ? "" : " ORDER BY " + number);
}

}  // namespace archivio
