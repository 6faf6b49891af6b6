// Other processes: a second copy of this program, other programs' windows, and starting a program.
#pragma once

#include <string_view>

namespace sys {

// True when another process of this user's session holds the program's lock; otherwise this process
// holds it from now on, until it ends, however it ends. The lock is a file in $XDG_RUNTIME_DIR, or,
// where that isn't set or can't be used, in a folder of the user's own under the temporary folder.
// Returns false where no lock file can be made: the database's own locks still guard the data.
bool PrevInstance();

// Releases the lock before the process ends: another one can take it.
void LeaveInstance();

// Brings the window with exactly this title to the front, with the keyboard. False when there is
// no such window, or no display, or its server is silent for a few seconds.
bool ActivateWindow(std::u16string_view title);

// Starts the program `path` (a name as in paths.h) in a session of its own, without waiting for it
// and without our open files: its standard ones are the null device, so that nobody who reads our
// output waits for its end. It stays this process's child. False when it can't be started.
bool StartProgram(std::u16string_view path);

}  // namespace sys
