// What insertion, deletion and change of code have in common. Internal to this folder.
#pragma once

#include <string>
#include <string_view>

#include "platform/toolkit/control.h"

namespace ANAGPARC {

// The test by form of a code, whose kind its own text decides: a number is a
// VAT number of 11 characters, anything else a fiscal code of 16, blanks at the
// ends not counted. A wrong length is told and refused; of a code that is
// formally wrong the user is asked. True when it may go on; otherwise `casella` is
// left as by FERMASU, after a No selected as a whole, so that typing replaces the
// code. The check gets the text as it is given here.
bool CODICEACCETTATO(const std::u16string& codice, toolkit::TextBox& casella);

// A critical message under the form's caption, flags 16, on a code that
// another recipient has.
void CODICEESISTENTE();

// The condition, after "WHERE", for the certifications of the recipient that a list row begins
// with `codice` for. `registrato` is the code as its row of PERCPARCELLE has it, empty where there
// is no such row: it may begin with blanks, which a list row doesn't show but the certifications
// have.
std::u16string CONDIZIONECERTIFICAZIONI(std::u16string_view codice, std::u16string_view registrato);

// Marks the box as wrong and gives it the focus.
void FERMASU(toolkit::TextBox& casella);

// Puts the caret after the last character.
void CURSOREINFONDO(toolkit::TextBox& casella);

}  // namespace ANAGPARC
