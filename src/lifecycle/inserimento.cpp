// A new recipient: the tests of its code, then an empty record that bears it.
// Nothing is written here; the row comes into being at the record's first save.
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "lifecycle/codici.h"
#include "lifecycle/lifecycle.h"
#include "platform/text/text.h"
#include "record/LibrAgg770.h"
#include "record/record.h"

namespace ANAGPARC {

using namespace MOD770BAS;

namespace {

void MANCA(const toolkit::Label& etichetta, toolkit::TextBox& casella) {
  toolkit::MsgBox(u"Inserire " + etichetta.Caption(), toolkit::kInformation, Titolo());
  FERMASU(casella);
}

}  // namespace

void CmdInserimento_Click(int Index) {
  if (Index == 1) {
    FrmInserimento.SetVisible(false);
    return;
  }
  const std::u16string codice = TEXTCF.Text();
  const std::u16string cognome(text::Trim(TextCOGNO.Text()));
  const std::u16string nome(text::Trim(TextNOME.Text()));
  if (text::Trim(codice).empty()) {
    MANCA(Label2(1), TEXTCF);
    return;
  }
  if (!CODICEACCETTATO(codice, TEXTCF)) {
    return;
  }
  if (cognome.empty()) {
    MANCA(Label2(4), TextCOGNO);
    return;
  }
  if (CERCAPERCETTORE(codice)) {
    CODICEESISTENTE();
    FERMASU(TEXTCF);
    return;
  }
  PercettoreLetto.reset();
  LabCOGNODEN.SetCaption(cognome + u" " + nome);
  Text1(1).SetText(cognome);
  Text1(2).SetText(nome);
  LabCF.SetCaption(codice);
  Text1(0).SetText(codice);
  CFCorrente = codice;
  FlagNuovaAnagrafica = 1;
  cmdparcprec.SetEnabled(false);
  cmdparcsuc.SetEnabled(false);
  FrmInserimento.SetVisible(false);
  FrmSelezione.SetVisible(false);
  Frmmoduli(0).SetVisible(true);
  Frmbottoni.SetVisible(true);
  Frmtestata.SetVisible(true);
}

void TEXTCF_Change() { ASPETTONORMALE(TEXTCF); }
void TEXTCF_GotFocus() { CURSOREINFONDO(TEXTCF); }
void TEXTCF_KeyPress(std::int16_t& KeyAscii) { KeyAscii = LibrAgg770::MAIUSCOLA(KeyAscii); }

void TextCOGNO_Change() { ASPETTONORMALE(TextCOGNO); }
void TextCOGNO_GotFocus() { CURSOREINFONDO(TextCOGNO); }
void TextCOGNO_KeyPress(std::int16_t& KeyAscii) { KeyAscii = LibrAgg770::MAIUSCOLA(KeyAscii); }

void TextNOME_Change() { ASPETTONORMALE(TextNOME); }
void TextNOME_GotFocus() { CURSOREINFONDO(TextNOME); }
void TextNOME_KeyPress(std::int16_t& KeyAscii) { KeyAscii = LibrAgg770::MAIUSCOLA(KeyAscii); }

}  // namespace ANAGPARC
