#include "platform/system/errors.h"

#include <cerrno>

#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace sys {

std::u16string CauseOf(const std::filesystem::path& path, int error) {
  switch (error) {
    case ENOENT:
      return u"il file o la cartella non esiste";
    case ENOTDIR:
      return u"una parte del percorso non è una cartella";
    case EISDIR:
      return u"è una cartella, non un file";
    case EINVAL:
      return u"il nome o il tipo di file non è valido";
    case ENXIO:
    case ENODEV:
      return u"è una pipe o un dispositivo, non un file";
    case ENAMETOOLONG:
      return u"il nome è troppo lungo";
    case ELOOP:
      return u"i collegamenti simbolici del percorso girano in tondo";
    case EEXIST:
      return u"esiste già";
    case EACCES:
    case EPERM:
      return u"mancano i permessi";
    case EROFS:
      return u"il disco è in sola lettura";
    case ENOSPC:
      return u"lo spazio sul disco " + PathText(DiskOf(path)) + u" è esaurito";
    case EDQUOT:
      return u"la quota di spazio su disco dell'utente è esaurita";
    case EOPNOTSUPP:
      return u"il disco non offre le operazioni necessarie";
    case EFBIG:
      return u"il file è troppo grande per questo disco, o per il limite posto all'utente";
    case EIO:
      return u"errore del disco durante la lettura o la scrittura";
    case EBUSY:
    case ETXTBSY:
      return u"il file è in uso";
    case EMFILE:
    case ENFILE:
      return u"troppi file aperti";
    case ENOMEM:
      return u"la memoria è esaurita";
    default:
      return u"errore di sistema " + text::Decimal(error);
  }
}

bool IsOverQuota(const std::error_code& error) {
  return error == std::error_code(EDQUOT, std::system_category());
}

void FailReading(const std::filesystem::path& path, int error) {
  throw FileError(u"Impossibile leggere il file " + PathText(path) + u": " + CauseOf(path, error) +
                  u".");
}

void FailCreating(const std::filesystem::path& path, int error) {
  throw FileError(u"Impossibile creare il file " + PathText(path) + u": " + CauseOf(path, error) +
                  u".");
}

}  // namespace sys
