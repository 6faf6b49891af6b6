// The form as it was designed: every control with its place, its text and its place in the tab
// order, in twips within its frame, lower ones first. Then the handlers, tied to their events.
#include "frame/ANAGPARC.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <span>

#include "frame/MOD770BAS.h"
#include "lifecycle/lifecycle.h"
#include "record/record.h"
#include "record/regole.h"
#include "reference/reference.h"
#include "selection/selection.h"

namespace ANAGPARC {

using toolkit::Border;
using toolkit::Color;
using toolkit::Control;
using toolkit::Design;
using toolkit::Font;
using toolkit::Placed;

namespace {

// Indices of testate3 that are no field's: the headings of the blocks and the note.
constexpr std::array kTestateDeiBlocchi = {18, 155, 166, 177};
static_assert(std::ranges::none_of(regole::kCampi, [](const regole::CampoPercettore& campo) {
  return std::ranges::find(kTestateDeiBlocchi, campo.indice) != kTestateDeiBlocchi.end();
}));

// The indices of the fields, and `altri`.
std::vector<int> INDICICAMPI(std::span<const int> altri) {
  std::vector<int> indici(altri.begin(), altri.end());
  std::ranges::transform(regole::kCampi, std::back_inserter(indici),
                         &regole::CampoPercettore::indice);
  return indici;
}

}  // namespace

toolkit::Form Me(u"ANAGPARC");

toolkit::Frame FrmSelezione(u"FrmSelezione"), FrmInserimento(u"FrmInserimento"),
    FrameCambiaCf(u"FrameCambiaCf"), Frame2(u"Frame2"), Frmbottoni(u"Frmbottoni"),
    Frmtestata(u"Frmtestata"), Framecodif(u"Framecodif");
toolkit::ControlArray<toolkit::Frame> Frmmoduli(u"Frmmoduli", {0});
toolkit::StatusBar StatusBar1(u"StatusBar1");

toolkit::ListBox List1(u"List1");
toolkit::ControlArray<toolkit::Label> Label1(u"Label1", {0, 1, 2, 3, 4, 8, 9});
toolkit::ControlArray<toolkit::Label> Label2(u"Label2", {1, 2, 3, 4, 5, 7, 8, 11, 12, 13, 14, 15});
toolkit::Label Label3(u"Label3");
toolkit::Shape Shape1(u"Shape1");
toolkit::ControlArray<toolkit::Shape> Shape2(u"Shape2", {0, 1, 2});
toolkit::ControlArray<toolkit::OptionButton> Option1(u"Option1", {0, 1});
toolkit::CommandButton Cmdcancella(u"Cmdcancella"), CmdCambia(u"CmdCambia");
toolkit::ControlArray<toolkit::CommandButton> cmduscita(u"cmduscita", {0, 1});

toolkit::TextBox TEXTCF(u"TEXTCF"), TextCOGNO(u"TextCOGNO"), TextNOME(u"TextNOME"), Text2(u"Text2");
toolkit::ControlArray<toolkit::CommandButton> CmdInserimento(u"CmdInserimento", {0, 1});
toolkit::CommandButton CmdAnnullaCF(u"CmdAnnullaCF"), CmdConfermaCF(u"CmdConfermaCF");

toolkit::ControlArray<toolkit::TextBox> Text1(u"Text1", INDICICAMPI({}));
toolkit::ControlArray<toolkit::Label> testate3(u"testate3", INDICICAMPI(kTestateDeiBlocchi));
toolkit::ControlArray<toolkit::CommandButton> CMDAPRILIST(u"CMDAPRILIST", {0, 1, 2, 3, 4, 5});
toolkit::Label LabCOGNODEN(u"LabCOGNODEN"), LabCF(u"LabCF"), Label5(u"Label5");
toolkit::CommandButton cmdparcprec(u"cmdparcprec"), cmdparcsuc(u"cmdparcsuc"),
    cmdselprec(u"cmdselprec"), cmdmemorizza(u"cmdmemorizza");

toolkit::Label LabTabmin(u"LabTabmin");
toolkit::ListBox ListTabmin(u"ListTabmin");

std::int16_t FlagFormCaricato = 0;
std::int16_t TabellaAperta = 0;
std::u16string CFCorrente;
std::u16string CFPrecedente;
std::u16string CFNuovo;
std::u16string RigaSelezionata;
bool FuoriPosto = false;

namespace {

constexpr const char16_t* kTitoloModulo =
    u" Gestione percettori lavoro autonomo / Provvigioni / Redditi diversi";
constexpr Color kSfondo = 16702663;   // form, frames, buttons
constexpr Color kEvidenza = 8454143;  // header of the record
constexpr Color kSuSfondo = 8388608;  // headings: navy, easy to read on kSfondo
constexpr Color kFascia = 15779238;   // heading of the list

using Righe = std::vector<Placed>;

void AGGIUNGI(Righe& t, Control& controllo, Control* contenitore, Control* etichetta,
              const Posto& p, const char16_t* testo, Design d) {
  d.Left = p.left;
  d.Top = p.top;
  d.Width = p.width;
  d.Height = p.height;
  d.Caption = testo;
  t.push_back({controllo, contenitore, etichetta, d});
}
void COLLOCARIQUADRO(Righe& t, Control& frame, Control* contenitore, const Posto& p,
                     const char16_t* titolo, Design d = {}, Control* etichetta = nullptr) {
  d.BackColor = kSfondo;
  AGGIUNGI(t, frame, contenitore, etichetta, p, titolo, d);
}
void COLLOCAETICHETTA(Righe& t, Control& label, Control* contenitore, const Posto& p,
                      const char16_t* testo, Design d = {}) {
  d.BackColor = kSfondo;
  AGGIUNGI(t, label, contenitore, nullptr, p, testo, d);
}
// A label that shows a value of the recipient in hand.
void COLLOCAVALORE(Righe& t, Control& label, Control* contenitore, const Posto& p) {
  AGGIUNGI(t, label, contenitore, nullptr, p, u"",
           {.BackColor = kEvidenza, .Face = Font::Fixed, .Edge = Border::Line});
}
void COLLOCAPULSANTE(Righe& t, Control& pulsante, Control* contenitore, const Posto& p,
                     const char16_t* testo, Design d, Control* etichetta = nullptr) {
  d.BackColor = kSfondo;
  AGGIUNGI(t, pulsante, contenitore, etichetta, p, testo, d);
}
// Text box or list, with the label that stands by it.
void COLLOCACASELLA(Righe& t, Control& casella, Control* contenitore, Control& etichetta,
                    const Posto& p, const char16_t* testo, Design d) {
  d.Face = Font::Fixed;
  d.Edge = Border::Sunken;
  AGGIUNGI(t, casella, contenitore, &etichetta, p, testo, d);
}
void COLLOCABORDO(Righe& t, Control& shape, Control* contenitore, const Posto& p) {
  AGGIUNGI(t, shape, contenitore, nullptr, p, u"", {.BackColor = kSfondo, .Edge = Border::Line});
}

// clang-format off

void SELEZIONE(Righe& t) {
  Control* f = &FrmSelezione;
  COLLOCARIQUADRO(t, FrmSelezione, nullptr, kPostoSelezione, u"Selezione", {}, &Label1(0));
  COLLOCAETICHETTA(t, Label1(0), f, {210, 330, 11385, 345}, u" Selezione percettori lavoro autonomo / Provvigioni / Redditi diversi", {.ForeColor = kSuSfondo, .Face = Font::Heading});
  AGGIUNGI(t, Label1(1), f, nullptr, {180, 780, 6675, 285}, u" Codice fiscale - Cognome/nome o Denominazione", {.BackColor = kFascia, .ForeColor = kSuSfondo, .Face = Font::Fixed});
  COLLOCACASELLA(t, List1, f, Label1(1), kPostoElenco, u"", {.TabIndex = 28});
  COLLOCAETICHETTA(t, Label2(8), f, {180, 4500, 6675, 435}, u"", {.Visible = false, .Edge = Border::Line});
  COLLOCARIQUADRO(t, Frame2, f, {180, 4950, 5295, 765}, u"", {}, &Label3);
  COLLOCAETICHETTA(t, Label3, &Frame2, {150, 180, 1815, 195}, u"Tipo ordinamento per");
  COLLOCAPULSANTE(t, Option1(0), &Frame2, {2370, 180, 2235, 285}, u"codice fiscale", {.TabIndex = 35});
  COLLOCAPULSANTE(t, Option1(1), &Frame2, {2370, 480, 2685, 195}, u"cognome nome / denominazione", {.TabIndex = 36});
  COLLOCABORDO(t, Shape1, f, {6960, 810, 4575, 3105});
  COLLOCAETICHETTA(t, Label1(2), f, {7050, 870, 4485, 375}, u"Doppio  click  del  mouse  su  una anagrafica  esistente per gestirla");
  COLLOCAETICHETTA(t, Label1(3), f, {7050, 1320, 4395, 435}, u"Doppio click del mouse su 'INSERIMENTO NUOVA ANAGRAFICA ' per inserirne una nuova.");
  COLLOCAETICHETTA(t, Label1(4), f, {7050, 1770, 4425, 465}, u"Un  click  del  mouse  su  una anagrafica  esistente per cancellare percettore");
  COLLOCAETICHETTA(t, Label1(9), f, {7080, 2220, 4395, 615}, u"Per modificare un codice fiscale di una anagrafica percettore, singolo click sulla anagrafica interessata e premere il pulsante relativo");
  COLLOCAETICHETTA(t, Label1(8), f, {7080, 2880, 4365, 585}, u"Per cancellare un percettore, singolo click sulla anagrafica interessata e premere il pulsante relativo");
  COLLOCAPULSANTE(t, cmduscita(1), f, {6960, 4350, 1425, 645}, u"Uscita", {.TabIndex = 32});
  COLLOCAPULSANTE(t, Cmdcancella, f, {8400, 4350, 1935, 645}, u"Cancella Percettore", {.TabIndex = 33});
  COLLOCAPULSANTE(t, CmdCambia, f, {10350, 4350, 1245, 645}, u"&Cambia C.F.", {.TabIndex = 34});
}

void INSERIMENTO(Righe& t) {
  Control* f = &FrmInserimento;
  COLLOCARIQUADRO(t, FrmInserimento, &FrmSelezione, kPostoPannello, u"Inserimento", {.Visible = false, .Edge = Border::Line}, &Label2(2));
  COLLOCAETICHETTA(t, Label2(2), f, {180, 150, 4275, 285}, u"Inserimento nuova anagrafica ", {.ForeColor = kSuSfondo, .Face = Font::Bold});
  COLLOCAETICHETTA(t, Label2(1), f, {180, 600, 4275, 210}, u"Codice Fiscale");
  COLLOCACASELLA(t, TEXTCF, f, Label2(1), {180, 825, 1830, 315}, u"TTTFFF60T45F205T", {.TabIndex = 37, .MaxLength = 16, .Trims = true});
  COLLOCAETICHETTA(t, Label2(4), f, {180, 1230, 4275, 210}, u"Cognome o Denom.");
  COLLOCACASELLA(t, TextCOGNO, f, Label2(4), {180, 1455, 3195, 315}, u"", {.TabIndex = 38, .MaxLength = 30});
  COLLOCAETICHETTA(t, Label2(5), f, {180, 1860, 4275, 210}, u"Nome");
  COLLOCACASELLA(t, TextNOME, f, Label2(5), {180, 2085, 2220, 315}, u"", {.TabIndex = 39, .MaxLength = 20});
  COLLOCAPULSANTE(t, CmdInserimento(1), f, {180, 2670, 1935, 645}, u"Annulla", {.TabIndex = 40});
  COLLOCAPULSANTE(t, CmdInserimento(0), f, {2250, 2670, 2205, 645}, u"Conferma inserimento", {.TabIndex = 41, .Main = true});
}

void CAMBIOCODICE(Righe& t) {
  Control* f = &FrameCambiaCf;
  COLLOCARIQUADRO(t, FrameCambiaCf, &FrmSelezione, kPostoPannello, u"Cambio codice fiscale", {.Visible = false, .Edge = Border::Line}, &Label2(7));
  COLLOCAETICHETTA(t, Label2(7), f, {180, 120, 4275, 420}, u"", {.ForeColor = kSuSfondo, .Face = Font::Bold});
  COLLOCAETICHETTA(t, Label2(14), f, {180, 720, 1650, 210}, u"Cod.fiscale vecchio");
  COLLOCAVALORE(t, Label2(11), f, {1905, 660, 1890, 315});
  COLLOCAETICHETTA(t, Label2(12), f, {180, 1170, 1650, 210}, u"Cod.fiscale nuovo");
  COLLOCACASELLA(t, Text2, f, Label2(12), {1905, 1110, 1890, 315}, u"", {.TabIndex = 29, .MaxLength = 16, .Trims = true});
  COLLOCAETICHETTA(t, Label2(13), f, {180, 1575, 4275, 630}, u"Il programma attribuisce il nuovo codice fiscale al percettore e ai relativi quadri compilati");
  COLLOCAETICHETTA(t, Label2(15), f, {180, 2310, 4275, 240}, u"Attendere prego....cambio codice fiscale in corso", {.Visible = false, .ForeColor = kSuSfondo, .Face = Font::Bold});
  COLLOCAPULSANTE(t, CmdAnnullaCF, f, {180, 2670, 2070, 645}, u"&Annulla", {.TabIndex = 30});
  COLLOCAPULSANTE(t, CmdConfermaCF, f, {2385, 2670, 2070, 645}, u"&Conferma", {.TabIndex = 31, .Main = true});
}

void TESTATA(Righe& t) {
  Control* f = &Frmtestata;
  COLLOCARIQUADRO(t, Frmtestata, nullptr, kPostoTestata, u"Testata", {.Visible = false}, &Label2(3));
  COLLOCAETICHETTA(t, Label2(3), f, {180, 195, 930, 225}, u"Percettore", {.Face = Font::Bold});
  COLLOCAVALORE(t, LabCOGNODEN, f, {1170, 150, 7050, 315});
  COLLOCAETICHETTA(t, Label5, f, {8490, 195, 480, 225}, u"C.F.", {.Face = Font::Bold});
  COLLOCAVALORE(t, LabCF, f, {9030, 150, 2535, 315});
}

// A field and the label over it, of one line or two; the next in the tab order. Fixed-pitch
// characters are 99 twips wide.
void COLLOCACAMPO(Righe& t, int& tab, int n, int left, int top, int largo, int titoloLargo, int titoloRighe = 1) {
  Control* f = &Frmmoduli(0);
  const regole::CampoPercettore& campo = *regole::CAMPO(n);
  const Design d = {.TabIndex = tab++, .MaxLength = campo.larghezza, .Enabled = campo.genere != regole::Genere::kCodice, .Locked = regole::BLOCCATO(campo.genere), .Masked = campo.genere == regole::Genere::kData || campo.genere == regole::Genere::kSesso};
  const int alto = 210 * titoloRighe;
  COLLOCAETICHETTA(t, testate3(n), f, {left, top - alto - 15, titoloLargo, alto}, campo.etichetta.data(), {.Enabled = d.Enabled});
  COLLOCACASELLA(t, Text1(n), f, testate3(n), {left, top, largo, 315}, u"", d);
}
// The lookup button beside a field.
void COLLOCAAPRILISTA(Righe& t, int& tab, int n, int campo, int left, int top) {
  COLLOCAPULSANTE(t, CMDAPRILIST(n), &Frmmoduli(0), {left, top, 300, 315}, u"...", {.TabIndex = tab++}, &testate3(campo));
}

// In the tab order, from 0; returns the place that follows.
int CAMPI(Righe& t) {
  int tab = 0;
  Control* f = &Frmmoduli(0);
  COLLOCARIQUADRO(t, Frmmoduli(0), nullptr, kPostoDati, u"Dati", {.Visible = false});
  COLLOCABORDO(t, Shape2(0), f, {120, 120, 11505, 1665});
  COLLOCABORDO(t, Shape2(1), f, {120, 1920, 11505, 960});
  COLLOCABORDO(t, Shape2(2), f, {120, 3225, 11505, 2070});

  COLLOCAETICHETTA(t, testate3(155), f, {240, 480, 1440, 840}, u"DATI RELATIVI AL PERCIPIENTE DELLE SOMME", {.ForeColor = kSuSfondo, .Face = Font::Bold});
  COLLOCACAMPO(t, tab, 0, 1800, 450, 1830, 1830);
  COLLOCACAMPO(t, tab, 1, 3780, 450, 3195, 3195);
  COLLOCACAMPO(t, tab, 2, 7125, 450, 2220, 3300);

  COLLOCACAMPO(t, tab, 3, 1800, 1365, 345, 1140);
  COLLOCACAMPO(t, tab, 4, 3000, 1365, 1230, 1290);
  COLLOCACAMPO(t, tab, 5, 4380, 1365, 4200, 4200);
  COLLOCACAMPO(t, tab, 6, 8730, 1365, 435, 990);
  COLLOCAAPRILISTA(t, tab, 0, 6, 9165, 1365);
  COLLOCACAMPO(t, tab, 9, 9750, 1365, 435, 900, 2);
  COLLOCAAPRILISTA(t, tab, 2, 9, 10185, 1365);
  COLLOCACAMPO(t, tab, 16, 10665, 1365, 345, 900, 2);
  COLLOCAAPRILISTA(t, tab, 4, 16, 11010, 1365);

  COLLOCAETICHETTA(t, testate3(18), f, {1800, 1995, 4500, 225}, u"Domicilio fiscale  all' 01/01/2014", {.ForeColor = kSuSfondo, .Face = Font::Bold});
  COLLOCACAMPO(t, tab, 7, 1800, 2460, 4200, 4200);
  COLLOCACAMPO(t, tab, 8, 6150, 2460, 435, 1050);
  COLLOCAAPRILISTA(t, tab, 1, 8, 6585, 2460);
  COLLOCACAMPO(t, tab, 17, 7350, 2460, 630, 1350);
  COLLOCAAPRILISTA(t, tab, 5, 17, 7980, 2460);

  COLLOCAETICHETTA(t, testate3(166), f, {240, 3705, 1440, 840}, u"RISERVATO AI PERCIPIENTI ESTERI", {.ForeColor = kSuSfondo, .Face = Font::Bold});
  COLLOCACAMPO(t, tab, 11, 1800, 3780, 3195, 3195);
  COLLOCACAMPO(t, tab, 12, 5655, 3780, 4200, 4200);
  COLLOCACAMPO(t, tab, 13, 1800, 4650, 3705, 3705);
  COLLOCACAMPO(t, tab, 14, 5655, 4650, 540, 1800);
  COLLOCAAPRILISTA(t, tab, 3, 14, 6195, 4650);

  COLLOCAETICHETTA(t, testate3(177), f, {240, 5340, 5985, 435}, u"N.B. Se inserito campo 'Nome' vengono richiesti obbligatoriamente                 'data di nascita','comune(o stato estero) di nascita,'provincia di nascita ,'sesso'");
  return tab;
}

void BOTTONI(Righe& t, int tab) {
  Control* f = &Frmbottoni;
  COLLOCARIQUADRO(t, Frmbottoni, nullptr, kPostoBottoni, u"Bottoni", {.Visible = false});
  COLLOCAPULSANTE(t, cmdparcprec, f, {120, 150, 2205, 645}, u"Anagrafica precedente", {.TabIndex = tab++});
  COLLOCAPULSANTE(t, cmdparcsuc, f, {2445, 150, 2205, 645}, u"Anagrafica successiva", {.TabIndex = tab++});
  COLLOCAPULSANTE(t, cmdselprec, f, {4770, 150, 2205, 645}, u"Altra anagrafica", {.TabIndex = tab++});
  COLLOCAPULSANTE(t, cmduscita(0), f, {7095, 150, 2205, 645}, u"Uscita", {.TabIndex = tab++});
  COLLOCAPULSANTE(t, cmdmemorizza, f, {9420, 150, 2205, 645}, u"Memorizza", {.TabIndex = tab++, .Main = true});
}

// The list's own place and size follow the panel's at each opening. It has no
// place in the tab order: from it the order goes on after what has opened it.
void TABELLE(Righe& t) {
  COLLOCARIQUADRO(t, Framecodif, nullptr, {4150, 2790, 5085, 3840}, u"Tabelle", {.Visible = false, .Edge = Border::Raised}, &LabTabmin);
  COLLOCAETICHETTA(t, LabTabmin, &Framecodif, {50, 240, 4985, 255}, u"", {.ForeColor = kSuSfondo, .Face = Font::Bold});
  COLLOCACASELLA(t, ListTabmin, &Framecodif, LabTabmin, {50, 540, 4985, 3240}, u"", {});
}

// clang-format on

// The list in which letters search. Selecting a row gives up an insertion that was begun, which
// only a click on the list may do.
toolkit::ListBox* ELENCODACERCARE() {
  if (!List1.CanFocus() || FrmInserimento.Visible()) {
    return nullptr;
  }
  return &List1;
}

void COLLEGAMODULO() {
  Me.LoadEvent = Form_Load;
  Me.ActivateEvent = Form_Activate;
  Me.ResizeEvent = Form_Resize;
  Me.UnloadEvent = Form_Unload;
  Me.KeyDown = Form_KeyDown;
  Me.SearchList = ELENCODACERCARE;
  Me.Settled = AGGIORNASTATO;
  for (const int i : {0, 1}) {
    cmduscita(i).Click = [i] { cmduscita_Click(i); };
    cmduscita(i).GotFocus = [i] { cmduscita_GotFocus(i); };
  }
}

void COLLEGASELEZIONE() {
  List1.Click = List1_Click;
  List1.DblClick = List1_DblClick;
  List1.Code = CODICEINELENCO;
  List1.RowCommands = {
      {u"&Apri", nullptr}, {u"Cambia C.&F.", &CmdCambia}, {u"Ca&ncella", &Cmdcancella}};
  for (const int i : {0, 1}) {
    Option1(i).Click = [i] { Option1_Click(i); };
    Option1(i).Again = RIPROVAELENCO;
    CmdInserimento(i).Click = [i] { CmdInserimento_Click(i); };
  }
  TEXTCF.Change = TEXTCF_Change;
  TEXTCF.GotFocus = TEXTCF_GotFocus;
  TEXTCF.KeyPress = TEXTCF_KeyPress;
  TextCOGNO.Change = TextCOGNO_Change;
  TextCOGNO.GotFocus = TextCOGNO_GotFocus;
  TextCOGNO.KeyPress = TextCOGNO_KeyPress;
  TextNOME.Change = TextNOME_Change;
  TextNOME.GotFocus = TextNOME_GotFocus;
  TextNOME.KeyPress = TextNOME_KeyPress;
  Text2.Change = Text2_Change;
  Text2.GotFocus = Text2_GotFocus;
  Text2.KeyPress = Text2_KeyPress;
  Cmdcancella.Click = Cmdcancella_Click;
  CmdCambia.Click = CmdCambia_Click;
  CmdAnnullaCF.Click = CmdAnnullaCF_Click;
  CmdConfermaCF.Click = CmdConfermaCF_Click;
}

void COLLEGASCHEDA() {
  Frmmoduli(0).Click = [] { Frmmoduli_Click(0); };
  for (const regole::CampoPercettore& campo : regole::kCampi) {
    const int i = campo.indice;
    Text1(i).KeyPress = [i](std::int16_t& tasto) { Text1_KeyPress(i, tasto); };
    Text1(i).Change = [i] { Text1_Change(i); };
    Text1(i).GotFocus = [i] { Text1_GotFocus(i); };
    Text1(i).LostFocus = [i] { Text1_LostFocus(i); };
  }
  for (int i = 0; i < CMDAPRILIST.Bound(); ++i) {
    CMDAPRILIST(i).Click = [i] { CMDAPRILIST_Click(i); };
  }
  ListTabmin.DblClick = ListTabmin_DblClick;
  ListTabmin.KeyDown = ListTabmin_KeyDown;
  ListTabmin.Code = CODICEINTABELLA;
  cmdparcprec.Click = cmdparcprec_Click;
  cmdparcprec.GotFocus = cmdparcprec_GotFocus;
  cmdparcsuc.Click = cmdparcsuc_Click;
  cmdparcsuc.GotFocus = cmdparcsuc_GotFocus;
  cmdselprec.Click = cmdselprec_Click;
  cmdselprec.GotFocus = cmdselprec_GotFocus;
  cmdmemorizza.Click = cmdmemorizza_Click;
  cmdmemorizza.GotFocus = cmdmemorizza_GotFocus;
}

void COLLEGAEVENTI() {
  COLLEGAMODULO();
  COLLEGASELEZIONE();
  COLLEGASCHEDA();
}

}  // namespace

void ASPETTONORMALE(toolkit::TextBox& casella) {
  casella.SetForeColor(toolkit::kBlack);
  casella.SetBackColor(toolkit::kWhite);
}

void ASPETTOERRORE(toolkit::TextBox& casella) {
  casella.SetForeColor(toolkit::kBlack);
  casella.SetBackColor(toolkit::kYellow);
}

void CARICAMODULO() {
  Righe t;
  SELEZIONE(t);
  INSERIMENTO(t);
  CAMBIOCODICE(t);
  TESTATA(t);
  const int tab = CAMPI(t);
  BOTTONI(t, tab);
  COLLOCARIQUADRO(t, StatusBar1, nullptr, {0, 8400, 12015, 345}, u"");
  TABELLE(t);
  Me.Build(t, kTitoloModulo, kSfondo);
  COLLEGAEVENTI();
  SUGGERISCITASTI();
  MOD770BAS::AZZERASTATO();
  FlagFormCaricato = TabellaAperta = 0;
  CFCorrente.clear();
  CFPrecedente.clear();
  FuoriPosto = false;
  CFNuovo.clear();
  RigaSelezionata.clear();
  ComuniLetti.reset();
  OraRegistrazione.clear();
  ANNUNCIA(u"");
  toolkit::Screen.MousePointer = 0;
}

}  // namespace ANAGPARC
