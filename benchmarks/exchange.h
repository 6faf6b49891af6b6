// Recipients to and from CSV by the archive tool, against the sqlite3 shell.
#pragma once

#include <filesystem>
#include <vector>

#include "table.h"

namespace bench {

// `tool` is the archive tool's program. What was exported is imported into an
// empty archive, which must then hold the same table.
std::vector<Comparison> ExchangeComparisons(const std::filesystem::path& tool);

}  // namespace bench
