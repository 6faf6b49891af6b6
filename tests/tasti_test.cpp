// The editor of numbers with signs and decimals, which no field of the program has (what
// the fields do is told in scenari/tasti_*.scenario), and the fields' tool tips.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <sstream>

#include "board.h"
#include "frame/ANAGPARC.h"
#include "platform/text/text.h"
#include "platform/toolkit/form.h"
#include "record/LibrAgg770.h"
#include "record/record.h"

namespace {

using namespace LibrAgg770;
using text::ToUtf8;
using toolkit::Key;

// A box of a form, to type into.
struct Casella {
  Casella(int maxLength, std::u16string_view testo) {
    toolkit::App() = {};
    toolkit::App().view = &board;
    const std::array table = {
        toolkit::Placed{box, nullptr, nullptr, {.TabIndex = 0, .MaxLength = maxLength}}};
    form.Build(table, u"", 0);
    form.Load();
    box.SetText(testo);
  }
  ~Casella() { toolkit::App() = {}; }

  Board board;
  toolkit::Form form{u"Form"};
  toolkit::TextBox box{u"Box"};
  CampoDi<toolkit::TextBox> campo{box};
};

TEST(FiltraCaratteri, PassesWhatTheSetHolds) {
  static const std::tuple<int, const char16_t*, std::int16_t, int> kCasi[] = {
      {'m', u"MmFf ", 1, 'M'}, {13, u"MmFf ", 1, 0}, {8, u"", 0, 8},      {'m', u"m", 0, 'm'},
      {'z', u"az", 1, 'Z'},    {'a', u"az", 1, 'A'}, {'{', u"{`", 1, '{'}};
  for (const auto& [premuto, consentiti, maiuscolo, esito] : kCasi) {
    auto tasto = static_cast<std::int16_t>(premuto);
    EXPECT_EQ(FILTRACARATTERI(tasto, consentiti, maiuscolo), esito) << premuto;
    EXPECT_EQ(tasto, esito) << premuto;  // the argument changes as well
  }
}

struct Forma {
  int lunga;
  std::int16_t segno, virgola, intere, decimali;
};
constexpr Forma kIntero{3, 0, 0, 3, 0}, kDecimale{9, 0, 1, 6, 2}, kConSegno{10, 1, 1, 6, 2},
    kSenzaDecimali{6, 0, 1, 4, 0}, kUnaCifra{3, 0, 0, 1, 0};

// Keys one after another, < for Backspace; what each leaves in the box, blanks as dots,
// | for no text, ! where the routine has taken the key away.
struct CasoNumero {
  const Forma& forma;
  const char16_t *prima, *tasti;
  const char* dopo;
};

TEST(EditaNumero, MovesTheTextToTheLeft) {
  static const CasoNumero kCasi[] = {
      // clang-format off
      {kIntero, u"", u"5712<4", "..5 .57 571 571 ..0 ..4"},
      {kIntero, u"", u"0079", "..0 ..0 ..7 .79"},
      // aligned by the editor, wherever it stood
      {kIntero, u"057", u"1", "057"}, {kIntero, u"05", u"1", "051"}, {kIntero, u" 00", u"7", "..7"},
      // the sign and the comma that aren't allowed
      {kIntero, u"12", u",.+-x", "12! 12! 12! 12! 12!"},
      {kDecimale, u"", u"1.,578", "........1 .......1, .......1,! ......1,5 .....1,57 .....1,57!"},
      {kDecimale, u"", u",007", "........, .......,0 ......,00 ........7"},
      {kDecimale, u"   123456", u"7,12", "...123456 ..123456, .123456,1 123456,12"},
      {kSenzaDecimali, u"", u"12,3", ".....1 ....12 ...12, ...12,!"},
      {kConSegno, u"", u"-5-+", ".........- ........-5 ........-5! ........-5!"},
      {kConSegno, u"", u"+-5", ".........+ .........- ........-5"},
      {kConSegno, u"   -123456", u"7,12", "...-123456 ..-123456, .-123456,1 -123456,12"},
      {kConSegno, u"", u"-1,234",
       ".........- ........-1 .......-1, ......-1,2 .....-1,23 .....-1,23!"},
      {kConSegno, u"", u",-", "........., ........,-"},
      {kConSegno, u"       0,5", u"-", ".......0,-"},
      // one digit: an empty box counts as holding one already
      {kUnaCifra, u"", u"5", "5"}, {kUnaCifra, u" 00", u"7", "7"},
      // a zero goes before the key is looked at, what only looks like one doesn't
      {kDecimale, u"   ", u"x", "|!"}, {kDecimale, u"   0", u"x", "|!"},
      {kDecimale, u" 0.00 ", u"x", "|!"}, {kDecimale, u",00", u"x", "|!"},
      {kDecimale, u".00", u"x", "|!"}, {kDecimale, u"0000", u"x", "|!"},
      {kDecimale, u"0,0", u"x", "0,0!"}, {kDecimale, u"0,000", u"x", "0,000!"},
      {kDecimale, u" 00", u"x", ".00!"}, {kDecimale, u"-0", u"x", "-0!"},
      {kSenzaDecimali, u"0,", u"x", "|!"},
      // clang-format on
  };
  for (const auto& [forma, prima, tasti, dopo] : kCasi) {
    Casella casella(forma.lunga, prima);
    std::int16_t reso = 0;
    casella.box.KeyPress = [&, &forma = forma](std::int16_t& tasto) {
      tasto = reso = EDITANUMERO(casella.campo, tasto, forma.segno, forma.virgola, forma.intere,
                                 forma.decimali);
    };
    std::ostringstream visto;
    for (const char16_t tasto : std::u16string_view(tasti)) {
      casella.form.UserKey(tasto == u'<' ? toolkit::KeyStroke{.key = Key::Backspace}
                                         : toolkit::KeyStroke{.text = {&tasto, 1}});
      std::u16string testo = casella.box.Text();
      std::ranges::replace(testo, u' ', u'.');
      visto << (visto.tellp() > 0 ? " " : "") << (testo.empty() ? "|" : ToUtf8(testo))
            << (reso == 0 ? "!" : "");
    }
    EXPECT_EQ(visto.str(), dopo) << ToUtf8(prima) << " keys " << ToUtf8(tasti);
  }
}

TEST(Scheda, ToolTipsNameTheBoxesOfTheForm) {
  ANAGPARC::CARICAMODULO();
  ANAGPARC::SistemaToolTipText();
  std::string tips;
  for (int i = 0; i < ANAGPARC::Text1.Bound(); ++i) {
    tips += ANAGPARC::Text1.Has(i) ? ToUtf8(ANAGPARC::Text1(i).ToolTipText()) + ' ' : "";
  }
  EXPECT_EQ(tips,
            " Casella 02 Casella 03 Casella 04 Casella 05 Casella 06 Casella 07 Casella 20 "
            "Casella 21 Casella 08 Casella 40 Casella 41 Casella 42 Casella 43 Casella 09 "
            "Casella 22 ");
}

}  // namespace
