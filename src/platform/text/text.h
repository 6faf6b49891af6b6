// The one text type of the program: std::u16string. Lengths, positions and widths
// count UTF-16 units. A blank is the character 32 and nothing else. No function
// throws but for want of memory.
#pragma once

#include <string>
#include <string_view>

namespace text {

// UTF-8 to UTF-16 and back. What is not valid in the source becomes U+FFFD.
std::u16string FromUtf8(std::string_view bytes);
std::string ToUtf8(std::u16string_view units);
bool IsUtf8(std::string_view bytes);

// Without blanks at the left, at the right, at both ends.
std::u16string_view TrimLeft(std::u16string_view s);
std::u16string_view TrimRight(std::u16string_view s);
std::u16string_view Trim(std::u16string_view s);

// `width` characters: `s` filled up with blanks at the right, or cut.
std::u16string Fit(std::u16string_view s, std::size_t width);

// The part of `s` from position `start`, counted from 1, at most `length`
// characters; what lies outside the text is left out. `start` is at least 1.
std::u16string_view Mid(std::u16string_view s, std::size_t start,
                        std::size_t length = std::u16string_view::npos);

// Decimal text, with a minus in front of a negative number.
std::u16string Decimal(long long n);

// Appends an item to a list, in UTF-8, with the separator in front unless it is the first.
void AppendItem(std::string& list, std::string_view item, std::string_view separator = ", ");

// Upper case by Unicode's simple mapping, whatever the system's locale. A
// character that has no single upper-case partner, and half of a surrogate
// pair, stays itself.
char16_t Upper(char16_t c);
std::u16string Upper(std::u16string_view s);

// Appends what is left of `c` where case and accents don't count: its capital without
// the accent, of a ligature each letter (ò is O, ß is SS, Æ is AE, Ł is L), nothing of
// an accent on its own. What has no such form stays as Upper has it.
void AppendPlain(std::u16string& out, char16_t c);

// Codes that no single-line text may take in: C0, DEL, C1, and the line and
// paragraph separators.
bool IsControl(char16_t c);

inline bool IsHighSurrogate(char16_t c) { return (c & 0xFC00) == 0xD800; }
inline bool IsLowSurrogate(char16_t c) { return (c & 0xFC00) == 0xDC00; }

}  // namespace text
