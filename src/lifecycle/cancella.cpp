// A recipient goes, with all its certifications.
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "lifecycle/codici.h"
#include "lifecycle/lifecycle.h"
#include "platform/text/text.h"
#include "record/record.h"
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

// How the question names the recipient of the list row; empty where the table no longer has it.
std::u16string NOMEPERCETTORE() {
  if (!CERCAPERCETTORE(CFCorrente)) {
    return {};
  }
  return PULITO(u"CFP") + u" " + PULITO(u"APARC_1") + u" " + PULITO(u"APARC_2") + u"\r\r";
}

// Certifications first, then the recipient's row: both go, or, when it throws, neither. False, and
// nothing goes, when the recipient is no longer the one with this name.
bool CANCELLAPERCETTORE(const std::u16string& nome) {
  TRANSAZIONE transazione;
  if (NOMEPERCETTORE() != nome) {
    return false;
  }
  const std::u16string registrato = TabPERCPARCELLE.Fields(u"CFP").Text();
  DbDichiarazione.Execute(u"delete * from QUADROLAUT where " +
                          CONDIZIONECERTIFICAZIONI(CFCorrente, registrato));
  if (CERCAPERCETTORE(CFCorrente)) {
    TabPERCPARCELLE.Delete();
  }
  transazione.CONFERMA();
  return true;
}

bool CHIEDECANCELLAZIONE(const std::u16string& nome) {
  RispostaUtente = static_cast<std::int16_t>(
      toolkit::MsgBox(nome + u"Vuoi cancellare l'anagrafica del percettore selezionato ?\r\r"
                             u"Rispondendo affermativamente si cancellano tutte\r"
                             u"le certificazioni di lavoro autonomo da tutte le\r"
                             u"dichiarazioni 770 in cui e'presente\r",
                      toolkit::kYesNo | toolkit::kCritical, Titolo()));
  return RispostaUtente == toolkit::kYes;
}

enum class Esito { kFatto, kRinuncia, kNonTrovato, kSparito };

// Where another program changes the recipient before the answer, the question is put again: the
// user deletes only what the question has named.
Esito CANCELLA() {
  const std::u16string chiesto = NOMEPERCETTORE();
  for (std::u16string nome = chiesto;;) {
    if (!CHIEDECANCELLAZIONE(nome)) {
      return Esito::kRinuncia;
    }
    const CLESSIDRA attesa;
    if (chiesto.empty()) {
      toolkit::MsgBox(u"Nessun percettore trovato ", toolkit::kInformation, Titolo());
      return Esito::kNonTrovato;
    }
    if (CANCELLAPERCETTORE(nome)) {
      return Esito::kFatto;
    }
    nome = NOMEPERCETTORE();
    if (nome.empty()) {
      return Esito::kSparito;
    }
  }
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
  Esito esito = Esito::kRinuncia;
  try {
    esito = CANCELLA();
  } catch (const engine::Error& e) {
    std::u16string messaggio =
        u"Cancellazione non eseguita.\r\r" + e.Text() +
        u"\r\rNon è stato cancellato nulla: né l'anagrafica né le certificazioni.";
    if (e.Number() == engine::kUncertain) {
      messaggio = u"Non si sa se la cancellazione è stata eseguita.\r\r" + e.Text() +
                  u"\r\rQuando il server risponde di nuovo, guardare se il percettore è ancora "
                  u"nell'elenco: l'anagrafica e le certificazioni ci sono tutte o nessuna.";
    }
    toolkit::MsgBox(messaggio, toolkit::kCritical, Titolo());
    return;
  }
  switch (esito) {
    case Esito::kRinuncia:
      FlagVariazioni = 0;
      [[fallthrough]];
    case Esito::kNonTrovato:
      List1.SetFocus();  // on the button the next blank would ask again
      return;
    case Esito::kSparito:
      toolkit::MsgBox(std::u16string(kPercettoreSparito) + u"\r\rNon è stato cancellato nulla.",
                      toolkit::kInformation, Titolo());
      LISTAPERCETTORI();
      List1.SetFocus();
      return;
    case Esito::kFatto:
      break;
  }
  try {
    LISTAPERCETTORI();
  } catch (const engine::Error& e) {
    List1.SetFocus();
    toolkit::MsgBox(
        u"Il percettore è stato cancellato, ma l'elenco non si può rileggere.\r\r" + e.Text(),
        toolkit::kCritical, Titolo());
    return;
  }
  List1.SetFocus();
  toolkit::MsgBox(u"Cancellazione effettuata", toolkit::kInformation, Titolo());
}

}  // namespace ANAGPARC
