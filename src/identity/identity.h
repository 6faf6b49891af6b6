// Formal checks of the two kinds of identity code, and what stands in one. Pure functions: no
// control, no table, no message; they take any text and never fail.
#pragma once

#include <optional>
#include <string>
#include <string_view>

// 0 when `codice` has 16 characters, the first fifteen digits or capital
// letters, and the 16th is the check letter that follows from them; otherwise
// 1. Nothing else of a fiscal code is looked at.
int CONTROLLOCF(std::u16string_view codice);

// The person of a fiscal code.
struct PersonaCF {
  std::u16string sesso;    // M or F
  std::u16string nascita;  // DD/MM/YYYY
  std::u16string luogo;    // register code of the municipality, of a state with Z: F205, Z404
};

// Nothing where the code isn't formally good (CONTROLLOCF), hasn't the form of a person's, or has
// a date that isn't in the calendar: such a code is a slip or an invention, and where one place of
// it is wrong no other is to be trusted. Digits may be replaced by the letters that tell homonyms
// apart. Of the two digits of the year the person is 14 or older at the end of 2014, the return's
// year, and as young as that allows.
std::optional<PersonaCF> LEGGICF(std::u16string_view codice);

// 0 when the digit at position 11 of `codice` is the check digit of the first
// ten, otherwise 1. A character that is no digit, and a missing one, counts as
// 0; what follows position 11 isn't read. Length and kind of the text are the
// caller's business.
int CONTROLLOPIVA(std::u16string_view codice);

// Decimal text of the whole number nearest to where `valore` was meant to be:
// 0.1 away from zero, then cut towards it. No blank in front, a minus for a
// negative result.
std::u16string INTEROINTESTO(double valore);
