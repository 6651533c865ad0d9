// The name of a listening socket in the file system.
#ifndef HOST_TRANSPORT_SOCKET_FILE_H
#define HOST_TRANSPORT_SOCKET_FILE_H

#include <sys/stat.h>

#include <string>

namespace transport {

// Lets a socket listen at a path, which it takes over from a process that has died. Throws std::system_error
// (EADDRINUSE: somebody serves it) or std::length_error.
class SocketFile {
 public:
  SocketFile(int socket, std::string path, mode_t mode);
  ~SocketFile();  // removes it, unless it is another one by now. Goes before the socket is closed
  SocketFile(const SocketFile&) = delete;
  SocketFile& operator=(const SocketFile&) = delete;

  void move_to(std::string path);

 private:
  bool is_there() const;

  std::string path_;
  struct stat identity_ {};
};

}  // namespace transport

#endif
