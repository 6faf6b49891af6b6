// The lookup panel: picking a code for a field from a table.
#pragma once

#include <cstdint>
#include <string>

namespace ANAGPARC {

// Opens the panel for the field beside the button, or closes it where this button has opened it.
void CMDAPRILIST_Click(int Index);
// The pick: the selected row's code goes into the field. With no row it empties the field.
void ListTabmin_DblClick();
// The code that the pick takes from a row.
std::u16string CODICEINTABELLA(int riga);
// Closes the panel, with nothing picked, and gives the focus to the field that it serves.
void CHIUDITABELLA();
// Opens the panel for the field that has the focus, itself or its button, or closes it where the
// panel has it.
void TABELLADELFUOCO();
void ListTabmin_KeyDown(std::int16_t& KeyCode, std::int16_t Shift);

}  // namespace ANAGPARC
