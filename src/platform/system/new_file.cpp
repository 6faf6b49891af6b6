#include "platform/system/new_file.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>

#include "platform/system/errors.h"
#include "platform/system/paths.h"

namespace sys {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kHidden = ".anagparc-";
constexpr std::string_view kMarks = "XXXXXX";

// False when another descriptor holds the file. The lock lives as long as the
// descriptor, and doesn't meet the locks that SQLite sets, which are of another
// kind and far from byte 0.
bool Lock(int descriptor) {
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_len = 1;
  return fcntl(descriptor, F_OFD_SETLK, &lock) == 0;
}

}  // namespace

NewFile::NewFile(std::u16string_view name, Access access)
    : file_(ResolvePath(name)), access_(access) {
  OpenFolder();
  RemoveLeftovers();
  while (!Create()) {
  }
}

NewFile::~NewFile() {
  if (!growing_.empty()) {
    unlink(growing_.c_str());
  }
}

void NewFile::OpenFolder() {
  const std::string name = file_.filename().native();
  if (name.empty() || name == "." || name == ".." ||
      file_.native().find('\0') != std::string::npos) {
    FailCreating(file_, EINVAL);
  }
  path_ = file_.has_parent_path() ? file_.parent_path() : fs::path(".");
  folder_ = Fd(open(path_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!folder_ || fstat(folder_.Get(), &folder_info_) != 0) {
    FailCreating(file_, errno);
  }
  // Naming refuses an existing target too; here it saves the work.
  struct stat info;
  if (lstat(file_.c_str(), &info) == 0) {
    FailCreating(file_, EEXIST);
  }
}

// What can't be looked at stays.
void NewFile::RemoveLeftovers() {
  std::error_code error;
  for (fs::directory_iterator entry(path_, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().native();
    if (!name.starts_with(kHidden) || name.size() != kHidden.size() + kMarks.size()) {
      continue;
    }
    const Fd file(open(entry->path().c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat info = {};
    if (file && fstat(file.Get(), &info) == 0 && S_ISREG(info.st_mode) && Lock(file.Get())) {
      unlink(entry->path().c_str());
    }
  }
}

// False when another process took the file for a leftover before it was locked.
bool NewFile::Create() {
  std::string name = path_ / (std::string(kHidden) += kMarks);
  descriptor_ = Fd(mkostemp(name.data(), O_CLOEXEC));
  if (!descriptor_) {
    FailCreating(file_, errno);
  }
  struct stat info = {};
  const bool locked = Lock(descriptor_.Get()) || errno != EAGAIN;
  if (!locked || fstat(descriptor_.Get(), &info) != 0 || info.st_nlink == 0) {
    unlink(name.c_str());
    return false;
  }
  growing_ = name;
  return true;
}

void NewFile::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t put =
        Unbroken([&] { return write(descriptor_.Get(), bytes.data(), bytes.size()); });
    if (put < 0) {
      FailCreating(file_, errno);
    }
    bytes.remove_prefix(static_cast<std::size_t>(put));
  }
}

void NewFile::Place() {
  SetMode();
  if (Unbroken([&] { return fsync(descriptor_.Get()); }) != 0) {
    FailCreating(file_, errno);
  }
  GiveName();
  SyncFolder();
}

// Unlike a hard link, renaming is offered by disks of the FAT kind and by shares of
// Windows as well; NFS refuses the flag, and has links.
void NewFile::GiveName() {
  if (renameat2(AT_FDCWD, growing_.c_str(), AT_FDCWD, file_.c_str(), RENAME_NOREPLACE) == 0) {
    growing_.clear();
    return;
  }
  if (errno != EINVAL && errno != ENOSYS) {
    FailCreating(file_, errno);
  }
  if (link(growing_.c_str(), file_.c_str()) != 0) {
    FailCreating(file_, errno == EPERM ? EOPNOTSUPP : errno);
  }
}

// The group gets its rights only if the file can be of the folder's group:
// the user's own group need not be the one that works in this folder.
void NewFile::SetMode() {
  struct stat info = {};
  if (fstat(descriptor_.Get(), &info) != 0) {
    FailCreating(file_, errno);
  }
  const bool shared = access_ == Access::kAsFolder && (folder_info_.st_mode & S_IWGRP) != 0 &&
                      (info.st_gid == folder_info_.st_gid ||
                       fchown(descriptor_.Get(), static_cast<uid_t>(-1), folder_info_.st_gid) == 0);
  // EPERM and EOPNOTSUPP: a file system without modes, where its mount says
  // who may do what.
  if (fchmod(descriptor_.Get(), shared ? 0660 : 0600) != 0 && errno != EPERM &&
      errno != EOPNOTSUPP) {
    FailCreating(file_, errno);
  }
}

// A folder that may not be read can't be opened for it: then the whole file system
// is written out; EINVAL is one that keeps no such state.
void NewFile::SyncFolder() {
  const Fd readable(openat(folder_.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const int result =
      readable ? Unbroken([&] { return fsync(readable.Get()); }) : syncfs(descriptor_.Get());
  if (result != 0 && errno != EINVAL) {
    FailCreating(file_, errno);
  }
}

}  // namespace sys
