// LibrAgg770: the file test and the key routines of the fields. A routine has no
// state of its own, so one serves any number of fields.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace LibrAgg770 {

// Whether the file opens for reading. False too for one whose permissions forbid it.
bool ESISTEFILE(std::u16string_view percorso);

// All that a key routine knows of a field: any control that has a text, a
// MaxLength and a SelStart will do.
class Campo {
 public:
  virtual ~Campo() = default;
  virtual std::u16string Text() const = 0;
  virtual void SetText(std::u16string_view testo) = 0;
  virtual int MaxLength() const = 0;
  virtual int SelStart() const = 0;
  virtual void SetSelStart(int posizione) = 0;
};

template <class T>
class CampoDi final : public Campo {
 public:
  explicit CampoDi(T& controllo) : controllo_(controllo) {}
  std::u16string Text() const override { return controllo_.Text(); }
  void SetText(std::u16string_view testo) override { controllo_.SetText(testo); }
  int MaxLength() const override { return controllo_.MaxLength(); }
  int SelStart() const override { return controllo_.SelStart(); }
  void SetSelStart(int posizione) override { controllo_.SetSelStart(posizione); }

 private:
  T& controllo_;
};

// Upper case of a key's character; a key without one is itself.
std::int16_t MAIUSCOLA(std::int16_t Tasto);

// Passes a key whose character stands in `Consentiti`, and Backspace; sets any
// other to 0. With `Maiuscolo` a to z become capitals. Returns the key as set.
std::int16_t FILTRACARATTERI(std::int16_t& Tasto, std::u16string_view Consentiti,
                             std::int16_t Maiuscolo);

// Editor of numbers, which grow leftwards from the field's right edge: the text is MaxLength wide,
// blanks in front. For a key that is taken it drops one of these, so that the box, inserting the
// key at the end, restores the width. Returns the key to act on, or 0. `Segno` and `Virgola` 1
// allow a sign, a decimal comma; the other two say how many digits the parts may have. Never reads
// the caret.
std::int16_t EDITANUMERO(Campo& campo, std::int16_t Tasto, std::int16_t Segno, std::int16_t Virgola,
                         std::int16_t CifreIntere, std::int16_t CifreDecimali);

// Editor of dates. A digit replaces the one at the caret, slashes are stepped
// over, Backspace empties the date; a digit that makes no date there, and any
// other key, beeps. Returns the field's text; the key itself is never to be acted on.
std::u16string EDITADATA(Campo& campo, std::int16_t Tasto);

}  // namespace LibrAgg770
