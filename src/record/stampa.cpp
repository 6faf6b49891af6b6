// One recipient on paper: the fields as they stand on the screen.
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "platform/text/text.h"
#include "record/record.h"
#include "reference/righe.h"

namespace ANAGPARC {

using namespace MOD770BAS;

namespace {

// An event's text is all its lines.
std::u16string DESCRIZIONEEVENTO(std::u16string_view codice) {
  std::u16string descrizione;
  bool trovato = false;
  regole::COMPONIRIGHE(regole::Tabella::kEventi, {}, [&](std::u16string_view riga) {
    if (!regole::ECONTINUAZIONE(regole::Tabella::kEventi, riga)) {
      trovato = regole::CODICEDELLARIGA(regole::Tabella::kEventi, riga) == codice;
      riga = text::Mid(riga, 5);  // after "1 - "
    }
    if (trovato) {
      if (!descrizione.empty()) {
        descrizione += u' ';
      }
      descrizione += text::Trim(riga);
    }
  });
  return descrizione;
}

// What the code means by the table of the archive; nothing where that doesn't have it.
std::u16string DESCRIZIONE(const regole::CampoPercettore& campo, const std::u16string& codice) {
  if (campo.tabella == regole::Tabella::kEventi) {
    return DESCRIZIONEEVENTO(codice);
  }
  const regole::Fonte fonte = regole::FONTE(campo.tabella);
  engine::Recordset righe = DbDichiarazione.OpenRecordset(
      u"SELECT * FROM " + std::u16string(fonte.tabella) + u" WHERE " +
      std::u16string(fonte.colonne[0]) + u" = '" + engine::Quoted(codice) + u"'");
  if (righe.RecordCount() == 0) {
    return {};
  }
  return std::u16string(text::Trim(righe.Fields(fonte.colonne[1]).View()));
}

toolkit::Item VOCE(int indice) {
  const regole::CampoPercettore& campo = *regole::CAMPO(indice);
  toolkit::Item voce;
  voce.label = testate3(indice).Caption();
  const bool tabella = campo.tabella != regole::Tabella::kNessuna;
  voce.code = tabella || campo.genere == regole::Genere::kCodice;
  const std::u16string& testo = Text1(indice).Text();
  if (testo == regole::kMascheraData || (tabella && regole::SENZACODICE(campo, testo))) {
    return voce;
  }
  voce.value = text::Trim(testo);
  if (tabella) {
    voce.description = DESCRIZIONE(campo, voce.value);
  }
  return voce;
}

toolkit::Block BLOCCO(const toolkit::Label& titolo, std::initializer_list<int> campi) {
  toolkit::Block blocco{titolo.Caption(), {}};
  for (const int indice : campi) {
    blocco.items.push_back(VOCE(indice));
  }
  return blocco;
}

}  // namespace

void STAMPASCHEDA() {
  std::u16string titolo = u"Scheda del percettore " +
                          NOMINATIVO(Text1(regole::kCognome).Text(), Text1(regole::kNome).Text());
  if (FlagVariazioni == 1 || FlagNuovaAnagrafica == 1) {
    titolo += u" - non ancora registrata";
  }
  toolkit::Document documento =
      NUOVASTAMPA(titolo, u"Percettore 770-2015 " + std::u16string(text::Trim(CFCorrente)));
  documento.blocks = {BLOCCO(testate3(155), {0, 1, 2, 3, 4, 5, 6, 9, 16}),
                      BLOCCO(testate3(18), {7, 8, 17}), BLOCCO(testate3(166), {11, 12, 13, 14})};
  STAMPA(documento);
}

}  // namespace ANAGPARC
