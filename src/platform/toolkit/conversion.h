// The general tests of what a text stands for, by the Italian rules and no
// setting of the system.
#pragma once

#include <string_view>

namespace toolkit {

// The number at the start of a text: leading blanks are skipped, reading stops
// at the first character that can't go on with a number (a comma too); 0 where
// there is none.
double Val(std::u16string_view text);

// True for a number as a whole, blanks at its ends aside: digits, with a sign
// in front, points between groups of three and a decimal comma allowed.
bool IsNumeric(std::u16string_view text);

// True for DD/MM/YYYY, two, two and four digits, that is a day of the
// Gregorian calendar; any other shape is no date.
bool IsDate(std::u16string_view text);

}  // namespace toolkit
