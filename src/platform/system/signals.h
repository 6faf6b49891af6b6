// Being asked from outside to end, here by SIGTERM, SIGINT and SIGHUP; those that the
// process was started to ignore stay ignored. A program goes one of two ways.
#pragma once

#include <functional>

namespace sys {

// For a program with an event loop: from now on the signals wait for OnEndSignal instead of
// ending the process. To be called before there is a second thread.
void HoldEndSignals();
// Calls `callback`, once, when a signal has come or comes, on a thread of our own, which
// does nothing else: it should only post to the event loop. Once another callback, or an empty
// one, has been set, the one before isn't running and won't be called.
void OnEndSignal(std::function<void()> callback);

// For a program without an event loop, which calls EndSignal now and then: from now on the signals
// are remembered, and a call that waits returns; a write to a pipe that nobody reads fails.
void RememberEndSignals();
// The number of the first one that came, or 0.
int EndSignal() noexcept;

// From now on a write that would make a file larger than the user's limit fails, as on a full disk;
// otherwise SIGXFSZ would end the process. Programs started by StartProgram aren't affected.
void IgnoreFileSizeSignal();

}  // namespace sys
