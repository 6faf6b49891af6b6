#include "platform/system/console.h"

#include <unistd.h>

#include "platform/system/errors.h"
#include "platform/system/posix/fd.h"

namespace sys {

void SpeakUtf8() {}

bool ErrorsOnTerminal() { return isatty(STDERR_FILENO) != 0; }

std::optional<std::u16string> FlushFault(std::ostream& out) {
  errno = 0;
  if (out.flush()) {
    return std::nullopt;
  }
  if (errno == 0) {
    return u"";
  }
  return CauseOf("/dev/stdout", LastError());
}

}  // namespace sys
