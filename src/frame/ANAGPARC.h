// ANAGPARC: the form. Its controls, its variables, its start and its end. The other procedures and
// handlers of the form are declared by the folder of their subject: selection, record, reference,
// lifecycle. A handler bears the control's name and the event's.
//
// Procedures report by the flags of MOD770BAS.h. Where nothing else is said, they may throw
// engine::Error; what a handler lets through reaches ERRORENONPREVISTO.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

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

// Record screen. Text1 has the indices of regole::kCampi.
extern toolkit::ControlArray<toolkit::TextBox> Text1;
extern toolkit::ControlArray<toolkit::Label> testate3;  // as Text1, and the headings
extern toolkit::ControlArray<toolkit::CommandButton> CMDAPRILIST;
extern toolkit::Label LabCOGNODEN, LabCF, Label5;
extern toolkit::CommandButton cmdparcprec, cmdparcsuc, cmdselprec, cmdmemorizza;

// Lookup panel.
extern toolkit::Label LabTabmin;
extern toolkit::ListBox ListTabmin;

// --- Variables of the form

extern std::int16_t FlagFormCaricato;   // 1 once the first list stands
extern std::int16_t TabellaAperta;      // button that last opened the lookup panel
extern std::u16string CFCorrente;       // code of the recipient selected or on screen
extern std::u16string CFPrecedente;     // code of the recipient that a move leaves
extern std::u16string CFNuovo;          // new code in a change of code, in key form
extern std::u16string RigaSelezionata;  // list row of the recipient whose code changes
// After a failure TabPERCPARCELLE may stand on another row than the record on screen: a move must
// seek CFCorrente first.
extern bool FuoriPosto;

// --- Places of the controls that the program places again at its start, in twips within what
// holds them. The form's design shares them.

struct Posto {
  int left, top, width, height;
};
inline constexpr Posto kPostoDati{120, 900, 11745, 5800};
inline constexpr Posto kPostoBottoni{120, 6650, 11745, 915};
inline constexpr Posto kPostoSelezione{120, 900, 11745, 5865};
inline constexpr Posto kPostoTestata{120, 210, 11745, 615};
inline constexpr Posto kPostoPannello{6960, 720, 4635, 3495};  // insertion, change of code
inline constexpr Posto kPostoElenco{180, 1110, 6675, 3840};

// Builds the form as it was designed, ties the handlers to their events and
// puts all variables in their first state: what a process begins with.
void CARICAMODULO();

// What a main function does first: ties the toolkit to the system and the engine, then
// CARICAMODULO. `rigaDiComando` is the command line after the program's name.
void PREPARAPROGRAMMA(std::u16string rigaDiComando);

// The title of the form's message boxes.
inline const std::u16string& Titolo() { return Me.Caption(); }

// --- Keys of a whole screen (frame/scorciatoie.cpp)

// Comes before the focused control; KeyCode 0 when the key has been used.
void Form_KeyDown(std::int16_t& KeyCode, std::int16_t Shift);
// Names these keys in the tool tips of the buttons that they press.
void SUGGERISCITASTI();

// --- Start and end (frame/avvio.cpp)

void Form_Load();
// One box, if need be, of what the user should know of this archive.
void Form_Activate();
void Form_Resize();
void Form_Unload();
// Shows the user a failure that no handler has caught. The screen stays as
// it is, so that nothing typed is lost.
void ERRORENONPREVISTO(const std::exception& errore);

// Both Uscita buttons: 0 settles unsaved changes first, 1 never asks.
void cmduscita_Click(int Index);
void cmduscita_GotFocus(int Index);

// --- The status bar's second panel (frame/stato.cpp)

// Says it there once the handler has ended, until the user does the next thing.
void ANNUNCIA(std::u16string testo);
// Shows the state of the screen; comes after each event. Microseconds.
void AGGIORNASTATO();

// --- Printing (frame/stampa.cpp)

// What is printed, under the heading that all of it bears. `nome`: proposed for a file.
toolkit::Document NUOVASTAMPA(std::u16string titolo, std::u16string nome);
// Both names, or the denomination and its continuation, without blanks around.
std::u16string NOMINATIVO(std::u16string_view cognome, std::u16string_view nome);
// Prints it as the user chooses; shows a failure.
void STAMPA(const toolkit::Document& documento);

// --- The two looks of an input box: normal, and marked as wrong.

void ASPETTONORMALE(toolkit::TextBox& casella);
void ASPETTOERRORE(toolkit::TextBox& casella);

}  // namespace ANAGPARC
