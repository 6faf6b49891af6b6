// The rows of the lookup panel and the codes that are cut out of them again. Pure functions, for
// the panel and for whoever must know which codes a pick can give.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <string_view>

#include "record/regole.h"

namespace regole {

// The table of the archive that the rows come from, and its columns in the order in which
// COMPONIRIGHE counts them. Both empty for the events, which stand in the program. The functions
// here are for a field's table, not for kNessuna.
struct Fonte {
  std::u16string_view tabella;
  std::array<std::u16string_view, 3> colonne;
};
Fonte FONTE(Tabella tabella);

// Gives to `aggiungi`, one by one, the rows that one row of the table makes, or all events.
// `valore` returns a column by its number, Null as the empty text, good until its next call.
void COMPONIRIGHE(Tabella tabella, const std::function<std::u16string_view(std::size_t)>& valore,
                  const std::function<void(std::u16string_view)>& aggiungi);

// True for a row that belongs to the one above it and stands for that one's code.
bool ECONTINUAZIONE(Tabella tabella, std::u16string_view riga);
// The code in a row that isn't such a one; none in the empty row.
std::u16string CODICEDELLARIGA(Tabella tabella, std::u16string_view riga);

}  // namespace regole
