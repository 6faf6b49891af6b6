// The catalogue against figures of its text that any slip in a letter, an
// accent or a blank at the end of a line would break.
#include "reference/eventi.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

namespace {

using ANAGPARC::kEventiEccezionali;

TEST(Eventi, FirstLinesAndContinuations) {
  std::string codes;  // of each line, "." for one that goes on
  for (const std::u16string_view line : kEventiEccezionali) {
    if (line.starts_with(u"    ")) {
      EXPECT_NE(line[4], u' ');
      codes += '.';
    } else {
      EXPECT_EQ(line.substr(1, 3), u" - ");
      codes += static_cast<char>(line[0]);
    }
  }
  EXPECT_EQ(codes,
            "1..."
            "2..........."
            "3.........."
            "4..........."
            "5........."
            "6......."
            "7......."
            "8");
}

TEST(Eventi, Figures) {
  std::size_t characters = 0, shortest = 1000, longest = 0;
  std::u16string beyondAscii;
  std::uint64_t sum = 0xcbf29ce484222325;  // FNV-1a of the UTF-16 units, low byte first
  const auto add = [&sum](char16_t unit) {
    for (const unsigned byte : {unit & 0xFFU, static_cast<unsigned>(unit) >> 8}) {
      sum = (sum ^ byte) * 0x100000001b3;
    }
  };
  for (const std::u16string_view line : kEventiEccezionali) {
    characters += line.size();
    shortest = std::min(shortest, line.size());
    longest = std::max(longest, line.size());
    for (const char16_t unit : line) {
      add(unit);
      if (unit > 126) {
        beyondAscii += unit;
      }
    }
    add(u'\r');
  }
  EXPECT_EQ(characters, 4897U);
  EXPECT_EQ(shortest, 17U);
  EXPECT_EQ(longest, 85U);
  EXPECT_EQ(std::ranges::count_if(kEventiEccezionali, [](auto l) { return l.ends_with(u' '); }),
            29);
  EXPECT_EQ(std::ranges::count(beyondAscii, u'’'), 27);
  EXPECT_EQ(std::ranges::count(beyondAscii, u'à'), 7);
  EXPECT_EQ(std::ranges::count(beyondAscii, u'è'), 6);
  EXPECT_EQ(std::ranges::count(beyondAscii, u'°'), 2);
  EXPECT_EQ(beyondAscii.size(), 42U);
  EXPECT_EQ(sum, 0x6610f5d32b01e09cU);
}

}  // namespace
