#include "platform/system/library.h"

#include "platform/system/windows/native.h"
#include "platform/text/text.h"

namespace sys {

// Versions have no part in names here. The current folder, where anybody may put a file, isn't
// looked in.
Library::Library(std::string_view name, int /*version*/) {
  const std::wstring file = Wide(u"lib" + text::FromUtf8(name) + u".dll");
  handle_ = LoadLibraryExW(file.c_str(), nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
  if (handle_ == nullptr) {
    failure_ = LastError().message();
  }
}

void* Library::Function(const char* name) const {
  if (handle_ == nullptr) {
    return nullptr;
  }
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name));
}

}  // namespace sys
