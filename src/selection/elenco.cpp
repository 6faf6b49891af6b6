// The list of recipients. Whatever changes a recipient has all of it filled
// again; a row finds its record by the code in its first 16 characters.
#include <algorithm>

#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "platform/text/text.h"
#include "record/record.h"
#include "selection/selection.h"

namespace ANAGPARC {

using namespace MOD770BAS;

namespace {

constexpr std::u16string_view kRigaInserimento =
    u"---------------- INSERIMENTO NUOVA ANAGRAFICA  ----------------";
constexpr int kColonneCodice = 16, kColonneNome = 45;

// The count stands on the status bar too, which is on every screen, for a list that takes long.
void MOSTRAAVANZAMENTO(long esaminati) {
  constexpr long kPasso = 1000;
  if (esaminati > 0 && esaminati % kPasso == 0) {
    StatusBar1.Panels(2).SetText(u"Elenco: " + text::Decimal(esaminati) + u" percettori");
  }
  static std::u16string avanzamento;
  avanzamento.assign(u"Percettori esaminati N.").append(text::Decimal(esaminati));
  Label2(8).SetCaption(avanzamento);
  Label2(8).Refresh();
}

// The list in sight lacks rows that couldn't be read.
bool ElencoIncompleto = false;

// The row of the query's current recipient, 62 characters, into `riga`.
void COMPONIRIGA(std::u16string& riga) {
  riga.assign(text::Trim(RecLista.Fields(u"CFP").View()).substr(0, kColonneCodice));
  riga.resize(kColonneCodice + 1, u' ');
  riga.append(text::Trim(RecLista.Fields(u"APARC_1").View()).substr(0, kColonneNome));
  riga.push_back(u' ');
  riga.append(text::Trim(RecLista.Fields(u"APARC_2").View()).substr(0, kColonneNome));
  riga.resize(kColonneCodice + 1 + kColonneNome, u' ');
}

// The code, as in its row, of the recipient last selected; empty for the first row.
std::u16string CodiceScelto;

// Where the list stands before it is filled anew.
struct PostoElenco {
  int inizio;             // first row in view
  int riga;               // from which keys go on
  std::u16string codice;  // of the recipient to stay at
  int rigaCodice;         // its row, -1 where it isn't in view
};

PostoElenco LEGGIPOSTO() {
  PostoElenco posto{List1.TopIndex(), List1.GoesOnFrom(), CodiceScelto, -1};
  if (FrameCambiaCf.Visible()) {
    posto.codice = CFNuovo;
    posto.rigaCodice = posto.riga;
    return posto;
  }
  if (Frmmoduli(0).Visible()) {
    posto.codice = CHIAVECODICE(CFCorrente);
  }
  const int fine = std::min(List1.ListCount(), posto.inizio + List1.VisibleRows());
  for (int riga = posto.inizio; riga < fine; ++riga) {
    if (!posto.codice.empty() && List1.List(riga).starts_with(posto.codice)) {
      posto.rigaCodice = riga;
    }
  }
  return posto;
}

// `riga`: where the recipient is now, -1 when it has gone or never was.
void RIPRENDIPOSTO(const PostoElenco& posto, int riga) {
  if (riga < 0) {
    List1.GoOnFrom(posto.riga, !CodiceScelto.empty());
    List1.SetTopIndex(posto.inizio);
    return;
  }
  CodiceScelto = posto.codice;
  List1.GoOnFrom(riga);
  if (posto.rigaCodice >= 0) {
    List1.SetTopIndex(riga - (posto.rigaCodice - posto.inizio));
  } else {
    List1.SetTopIndex(riga - List1.VisibleRows() / 2);
  }
}

// The row of the recipient with this code, -1 where there is none.
int RIEMPIELENCO(const std::u16string& codice) {
  long esaminati = 0;
  int trovato = -1;
  RecLista = DbDichiarazione.OpenRecordset(INTERROGAZIONEELENCO());
  List1.AddItem(kRigaInserimento);
  if (RecLista.RecordCount() != 0) {
    std::u16string riga;
    RecLista.MoveFirst();
    while (!RecLista.Eof()) {
      COMPONIRIGA(riga);
      if (!codice.empty() && riga.starts_with(codice)) {
        trovato = List1.ListCount();
      }
      List1.AddItem(riga);
      MOSTRAAVANZAMENTO(++esaminati);
      RecLista.MoveNext();
    }
  }
  RecLista.Close();
  return trovato;
}

}  // namespace

std::u16string_view INTERROGAZIONEELENCO() {
  if (Option1(0).Value()) {
    return u"SELECT * FROM PERCPARCELLE  order by cfp";
  }
  return u"SELECT * FROM PERCPARCELLE  order by APARC_1,APARC_2";
}

void LISTAPERCETTORI() {
  Cmdcancella.SetEnabled(false);
  CmdCambia.SetEnabled(false);
  List1.SetVisible(false);
  Label2(8).SetVisible(true);
  MOSTRAAVANZAMENTO(0);
  if (FlagFormCaricato == 0) {
    CodiceScelto.clear();
  }
  const PostoElenco posto = LEGGIPOSTO();
  List1.Clear();
  List1.SetSearch(Option1(0).Value() ? 0 : kColonneCodice + 1, 1);
  ElencoIncompleto = true;
  try {
    RIPRENDIPOSTO(posto, RIEMPIELENCO(posto.codice));
    ElencoIncompleto = false;
  } catch (...) {
    // A list cut short, but in sight; who handles the failure shows it.
    RecLista = {};
    if (List1.ListCount() == 0) {
      List1.AddItem(kRigaInserimento);
    }
    Label2(8).SetVisible(false);
    List1.SetVisible(true);
    throw;
  }
  Label2(8).SetVisible(false);
  Label2(8).Refresh();
  List1.SetVisible(true);
}

void Option1_Click(int) {
  if (FlagFormCaricato == 1) {
    LISTAPERCETTORI();
  }
}

void RIPROVAELENCO() {
  if (ElencoIncompleto) {
    LISTAPERCETTORI();
  }
}

void List1_Click() {
  FrmInserimento.SetVisible(false);
  const std::u16string riga = List1.Text();
  const bool percettore = riga != kRigaInserimento;
  CodiceScelto.clear();
  if (percettore) {
    CodiceScelto = riga.substr(0, kColonneCodice);
  }
  Cmdcancella.SetEnabled(percettore);
  CmdCambia.SetEnabled(percettore);
}

std::u16string CODICEINELENCO(int riga) {
  if (riga == 0) {
    return {};
  }
  return std::u16string(text::Trim(List1.List(riga).substr(0, kColonneCodice)));
}

void APRIINSERIMENTO() {
  for (toolkit::TextBox* casella : {&TEXTCF, &TextCOGNO, &TextNOME}) {
    ASPETTONORMALE(*casella);
  }
  for (toolkit::TextBox* casella : {&TEXTCF, &TextCOGNO, &TextNOME}) {
    casella->SetText(u"");
  }
  FrmInserimento.SetVisible(true);
  TEXTCF.SetFocus();
  PULISCICAMPI();
}

void List1_DblClick() {
  if (FrmInserimento.Visible()) {
    FrmInserimento.SetVisible(false);
  }
  const std::u16string riga = List1.Text();
  if (text::Trim(riga).empty()) {
    return;
  }
  if (riga == kRigaInserimento) {
    APRIINSERIMENTO();
    return;
  }
  if (!CERCAPERCETTORE(riga.substr(0, kColonneCodice))) {
    ANNUNCIA(std::u16string(kPercettoreSparito));
    return;
  }
  LEGGIPERCETTORE();
  IMPOSTATESTATA();
  PULISCICAMPI();
  CARICADATI();
  FrmSelezione.SetVisible(false);
  Frmmoduli(0).SetVisible(true);
  Frmbottoni.SetVisible(true);
  Frmtestata.SetVisible(true);
}

}  // namespace ANAGPARC
