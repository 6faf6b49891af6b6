// The tables of an archive that is being made, anew or by a conversion, and the SQL that makes
// them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "frame/schema.h"

namespace archivio {

struct NewColumn {
  std::string name;
  std::string_view type;      // in SQL
  bool ends_trimmed = false;  // blanks at the end make no difference
  bool program_text = false;  // the program works with it, as a text
};

struct NewIndex {
  std::string name;
  bool unique = false;
  std::vector<std::size_t> columns;  // their places in the table
};

struct NewTable {
  std::string name;
  // Of a conversion: the old table's columns come first, in their order, under their names but
  // for one where all three of SQLite's row number are taken.
  std::size_t declared = 0;     // rows, as the old archive counts them
  std::size_t old_columns = 0;  // those that the rows bring along
  std::vector<NewColumn> columns;
  std::vector<NewIndex> indexes;

  // For messages.
  std::string Label() const { return "Tabella " + name + ": "; }
};

// A table of the program, as a new archive has it.
NewTable ProgramTable(const Table& table);

// The places of those columns that the table has; `names` as in schema.h.
std::vector<std::size_t> Places(const NewTable& table, std::string_view names);

std::string CreateText(const NewTable& table);
std::string CreateText(const NewTable& table, const NewIndex& index);
// The index's columns, separated by commas.
std::string KeyText(const NewTable& table, const NewIndex& index);

// The same on a PostgreSQL server, where a PostgreSQL user expects them: names in lower case,
// with an underscore for the point in an index's name, and a first column for the row's number,
// which in a file isn't one.
std::string ServerName(std::string_view name);
std::string ServerNumber(const NewTable& table);
std::string ServerText(const NewTable& table);
// The index; of a unique one another beside it, for what moves along it and meets Null keys in
// the order of the rows. None where the index would only spare a sort.
std::vector<std::string> ServerTexts(const NewTable& table, const NewIndex& index);
// The names that the indexes of ServerTexts bear.
std::vector<std::string> ServerIndexNames(const NewTable& table, const NewIndex& index);

}  // namespace archivio
