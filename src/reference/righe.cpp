#include "reference/righe.h"

#include <algorithm>

#include "platform/text/text.h"
#include "reference/eventi.h"

namespace regole {

namespace {

constexpr std::size_t kLarghezzaCategoria = 72, kLarghezzaStato = 40;

using Valore = std::function<std::u16string_view(std::size_t)>;
using Aggiungi = std::function<void(std::u16string_view)>;

// The pieces of a long description are cut from the text as it stands, blanks in front included;
// the rows after the first begin with two blanks.
void RIGHECATEGORIA(const std::u16string& codice, const std::u16string& descrizione,
                    const Aggiungi& aggiungi) {
  const std::size_t lunga = text::Trim(descrizione).size();
  if (lunga <= kLarghezzaCategoria) {
    aggiungi(std::u16string(codice).append(u" ").append(text::Trim(descrizione)));
    return;
  }
  const std::size_t pezzi = lunga / kLarghezzaCategoria;
  std::u16string riga(codice);
  for (std::size_t i = 0; i <= pezzi; ++i) {
    const bool resto = i == pezzi;
    const auto pezzo = text::Trim(text::Mid(descrizione, kLarghezzaCategoria * i + 1,
                                            resto ? descrizione.npos : kLarghezzaCategoria));
    if (!resto || !pezzo.empty()) {
      aggiungi(riga.append(u" ").append(pezzo));
    }
    riga = u" ";
  }
}

void RIGAPROVINCIA(const Valore& valore, const Aggiungi& aggiungi) {
  std::u16string riga(valore(0));
  riga.append(u" ");
  aggiungi(riga.append(text::Trim(valore(1))));
}

void RIGHECATEGORIA(const Valore& valore, const Aggiungi& aggiungi) {
  const std::u16string codice(valore(0));
  RIGHECATEGORIA(codice, std::u16string(valore(1)), aggiungi);
}

void RIGASTATO(const Valore& valore, const Aggiungi& aggiungi) {
  std::u16string riga = text::Fit(text::Trim(valore(1)), kLarghezzaStato);
  aggiungi(riga.append(u" ").append(valore(0)));
}

void RIGHEEVENTI(const Valore& /*valore*/, const Aggiungi& aggiungi) {
  for (const std::u16string_view evento : kEventiEccezionali) {
    aggiungi(evento);
  }
}

void RIGACOMUNE(const Valore& valore, const Aggiungi& aggiungi) {
  std::u16string riga(valore(1));
  riga.append(u" ").append(valore(2)).append(u" ");
  aggiungi(riga.append(valore(0)));
}

enum class Capo { kInizio, kFine };

// All that is peculiar to a table. Measures are characters.
struct Descrittore {
  Tabella tabella;
  Fonte fonte;
  void (*componi)(const Valore& valore, const Aggiungi& aggiungi);
  std::size_t sonda;  // blank at the start of a continuation row
  Capo capo;          // end of the row where the code stands
  std::size_t cifre;  // of the code
  bool maiuscolo;
};

constexpr Descrittore kDescrittori[] = {
    {Tabella::kProvince,
     {u"TABMIN_PROV", {u"codprov", u"descprov"}},
     RIGAPROVINCIA,
     2,
     Capo::kInizio,
     2,
     false},
    {Tabella::kCategorie,
     {u"TABMIN_SD", {u"cod_tmsd", u"descR_tmsd"}},
     RIGHECATEGORIA,
     2,
     Capo::kInizio,
     2,
     false},
    {Tabella::kStatiEsteri,
     {u"TABMIN_SG", {u"cod_tmsg", u"descr_tmsg"}},
     RIGASTATO,
     3,
     Capo::kFine,
     3,
     false},
    {Tabella::kEventi, {}, RIGHEEVENTI, 1, Capo::kInizio, 1, true},
    {Tabella::kComuni,
     {u"TABCOMUNI", {u"CODICE", u"COMUNE", u"PROV"}},
     RIGACOMUNE,
     1,
     Capo::kFine,
     4,
     true},
};

const Descrittore& DESCRITTORE(Tabella tabella) {
  return *std::ranges::find(kDescrittori, tabella, &Descrittore::tabella);
}

}  // namespace

Fonte FONTE(Tabella tabella) { return DESCRITTORE(tabella).fonte; }

void COMPONIRIGHE(Tabella tabella, const Valore& valore, const Aggiungi& aggiungi) {
  DESCRITTORE(tabella).componi(valore, aggiungi);
}

bool ECONTINUAZIONE(Tabella tabella, std::u16string_view riga) {
  return text::Trim(riga.substr(0, DESCRITTORE(tabella).sonda)).empty();
}

std::u16string CODICEDELLARIGA(Tabella tabella, std::u16string_view riga) {
  const Descrittore& d = DESCRITTORE(tabella);
  const std::size_t cifre = std::min(d.cifre, riga.size());
  std::size_t inizio = 0;
  if (d.capo != Capo::kInizio) {
    inizio = riga.size() - cifre;
  }
  const std::u16string_view codice = text::Trim(riga.substr(inizio, cifre));
  if (d.maiuscolo) {
    return text::Upper(codice);
  }
  return std::u16string(codice);
}

}  // namespace regole
