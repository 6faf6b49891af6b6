#include "platform/system/new_file.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/system/errors.h"
#include "platform/system/paths.h"
#include "platform/system/posix/fd.h"
#include "platform/text/text.h"

namespace sys {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kHidden = ".anagparc-";
constexpr int kDigits = 16;
// The mark of a growing file, beside its name: it has the sticky bit from the call that makes it
// until it has its own name. The bit means nothing on a file, no program sets it there, and unlike
// the lock it outlives a kill. On a disk that keeps no modes leftovers stay.
constexpr mode_t kMark = S_ISVTX;

bool IsLeftover(const struct stat& info) {
  return S_ISREG(info.st_mode) && (info.st_mode & kMark) != 0 && info.st_uid == geteuid();
}

bool IsHiddenName(std::string_view name) {
  return name.size() == kHidden.size() + kDigits && name.starts_with(kHidden) &&
         name.find_first_not_of("0123456789abcdef", kHidden.size()) == name.npos;
}

// False when another descriptor holds the file. The lock lives as long as the descriptor, and
// doesn't meet the locks that SQLite sets, which are of another kind and far from byte 0.
bool Lock(int descriptor) {
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_len = 1;
  return fcntl(descriptor, F_OFD_SETLK, &lock) == 0;
}

}  // namespace

class NewFile::Growth {
 public:
  Growth(std::u16string_view name, Access access, Existing existing);
  ~Growth();
  Growth(const Growth&) = delete;
  Growth& operator=(const Growth&) = delete;

  void Write(std::string_view bytes);
  std::error_code WriteRest(InputFile& source);
  void Place();

  const fs::path file;
  fs::path growing;  // empty when there is none

 private:
  void OpenFolder(const std::string& wanted);
  void AwaitTurn();
  void RemoveLeftovers();
  bool Create();
  mode_t Mode();
  void SetMode(mode_t mode);
  void GiveName();
  void SyncFolder();
  [[noreturn]] void Fail(const std::error_code& error = LastError()) const {
    FailCreating(file, error);
  }

  Access access_;
  Existing existing_;
  fs::path path_;  // of the folder
  Fd folder_;
  Fd turn_;  // holds the folder's lock
  Fd descriptor_;
  struct stat folder_info_ = {};
};

NewFile::NewFile(std::u16string_view name, Access access, Existing existing)
    : growth_(std::make_unique<Growth>(name, access, existing)) {}
NewFile::~NewFile() = default;
const fs::path& NewFile::Name() const { return growth_->file; }
const fs::path& NewFile::Growing() const { return growth_->growing; }
void NewFile::Write(std::string_view bytes) { growth_->Write(bytes); }
std::error_code NewFile::WriteRest(InputFile& source) { return growth_->WriteRest(source); }
void NewFile::Place() { growth_->Place(); }

NewFile::Growth::Growth(std::u16string_view name, Access access, Existing existing)
    : file(ResolvePath(name)), access_(access), existing_(existing) {
  OpenFolder(text::ToUtf8(name));
  RemoveLeftovers();
  while (!Create()) {
  }
}

NewFile::Growth::~Growth() {
  if (!growing.empty()) {
    unlink(growing.c_str());
  }
}

