#include "record/LibrAgg770.h"

#include "platform/system/files.h"
#include "platform/text/conversion.h"
#include "platform/text/text.h"
#include "platform/toolkit/application.h"
#include "record/regole.h"

namespace LibrAgg770 {

using regole::kMascheraData;

bool ESISTEFILE(std::u16string_view percorso) { return sys::OpensForReading(percorso); }

std::int16_t MAIUSCOLA(std::int16_t Tasto) {
  return static_cast<std::int16_t>(text::Upper(static_cast<char16_t>(Tasto)));
}

std::int16_t FILTRACARATTERI(std::int16_t& Tasto, std::u16string_view Consentiti,
                             std::int16_t Maiuscolo) {
  if (Tasto == 8) {
    return 8;
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
  std::size_t n = 0;
  for (const char16_t c : s) {
    n += c != u' ' ? 1 : 0;
  }
  return n;
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

}  // namespace

std::int16_t EDITANUMERO(Campo& campo, std::int16_t Tasto, std::int16_t Segno, std::int16_t Virgola,
                         std::int16_t CifreIntere, std::int16_t CifreDecimali) {
  if (ValeZero(campo.Text(), CifreDecimali)) {
    campo.SetText(u"");
  }
  if (Tasto == u'.') {
    Tasto = u',';
  }
  std::u16string Testo = campo.Text();
  const bool eSegno = Tasto == u'+' || Tasto == u'-';
  const auto contiene = [&Testo](char16_t c) { return Testo.find(c) != Testo.npos; };
  if (Tasto != 8 && Tasto != u',' && !eSegno && !ECifra(Tasto)) {
    return 0;
  }
  if (Tasto == u',' && (Virgola == 0 || contiene(u','))) {
    return 0;
  }
  if (eSegno && (Segno == 0 || contiene(u'-'))) {
    return 0;
  }

  const int Lunghezza = campo.MaxLength();
  const auto posti = static_cast<std::size_t>(Lunghezza > 0 ? Lunghezza - 1 : 0);
  const bool conVirgola = contiene(u',');
  const bool conSegno = Segno == 1 && contiene(u'-');
  std::u16string_view Cifre = Testo;
  if (conSegno) {
    Cifre = text::Trim(Testo).substr(1);
  }
  std::size_t Interi = CifreDelValore(Cifre);
  std::size_t Decimali = 0;
  if (conVirgola) {
    const auto PosVirgola = Cifre.find(u',');
    Interi = SenzaSpazi(Cifre.substr(0, PosVirgola));
    Decimali = PosVirgola == Cifre.npos ? 0 : SenzaSpazi(Cifre.substr(PosVirgola + 1));
  }

  const auto scrivi = [&] {
    campo.SetText(Testo);
    campo.SetSelStart(Lunghezza);
    return Tasto;
  };
  if (Tasto == 8) {
    Testo = std::u16string(posti, u' ') + u"0";
    Tasto = u'0';
    return scrivi();
  }
  if (static_cast<int>(text::Trim(Testo).size()) == Segno + Virgola + CifreIntere + CifreDecimali) {
    return scrivi();
  }
  if (!conVirgola && !conSegno && text::Val(Testo) == 0 && Testo.ends_with(u'0')) {
    Testo.clear();
  }
  if (!conVirgola && Tasto != u',' && Interi == static_cast<std::size_t>(CifreIntere)) {
    return scrivi();
  }
  if (conVirgola && Decimali == static_cast<std::size_t>(CifreDecimali)) {
    return 0;
  }
  if (eSegno && !text::Trim(Testo).empty()) {
    if (text::Val(Testo) != 0) {  // no sign after a number's digits
      return scrivi();
    }
    if (!(conVirgola && Interi == 0)) {
      Testo = Testo.substr(0, posti);
    }
  }
  if (Testo.size() > posti) {
    Testo.erase(0, Testo.size() - posti);
  }
  Testo.insert(0, posti - Testo.size(), u' ');
  return scrivi();
}

// --- Dates

namespace {

bool FormaDiMaschera(std::u16string_view s) {
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (i == 2 || i == 5 ? s[i] != u'/' : !ECifra(s[i])) {
      return false;
    }
  }
  return s.size() == kMascheraData.size();
}

// A text that the Delete key has made too short to hold day and month, which
// the tests read, gets back what is missing as zeros and slashes of the mask,
// and keeps what the user has left in it. The gap is looked for at the caret
// first, where Delete leaves it.
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
  return FormaDiMaschera(intera) ? intera : std::u16string(kMascheraData);
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
  if (Tasto == 8) {
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
