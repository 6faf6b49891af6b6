// How the tables of an old archive become those of one that the program can
// work in.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "archivio/jet/stream.h"

namespace archivio::jet {

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

// The old table's columns come first, in their order, under their names but for one
// where all three of SQLite's row number are taken.
struct NewTable {
  std::string name;
  std::size_t declared = 0;     // rows, as the old archive counts them
  std::size_t old_columns = 0;  // those that the rows bring along
  std::vector<NewColumn> columns;
  std::vector<NewIndex> indexes;

  // For messages.
  std::string Label() const { return "Tabella " + name + ": "; }
};

// What the old archive lacks, and what comes over otherwise than it was, one Italian
// sentence each.
struct Findings {
  std::vector<std::string> texts;
  std::vector<std::string> notes;  // nothing to confirm
  bool hopeless = false;           // recipients can't be had from it
};

// One new table for each old one, in the same order, then those of the program
// that are missing, empty. The program's tables get what the engine needs:
// missing columns, collations, and the indexes that the program sets. Others keep
// their indexes. Throws Damaged for names that no sound archive has.
std::vector<NewTable> Plan(const std::vector<OldTable>& old_tables,
                           const std::vector<std::string>& linked, Findings& findings);

}  // namespace archivio::jet
