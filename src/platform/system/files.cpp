#include "platform/system/files.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "platform/system/fd.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace sys {

namespace fs = std::filesystem;

namespace {

std::u16string Cause(int error) {
  switch (error) {
    case ENOENT:
      return u"il file o la cartella non esiste";
    case ENOTDIR:
      return u"una parte del percorso non è una cartella";
    case EISDIR:
      return u"è una cartella, non un file";
    case EINVAL:
      return u"il nome o il tipo di file non è valido";
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
      return u"lo spazio su disco è esaurito";
    case EDQUOT:
      return u"la quota di spazio su disco dell'utente è esaurita";
    case EOPNOTSUPP:
      return u"il disco non offre le operazioni necessarie";
    case EFBIG:
      return u"il file è troppo grande per questo disco";
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

std::u16string NotRead(const fs::path& path, std::u16string_view cause) {
  return u"Impossibile leggere il file " + PathText(path) + u": " + std::u16string(cause) + u".";
}

[[noreturn]] void FailReading(const fs::path& path, int error) {
  throw FileError(NotRead(path, Cause(error)));
}

[[noreturn]] void FailCreating(const fs::path& path, int error) {
  throw FileError(u"Impossibile creare il file " + PathText(path) + u": " + Cause(error) + u".");
}

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

// One run of FileCopy: the bytes go to a file of another name in the target's folder,
// which gets the target's name when it is whole and on disk.
class Copy {
 public:
  Copy(const fs::path& from, const fs::path& to, Access access)
      : from_(from), to_(to), access_(access) {}
  ~Copy() {
    if (!temporary_.empty()) {
      unlink(temporary_.c_str());
    }
  }
  Copy(const Copy&) = delete;
  Copy& operator=(const Copy&) = delete;

  void Run() {
    OpenSource();
    OpenFolder();
    OpenTemporary();
    Fill();
    NameTarget();
    SyncFolder();
  }

 private:
  void OpenSource() {
    source_ = OpenForReading(from_);
    struct stat info = {};
    if (!source_ || fstat(source_.Get(), &info) != 0) {
      FailReading(from_, errno);
    }
    if (!S_ISREG(info.st_mode)) {
      FailReading(from_, S_ISDIR(info.st_mode) ? EISDIR : EINVAL);
    }
  }

  void OpenFolder() {
    const std::string name = to_.filename().native();
    if (name.empty() || name == "." || name == ".." || HasNul(to_)) {
      FailCreating(to_, EINVAL);
    }
    path_ = to_.has_parent_path() ? to_.parent_path() : fs::path(".");
    folder_ = Fd(open(path_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!folder_ || fstat(folder_.Get(), &folder_info_) != 0) {
      FailCreating(to_, errno);
    }
    // Naming refuses an existing target too; here it saves the work.
    struct stat info;
    if (lstat(to_.c_str(), &info) == 0) {
      FailCreating(to_, EEXIST);
    }
  }

  void OpenTemporary() {
    std::string name = path_ / ".anagparc-XXXXXX";
    file_ = Fd(mkostemp(name.data(), O_CLOEXEC));
    if (!file_) {
      FailCreating(to_, errno);
    }
    temporary_ = name;
  }

  // Unlike a hard link, this is offered by disks of the FAT kind and by shares of
  // Windows as well; NFS refuses it.
  void NameTarget() {
    if (renameat2(AT_FDCWD, temporary_.c_str(), AT_FDCWD, to_.c_str(), RENAME_NOREPLACE) != 0) {
      FailCreating(to_, errno == EINVAL || errno == ENOSYS ? EOPNOTSUPP : errno);
    }
    temporary_.clear();
  }

  // The source's bytes and the target's mode, down to the disk.
  void Fill() {
    // The system's own copying may stop at anything. The loop goes on from there,
    // meets the same obstacle if there is one, and tells whose it is.
    constexpr std::size_t kStep = std::size_t{64} << 20;
    while (copy_file_range(source_.Get(), nullptr, file_.Get(), nullptr, kStep, 0) > 0) {
    }
    std::vector<char> buffer(std::size_t{1} << 18);
    for (;;) {
      const ssize_t got =
          Unbroken([&] { return read(source_.Get(), buffer.data(), buffer.size()); });
      if (got < 0) {
        FailReading(from_, errno);
      }
      if (got == 0) {
        break;
      }
      for (ssize_t done = 0; done < got;) {
        const ssize_t put = Unbroken([&] {
          return write(file_.Get(), buffer.data() + done, static_cast<std::size_t>(got - done));
        });
        if (put < 0) {
          FailCreating(to_, errno);
        }
        done += put;
      }
    }
    SetMode();
    if (Unbroken([&] { return fsync(file_.Get()); }) != 0) {
      FailCreating(to_, errno);
    }
  }

  // The group gets its rights only if the file can be of the folder's group:
  // the user's own group need not be the one that works in this folder.
  void SetMode() {
    struct stat info = {};
    if (fstat(file_.Get(), &info) != 0) {
      FailCreating(to_, errno);
    }
    const bool shared = access_ == Access::kAsFolder && (folder_info_.st_mode & S_IWGRP) != 0 &&
                        (info.st_gid == folder_info_.st_gid ||
                         fchown(file_.Get(), static_cast<uid_t>(-1), folder_info_.st_gid) == 0);
    // EPERM and EOPNOTSUPP: a file system without modes, where its mount says
    // who may do what.
    if (fchmod(file_.Get(), shared ? 0660 : 0600) != 0 && errno != EPERM && errno != EOPNOTSUPP) {
      FailCreating(to_, errno);
    }
  }

  // Puts the new name on disk. The file is whole by now and stays even if this
  // fails. A folder that may not be read can't be opened for it: then the
  // whole file system is written out; EINVAL is one that keeps no such state.
  void SyncFolder() {
    const Fd readable(openat(folder_.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const int result =
        readable ? Unbroken([&] { return fsync(readable.Get()); }) : syncfs(file_.Get());
    if (result != 0 && errno != EINVAL) {
      FailCreating(to_, errno);
    }
  }

  const fs::path& from_;
  const fs::path& to_;
  const Access access_;
  fs::path path_;          // of the target's folder
  std::string temporary_;  // "" when there is none
  Fd source_;
  Fd folder_;
  Fd file_;
  struct stat folder_info_ = {};
};

}  // namespace

FileError::FileError(std::u16string text)
    : std::runtime_error(text::ToUtf8(text)), text_(std::move(text)) {}

bool OpensForReading(std::u16string_view name) {
  const Fd file = OpenForReading(ResolvePath(name));
  struct stat info = {};
  return file && fstat(file.Get(), &info) == 0 && !S_ISDIR(info.st_mode);
}

std::u16string ReadingObstacle(std::u16string_view name) {
  const fs::path path = ResolvePath(name);
  struct stat info;
  if (lstat(path.c_str(), &info) != 0 && errno == ENOENT) {
    return {};
  }
  const Fd file = OpenForReading(path);
  if (!file) {
    return NotRead(path,
                   errno == ENOENT ? u"è un collegamento a un file che non c'è" : Cause(errno));
  }
  const bool folder = fstat(file.Get(), &info) == 0 && S_ISDIR(info.st_mode);
  return folder ? NotRead(path, Cause(EISDIR)) : std::u16string();
}

void FileCopy(std::u16string_view from, std::u16string_view to, Access access) {
  const fs::path source = ResolvePath(from);
  const fs::path target = ResolvePath(to);
  Copy(source, target, access).Run();
}

void RemoveFile(std::u16string_view name) { unlink(ResolvePath(name).c_str()); }

}  // namespace sys
