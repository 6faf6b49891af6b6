// How the tables of an old archive become those of one that the program can work in.
#pragma once

#include <string>
#include <vector>

#include "archivio/jet/stream.h"
#include "archivio/new_table.h"

namespace archivio::jet {

// What the old archive lacks, and what comes over otherwise than it was, one Italian sentence each.
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
