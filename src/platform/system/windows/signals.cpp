#include "platform/system/signals.h"

#include <windows.h>
#include <signal.h>

#include <atomic>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/system/windows/native.h"

namespace sys {

namespace {

// What follows the end of a console or of the session: the system ends the process as soon
// as it is told that it may, and after some seconds without that too.
[[noreturn]] void AwaitOurEnd() {
  for (;;) {
    Sleep(INFINITE);
  }
}

bool IsLast(DWORD event) {
  return event == CTRL_CLOSE_EVENT || event == CTRL_LOGOFF_EVENT || event == CTRL_SHUTDOWN_EVENT;
}

struct Callback {
  std::mutex mutex;
  std::function<void()> call;
  bool pending = false;  // a signal has come
};

// Never destroyed: the thread may outlive what is.
Callback& TheCallback() {
  static auto& callback = *new Callback;
  return callback;
}

void Call() {
  const std::lock_guard lock(TheCallback().mutex);
  TheCallback().pending = true;
  if (const auto call = std::exchange(TheCallback().call, nullptr)) {
    call();
  }
}

BOOL WINAPI OnConsole(DWORD event) {
  Call();
  if (IsLast(event)) {
    AwaitOurEnd();
  }
  return TRUE;
}

std::atomic<int> remembered = 0;

BOOL WINAPI Remember(DWORD event) {
  int none = 0;
  remembered.compare_exchange_strong(none, event == CTRL_C_EVENT ? SIGINT : SIGTERM);
  SetEvent(EndEvent());
  if (IsLast(event)) {
    AwaitOurEnd();
  }
  return TRUE;
}

std::atomic<PHANDLER_ROUTINE> handler = nullptr;

LRESULT CALLBACK OnMessage(HWND window, UINT message, WPARAM wide, LPARAM parameter) {
  if (message == WM_ENDSESSION && wide != 0) {
    handler.load()(CTRL_LOGOFF_EVENT);
  }
  return DefWindowProcW(window, message, wide, parameter);
}

// A window that is never shown hears of the session's end, and keeps it waiting for us. The
// console tells only programs without windows, and a library has made us one with.
void AwaitSessionEnd() {
  WNDCLASSW kind = {};
  kind.lpfnWndProc = OnMessage;
  kind.hInstance = GetModuleHandleW(nullptr);
  kind.lpszClassName = L"anagparc.session";
  RegisterClassW(&kind);
  if (CreateWindowW(kind.lpszClassName, L"", WS_OVERLAPPED, 0, 0, 0, 0, nullptr, nullptr,
                    kind.hInstance, nullptr) == nullptr) {
    return;
  }
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    DispatchMessageW(&message);
  }
}

// Without a thread the session's end acts as ever.
void Listen(PHANDLER_ROUTINE routine) {
  if (handler.exchange(routine) != nullptr) {
    return;
  }
  SetConsoleCtrlHandler(routine, TRUE);
  try {
    std::thread(AwaitSessionEnd).detach();
  } catch (const std::system_error&) {
    OutputDebugStringW(L"anagparc: no thread for the end of the session");
  }
}

}  // namespace

HANDLE EndEvent() {
  static const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  return event;
}

void HoldEndSignals() { Listen(OnConsole); }

void OnEndSignal(std::function<void()> callback) {
  Callback& held = TheCallback();
  const std::lock_guard lock(held.mutex);
  held.call = std::move(callback);
  if (held.pending && held.call) {
    std::exchange(held.call, nullptr)();
  }
}

void RememberEndSignals() { Listen(Remember); }

int EndSignal() noexcept { return remembered; }

// Files have no such limit here.
void IgnoreFileSizeSignal() {}

}  // namespace sys
