// The record screen: one recipient's row in the texts of Text1, from loading to saving and to the
// next one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "record/avvisi.h"
#include "record/regole.h"

namespace ANAGPARC {

// A row of PERCPARCELLE: the values of the fields' columns, Null as the empty text, each at its
// field's index.
using Percettore = std::array<std::u16string, regole::kUltimoCampo + 1>;
constexpr std::size_t POSTO(const regole::CampoPercettore& campo) {
  return static_cast<std::size_t>(campo.indice);
}

// The row that the screen was filled from, as it was read or, after a save, written; nothing for a
// new recipient. A save holds it against the row that the table has then.
extern std::optional<Percettore> PercettoreLetto;

// When the record on screen was saved, "12:31"; empty where it wasn't since it was opened.
extern std::u16string OraRegistrazione;

// What a user is told of a recipient that he has in hand and that is gone.
inline constexpr std::u16string_view kPercettoreSparito =
    u"Il percettore non è più nell'archivio: è stato cancellato o ha cambiato codice.";

void SistemaToolTipText();
// The current row of TabPERCPARCELLE. Throws engine::Error.
Percettore LEGGIRIGA();
// Reads the current row into PercettoreLetto, all of it or, when it throws, nothing. What is then
// shown of it can't fail, so that a record on screen never is half of one recipient and half of
// another.
void LEGGIPERCETTORE();
// Show PercettoreLetto, which must be there: its fields; its code and names in the header and in
// CFCorrente.
void CARICADATI();
void IMPOSTATESTATA();
// The empty screen.
void PULISCICAMPI();

// The key code left in KeyAscii is what the field acts on.
void Text1_KeyPress(int Index, std::int16_t& KeyAscii);
void Text1_Change(int Index);
void Text1_GotFocus(int Index);
// Keeps the focus on a birth date that isn't one.
void Text1_LostFocus(int Index);

// The municipalities of the archive; nothing until they are needed.
extern std::optional<regole::Comuni> ComuniLetti;
// These, read at the first call; none where they can't be read. Never fails.
const regole::Comuni& COMUNI();
// Fills those of sex, date, municipality and province of birth that are empty from the fiscal code
// on screen, as if they were typed; what isn't known, or stands there already, stays as it is.
// Returns a line for the user that names what was filled. Throws engine::Error, and has then
// changed nothing.
std::u16string COMPILADALCODICE();
// What the user should know of the field while it has the focus (regole::AVVISO); empty for most.
// Microseconds, but for the first call, which reads the municipalities. Never fails: without
// them it says what can be said.
std::u16string AVVISOCAMPO(int indice);

// Both set FlagErroreCampi: 1 when a field is wrong, for MEMORIZZADATI also when the engine refuses
// the save, or when another program has changed the row meanwhile and the user doesn't want to
// write over it; nothing is written then, and the user has been told or asked. CONTROLLOCAMPI may
// throw engine::Error.
void CONTROLLOCAMPI();
void MEMORIZZADATI();
// Asks about unsaved changes and acts on the answer, kept in RispostaUtente.
void MESSAGGIOVARIAZ();
// Settles unsaved changes, if there are any, for whoever leaves the record
// altogether; false when the user stays.
bool VARIAZIONIRISOLTE();

void cmdmemorizza_Click();
void cmdmemorizza_GotFocus();
// To the neighbour by code; at an end of the table a message, and the same recipient again.
void cmdparcprec_Click();
void cmdparcprec_GotFocus();
void cmdparcsuc_Click();
void cmdparcsuc_GotFocus();
// Back to the selection screen.
void cmdselprec_Click();
void cmdselprec_GotFocus();

// The record on screen as the table has it now, where nothing is pending; otherwise, and for a
// recipient that has gone, only says so in the status bar.
void RILEGGISCHEDA();
// Prints the record as it stands on the screen, and says so where that isn't saved.
void STAMPASCHEDA();

}  // namespace ANAGPARC
