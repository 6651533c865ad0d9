// A client's line to one process of the switch. Blocking, with a time-out on every wait; for one thread, but for
// Interrupt::raise().
#ifndef HOST_TRANSPORT_CHANNEL_H
#define HOST_TRANSPORT_CHANNEL_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "host/transport/message.h"

namespace transport {

using Milliseconds = std::chrono::milliseconds;

// Ends waits from outside: every wait that is under way, and those that begin before it is cleared, fail with EINTR.
// raise() may be called from a signal handler.
class Interrupt {
 public:
  Interrupt();
  ~Interrupt();
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;

  void raise() noexcept;
  void clear();
  int descriptor() const { return descriptor_; }  // readable while it is raised

 private:
  int descriptor_;
};

// Connects when it is first needed, and anew when the other end was started again. All results are errno numbers, 0 =
// done; the ones that say more than "failed":
//   ENOENT, ECONNREFUSED  nobody serves the socket
//   EACCES                the socket is not for this user
//   EBUSY                 the server has too many clients
//   ETIMEDOUT             no answer in time. It may still come: that of a call is thrown away then
//   ECONNRESET            the line broke with the message under way: whether it had an effect is not known. It is never
//                         sent again
//   EPROTO                the other end speaks another language
//   EMSGSIZE              the body is too long
//   EINTR                 interrupted
class Channel {
 public:
  // `interrupt` may be null; it outlives the channel.
  Channel(std::string path, std::string program, Interrupt* interrupt = nullptr);
  ~Channel();
  Channel(Channel&&) noexcept;
  Channel& operator=(Channel&&) noexcept;

  // Sends and waits for the answer. A kFailed answer is this call's error, and its text stays in `answer`.
  int call(Type type, Bytes body, Message& answer, Milliseconds patience);

  // The two halves of it. An answer that comes while another one is waited for is kept, the 64 latest of them. After
  // ETIMEDOUT and EINTR it may be asked for again. A message that was never answered fails with ECONNRESET when its
  // line broke.
  int send(Type type, Bytes body, uint32_t& id, Milliseconds patience);
  int receive(uint32_t id, Message& answer, Milliseconds patience);

  // Nobody will ask for that answer again: when it comes, it is thrown away.
  void abandon(uint32_t id);

  // Of the connection that stands; connects first when none does.
  int welcome(Welcome& welcome, Milliseconds patience);

 private:
  class Line;
  std::unique_ptr<Line> line_;
};

}  // namespace transport

#endif
