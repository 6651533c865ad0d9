#include "host/transport/connection.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

namespace transport {
namespace {

using asio::steady_timer;

// As the kernel knows it. A process without supplementary groups has none, and so has one that the kernel won't tell.
Peer read_peer(int socket) {
  ucred credentials{};
  socklen_t length = sizeof(credentials);
  if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0) {
    throw std::system_error(errno, std::generic_category(), "peer credentials");
  }
  std::vector<gid_t> groups(64);
  int result;
  do {
    length = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    result = ::getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &length);
    groups.resize(length / sizeof(gid_t));
  } while (result != 0 && errno == ERANGE);
  if (result != 0) groups.clear();
  return {credentials.uid, credentials.gid, credentials.pid, std::move(groups), ""};
}

// One buffer for all lines of a thread: a frame does not stay in it.
FrameBuffer& shared_buffer() {
  thread_local FrameBuffer buffer;
  return buffer;
}

}  // namespace

// A timer's end may be on its way already when it is stopped: what counts is the time that stands.
void Watchdog::start(std::function<void()> run_out) {
  timer_.expires_after(patience_);
  timer_.async_wait([this, run_out = std::move(run_out)](const asio::error_code& error) {
    if (!error && timer_.expiry() <= steady_timer::clock_type::now()) run_out();
  });
}

void Watchdog::stop() {
  if (is_running()) timer_.expires_at(steady_timer::time_point::max());
}

Connection::Connection(Socket socket, const Limits& limits, Events events)
    : peer(read_peer(socket.native_handle())),
      socket_(std::move(socket)),
      limits_(limits),
      events_(std::move(events)),
      incoming_watchdog_(socket_.get_executor(), limits.stall_seconds),
      outgoing_watchdog_(socket_.get_executor(), limits.stall_seconds) {}

void Connection::start() {
  watch_incoming();
  await_frame();
}

void Connection::await_frame() {
  socket_.async_wait(Socket::wait_read, [self = shared_from_this()](const asio::error_code& error) {
    if (!error) self->read_frame();
  });
}

// One frame at a time: the other lines have their turn in between.
void Connection::read_frame() try {
  if (!socket_.is_open() || is_last_) return;
  const auto [length, error] = receive_frame(socket_.native_handle(), shared_buffer());
  if (error == 0 && length == 0) return close();
  if (error != 0 && error != EAGAIN) return close();
  if (error == 0) {
    if (auto message = assembler_.add(shared_buffer(), length))
      events_.message(shared_from_this(), std::move(*message));
    watch_incoming();
  }
  if (socket_.is_open()) await_frame();
} catch (const Malformed& malformed) {
  fail(malformed.error(), malformed.what(), malformed.id());
} catch (const std::exception&) {  // no memory for it
  close();
}

// The client owes the greeting, or the rest of a message.
void Connection::watch_incoming() {
  if (has_greeted && !assembler_.has_begun()) return incoming_watchdog_.stop();
  if (incoming_watchdog_.is_running()) return;
  incoming_watchdog_.start([self = shared_from_this()] {
    self->fail(ETIMEDOUT, self->has_greeted ? "the rest of a message did not come" : "no greeting came");
  });
}

void Connection::send(Message message) {
  if (!socket_.is_open() || is_last_) return;
  outgoing_.emplace_back(std::move(message));
  waiting_ += outgoing_.back().rest();
  flush();
  if (waiting_ > limits_.waiting) close();
}

void Connection::fail(int error, const std::string& text, uint32_t id) {
  if (!socket_.is_open() || is_last_) return;
  outgoing_.emplace_back(Message{Type::kFailed, id, encode(Failed{static_cast<uint32_t>(error), text})});
  is_last_ = true;
  incoming_watchdog_.stop();
  flush();
}

void Connection::flush() {
  while (!outgoing_.empty()) {
    Outgoing& next = outgoing_.front();
    const size_t before = next.rest();
    const int error = next.send_next(socket_.native_handle());
    if (error == EAGAIN) return await_room();
    if (error != 0) return close();
    waiting_ -= before - next.rest();
    outgoing_watchdog_.stop();
    if (next.is_done()) outgoing_.pop_front();
  }
  if (is_last_) close();
}

void Connection::await_room() {
  if (std::exchange(awaits_room_, true)) return;
  if (!outgoing_watchdog_.is_running()) outgoing_watchdog_.start([self = shared_from_this()] { self->close(); });
  socket_.async_wait(Socket::wait_write, [self = shared_from_this()](const asio::error_code& error) {
    self->awaits_room_ = false;
    if (!error) self->flush();
  });
}

// A line that is closed with something unread in it loses what was sent last, so nothing is left unread.
void Connection::close() {
  if (!socket_.is_open()) return;
  ::shutdown(socket_.native_handle(), SHUT_RDWR);
  while (receive_frame(socket_.native_handle(), shared_buffer()).length > 0) {
  }
  asio::error_code ignored;
  socket_.close(ignored);
  incoming_watchdog_.stop();
  outgoing_watchdog_.stop();
  events_.closed(shared_from_this());
}

}  // namespace transport
