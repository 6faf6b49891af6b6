// The list of recipients from a server, against the server's own program that copies the same rows.
#pragma once

#include <filesystem>
#include <functional>
#include <vector>

#include "table.h"

namespace bench {

// Empty unless ANAGPARC_SERVER names the socket folder of a server with databases to make (see
// tests/server.py). `tool` is the archive tool's program; `list` fills the list from the archive,
// by name or by code, and returns the seconds, throwing where it doesn't show `model`'s rows.
std::vector<Comparison> ServerComparisons(
    const std::filesystem::path& tool,
    const std::function<double(const std::filesystem::path& archive,
                               const std::filesystem::path& model, bool by_name)>& list);

}  // namespace bench
