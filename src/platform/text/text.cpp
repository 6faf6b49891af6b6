#include "platform/text/text.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "platform/text/letters.h"

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
  if (c < least || surrogate || c > 0x10FFFF) {
    return kReplacement;
  }
  return c;
}

// Plain forms from kFirstPlain on, expanded as this is compiled: a character that stays one
// is itself, any other form is its place in kPlainForms, marked as half a surrogate pair.
constexpr char16_t kLonger = 0xD800;
constexpr auto kPlain = [] {
  std::array<char16_t, kEndPlain - kFirstPlain> plain{};
  const auto at = [&plain](std::size_t c) -> char16_t& { return plain[c - kFirstPlain]; };
  for (std::size_t c = kFirstPlain; c < kEndPlain; ++c) {
    at(c) = static_cast<char16_t>(c);
  }
  for (const UpperRun& run : kUpperRuns) {
    for (std::size_t c = run.first; c <= run.last && c < kEndPlain; c += run.step) {
      at(c) = static_cast<char16_t>(run.upper + (c - run.first));
    }
  }
  for (std::size_t form = 0; form < std::size(kPlainForms); ++form) {
    const auto& [letters, runs] = kPlainForms[form];
    for (std::size_t i = 0; i < runs.size(); i += 2) {
      for (std::size_t c = runs[i]; c <= runs[i + 1]; ++c) {
        at(c) = letters.size() == 1 ? letters[0] : static_cast<char16_t>(kLonger + form);
      }
    }
  }
  return plain;
}();

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
  return s.substr(std::min(s.find_first_not_of(u' '), s.size()));
}

std::u16string_view TrimRight(std::u16string_view s) {
  return s.substr(0, s.find_last_not_of(u' ') + 1);  // none: npos + 1 is 0
}

std::u16string_view Trim(std::u16string_view s) { return TrimLeft(TrimRight(s)); }

std::u16string Fit(std::u16string_view s, std::size_t width) {
  std::u16string out(s.substr(0, width));
  out.resize(width, u' ');
  return out;
}

std::u16string_view Mid(std::u16string_view s, std::size_t start, std::size_t length) {
  return s.substr(std::min(start - 1, s.size()), length);
}

std::u16string Decimal(long long n) {
  const std::string digits = std::to_string(n);
  return {digits.begin(), digits.end()};
}

void AppendItem(std::string& list, std::string_view item, std::string_view separator) {
  if (!list.empty()) {
    list += separator;
  }
  list += item;
}

char16_t Upper(char16_t c) {
  if (c >= u'a' && c <= u'z') {
    return static_cast<char16_t>(c - 32);
  }
  if (c < 0x80) {
    return c;
  }
  const auto* const run = std::ranges::lower_bound(kUpperRuns, c, {}, &UpperRun::last);
  if (run == std::end(kUpperRuns) || c < run->first || (c - run->first) % run->step != 0) {
    return c;
  }
  return static_cast<char16_t>(run->upper + (c - run->first));
}

std::u16string Upper(std::u16string_view s) {
  std::u16string out(s);
  for (char16_t& c : out) {
    c = Upper(c);
  }
  return out;
}

void AppendPlain(std::u16string& out, char16_t c) {
  if (c < kFirstPlain || c >= kEndPlain) {
    out.push_back(Upper(c));
    return;
  }
  const char16_t plain = kPlain[static_cast<std::size_t>(c - kFirstPlain)];
  if (IsHighSurrogate(plain)) {
    out += kPlainForms[plain - kLonger].letters;
  } else {
    out.push_back(plain);
  }
}

bool IsControl(char16_t c) {
  return c < 0x20 || (c >= 0x7F && c <= 0x9F) || c == 0x2028 || c == 0x2029;
}

}  // namespace text
