// A recipient goes, with all its certifications.
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "lifecycle/codici.h"
#include "platform/text/text.h"

namespace ANAGPARC {

using namespace MOD770BAS;

namespace {

std::u16string PULITO(std::u16string_view colonna) {
  return std::u16string(text::Trim(TabPERCPARCELLE.Fields(colonna).View()));
}

// The engine has stopped the deletion: the list is brought back to what the
// table holds, if it can be read, and the user learns how far it went.
void CANCELLAZIONEINTERROTTA(const engine::Error& errore, std::u16string_view fatto) {
  toolkit::Screen.MousePointer = 0;
  try {
    LISTAPERCETTORI();
  } catch (const engine::Error&) {
    // The cause is the same, and one message is enough.
  }
  toolkit::MsgBox(
      u"Cancellazione non completata.\r\r" + errore.Text() + u"\r\r" + std::u16string(fatto),
      toolkit::kCritical, Titolo());
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
  toolkit::Screen.MousePointer = 11;
  if (!trovato) {
    toolkit::MsgBox(u"Nessun percettore trovato ", toolkit::kInformation, Titolo());
    toolkit::Screen.MousePointer = 0;
    return;
  }
  try {
    DbDichiarazione.Execute(u"delete * from QUADROLAUT where " + CONDIZIONECERTIFICAZIONI());
  } catch (const engine::Error& e) {
    CANCELLAZIONEINTERROTTA(e,
                            u"Non è stato cancellato nulla: né l'anagrafica né le "
                            u"certificazioni.");
    return;
  }
  try {
    if (CERCAPERCETTORE(CFCorrente)) {
      TabPERCPARCELLE.Delete();
    }
  } catch (const engine::Error& e) {
    CANCELLAZIONEINTERROTTA(e,
                            u"Le certificazioni del percettore sono state cancellate; la sua "
                            u"anagrafica no. Ripetere la cancellazione.");
    return;
  }
  toolkit::Screen.MousePointer = 0;
  try {
    LISTAPERCETTORI();
  } catch (const engine::Error& e) {
    toolkit::MsgBox(
        u"Il percettore è stato cancellato, ma l'elenco non si può rileggere.\r\r" + e.Text(),
        toolkit::kCritical, Titolo());
    return;
  }
  toolkit::MsgBox(u"Cancellazione effettuata", toolkit::kInformation, Titolo());
  toolkit::Screen.MousePointer = 0;
}

}  // namespace ANAGPARC
