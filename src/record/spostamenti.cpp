// From one recipient to the next, along the table's codes and not along the
// list, and back to the selection screen.
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "record/record.h"
#include "selection/selection.h"

namespace ANAGPARC {

using namespace MOD770BAS;

namespace {

struct Verso {
  bool (engine::Recordset::*finita)();
  void (engine::Recordset::*sposta)();
  std::u16string_view messaggio;
};

// Takes the table to the neighbour, or at the end back to the same row. False
// when this one is gone, which the user is told.
bool PASSA(const Verso& verso) {
  if (FuoriPosto) {
    CERCAPERCETTORE(CFCorrente);
    FuoriPosto = false;
  }
  // A neighbour that another program deletes at this moment is passed over. One that no search
  // finds comes again: it fails when it is read.
  for (std::u16string sparita;; sparita = CFCorrente) {
    if (!(TabPERCPARCELLE.*verso.finita)()) {
      (TabPERCPARCELLE.*verso.sposta)();
    }
    if ((TabPERCPARCELLE.*verso.finita)()) {
      break;
    }
    CFCorrente = TabPERCPARCELLE.Fields(u"CFP").Text();
    if (CERCAPERCETTORE(CFCorrente) || CFCorrente == sparita) {
      return true;
    }
  }
  CFCorrente = CFPrecedente;
  toolkit::MsgBox(verso.messaggio, toolkit::kInformation, Titolo());
  if (!CERCAPERCETTORE(CFPrecedente)) {
    toolkit::MsgBox(kPercettoreSparito, toolkit::kInformation, Titolo());
    return false;
  }
  return true;
}

void SPOSTA(const Verso& verso) {
  if (FlagVariazioni == 1) {
    MESSAGGIOVARIAZ();
    if (RispostaUtente == toolkit::kCancel) {
      return;
    }
    if (RispostaUtente == toolkit::kYes && FlagErroreCampi == 1) {
      return;
    }
  }
  CFPrecedente = CFCorrente;
  try {
    if (!PASSA(verso)) {
      return;
    }
    LEGGIPERCETTORE();
  } catch (...) {
    // The record still on screen keeps its code, or Memorizza would write its
    // texts to the neighbour.
    CFCorrente = CFPrecedente;
    FuoriPosto = true;
    throw;
  }
  IMPOSTATESTATA();
  PULISCICAMPI();
  CARICADATI();
}

}  // namespace

void cmdparcprec_Click() {
  SPOSTA({&engine::Recordset::Bof, &engine::Recordset::MovePrevious, u"Prima Anagrafica"});
}

void cmdparcsuc_Click() {
  SPOSTA({&engine::Recordset::Eof, &engine::Recordset::MoveNext, u"Ultima Anagrafica"});
}

void cmdselprec_Click() {
  if (VARIAZIONIRISOLTE()) {
    RITORNASELEZDIC();
  }
}

void RILEGGISCHEDA() {
  if (FlagVariazioni == 1) {
    ANNUNCIA(u"Modificata: non riletta");
    return;
  }
  if (!PercettoreLetto) {
    return;
  }
  FuoriPosto = true;
  if (!CERCAPERCETTORE(CFCorrente)) {
    ANNUNCIA(std::u16string(kPercettoreSparito));
    return;
  }
  LEGGIPERCETTORE();
  FuoriPosto = false;
  auto* const casella = dynamic_cast<toolkit::TextBox*>(Me.Focus());
  int cursore = 0;
  if (casella != nullptr) {
    cursore = casella->SelStart();
  }
  IMPOSTATESTATA();
  PULISCICAMPI();
  CARICADATI();
  if (casella != nullptr) {
    casella->SetSelStart(cursore);
  }
  ANNUNCIA(u"Riletta dall'archivio");
}

void cmdparcprec_GotFocus() { Framecodif.SetVisible(false); }
void cmdparcsuc_GotFocus() { Framecodif.SetVisible(false); }
void cmdselprec_GotFocus() { Framecodif.SetVisible(false); }

}  // namespace ANAGPARC
