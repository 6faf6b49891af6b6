// File descriptors of this folder's own code.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "platform/system/input_file.h"

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

// Of the call that has just failed.
inline std::error_code LastError() { return {errno, std::system_category()}; }

// Calls `operation` again for as long as a signal cuts it short.
template <typename Operation>
auto Unbroken(Operation operation) {
  auto result = operation();
  while (result == -1 && errno == EINTR) {
    result = operation();
  }
  return result;
}

struct InputFile::Native {
  Fd descriptor;
  bool plain = true;
  std::uint64_t size = 0;
};

}  // namespace sys
