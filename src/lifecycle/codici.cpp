#include "lifecycle/codici.h"

#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "identity/identity.h"
#include "platform/text/text.h"
#include "platform/toolkit/conversion.h"

namespace ANAGPARC {

using namespace MOD770BAS;

bool CODICEACCETTATO(const std::u16string& codice) {
  const std::size_t lunghezza = text::Trim(codice).size();
  if (toolkit::IsNumeric(codice)) {
    if (lunghezza != 11) {
      toolkit::MsgBox(u"Lunghezza partita IVA errata", toolkit::kInformation, Titolo());
      return false;
    }
    IndiceCampo = CONTROLLOPIVA(codice);
    return IndiceCampo != 1 ||
           toolkit::MsgBox(u"Partita IVA formalmente errata\r\rVuoi proseguire ugualmente ?",
                           toolkit::kYesNo | toolkit::kQuestion, Titolo()) == toolkit::kYes;
  }
  if (lunghezza != 16) {
    toolkit::MsgBox(u"Lunghezza codice fiscale errata", toolkit::kInformation, Titolo());
    return false;
  }
  IndiceCampo = CONTROLLOCF(codice);
  return IndiceCampo != 1 ||
         toolkit::MsgBox(u"Codice fiscale formalmente errato\r\rVuoi proseguire ugualmente",
                         toolkit::kYesNo | toolkit::kInformation, Titolo()) == toolkit::kYes;
}

void CODICEESISTENTE() {
  toolkit::MsgBox(u"Anagrafica parcella codice fiscale esistente !!!!", toolkit::kCritical,
                  Titolo());
}

std::u16string CONDIZIONECERTIFICAZIONI() {
  const auto uguale = [](std::u16string_view codice) {
    return u" CFP = '" + engine::Quoted(codice) + u"'";
  };
  std::u16string condizione = uguale(CFCorrente);
  if (CERCAPERCETTORE(CFCorrente)) {
    const std::u16string registrato = TabPERCPARCELLE.Fields(u"CFP").Text();
    if (registrato.starts_with(u' ')) {
      condizione += u" OR" + uguale(registrato);
    }
  }
  return condizione;
}

void FERMASU(toolkit::TextBox& casella) {
  ASPETTOERRORE(casella);
  casella.SetFocus();
}

}  // namespace ANAGPARC
