#include "platform/text/conversion.h"

#include <charconv>
#include <chrono>
#include <limits>
#include <string>
#include <system_error>

#include "platform/text/text.h"

namespace text {

namespace {

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

}  // namespace

double Val(std::u16string_view s) {
  s = TrimLeft(s);
  const bool negative = s.starts_with(u'-');
  if (negative || s.starts_with(u'+')) {
    s.remove_prefix(1);
  }
  std::string number;
  for (const char16_t c : s) {
    if (!IsDigit(c) && c != u'.') {
      break;
    }
    number.push_back(static_cast<char>(c));
  }
  double value = 0;
  const auto read = std::from_chars(number.data(), number.data() + number.size(), value,
                                    std::chars_format::fixed);
  if (read.ec == std::errc::result_out_of_range &&
      number.find_first_of("123456789") < number.find('.')) {
    value = std::numeric_limits<double>::infinity();
  }
  return negative ? -value : value;
}

bool IsNumeric(std::u16string_view s) {
  s = Trim(s);
  if (s.starts_with(u'+') || s.starts_with(u'-')) {
    s.remove_prefix(1);
  }
  const std::u16string_view whole = s.substr(0, s.find(u','));
  std::u16string_view decimals;
  if (whole.size() < s.size()) {
    decimals = s.substr(whole.size() + 1);
  }
  std::size_t digits = 0;
  std::size_t run = 0;  // digits since the last point
  bool grouped = false;
  for (const char16_t c : whole) {
    if (IsDigit(c)) {
      ++digits, ++run;
    } else if (c == u'.' && run > 0 && run <= 3 && (!grouped || run == 3)) {
      grouped = true;
      run = 0;
    } else {
      return false;
    }
  }
  if (grouped && run != 3) {
    return false;
  }
  for (const char16_t c : decimals) {
    if (!IsDigit(c)) {
      return false;
    }
    ++digits;
  }
  return digits > 0;
}

bool IsDate(std::u16string_view s) {
  if (s.size() != 10 || s[2] != u'/' || s[5] != u'/') {
    return false;
  }
  int number[3] = {0, 0, 0};  // day, month, year
  for (std::size_t i = 0, part = 0; i < s.size(); ++i) {
    if (i == 2 || i == 5) {
      ++part;
    } else if (IsDigit(s[i])) {
      number[part] = number[part] * 10 + (s[i] - u'0');
    } else {
      return false;
    }
  }
  using namespace std::chrono;
  return year_month_day(year(number[2]), month(static_cast<unsigned>(number[1])),
                        day(static_cast<unsigned>(number[0])))
      .ok();
}

}  // namespace text
