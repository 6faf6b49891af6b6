#include "platform/system/environment.h"

#include <windows.h>
#include <shellapi.h>

#include <cstdlib>

#include "platform/system/windows/native.h"
#include "platform/text/text.h"

namespace sys {

std::vector<std::string> Arguments(int /*count*/, char** /*words*/) {
  int count = 0;
  LPWSTR* const words = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; words != nullptr && i < count; ++i) {
    arguments.push_back(text::ToUtf8(FromWide(words[i])));
  }
  LocalFree(words);
  return arguments;
}

std::string Variable(const char* name) {
  const std::wstring wide = Wide(text::FromUtf8(name));
  std::wstring value(GetEnvironmentVariableW(wide.c_str(), nullptr, 0), L'\0');
  value.resize(
      GetEnvironmentVariableW(wide.c_str(), value.data(), static_cast<DWORD>(value.size())));
  return text::ToUtf8(FromWide(value));
}

// The C library keeps a copy of its own.
void RemoveVariable(const char* name) {
  _putenv_s(name, "");
  SetEnvironmentVariableW(Wide(text::FromUtf8(name)).c_str(), nullptr);
}

}  // namespace sys
