// Saving the record on screen, and the question to whoever leaves it changed.
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "record/record.h"

namespace ANAGPARC {

using namespace MOD770BAS;

namespace {

void SCRIVIDATI() {
  if (CERCAPERCETTORE(CFCorrente)) {
    TabPERCPARCELLE.Edit();
  } else {
    TabPERCPARCELLE.AddNew();
    TabPERCPARCELLE.Fields(u"CFP").Set(CFCorrente);
  }
  for (IndiceCampo = 1; IndiceCampo <= regole::kUltimoCampo; ++IndiceCampo) {
    if (const regole::CampoPercettore* campo = regole::CAMPO(IndiceCampo)) {
      TabPERCPARCELLE.Fields(campo->colonna)
          .Set(regole::VALOREDISALVATAGGIO(*campo, Text1(campo->indice).Text()));
    }
  }
  TabPERCPARCELLE.Update();
  FlagVariazioni = 0;
  if (FlagNuovaAnagrafica == 1) {
    FlagNuovaAnagrafica = 0;
    cmdparcprec.SetEnabled(true);
    cmdparcsuc.SetEnabled(true);
  }
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

// A save that the engine refuses counts like a broken rule: the user stays on
// the record, nothing of it is lost, and the next Memorizza tries again. So does
// one that stands but can't be read back, only that nothing is left to save.
void MEMORIZZADATI() {
  bool scritti = false;
  try {
    CONTROLLOCAMPI();
    if (FlagErroreCampi == 1) {
      return;
    }
    SCRIVIDATI();
    scritti = true;
    RICARICADATI();
  } catch (const engine::Error& e) {
    FlagErroreCampi = 1;
    FuoriPosto = true;
    toolkit::MsgBox(
        scritti ? u"La registrazione è stata eseguita, ma i dati non si possono rileggere.\r\r" +
                      e.Text() + u"\r\rEliminata la causa, premere di nuovo Memorizza."
                : u"Registrazione non eseguita.\r\r" + e.Text() +
                      u"\r\rI dati digitati restano sullo schermo: eliminata la causa, premere "
                      u"di nuovo Memorizza.",
        toolkit::kCritical, Titolo());
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
