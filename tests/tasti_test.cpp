// The key routines of the fields, on a box that does with the key handed back
// what the toolkit's does.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

#include "platform/text/text.h"
#include "platform/toolkit/application.h"
#include "record/LibrAgg770.h"

namespace {

using namespace LibrAgg770;
using text::ToUtf8;

class Casella final : public Campo {
 public:
  explicit Casella(int maxLength, std::u16string_view testo = {}, bool bloccata = false)
      : testo_(testo), maxLength_(maxLength), bloccata_(bloccata) {}
  std::u16string Text() const override { return testo_; }
  void SetText(std::u16string_view testo) override {
    if (testo_ != testo) {
      testo_ = testo;
      sel_ = 0;
    }
  }
  int MaxLength() const override { return maxLength_; }
  int SelStart() const override { return sel_; }
  void SetSelStart(int posizione) override {
    sel_ = std::min(posizione, static_cast<int>(testo_.size()));
  }
  void Agisci(std::int16_t tasto) {
    if (tasto == 0 || bloccata_) {
      return;
    }
    if (tasto == 8) {
      if (sel_ > 0) testo_.erase(static_cast<std::size_t>(--sel_), 1);
    } else if (static_cast<int>(testo_.size()) < maxLength_) {
      testo_.insert(static_cast<std::size_t>(sel_++), 1, static_cast<char16_t>(tasto));
    }
  }