void NewFile::Growth::OpenFolder(const std::string& wanted) {
  const std::string name = file.filename().native();
  if (name.empty() || name == "." || name == ".." ||
      file.native().find('\0') != std::string::npos) {
    Fail(std::make_error_code(std::errc::invalid_argument));
  }
  path_ = file.parent_path();
  if (path_.empty()) {
    path_ = ".";
  }
  folder_ = Fd(open(path_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!folder_ || fstat(folder_.Get(), &folder_info_) != 0) {
    Fail();
  }
  // Naming refuses an existing target too; here it saves the work.
  struct stat info;
  if (lstat(file.c_str(), &info) == 0 &&
      (existing_ == Existing::kRefused || !S_ISREG(info.st_mode) || !wanted.ends_with(name))) {
    Fail(std::make_error_code(std::errc::file_exists));
  }
  if (existing_ == Existing::kReplaced) {
    AwaitTurn();
  }
}

// Where the disk has no such locks, or another one takes too long, nobody waits: at worst the
// older of two files made at the same moment stands.
void NewFile::Growth::AwaitTurn() {
  constexpr int kTries = 200;
  constexpr timespec kPause = {0, 25'000'000};
  turn_ = Fd(open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  for (int i = 0; i < kTries && flock(turn_.Get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
       ++i) {
    nanosleep(&kPause, nullptr);
  }
}

// What isn't surely ours, or can't be looked at, stays.
void NewFile::Growth::RemoveLeftovers() {
  std::error_code error;
  for (fs::directory_iterator entry(path_, error), end; !error && entry != end;
       entry.increment(error)) {
    const fs::path& found = entry->path();
    struct stat info;
    if (!IsHiddenName(found.filename().native()) || lstat(found.c_str(), &info) != 0 ||
        !IsLeftover(info)) {
      continue;
    }
    const Fd held(open(found.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (held && fstat(held.Get(), &info) == 0 && IsLeftover(info) && Lock(held.Get())) {
      unlink(found.c_str());
    }
  }
}

// False when the name was taken, or another process took the file for a leftover
// before it was locked.
bool NewFile::Growth::Create() {
  std::uint64_t number = 0;
  if (getentropy(&number, sizeof number) != 0) {
    Fail();
  }
  std::string name = path_ / kHidden;
  for (int i = 0; i < kDigits; ++i, number >>= 4) {
    name += "0123456789abcdef"[number & 15];
  }
  descriptor_ = Fd(open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kMark | 0600));
  if (!descriptor_) {
    if (errno != EEXIST) {
      Fail();
    }
    return false;
  }
  struct stat info = {};
  const bool locked = Lock(descriptor_.Get()) || errno != EAGAIN;
  if (!locked || fstat(descriptor_.Get(), &info) != 0 || info.st_nlink == 0) {
    unlink(name.c_str());
    return false;
  }
  growing = name;
  return true;
}

void NewFile::Growth::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t put =
        Unbroken([&] { return write(descriptor_.Get(), bytes.data(), bytes.size()); });
    if (put < 0) {
      Fail();
    }
    bytes.remove_prefix(static_cast<std::size_t>(put));
  }
}

// The system's own copying may stop at anything. The loop goes on from there: if there is an
// obstacle, reading or writing meets it again, and it is known which of the two failed.
std::error_code NewFile::Growth::WriteRest(InputFile& source) {
  constexpr std::size_t kStep = std::size_t{64} << 20;
  while (copy_file_range(source.native_->descriptor.Get(), nullptr, descriptor_.Get(), nullptr,
                         kStep, 0) > 0) {
  }
  std::vector<char> buffer(std::size_t{1} << 18);
  std::error_code error;
  while (const std::size_t got = source.Read(buffer.data(), buffer.size(), error)) {
    Write({buffer.data(), got});
  }
  return error;
}

void NewFile::Growth::Place() {
  const mode_t mode = Mode();
  SetMode(kMark | mode);
  if (Unbroken([&] { return fsync(descriptor_.Get()); }) != 0) {
    Fail();
  }
  GiveName();
  fchmod(descriptor_.Get(), mode);  // a mark that stays does no harm
  SyncFolder();
}

// Unlike a hard link, renaming is offered by disks of the FAT kind and by shares of
// Windows as well; NFS refuses the flag, and has links.
void NewFile::Growth::GiveName() {
  if (existing_ == Existing::kReplaced) {
    if (rename(growing.c_str(), file.c_str()) != 0) {
      Fail();
    }
  } else if (renameat2(AT_FDCWD, growing.c_str(), AT_FDCWD, file.c_str(), RENAME_NOREPLACE) != 0) {
    if (errno != EINVAL && errno != ENOSYS) {
      Fail();
    }
    if (link(growing.c_str(), file.c_str()) != 0) {
      if (errno == EPERM) {
        Fail(std::make_error_code(std::errc::operation_not_supported));
      }
      Fail();
    }
    unlink(growing.c_str());
  }
  growing.clear();
}

// The group gets its rights only if the file can be of the folder's group:
// the user's own group need not be the one that works in this folder.
mode_t NewFile::Growth::Mode() {
  struct stat info = {};
  if (fstat(descriptor_.Get(), &info) != 0) {
    Fail();
  }
  const bool shared = access_ == Access::kAsFolder && (folder_info_.st_mode & S_IWGRP) != 0 &&
                      (info.st_gid == folder_info_.st_gid ||
                       fchown(descriptor_.Get(), static_cast<uid_t>(-1), folder_info_.st_gid) == 0);
  return shared ? 0660 : 0600;
}

// EPERM and EOPNOTSUPP: a file system without modes, where its mount says who may do what.
void NewFile::Growth::SetMode(mode_t mode) {
  if (fchmod(descriptor_.Get(), mode) != 0 && errno != EPERM && errno != EOPNOTSUPP) {
    Fail();
  }
}

// A folder that may not be read can't be opened for it: then the whole file system
// is written out; EINVAL is one that keeps no such state.
void NewFile::Growth::SyncFolder() {
  const Fd readable(openat(folder_.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  int result = 0;
  if (readable) {
    result = Unbroken([&] { return fsync(readable.Get()); });
  } else {
    result = syncfs(descriptor_.Get());
  }
  if (result != 0 && errno != EINVAL) {
    Fail();
  }
}

}  // namespace sys
