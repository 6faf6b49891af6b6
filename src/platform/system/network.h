// Waiting for what comes over a network.
#pragma once

#include <chrono>

namespace sys {

// Waits until something can be read from the connection, or, with `write`, also until something
// can be written to it, at most for that time; a signal may end it before. True when
// there is something, a failure of the connection too. `socket` is its number, as network libraries
// have it.
bool AwaitSocket(int socket, bool write, std::chrono::milliseconds most);

}  // namespace sys
