#include "record/LibrAgg770.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/system/files.h"
#include "platform/text/conversion.h"
#include "platform/text/text.h"
#include "platform/toolkit/application.h"
#include "platform/toolkit/keys.h"
#include "record/regole.h"

namespace LibrAgg770 {

using regole::kMascheraData;

namespace {
constexpr std::int16_t kCancella = toolkit::CodeOf(toolkit::Key::Backspace);
}

bool ESISTEFILE(std::u16string_view percorso) { return sys::OpensForReading(percorso); }

std::int16_t MAIUSCOLA(std::int16_t Tasto) {
  return static_cast<std::int16_t>(text::Upper(static_cast<char16_t>(Tasto)));
}

std::int16_t FILTRACARATTERI(std::int16_t& Tasto, std::u16string_view Consentiti,
                             std::int16_t Maiuscolo) {
  if (Tasto == kCancella) {
    return Tasto;
  }
  if (Consentiti.find(static_cast<char16_t>(Tasto)) == Consentiti.npos) {
    Tasto = 0;
  } else if (Maiuscolo != 0 && Tasto >= u'a' && Tasto <= u'z') {
    Tasto = static_cast<std::int16_t>(Tasto - 32);
  }
  return Tasto;
}

// --- Numbers

namespace {

bool ECifra(int c) { return c >= u'0' && c <= u'9'; }

std::size_t SenzaSpazi(std::u16string_view s) {
  return s.size() - static_cast<std::size_t>(std::ranges::count(s, u' '));
}

// Digits of the whole number at the start of a text, leading zeros not
// counted; 1 for zero and for no number.
std::size_t CifreDelValore(std::u16string_view s) {
  s = text::TrimLeft(s);
  if (s.starts_with(u'-') || s.starts_with(u'+')) {
    s.remove_prefix(1);
  }
  s = s.substr(0, s.find_first_not_of(u"0123456789"));
  const auto prima = s.find_first_not_of(u'0');
  return prima == s.npos ? 1 : s.size() - prima;
}

// A text that stands for nothing or for zero, as a number being typed may.
bool ValeZero(std::u16string_view testo, std::int16_t CifreDecimali) {
  const std::u16string_view t = text::Trim(testo);
  const std::u16string z(static_cast<std::size_t>(CifreDecimali), u'0');
  return t.empty() || t == u"0" || t == u"0," + z || t == u"0." + z || t == u"," + z ||
         t == u"." + z || t == std::u16string(testo.size(), u'0');
}

// The arguments of EDITANUMERO.
struct Forma {
  int segno, virgola, intere, decimali;
};

bool CONTIENE(std::u16string_view testo, char16_t c) { return testo.find(c) != testo.npos; }

bool ESEGNO(std::int16_t Tasto) { return Tasto == u'+' || Tasto == u'-'; }

// A digit, or a comma or a sign where the number has none yet.
bool TASTOAMMESSO(std::u16string_view testo, std::int16_t Tasto, const Forma& forma) {
  if (Tasto == u',') {
    return forma.virgola != 0 && !CONTIENE(testo, u',');
  }
  if (ESEGNO(Tasto)) {
    return forma.segno != 0 && !CONTIENE(testo, u'-');
  }
  return ECifra(Tasto);
}

// How many digits stand before the comma and after it.
std::pair<std::size_t, std::size_t> CONTACIFRE(std::u16string_view cifre, bool conVirgola) {
  if (!conVirgola) {
    return {CifreDelValore(cifre), 0};
  }
  const auto virgola = cifre.find(u',');
  if (virgola == cifre.npos) {
    return {SenzaSpazi(cifre), 0};
  }
  return {SenzaSpazi(cifre.substr(0, virgola)), SenzaSpazi(cifre.substr(virgola + 1))};
}

// Moves the number to the left, so that the key has room after it. A number that is full
// stays as it is, and so does one that has its digits before a sign; the box then drops the
// key or not. False where the key has to be dropped.
bool FAIPOSTO(std::u16string& testo, std::int16_t Tasto, std::size_t posti, const Forma& forma) {
  const bool conVirgola = CONTIENE(testo, u',');
  const bool conSegno = forma.segno == 1 && CONTIENE(testo, u'-');
  std::u16string_view cifre = testo;
  if (conSegno) {
    cifre = text::Trim(testo).substr(1);
  }
  const auto [interi, decimali] = CONTACIFRE(cifre, conVirgola);
  if (std::ssize(text::Trim(testo)) ==
      forma.segno + forma.virgola + forma.intere + forma.decimali) {
    return true;
  }
  if (!conVirgola && !conSegno && text::Val(testo) == 0 && testo.ends_with(u'0')) {
    testo.clear();
  }
  if (!conVirgola && Tasto != u',' && std::cmp_equal(interi, forma.intere)) {
    return true;
  }
  if (conVirgola && std::cmp_equal(decimali, forma.decimali)) {
    return false;
  }
  if (ESEGNO(Tasto) && !text::Trim(testo).empty()) {
    if (text::Val(testo) != 0) {
      return true;
    }
    if (!(conVirgola && interi == 0)) {
      testo = testo.substr(0, posti);
    }
  }
  if (testo.size() > posti) {
    testo.erase(0, testo.size() - posti);
  }
  testo.insert(0, posti - testo.size(), u' ');
  return true;
}

}  // namespace

std::int16_t EDITANUMERO(Campo& campo, std::int16_t Tasto, std::int16_t Segno, std::int16_t Virgola,
                         std::int16_t CifreIntere, std::int16_t CifreDecimali) {
  if (ValeZero(campo.Text(), CifreDecimali)) {
    campo.SetText(u"");
  }
  if (Tasto == u'.') {
    Tasto = u',';
  }
  const Forma forma{Segno, Virgola, CifreIntere, CifreDecimali};
  const int Lunghezza = campo.MaxLength();
  const auto posti = static_cast<std::size_t>(std::max(0, Lunghezza - 1));
  std::u16string Testo = campo.Text();
  if (Tasto == kCancella) {
    Testo = std::u16string(posti, u' ') + u"0";
    Tasto = u'0';
  } else if (!TASTOAMMESSO(Testo, Tasto, forma) || !FAIPOSTO(Testo, Tasto, posti, forma)) {
    return 0;
  }
  campo.SetText(Testo);
  campo.SetSelStart(Lunghezza);
  return Tasto;
}

// --- Dates

namespace {

bool FormaDiMaschera(std::u16string_view s) {
  for (std::size_t i = 0; i < s.size(); ++i) {
    const bool barra = i == 2 || i == 5;
    if ((barra && s[i] != u'/') || (!barra && !ECifra(s[i]))) {
      return false;
    }
  }
  return s.size() == kMascheraData.size();
}

// A text that the Delete key has made too short to hold day and month, which the tests read, gets
// back what is missing as zeros and slashes of the mask, and keeps what the user has left in it.
// The gap is looked for at the caret first, where Delete leaves it.
std::u16string RIPARADATA(const std::u16string& testo, int posizione) {
  constexpr std::size_t kGiornoMese = 5;
  if (testo.size() >= kGiornoMese) {
    return testo;
  }
  const std::size_t mancano = kMascheraData.size() - testo.size();
  const auto con = [&](std::size_t dove) {
    return testo.substr(0, dove) + std::u16string(kMascheraData.substr(dove, mancano)) +
           testo.substr(dove);
  };
  std::u16string intera = con(static_cast<std::size_t>(posizione));
  for (std::size_t dove = 0; !FormaDiMaschera(intera) && dove <= testo.size(); ++dove) {
    intera = con(dove);
  }
  if (!FormaDiMaschera(intera)) {
    return std::u16string(kMascheraData);
  }
  return intera;
}

// Whether the digit can't stand at the place, given the rest of the text.
bool CIFRARIFIUTATA(const std::u16string& testo, int posizione, char16_t cifra) {
  switch (posizione) {
    case 0:
      return cifra > u'3' || (cifra == u'3' && testo[1] > u'1');
    case 1:
      return (cifra > u'1' && testo[0] == u'3') || (cifra == u'0' && testo[0] == u'0');
    case 3:
      return cifra > u'1' || (cifra > u'0' && testo[4] > u'2');
    case 4:
      return (cifra > u'2' && testo[3] != u'0') || (cifra == u'0' && testo[3] == u'0');
    case 6:
      return cifra != u'1' && cifra != u'2';
    default:
      return false;
  }
}

int POSTOSEGUENTE(int posizione) {
  switch (posizione) {
    case 1:
    case 4:
      return posizione + 2;
    case 9:
      return 9;  // further digits overwrite the year's last one
    default:
      return posizione + 1;
  }
}

}  // namespace

std::u16string EDITADATA(Campo& campo, std::int16_t Tasto) {
  if (text::Trim(campo.Text()).empty()) {
    campo.SetText(kMascheraData);
  }
  if (Tasto == kCancella) {
    campo.SetText(kMascheraData);
    return campo.Text();
  }
  if (!ECifra(Tasto)) {
    toolkit::Beep();
    return campo.Text();
  }
  const int Posizione = campo.SelStart();
  if (Posizione == 2 || Posizione == 5) {
    return campo.Text();
  }
  std::u16string testo = RIPARADATA(campo.Text(), Posizione);
  const auto cifra = static_cast<char16_t>(Tasto);
  if (CIFRARIFIUTATA(testo, Posizione, cifra)) {
    toolkit::Beep();
    return campo.Text();
  }
  testo.replace(static_cast<std::size_t>(Posizione), 1, 1, cifra);
  campo.SetText(testo);
  campo.SetSelStart(POSTOSEGUENTE(Posizione));
  return campo.Text();
}

}  // namespace LibrAgg770
