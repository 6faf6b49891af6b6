#include "platform/system/process.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <string>

#include "platform/system/environment.h"
#include "platform/system/paths.h"
#include "platform/system/windows/native.h"
#include "platform/text/text.h"

namespace sys {

namespace {

// The mutex of the user's session.
std::wstring LockName() {
  std::wstring name = L"Local\\anagparc";
  for (const char16_t c : text::FromUtf8(Variable("XDG_RUNTIME_DIR"))) {
    name += c == u'\\' ? L'/' : static_cast<wchar_t>(c);
  }
  return name.substr(0, MAX_PATH - 1);
}

// Ended by LeaveInstance or by the system, with the process.
Handle held;

struct Search {
  std::wstring title;
  HWND found = nullptr;
};

// The length of the title tells where a longer one begins in the same way.
BOOL CALLBACK Look(HWND window, LPARAM parameter) {
  auto& search = *reinterpret_cast<Search*>(parameter);
  std::wstring title(search.title.size() + 2, L'\0');
  const int size = GetWindowTextW(window, title.data(), static_cast<int>(title.size()));
  if (IsWindowVisible(window) == 0 ||
      title.substr(0, static_cast<std::size_t>(size)) != search.title) {
    return TRUE;
  }
  search.found = window;
  return FALSE;
}

}  // namespace

bool PrevInstance() {
  if (held) {
    return false;
  }
  Handle mutex(CreateMutexW(nullptr, FALSE, LockName().c_str()));
  if (!mutex) {
    return GetLastError() == ERROR_ACCESS_DENIED;  // another user's, in the same session
  }
  if (GetLastError() == ERROR_ALREADY_EXISTS) {
    return true;
  }
  held = std::move(mutex);
  return false;
}

void LeaveInstance() { held = Handle(); }

// The system's own search by title passes over the case of letters. It takes a title from
// what the window has told it, so that a window that hangs keeps nobody waiting.
bool ActivateWindow(std::u16string_view title) {
  Search search = {Wide(title)};
  EnumWindows(Look, reinterpret_cast<LPARAM>(&search));
  if (search.found == nullptr) {
    return false;
  }
  if (IsIconic(search.found) != 0) {
    ShowWindowAsync(search.found, SW_RESTORE);
  }
  SetForegroundWindow(search.found);  // refused to who isn't in front; it then blinks
  return true;
}

bool StartProgram(std::u16string_view path) {
  const std::wstring program = ResolvePath(path).native();
  if (program.empty() || program.find(L'\0') != program.npos) {
    return false;
  }
  std::wstring words = L'"' + program + L'"';
  STARTUPINFOW how = {};
  how.cb = sizeof how;
  how.dwFlags = STARTF_USESHOWWINDOW;
  how.wShowWindow = SW_HIDE;
  PROCESS_INFORMATION started = {};
  if (CreateProcessW(program.c_str(), words.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS,
                     nullptr, nullptr, &how, &started) == 0) {
    return false;
  }
  const Handle thread(started.hThread), process(started.hProcess);
  AllowSetForegroundWindow(started.dwProcessId);
  return true;
}

}  // namespace sys
