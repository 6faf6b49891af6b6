// Codes, and the catalogue of exceptional events.
#include "identity/identity.h"

#include <gtest/gtest.h>

#include <string>

#include "reference/eventi.h"

namespace {

TEST(Identity, KnownCodes) {
  for (const char16_t* good : {u"RSSMRA85T10A562S", u"MRTMTT25D09F205Z", u"MLLSNT82P65Z404U"}) {
    EXPECT_EQ(CONTROLLOCF(good), 0) << testing::PrintToString(good);
  }
  for (const char16_t* wrong : {u"RSSMRA85T10A562", u" RSSMRA85T10A562S", u"TTTFFF60T45F205T"}) {
    EXPECT_EQ(CONTROLLOCF(wrong), 1) << testing::PrintToString(wrong);
  }
  // Short numbers read as if zeros followed, and nothing after the eleventh counts.
  for (const char16_t* good : {u"12345678903", u"90000000001", u"123456789039999", u"95"}) {
    EXPECT_EQ(CONTROLLOPIVA(good), 0) << testing::PrintToString(good);
  }
  for (const char16_t* wrong : {u"12345678904", u"55", u" 12345678903", u"A2B45678C0D"}) {
    EXPECT_EQ(CONTROLLOPIVA(wrong), 1) << testing::PrintToString(wrong);
  }
}

// In any place, each character changes the check letter as the published table
// has it, here in the order of the values in odd places.
TEST(Identity, EveryCharacterInEveryPlaceOfAFiscalCode) {
  const std::u16string by_odd_value = u"BAKPLCQDREVOSFTGUHMINJWZYX";
  for (std::size_t place = 0; place < 15; ++place) {
    for (char16_t c = 0; c < 0x180; ++c) {
      const bool digit = c >= u'0' && c <= u'9', letter = c >= u'A' && c <= u'Z';
      const std::size_t ordinal = digit ? c - u'0' : c - u'A';
      // The other places' zeros: 1 in each of the seven or eight odd ones.
      const std::size_t odd = by_odd_value.find(static_cast<char16_t>(u'A' + ordinal));
      const std::size_t sum = place % 2 == 0 ? 7 + odd : 8 + ordinal;
      for (char16_t check = u'A'; check <= u'Z'; ++check) {
        std::u16string code(15, u'0');
        code[place] = c;
        const bool good = (digit || letter) && static_cast<std::size_t>(check - u'A') == sum % 26;
        ASSERT_EQ(CONTROLLOCF(code + check), good ? 0 : 1) << testing::PrintToString(code + check);
      }
    }
  }
}

TEST(Identity, WhatAFiscalCodeSaysOfItsPerson) {
  const char16_t* const cases[][2] = {
      {u"RSSMRA85T10A562S", u"M 10/12/1985 A562"},
      {u"RSSMRA60B69F205T", u"F 29/02/1960 F205"},
      {u"MLLSNT82P65Z404U", u"F 25/09/1982 Z404"},
      // homonyms: all seven digits replaced, the last one alone, and a letter that replaces none
      {u"RSSMRAURTMLARSNL", u"M 10/12/1985 A562"},
      {u"RSSMRA85T10A56NH", u"M 10/12/1985 A562"},
      {u"RSSMRA8WA01F205T", u""},
      // 14 years old on 31/12/2014, and 13
      {u"RSSMRA00T31F205V", u"M 31/12/2000 F205"},
      {u"RSSMRA01A01F205G", u"M 01/01/1901 F205"},
      {u"RSSMRA14T31F205Y", u"M 31/12/1914 F205"},
      // days and months that aren't there
      {u"RSSMRA00B29F205B", u"M 29/02/2000 F205"},
      {u"RSSMRA01B29F205C", u""},
      {u"RSSMRA80A71F205E", u"F 31/01/1980 F205"},
      {u"RSSMRA80A72F205J", u""},
      {u"RSSMRA80A32F205F", u""},
      {u"RSSMRA80A40F205C", u""},
      {u"RSSMRA80A00F205Y", u""},
      {u"RSSMRA80F01F205J", u""},
      // a digit for a letter of the name, the month, the place; a wrong check letter; a number
      {u"RSSM0A80A01F205Q", u""},
      {u"RSSMRA80101F205W", u""},
      {u"RSSMRA80A015205X", u""},
      {u"RSSMRA85T10A562T", u""},
      {u"12345678903", u""}};
  for (const auto& [code, said] : cases) {
    const std::optional<PersonaCF> person = LEGGICF(code);
    EXPECT_EQ(person ? person->sesso + u' ' + person->nascita + u' ' + person->luogo : u"", said)
        << testing::PrintToString(code);
  }
}

TEST(Identity, WholeNumberTextRoundsAndKeepsTheSign) {
  const std::pair<double, const char16_t*> cases[] = {
      {18, u"18"},  {2.95, u"3"}, {2.85, u"2"}, {-2.95, u"-3"},
      {-0.0, u"0"}, {-0.5, u"0"}, {-1, u"-1"},  {1e22, u"10000000000000000000000"}};
  for (const auto& [value, text] : cases) {
    EXPECT_EQ(INTEROINTESTO(value), text) << value;
  }
}

// Any slip in a letter, an accent or a blank at the end of a line breaks this.
TEST(Events, ChecksumOfTheCatalogue) {
  std::uint64_t sum = 0xcbf29ce484222325;  // FNV-1a of the UTF-16 units, low byte first
  const auto add = [&sum](unsigned unit) {
    for (const unsigned byte : {unit & 0xFF, unit >> 8}) {
      sum = (sum ^ byte) * 0x100000001b3;
    }
  };
  for (const std::u16string_view line : regole::kEventiEccezionali) {
    for (const char16_t unit : line) {
      add(unit);
    }
    add(u'\r');
  }
  EXPECT_EQ(sum, 0x6610f5d32b01e09cU);
}

}  // namespace
