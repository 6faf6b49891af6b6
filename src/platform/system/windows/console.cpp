#include "platform/system/console.h"

#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include <cstdio>

#include "platform/system/errors.h"

namespace sys {

namespace {

// A console in another code page is given back as it was.
class Utf8Console {
 public:
  Utf8Console() : out_(GetConsoleOutputCP()) { SetConsoleOutputCP(CP_UTF8); }
  ~Utf8Console() {
    std::fflush(nullptr);
    if (out_ != 0) {
      SetConsoleOutputCP(out_);
    }
  }
  Utf8Console(const Utf8Console&) = delete;
  Utf8Console& operator=(const Utf8Console&) = delete;

 private:
  UINT out_;
};

}  // namespace

// Lines end with a line feed alone, at a console too, where it starts a new line all the same.
// Without a buffer a console would get byte after byte, and no letter of more than one.
void SpeakUtf8() {
  static const Utf8Console console;
  constexpr std::size_t kBuffer = std::size_t{1} << 14;
  std::setvbuf(stdout, nullptr, _IOFBF, kBuffer);
  std::setvbuf(stderr, nullptr, _IOFBF, kBuffer);
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
}

bool ErrorsOnTerminal() { return _isatty(_fileno(stderr)) != 0; }

std::optional<std::u16string> FlushFault(std::ostream& out) {
  errno = 0;
  SetLastError(0);
  if (out.flush()) {
    return std::nullopt;
  }
  return errno == 0 ? std::u16string()
                    : CauseOf({}, std::error_code(errno, std::generic_category()));
}

}  // namespace sys
