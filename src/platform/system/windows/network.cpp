#include "platform/system/network.h"

#include <winsock2.h>

namespace sys {

bool AwaitSocket(int socket, bool write, std::chrono::milliseconds most) {
  WSAPOLLFD wanted = {static_cast<SOCKET>(socket),
                      static_cast<short>(write ? POLLIN | POLLOUT : POLLIN), 0};
  return WSAPoll(&wanted, 1, static_cast<int>(most.count())) > 0;
}

}  // namespace sys
