// Unix-domain sockets of the kind that all lines here are: SOCK_SEQPACKET, never waiting, closed on exec.
#ifndef HOST_TRANSPORT_SOCKET_H
#define HOST_TRANSPORT_SOCKET_H

#include <sys/un.h>

#include <optional>
#include <string>

namespace transport {

// Owns a descriptor.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  ~Descriptor() { reset(); }
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept;

  int get() const { return number_; }
  explicit operator bool() const { return number_ >= 0; }
  int release();
  void reset(int number = -1);

 private:
  int number_;
};

// Throws std::system_error.
Descriptor new_socket();

// Nothing when the path is too long.
std::optional<sockaddr_un> socket_address(const std::string& path);

// 0 or an errno number.
int connect_socket(int socket, const sockaddr_un& address);
int bind_socket(int socket, const sockaddr_un& address);

}  // namespace transport

#endif
