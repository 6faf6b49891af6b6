// What an archive consists of: read both when one is made and when one is
// checked.
#pragma once

#include <span>
#include <string_view>
#include <vector>

namespace archivio {

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
  std::string_view columns;
  std::vector<Index> indexes;
};

struct Column {
  std::string_view name;
  bool needed;
};

// In the order in which the program opens them.
std::span<const Table> Tables();

std::vector<std::string_view> Words(std::string_view text);
std::vector<Column> Columns(const Table& table);

}  // namespace archivio
