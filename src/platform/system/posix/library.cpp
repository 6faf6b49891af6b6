#include "platform/system/library.h"

#include <dlfcn.h>

namespace sys {

Library::Library(std::string_view name, int version) {
  const std::string file = "lib" + std::string(name) + ".so." + std::to_string(version);
  handle_ = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) {
    failure_ = dlerror();
  }
}

void* Library::Function(const char* name) const {
  if (handle_ == nullptr) {
    return nullptr;
  }
  return dlsym(handle_, name);
}

}  // namespace sys
