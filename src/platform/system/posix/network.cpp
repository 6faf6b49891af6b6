#include "platform/system/network.h"

#include <poll.h>

namespace sys {

bool AwaitSocket(int socket, bool write, std::chrono::milliseconds most) {
  pollfd wanted = {socket, static_cast<short>(write ? POLLIN | POLLOUT : POLLIN), 0};
  return poll(&wanted, 1, static_cast<int>(most.count())) > 0;
}

}  // namespace sys
