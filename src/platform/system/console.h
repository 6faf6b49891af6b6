// A program's output, as its user sees it.
#pragma once

#include <optional>
#include <ostream>
#include <string>

namespace sys {

// True when the standard error output is a terminal, where a user looks on.
bool ErrorsOnTerminal();

// Flushes `out`, which writes to the standard output. Where that fails, the cause as a
// clause; it is empty where the system names none.
std::optional<std::u16string> FlushFault(std::ostream& out);

}  // namespace sys
