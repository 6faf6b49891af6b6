// The lookup panel: one list for the six code fields, rebuilt at each opening. A row is only
// text, made so that its code can be cut out of it again.
#include <functional>
#include <vector>

#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "platform/text/text.h"
#include "record/avvisi.h"
#include "record/record.h"
#include "record/regole.h"
#include "reference/reference.h"
#include "reference/righe.h"

namespace ANAGPARC {

using namespace MOD770BAS;
using toolkit::CodeOf;
using toolkit::Key;

namespace {

// The rows of a list end to end, and where each ends.
struct Righe {
  std::u16string testo;
  std::vector<std::size_t> fini;
};

// The table's rows, in the order of its index. The two functions are made once: made anew for
// each of 8,000 municipalities, they took a quarter of the opening.
Righe LEGGIRIGHE(regole::Tabella tabella) {
  Righe lette;
  const std::function<void(std::u16string_view)> aggiungi = [&](std::u16string_view riga) {
    lette.testo += riga;
    lette.fini.push_back(lette.testo.size());
  };
  const regole::Fonte fonte = regole::FONTE(tabella);
  engine::Recordset* righe = RECORDSET(fonte.tabella);
  if (righe == nullptr) {
    regole::COMPONIRIGHE(tabella, {}, aggiungi);
    return lette;
  }
  if (righe->RecordCount() == 0) {
    return lette;
  }
  const std::function<std::u16string_view(std::size_t)> valore = [&](std::size_t i) {
    return righe->Fields(fonte.colonne[i]).View();
  };
  righe->MoveFirst();
  while (!righe->Eof()) {
    regole::COMPONIRIGHE(tabella, valore, aggiungi);
    righe->MoveNext();
  }
  return lette;
}

// One of the panel's uses, by the button that opens it. Measures are twips.
struct Uso {
  int campo;
  const char16_t* titolo;
  int height, left, top, width;
};

constexpr Uso kUsi[] = {
    {6, u" Tabella province", 3840, 4150, 2790, 5085},
    {8, u" Tabella province", 3000, 3080, 3730, 5085},
    {9, u" Tabella categorie particolari", 4740, 1700, 2790, 8585},
    {14, u" Tabella stati esteri", 2840, 2600, 2700, 5085},
    {16, u" Eventi eccezionali", 4665, 2000, 2790, 9300},
    {17, u" Codice Comune", 2935, 5200, 3750, 6105},
};

regole::Tabella TABELLADELCAMPO(const Uso& uso) { return regole::CAMPO(uso.campo)->tabella; }

// The first row that fits, -1 where none does.
int TROVARIGA(const std::function<bool(std::u16string_view riga)>& adatta) {
  for (int riga = 0; riga < ListTabmin.ListCount(); ++riga) {
    if (adatta(ListTabmin.List(riga))) {
      return riga;
    }
  }
  return -1;
}

int TROVACODICE(regole::Tabella tabella, std::u16string_view codice) {
  return TROVARIGA([&](std::u16string_view riga) {
    return !regole::ECONTINUAZIONE(tabella, riga) &&
           text::Upper(regole::CODICEDELLARIGA(tabella, riga)) == codice;
  });
}

// The row that the municipality beside the field has; -1 where there is none.
int RIGAACCANTO(const Uso& uso) {
  const regole::Tabella tabella = TABELLADELCAMPO(uso);
  int accanto = regole::kComuneDomicilio;
  if (uso.campo == regole::kProvinciaNascita) {
    accanto = regole::kComuneNascita;
  }
  const std::u16string comune = regole::NOMENUDO(Text1(accanto).Text());
  if (comune.empty()) {
    return -1;
  }
  if (tabella == regole::Tabella::kProvince) {
    const std::u16string provincia = COMUNI().PROVINCIA(comune);
    if (provincia.empty()) {
      return -1;
    }
    return TROVACODICE(tabella, provincia);
  }
  if (tabella != regole::Tabella::kComuni) {
    return -1;
  }
  // Of several with one name the one in the province; else the first that begins so, since the
  // table is in the order of the names.
  const auto comincia = [](const std::u16string& cercato) {
    return TROVARIGA(
        [&](std::u16string_view riga) { return regole::NOMENUDO(riga).starts_with(cercato); });
  };
  const int riga = comincia(comune + regole::NOMENUDO(Text1(regole::kProvinciaDomicilio).Text()));
  if (riga >= 0) {
    return riga;
  }
  return comincia(comune);
}

// The row at which the panel opens: the one of the field's code or, where the field is empty, the
// one of what stands beside it. -1 where nothing fits.
int RIGADIPARTENZA(const Uso& uso) {
  const std::u16string codice = text::Upper(text::Trim(Text1(uso.campo).Text()));
  if (codice.empty()) {
    return RIGAACCANTO(uso);
  }
  return TROVACODICE(TABELLADELCAMPO(uso), codice);
}

// Selects the row of the municipality beside the field, which may have been corrected just now:
// typing it again to find it is saved. False where there is none, or the user has gone on from
// where the panel opened.
bool SCEGLIACCANTO() {
  if (ListTabmin.ListIndex() >= 0) {
    return false;
  }
  const int riga = RIGAACCANTO(kUsi[TabellaAperta]);
  if (riga < 0) {
    return false;
  }
  ListTabmin.SetTopIndex(riga - ListTabmin.VisibleRows() / 2);
  ListTabmin.Select(riga);
  return true;
}

}  // namespace

void CMDAPRILIST_Click(int Index) {
  if (Index == TabellaAperta && Framecodif.Visible()) {
    Framecodif.SetVisible(false);
    return;
  }
  const Uso& uso = kUsi[Index];
  // Read before anything changes: where that fails, a panel that is open stays as it is.
  const Righe righe = LEGGIRIGHE(TABELLADELCAMPO(uso));
  TabellaAperta = static_cast<std::int16_t>(Index);
  ListTabmin.Clear();
  Framecodif.SetCaption(u"");
  ListTabmin.SetTop(540);
  LabTabmin.SetTop(240);
  Framecodif.SetHeight(uso.height);
  Framecodif.SetLeft(uso.left);
  Framecodif.SetTop(uso.top);
  Framecodif.SetWidth(uso.width);
  std::size_t inizio = 0;
  for (const std::size_t fine : righe.fini) {
    ListTabmin.AddItem(std::u16string_view(righe.testo).substr(inizio, fine - inizio));
    inizio = fine;
  }
  LabTabmin.SetWidth(Framecodif.Width() - 100);
  LabTabmin.SetCaption(uso.titolo);
  ListTabmin.SetWidth(Framecodif.Width() - 100);
  LabTabmin.SetLeft((Framecodif.Width() - LabTabmin.Width()) / 2);
  ListTabmin.SetLeft(LabTabmin.Left());
  ListTabmin.SetHeight(Framecodif.Height() - 600);
  if (const int riga = RIGADIPARTENZA(uso); riga >= 0) {
    ListTabmin.SetTopIndex(riga - ListTabmin.VisibleRows() / 2);
    ListTabmin.GoOnFrom(riga, true);
  }
  Framecodif.SetVisible(true);
  ListTabmin.SetFocus();
}

std::u16string CODICEINTABELLA(int riga) {
  const regole::Tabella tabella = TABELLADELCAMPO(kUsi[TabellaAperta]);
  while (riga >= 0 && regole::ECONTINUAZIONE(tabella, ListTabmin.List(riga))) {
    --riga;
  }
  return regole::CODICEDELLARIGA(tabella, ListTabmin.List(riga));
}

void CHIUDITABELLA() {
  Framecodif.SetVisible(false);
  Text1(kUsi[TabellaAperta].campo).SetFocus();
}

void ListTabmin_DblClick() {
  Text1(kUsi[TabellaAperta].campo).SetText(CODICEINTABELLA(ListTabmin.ListIndex()));
  FlagVariazioni = 1;
  CHIUDITABELLA();
}

void TABELLADELFUOCO() {
  if (Me.Focus() == &ListTabmin) {
    CHIUDITABELLA();
    return;
  }
  for (int i = 0; i < static_cast<int>(std::size(kUsi)); ++i) {
    if (Me.Focus() == &Text1(kUsi[i].campo) || Me.Focus() == &CMDAPRILIST(i)) {
      CMDAPRILIST_Click(i);
      return;
    }
  }
}

void ListTabmin_KeyDown(std::int16_t& KeyCode, std::int16_t) {
  if (KeyCode == CodeOf(Key::F3) && !ListTabmin.Searching() && SCEGLIACCANTO()) {
    KeyCode = 0;
  } else if (KeyCode == CodeOf(Key::Escape)) {
    CHIUDITABELLA();
  } else if (KeyCode == CodeOf(Key::Enter)) {
    ListTabmin_DblClick();
  }
}

}  // namespace ANAGPARC
