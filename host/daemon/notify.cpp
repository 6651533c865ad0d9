#include "host/daemon/notify.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace spand {

void notify(const std::string& state) {
  const char* const path = std::getenv("NOTIFY_SOCKET");
  sockaddr_un address{};
  if (path == nullptr || (path[0] != '/' && path[0] != '@') || std::strlen(path) >= sizeof address.sun_path) return;
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, path);
  if (path[0] == '@') address.sun_path[0] = '\0';  // no file, but a name of its own space
  const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (descriptor == -1) return;
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(path));
  sendto(descriptor, state.data(), state.size(), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&address), length);
  close(descriptor);
}

}  // namespace spand
