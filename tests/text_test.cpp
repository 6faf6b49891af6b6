// Texts: what they stand for, capitals and plain forms, and UTF-8.
#include "platform/text/text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "platform/text/conversion.h"

namespace {

using namespace std::literals;

std::u16string Plain(std::u16string_view s) {
  std::u16string plain;
  for (const char16_t c : s) text::AppendPlain(plain, c);
  return plain;
}

TEST(Conversion, NumbersAndDates) {
  const std::pair<const char16_t*, bool> numbers[] = {
      {u"12345678901", true}, {u"  007 ", true}, {u"-1", true},    {u"+1,5", true},
      {u"1.234,5", true},     {u",5", true},     {u"1.23", false}, {u"1234.567", false},
      {u"   ", false},        {u"12A", false},   {u"1 2", false},  {u"-", false},
      {u",", false},          {u"1,2,3", false}};
  for (const auto& [given, numeric] : numbers) {
    EXPECT_EQ(text::IsNumeric(given), numeric) << text::ToUtf8(given);
  }
  const std::pair<const char16_t*, bool> dates[] = {
      {u"29/02/1960", true},  {u"31/12/2999", true},   {u"31/04/2014", false},
      {u"01/13/2014", false}, {u"00/01/2014", false},  {u"1/1/2014", false},
      {u"01-01-2014", false}, {u"01/01/20145", false}, {u"0a/01/2014", false}};
  for (const auto& [given, date] : dates) {
    EXPECT_EQ(text::IsDate(given), date) << text::ToUtf8(given);
  }
  const std::u16string large(400, u'9');
  const double most = std::numeric_limits<double>::infinity();
  const std::pair<std::u16string, double> values[] = {
      {u"abc", 0}, {u"  12,5", 12}, {u"071", 71},  {u"-3x", -3},
      {u"+4", 4},  {u"--1", 0},     {large, most}, {u"-" + large + u".5", -most}};
  for (const auto& [given, value] : values) {
    EXPECT_EQ(text::Val(given), value) << text::ToUtf8(given);
  }
}

TEST(Text, Capitals) {
  const std::pair<const char16_t*, const char16_t*> cases[] = {
      {u"`az{@AZ[\x7F\x80", u"`AZ{@AZ[\x7F\x80"},
      {u"aàèìòùéçñšÿßΩ1", u"AÀÈÌÒÙÉÇÑŠŸßΩ1"},
      {u"ÞßàöøþÿĀāĂįİıĸĺ", u"ÞßÀÖØÞŸĀĀĂĮİIĸĹ"},  // about the ends of runs, steps of two
      {u"µǆǅάяᾳɐ", u"ΜǄǄΆЯᾼⱯ"},
      {u"｀ａｚ｛\xFFFF\xD83D\xDE00", u"｀ＡＺ｛\xFFFF\xD83D\xDE00"}};
  for (const auto& [given, capitals] : cases) EXPECT_EQ(text::Upper(given), capitals);
}

TEST(Text, PlainForms) {
  const std::pair<const char16_t*, const char16_t*> cases[] = {
      {u"Aàčşłßæ\u0300' Ω", u"AACSLSSAE' Ω"},
      {u"øđþðœẞĳǄŀı", u"ODTHDOESSIJDZLI"},
      {u"\x7F\x80\x9F\xA0´ʼ½\u02FF\u036FͰ", u"\x7F\x80\x9F '' 1/2\u02FFͰ"},
      {u"μьÿỿ\u1FFF\u2000’ａ", u"ΜЬYY\u1FFF\u2000’Ａ"}};
  for (const auto& [given, plain] : cases) EXPECT_EQ(Plain(given), plain);
}

TEST(Text, Utf8) {
  const std::pair<std::string_view, std::u16string_view> valid[] = {
      {"", u""},
      {"a\0\x7F"sv, u"a\0\x7F"sv},
      {"\xC2\x80", u"\x80"},
      {"\xC2\x80\xC3\xA0\xDF\xBF", u"\x80\xE0\x7FF"},
      {"\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF", u"\x800\xD7FF\xE000\xFFFF"},
      {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBFx", u"\xD800\xDC00\xDBFF\xDFFFx"},
      {"\xF0\x9F\x98\x81\xF3\xA0\x80\x81", u"\xD83D\xDE01\xDB40\xDC01"}};
  for (const auto& [bytes, units] : valid) {
    EXPECT_EQ(text::FromUtf8(bytes), units);
    EXPECT_EQ(text::ToUtf8(units), bytes);
    EXPECT_TRUE(text::IsUtf8(bytes)) << bytes;
  }
  // Lone, cut short, overlong, a surrogate, too large.
  const std::pair<std::string_view, std::u16string_view> damaged[] = {
      {"\x80", u"\xFFFD"},
      {"a\xBFz", u"a\xFFFDz"},
      {"\xC3\xA9"sv.substr(0, 1), u"\xFFFD"},
      {"\xC3z", u"\xFFFDz"},
      {"\xE2\x82", u"\xFFFD"},
      {"\xE2\x82z", u"\xFFFDz"},
      {"\xC1\xBF", u"\xFFFD"},
      {"\xE0\x9F\xBF", u"\xFFFD"},
      {"\xF0\x8F\xBF\xBF", u"\xFFFD"},
      {"\xED\xA0\x80\xED\xBF\xBF", u"\xFFFD\xFFFD"},
      {"\xF4\x90\x80\x80", u"\xFFFD"},
      {"\xF8\xFF", u"\xFFFD\xFFFD"}};
  for (const auto& [bytes, units] : damaged) {
    EXPECT_EQ(text::FromUtf8(bytes), units);
    EXPECT_FALSE(text::IsUtf8(bytes));
  }
  EXPECT_EQ(text::ToUtf8(u"\xD83D\xDE01"sv.substr(0, 1)), "\xEF\xBF\xBD");
  for (const auto* half : {u"\xD800", u"\xDBFF", u"\xDC00", u"\xDFFF"}) {
    EXPECT_EQ(text::ToUtf8(half + u"x"s), "\xEF\xBF\xBDx");
  }
}

TEST(Text, Parts) {
  EXPECT_EQ(text::Trim(u"  a b "), u"a b");
  EXPECT_EQ(text::Trim(u"  \t "), u"\t");
  EXPECT_EQ(text::Trim(u"   "), u"");
  EXPECT_EQ(text::Fit(u"ab", 3) + text::Fit(u"abcd", 3), u"ab abc");
  EXPECT_EQ(text::Mid(u"abc", 2), u"bc");
  EXPECT_EQ(text::Mid(u"abc", 3, 5), u"c");
  EXPECT_EQ(text::Mid(u"abc", 4), u"");
  EXPECT_EQ(text::Mid(u"abc", 5), u"");
  EXPECT_EQ(text::Decimal(-120), u"-120");
  EXPECT_TRUE(std::ranges::all_of(u"\0\x1F\x7F\x9F\x2028\x2029"sv, text::IsControl));
  EXPECT_TRUE(std::ranges::none_of(u" ~\xA0\x2027\x202A"sv, text::IsControl));
}

}  // namespace
