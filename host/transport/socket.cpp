#include "host/transport/socket.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace transport {
namespace {

const sockaddr* generic(const sockaddr_un& address) { return reinterpret_cast<const sockaddr*>(&address); }

}  // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  reset(other.release());
  return *this;
}

int Descriptor::release() { return std::exchange(number_, -1); }

void Descriptor::reset(int number) {
  if (number_ >= 0) ::close(number_);
  number_ = number;
}

Descriptor new_socket() {
  Descriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket) throw std::system_error(errno, std::generic_category(), "socket");
  return socket;
}

std::optional<sockaddr_un> socket_address(const std::string& path) {
  sockaddr_un address{};
  if (path.size() >= sizeof(address.sun_path)) return std::nullopt;
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, path.size());
  return address;
}

int connect_socket(int socket, const sockaddr_un& address) {
  return ::connect(socket, generic(address), sizeof(address)) == 0 ? 0 : errno;
}

int bind_socket(int socket, const sockaddr_un& address) {
  return ::bind(socket, generic(address), sizeof(address)) == 0 ? 0 : errno;
}

}  // namespace transport
