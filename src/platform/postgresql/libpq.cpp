#include "platform/postgresql/libpq.h"

#include "platform/system/library.h"

namespace postgresql {

#define ANAGPARC_DEFINE(name) decltype(&::name) name = nullptr;
ANAGPARC_LIBPQ_FUNCTIONS(ANAGPARC_DEFINE)
#undef ANAGPARC_DEFINE

namespace {

constexpr int kVersion = 5;

template <class Pointer>
void Find(const sys::Library& library, Pointer& function, const char* name, std::string& failure) {
  function = reinterpret_cast<Pointer>(library.Function(name));
  if (function == nullptr && failure.empty()) {
    failure = name;
  }
}

std::string Load() {
  const sys::Library library("pq", kVersion);
  std::string failure = library.Failure();
#define ANAGPARC_FIND(name) Find(library, name, #name, failure);
  ANAGPARC_LIBPQ_FUNCTIONS(ANAGPARC_FIND)
#undef ANAGPARC_FIND
  return failure;
}

}  // namespace

std::string LoadLibpq() {
  static const std::string failure = Load();
  return failure;
}

}  // namespace postgresql
