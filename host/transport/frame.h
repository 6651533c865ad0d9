// How messages travel: each record of the SOCK_SEQPACKET socket is one frame, a header and a piece of the message's
// body. The frames of a message follow each other, without those of another message between them.
#ifndef HOST_TRANSPORT_FRAME_H
#define HOST_TRANSPORT_FRAME_H

#include <sys/uio.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "host/transport/message.h"
#include "internal/bytes.h"

namespace transport {

constexpr uint32_t kMagic = 0x5350414e;
constexpr uint16_t kProtocolVersion = 1;

struct FrameHeader {
  span_be32_t magic;
  span_be16_t version;
  span_be16_t type;
  span_be32_t id;
  span_be32_t total;   // length of the body
  span_be32_t offset;  // of this piece in the body
};
static_assert(offsetof(FrameHeader, magic) == 0);
static_assert(offsetof(FrameHeader, version) == 4);
static_assert(offsetof(FrameHeader, type) == 6);
static_assert(offsetof(FrameHeader, id) == 8);
static_assert(offsetof(FrameHeader, total) == 12);
static_assert(offsetof(FrameHeader, offset) == 16);
static_assert(sizeof(FrameHeader) == 20 && alignof(FrameHeader) == 1);

constexpr size_t kMaxPiece = 60u << 10;
constexpr size_t kMaxFrame = sizeof(FrameHeader) + kMaxPiece;

using FrameBuffer = std::array<uint8_t, kMaxFrame>;

// A message on its way out, frame by frame.
class Outgoing {
 public:
  explicit Outgoing(Message message) : message_(std::move(message)) {}

  // Sends the next frame without waiting for room: 0 or an errno number. EAGAIN: there is no room now.
  int send_next(int socket);

  Bytes take_body() { return std::move(message_.body); }

  bool has_begun() const { return sent_ > 0 || is_done_; }
  bool is_done() const { return is_done_; }
  size_t rest() const { return is_done_ ? 0 : sizeof(FrameHeader) + message_.body.size() - sent_; }

 private:
  Message message_;
  size_t sent_ = 0;
  bool is_done_ = false;
};

// One record from a socket, without waiting: its length, and 0 or an errno number. A length of 0 without an error is
// the end of the line; one above kMaxFrame says that the record was longer than any frame.
struct Received {
  size_t length;
  int error;
};
Received receive_frame(int socket, FrameBuffer& buffer);

// What came is no frame, or not the one that had to follow: the line is of no use any more.
class Malformed : public std::runtime_error {
 public:
  Malformed(int error, const std::string& text, uint32_t id = 0) : std::runtime_error(text), error_(error), id_(id) {}

  int error() const { return error_; }
  uint32_t id() const { return id_; }  // of the message, 0 when the frame does not tell

 private:
  int error_;
  uint32_t id_;
};

// Puts the messages of a line together. It holds no more bytes than came.
class Assembler {
 public:
  // The message that a record completes, if it does; throws Malformed. `length` is that of the record, which may have
  // been too long for the buffer.
  std::optional<Message> add(const FrameBuffer& buffer, size_t length);

  bool has_begun() const { return begun_.has_value(); }
  size_t size() const { return begun_ ? begun_->body.size() : 0; }

 private:
  void begin(const FrameHeader& header);

  std::optional<Message> begun_{};
  size_t total_ = 0;
};

}  // namespace transport

#endif
