// What all that is printed has in common.
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace ANAGPARC {

toolkit::Document NUOVASTAMPA(std::u16string titolo, std::u16string nome) {
  toolkit::Document documento;
  documento.name = std::move(nome);
  documento.program = text::Trim(Titolo());
  documento.title = std::move(titolo);
  documento.lines.push_back(u"Archivio " +
                            sys::PathText(sys::ResolvePath(MOD770BAS::ArchivioAnnuale())));
  return documento;
}

std::u16string NOMINATIVO(std::u16string_view cognome, std::u16string_view nome) {
  std::u16string nominativo(text::Trim(cognome));
  nominativo.append(u" ").append(text::Trim(nome));
  return std::u16string(text::Trim(nominativo));
}

void STAMPA(const toolkit::Document& documento) {
  const std::u16string guasto = toolkit::Print(documento);
  if (!guasto.empty()) {
    toolkit::MsgBox(u"Stampa non eseguita.\r\r" + guasto, toolkit::kCritical, Titolo());
  }
}

}  // namespace ANAGPARC
