// What the two ways to enter a code have in common.
#pragma once

#include <string>
#include <string_view>

#include "platform/toolkit/control.h"

namespace ANAGPARC {

// The test by form of a code, whose kind its own text decides: a number is a
// VAT number of 11 characters, anything else a fiscal code of 16, blanks at the
// ends not counted. A wrong length is told and refused; of a code that is
// formally wrong the user is asked. True when it may go on. The check gets the
// text as it is given here.
bool CODICEACCETTATO(const std::u16string& codice);

// A critical message under the form's caption, flags 16, on a code that
// another recipient has.
void CODICEESISTENTE();

// The condition, after "WHERE", for the certifications of the recipient of the
// list row that CFCorrente was cut from. A code can be stored with blanks in
// front, which the row doesn't show but its certifications have. Places
// TabPERCPARCELLE on the recipient.
std::u16string CONDIZIONECERTIFICAZIONI();

// Marks the box as wrong and gives it the focus.
void FERMASU(toolkit::TextBox& casella);

}  // namespace ANAGPARC
