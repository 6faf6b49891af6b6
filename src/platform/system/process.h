// Other processes: a second copy of this program, other programs' windows,
// starting a program, and signals to end.
#pragma once

#include <string_view>

namespace sys {

// True when another process of this user's session holds the program's
// lock; otherwise this process holds it from now on, until it ends, however it
// ends. The lock is a file in $XDG_RUNTIME_DIR, or, where that isn't set or
// can't be used, in a folder of the user's own under the temporary folder.
// Where no lock file can be made the answer is false: the database's own locks
// still guard the data.
bool PrevInstance();

// Gives the lock back before the process ends: another one can take it.
void LeaveInstance();

// Brings the window with exactly this title to the front and gives it the
// keyboard. False when there is no such window, or no display to look on, or
// its server doesn't answer within a few seconds.
bool ActivateWindow(std::u16string_view title);

// Starts the program `path` (a name as in paths.h) in a session of its own, without
// waiting for it and without our open files: its standard ones are the null device, so
// that nobody who reads our output waits for its end. It stays this process's child.
// False when it can't be started.
bool StartProgram(std::u16string_view path);

// From now on a write that would make a file larger than the user's limit fails, as on a
// full disk; otherwise SIGXFSZ would end the process. A program started by StartProgram
// has the signal as ever.
void IgnoreFileSizeSignal();

// From now on SIGTERM, SIGINT and SIGHUP don't end the process: each makes the descriptor
// returned readable, for good. Those that the process was started to ignore stay ignored.
// To be called before there is a second thread. -1 where the system refuses; then the
// signals act as ever.
int HoldEndSignals();

}  // namespace sys
