#include "platform/system/old_format.h"

#include <array>

#include "platform/system/input_file.h"
#include "platform/system/paths.h"

namespace sys {

using namespace std::literals;

OldFormat FindOldFormat(std::u16string_view name) {
  std::array<char, 21> head = {};
  InputFile file;
  std::error_code error = file.Open(ResolvePath(name));
  const bool whole = !error && file.Read(head.data(), head.size(), error) == head.size();
  const std::string_view engine(head.data() + 4, 16);
  if (!whole || (engine != "Standard Jet DB\0"sv && engine != "Standard ACE DB\0"sv)) {
    return OldFormat::kNone;
  }
  switch (head[20]) {
    case 0:
      return OldFormat::kJet3;
    case 1:
      return OldFormat::kJet4;
    default:
      return OldFormat::kLater;
  }
}

std::u16string OldFormatAdvice(std::u16string_view name) {
  const OldFormat format = FindOldFormat(name);
  if (format == OldFormat::kNone) {
    return {};
  }
  const std::u16string file = PathText(ResolvePath(name));
  if (format == OldFormat::kLater) {
    return u"Il file " + file +
           u" è in un formato Access del 2007 o successivo, che non si converte: va prima salvato "
           u"nel formato Access 2000 o 2002-2003 (.mdb).";
  }
  const std::u16string jet = format == OldFormat::kJet3 ? u"Jet 3" : u"Jet 4";
  return u"Il file " + file + u" è un archivio del vecchio formato (" + jet +
         u"). Per convertirlo, in una cartella nuova: anagparc-archivio converti \"" + file +
         u"\" CARTELLA";
}

}  // namespace sys
