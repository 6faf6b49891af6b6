// Handles, errors and names of this folder's own code.
#pragma once

#include <windows.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/system/input_file.h"

namespace sys {

// Owns a handle. The system has two values for none.
class Handle {
 public:
  explicit Handle(HANDLE handle = nullptr)
      : handle_(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
  Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  // The error of the operation before stands over the closing.
  ~Handle() {
    if (handle_ != nullptr) {
      const DWORD error = GetLastError();
      CloseHandle(handle_);
      SetLastError(error);
    }
  }

  HANDLE Get() const { return handle_; }
  explicit operator bool() const { return handle_ != nullptr; }

 private:
  HANDLE handle_;
};

// Of the call that has just failed. std::errc knows most of these numbers.
inline std::error_code LastError() {
  return {static_cast<int>(GetLastError()), std::system_category()};
}

// A text as the system takes it.
inline std::wstring Wide(std::u16string_view text) { return {text.begin(), text.end()}; }
inline std::u16string FromWide(std::wstring_view text) { return {text.begin(), text.end()}; }

// Set when a signal to end has been remembered (signals.h); whoever waits looks at it too.
HANDLE EndEvent();

// How many bytes wait in a pipe: waits until there are some, for at most `milliseconds`.
enum class Wait { kBytes, kEnd, kSilent, kSignal };
Wait AwaitBytes(HANDLE pipe, DWORD milliseconds);

// The security of what its owner alone may read and write.
class OwnerOnly {
 public:
  OwnerOnly();
  ~OwnerOnly();
  OwnerOnly(const OwnerOnly&) = delete;
  OwnerOnly& operator=(const OwnerOnly&) = delete;

  // Null, which means the folder's own, where the system doesn't say who we are.
  SECURITY_ATTRIBUTES* Get() { return attributes_.lpSecurityDescriptor ? &attributes_ : nullptr; }

 private:
  SECURITY_ATTRIBUTES attributes_ = {};
};

// Whether the open file belongs to this process's user.
bool IsOurs(HANDLE file);

struct InputFile::Native {
  Handle file;
  bool plain = true;
  std::uint64_t size = 0;
};

}  // namespace sys
