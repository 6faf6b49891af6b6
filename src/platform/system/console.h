// A program's output, as its user sees it.
#pragma once

#include <optional>
#include <ostream>
#include <string>

namespace sys {

// To be called first by the main of a program for a terminal: from now on what goes to the
// standard output and errors is UTF-8 there, with line feeds alone, as it is in files and
// pipes. As ever where the system has no other text.
void SpeakUtf8();

// True when the standard error output is a terminal.
bool ErrorsOnTerminal();

// Flushes `out`, which writes to the standard output. Where that fails, returns the cause as a
// clause, empty where the system names none.
std::optional<std::u16string> FlushFault(std::ostream& out);

}  // namespace sys
