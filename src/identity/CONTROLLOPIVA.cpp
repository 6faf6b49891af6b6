#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>

#include "identity/identity.h"

namespace {

double DigitValue(std::u16string_view codice, std::size_t position) {
  if (position > codice.size()) {
    return 0;
  }
  const char16_t character = codice[position - 1];
  if (character < u'0' || character > u'9') {
    return 0;
  }
  return character - u'0';
}

}  // namespace

std::u16string INTEROINTESTO(double valore) {
  const double whole = std::trunc(valore >= 0 ? valore + 0.1 : valore - 0.1);
  // Room for every digit of the largest double. Adding 0.0 makes a negative
  // zero a plain one.
  std::array<char, 320> buffer;
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), whole + 0.0,
                                    std::chars_format::fixed, 0);
  return std::u16string(buffer.data(), result.ptr);
}

int CONTROLLOPIVA(std::u16string_view codice) {
  double sum = 0;
  for (std::size_t position = 1; position < 11; position += 2) {
    double doubled = 2 * DigitValue(codice, position + 1);
    if (const std::u16string digits = INTEROINTESTO(doubled); digits.size() == 2) {
      doubled = DigitValue(digits, 2) + DigitValue(digits, 1);
    }
    sum += DigitValue(codice, position) + doubled;
  }
  double check = sum;
  if (const std::u16string digits = INTEROINTESTO(sum); digits.size() == 2) {
    check = DigitValue(digits, 2);
  }
  check = 10 - check;
  // Only the 10 itself has two digits: it means the check digit 0.
  if (const std::u16string digits = INTEROINTESTO(check); digits.size() == 2) {
    check = DigitValue(digits, 2);
  }
  return DigitValue(codice, 11) == check ? 0 : 1;
}
