#include "record/avvisi.h"

#include <algorithm>
#include <utility>

#include "identity/identity.h"
#include "platform/text/conversion.h"
#include "platform/text/text.h"

namespace regole {

namespace {

constexpr std::u16string_view kEstero = u"EE";
constexpr char16_t kStati = u'Z';  // their register codes begin so

// Pesaro's province has had two codes, and a save takes both.
std::u16string SIGLA(std::u16string_view provincia) {
  std::u16string sigla = text::Upper(text::Trim(provincia));
  if (sigla == u"PS") {
    return u"PU";
  }
  return sigla;
}

bool CONTRADDICE(int indice, std::u16string_view testo, std::u16string_view detto) {
  if (detto.empty() || SENZAVALORE(indice, testo)) {
    return false;
  }
  switch (indice) {
    case kComuneNascita:
      return NOMENUDO(testo) != NOMENUDO(detto);
    case kProvinciaNascita:
      return SIGLA(testo) != SIGLA(detto);
    default:
      return text::Upper(text::Trim(testo)) != detto;
  }
}

// The note speaks of a first name. Beside a company's number the same field goes on with the
// denomination, and a company wasn't born.
bool RICHIESTO(const Testi& testi) {
  return !text::Trim(testi[kNome]).empty() && !text::IsNumeric(testi[0]);
}

}  // namespace

void Comuni::AGGIUNGI(std::u16string_view codice, std::u16string_view comune,
                      std::u16string_view provincia) {
  std::u16string nome = text::Upper(text::Trim(comune));
  province_per_nome_.emplace(NOMENUDO(nome), SIGLA(provincia));
  per_codice_.try_emplace(text::Upper(text::Trim(codice)),
                          Comune{std::move(nome), text::Upper(text::Trim(provincia))});
}

const Comune* Comuni::PERCODICE(const std::u16string& codice) const {
  const auto trovato = per_codice_.find(codice);
  return trovato == per_codice_.end() ? nullptr : &trovato->second;
}

std::u16string Comuni::PROVINCIA(std::u16string_view comune) const {
  const auto [primo, fine] = province_per_nome_.equal_range(NOMENUDO(comune));
  if (primo == fine || std::any_of(primo, fine, [&prima = *primo](const auto& riga) {
        return riga.second != prima.second;
      })) {
    return {};
  }
  return primo->second;
}

bool Comuni::ALTROVE(std::u16string_view comune, std::u16string_view provincia) const {
  const auto [primo, fine] = province_per_nome_.equal_range(NOMENUDO(comune));
  return primo != fine && std::none_of(primo, fine, [&](const auto& riga) {
           return riga.second.empty() || riga.second == SIGLA(provincia);
         });
}

std::u16string NOMENUDO(std::u16string_view nome) {
  std::u16string nudo;
  for (const char16_t c : nome) {
    text::AppendPlain(nudo, c);
  }
  std::erase_if(nudo, [](char16_t c) {
    const bool alfanumerico = (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9');
    return (c < 0x80 && !alfanumerico) || c == u'’';
  });
  return nudo;
}

Testi DALCODICE(std::u16string_view codice, const Comuni& comuni) {
  Testi detto;
  const std::optional<PersonaCF> persona = LEGGICF(text::Trim(codice));
  if (!persona) {
    return detto;
  }
  detto[kSesso] = persona->sesso;
  detto[kNascita] = persona->nascita;
  if (const Comune* comune = comuni.PERCODICE(persona->luogo)) {
    detto[kComuneNascita] = comune->nome;
    detto[kProvinciaNascita] = comune->provincia;
  }
  if (persona->luogo.front() == kStati) {
    detto[kProvinciaNascita] = kEstero;
  }
  for (const int indice : {kComuneNascita, kProvinciaNascita}) {
    auto& testo = detto[static_cast<std::size_t>(indice)];
    if (!DIGITABILE(*CAMPO(indice), testo)) {
      testo.clear();
    }
  }
  return detto;
}

bool SENZAVALORE(int indice, std::u16string_view testo) {
  if (indice == kNascita) {
    return testo.find_first_of(u"123456789") == testo.npos;
  }
  return text::Trim(testo).empty();
}

bool CONAVVISO(int indice) {
  return indice == kProvinciaDomicilio ||
         std::ranges::count(kCampiDelCodice, indice, &CampoDelCodice::indice) > 0;
}

std::u16string AVVISO(int indice, const Testi& testi, const Testi& detto, const Comuni& comuni) {
  const auto campo = [&](int i) -> const std::u16string& {
    return testi[static_cast<std::size_t>(i)];
  };
  const std::u16string& testo = campo(indice);
  const auto* const delCodice = std::ranges::find(kCampiDelCodice, indice, &CampoDelCodice::indice);
  const bool nascita = delCodice != kCampiDelCodice.end();
  if (SENZAVALORE(indice, testo)) {
    if (nascita && RICHIESTO(testi)) {
      return std::u16string(delCodice->richiesto) + u" con il nome";
    }
    return {};
  }
  const std::u16string& noto = detto[static_cast<std::size_t>(indice)];
  if (CONTRADDICE(indice, testo, noto)) {
    return std::u16string(delCodice->diverso) + u" dal codice fiscale";
  }
  // Two states bear the names of municipalities: for one born there the code knows better.
  if (indice == kProvinciaNascita && noto != kEstero &&
      comuni.ALTROVE(campo(kComuneNascita), testo)) {
    return u"Provincia diversa da quella del comune di nascita";
  }
  if (indice == kProvinciaDomicilio && comuni.ALTROVE(campo(kComuneDomicilio), testo)) {
    return u"Provincia diversa da quella del comune del domicilio";
  }
  return {};
}

}  // namespace regole
