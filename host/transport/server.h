// The serving end of a socket: any number of clients, all in one thread, none of which can harm another one.
#ifndef HOST_TRANSPORT_SERVER_H
#define HOST_TRANSPORT_SERVER_H

#include <sys/types.h>

#include <algorithm>
#include <asio/io_context.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/transport/message.h"

namespace transport {

// Who is at the other end, as the kernel knows: taken when the client connected.
struct Peer {
  uid_t uid;
  gid_t gid;
  pid_t pid;
  std::vector<gid_t> groups;  // supplementary ones
  std::string program;        // what it calls itself

  bool is_root_or_of(gid_t group) const;
};

struct Limits {
  size_t clients = 1024;        // places; who finds none is sent away with kFailed, EBUSY
  size_t waiting = 8u << 20;    // bytes that a client may leave unread, before it is cut off
  uint32_t stall_seconds = 10;  // for the greeting, for the rest of a message, for reading more of what is unread

  // Of the places, those that clients may take who are not trusted: all of them together, and each user.
  size_t for_guests() const { return clients - (clients + 3) / 4; }
  size_t for_one_guest() const { return std::max<size_t>(clients / 8, 1); }
};

// Whom places are kept free for, and who hears of clients that were sent away.
struct Admission {
  std::function<bool(const Peer& peer)> trusts{};      // everybody when there is none
  std::function<void(const std::string& text)> say{};  // a line for the log: one for each reason in ten minutes
};

// Gives an answer, at once or later. Once the client has gone, it has no effect. Copies answer the same message, and it
// is answered once.
using Responder = std::function<void(Type type, Bytes body)>;

// A client that has greeted asks something. What the handler throws is answered with kFailed: a std::system_error with
// its number, anything else with EIO.
using Handler = std::function<void(const Peer& peer, Message message, Responder answer)>;

class Server {
 public:
  // Takes the socket over from a process that has died; throws std::system_error (EADDRINUSE: somebody serves it, that
  // of the system's call otherwise) or std::length_error, when the path is too long for a socket. `mode` is that of the
  // socket; nobody can connect before it has it. `io` outlives the server.
  Server(asio::io_context& io, std::string path, mode_t mode, Welcome welcome, Handler handler, Limits limits = {},
         Admission admission = {});
  ~Server();  // cuts the lines and removes the socket
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Serves at another path instead, atomically; clients keep their lines. Throws as the constructor does, and stays
  // where it is then.
  void move_to(std::string path);
  void set_role(Role role);  // for the next ones that greet

  size_t clients() const;

 private:
  class State;
  std::shared_ptr<State> state_;
};

}  // namespace transport

#endif
