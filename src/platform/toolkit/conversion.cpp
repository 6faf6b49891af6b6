#include "platform/toolkit/conversion.h"

#include <charconv>
#include <chrono>
#include <string>

#include "platform/text/text.h"

namespace toolkit {

namespace {

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

}  // namespace

double Val(std::u16string_view text) {
  text = text::TrimLeft(text);
  std::string number;
  if (text.starts_with(u'+') || text.starts_with(u'-')) {
    number = text[0] == u'-' ? "-" : "";
    text.remove_prefix(1);
  }
  for (const char16_t c : text) {
    if (!IsDigit(c) && c != u'.') {
      break;
    }
    number.push_back(static_cast<char>(c));
  }
  double value = 0;
  std::from_chars(number.data(), number.data() + number.size(), value, std::chars_format::fixed);
  return value;
}

bool IsNumeric(std::u16string_view text) {
  text = text::Trim(text);
  if (text.starts_with(u'+') || text.starts_with(u'-')) {
    text.remove_prefix(1);
  }
  const std::u16string_view whole = text.substr(0, text.find(u','));
  const std::u16string_view decimals =
      whole.size() < text.size() ? text.substr(whole.size() + 1) : std::u16string_view();
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

bool IsDate(std::u16string_view text) {
  if (text.size() != 10 || text[2] != u'/' || text[5] != u'/') {
    return false;
  }
  int number[3] = {0, 0, 0};  // day, month, year
  for (std::size_t i = 0, part = 0; i < text.size(); ++i) {
    if (i == 2 || i == 5) {
      ++part;
    } else if (IsDigit(text[i])) {
      number[part] = number[part] * 10 + (text[i] - u'0');
    } else {
      return false;
    }
  }
  using namespace std::chrono;
  return year_month_day(year(number[2]), month(static_cast<unsigned>(number[1])),
                        day(static_cast<unsigned>(number[0])))
      .ok();
}

}  // namespace toolkit
