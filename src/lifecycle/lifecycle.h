// Recipients that come, change their code, go.
#pragma once

#include <cstdint>

namespace ANAGPARC {

// 0 tests the code and names and opens an empty record that bears them, 1 gives up. Nothing is
// written: the row comes into being at the record's first save.
void CmdInserimento_Click(int Index);
void TEXTCF_Change();
void TEXTCF_GotFocus();
void TEXTCF_KeyPress(std::int16_t& KeyAscii);
void TextCOGNO_Change();
void TextCOGNO_GotFocus();
void TextCOGNO_KeyPress(std::int16_t& KeyAscii);
void TextNOME_Change();
void TextNOME_GotFocus();
void TextNOME_KeyPress(std::int16_t& KeyAscii);

// The selected recipient goes, with all its certifications, after a question: all or nothing.
void Cmdcancella_Click();

// The change of the selected recipient's code: opens the panel, closes it, carries it out.
void CmdCambia_Click();
void CmdAnnullaCF_Click();
void CmdConfermaCF_Click();
// From CFCorrente to CFNuovo, on all certifications and on the recipient's row, without a message.
// To be called in a transaction, which is to be rolled back when it throws engine::Error: RecLista
// is then left open.
void CAMBIACF();
void Text2_Change();
void Text2_GotFocus();
void Text2_KeyPress(std::int16_t& KeyAscii);

}  // namespace ANAGPARC
