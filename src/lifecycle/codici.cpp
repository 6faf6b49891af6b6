#include "lifecycle/codici.h"

#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "platform/engine/engine.h"
#include "record/regole.h"

namespace ANAGPARC {

bool CODICEACCETTATO(const std::u16string& codice, toolkit::TextBox& casella) {
  using enum regole::EsitoCodice;
  const auto rifiuta = [&casella](const char16_t* testo) {
    toolkit::MsgBox(testo, toolkit::kInformation, Titolo());
    FERMASU(casella);
    return false;
  };
  const auto chiede = [&casella](const char16_t* testo, int icona) {
    if (toolkit::MsgBox(testo, toolkit::kYesNo | icona, Titolo()) == toolkit::kYes) {
      return true;
    }
    FERMASU(casella);
    casella.SelectAll();
    return false;
  };
  // The outcome of the check of the last character passes through IndiceCampo: 0 good, 1 wrong.
  double& controllo = MOD770BAS::IndiceCampo;
  switch (regole::ESAMINACODICE(codice)) {
    case kBuono:
      controllo = 0;
      return true;
    case kLunghezzaPartitaIva:
      return rifiuta(u"Lunghezza partita IVA errata");
    case kPartitaIvaErrata:
      controllo = 1;
      return chiede(u"Partita IVA formalmente errata\r\rVuoi proseguire ugualmente ?",
                    toolkit::kQuestion);
    case kLunghezzaCodiceFiscale:
      return rifiuta(u"Lunghezza codice fiscale errata");
    case kCodiceFiscaleErrato:
      controllo = 1;
      return chiede(u"Codice fiscale formalmente errato\r\rVuoi proseguire ugualmente",
                    toolkit::kInformation);
  }
  return false;
}

void CODICEESISTENTE() {
  toolkit::MsgBox(u"Anagrafica parcella codice fiscale esistente !!!!", toolkit::kCritical,
                  Titolo());
}

std::u16string CONDIZIONECERTIFICAZIONI(std::u16string_view codice,
                                        std::u16string_view registrato) {
  const auto uguale = [](std::u16string_view valore) {
    return u" CFP = '" + engine::Quoted(valore) + u"'";
  };
  std::u16string condizione = uguale(codice);
  if (registrato.starts_with(u' ')) {
    condizione += u" OR" + uguale(registrato);
  }
  return condizione;
}

void FERMASU(toolkit::TextBox& casella) {
  ASPETTOERRORE(casella);
  casella.SetFocus();
}

void CURSOREINFONDO(toolkit::TextBox& casella) { casella.SetSelStart(casella.MaxLength()); }

}  // namespace ANAGPARC
