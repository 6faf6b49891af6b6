// The change of a recipient's code, written at once on its certifications and
// on its own row.
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "lifecycle/codici.h"
#include "lifecycle/lifecycle.h"
#include "platform/text/text.h"
#include "record/LibrAgg770.h"
#include "record/record.h"
#include "selection/selection.h"

namespace ANAGPARC {

using namespace MOD770BAS;

namespace {

// The list and what acts on it stand still while the panel is open, so that
// CFCorrente goes on naming the selected recipient.
void ABILITASELEZIONE(bool abilita) {
  Cmdcancella.SetEnabled(abilita);
  CmdCambia.SetEnabled(abilita);
  List1.SetEnabled(abilita);
  Option1(0).SetEnabled(abilita);
  Option1(1).SetEnabled(abilita);
}

void ATTESA(bool inCorso) {
  toolkit::Screen.MousePointer = inCorso ? 11 : 0;
  Label2(15).SetVisible(inCorso);
  Label2(15).Refresh();
}

enum class Esito { kFatto, kGuasto, kIncerto, kCodicePreso, kSparito };

// All rows bear the new code when it returns kFatto, otherwise or when it throws none does: a
// half-rewritten recipient would have its certifications under two codes. `presente`: whether
// the table had the recipient when the user was asked.
Esito CAMBIA(bool presente) {
  TRANSAZIONE transazione;
  if (CERCAPERCETTORE(CFNuovo)) {
    return Esito::kCodicePreso;
  }
  if (presente && !CERCAPERCETTORE(CFCorrente)) {
    return Esito::kSparito;
  }
  CAMBIACF();
  transazione.CONFERMA();
  return Esito::kFatto;
}

void CAMBIONONESEGUITO(const std::u16string& causa) {
  toolkit::MsgBox(u"Cambio codice fiscale non eseguito.\r\r" + causa, toolkit::kCritical, Titolo());
}

constexpr char16_t kCodiceVecchio[] =
    u"\r\rL'anagrafica e le certificazioni hanno ancora il codice vecchio.";

bool CONFERMATO() {
  RispostaUtente = static_cast<std::int16_t>(
      toolkit::MsgBox(u"Il codice fiscale del percettore selezionato sara' cambiato\r\r"
                      u"Proseguo ???",
                      toolkit::kYesNo | toolkit::kCritical, Titolo()));
  return RispostaUtente == toolkit::kYes;
}

// Changes the code under the notice to wait, and says then how it went.
Esito CAMBIAEAVVERTI(bool presente) {
  Esito esito = Esito::kGuasto;
  std::u16string guasto;
  ATTESA(true);
  try {
    esito = CAMBIA(presente);
  } catch (const engine::Error& e) {
    RecLista = {};
    guasto = e.Text() + kCodiceVecchio;
    if (e.Number() == engine::kUncertain) {
      esito = Esito::kIncerto;
      guasto = u"Non si sa se il cambio di codice fiscale è stato eseguito.\r\r" + e.Text() +
               u"\r\rQuando il server risponde di nuovo, guardare nell'elenco quale codice ha il "
               u"percettore: l'anagrafica e le certificazioni hanno comunque lo stesso.";
    }
  }
  ATTESA(false);
  switch (esito) {
    case Esito::kFatto:
      toolkit::MsgBox(u"Per il percettore " + std::u16string(text::Trim(RigaSelezionata)) +
                          u"\r\rCambio codice fiscale eseguito !\r\rNuovo codice fiscale " +
                          CFNuovo,
                      toolkit::kInformation, Titolo());
      break;
    case Esito::kGuasto:
      CAMBIONONESEGUITO(guasto);
      break;
    case Esito::kIncerto:
      toolkit::MsgBox(guasto, toolkit::kCritical, Titolo());
      break;
    case Esito::kCodicePreso:
      CAMBIONONESEGUITO(std::u16string(u"Il codice fiscale nuovo è già nell'archivio: è stato "
                                       u"inserito da un altro programma.") +
                        kCodiceVecchio);
      break;
    case Esito::kSparito:
      CAMBIONONESEGUITO(std::u16string(kPercettoreSparito));
      break;
  }
  return esito;
}

void RIFAIELENCO(Esito esito) {
  try {
    LISTAPERCETTORI();
  } catch (const engine::Error& e) {
    std::u16string avviso = u"L'elenco non si può rileggere.\r\r";
    if (esito == Esito::kFatto) {
      avviso = u"Il codice è stato cambiato, ma l'elenco non si può rileggere.\r\r";
    }
    toolkit::MsgBox(avviso + e.Text(), toolkit::kCritical, Titolo());
  }
}

}  // namespace

void CmdCambia_Click() {
  const std::u16string riga = List1.Text();
  if (text::Trim(riga).empty()) {
    toolkit::MsgBox(u"Nessuna anagrafica sostituto selezionata per il cambio codice fiscale",
                    toolkit::kInformation, Titolo());
    return;
  }
  FrmInserimento.SetVisible(false);
  RigaSelezionata = riga;
  CFCorrente = riga.substr(0, 16);
  Label2(11).SetCaption(CFCorrente);
  Label2(7).SetCaption(u" Percettore:" + std::u16string(text::Trim(text::Mid(riga, 18))));
  FrameCambiaCf.SetVisible(true);
  ABILITASELEZIONE(false);
  Text2.SetText(u"");
  Text2.SetFocus();
}

void CmdAnnullaCF_Click() {
  FrameCambiaCf.SetVisible(false);
  ABILITASELEZIONE(true);
  List1.SetFocus();  // otherwise the focus would go to Uscita
}

void CmdConfermaCF_Click() {
  CFNuovo = CHIAVECODICE(Text2.Text());
  if (text::Trim(Text2.Text()).empty()) {
    Text2.SetFocus();
    return;
  }
  if (CERCAPERCETTORE(CFNuovo)) {
    CODICEESISTENTE();
    FERMASU(Text2);
    return;
  }
  const bool presente = CERCAPERCETTORE(CFCorrente);
  if (!CODICEACCETTATO(CFNuovo, Text2)) {
    return;
  }
  if (!CONFERMATO()) {
    FlagVariazioni = 0;
    CmdAnnullaCF_Click();
    return;
  }
  switch (const Esito esito = CAMBIAEAVVERTI(presente)) {
    case Esito::kGuasto:
    case Esito::kIncerto:
      break;
    case Esito::kCodicePreso:
      FERMASU(Text2);
      break;
    case Esito::kFatto:
    case Esito::kSparito:
      RIFAIELENCO(esito);
      CmdAnnullaCF_Click();
      break;
  }
}

void CAMBIACF() {
  std::u16string registrato;
  if (CERCAPERCETTORE(CFCorrente)) {
    registrato = TabPERCPARCELLE.Fields(u"CFP").Text();
  }
  RecLista = DbDichiarazione.OpenRecordset(u"SELECT * FROM QUADROLAUT WHERE" +
                                           CONDIZIONECERTIFICAZIONI(CFCorrente, registrato));
  while (!RecLista.Eof()) {
    RecLista.Edit();
    RecLista.Fields(u"CFP").Set(CFNuovo);
    RecLista.Update();
    RecLista.MoveNext();
  }
  RecLista.Close();
  if (CERCAPERCETTORE(CFCorrente)) {
    TabPERCPARCELLE.Edit();
    TabPERCPARCELLE.Fields(u"CFP").Set(CFNuovo);
    TabPERCPARCELLE.Update();
  }
}

void Text2_Change() { ASPETTONORMALE(Text2); }
void Text2_GotFocus() { CURSOREINFONDO(Text2); }
void Text2_KeyPress(std::int16_t& KeyAscii) { KeyAscii = LibrAgg770::MAIUSCOLA(KeyAscii); }

}  // namespace ANAGPARC
