// The selection screen: the frames of the form and the list of recipients, the program's main menu.
#pragma once

#include <string>
#include <string_view>

namespace ANAGPARC {

// Places the frames and shows the selection screen: once, at the start.
void IMPOSTAFRAME();
// From the record to the selection screen. When the list can't be read it throws engine::Error
// and the record stays on screen.
void RITORNASELEZDIC();
// A click beside the fields closes the lookup panel.
void Frmmoduli_Click(int Index);

// Fills the list anew from the table, in the order of Option1, with nothing selected and at the
// same place: the recipient last selected, opened, saved or renamed stands where it stood, and keys
// go on from its row. When it throws, the rows read so far are in sight.
void LISTAPERCETTORI();
void Option1_Click(int Index);
// The query of the list, in the order of Option1.
std::u16string_view INTERROGAZIONEELENCO();
// Fills the list anew if it couldn't be read whole: the order in use has been picked again.
void RIPROVAELENCO();
// Selects a recipient for the buttons beside the list; gives up an insertion that was begun.
void List1_Click();
// Opens the recipient of the selected row, or the insertion.
void List1_DblClick();
// Opens the panel of the insertion, empty.
void APRIINSERIMENTO();
// The recipient's code in a row of List1, without blanks; "" in the first row.
std::u16string CODICEINELENCO(int riga);

// Prints the list as it is ordered, with whole names, from the table as it is now.
void STAMPAELENCO();

}  // namespace ANAGPARC
