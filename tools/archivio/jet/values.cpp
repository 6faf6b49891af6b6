#include "archivio/jet/values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <optional>

#include "platform/system/code_page.h"
#include "platform/text/text.h"

namespace archivio::jet {

using namespace std::literals;

namespace {

constexpr std::int64_t kMillisecondsOfDay = 86'400'000;

unsigned char At(std::string_view bytes, std::size_t i) {
  return static_cast<unsigned char>(bytes[i]);
}

char16_t Unit(std::string_view bytes, std::size_t i) {
  return static_cast<char16_t>(At(bytes, i) | (At(bytes, i + 1) << 8));
}

void AppendLatin(std::string& out, unsigned char c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

// Most texts are compressed and have one byte for each character.
std::string Decompressed(std::string_view bytes) {
  const std::size_t zero = bytes.find('\0');
  std::string out;
  if (zero == bytes.npos) {
    out.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      AppendLatin(out, At(bytes, i));
    }
    return out;
  }
  // A zero, where a character would begin, changes from one form to the other. Two
  // would change nothing: no text is written so, that is what has been zeroed.
  std::u16string units;
  bool compressed = true;
  for (std::size_t i = 0; i < bytes.size();) {
    if (bytes.substr(i, 2) == "\0\0"sv) {
      units += u'\0';
      i += 2;
    } else if (bytes[i] == '\0') {
      compressed = !compressed;
      ++i;
    } else if (compressed) {
      units += At(bytes, i++);
    } else if (i + 1 < bytes.size()) {
      units += Unit(bytes, i);
      i += 2;
    } else {
      throw Damaged("un testo finisce a metà di un carattere");
    }
  }
  return text::ToUtf8(units);
}

}  // namespace

std::string UnicodeText(std::string_view bytes) {
  // The mark of the compressed form stands first or nowhere: here the end of one text
  // and the beginning of another are taken for one.
  if (bytes.find("\xFF\xFE"sv, 1) != bytes.npos) {
    throw Damaged("un testo contiene l'inizio di un altro");
  }
  if (bytes.starts_with("\xFF\xFE")) {
    return Decompressed(bytes.substr(2));
  }
  if (bytes.size() % 2 != 0) {
    throw Damaged("un testo finisce a metà di un carattere");
  }
  std::u16string units(bytes.size() / 2, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i] = Unit(bytes, 2 * i);
  }
  return text::ToUtf8(units);
}

std::string CodePageText(std::string_view bytes, int code_page) {
  if (std::ranges::all_of(bytes, [](char c) { return c > 0; })) {
    return std::string(bytes);
  }
  std::optional<std::string> text = sys::FromCodePage(bytes, code_page);
  if (!text) {
    throw Damaged("la tabella dei caratteri " + std::to_string(code_page) + " è sconosciuta");
  }
  return *std::move(text);
}

std::string MoneyText(std::int64_t ten_thousandths) {
  auto size = static_cast<std::uint64_t>(ten_thousandths);
  if (ten_thousandths < 0) {
    size = -size;
  }
  std::string digits = std::to_string(size);
  digits.insert(0, 5 - std::min<std::size_t>(digits.size(), 5), '0');
  digits.insert(digits.size() - 4, 1, '.');
  if (ten_thousandths < 0) {
    digits.insert(0, 1, '-');
  }
  return digits;
}

std::string DateText(double days) {
  using namespace std::chrono;
  constexpr sys_days kFirst = year{100} / 1 / 1;
  constexpr sys_days kEnd = year{10000} / 1 / 1;
  constexpr sys_days kZero = year{1899} / 12 / 30;
  // Before day 0 only the whole part counts backwards: -1.25 is the day before it, at 6 o'clock.
  if (!(std::abs(days) < 1e7)) {
    return NumberText(days);
  }
  double whole = 0;
  const double part = std::abs(std::modf(days, &whole));
  const std::int64_t rounded = std::llround(part * static_cast<double>(kMillisecondsOfDay));
  const sys_time<milliseconds> moment =
      kZero + std::chrono::days(static_cast<int>(whole)) + milliseconds(rounded);
  const sys_days day = floor<std::chrono::days>(moment);
  if (day < kFirst || day >= kEnd) {
    return NumberText(days);
  }
  const year_month_day date(day);
  const hh_mm_ss time(moment - day);
  std::array<char, 40> out;
  int size = std::snprintf(
      out.data(), out.size(), "%04d-%02u-%02uT%02d:%02d:%02d", static_cast<int>(date.year()),
      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
      static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
      static_cast<int>(time.seconds().count()));
  if (const int parts = static_cast<int>(time.subseconds().count()); parts != 0) {
    size += std::snprintf(out.data() + size, out.size() - static_cast<std::size_t>(size), ".%03d",
                          parts);
  }
  return std::string(out.data(), static_cast<std::size_t>(size));
}

std::string DecimalText(std::string_view bytes, int scale) {
  if (bytes.size() != 17 || scale < 0 || scale > 28) {
    throw Damaged("un numero decimale non ha la sua forma");
  }
  // Four words, the highest first, each with its lowest byte first.
  std::array<std::uint32_t, 4> words = {};
  for (std::size_t i = 0; i < 16; ++i) {
    words[i / 4] |= static_cast<std::uint32_t>(At(bytes, 1 + i)) << (8 * (i % 4));
  }
  std::string digits;
  while (digits.size() <= static_cast<std::size_t>(scale) || words != decltype(words){}) {
    std::uint64_t rest = 0;
    for (std::uint32_t& word : words) {
      rest = (rest << 32) | word;
      word = static_cast<std::uint32_t>(rest / 10);
      rest %= 10;
    }
    digits += static_cast<char>('0' + rest);
  }
  if (scale > 0) {
    digits.insert(static_cast<std::size_t>(scale), 1, '.');
  }
  if ((At(bytes, 0) & 0x80) != 0) {
    digits += '-';
  }
  std::ranges::reverse(digits);
  return digits;
}

std::string IdentifierText(std::string_view bytes) {
  if (bytes.size() != 16) {
    throw Damaged("un identificatore non ha la sua lunghezza");
  }
  // The first three groups are numbers, with their lowest byte first.
  constexpr std::array<std::size_t, 16> kOrder = {3, 2, 1,  0,  5,  4,  7,  6,
                                                  8, 9, 10, 11, 12, 13, 14, 15};
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string out = "{";
  for (std::size_t i = 0; i < kOrder.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) {
      out += '-';
    }
    out += kDigits[At(bytes, kOrder[i]) >> 4];
    out += kDigits[At(bytes, kOrder[i]) & 15];
  }
  return out + '}';
}

std::string NumberText(double number) {
  std::array<char, 32> out;
  return std::string(out.data(), std::to_chars(out.data(), out.data() + out.size(), number).ptr);
}

}  // namespace archivio::jet
