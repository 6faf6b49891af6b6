#include "record/regole.h"

#include <algorithm>

#include "identity/identity.h"
#include "platform/text/conversion.h"
#include "platform/text/text.h"

namespace regole {

namespace {

std::u16string DATAASCHERMO(std::u16string_view valore) {
  std::u16string data(text::Mid(valore, 7, 2));
  data += u'/';
  data += text::Mid(valore, 5, 2);
  data += u'/';
  data += text::Mid(valore, 1, 4);
  return data;
}

std::u16string DATAINARCHIVIO(std::u16string_view testo) {
  std::u16string data(text::Mid(testo, 7, 4));
  data += text::Mid(testo, 4, 2);
  data += text::Mid(testo, 1, 2);
  return data;
}

}  // namespace

const CampoPercettore* CAMPO(double indice) {
  const auto trovato =
      std::find_if(kCampi.begin(), kCampi.end(),
                   [indice](const CampoPercettore& campo) { return campo.indice == indice; });
  return trovato == kCampi.end() ? nullptr : &*trovato;
}

std::u16string TESTOASCHERMO(const CampoPercettore& campo, std::u16string_view valore) {
  switch (campo.genere) {
    case Genere::kData:
      return DATAASCHERMO(valore);
    case Genere::kTestoSenzaZeri:
      valore = text::Trim(valore);
      if (valore.find_first_not_of(u'0') == valore.npos) {
        return {};
      }
      return std::u16string(valore);
    default:
      return std::u16string(valore);
  }
}

std::u16string VALOREDISALVATAGGIO(const CampoPercettore& campo, std::u16string_view testo) {
  if (campo.genere == Genere::kData) {
    return DATAINARCHIVIO(testo);
  }
  return std::u16string(testo);
}

bool DATAACCETTATA(std::u16string_view testo) {
  const std::u16string_view data = text::Trim(testo);
  return data == kMascheraData || (text::IsDate(data) && !testo.ends_with(u"0000"));
}

bool DACERCARE(const CampoPercettore& campo, std::u16string_view testo) {
  const std::u16string_view codice = text::Trim(testo);
  switch (campo.genere) {
    case Genere::kProvincia:
      return !codice.empty() && std::find(campo.fuoriTabella.begin(), campo.fuoriTabella.end(),
                                          codice) == campo.fuoriTabella.end();
    case Genere::kCodiceNumerico:
      return text::Val(codice) != 0;
    default:
      return false;
  }
}

bool DIGITABILE(const CampoPercettore& campo, std::u16string_view valore) {
  if (campo.genere == Genere::kData) {
    const std::u16string testo = DATAASCHERMO(valore);
    return DATAACCETTATA(testo) && DATAINARCHIVIO(testo) == valore;
  }
  if (campo.genere == Genere::kSesso) {
    return valore.empty() || valore == u"M" || valore == u"F" || valore == u" ";
  }
  return valore.size() <= static_cast<std::size_t>(campo.larghezza) &&
         std::none_of(valore.begin(), valore.end(), text::IsControl);
}

bool SENZACODICE(const CampoPercettore& campo, std::u16string_view valore) {
  switch (campo.genere) {
    case Genere::kProvincia:
      return !DACERCARE(campo, valore);
    case Genere::kCodiceNumerico: {
      // Backspace leaves a zero at the right end, a digit after it blanks alone.
      const std::u16string spazi(static_cast<std::size_t>(campo.larghezza) - 1, u' ');
      const std::u16string_view codice = text::Trim(valore);
      const bool zeri = !codice.empty() && codice.find_first_not_of(u'0') == codice.npos;
      return zeri || valore.empty() || valore == spazi;
    }
    default:
      return valore.empty();
  }
}

EsitoCodice ESAMINACODICE(std::u16string_view codice) {
  const std::size_t lunghezza = text::Trim(codice).size();
  if (text::IsNumeric(codice)) {
    if (lunghezza != 11) {
      return EsitoCodice::kLunghezzaPartitaIva;
    }
    if (CONTROLLOPIVA(codice) == 1) {
      return EsitoCodice::kPartitaIvaErrata;
    }
  } else if (lunghezza != 16) {
    return EsitoCodice::kLunghezzaCodiceFiscale;
  } else if (CONTROLLOCF(codice) == 1) {
    return EsitoCodice::kCodiceFiscaleErrato;
  }
  return EsitoCodice::kBuono;
}

}  // namespace regole
