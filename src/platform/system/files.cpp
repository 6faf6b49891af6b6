#include "platform/system/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/system/errors.h"
#include "platform/system/fd.h"
#include "platform/system/new_file.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace sys {

namespace fs = std::filesystem;

namespace {

// A name with a NUL would reach the system cut short, as another name.
bool HasNul(const fs::path& path) { return path.native().find('\0') != std::string::npos; }

// O_NONBLOCK keeps a pipe with nobody at its other end from holding us up; it
// means nothing to a plain file.
Fd OpenForReading(const fs::path& path) {
  if (HasNul(path)) {
    errno = EINVAL;
    return Fd();
  }
  return Fd(
      Unbroken([&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK); }));
}

}  // namespace

bool OpensForReading(std::u16string_view name) {
  const Fd file = OpenForReading(ResolvePath(name));
  struct stat info = {};
  return file && fstat(file.Get(), &info) == 0 && !S_ISDIR(info.st_mode);
}

void RefuseUnreadable(std::u16string_view name) {
  const fs::path path = ResolvePath(name);
  struct stat info;
  if (lstat(path.c_str(), &info) != 0 && errno == ENOENT) {
    return;
  }
  const Fd file = OpenForReading(path);
  if (!file && errno == ENOENT) {
    throw FileError(u"Il file " + PathText(path) + u" è un collegamento a un file che non c'è.");
  }
  if (!file || fstat(file.Get(), &info) != 0) {
    FailReading(path, errno);
  }
  if (S_ISDIR(info.st_mode)) {
    FailReading(path, EISDIR);
  }
}

unsigned long NamesOf(std::u16string_view name) {
  struct stat info = {};
  return stat(ResolvePath(name).c_str(), &info) == 0 ? info.st_nlink : 1;
}

void FileCopy(std::u16string_view from, std::u16string_view to, Access access) {
  const fs::path path = ResolvePath(from);
  const Fd source = OpenForReading(path);
  struct stat info = {};
  if (!source || fstat(source.Get(), &info) != 0) {
    FailReading(path, errno);
  }
  if (!S_ISREG(info.st_mode)) {
    FailReading(path, S_ISDIR(info.st_mode) ? EISDIR : EINVAL);
  }
  NewFile target(to, access);
  // The system's own copying may stop at anything. The loop goes on from there,
  // meets the same obstacle if there is one, and tells whose it is.
  constexpr std::size_t kStep = std::size_t{64} << 20;
  while (copy_file_range(source.Get(), nullptr, target.Descriptor(), nullptr, kStep, 0) > 0) {
  }
  std::vector<char> buffer(std::size_t{1} << 18);
  for (;;) {
    const ssize_t got = Unbroken([&] { return read(source.Get(), buffer.data(), buffer.size()); });
    if (got < 0) {
      FailReading(path, errno);
    }
    if (got == 0) {
      break;
    }
    target.Write({buffer.data(), static_cast<std::size_t>(got)});
  }
  target.Place();
}

std::vector<std::u16string> FilesIn(std::u16string_view folder) {
  std::vector<std::u16string> names;
  std::error_code error, ignored;
  for (fs::directory_iterator entry(ResolvePath(folder), error), end; !error && entry != end;
       entry.increment(error)) {
    const fs::path name = entry->path().filename();
    if (entry->symlink_status(ignored).type() == fs::file_type::regular &&
        text::ToUtf8(PathText(name)) == name.native()) {
      names.push_back(PathText(name));
    }
  }
  return names;
}

void RemoveFile(std::u16string_view name) { unlink(ResolvePath(name).c_str()); }

}  // namespace sys
