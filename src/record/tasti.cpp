// What a key does in a field of the record, where the caret stands on entering
// it, and the date that must be right before the focus may leave.
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "record/LibrAgg770.h"
#include "record/record.h"

namespace ANAGPARC {

using namespace MOD770BAS;

void Text1_KeyPress(int Index, std::int16_t& KeyAscii) {
  FlagVariazioni = 1;
  toolkit::TextBox& campo = Text1(Index);
  LibrAgg770::CampoDi generico(campo);
  switch (regole::CAMPO(Index)->genere) {
    case regole::Genere::kSesso:
      campo.SetText(u"");
      KeyAscii = LibrAgg770::FILTRACARATTERI(KeyAscii, regole::kTastiSesso, 1);
      break;
    case regole::Genere::kData:
      campo.SetText(LibrAgg770::EDITADATA(generico, KeyAscii));
      KeyAscii = 0;
      break;
    case regole::Genere::kCodiceNumerico: {
      const auto cifre = static_cast<std::int16_t>(campo.MaxLength());
      KeyAscii = LibrAgg770::EDITANUMERO(generico, KeyAscii, 0, 0, cifre, 0);
      break;
    }
    default:
      KeyAscii = LibrAgg770::MAIUSCOLA(KeyAscii);
  }
}

void Text1_Change(int Index) { ASPETTONORMALE(Text1(Index)); }

void Text1_GotFocus(int Index) {
  toolkit::TextBox& campo = Text1(Index);
  campo.SetSelStart(Index == regole::kNascita ? 0 : campo.MaxLength());
  Framecodif.SetVisible(false);
}

void Text1_LostFocus(int Index) {
  if (Index != regole::kNascita) {
    return;
  }
  toolkit::TextBox& campo = Text1(Index);
  if (regole::DATAACCETTATA(campo.Text())) {
    return;
  }
  toolkit::MsgBox(u"Data errata", toolkit::kInformation, Titolo());
  ASPETTOERRORE(campo);
  campo.SetFocus();
}

}  // namespace ANAGPARC
