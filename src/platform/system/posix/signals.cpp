#include "platform/system/signals.h"

#include <signal.h>

#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace sys {

namespace {

constexpr int kEndSignals[] = {SIGTERM, SIGINT, SIGHUP};

// Who starts us with one ignored, as nohup does, means it.
bool IsIgnored(int number) {
  struct sigaction action = {};
  return sigaction(number, nullptr, &action) != 0 || action.sa_handler == SIG_IGN;
}

sigset_t held;

struct Callback {
  std::mutex mutex;
  std::function<void()> call;
  bool waiting = false;  // a thread does
};

// Never destroyed: the thread may outlive what is.
Callback& TheCallback() {
  static auto& callback = *new Callback;
  return callback;
}

void AwaitSignal() {
  int number = 0;
  sigwait(&held, &number);
  const std::lock_guard lock(TheCallback().mutex);
  if (TheCallback().call) {
    TheCallback().call();
  }
}

volatile sig_atomic_t remembered = 0;

void Remember(int number) {
  if (remembered == 0) {
    remembered = number;
  }
}

}  // namespace

void HoldEndSignals() {
  sigemptyset(&held);
  for (const int number : kEndSignals) {
    if (!IsIgnored(number)) {
      sigaddset(&held, number);
    }
  }
  pthread_sigmask(SIG_BLOCK, &held, nullptr);
}

// Without a thread the signals act as ever.
void OnEndSignal(std::function<void()> callback) {
  const std::lock_guard lock(TheCallback().mutex);
  TheCallback().call = std::move(callback);
  if (!std::exchange(TheCallback().waiting, true)) {
    try {
      std::thread(AwaitSignal).detach();
    } catch (const std::system_error&) {
      pthread_sigmask(SIG_UNBLOCK, &held, nullptr);
    }
  }
}

void RememberEndSignals() {
  struct sigaction action = {};  // no SA_RESTART: a call that waits returns
  action.sa_handler = Remember;
  for (const int number : kEndSignals) {
    if (!IsIgnored(number)) {
      sigaction(number, &action, nullptr);
    }
  }
  signal(SIGPIPE, SIG_IGN);
}

int EndSignal() noexcept { return remembered; }

void IgnoreFileSizeSignal() { signal(SIGXFSZ, SIG_IGN); }

}  // namespace sys
