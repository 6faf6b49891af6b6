// The key routines of the fields, on a box of the toolkit.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <sstream>

#include "board.h"
#include "platform/text/text.h"
#include "platform/toolkit/form.h"
#include "record/LibrAgg770.h"

namespace {

using namespace LibrAgg770;
using text::ToUtf8;
using toolkit::Key;

struct Casella {
  explicit Casella(int maxLength, bool bloccata = false) {
    toolkit::App() = {};
    toolkit::App().view = &board;
    const std::array table = {toolkit::Placed{
        box, nullptr, nullptr, {.TabIndex = 0, .MaxLength = maxLength, .Locked = bloccata}}};
    form.Build(table, u"", 0);
    form.Load();
  }
  ~Casella() { toolkit::App() = {}; }
  // < for Backspace, a return for Enter.
  void Premi(char16_t tasto) {
    form.UserKey(tasto == u'<'    ? toolkit::KeyStroke{.key = Key::Backspace}
                 : tasto == u'\r' ? toolkit::KeyStroke{.key = Key::Enter}
                                  : toolkit::KeyStroke{.text = {&tasto, 1}});
  }

  Board board;
  toolkit::Form form{u"Form"};
  toolkit::TextBox box{u"Box"};
  CampoDi<toolkit::TextBox> campo{box};
};

// Blanks as dots, so that a failure can be read, and | for no text.
std::string Punti(std::u16string s) {
  std::replace(s.begin(), s.end(), u' ', u'.');
  return s.empty() ? "|" : ToUtf8(s);
}

TEST(FiltraCaratteri, PassesWhatTheSetHolds) {
  static const std::tuple<int, const char16_t*, std::int16_t, std::int16_t> kCasi[] = {
      // clang-format off
      {'m', u"MmFf ", 1, 'M'}, {'F', u"MmFf ", 1, 'F'}, {' ', u"MmFf ", 1, ' '},
      {'x', u"MmFf ", 1, 0}, {13, u"MmFf ", 1, 0}, {22, u"MmFf ", 1, 0}, {8, u"MmFf ", 1, 8},
      {8, u"", 0, 8}, {'m', u"M", 1, 0}, {'m', u"m", 0, 'm'}, {'z', u"az", 1, 'Z'},
      {'a', u"az", 1, 'A'}, {0xE0, u"à", 1, 0xE0}, {'{', u"{`", 1, '{'}, {'`', u"{`", 1, '`'},
      {'5', u"0123456789", 1, '5'},
      // clang-format on
  };
  for (const auto& [premuto, consentiti, maiuscolo, esito] : kCasi) {
    auto tasto = static_cast<std::int16_t>(premuto);
    EXPECT_EQ(FILTRACARATTERI(tasto, consentiti, maiuscolo), esito) << premuto;
    EXPECT_EQ(tasto, esito) << premuto;  // the argument changes as well
  }
}

struct Forma {
  int lunga;
  std::int16_t segno, virgola, intere, decimali;
  bool bloccata = false;
};
constexpr Forma kIntero{3, 0, 0, 3, 0}, kDecimale{9, 0, 1, 6, 2}, kConSegno{10, 1, 1, 6, 2},
    kDecimaleSenzaResto{6, 0, 1, 4, 0}, kUnaCifra{3, 0, 0, 1, 0}, kBloccato{3, 0, 0, 3, 0, true};

struct Numero : Casella {
  Numero(const Forma& f, std::u16string_view prima) : Casella(f.lunga, f.bloccata) {
    box.SetText(prima);
    box.KeyPress = [this, f](std::int16_t& tasto) {
      tasto = reso = EDITANUMERO(campo, tasto, f.segno, f.virgola, f.intere, f.decimali);
    };
  }
  std::int16_t reso = 0;  // the key handed back
};

// Keys one after another; the text after each of them, blanks as dots; and the
// keys handed back, ! for none.
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
      {kDecimale, u"", u"12,578",
       "........1 .......12 ......12, .....12,5 ....12,57 ....12,57", u"12,57!"},
      {kDecimale, u"", u"1.,.5", "........1 .......1, .......1, .......1, ......1,5", u"1,!!5"},
      {kDecimale, u"", u",507", "........, .......,5 ......,50 ......,50", u",50!"},
      {kDecimale, u"", u",007", "........, .......,0 ......,00 ........7"},
      {kDecimale, u"", u"0,5", "........0 ........, .......,5"},
      {kDecimale, u"   123456", u"7,123",
       "...123456 ..123456, .123456,1 123456,12 123456,12", u"7,123"},
      {kDecimale, u"123456,12", u"<3", "........0 ........3"},
      {kDecimale, u"12,57", u"8", "12,57", u"!"},
      {kDecimaleSenzaResto, u"", u"12,3", ".....1 ....12 ...12, ...12,", u"12,!"},
      {kConSegno, u"", u"-5-+", ".........- ........-5 ........-5 ........-5", u"-5!!"},
      {kConSegno, u"", u"5-+", ".........5 .........5 .........5", u"5-+"},
      {kConSegno, u"", u"+-5", ".........+ .........- ........-5"},
      {kConSegno, u"   -123456", u"7,123",
       "...-123456 ..-123456, .-123456,1 -123456,12 -123456,12"},
      {kConSegno, u"", u"-1,234",
       ".........- ........-1 .......-1, ......-1,2 .....-1,23 .....-1,23", u"-1,23!"},
      {kConSegno, u"", u",-", "........., ........,-"},
      {kConSegno, u"       0,5", u"-", ".......0,-"},
      {kConSegno, u"    -12,34", u"<", ".........0", u"0"},
      // one digit: an empty box counts as holding one already
      {kUnaCifra, u"", u"5", "5"},
      {kUnaCifra, u" 00", u"7", "7"},
      // a zero goes before the key is looked at, what only looks like one doesn't
      {kDecimale, u"", u"x", "|"}, {kDecimale, u"   ", u"x", "|"}, {kDecimale, u"   0", u"x", "|"},
      {kDecimale, u"0,00", u"x", "|"}, {kDecimale, u" 0.00 ", u"x", "|"},
      {kDecimale, u",00", u"x", "|"}, {kDecimale, u".00", u"x", "|"},
      {kDecimale, u"0000", u"x", "|"}, {kDecimale, u"0,0", u"x", "0,0"},
      {kDecimale, u"0,000", u"x", "0,000"}, {kDecimale, u" 00", u"x", ".00"},
      {kDecimale, u"-0", u"x", "-0"}, {kDecimale, u"00,00", u"x", "00,00"},
      {kDecimale, u",", u"x", ","}, {kDecimale, u"0,", u"x", "0,"},
      {kDecimaleSenzaResto, u"0,", u"x", "|"}, {kDecimaleSenzaResto, u".", u"x", "|"},
      // only the editor's own writes reach a locked box
      {kBloccato, u"071", u"5", "071"}, {kBloccato, u"071", u"x", "071"},
      {kBloccato, u"071", u"<", "..0"}, {kBloccato, u"  0", u"5", ".."},
      {kBloccato, u"", u"5", ".."}, {kBloccato, u"  0", u"<", "..0"},
      {kBloccato, u"", u"<", "..0"}, {kBloccato, u"  0", u"x", "|"},
      {kBloccato, u"000", u"x", "|"}, {kBloccato, u"000", u"<", "..0"},
      {kBloccato, u"000", u"0", ".."},
      // clang-format on
  };
  for (const CasoNumero& c : kCasi) {
    Numero numero(c.forma, c.prima);
    const std::u16string_view tasti = c.tasti;
    std::istringstream dopo(c.dopo);
    for (std::size_t i = 0; i < tasti.size(); ++i) {
      SCOPED_TRACE(ToUtf8(c.prima) + " keys " + ToUtf8(tasti.substr(0, i + 1)));
      numero.Premi(tasti[i]);
      if (!c.resi.empty()) {
        EXPECT_EQ(numero.reso, c.resi[i] == u'!' ? 0 : c.resi[i]);
      }
      std::string atteso;
      ASSERT_TRUE(dopo >> atteso);
      ASSERT_EQ(Punti(numero.box.Text()), atteso);
      if (numero.reso != 0 && !c.forma.bloccata) {
        EXPECT_EQ(numero.box.SelStart(), static_cast<int>(numero.box.Text().size()));
      }
    }
  }
}

