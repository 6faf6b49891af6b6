// The checks of codes, and the tests that say which one a text goes to.
#include <cmath>

#include "frame/MOD770BAS.h"
#include "fuzz.h"
#include "identity/identity.h"
#include "platform/text/conversion.h"
#include "platform/text/text.h"

namespace {

// The check digit's rule in plain numbers.
bool GoodDigits(std::u16string_view code) {
  int sum = 0;
  for (std::size_t i = 0; i < 11; ++i) {
    const char16_t c = i < code.size() ? code[i] : u'0';
    const int digit = c >= u'0' && c <= u'9' ? c - u'0' : 0;
    const int doubled = digit * 2 > 9 ? digit * 2 - 9 : digit * 2;
    sum += i % 2 == 1 ? doubled : digit;
  }
  return sum % 10 == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::u16string code = Input(data, size).Text();

  Must(CONTROLLOPIVA(code) == (GoodDigits(code) ? 0 : 1), "VAT number");
  const int good = CONTROLLOCF(code);
  Must(good == 0 || good == 1, "fiscal code");
  if (code.size() == 16) {
    int letters = 0;
    for (char16_t c = u'A'; c <= u'Z'; ++c) {
      letters += 1 - CONTROLLOCF(code.substr(0, 15) + c);
    }
    Must(letters == 1 || (letters == 0 && good == 1), "check letters of one code");
  } else {
    Must(good == 1, "a fiscal code of another length");
  }

  const bool numeric = text::IsNumeric(code);
  const std::u16string_view trimmed = text::Trim(code);
  Must(!numeric || trimmed.find_first_not_of(u"0123456789.,+-") == trimmed.npos, "number");
  Must(numeric || trimmed.empty() || trimmed.find_first_not_of(u"0123456789") != trimmed.npos,
       "digits are no number");
  Must(!text::IsDate(code) || code.size() == 10, "date");
  Must(!std::isnan(text::Val(code)), "value");

  const std::u16string key = MOD770BAS::CHIAVECODICE(code);
  Must(key.size() == 16 && !(key.starts_with(u' ') && key.find_first_not_of(u' ') != key.npos) &&
           MOD770BAS::CHIAVECODICE(key) == key,
       "key form");
  const std::string bytes = text::ToUtf8(code);
  Must(text::ToUtf8(text::FromUtf8(bytes)) == bytes, "UTF-8");
  return 0;
}
