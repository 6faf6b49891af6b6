// The columns of the recipients in a CSV file.
#pragma once

#include <string>
#include <string_view>

namespace archivio {

// A value, whatever its bytes, fit for a line that tells of it.
std::string Shown(std::string_view bytes);

inline constexpr std::string_view kDateColumn = "APARC_4";

// What the form and its manual call the column; a column without a field keeps
// its own name.
std::string ReadableName(std::string_view column);

// A stored date as it is on screen, and back. What isn't of that form stays as it
// is: nothing is lost either way.
std::string DateOnScreen(std::string_view stored);
std::string StoredDate(std::string_view on_screen);

}  // namespace archivio
