// The keys that act on a whole screen, whichever control has the focus.
#include "frame/ANAGPARC.h"
#include "record/record.h"
#include "record/regole.h"
#include "reference/reference.h"
#include "selection/selection.h"

namespace ANAGPARC {

using toolkit::CodeOf;
using toolkit::kControl;
using toolkit::Key;

namespace {

// Presses a button and leaves the user where he was: on the same record with the caret in its
// place, on another one as if he had come into the field. Not in a birth date that isn't one,
// out of which only Backspace would lead: there the focus stays on the button, where the same
// key goes on. The lookup panel, which would lose the focus, closes first and gives it to its
// field. Where the button can't be pressed, nothing happens at all.
void PREMI(toolkit::Control& pulsante) {
  if (!pulsante.CanFocus()) {
    return;
  }
  if (Me.Focus() == &ListTabmin) {
    CHIUDITABELLA();
  }
  Me.Press(pulsante, [prima = CFCorrente](const toolkit::Control& controllo) {
    const toolkit::TextBox& nascita = Text1(regole::kNascita);
    if (&controllo == &nascita && !regole::DATAACCETTATA(nascita.Text())) {
      return toolkit::Back::kStay;
    }
    return CFCorrente == prima ? toolkit::Back::kResume : toolkit::Back::kEnter;
  });
}

// The button that the key presses on the record screen, or null.
toolkit::Control* PULSANTESCHEDA(std::int16_t KeyCode, std::int16_t Shift) {
  if (Shift == kControl && KeyCode == u'S') {
    return &cmdmemorizza;
  }
  // In the lookup panel they turn the pages of its list.
  if (Shift != 0 || Me.Focus() == &ListTabmin) {
    return nullptr;
  }
  if (KeyCode == CodeOf(Key::PageUp)) {
    return &cmdparcprec;
  }
  return KeyCode == CodeOf(Key::PageDown) ? &cmdparcsuc : nullptr;
}

// The same for the panels of the selection screen, whose boxes Enter confirms.
toolkit::Control* PULSANTEPANNELLO(std::int16_t KeyCode, std::int16_t Shift) {
  const toolkit::Control* pannello = &FrameCambiaCf;
  toolkit::Control *annulla = &CmdAnnullaCF, *conferma = &CmdConfermaCF;
  if (FrmInserimento.Visible()) {
    pannello = &FrmInserimento;
    annulla = &CmdInserimento(1);
    conferma = &CmdInserimento(0);
  }
  const toolkit::Control* fuoco = Me.Focus();
  if (Shift != 0 || !pannello->Visible() || fuoco->Container() != pannello) {
    return nullptr;
  }
  if (KeyCode == CodeOf(Key::Escape)) {
    return annulla;
  }
  if (KeyCode == CodeOf(Key::Enter) && dynamic_cast<const toolkit::TextBox*>(fuoco) != nullptr) {
    return conferma;
  }
  return nullptr;
}

// A new recipient, from the record once that is settled; not while a code is being changed, and
// an insertion that was begun goes on.
void NUOVAANAGRAFICA() {
  if (!FrmSelezione.Visible()) {
    PREMI(cmdselprec);
  }
  if (!FrmSelezione.Visible() || FrameCambiaCf.Visible()) {
    return;
  }
  if (FrmInserimento.Visible()) {
    TEXTCF.SetFocus();
  } else {
    APRIINSERIMENTO();
  }
}

// The manual's chapter about what the user is at.
std::u16string_view CAPITOLO() {
  if (FrmSelezione.Visible()) {
    if (FrmInserimento.Visible()) {
      return u"5-inserire-un-percettore";
    }
    if (FrameCambiaCf.Visible() || Me.Focus() == &CmdCambia) {
      return u"7-cambiare-un-codice-fiscale";
    }
    return Me.Focus() == &Cmdcancella ? u"6-cancellare-un-percettore" : u"2-lelenco-dei-percettori";
  }
  if (Framecodif.Visible()) {
    return u"4-scegliere-un-codice-da-una-tabella";
  }
  return Me.Focus() == &Text1(regole::kNascita) ? u"la-data"
                                                : u"3-aprire-e-modificare-unanagrafica";
}

void MOSTRAMANUALE() {
  const std::u16string guasto = toolkit::ShowManual(CAPITOLO());
  if (!guasto.empty()) {
    toolkit::MsgBox(u"Manuale non trovato.\r\r" + guasto, toolkit::kExclamation, Titolo());
  }
}

// The keys of the record screen that press no button; false for any other.
bool TASTOSCHEDA(std::int16_t KeyCode, std::int16_t Shift) {
  constexpr int kInizioBlocchi[] = {regole::kCognome, regole::kComuneDomicilio,
                                    regole::kCodiceEstero};
  if (Shift == kControl && KeyCode >= u'1' && KeyCode <= u'3') {
    Text1(kInizioBlocchi[KeyCode - u'1']).SetFocus();
    return true;
  }
  if (Shift != 0) {
    return false;
  }
  switch (KeyCode) {
    case CodeOf(Key::Escape):
      if (Framecodif.Visible()) {
        CHIUDITABELLA();
      } else {
        PREMI(cmdselprec);
      }
      return true;
    case CodeOf(Key::F4):
      TABELLADELFUOCO();
      return true;
    case CodeOf(Key::F5):
      RILEGGISCHEDA();
      return true;
    case CodeOf(Key::F6):
      ANNUNCIA(COMPILADALCODICE());
      return true;
    default:
      return false;
  }
}

}  // namespace

void Form_KeyDown(std::int16_t& KeyCode, std::int16_t Shift) {
  const bool scheda = !FrmSelezione.Visible();
  toolkit::Control* pulsante = nullptr;
  if (scheda) {
    pulsante = PULSANTESCHEDA(KeyCode, Shift);
  } else {
    pulsante = PULSANTEPANNELLO(KeyCode, Shift);
  }
  if (pulsante != nullptr) {
    PREMI(*pulsante);
  } else if (KeyCode == u'N' && Shift == kControl) {
    NUOVAANAGRAFICA();
  } else if (KeyCode == CodeOf(Key::F1) && Shift == 0) {
    MOSTRAMANUALE();
  } else if (KeyCode == u'P' && Shift == kControl) {
    // With a panel open too: the list stands beside it.
    if (scheda) {
      STAMPASCHEDA();
    } else {
      STAMPAELENCO();
    }
  } else if (!scheda && KeyCode == CodeOf(Key::F5) && Shift == 0) {
    if (!FrameCambiaCf.Visible()) {  // which goes on about the row that is selected
      LISTAPERCETTORI();
    }
  } else if (!scheda || !TASTOSCHEDA(KeyCode, Shift)) {
    return;
  }
  KeyCode = 0;
}

void SUGGERISCITASTI() {
  cmdmemorizza.SetToolTipText(u"Ctrl+S");
  cmdselprec.SetToolTipText(u"Esc");
  cmdparcprec.SetToolTipText(u"Pag su");
  cmdparcsuc.SetToolTipText(u"Pag giù");
  CmdInserimento(0).SetToolTipText(u"Invio, dalle caselle");
  CmdInserimento(1).SetToolTipText(u"Esc");
  CmdConfermaCF.SetToolTipText(u"Alt+C; Invio, dalla casella");
  CmdAnnullaCF.SetToolTipText(u"Alt+A; Esc");
  CmdCambia.SetToolTipText(u"Alt+C");
  for (int i = 0; i < CMDAPRILIST.Bound(); ++i) {
    CMDAPRILIST(i).SetToolTipText(u"F4");
  }
}

}  // namespace ANAGPARC
