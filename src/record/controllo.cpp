// The test of a record as a whole, just before it is written.
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "platform/text/text.h"
#include "platform/toolkit/conversion.h"
#include "record/LibrAgg770.h"

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

bool MANCAPROVINCIA(const std::u16string& codice) {
  TabTABMIN_PROV.Seek(u"=", codice);
  return TabTABMIN_PROV.NoMatch();
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
  for (IndiceCampo = 0; IndiceCampo <= 17; ++IndiceCampo) {
    if (ESISTECAMPO(IndiceCampo)) {
      ASPETTONORMALE(Text1(static_cast<int>(IndiceCampo)));
    }
  }

  const std::u16string nascita = Text1(4).Text();
  if (text::Trim(nascita) != LibrAgg770::kMascheraData && !DATAVALIDA(nascita)) {
    CAMPOERRATO(4, u"Data errata");
    return;
  }
  const std::u16string provNascita = Text1(6).Text();
  const auto sigla = text::Trim(provNascita);
  if (!sigla.empty() && sigla != u"EE" && MANCAPROVINCIA(provNascita)) {
    CAMPOERRATO(6, u"Inserire una provincia valida");
    return;
  }
  const std::u16string provDomicilio = Text1(8).Text();
  const auto siglaDomicilio = text::Trim(provDomicilio);
  if (siglaDomicilio != u"PS" && siglaDomicilio != u"EE" && !siglaDomicilio.empty() &&
      MANCAPROVINCIA(provDomicilio)) {
    CAMPOERRATO(8, u"Inserire una provincia valida");
    return;
  }
  const PERCODICE ordine;
  const std::u16string stato = Text1(14).Text();
  if (toolkit::Val(text::Trim(stato)) != 0) {
    TabTABMIN_SG.Seek(u"=", stato);
    if (TabTABMIN_SG.NoMatch()) {
      CAMPOERRATO(14, u"Inserire una codice stato estero valido");
    }
  }
}

}  // namespace ANAGPARC
