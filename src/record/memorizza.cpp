// Saving the record on screen, and the question to whoever leaves it changed.
#include <algorithm>
#include <chrono>
#include <utility>

#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "platform/text/text.h"
#include "record/record.h"

namespace ANAGPARC {

using namespace MOD770BAS;

namespace {

// The time of day, "12:31".
std::u16string ORA() {
  const auto minuti = std::chrono::floor<std::chrono::minutes>(toolkit::TimeOfDay()).count();
  const auto cifre = [](long long n) { return (n < 10 ? u"0" : u"") + text::Decimal(n); };
  return cifre(minuti / 60) + u":" + cifre(minuti % 60);
}

// What the row is to hold in place of `registrato`; nothing where it stays as it is, in bytes
// that its text may not show: a number, a blob, one that isn't UTF-8. What the screen can't show of
// the latter (by a replacement character) is changed only by who changes the text.
std::optional<std::u16string> DASCRIVERE(const regole::CampoPercettore& campo,
                                         const engine::Value& registrato) {
  const std::u16string& testo = Text1(campo.indice).Text();
  std::u16string valore = regole::VALOREDISALVATAGGIO(campo, testo);
  const bool intatto =
      registrato && (valore == *registrato || (registrato->find(u'\xFFFD') != registrato->npos &&
                                               testo == regole::TESTOASCHERMO(campo, *registrato)));
  if (intatto) {
    return std::nullopt;
  }
  return valore;
}

// The texts of the screen into the current row, or into a new one; the row as it is then.
Percettore SCRIVIRIGA(const std::optional<Percettore>& trovata) {
  Percettore riga;
  if (trovata) {
    riga[0] = trovata->front();
    TabPERCPARCELLE.Edit();
  } else {
    riga[0] = CFCorrente;
    TabPERCPARCELLE.AddNew();
    TabPERCPARCELLE.Fields(u"CFP").Set(CFCorrente);
  }
  for (IndiceCampo = 1; IndiceCampo <= regole::kUltimoCampo; ++IndiceCampo) {
    if (const regole::CampoPercettore* campo = regole::CAMPO(IndiceCampo)) {
      engine::Field colonna = TabPERCPARCELLE.Fields(campo->colonna);
      if (std::optional<std::u16string> valore = DASCRIVERE(*campo, colonna.Get())) {
        colonna.Set(*valore);
      }
      riga[POSTO(*campo)] = colonna.Text();
    }
  }
  TabPERCPARCELLE.Update();
  return riga;
}

// The same row as far as a save goes. Both were found by one code, which may come back from a
// change of code with other blanks.
bool STESSARIGA(const std::optional<Percettore>& a, const std::optional<Percettore>& b) {
  if (!a || !b) {
    return !a && !b;
  }
  return std::equal(a->begin() + 1, a->end(), b->begin() + 1);
}

// A value between quotation marks, which may be of any length in a foreign archive.
std::u16string CITATO(std::u16string_view valore) {
  constexpr std::size_t kMassimo = 40;
  std::u16string citato = u'"' + std::u16string(valore.substr(0, kMassimo));
  if (valore.size() > kMassimo) {
    citato += u'…';
  }
  return citato + u'"';
}

// The fields in which the table's row differs from the screen, a line each: first those that
// another program has changed since `nota`, then the user's own changes. At most five, and how
// many more; "" where they show the same.
std::u16string DIFFERENZE(const std::optional<Percettore>& nota, const Percettore& trovata) {
  constexpr int kMassime = 5;
  std::u16string righe;
  int quante = 0;
  for (const bool cambiati : {true, false}) {
    for (const regole::CampoPercettore& campo : regole::kCampi) {
      const std::u16string& valore = trovata[POSTO(campo)];
      const std::u16string ora = regole::TESTOASCHERMO(campo, valore);
      const std::u16string& testo = Text1(campo.indice).Text();
      const bool cambiato = !nota || valore != nota->at(POSTO(campo));
      if (campo.genere == regole::Genere::kCodice || cambiato != cambiati || ora == testo ||
          ++quante > kMassime) {
        continue;
      }
      const bool unica = std::ranges::count(regole::kCampi, campo.etichetta,
                                            &regole::CampoPercettore::etichetta) == 1;
      righe += u'\r';
      righe += unica ? campo.etichetta : campo.nome;
      righe += u": ora " + CITATO(ora) + u", sullo schermo " + CITATO(testo);
    }
  }
  if (quante > kMassime + 1) {
    righe += u"\re altri " + text::Decimal(quante - kMassime) + u" campi";
  } else if (quante == kMassime + 1) {
    righe += u"\re un altro campo";
  }
  if (!righe.empty()) {
    righe.insert(0, 1, u'\r');
  }
  return righe;
}

// Asks whether to write, where the table has `trovata` in place of `nota`.
bool PROSEGUE(const std::optional<Percettore>& nota, const std::optional<Percettore>& trovata) {
  const auto chiede = [](const std::u16string& fatto, std::u16string_view domanda) {
    return toolkit::MsgBox(fatto + u"\r\r" + std::u16string(domanda),
                           toolkit::kYesNo | toolkit::kQuestion | toolkit::kDefaultSecond,
                           Titolo()) == toolkit::kYes;
  };
  if (!trovata) {
    return chiede(std::u16string(kPercettoreSparito), u"Registrarlo di nuovo ?");
  }
  std::u16string fatto =
      u"La scheda è stata modificata da un altro programma dopo che è stata aperta.";
  if (!nota) {
    fatto = u"Il codice fiscale è già nell'archivio: è stato inserito da un altro programma.";
  }
  return chiede(fatto + DIFFERENZE(nota, *trovata),
                u"Registrare ugualmente quello che è sullo schermo ?");
}

// Writes the record on screen. Where the table no longer has the row that the screen was filled
// from, the user is asked first, and again where it changes before the answer: what the user
// hasn't seen is never written over. False when the answer is No.
bool SCRIVIDATI() {
  std::optional<Percettore> nota = PercettoreLetto;
  for (;;) {
    std::optional<Percettore> trovata;
    {
      TRANSAZIONE transazione;
      if (CERCAPERCETTORE(CFCorrente)) {
        trovata = LEGGIRIGA();
      }
      if (STESSARIGA(trovata, nota) || STESSARIGA(trovata, PercettoreLetto)) {
        Percettore scritta = SCRIVIRIGA(trovata);
        transazione.CONFERMA();
        PercettoreLetto = std::move(scritta);
        break;
      }
    }
    if (!PROSEGUE(nota, trovata)) {
      return false;
    }
    nota = std::move(trovata);
  }
  FlagVariazioni = 0;
  OraRegistrazione = ORA();
  if (FlagNuovaAnagrafica == 1) {
    FlagNuovaAnagrafica = 0;
    cmdparcprec.SetEnabled(true);
    cmdparcsuc.SetEnabled(true);
  }
  return true;
}

// The screen shows what the table holds.
void RICARICADATI() {
  if (CERCAPERCETTORE(CFCorrente)) {
    LEGGIPERCETTORE();
    IMPOSTATESTATA();
    CARICADATI();
  }
}

}  // namespace

// A save that the engine or the user refuses counts like a broken rule: the user stays on the
// record, nothing of it is lost, and the next Memorizza tries again. So does one that stands but
// can't be read back, only that nothing is left to save.
void MEMORIZZADATI() {
  bool scritti = false;
  try {
    CONTROLLOCAMPI();
    if (FlagErroreCampi == 1) {
      return;
    }
    if (!SCRIVIDATI()) {
      FlagErroreCampi = 1;
      return;
    }
    scritti = true;
    RICARICADATI();
  } catch (const engine::Error& e) {
    FlagErroreCampi = 1;
    FuoriPosto = true;
    std::u16string messaggio =
        u"Registrazione non eseguita.\r\r" + e.Text() +
        u"\r\rI dati digitati restano sullo schermo: eliminata la causa, premere di nuovo "
        u"Memorizza.";
    if (e.Number() == engine::kUncertain) {
      messaggio = u"Non si sa se la registrazione è stata eseguita.\r\r" + e.Text() +
                  u"\r\rI dati digitati restano sullo schermo. Quando il server risponde di nuovo, "
                  u"premere ancora Memorizza: se la registrazione c'è già, il programma lo dice "
                  u"prima di scrivere.";
    } else if (scritti) {
      messaggio = u"La registrazione è stata eseguita, ma i dati non si possono rileggere.\r\r" +
                  e.Text() + u"\r\rEliminata la causa, premere di nuovo Memorizza.";
    }
    toolkit::MsgBox(messaggio, toolkit::kCritical, Titolo());
  }
}

void MESSAGGIOVARIAZ() {
  RispostaUtente = static_cast<std::int16_t>(
      toolkit::MsgBox(u"Sono state effettuate delle variazioni\rSalvare ?",
                      toolkit::kYesNoCancel | toolkit::kQuestion, Titolo()));
  if (RispostaUtente == toolkit::kYes) {
    MEMORIZZADATI();
    if (FlagErroreCampi != 1) {
      FlagVariazioni = 0;
    }
  } else if (RispostaUtente == toolkit::kNo) {
    FlagVariazioni = 0;
  }
}

bool VARIAZIONIRISOLTE() {
  if (FlagVariazioni != 1) {
    return true;
  }
  MESSAGGIOVARIAZ();
  if (RispostaUtente == toolkit::kCancel) {
    return false;
  }
  if (RispostaUtente == toolkit::kNo) {
    FlagErroreCampi = 0;
    FlagVariazioni = 0;
  }
  return FlagErroreCampi != 1;
}

void cmdmemorizza_Click() { MEMORIZZADATI(); }

void cmdmemorizza_GotFocus() { Framecodif.SetVisible(false); }

}  // namespace ANAGPARC
