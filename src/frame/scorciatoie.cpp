// The keys that act on a whole screen, whichever control has the focus.
#include "frame/ANAGPARC.h"
#include "record/record.h"
#include "record/regole.h"
#include "reference/reference.h"
#include "selection/selection.h"

namespace ANAGPARC {

namespace {

constexpr std::int16_t kInvio = 13, kEsc = 27, kPagSu = 33, kPagGiu = 34, kF4 = 115, kF6 = 117;
constexpr std::int16_t kControl = 2;

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
  return KeyCode == kPagSu ? &cmdparcprec : KeyCode == kPagGiu ? &cmdparcsuc : nullptr;
}

// The same for the panels of the selection screen, whose boxes Enter confirms.
toolkit::Control* PULSANTEPANNELLO(std::int16_t KeyCode, std::int16_t Shift) {
  const bool inserimento = FrmInserimento.Visible();
  if (Shift != 0 || (!inserimento && !FrameCambiaCf.Visible())) {
    return nullptr;
  }
  const toolkit::Control* pannello = inserimento ? &FrmInserimento : &FrameCambiaCf;
  if (Me.Focus()->Container() != pannello) {
    return nullptr;
  }
  if (KeyCode == kEsc) {
    return inserimento ? &CmdInserimento(1) : &CmdAnnullaCF;
  }
  if (KeyCode == kInvio && Me.Focus()->Type() == toolkit::Kind::TextBox) {
    return inserimento ? &CmdInserimento(0) : &CmdConfermaCF;
  }
  return nullptr;
}

}  // namespace

void Form_KeyDown(std::int16_t& KeyCode, std::int16_t Shift) {
  const bool scheda = !FrmSelezione.Visible();
  if (toolkit::Control* pulsante =
          scheda ? PULSANTESCHEDA(KeyCode, Shift) : PULSANTEPANNELLO(KeyCode, Shift)) {
    PREMI(*pulsante);
    KeyCode = 0;
  } else if (scheda && KeyCode == kF4 && Shift == 0) {
    TABELLADELFUOCO();
    KeyCode = 0;
  } else if (scheda && KeyCode == kF6 && Shift == 0) {
    ANNUNCIA(COMPILADALCODICE());
    KeyCode = 0;
  } else if (KeyCode == u'P' && Shift == kControl) {
    // With a panel open too: the list stands beside it.
    scheda ? STAMPASCHEDA() : STAMPAELENCO();
    KeyCode = 0;
  }
}

void SUGGERISCITASTI() {
  cmdmemorizza.SetToolTipText(u"Ctrl+S");
  cmdparcprec.SetToolTipText(u"Pag su");
  cmdparcsuc.SetToolTipText(u"Pag giù");
  CmdInserimento(0).SetToolTipText(u"Invio, dalle caselle");
  CmdInserimento(1).SetToolTipText(u"Esc");
  CmdConfermaCF.SetToolTipText(u"Alt+C; Invio, dalla casella");
  CmdAnnullaCF.SetToolTipText(u"Alt+A; Esc");
  CmdCambia.SetToolTipText(u"Alt+C");
  for (int i = 0; i < CMDAPRILIST.Bound(); ++i) {
    CMDAPRILIST(i).SetToolTipText(u"F4, dalla casella");
  }
}

}  // namespace ANAGPARC
