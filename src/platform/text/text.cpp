#include "platform/text/text.h"

#include <iconv.h>
#include <locale.h>
#include <wctype.h>

#include <array>

namespace text {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

void AppendUtf16(std::u16string& out, char32_t c) {
  if (c < 0x10000) {
    out.push_back(static_cast<char16_t>(c));
  } else {
    c -= 0x10000;
    out.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
  }
}

void AppendUtf8(std::string& out, char32_t c) {
  auto put = [&out](char32_t byte) { out.push_back(static_cast<char>(byte)); };
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | (c >> 6));
    put(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    put(0xE0 | (c >> 12));
    put(0x80 | ((c >> 6) & 0x3F));
    put(0x80 | (c & 0x3F));
  } else {
    put(0xF0 | (c >> 18));
    put(0x80 | ((c >> 12) & 0x3F));
    put(0x80 | ((c >> 6) & 0x3F));
    put(0x80 | (c & 0x3F));
  }
}

// The character that starts at `i`, which moves past it; kReplacement for a
// sequence that is cut, overlong, a surrogate or past U+10FFFF.
char32_t NextUtf8(std::string_view s, std::size_t& i) {
  const auto lead = static_cast<unsigned char>(s[i++]);
  if (lead < 0x80) {
    return lead;
  }
  int more = 0;
  char32_t c = 0;
  char32_t least = 0;
  if ((lead & 0xE0) == 0xC0) {
    more = 1, c = lead & 0x1F, least = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    more = 2, c = lead & 0x0F, least = 0x800;
  } else if ((lead & 0xF8) == 0xF0) {
    more = 3, c = lead & 0x07, least = 0x10000;
  } else {
    return kReplacement;
  }
  for (; more > 0; --more) {
    if (i >= s.size() || (static_cast<unsigned char>(s[i]) & 0xC0) != 0x80) {
      return kReplacement;
    }
    c = (c << 6) | (static_cast<unsigned char>(s[i++]) & 0x3F);
  }
  const bool surrogate = c >= 0xD800 && c <= 0xDFFF;
  return c < least || surrogate || c > 0x10FFFF ? kReplacement : c;
}

// Rules of Unicode, in a locale object of our own, so that nothing the process or the
// user sets has a say. C.UTF-8 is part of the C library's own package; null without it.
locale_t Unicode() {
  static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  return unicode;
}

// The C library's plain form of a character, in capitals; empty if it has none.
std::u16string Transliterated(char16_t c) {
  const locale_t before = uselocale(Unicode());
  static const iconv_t plain = iconv_open("ASCII//TRANSLIT", "WCHAR_T");
  wchar_t wide = c;
  char* in = reinterpret_cast<char*>(&wide);
  std::array<char, 16> letters;
  char* end = letters.data();
  std::size_t in_left = sizeof wide, out_left = letters.size();
  const std::size_t done = iconv(plain, &in, &in_left, &end, &out_left);
  uselocale(before);
  const std::u16string out(letters.data(), end);
  return done == static_cast<std::size_t>(-1) || out == u"?" ? std::u16string() : Upper(out);
}

}  // namespace

std::u16string FromUtf8(std::string_view bytes) {
  std::u16string out;
  out.reserve(bytes.size());
  for (std::size_t i = 0; i < bytes.size();) {
    AppendUtf16(out, NextUtf8(bytes, i));
  }
  return out;
}

bool IsUtf8(std::string_view bytes) {
  unsigned seen = 0;
  for (const char c : bytes) {
    seen |= static_cast<unsigned char>(c);
  }
  return seen < 0x80 || ToUtf8(FromUtf8(bytes)) == bytes;
}

std::string ToUtf8(std::u16string_view units) {
  std::string out(units.begin(), units.end());
  unsigned seen = 0;
  for (const char16_t c : units) {
    seen |= c;
  }
  if (seen < 0x80) {
    return out;
  }
  out.clear();
  for (std::size_t i = 0; i < units.size(); ++i) {
    char32_t c = units[i];
    if (IsHighSurrogate(units[i]) && i + 1 < units.size() && IsLowSurrogate(units[i + 1])) {
      c = 0x10000 + ((c - 0xD800) << 10) + (units[++i] - 0xDC00);
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      c = kReplacement;
    }
    AppendUtf8(out, c);
  }
  return out;
}

std::u16string_view TrimLeft(std::u16string_view s) {
  const auto first = s.find_first_not_of(u' ');
  return first == s.npos ? std::u16string_view() : s.substr(first);
}

std::u16string_view TrimRight(std::u16string_view s) {
  const auto last = s.find_last_not_of(u' ');
  return last == s.npos ? std::u16string_view() : s.substr(0, last + 1);
}

std::u16string_view Trim(std::u16string_view s) { return TrimLeft(TrimRight(s)); }

std::u16string Fit(std::u16string_view s, std::size_t width) {
  std::u16string out(s.substr(0, width));
  out.resize(width, u' ');
  return out;
}

std::u16string_view Mid(std::u16string_view s, std::size_t start, std::size_t length) {
  return start > s.size() ? std::u16string_view() : s.substr(start - 1, length);
}

std::u16string Decimal(long long n) {
  const std::string digits = std::to_string(n);
  return {digits.begin(), digits.end()};
}

char16_t Upper(char16_t c) {
  if (c < 0x80) {
    return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - 32) : c;
  }
  const wint_t upper = Unicode() != nullptr ? towupper_l(c, Unicode()) : c;
  return upper < 0x10000 ? static_cast<char16_t>(upper) : c;
}

std::u16string Upper(std::u16string_view s) {
  std::u16string out(s);
  for (char16_t& c : out) {
    c = Upper(c);
  }
  return out;
}

void AppendPlain(std::u16string& out, char16_t c) {
  constexpr char16_t kFirst = 0x80, kEnd = 0x2000;  // the scripts with capitals, and accents
  if (c < kFirst || c >= kEnd) {
    out.push_back(Upper(c));
    return;
  }
  if (c >= 0x300 && c < 0x370) {
    return;
  }
  constexpr std::size_t kMost = 4;  // characters of a plain form
  // Those asked for so far, filled up with NUL.
  static std::array<std::array<char16_t, kMost>, kEnd - kFirst> known;
  auto& plain = known[static_cast<std::size_t>(c - kFirst)];
  if (plain[0] == u'\0') {
    const std::u16string letters = Transliterated(c);
    plain[0] = Upper(c);
    letters.copy(plain.data(), kMost);
  }
  for (const char16_t letter : plain) {
    if (letter != u'\0') {
      out.push_back(letter);
    }
  }
}

bool IsControl(char16_t c) {
  return c < 0x20 || (c >= 0x7F && c <= 0x9F) || c == 0x2028 || c == 0x2029;
}

}  // namespace text
