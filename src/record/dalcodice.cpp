// The record on screen beside its fiscal code: fields filled from it, and what there is to say of
// one that stands against it.
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "record/avvisi.h"
#include "record/record.h"
#include "reference/righe.h"

namespace ANAGPARC {

using namespace MOD770BAS;

std::optional<regole::Comuni> ComuniLetti;

namespace {

// 8,000 rows, read once and not at the start: after that a look costs no more than a key press may.
// The suite fills the table with a release, not while people work. After a failure what has been
// read is dropped, and the table counts as one without rows.
void LEGGICOMUNI() {
  ComuniLetti.emplace();
  const regole::Fonte fonte = regole::FONTE(regole::Tabella::kComuni);
  regole::Comuni comuni;
  if (TabTABCOMUNI.RecordCount() > 0) {
    TabTABCOMUNI.MoveFirst();
    while (!TabTABCOMUNI.Eof()) {
      const std::u16string codice = TabTABCOMUNI.Fields(fonte.colonne[0]).Text();
      const std::u16string nome = TabTABCOMUNI.Fields(fonte.colonne[1]).Text();
      comuni.AGGIUNGI(codice, nome, TabTABCOMUNI.Fields(fonte.colonne[2]).View());
      TabTABCOMUNI.MoveNext();
    }
  }
  ComuniLetti = std::move(comuni);
}

}  // namespace

const regole::Comuni& COMUNI() {
  if (!ComuniLetti) {
    try {
      LEGGICOMUNI();
    } catch (const engine::Error&) {
      // What asks here is a help alone, and does without.
    }
  }
  return *ComuniLetti;
}

std::u16string COMPILADALCODICE() {
  if (!ComuniLetti || ComuniLetti->VUOTA()) {
    LEGGICOMUNI();
  }
  const regole::Testi detto = regole::DALCODICE(Text1(0).Text(), *ComuniLetti);
  std::u16string fatto;
  for (const regole::CampoDelCodice& campo : regole::kCampiDelCodice) {
    toolkit::TextBox& casella = Text1(campo.indice);
    const std::u16string& testo = detto[static_cast<std::size_t>(campo.indice)];
    if (testo.empty() || !regole::SENZAVALORE(campo.indice, casella.Text())) {
      continue;
    }
    casella.SetText(testo);
    if (campo.indice != regole::kNascita) {  // as on entering it
      casella.SetSelStart(casella.MaxLength());
    }
    FlagVariazioni = 1;
    if (!fatto.empty()) {
      fatto += u", ";
    }
    fatto += campo.nome;
  }
  if (fatto.empty()) {
    fatto = u"niente da aggiungere";
  }
  return u"Dal codice: " + fatto;
}

std::u16string AVVISOCAMPO(int indice) {
  if (!regole::CONAVVISO(indice)) {
    return {};
  }
  const regole::Comuni& comuni = COMUNI();
  regole::Testi testi;
  for (const regole::CampoPercettore& campo : regole::kCampi) {
    testi[POSTO(campo)] = Text1(campo.indice).Text();
  }
  return regole::AVVISO(indice, testi, regole::DALCODICE(testi[0], comuni), comuni);
}

}  // namespace ANAGPARC
