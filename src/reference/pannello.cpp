// The lookup panel: one list for the six code fields, rebuilt at each opening.
// A row is only text, made so that its code can be cut out of it again.
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "platform/text/text.h"
#include "reference/eventi.h"

namespace ANAGPARC {

using namespace MOD770BAS;

namespace {

std::u16string PULITO(engine::Recordset& tabella, std::u16string_view colonna) {
  return std::u16string(text::Trim(tabella.Fields(colonna).View()));
}

// Adds what `riga` adds for each row of the table, in the order of its index.
void PEROGNIRIGA(engine::Recordset& tabella, void (*riga)()) {
  if (tabella.RecordCount() == 0) {
    return;
  }
  tabella.MoveFirst();
  while (!tabella.Eof()) {
    riga();
    tabella.MoveNext();
  }
}

void RIGAPROVINCIA() {
  ListTabmin.AddItem(TabTABMIN_PROV.Fields(u"codprov").Text() + u" " +
                     PULITO(TabTABMIN_PROV, u"descprov"));
}

// A description over 72 characters goes on in rows that begin with two blanks.
void RIGHECATEGORIA() {
  constexpr std::size_t kLarghezza = 72;
  const std::u16string codice = TabTABMIN_SD.Fields(u"cod_tmsd").Text();
  const std::u16string descrizione = TabTABMIN_SD.Fields(u"descR_tmsd").Text();
  const std::u16string_view pulita = text::Trim(descrizione);
  if (pulita.size() <= kLarghezza) {
    ListTabmin.AddItem(codice + u" " + std::u16string(pulita));
    return;
  }
  const std::size_t pezzi = pulita.size() / kLarghezza;
  const auto aggiungi = [&](std::size_t i, std::u16string_view pezzo) {
    ListTabmin.AddItem((i == 0 ? codice + u" " : u"  ") + std::u16string(text::Trim(pezzo)));
  };
  for (std::size_t i = 0; i < pezzi; ++i) {
    aggiungi(i, text::Mid(descrizione, kLarghezza * i + 1, kLarghezza));
  }
  const auto resto = text::Mid(descrizione, kLarghezza * pezzi + 1);
  if (!text::Trim(resto).empty()) {
    aggiungi(pezzi, resto);
  }
}

void RIGASTATO() {
  ListTabmin.AddItem(text::Fit(PULITO(TabTABMIN_SG, u"descr_tmsg"), 40) + u" " +
                     TabTABMIN_SG.Fields(u"cod_tmsg").Text());
}

void RIGACOMUNE() {
  static std::u16string riga;
  riga.assign(TabTABCOMUNI.Fields(u"COMUNE").View());
  riga.append(u" ").append(TabTABCOMUNI.Fields(u"PROV").View());
  riga.append(u" ").append(TabTABCOMUNI.Fields(u"CODICE").View());
  ListTabmin.AddItem(riga);
}

void EVENTI() {
  for (const std::u16string_view riga : kEventiEccezionali) {
    ListTabmin.AddItem(riga);
  }
}

enum class Codice { Inizio, Fine };

// One of the panel's uses, by the button that opens it. Measures are twips.
struct Uso {
  int campo;
  const char16_t* titolo;
  int height, left, top, width;
  void (*riempi)();
  std::size_t sonda;  // characters that are blank in a continuation row
  Codice dove;        // end of the row where the code stands
  std::size_t cifre;  // and its characters
  bool maiuscolo;
};

constexpr Uso kUsi[] = {
    {6, u" Tabella province", 3840, 4150, 2790, 5085,
     [] { PEROGNIRIGA(TabTABMIN_PROV, RIGAPROVINCIA); }, 2, Codice::Inizio, 2, false},
    {8, u" Tabella province", 3000, 3080, 3730, 5085,
     [] { PEROGNIRIGA(TabTABMIN_PROV, RIGAPROVINCIA); }, 2, Codice::Inizio, 2, false},
    {9, u" Tabella categorie particolari", 4740, 1700, 2790, 8585,
     [] { PEROGNIRIGA(TabTABMIN_SD, RIGHECATEGORIA); }, 2, Codice::Inizio, 2, false},
    {14, u" Tabella stati esteri", 2840, 2600, 2700, 5085,
     [] { PEROGNIRIGA(TabTABMIN_SG, RIGASTATO); }, 3, Codice::Fine, 3, false},
    {16, u" Eventi eccezionali", 4665, 2000, 2790, 9300, EVENTI, 1, Codice::Inizio, 1, true},
    {17, u" Codice Comune", 2935, 5200, 3750, 6105, [] { PEROGNIRIGA(TabTABCOMUNI, RIGACOMUNE); },
     1, Codice::Fine, 4, true},
};

bool ECONTINUAZIONE(std::u16string_view riga, const Uso& uso) {
  return text::Trim(riga.substr(0, uso.sonda)).empty();
}

std::u16string CODICEDELLARIGA(std::u16string_view riga, const Uso& uso) {
  const std::size_t cifre = std::min(uso.cifre, riga.size());
  const std::u16string_view pezzo =
      uso.dove == Codice::Inizio ? riga.substr(0, cifre) : riga.substr(riga.size() - cifre);
  const std::u16string codice(text::Trim(pezzo));
  return uso.maiuscolo ? text::Upper(codice) : codice;
}

}  // namespace

void CMDAPRILIST_Click(int Index) {
  if (Index == TabellaAperta && Framecodif.Visible()) {
    Framecodif.SetVisible(false);
    return;
  }
  TabellaAperta = static_cast<std::int16_t>(Index);
  const Uso& uso = kUsi[Index];
  ListTabmin.Clear();
  Framecodif.SetCaption(u"");
  ListTabmin.SetTop(540);
  LabTabmin.SetTop(240);
  Framecodif.SetHeight(uso.height);
  Framecodif.SetLeft(uso.left);
  Framecodif.SetTop(uso.top);
  Framecodif.SetWidth(uso.width);
  uso.riempi();
  LabTabmin.SetWidth(Framecodif.Width() - 100);
  LabTabmin.SetCaption(uso.titolo);
  ListTabmin.SetWidth(Framecodif.Width() - 100);
  LabTabmin.SetLeft((Framecodif.Width() - LabTabmin.Width()) / 2);
  ListTabmin.SetLeft(LabTabmin.Left());
  ListTabmin.SetHeight(Framecodif.Height() - 600);
  Framecodif.SetVisible(true);
  ListTabmin.SetFocus();
}

void ListTabmin_DblClick() {
  const Uso& uso = kUsi[TabellaAperta];
  int riga = ListTabmin.ListIndex();
  while (riga >= 0 && ECONTINUAZIONE(ListTabmin.List(riga), uso)) {
    --riga;
  }
  toolkit::TextBox& campo = Text1(uso.campo);
  campo.SetText(CODICEDELLARIGA(ListTabmin.List(riga), uso));
  FlagVariazioni = 1;
  Framecodif.SetVisible(false);
  campo.SetFocus();
}

void ListTabmin_KeyDown(std::int16_t KeyCode) {
  if (KeyCode == 27) {
    Framecodif.SetVisible(false);
  } else if (KeyCode == 13) {
    ListTabmin_DblClick();
  }
}

}  // namespace ANAGPARC
