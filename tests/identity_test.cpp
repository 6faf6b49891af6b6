#include "identity/identity.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace {

const std::u16string kAlphabet = u"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

// 0 to 9 for digits, the place in the alphabet for letters.
int Ordinal(char16_t c) { return c <= u'9' ? c - u'0' : c - u'A'; }

// The check letter worked out from the published rule in another form: the
// letters in the order of their odd values.
char16_t CheckLetter(const std::u16string& code) {
  const std::u16string by_odd_value = u"BAKPLCQDREVOSFTGUHMINJWZYX";
  std::size_t sum = 0;
  for (std::size_t i = 0; i < 15; ++i) {
    const char16_t letter = static_cast<char16_t>(u'A' + Ordinal(code[i]));
    sum += i % 2 == 0 ? by_odd_value.find(letter) : static_cast<std::size_t>(letter - u'A');
  }
  return static_cast<char16_t>(u'A' + sum % 26);
}

// The published rule for VAT numbers: all eleven digits, every second doubled
// and reduced by 9 above 9, sum up to a multiple of 10.
bool LuhnHolds(const std::u16string& number) {
  int sum = 0;
  for (std::size_t i = 0; i < number.size(); ++i) {
    const int digit = number[i] - u'0';
    sum += i % 2 == 0 ? digit : digit * 2 - (digit > 4 ? 9 : 0);
  }
  return sum % 10 == 0;
}

class Numbers {
 public:
  std::size_t Below(std::size_t range) {
    state_ = state_ * 6364136223846793005 + 1442695040888963407;
    return static_cast<std::size_t>(state_ >> 33) % range;
  }

 private:
  unsigned long long state_ = 2015;
};

TEST(FiscalCode, KnownCodes) {
  for (const char16_t* good : {u"RSSMRA85T10A562S", u"MRTMTT25D09F205Z", u"MLLSNT82P65Z404U",
                               u"TTTFFF60T45F205J", u"000000000000000I"}) {
    EXPECT_EQ(CONTROLLOCF(good), 0) << testing::PrintToString(good);
  }
  for (const char16_t* wrong :
       {u"", u"RSSMRA85T10A562", u"RSSMRA85T10A562SS", u"RSSMRA85T10A562S ", u" RSSMRA85T10A562S",
        u"rssmra85t10a562s", u"TTTFFF60T45F205T", u"12345678903     "}) {
    EXPECT_EQ(CONTROLLOCF(wrong), 1) << testing::PrintToString(wrong);
  }
}

// In random codes every letter but the one of the rule is wrong, and so is
// every other character at any position, unless it is its partner: the digit
// and the letter of one value.
TEST(FiscalCode, FindsEverySingleChange) {
  Numbers numbers;
  for (int round = 0; round < 100; ++round) {
    std::u16string code;
    for (int i = 0; i < 15; ++i) {
      code.push_back(kAlphabet[numbers.Below(kAlphabet.size())]);
    }
    code.push_back(CheckLetter(code));
    for (std::size_t position = 0; position < 16; ++position) {
      for (char16_t c = 0; c < 0x180; ++c) {
        std::u16string changed = code;
        changed[position] = c;
        const bool known = kAlphabet.find(c) != std::u16string::npos;
        const bool good =
            position == 15 ? c == code[15] : known && Ordinal(c) == Ordinal(code[position]);
        ASSERT_EQ(CONTROLLOCF(changed), good ? 0 : 1)
            << testing::PrintToString(changed) << " from " << testing::PrintToString(code);
      }
    }
  }
}

// Short texts read as if zeros followed, and nothing behind the eleventh counts.
TEST(VatNumber, KnownNumbers) {
  for (const char16_t* good :
       {u"12345678903", u"00743110157", u"00000000000", u"90000000001", u"12345678903     ",
        u"123456789039999", u"", u"95", u"AAAAAAAAAAA"}) {
    EXPECT_EQ(CONTROLLOPIVA(good), 0) << testing::PrintToString(good);
  }
  for (const char16_t* wrong : {u"12345678904", u"12345678", u"55", u" 12345678903", u"1234567890A",
                                u"1234567890", u"A2B45678C0D"}) {
    EXPECT_EQ(CONTROLLOPIVA(wrong), 1) << testing::PrintToString(wrong);
  }
}

TEST(VatNumber, AgreesWithThePublishedRule) {
  Numbers numbers;
  for (int round = 0; round < 20000; ++round) {
    std::u16string number;
    for (int i = 0; i < 11; ++i) {
      number.push_back(kAlphabet[numbers.Below(10)]);
    }
    ASSERT_EQ(CONTROLLOPIVA(number), LuhnHolds(number) ? 0 : 1) << testing::PrintToString(number);
  }
}

// What is no digit, or missing, counts as 0, whatever its code.
TEST(Identity, AnyText) {
  Numbers numbers;
  for (int round = 0; round < 20000; ++round) {
    std::u16string text(numbers.Below(40), u'0');
    std::u16string zeros(11, u'0');
    for (std::size_t i = 0; i < text.size(); ++i) {
      const std::size_t code = numbers.Below(2) == 0 ? numbers.Below(0x80) : numbers.Below(0x10000);
      text[i] = static_cast<char16_t>(code);
      if (i < 11 && text[i] >= u'0' && text[i] <= u'9') {
        zeros[i] = text[i];
      }
    }
    ASSERT_EQ(CONTROLLOPIVA(text), LuhnHolds(zeros) ? 0 : 1);
    ASSERT_EQ(CONTROLLOCF(text), 1);
  }
  const std::u16string endless(5'000'000, u'A');
  EXPECT_EQ(CONTROLLOCF(endless), 1);
  EXPECT_EQ(CONTROLLOPIVA(endless), 0);
}

TEST(WholeNumberText, RoundsAndKeepsTheSign) {
  const struct {
    double value;
    const char16_t* text;
  } cases[] = {{18, u"18"},
               {7, u"7"},
               {0, u"0"},
               {2.95, u"3"},
               {2.85, u"2"},
               {-2.95, u"-3"},
               {-1, u"-1"},
               {-0.5, u"0"},
               {-0.0, u"0"},
               {90, u"90"},
               {-10.5, u"-10"},
               {1e15, u"1000000000000000"},
               {1e22, u"10000000000000000000000"}};
  for (const auto& test : cases) {
    EXPECT_EQ(INTEROINTESTO(test.value), test.text) << test.value;
  }
  EXPECT_EQ(INTEROINTESTO(std::numeric_limits<double>::lowest()).size(), 310U);
}

}  // namespace
