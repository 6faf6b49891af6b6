#include "platform/system/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
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

int NotPlain(const struct stat& info) { return S_ISDIR(info.st_mode) ? EISDIR : ENXIO; }

// Room is counted as a program without privileges has it; a disk that doesn't say is
// tried.
void RefuseWithoutRoom(std::uint64_t bytes, const NewFile& target) {
  struct statvfs disk = {};
  if (fstatvfs(target.Descriptor(), &disk) != 0 || disk.f_blocks == 0) {
    return;
  }
  const std::uint64_t room = std::uint64_t{disk.f_bavail} * disk.f_frsize;
  if (bytes > room) {
    const auto megabytes = [](std::uint64_t size) {
      return text::FromUtf8(std::to_string(size / 1'000'000)) + u" MB";
    };
    throw FileError(u"Impossibile creare il file " + PathText(target.Name()) + u": occupa " +
                    megabytes(bytes) + u", e sul disco " + PathText(DiskOf(target.Name())) +
                    u" ne sono liberi " + megabytes(room) + u".");
  }
}

}  // namespace

// The look before the opening spares a device; O_NONBLOCK keeps a pipe that has taken
// the file's place since from holding us up.
Fd OpenPlainFile(const fs::path& path) {
  // A name with a NUL would reach the system cut short, as another name.
  if (path.native().find('\0') != std::string::npos) {
    errno = EINVAL;
    return Fd();
  }
  struct stat info;
  if (stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
    errno = NotPlain(info);
    return Fd();
  }
  Fd file(
      Unbroken([&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK); }));
  if (file && fstat(file.Get(), &info) == 0 && !S_ISREG(info.st_mode)) {
    errno = NotPlain(info);
    return Fd();
  }
  return file;
}

bool CanWriteIn(const fs::path& folder) {
  return faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

bool OpensForReading(std::u16string_view name) {
  return static_cast<bool>(OpenPlainFile(ResolvePath(name)));
}

void RefuseUnreadable(std::u16string_view name) {
  const fs::path path = ResolvePath(name);
  struct stat info;
  if (lstat(path.c_str(), &info) != 0 && errno == ENOENT) {
    return;
  }
  if (OpenPlainFile(path)) {
    return;
  }
  if (errno == ENOENT) {
    throw FileError(u"Il file " + PathText(path) + u" è un collegamento a un file che non c'è.");
  }
  FailReading(path, errno);
}

unsigned long NamesOf(std::u16string_view name) {
  struct stat info = {};
  return stat(ResolvePath(name).c_str(), &info) == 0 ? info.st_nlink : 1;
}

void FileCopy(std::u16string_view from, std::u16string_view to, Access access) {
  const fs::path path = ResolvePath(from);
  const Fd source = OpenPlainFile(path);
  struct stat info = {};
  if (!source || fstat(source.Get(), &info) != 0) {
    FailReading(path, errno);
  }
  NewFile target(to, access);
  RefuseWithoutRoom(static_cast<std::uint64_t>(info.st_size), target);
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
