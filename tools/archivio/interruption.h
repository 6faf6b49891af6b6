// Signals that end the tool: what it has begun is undone first.
#pragma once

namespace archivio {

// From here on SIGINT, SIGTERM and SIGHUP are only remembered, and a pipe that
// nobody reads or a file that may not grow is an error of the writing call.
void CatchSignals();

// The first signal that came, or 0.
int CaughtSignal() noexcept;

// Throws Failure once a signal has come. Long work calls it now and then.
void CheckInterrupted();

}  // namespace archivio
