#include "archivio/interruption.h"

#include "archivio/archivio.h"
#include "platform/system/signals.h"

namespace archivio {

void CatchSignals() {
  sys::RememberEndSignals();
  sys::IgnoreFileSizeSignal();
}

int CaughtSignal() noexcept { return sys::EndSignal(); }

void CheckInterrupted() {
  if (CaughtSignal() != 0) {
    throw Failure("Interrotto.");
  }
}

}  // namespace archivio
