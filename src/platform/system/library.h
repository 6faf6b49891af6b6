// Libraries that are loaded only when they are needed.
#pragma once

#include <string>
#include <string_view>

namespace sys {

// The library "lib<name>" with the interface of that version, where this system keeps libraries,
// or beside the program. Stays loaded until the process ends.
class Library {
 public:
  Library(std::string_view name, int version);

  // The library's function; null where there is none, or no library.
  void* Function(const char* name) const;
  // Why it isn't loaded, in the system's words; empty when it is.
  const std::string& Failure() const { return failure_; }

 private:
  void* handle_ = nullptr;
  std::string failure_;
};

}  // namespace sys
