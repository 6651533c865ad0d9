// The serving end of one client's line: messages in and out, and the limits on both.
#ifndef HOST_TRANSPORT_CONNECTION_H
#define HOST_TRANSPORT_CONNECTION_H

#include <asio/basic_seq_packet_socket.hpp>
#include <asio/generic/seq_packet_protocol.hpp>
#include <asio/steady_timer.hpp>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "host/transport/frame.h"
#include "host/transport/server.h"

namespace transport {

// Runs out unless it is stopped in time.
class Watchdog {
 public:
  Watchdog(const asio::any_io_executor& executor, uint32_t seconds)
      : timer_(executor, asio::steady_timer::time_point::max()), patience_(seconds) {}

  void start(std::function<void()> run_out);
  void stop();
  bool is_running() const { return timer_.expiry() != asio::steady_timer::time_point::max(); }

 private:
  asio::steady_timer timer_;
  std::chrono::seconds patience_;
};

class Connection : public std::enable_shared_from_this<Connection> {
 public:
  using Protocol = asio::generic::seq_packet_protocol;
  using Socket = Protocol::socket;

  // What comes of it. A message that must not be throws Malformed.
  struct Events {
    std::function<void(const std::shared_ptr<Connection>&, Message)> message;
    std::function<void(const std::shared_ptr<Connection>&)> closed;
  };

  Connection(Socket socket, const Limits& limits, Events events);

  void start();
  void send(Message message);
  void fail(int error, const std::string& text, uint32_t id = 0);  // last words, then the line is cut
  void close();

  Peer peer;
  bool is_guest = false;  // not one that places are kept free for
  bool has_greeted = false;

 private:
  void await_frame();
  void read_frame();
  void watch_incoming();
  void flush();
  void await_room();

  Socket socket_;
  Limits limits_;
  Events events_;
  Assembler assembler_{};
  std::deque<Outgoing> outgoing_{};
  size_t waiting_ = 0;
  bool awaits_room_ = false;
  bool is_last_ = false;  // the queue ends with last words
  Watchdog incoming_watchdog_;
  Watchdog outgoing_watchdog_;
};

}  // namespace transport

#endif
