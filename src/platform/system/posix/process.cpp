#include "platform/system/process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "platform/system/paths.h"
#include "platform/system/posix/fd.h"

namespace sys {

namespace fs = std::filesystem;

namespace {

Fd OpenFolder(const fs::path& path, int flags = 0) {
  return Fd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags));
}

// Others can write in the temporary folder, and could have put a folder or a
// link of theirs under our name.
Fd OpenOwnTemporaryFolder() {
  std::error_code error;
  const fs::path shared = fs::temp_directory_path(error);
  if (error) {
    return Fd();
  }
  const fs::path own = shared / ("anagparc-" + std::to_string(geteuid()));
  mkdir(own.c_str(), 0700);
  Fd folder = OpenFolder(own, O_NOFOLLOW);
  struct stat info = {};
  const bool ours = folder && fstat(folder.Get(), &info) == 0 && info.st_uid == geteuid() &&
                    (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
  if (!ours) {
    return Fd();
  }
  return folder;
}

Fd OpenLockFile(const Fd& folder) {
  Fd file;
  if (folder) {
    file = Fd(openat(folder.Get(), "anagparc.lock",
                     O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK, 0600));
  }
  // The sticky bit tells the cleaners of such folders to leave the file alone:
  // without it an old lock would lose its name, and with it its meaning.
  if (file) {
    fchmod(file.Get(), S_ISVTX | 0600);
  }
  return file;
}

Fd OpenLockFile() {
  const char* const session = std::getenv("XDG_RUNTIME_DIR");
  Fd file;
  if (session != nullptr && *session == '/') {
    file = OpenLockFile(OpenFolder(session));
  }
  if (!file) {
    file = OpenLockFile(OpenOwnTemporaryFolder());
  }
  return file;
}

// Closed by LeaveInstance or by the system, with the process.
Fd held;

}  // namespace

bool PrevInstance() {
  if (held) {
    return false;
  }
  Fd file = OpenLockFile();
  if (!file) {
    return false;
  }
  if (Unbroken([&] { return flock(file.Get(), LOCK_EX | LOCK_NB); }) != 0) {
    return errno == EWOULDBLOCK;
  }
  held = std::move(file);
  return false;
}

void LeaveInstance() { held = Fd(); }

bool StartProgram(std::u16string_view path) {
  std::string program = ResolvePath(path).native();
  if (program.empty() || program.find('\0') != program.npos) {
    return false;
  }
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  for (int fd = 0; fd <= 2; ++fd) {
    posix_spawn_file_actions_addopen(&files, fd, "/dev/null", O_RDWR, 0);
  }
  posix_spawn_file_actions_addclosefrom_np(&files, 3);
  // Ignored signals and the mask would outlive exec.
  posix_spawnattr_t how;
  posix_spawnattr_init(&how);
  posix_spawnattr_setflags(&how,
                           POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  sigset_t signals;
  sigfillset(&signals);
  posix_spawnattr_setsigdefault(&how, &signals);
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&how, &signals);

  char* const arguments[] = {program.data(), nullptr};
  pid_t started;
  const int error = posix_spawn(&started, program.c_str(), &files, &how, arguments, environ);
  posix_spawnattr_destroy(&how);
  posix_spawn_file_actions_destroy(&files);
  return error == 0;
}

}  // namespace sys
