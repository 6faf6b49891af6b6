// The columns of the recipients in a CSV file.
#pragma once

#include <string>
#include <string_view>

namespace archivio {

// A value, whatever its bytes, as part of a line for the user.
std::string Shown(std::string_view bytes);

inline constexpr std::string_view kDateColumn = "APARC_4";

// What the form and its manual call the column; a column without a field keeps its own name.
std::string ReadableName(std::string_view column);

// A stored date as it is on screen, and back. What isn't one stays as it is, or, where
// it looks like one on screen, gets an apostrophe in front: nothing is lost either way.
std::string DateOnScreen(std::string_view stored);
std::string StoredDate(std::string_view on_screen);

// A text that a spreadsheet would run as a formula, since it begins with = + - @, a tab
// or the end of a line, with an apostrophe in front, and back. One that has apostrophes
// there already gets another, so that every text finds its way back.
std::string HarmlessText(std::string_view stored);
std::string StoredText(std::string_view harmless);

}  // namespace archivio
