// File descriptors of this folder's own code.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <utility>

namespace sys {

// Owns a descriptor; -1 is none.
class Fd {
 public:
  explicit Fd(int fd = -1) : fd_(fd) {}
  Fd(Fd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Fd& operator=(Fd&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  // The error of the operation before stands over the closing.
  ~Fd() {
    if (fd_ >= 0) {
      const int error = errno;
      close(fd_);
      errno = error;
    }
  }

  int Get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }

 private:
  int fd_;
};

// A plain file opened for reading. Whatever else has the name is refused at once, with
// EISDIR or ENXIO in errno: a pipe would keep us waiting, and a device may act on being
// opened.
Fd OpenPlainFile(const std::filesystem::path& path);

// Calls `operation` again for as long as a signal cuts it short.
template <typename Operation>
auto Unbroken(Operation operation) {
  auto result = operation();
  while (result == -1 && errno == EINTR) {
    result = operation();
  }
  return result;
}

}  // namespace sys
