// The list of recipients on paper.
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "platform/text/text.h"
#include "selection/selection.h"

namespace ANAGPARC {

using namespace MOD770BAS;

void STAMPAELENCO() {
  const std::u16string ordine = Option1(0).Value() ? u"codice fiscale" : u"cognome e nome";
  toolkit::Document documento =
      NUOVASTAMPA(u"Elenco dei percettori per " + ordine, u"Percettori 770-2015 per " + ordine);
  documento.columns = {
      {u"N.", 7, false, true}, {u"Codice fiscale", 18, true}, {u"Cognome e nome o denominazione"}};
  long percettori = 0;
  // Not the rows of List1: these are cut, and may be older than the table.
  engine::Recordset righe = DbDichiarazione.OpenRecordset(INTERROGAZIONEELENCO());
  if (righe.RecordCount() != 0) {
    for (righe.MoveFirst(); !righe.Eof(); righe.MoveNext()) {
      documento.cells.push_back(text::Decimal(++percettori));
      documento.cells.emplace_back(text::Trim(righe.Fields(u"CFP").View()));
      documento.cells.push_back(
          NOMINATIVO(righe.Fields(u"APARC_1").Text(), righe.Fields(u"APARC_2").Text()));
    }
  }
  righe.Close();
  documento.closing = u"Percettori: " + text::Decimal(percettori);
  STAMPA(documento);
}

}  // namespace ANAGPARC
