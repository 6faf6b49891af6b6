#include "platform/system/errors.h"

#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace sys {

namespace {

constexpr struct {
  std::errc error;
  std::u16string_view cause;
} kCauses[] = {
    {std::errc::no_such_file_or_directory, u"il file o la cartella non esiste"},
    {std::errc::not_a_directory, u"una parte del percorso non è una cartella"},
    {std::errc::is_a_directory, u"è una cartella, non un file"},
    {std::errc::invalid_argument, u"il nome o il tipo di file non è valido"},
    {std::errc::no_such_device_or_address, u"è una pipe o un dispositivo, non un file"},
    {std::errc::no_such_device, u"è una pipe o un dispositivo, non un file"},
    {std::errc::filename_too_long, u"il nome è troppo lungo"},
    {std::errc::too_many_symbolic_link_levels,
     u"i collegamenti simbolici del percorso girano in tondo"},
    {std::errc::file_exists, u"esiste già"},
    {std::errc::permission_denied, u"mancano i permessi"},
    {std::errc::operation_not_permitted, u"mancano i permessi"},
    {std::errc::read_only_file_system, u"il disco è in sola lettura"},
    {std::errc::operation_not_supported, u"il disco non offre le operazioni necessarie"},
    {std::errc::file_too_large,
     u"il file è troppo grande per questo disco, o per il limite posto all'utente"},
    {std::errc::io_error, u"errore del disco durante la lettura o la scrittura"},
    {std::errc::device_or_resource_busy, u"il file è in uso"},
    {std::errc::text_file_busy, u"il file è in uso"},
    {std::errc::broken_pipe, u"il programma che riceveva i dati ha smesso di leggerli"},
    {std::errc::too_many_files_open, u"troppi file aperti"},
    {std::errc::too_many_files_open_in_system, u"troppi file aperti"},
    {std::errc::not_enough_memory, u"la memoria è esaurita"},
};

}  // namespace

std::u16string CauseOf(const std::filesystem::path& path, const std::error_code& error) {
  if (error == std::errc::no_space_on_device) {
    return u"lo spazio sul disco " + PathText(DiskOf(path)) + u" è esaurito";
  }
  if (IsOverQuota(error)) {
    return u"la quota di spazio su disco dell'utente è esaurita";
  }
  for (const auto& known : kCauses) {
    if (error == known.error) {
      return std::u16string(known.cause);
    }
  }
  return u"errore di sistema " + text::Decimal(error.value());
}

void FailReading(const std::filesystem::path& path, const std::error_code& error) {
  throw FileError(u"Impossibile leggere il file " + PathText(path) + u": " + CauseOf(path, error) +
                  u".");
}

void FailCreating(const std::filesystem::path& path, const std::error_code& error) {
  throw FileError(u"Impossibile creare il file " + PathText(path) + u": " + CauseOf(path, error) +
                  u".");
}

}  // namespace sys
