#include "platform/system/process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "platform/system/fd.h"
#include "platform/system/paths.h"

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
  return ours ? std::move(folder) : Fd();
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
  return file ? std::move(file) : OpenLockFile(OpenOwnTemporaryFolder());
}

// What the started program's process does from its birth on; it returns, with
// the cause in errno, only if the program can't be started. Nothing here may
// allocate or lock: another thread's lock may stand closed in this copy.
void BecomeProgram(const char* path, char* const* arguments) {
  const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (int fd = 0; fd <= 2; ++fd) {
    if (nothing < 0 || (nothing == fd ? fcntl(fd, F_SETFD, 0) : dup2(nothing, fd)) < 0) {
      return;
    }
  }
  if (close_range(3, ~0U, CLOSE_RANGE_CLOEXEC) != 0) {
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    const int end = static_cast<int>(std::min<rlim_t>(limit.rlim_cur, 1 << 16));
    for (int fd = 3; fd < end; ++fd) {
      fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
  }
  // Ignored signals and the mask would outlive exec.
  for (int number = 1; number < NSIG; ++number) {
    signal(number, SIG_DFL);
  }
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  execv(path, arguments);
}

}  // namespace

bool PrevInstance() {
  // Never closed by us: the system frees the lock with the process.
  static Fd held;
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

bool StartProgram(std::u16string_view path) {
  std::string program = ResolvePath(path).native();
  if (program.empty() || program.find('\0') != program.npos) {
    return false;
  }
  char* const arguments[] = {program.data(), nullptr};

  // The pipe closes by itself when the program starts; a byte in it says that
  // it didn't. It stays clear of 0 to 2, which the new process replaces.
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    return false;
  }
  const Fd from_child(ends[0]);
  Fd to_parent(ends[1]);
  to_parent = Fd(fcntl(to_parent.Get(), F_DUPFD_CLOEXEC, 3));
  if (!to_parent) {
    return false;
  }

  // The process between ends at once, so that the program is nobody's child
  // here, leaves no zombie, and can't get our terminal as its own.
  const pid_t between = fork();
  if (between < 0) {
    return false;
  }
  if (between == 0) {
    setsid();
    const pid_t child = fork();
    if (child == 0) {
      BecomeProgram(program.c_str(), arguments);
    }
    if (child <= 0) {
      [[maybe_unused]] const ssize_t told = write(to_parent.Get(), "!", 1);
    }
    _exit(0);
  }
  to_parent = Fd();
  Unbroken([&] { return waitpid(between, nullptr, 0); });
  char failure;
  return Unbroken([&] { return read(from_child.Get(), &failure, 1); }) == 0;
}

}  // namespace sys
