// What stands in an archive's file, to be made anew elsewhere.
#pragma once

#include <string>
#include <vector>

#include "archivio/new_table.h"
#include "platform/sqlite/sqlite.h"

namespace archivio {

struct FileTables {
  std::vector<NewTable> tables;  // all of the file, in its order
  // A sentence for each thing that a NewTable can't say: rules, triggers and views of other
  // programs.
  std::vector<std::string> left_out;
};

FileTables ReadTables(sqlite::Connection& database);

// A reading of these columns of all rows, in the order of their making.
std::string SelectText(sqlite::Connection& database, const NewTable& table);

}  // namespace archivio
