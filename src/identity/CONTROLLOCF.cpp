#include <cstddef>
#include <optional>

#include "identity/identity.h"

namespace {

constexpr std::size_t kLength = 16;

// Groups of five: a character of the code, its value in an even position, its
// value in an odd one (positions count from 1).
constexpr std::u16string_view TabellaValoriCF =
    u"00001101002020530307404095051360615707178081990921"
    u"A0001B0100C0205D0307E0409F0513G0615H0717I0819J0921"
    u"K1002L1104M1218N1320O1411P1503Q1606R1708S1812T1914"
    u"U2016V2110W2222X2325Y2424Z2523";

// Groups of three: a remainder and its check letter.
constexpr std::u16string_view TabellaRestiCF =
    u"00A01B02C03D04E05F06G07H08I09J10K11L12M13N14O15P16Q"
    u"17R18S19T20U21V22W23X24Y25Z";

static_assert(TabellaValoriCF.size() == 36 * 5 && TabellaRestiCF.size() == 26 * 3);

int TwoDigits(std::u16string_view table, std::size_t at) {
  return (table[at] - u'0') * 10 + (table[at + 1] - u'0');
}

// Nothing for a character that no code may contain. `offset` is 0 for the
// value in an even position, 2 for the one in an odd position.
std::optional<int> CharacterValue(char16_t character, std::size_t offset) {
  for (std::size_t group = 0; group < TabellaValoriCF.size(); group += 5) {
    if (TabellaValoriCF[group] == character) {
      return TwoDigits(TabellaValoriCF, group + offset + 1);
    }
  }
  return std::nullopt;
}

char16_t CheckLetter(int remainder) {
  std::size_t group = 0;
  while (TwoDigits(TabellaRestiCF, group) != remainder) {
    group += 3;
  }
  return TabellaRestiCF[group + 2];
}

}  // namespace

int CONTROLLOCF(std::u16string_view codice) {
  if (codice.size() != kLength) {
    return 1;
  }
  int sum = 0;
  std::size_t offset = 2;
  for (const char16_t character : codice.substr(0, kLength - 1)) {
    const std::optional<int> value = CharacterValue(character, offset);
    if (!value) {
      return 1;
    }
    sum += *value;
    offset = 2 - offset;
  }
  return codice.back() == CheckLetter(sum % 26) ? 0 : 1;
}
