// The lookup panel: picking a code for a field from a table.
#pragma once

#include <cstdint>

namespace ANAGPARC {

// Opens the panel for the field beside the button, or closes it where this button has opened it.
void CMDAPRILIST_Click(int Index);
// The pick: the selected row's code goes into the field. With no row it empties the field.
void ListTabmin_DblClick();
void ListTabmin_KeyDown(std::int16_t& KeyCode, std::int16_t Shift);

}  // namespace ANAGPARC
