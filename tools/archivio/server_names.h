// Names from a file that a server can't have.
#pragma once

#include <string>
#include <vector>

#include "archivio/new_table.h"

namespace archivio {

// A sentence for each table, column or index whose name on the server would be too long, isn't one
// there, or would be another's as well. The server would cut the long ones short without a word.
std::vector<std::string> UnfitNames(const std::vector<NewTable>& tables);

}  // namespace archivio