// --- Dates

struct Dopo {
  std::u16string testo;
  int cursore;
  bool suono;
};

Dopo Premi(std::u16string_view testo, int cursore, std::int16_t tasto) {
  Casella casella(10);
  casella.box.SetText(testo);
  casella.box.SetSelStart(cursore);
  EXPECT_EQ(EDITADATA(casella.campo, tasto), casella.box.Text());
  EXPECT_TRUE(casella.board.asked.empty());
  return {casella.box.Text(), casella.box.SelStart(), casella.board.beeps == 1};
}

TEST(EditaData, TakesTheDigitsThatCanStand) {
  // Text, caret, digits taken there, caret behind them.
  static const std::tuple<std::u16string, int, std::string_view, int> kCasi[] = {
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
  for (const auto& [testo, cursore, presi, seguente] : kCasi) {
    for (char16_t cifra = u'0'; cifra <= u'9'; ++cifra) {
      SCOPED_TRACE(ToUtf8(testo + u" digit " + cifra) + " at " + std::to_string(cursore));
      const bool presa = presi.find(static_cast<char>(cifra)) != presi.npos;
      std::u16string atteso = testo;
      if (presa) {
        atteso.replace(static_cast<std::size_t>(cursore), 1, 1, cifra);
      }
      const Dopo dopo = Premi(testo, cursore, static_cast<std::int16_t>(cifra));
      EXPECT_EQ(ToUtf8(dopo.testo), ToUtf8(atteso));
      EXPECT_EQ(dopo.cursore, presa ? seguente : cursore);
      EXPECT_EQ(dopo.suono, !presa);
    }
  }
}

TEST(EditaData, OtherKeysAndPlaces) {
  // Text, caret, key; text and caret behind it, and whether it sounds.
  static const std::tuple<std::u16string, int, std::int16_t, std::u16string, int, bool> kCasi[] = {
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
      {u"5/12/2000", 0, '2', u"2/12/2000", 1, false}, {u"25/", 0, '1', u"15/00/0000", 1, false},
      {u"25/12/200", 9, '7', u"25/12/2007", 9, false},
      {u"2/12/2000", 1, '4', u"2412/2000", 3, false}, {u"25", 2, '1', u"25", 2, false},
      {u"//", 0, '1', u"10/00/0000", 1, false},
      // clang-format on
  };
  for (const auto& [testo, cursore, tasto, atteso, seguente, suono] : kCasi) {
    SCOPED_TRACE(ToUtf8(testo) + " at " + std::to_string(cursore) + " key " +
                 std::to_string(tasto));
    const Dopo dopo = Premi(testo, cursore, tasto);
    EXPECT_EQ(ToUtf8(dopo.testo), ToUtf8(atteso));
    EXPECT_EQ(dopo.cursore, seguente);
    EXPECT_EQ(dopo.suono, suono);
  }
}

}  // namespace