 private:
  std::u16string testo_;
  int maxLength_, sel_ = 0;
  bool bloccata_;
};

// Blanks as dots, so that a failure can be read.
std::string Punti(std::u16string s) {
  std::replace(s.begin(), s.end(), u' ', u'.');
  return ToUtf8(s);
}

TEST(FiltraCaratteri, PassesWhatTheSetHolds) {
  static const struct {
    std::int16_t tasto;
    const char16_t* consentiti;
    std::int16_t maiuscolo, esito;
  } kCasi[] = {
      // clang-format off
      {'m', u"MmFf ", 1, 'M'}, {'F', u"MmFf ", 1, 'F'}, {' ', u"MmFf ", 1, ' '},
      {'x', u"MmFf ", 1, 0}, {13, u"MmFf ", 1, 0}, {22, u"MmFf ", 1, 0}, {8, u"MmFf ", 1, 8},
      {8, u"", 0, 8}, {'m', u"M", 1, 0}, {'m', u"m", 0, 'm'}, {'z', u"az", 1, 'Z'},
      {'a', u"az", 1, 'A'}, {0xE0, u"à", 1, 0xE0}, {'{', u"{`", 1, '{'}, {'`', u"{`", 1, '`'},
      {'5', u"0123456789", 1, '5'},
      // clang-format on
  };
  for (const auto& c : kCasi) {
    std::int16_t tasto = c.tasto;
    EXPECT_EQ(FILTRACARATTERI(tasto, c.consentiti, c.maiuscolo), c.esito) << c.tasto;
    EXPECT_EQ(tasto, c.esito) << c.tasto;  // the argument changes as well
  }
}

struct Forma {
  int lunga;
  std::int16_t segno, virgola, intere, decimali;
};
constexpr Forma kIntero{3, 0, 0, 3, 0}, kDecimale{9, 0, 1, 6, 2}, kConSegno{10, 1, 1, 6, 2},
    kDecimaleSenzaResto{6, 0, 1, 4, 0}, kUnaCifra{3, 0, 0, 1, 0};

// Keys one after another, < for Backspace; the text after each of them, blanks
// as dots; and the keys handed back, ! for none.
struct CasoNumero {
  const Forma& forma;
  const char16_t *prima, *tasti;
  const char* dopo;
  std::u16string_view resi = {};
};

TEST(EditaNumero, MovesTheTextToTheLeft) {
  static const CasoNumero kCasi[] = {
      // clang-format off
      {kIntero, u"", u"5712<4", "..5 .57 571 571 ..0 ..4", u"571204"},
      {kIntero, u"571", u"<<", "..0 ..0", u"00"},
      {kIntero, u"", u"0079", "..0 ..0 ..7 .79"},
      // aligned by the editor, wherever it stood
      {kIntero, u"57", u"1", "571"},
      {kIntero, u"057", u"1", "057"},
      {kIntero, u"05", u"1", "051"},
      {kIntero, u" 00", u"7", "..7"},
      // the sign and the comma that aren't allowed
      {kIntero, u"12", u",.+-x\r", "12 12 12 12 12 12", u"!!!!!!"},
      {kDecimale, u"", u"12,578", "........1 .......12 ......12, .....12,5 ....12,57 ....12,57", u"12,57!"},
      {kDecimale, u"", u"1.,.5", "........1 .......1, .......1, .......1, ......1,5", u"1,!!5"},
      {kDecimale, u"", u",507", "........, .......,5 ......,50 ......,50", u",50!"},
      {kDecimale, u"", u",007", "........, .......,0 ......,00 ........7"},
      {kDecimale, u"", u"0,5", "........0 ........, .......,5"},
      {kDecimale, u"   123456", u"7,123", "...123456 ..123456, .123456,1 123456,12 123456,12", u"7,123"},
      {kDecimale, u"123456,12", u"<3", "........0 ........3"},
      {kDecimale, u"12,57", u"8", "12,57", u"!"},
      {kDecimaleSenzaResto, u"", u"12,3", ".....1 ....12 ...12, ...12,", u"12,!"},
      {kConSegno, u"", u"-5-+", ".........- ........-5 ........-5 ........-5", u"-5!!"},
      {kConSegno, u"", u"5-+", ".........5 .........5 .........5", u"5-+"},
      {kConSegno, u"", u"+-5", ".........+ .........- ........-5"},
      {kConSegno, u"   -123456", u"7,123", "...-123456 ..-123456, .-123456,1 -123456,12 -123456,12"},
      {kConSegno, u"", u"-1,234", ".........- ........-1 .......-1, ......-1,2 .....-1,23 .....-1,23", u"-1,23!"},
      {kConSegno, u"", u",-", "........., ........,-"},
      {kConSegno, u"       0,5", u"-", ".......0,-"},
      {kConSegno, u"    -12,34", u"<", ".........0", u"0"},
      // one digit: an empty box counts as holding one already
      {kUnaCifra, u"", u"5", "5"},
      {kUnaCifra, u" 00", u"7", "7"},
      // clang-format on
  };
  for (const CasoNumero& c : kCasi) {
    Casella casella(c.forma.lunga, c.prima);
    const std::u16string_view tasti = c.tasti;
    std::istringstream dopo(c.dopo);
    for (std::size_t i = 0; i < tasti.size(); ++i) {
      SCOPED_TRACE(ToUtf8(c.prima) + " keys " + ToUtf8(tasti.substr(0, i + 1)));
      const auto tasto = static_cast<std::int16_t>(tasti[i] == u'<' ? 8 : tasti[i]);
      const std::int16_t reso = EDITANUMERO(casella, tasto, c.forma.segno, c.forma.virgola,
                                            c.forma.intere, c.forma.decimali);
      if (!c.resi.empty()) {
        EXPECT_EQ(reso, c.resi[i] == u'!' ? 0 : c.resi[i]);
      }
      casella.Agisci(reso);
      std::string atteso;
      ASSERT_TRUE(dopo >> atteso);
      ASSERT_EQ(Punti(casella.Text()), atteso);
      if (reso != 0) {
        EXPECT_EQ(casella.SelStart(), static_cast<int>(casella.Text().size()));
      }
    }
  }
}

TEST(EditaNumero, EmptiesAZeroBeforeItLooksAtTheKey) {
  const auto dopo = [](const Forma& f, std::u16string_view prima) {
    Casella casella(f.lunga, prima);
    EXPECT_EQ(EDITANUMERO(casella, u'x', f.segno, f.virgola, f.intere, f.decimali), 0);
    return casella.Text();
  };
  for (const char16_t* zero :
       {u"", u"   ", u"0", u"   0", u"0,00", u" 0.00 ", u",00", u".00", u"0000", u"000000000"}) {
    EXPECT_EQ(dopo(kDecimale, zero), u"") << ToUtf8(zero);
  }
  for (const char16_t* resta : {u"0,0", u"0,000", u" 00", u"00,00", u"-0", u",", u"0,"}) {
    EXPECT_EQ(dopo(kDecimale, resta), resta) << ToUtf8(resta);
  }
  for (const char16_t* zero : {u"0,", u"0.", u",", u"."}) {
    EXPECT_EQ(dopo(kDecimaleSenzaResto, zero), u"") << ToUtf8(zero);
  }
}

// Only the editor's own writes reach a locked box.
TEST(EditaNumero, OnALockedBox) {
  static const struct {
    const char16_t *prima, *tasto, *dopo;
  } kCasi[] = {
      // clang-format off
      {u"071", u"5", u"071"}, {u"071", u"x", u"071"}, {u"071", u",", u"071"},
      {u"071", u"<", u"..0"}, {u"  0", u"5", u".."}, {u"", u"5", u".."}, {u"   ", u"5", u".."},
      {u"  ", u"5", u".."}, {u"  0", u"<", u"..0"}, {u"", u"<", u"..0"}, {u"   ", u"<", u"..0"},
      {u"  0", u"x", u""}, {u"  0", u"-", u""}, {u"000", u"x", u""}, {u"000", u"<", u"..0"},
      {u"000", u"0", u".."}, {u"000", u",", u""},
      // clang-format on
  };
  for (const auto& c : kCasi) {
    Casella casella(3, c.prima, true);
    const auto tasto = static_cast<std::int16_t>(*c.tasto == u'<' ? 8 : *c.tasto);
    casella.Agisci(EDITANUMERO(casella, tasto, 0, 0, 3, 0));
    EXPECT_EQ(Punti(casella.Text()), Punti(c.dopo)) << ToUtf8(c.prima) << ToUtf8(c.tasto);
  }
}

// --- Dates

class Bip final : public toolkit::Witness {
 public:
  Bip() { toolkit::App() = {.witness = this}; }
  ~Bip() override { toolkit::App() = {}; }
  void MessageShown(const toolkit::Message&, int) override { ADD_FAILURE() << "a box"; }
  void Beeped() override { ++suoni; }
  void Activated(std::u16string_view, bool) override {}
  void Started(std::u16string_view) override {}
  void Ended(int) override {}
  int suoni = 0;
};

struct Dopo {
  std::u16string testo;
  int cursore;
  bool suono;
};

Dopo Premi(std::u16string_view testo, int cursore, std::int16_t tasto) {
  Bip bip;
  Casella casella(10, testo);
  casella.SetSelStart(cursore);
  const std::u16string reso = EDITADATA(casella, tasto);
  EXPECT_EQ(reso, casella.Text());
  return {casella.Text(), casella.SelStart(), bip.suoni == 1};
}

TEST(EditaData, TakesTheDigitsThatCanStand) {
  static const struct {
    const char16_t* testo;
    int cursore;
    const char* presi;
    int seguente;
  } kCasi[] = {
      // clang-format off
      {u"00/00/0000", 0, "0123", 1}, {u"01/12/1999", 0, "0123", 1}, {u"02/00/0000", 0, "012", 1},
      {u"19/00/0000", 0, "012", 1}, {u"30/00/0000", 1, "01", 3}, {u"00/00/0000", 1, "123456789", 3},
      {u"10/00/0000", 1, "0123456789", 3}, {u"28/00/0000", 1, "0123456789", 3},
      {u"00/00/0000", 3, "01", 4}, {u"00/02/0000", 3, "01", 4}, {u"00/03/0000", 3, "0", 4},
      {u"00/05/0000", 3, "0", 4}, {u"00/00/0000", 4, "123456789", 6}, {u"00/12/0000", 4, "012", 6},
      {u"00/00/0000", 6, "12", 7}, {u"25/12/1999", 7, "0123456789", 8},
      {u"00/00/0000", 8, "0123456789", 9}, {u"00/00/0000", 9, "0123456789", 9},
      {u"25/12/2000", 10, "0123456789", 11}, {u"25/12/20001", 10, "0123456789", 11},
      {u"25/12/20001", 11, "0123456789", 12},
      // clang-format on
  };
  for (const auto& c : kCasi) {
    for (char16_t cifra = u'0'; cifra <= u'9'; ++cifra) {
      const bool presa =
          std::string_view(c.presi).find(static_cast<char>(cifra)) != std::string_view::npos;
      std::u16string atteso = c.testo;
      if (presa) {
        atteso.replace(static_cast<std::size_t>(c.cursore), 1, 1, cifra);
      }
      const Dopo dopo = Premi(c.testo, c.cursore, static_cast<std::int16_t>(cifra));
      SCOPED_TRACE(ToUtf8(c.testo) + " at " + std::to_string(c.cursore) + " digit " +
                   static_cast<char>(cifra));
      EXPECT_EQ(ToUtf8(dopo.testo), ToUtf8(atteso));
      EXPECT_EQ(dopo.cursore, presa ? c.seguente : c.cursore);
      EXPECT_EQ(dopo.suono, !presa);
    }
  }
}

TEST(EditaData, OtherKeysAndPlaces) {
  static const struct {
    const char16_t* testo;
    int cursore;
    std::int16_t tasto;
    const char16_t* dopo;
    int cursoreDopo;
    bool suono;
  } kCasi[] = {
      // clang-format off
      // before a slash: in silence
      {u"25/12/2000", 2, '1', u"25/12/2000", 2, false},
      {u"25/12/2000", 5, '9', u"25/12/2000", 5, false},
      {u"25/12/2000", 2, '/', u"25/12/2000", 2, true},
      {u"25/12/2000", 4, 'x', u"25/12/2000", 4, true},
      {u"25/12/2000", 4, 13, u"25/12/2000", 4, true},
      {u"25/12/2000", 4, 22, u"25/12/2000", 4, true},
      {u"25/12/2000", 4, ' ', u"25/12/2000", 4, true},
      {u"25/12/2000", 7, 8, u"00/00/0000", 0, false},
      {u"00/00/0000", 7, 8, u"00/00/0000", 7, false},
      {u"25/12/20001", 11, 8, u"00/00/0000", 0, false}, {u"", 0, '3', u"30/00/0000", 1, false},
      {u"   ", 3, '1', u"10/00/0000", 1, false}, {u"", 0, '4', u"00/00/0000", 0, true},
      {u"", 0, 'x', u"00/00/0000", 0, true}, {u"", 0, 8, u"00/00/0000", 0, false},
      // shortened by Delete: as it stands while day and month are there, else mended
      {u"5/12/2000", 0, '2', u"2/12/2000", 1, false},
      {u"25/", 0, '1', u"15/00/0000", 1, false},
      {u"25/12/200", 9, '7', u"25/12/2007", 9, false},
      {u"2/12/2000", 1, '4', u"2412/2000", 3, false}, {u"25", 2, '1', u"25", 2, false},
      {u"//", 0, '1', u"10/00/0000", 1, false},
      // clang-format on
  };
  for (const auto& c : kCasi) {
    SCOPED_TRACE(ToUtf8(c.testo) + " at " + std::to_string(c.cursore) + " key " +
                 std::to_string(c.tasto));
    const Dopo dopo = Premi(c.testo, c.cursore, c.tasto);
    EXPECT_EQ(ToUtf8(dopo.testo), ToUtf8(c.dopo));
    EXPECT_EQ(dopo.cursore, c.cursoreDopo);
    EXPECT_EQ(dopo.suono, c.suono);
  }
}

// Whatever Delete leaves of a date, a digit is either refused, and the text
// stays, or takes its place; what had no day and month left has the mask's
// shape then.
TEST(EditaData, ShortTextsStayWithinBounds) {
  const std::u16string data = u"31/12/1999";
  for (unsigned resto = 0; resto < 1U << data.size(); ++resto) {
    std::u16string corto;
    for (std::size_t i = 0; i < data.size(); ++i) {
      if ((resto >> i & 1U) != 0) corto += data[i];
    }
    for (int cursore = 0; cursore <= static_cast<int>(corto.size()); ++cursore) {
      for (char16_t cifra = u'0'; cifra <= u'9'; ++cifra) {
        const Dopo dopo = Premi(corto, cursore, static_cast<std::int16_t>(cifra));
        if (dopo.testo != corto && !(corto.empty() && dopo.suono)) {
          if (corto.size() < 5) {
            ASSERT_EQ(dopo.testo.size(), 10U) << ToUtf8(corto);
            ASSERT_TRUE(dopo.testo[2] == u'/' && dopo.testo[5] == u'/') << ToUtf8(corto);
          }
          ASSERT_EQ(dopo.testo[static_cast<std::size_t>(corto.empty() ? 0 : cursore)], cifra);
        }
      }
    }
  }
}

}  // namespace
