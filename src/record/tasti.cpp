// What a key does in a field of the record, where the caret stands on entering
// it, and the date that must be right before the focus may leave.
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "platform/text/text.h"
#include "platform/toolkit/conversion.h"
#include "record/LibrAgg770.h"

namespace ANAGPARC {

using namespace MOD770BAS;

std::int16_t MAIUSCOLA(std::int16_t Tasto) {
  return static_cast<std::int16_t>(text::Upper(static_cast<char16_t>(Tasto)));
}

bool DATAVALIDA(std::u16string_view testo) {
  return toolkit::IsDate(text::Trim(testo)) && !testo.ends_with(u"0000");
}

void Text1_KeyPress(int Index, std::int16_t& KeyAscii) {
  FlagVariazioni = 1;
  toolkit::TextBox& campo = Text1(Index);
  LibrAgg770::CampoDi generico(campo);
  switch (Index) {
    case 3:
      campo.SetText(u"");
      KeyAscii = LibrAgg770::FILTRACARATTERI(KeyAscii, u"MmFf ", 1);
      break;
    case 4:
      campo.SetText(LibrAgg770::EDITADATA(generico, KeyAscii));
      KeyAscii = 0;
      break;
    case 14: {
      const auto cifre = static_cast<std::int16_t>(campo.MaxLength());
      KeyAscii = LibrAgg770::EDITANUMERO(generico, KeyAscii, 0, 0, cifre, 0);
      break;
    }
    default:
      KeyAscii = MAIUSCOLA(KeyAscii);
  }
}

void Text1_Change(int Index) { ASPETTONORMALE(Text1(Index)); }

void Text1_GotFocus(int Index) {
  toolkit::TextBox& campo = Text1(Index);
  campo.SetSelStart(Index == 4 ? 0 : campo.MaxLength());
  Framecodif.SetVisible(false);
}

void Text1_LostFocus(int Index) {
  if (Index != 4) {
    return;
  }
  toolkit::TextBox& campo = Text1(Index);
  if (text::Trim(campo.Text()) == LibrAgg770::kMascheraData || DATAVALIDA(campo.Text())) {
    return;
  }
  toolkit::MsgBox(u"Data errata", toolkit::kInformation, Titolo());
  ASPETTOERRORE(campo);
  campo.SetFocus();
}

}  // namespace ANAGPARC
