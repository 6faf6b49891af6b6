#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "record/record.h"

namespace ANAGPARC {

using namespace MOD770BAS;
using regole::kCampi;

std::optional<Percettore> PercettoreLetto;
std::u16string OraRegistrazione;

namespace {

// The date's colours are left to its Change.
void SVUOTACAMPI() {
  for (IndiceCampo = 0; IndiceCampo <= regole::kUltimoCampo; ++IndiceCampo) {
    const regole::CampoPercettore* campo = regole::CAMPO(IndiceCampo);
    if (campo == nullptr) {
      continue;
    }
    toolkit::TextBox& casella = Text1(campo->indice);
    if (campo->genere == regole::Genere::kData) {
      casella.SetText(regole::kMascheraData);
    } else {
      casella.SetText(u"");
      ASPETTONORMALE(casella);
    }
  }
}

}  // namespace

void SistemaToolTipText() {
  for (const regole::CampoPercettore& campo : kCampi) {
    if (!campo.casella.empty()) {
      Text1(campo.indice).SetToolTipText(u"Casella " + std::u16string(campo.casella));
    }
  }
}

Percettore LEGGIRIGA() {
  Percettore riga;
  for (const regole::CampoPercettore& campo : kCampi) {
    riga[POSTO(campo)] = TabPERCPARCELLE.Fields(campo.colonna).Text();
  }
  return riga;
}

void LEGGIPERCETTORE() { PercettoreLetto = LEGGIRIGA(); }

void CARICADATI() {
  SVUOTACAMPI();
  for (const regole::CampoPercettore& campo : kCampi) {
    Text1(campo.indice).SetText(regole::TESTOASCHERMO(campo, PercettoreLetto->at(POSTO(campo))));
  }
  FlagVariazioni = 0;
}

void IMPOSTATESTATA() {
  const Percettore& letto = *PercettoreLetto;
  CFCorrente = letto[0];
  LabCF.SetCaption(u" " + CFCorrente);
  LabCOGNODEN.SetCaption(u" " + letto[regole::kCognome] + u" " + letto[regole::kNome]);
  LabCOGNODEN.Refresh();
  LabCF.Refresh();
}

void PULISCICAMPI() {
  SVUOTACAMPI();
  OraRegistrazione.clear();
  FlagVariazioni = 0;
}

}  // namespace ANAGPARC
