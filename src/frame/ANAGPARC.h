// ANAGPARC: the form. Its controls, its variables, its procedures and
// handlers. A handler bears the control's name and the event's; what it does
// stands in the folder of its subject.
#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "platform/toolkit/application.h"
#include "platform/toolkit/control.h"
#include "platform/toolkit/form.h"

namespace ANAGPARC {

extern toolkit::Form Me;

// --- Controls

// The frames. FrmSelezione holds the two panels FrmInserimento, FrameCambiaCf.
extern toolkit::Frame FrmSelezione, FrmInserimento, FrameCambiaCf, Frame2, Frmbottoni, Frmtestata,
    Framecodif;
extern toolkit::ControlArray<toolkit::Frame> Frmmoduli;
extern toolkit::StatusBar StatusBar1;

// Selection screen.
extern toolkit::ListBox List1;
extern toolkit::ControlArray<toolkit::Label> Label1;  // 0 to 4, 8, 9
extern toolkit::ControlArray<toolkit::Label> Label2;  // 1 to 5, 7, 8, 11 to 15
extern toolkit::Label Label3;
extern toolkit::Shape Shape1;
extern toolkit::ControlArray<toolkit::Shape> Shape2;  // borders round the groups of fields
extern toolkit::ControlArray<toolkit::OptionButton> Option1;
extern toolkit::CommandButton Cmdcancella, CmdCambia;
extern toolkit::ControlArray<toolkit::CommandButton> cmduscita;  // 0 record, 1 selection screen

// Insertion of a recipient, change of a code.
extern toolkit::TextBox TEXTCF, TextCOGNO, TextNOME, Text2;
extern toolkit::ControlArray<toolkit::CommandButton> CmdInserimento;
extern toolkit::CommandButton CmdAnnullaCF, CmdConfermaCF;

// Record screen. Text1 has the indices 0 to 9, 11 to 14, 16 and 17.
extern toolkit::ControlArray<toolkit::TextBox> Text1;
extern toolkit::ControlArray<toolkit::Label> testate3;  // as Text1, and 18, 155, 166, 177
extern toolkit::ControlArray<toolkit::CommandButton> CMDAPRILIST;
extern toolkit::Label LabCOGNODEN, LabCF, Label5;
extern toolkit::CommandButton cmdparcprec, cmdparcsuc, cmdselprec, cmdmemorizza;

// Lookup panel.
extern toolkit::Label LabTabmin;
extern toolkit::ListBox ListTabmin;

// --- Variables of the form

extern std::int16_t FlagFormCaricato;  // 1 once the first list stands
extern std::int16_t TabellaAperta;     // button that last opened the lookup panel
extern std::u16string CFCorrente;      // of the recipient selected or shown
extern std::u16string CFPrecedente;    // code of the recipient being left by a move
extern bool FuoriPosto;         // after a failure the table may have left the record on screen
extern std::u16string CFNuovo;  // new code, in key form
extern std::u16string RigaSelezionata;  // list row of the recipient whose code changes

// Builds the form as it was designed, ties the handlers to their events and
// puts all variables in their first state: what a process begins with.
void CARICAMODULO();

// What a main function does first: ties the toolkit to the system and the
// engine, then CARICAMODULO. `rigaDiComando` is what stands behind the
// program's name.
void PREPARAPROGRAMMA(std::u16string rigaDiComando);

// The title of the form's message boxes.
inline const std::u16string& Titolo() { return Me.Caption(); }

// --- Start and end (frame/avvio.cpp)

void Form_Load();
void Form_Resize();
void Form_Unload();
// Tells the user of a failure that no procedure expected; the screen stays as
// it is, so that nothing typed is lost.
void ERRORENONPREVISTO(const std::exception& errore);

// --- Selection screen (selection/)

void IMPOSTAFRAME();
void RITORNASELEZDIC();
void Frmmoduli_Click(int Index);
void LISTAPERCETTORI();
void Option1_Click(int Index);
void List1_Click();
void List1_DblClick();

// --- Record screen (record/)

void SistemaToolTipText();
// From the current row of the table, without which they throw.
void CARICADATI();
void IMPOSTATESTATA();
void PULISCICAMPI();
// Reads all that the screen shows of the current row, so that a failure comes
// before the record on screen is touched.
void PROVARIGA();

// The key code left in KeyAscii is what the field acts on.
void Text1_KeyPress(int Index, std::int16_t& KeyAscii);
void Text1_Change(int Index);
void Text1_GotFocus(int Index);
void Text1_LostFocus(int Index);

// Both tell the outcome by FlagErroreCampi: 1 when a field is wrong, for
// MEMORIZZADATI also when the engine refuses the save; nothing is written then,
// and the user has been told.
void CONTROLLOCAMPI();
void MEMORIZZADATI();
// Asks about unsaved changes and acts on the answer, kept in RispostaUtente.
void MESSAGGIOVARIAZ();
// Settles unsaved changes, if there are any, for whoever leaves the record
// altogether; false when the user stays.
bool VARIAZIONIRISOLTE();
void cmdmemorizza_Click();
void cmduscita_Click(int Index);
void cmdparcprec_Click();
void cmdparcsuc_Click();
void cmdselprec_Click();
void cmdmemorizza_GotFocus();
void cmduscita_GotFocus(int Index);
void cmdparcprec_GotFocus();
void cmdparcsuc_GotFocus();
void cmdselprec_GotFocus();

// Upper case of a key's character.
std::int16_t MAIUSCOLA(std::int16_t Tasto);
// A day of the calendar as DD/MM/YYYY, the year not 0000.
bool DATAVALIDA(std::u16string_view testo);

// --- Lookup panel (reference/)

void CMDAPRILIST_Click(int Index);
void ListTabmin_DblClick();
void ListTabmin_KeyDown(std::int16_t KeyCode);

// --- Recipients that come, change their code, go (lifecycle/)

void CmdInserimento_Click(int Index);  // 0 confirms, 1 gives up
void Cmdcancella_Click();
void CmdCambia_Click();
void CmdAnnullaCF_Click();
void CmdConfermaCF_Click();
// From CFCorrente to CFNuovo, on all certifications and on the recipient's row:
// all or nothing. Throws engine::Error.
void CAMBIACF();
// What the boxes for a code and a name (TEXTCF, TextCOGNO, TextNOME, Text2)
// have in common: the caret goes to the end, keys are raised to capitals.
void CASELLACODICE_GotFocus(toolkit::TextBox& casella);
void CASELLACODICE_KeyPress(std::int16_t& KeyAscii);

// A box in its normal look, or marked as wrong.
void ASPETTONORMALE(toolkit::TextBox& casella);
void ASPETTOERRORE(toolkit::TextBox& casella);

// True for an index between 0 and 17 that is a field of the record.
bool ESISTECAMPO(double indice);
// Column of a field: CFP, or APARC_ and the index.
std::u16string COLONNA(int indice);

}  // namespace ANAGPARC
