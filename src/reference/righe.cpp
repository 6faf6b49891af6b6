#include "reference/righe.h"

#include <algorithm>

#include "platform/text/text.h"
#include "reference/eventi.h"

namespace regole {

namespace {

constexpr std::size_t kLarghezzaCategoria = 72, kLarghezzaStato = 40;

enum class Capo { kInizio, kFine };

// How a table's rows are read again, in characters.
struct Taglio {
  std::size_t sonda;  // blank at the start of a continuation row
  Capo capo;          // end of the row where the code stands
  std::size_t cifre;  // of the code
  bool maiuscolo;
};

constexpr Taglio TAGLIO(Tabella tabella) {
  switch (tabella) {
    case Tabella::kStatiEsteri:
      return {3, Capo::kFine, 3, false};
    case Tabella::kEventi:
      return {1, Capo::kInizio, 1, true};
    case Tabella::kComuni:
      return {1, Capo::kFine, 4, true};
    default:  // provinces and categories
      return {2, Capo::kInizio, 2, false};
  }
}

// The pieces of a long description are cut from the text as it stands, blanks in front included;
// the rows after the first begin with two blanks.
void RIGHECATEGORIA(const std::u16string& codice, const std::u16string& descrizione,
                    const std::function<void(std::u16string_view)>& aggiungi) {
  const std::size_t lunga = text::Trim(descrizione).size();
  if (lunga <= kLarghezzaCategoria) {
    aggiungi(std::u16string(codice).append(u" ").append(text::Trim(descrizione)));
    return;
  }
  const std::size_t pezzi = lunga / kLarghezzaCategoria;
  for (std::size_t i = 0; i <= pezzi; ++i) {
    const bool resto = i == pezzi;
    const auto pezzo = text::Trim(text::Mid(descrizione, kLarghezzaCategoria * i + 1,
                                            resto ? descrizione.npos : kLarghezzaCategoria));
    if (!resto || !pezzo.empty()) {
      std::u16string riga = i == 0 ? codice : u" ";
      aggiungi(riga.append(u" ").append(pezzo));
    }
  }
}

}  // namespace

Fonte FONTE(Tabella tabella) {
  switch (tabella) {
    case Tabella::kProvince:
      return {u"TABMIN_PROV", {u"codprov", u"descprov"}};
    case Tabella::kCategorie:
      return {u"TABMIN_SD", {u"cod_tmsd", u"descR_tmsd"}};
    case Tabella::kStatiEsteri:
      return {u"TABMIN_SG", {u"cod_tmsg", u"descr_tmsg"}};
    case Tabella::kComuni:
      return {u"TABCOMUNI", {u"CODICE", u"COMUNE", u"PROV"}};
    case Tabella::kEventi:
    case Tabella::kNessuna:
      break;
  }
  return {};
}

void COMPONIRIGHE(Tabella tabella, const std::function<std::u16string_view(std::size_t)>& valore,
                  const std::function<void(std::u16string_view)>& aggiungi) {
  std::u16string riga;
  switch (tabella) {
    case Tabella::kNessuna:
      break;
    case Tabella::kProvince:
      riga.append(valore(0)).append(u" ");
      aggiungi(riga.append(text::Trim(valore(1))));
      break;
    case Tabella::kCategorie:
      riga = valore(0);
      RIGHECATEGORIA(riga, std::u16string(valore(1)), aggiungi);
      break;
    case Tabella::kStatiEsteri:
      riga = text::Fit(text::Trim(valore(1)), kLarghezzaStato);
      aggiungi(riga.append(u" ").append(valore(0)));
      break;
    case Tabella::kEventi:
      for (const std::u16string_view evento : kEventiEccezionali) {
        aggiungi(evento);
      }
      break;
    case Tabella::kComuni:
      riga.append(valore(1)).append(u" ").append(valore(2)).append(u" ");
      aggiungi(riga.append(valore(0)));
      break;
  }
}

bool ECONTINUAZIONE(Tabella tabella, std::u16string_view riga) {
  return text::Trim(riga.substr(0, TAGLIO(tabella).sonda)).empty();
}

std::u16string CODICEDELLARIGA(Tabella tabella, std::u16string_view riga) {
  const Taglio taglio = TAGLIO(tabella);
  const std::size_t cifre = std::min(taglio.cifre, riga.size());
  const auto codice = text::Trim(taglio.capo == Capo::kInizio ? riga.substr(0, cifre)
                                                              : riga.substr(riga.size() - cifre));
  return taglio.maiuscolo ? text::Upper(codice) : std::u16string(codice);
}

}  // namespace regole
