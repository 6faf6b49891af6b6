// What the old engine's bytes mean. Each function throws Damaged when they mean nothing.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "archivio/jet/damaged.h"

namespace archivio::jet {

// Text of Jet 4 as UTF-8: UTF-16, or the engine's compressed form of it. Half
// a surrogate pair becomes U+FFFD.
std::string UnicodeText(std::string_view bytes);

// Text of Jet 3 as UTF-8. Bytes without a character in the code page are
// the control codes of their number, as in the engine's own conversion.
std::string CodePageText(std::string_view bytes, int code_page);

// Currency with its four decimals.
std::string MoneyText(std::int64_t ten_thousandths);

// A date as "2015-07-31T18:05:09", with ".125" after it where the engine holds parts of a second. A
// number that is no date of the engine's, which has the years 100 to 9999, stays the number.
std::string DateText(double days);

// An exact decimal number of 17 bytes, with `scale` decimals.
std::string DecimalText(std::string_view bytes, int scale);

// An identifier of 16 bytes, as "{00112233-4455-6677-8899-AABBCCDDEEFF}".
std::string IdentifierText(std::string_view bytes);

// The shortest decimal text that is this number and no other.
std::string NumberText(double number);

}  // namespace archivio::jet
