// The test of a record as a whole, just before it is written.
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "record/record.h"

namespace ANAGPARC {

using namespace MOD770BAS;

namespace {

void CAMPOERRATO(int indice, std::u16string_view messaggio) {
  ASPETTOERRORE(Text1(indice));
  Frmmoduli(0).SetVisible(true);
  FlagErroreCampi = 1;
  toolkit::MsgBox(messaggio, toolkit::kInformation, Titolo());
  Text1(indice).SetFocus();
}

// Whether the field holds a code that its table should have and doesn't.
bool MANCAINTABELLA(int indice, engine::Recordset& tabella) {
  const std::u16string& testo = Text1(indice).Text();
  if (!regole::DACERCARE(*regole::CAMPO(indice), testo)) {
    return false;
  }
  tabella.Seek(u"=", testo);
  return tabella.NoMatch();
}

// The states' table on its index by code; on every way out, a failure too, it
// goes back to its resting index, by which the lookup panel reads it.
class PERCODICE {
 public:
  PERCODICE() { TabTABMIN_SG.Index(u"CHIAVE1"); }
  ~PERCODICE() {
    try {
      TabTABMIN_SG.Index(u"CHIAVE2");
    } catch (const engine::Error&) {
      // The failure that is on its way says enough.
    }
  }
  PERCODICE(const PERCODICE&) = delete;
  PERCODICE& operator=(const PERCODICE&) = delete;
};

}  // namespace

void CONTROLLOCAMPI() {
  FlagErroreCampi = 0;
  for (IndiceCampo = 0; IndiceCampo <= regole::kUltimoCampo; ++IndiceCampo) {
    if (const regole::CampoPercettore* campo = regole::CAMPO(IndiceCampo)) {
      ASPETTONORMALE(Text1(campo->indice));
    }
  }
  if (!regole::DATAACCETTATA(Text1(regole::kNascita).Text())) {
    CAMPOERRATO(regole::kNascita, u"Data errata");
    return;
  }
  for (const int indice : {regole::kProvinciaNascita, regole::kProvinciaDomicilio}) {
    if (MANCAINTABELLA(indice, TabTABMIN_PROV)) {
      CAMPOERRATO(indice, u"Inserire una provincia valida");
      return;
    }
  }
  const PERCODICE ordine;
  if (MANCAINTABELLA(regole::kStatoEstero, TabTABMIN_SG)) {
    CAMPOERRATO(regole::kStatoEstero, u"Inserire una codice stato estero valido");
  }
}

}  // namespace ANAGPARC
