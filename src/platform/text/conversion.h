// The general tests of what a text stands for, by the Italian rules and no
// setting of the system.
#pragma once

#include <string_view>

namespace text {

// The number at the start of a text: leading blanks are skipped, reading stops
// at the first character that can't go on with a number (a comma too); 0 where
// there is none, infinity where it is too large for a double.
double Val(std::u16string_view s);

// True for a number as a whole, blanks at its ends aside: digits, with a sign
// in front, points between groups of three and a decimal comma allowed.
bool IsNumeric(std::u16string_view s);

// True for DD/MM/YYYY, two, two and four digits, that is a day of the
// Gregorian calendar; any other shape is no date.
bool IsDate(std::u16string_view s);

}  // namespace text
