#include "platform/system/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/system/errors.h"
#include "platform/system/paths.h"
#include "platform/system/posix/fd.h"

namespace sys {

namespace fs = std::filesystem;

namespace {

// What keeps the file from being opened as one of this kind.
std::error_code Refusal(const struct stat& info, InputFile::Kind kind) {
  if (S_ISREG(info.st_mode) || (kind == InputFile::Kind::kPlainOrPipe &&
                                (S_ISFIFO(info.st_mode) || S_ISSOCK(info.st_mode)))) {
    return {};
  }
  if (S_ISDIR(info.st_mode)) {
    return std::make_error_code(std::errc::is_a_directory);
  }
  return std::make_error_code(std::errc::no_such_device_or_address);
}

}  // namespace

InputFile::InputFile() : native_(std::make_unique<Native>()) {}
InputFile::~InputFile() = default;

// A device isn't even opened: stat comes first. O_NONBLOCK is for a pipe that has taken the file's
// place since then, and would keep us waiting.
std::error_code InputFile::Open(const fs::path& path, Kind kind) {
  // A name with a NUL would reach the system cut short, as another name.
  if (path.native().find('\0') != std::string::npos) {
    return std::make_error_code(std::errc::invalid_argument);
  }
  struct stat info;
  if (stat(path.c_str(), &info) == 0) {
    if (const std::error_code refusal = Refusal(info, kind)) {
      return refusal;
    }
  }
  constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOCTTY;
  Fd file;
  if (kind == Kind::kPlain) {
    file = Fd(Unbroken([&] { return open(path.c_str(), kFlags | O_NONBLOCK); }));
  } else {
    file = Fd(open(path.c_str(), kFlags));
  }
  if (!file || fstat(file.Get(), &info) != 0) {
    return LastError();
  }
  if (const std::error_code refusal = Refusal(info, kind)) {
    return refusal;
  }
  *native_ = {std::move(file), kind == Kind::kPlain, static_cast<std::uint64_t>(info.st_size)};
  return {};
}

std::size_t InputFile::Read(char* bytes, std::size_t most, std::error_code& error) {
  ssize_t got = 0;
  do {
    got = read(native_->descriptor.Get(), bytes, most);
  } while (got < 0 && errno == EINTR && native_->plain);
  error.clear();
  if (got < 0) {
    error = LastError();
    got = 0;
  }
  return static_cast<std::size_t>(got);
}

std::uint64_t InputFile::Size() const { return native_->size; }

bool CanWriteIn(const fs::path& folder) {
  return faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

std::uintmax_t NamesOf(std::u16string_view name) {
  std::error_code error;
  const std::uintmax_t names = fs::hard_link_count(ResolvePath(name), error);
  if (error) {
    return 1;
  }
  return names;
}

bool IsOverQuota(const std::error_code& error) { return error.value() == EDQUOT; }

}  // namespace sys
