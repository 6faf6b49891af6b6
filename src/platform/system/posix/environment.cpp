#include "platform/system/environment.h"

#include <stdlib.h>

namespace sys {

std::vector<std::string> Arguments(int count, char** words) { return {words + 1, words + count}; }

std::string Variable(const char* name) {
  const char* const value = getenv(name);
  return value == nullptr ? "" : value;
}

void RemoveVariable(const char* name) { unsetenv(name); }

}  // namespace sys
