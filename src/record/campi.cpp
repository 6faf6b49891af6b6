#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "record/record.h"

namespace ANAGPARC {

using namespace MOD770BAS;
using regole::kCampi;

Percettore PercettoreLetto;

namespace {

std::size_t POSTO(const regole::CampoPercettore& campo) {
  return static_cast<std::size_t>(campo.indice);
}

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

void LEGGIPERCETTORE() {
  Percettore letto;
  for (const regole::CampoPercettore& campo : kCampi) {
    letto[POSTO(campo)] = TabPERCPARCELLE.Fields(campo.colonna).Text();
  }
  PercettoreLetto.swap(letto);
}

void CARICADATI() {
  SVUOTACAMPI();
  for (const regole::CampoPercettore& campo : kCampi) {
    Text1(campo.indice).SetText(regole::TESTOASCHERMO(campo, PercettoreLetto[POSTO(campo)]));
  }
  FlagVariazioni = 0;
}

void IMPOSTATESTATA() {
  CFCorrente = PercettoreLetto[0];
  LabCF.SetCaption(u" " + CFCorrente);
  LabCOGNODEN.SetCaption(u" " + PercettoreLetto[regole::kCognome] + u" " +
                         PercettoreLetto[regole::kNome]);
  LabCOGNODEN.Refresh();
  LabCF.Refresh();
}

void PULISCICAMPI() {
  SVUOTACAMPI();
  FlagVariazioni = 0;
}

}  // namespace ANAGPARC
