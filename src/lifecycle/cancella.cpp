// A recipient goes, with all its certifications.
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "lifecycle/codici.h"
#include "lifecycle/lifecycle.h"
#include "platform/text/text.h"
#include "selection/selection.h"

namespace ANAGPARC {

using namespace MOD770BAS;

namespace {

std::u16string PULITO(std::u16string_view colonna) {
  return std::u16string(text::Trim(TabPERCPARCELLE.Fields(colonna).View()));
}

// The pointer is the hourglass as long as this lives.
class CLESSIDRA {
 public:
  CLESSIDRA() { toolkit::Screen.MousePointer = 11; }
  ~CLESSIDRA() { toolkit::Screen.MousePointer = 0; }
  CLESSIDRA(const CLESSIDRA&) = delete;
  CLESSIDRA& operator=(const CLESSIDRA&) = delete;
};

// Certifications first, then the recipient's row: both go, or, when it throws, neither.
void CANCELLAPERCETTORE() {
  DbDichiarazione.BeginTrans();
  try {
    const std::u16string registrato =
        CERCAPERCETTORE(CFCorrente) ? TabPERCPARCELLE.Fields(u"CFP").Text() : std::u16string();
    DbDichiarazione.Execute(u"delete * from QUADROLAUT where " +
                            CONDIZIONECERTIFICAZIONI(CFCorrente, registrato));
    if (CERCAPERCETTORE(CFCorrente)) {
      TabPERCPARCELLE.Delete();
    }
    DbDichiarazione.CommitTrans();
  } catch (...) {
    DbDichiarazione.Rollback();
    throw;
  }
}

// As CANCELLAPERCETTORE, but a failure is told. False when nothing has been deleted.
bool CANCELLAZIONERIUSCITA() {
  std::u16string causa;
  try {
    const CLESSIDRA attesa;
    CANCELLAPERCETTORE();
    return true;
  } catch (const engine::Error& e) {
    causa = e.Text();
  }
  toolkit::MsgBox(u"Cancellazione non eseguita.\r\r" + causa +
                      u"\r\rNon è stato cancellato nulla: né l'anagrafica né le certificazioni.",
                  toolkit::kCritical, Titolo());
  return false;
}

}  // namespace

void Cmdcancella_Click() {
  const std::u16string riga = List1.Text();
  if (text::Trim(riga).empty()) {
    toolkit::MsgBox(u"Nessun percettore selezionato per la cancellazione", toolkit::kInformation,
                    Titolo());
    return;
  }
  CFCorrente = riga.substr(0, 16);
  const bool trovato = CERCAPERCETTORE(CFCorrente);
  std::u16string domanda;
  if (trovato) {
    domanda = PULITO(u"CFP") + u" " + PULITO(u"APARC_1") + u" " + PULITO(u"APARC_2") + u"\r\r";
  }
  domanda +=
      u"Vuoi cancellare l'anagrafica del percettore selezionato ?\r\r"
      u"Rispondendo affermativamente si cancellano tutte\r"
      u"le certificazioni di lavoro autonomo da tutte le\r"
      u"dichiarazioni 770 in cui e'presente\r";
  RispostaUtente = static_cast<std::int16_t>(
      toolkit::MsgBox(domanda, toolkit::kYesNo | toolkit::kCritical, Titolo()));
  if (RispostaUtente != toolkit::kYes) {
    FlagVariazioni = 0;
    return;
  }
  if (!trovato) {
    const CLESSIDRA attesa;
    toolkit::MsgBox(u"Nessun percettore trovato ", toolkit::kInformation, Titolo());
    return;
  }
  if (!CANCELLAZIONERIUSCITA()) {
    return;
  }
  try {
    LISTAPERCETTORI();
  } catch (const engine::Error& e) {
    toolkit::MsgBox(
        u"Il percettore è stato cancellato, ma l'elenco non si può rileggere.\r\r" + e.Text(),
        toolkit::kCritical, Titolo());
    return;
  }
  toolkit::MsgBox(u"Cancellazione effettuata", toolkit::kInformation, Titolo());
}

}  // namespace ANAGPARC
