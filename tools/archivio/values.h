// Values of a file that aren't the texts that they should be.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "platform/sqlite/sqlite.h"

namespace archivio {

// Looks at all rows of the table and hands a sentence to `tell` for each value of these columns
// that is a number, has bytes that are no text in UTF-8, or a NUL: the first 20, then one for
// how many more there are. A user finds the row by its number, and by code and names as far as
// it is a recipient's or a certification's. Returns their number.
std::size_t NameNoTexts(sqlite::Connection& database, const std::string& table,
                        const std::vector<std::string>& columns,
                        const std::function<void(std::string)>& tell);

}  // namespace archivio
