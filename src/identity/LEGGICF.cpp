#include <cstddef>
#include <utility>

#include "identity/identity.h"
#include "platform/text/conversion.h"
#include "platform/text/text.h"

namespace {

// A is a letter, 0 a digit or the letter in its place; the sixteenth is the check letter.
constexpr std::u16string_view kForm = u"AAAAAA00A00A000A";
constexpr std::u16string_view kDigits = u"0123456789";
constexpr std::u16string_view kReplacements = u"LMNPQRSTUV";  // of the digits, in their order
constexpr std::u16string_view kMonths = u"ABCDEHLMPRST";
constexpr int kWomen = 40;       // added to the day
constexpr int kYoungest = 2000;  // year of birth: 14 years old on 31/12/2014
constexpr std::size_t kYear = 6, kMonth = 8, kDay = 9, kPlace = 11;

bool IsLetter(char16_t c) { return c >= u'A' && c <= u'Z'; }

// The code with its digits put back; empty where its form isn't a person's.
std::u16string WithDigits(std::u16string_view codice) {
  std::u16string code(codice);
  for (std::size_t i = 0; i < kForm.size(); ++i) {
    if (kForm[i] == u'0') {
      if (const std::size_t digit = kReplacements.find(code[i]); digit != kReplacements.npos) {
        code[i] = kDigits[digit];
      }
    }
    if (IsLetter(code[i]) != (kForm[i] == u'A')) {
      return {};
    }
  }
  return code;
}

int TwoDigits(std::u16string_view code, std::size_t at) {
  return (code[at] - u'0') * 10 + (code[at + 1] - u'0');
}

}  // namespace

std::optional<PersonaCF> LEGGICF(std::u16string_view codice) {
  // Its characters are digits and capitals from here on.
  if (CONTROLLOCF(codice) != 0) {
    return std::nullopt;
  }
  const std::u16string code = WithDigits(codice);
  if (code.empty()) {
    return std::nullopt;
  }
  // The last day of the year decides, so that day and month don't matter.
  int year = kYoungest / 100 * 100 + TwoDigits(code, kYear);
  if (year > kYoungest) {
    year -= 100;
  }
  int day = TwoDigits(code, kDay);
  const bool woman = day > kWomen;
  if (woman) {
    day -= kWomen;
  }
  // A letter that is no month's comes out as month 0.
  const auto month = static_cast<int>(kMonths.find(code[kMonth]) + 1);
  std::u16string date = text::Decimal(100 + day).substr(1) + u'/' +
                        text::Decimal(100 + month).substr(1) + u'/' + text::Decimal(year);
  if (!text::IsDate(date)) {
    return std::nullopt;
  }
  return PersonaCF{woman ? u"F" : u"M", std::move(date), code.substr(kPlace, 4)};
}
