#include "archivio/interruption.h"

#include <signal.h>

#include "archivio/archivio.h"

namespace archivio {

namespace {

volatile sig_atomic_t g_signal = 0;

void Remember(int number) {
  if (g_signal == 0) {
    g_signal = number;
  }
}

}  // namespace

void CatchSignals() {
  struct sigaction action = {};  // no SA_RESTART: a call that waits returns
  action.sa_handler = Remember;
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    // Who starts us with one ignored, as nohup does, means it.
    struct sigaction before = {};
    if (sigaction(number, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
      sigaction(number, &action, nullptr);
    }
  }
  for (const int number : {SIGPIPE, SIGXFSZ}) {
    signal(number, SIG_IGN);
  }
}

int CaughtSignal() noexcept { return g_signal; }

void CheckInterrupted() {
  if (g_signal != 0) {
    throw Failure("Interrotto.");
  }
}

}  // namespace archivio
