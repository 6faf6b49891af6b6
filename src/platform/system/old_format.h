// Archives of the suite's old database engine, which neither the program nor
// its tool can work in: known by their first bytes.
#pragma once

#include <string>
#include <string_view>

namespace sys {

enum class OldFormat {
  kNone,   // no such file, or not of the old engine
  kJet3,   // of 1997
  kJet4,   // of 2000 to 2003
  kLater,  // a successor, which the suite never used
};

// Names as in paths.h.
OldFormat FindOldFormat(std::u16string_view name);

// For a file of the old engine one or two sentences for the user: the name of
// its format, and the command that converts it. Empty for any other file.
std::u16string OldFormatAdvice(std::u16string_view name);

}  // namespace sys
