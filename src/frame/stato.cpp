// What the status bar's second panel says: the state of the screen, and what has just happened
// that changes too little to be seen. It asks nothing and stops nobody.
#include <utility>

#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "platform/text/text.h"
#include "record/record.h"

namespace ANAGPARC {

using namespace MOD770BAS;

namespace {

std::u16string Annuncio;

// The row selected, of the recipients; without one how many there are.
std::u16string STATOELENCO() {
  const int percettori = List1.ListCount() - 1;
  if (List1.ListIndex() > 0) {
    return text::Decimal(List1.ListIndex()) + u" di " + text::Decimal(percettori);
  }
  return text::Decimal(percettori) + (percettori == 1 ? u" percettore" : u" percettori");
}

// The search that is under way in the list with the focus.
std::u16string STATORICERCA() {
  for (const toolkit::ListBox* lista : {&List1, &ListTabmin}) {
    if (Me.Focus() == lista && lista->Searching()) {
      std::u16string stato = u"Cerca: " + std::u16string(lista->Sought());
      if (!lista->Found()) {
        stato += u" - non trovato";
      }
      return stato;
    }
  }
  return {};
}

// The first that applies: what concerns the field, which changes most, comes first.
std::u16string STATOSCHEDA() {
  for (const regole::CampoPercettore& campo : regole::kCampi) {
    const toolkit::TextBox& casella = Text1(campo.indice);
    if (Me.Focus() != &casella) {
      continue;
    }
    if (std::u16string avviso = AVVISOCAMPO(campo.indice); !avviso.empty()) {
      return avviso;
    }
    if (casella.Locked()) {
      return u"Solo da tabella: F4";
    }
    // As one comes, and after Backspace: digits typed over an old date have to agree with it.
    if (campo.indice == regole::kNascita && casella.SelStart() == 0) {
      return u"Otto cifre; Backspace per ricominciare";
    }
  }
  if (FlagVariazioni == 1) {
    return u"Modificata";
  }
  if (!OraRegistrazione.empty()) {
    return u"Registrata " + OraRegistrazione;
  }
  // The neighbours stay off where a new recipient was given up and another one opened.
  if (!cmdparcprec.Enabled() && !PercettoreLetto) {
    return u"Nuova: nasce con Memorizza";
  }
  return {};
}

}  // namespace

void ANNUNCIA(std::u16string testo) { Annuncio = std::move(testo); }

void AGGIORNASTATO() {
  std::u16string stato = std::exchange(Annuncio, {});
  if (stato.empty()) {
    stato = STATORICERCA();
  }
  if (stato.empty() && FrmSelezione.Visible()) {
    stato = STATOELENCO();
  } else if (stato.empty()) {
    stato = STATOSCHEDA();
  }
  StatusBar1.Panels(2).SetText(stato);
}

}  // namespace ANAGPARC
