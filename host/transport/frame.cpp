#include "host/transport/frame.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace transport {
namespace {

using libspan::get;
using libspan::put;

bool is_known(uint16_t type) {
  return type >= static_cast<uint16_t>(Type::kHello) && type <= static_cast<uint16_t>(Type::kFailed);
}

FrameHeader header_of(const Message& message, size_t offset) {
  FrameHeader header;
  put(header.magic, kMagic);
  put(header.version, kProtocolVersion);
  put(header.type, static_cast<uint16_t>(message.type));
  put(header.id, message.id);
  put(header.total, static_cast<uint32_t>(message.body.size()));
  put(header.offset, static_cast<uint32_t>(offset));
  return header;
}

// Throws Malformed when a header is wrong by itself.
void check(const FrameHeader& header) {
  const uint16_t version = get(header.version);
  if (get(header.magic) != kMagic) throw Malformed(EPROTO, "this is no frame");
  if (version != kProtocolVersion) {
    throw Malformed(EPROTO, "protocol version " + std::to_string(version) + " is not spoken here, but " +
                                std::to_string(kProtocolVersion));
  }
  const uint32_t id = get(header.id);
  const uint16_t type = get(header.type);
  const uint32_t total = get(header.total);
  if (!is_known(type)) throw Malformed(EPROTO, "message type " + std::to_string(type) + " is unknown", id);
  if (total > kMaxBody) throw Malformed(EMSGSIZE, "a body of " + std::to_string(total) + " bytes is too long", id);
}

}  // namespace

int Outgoing::send_next(int socket) {
  FrameHeader header = header_of(message_, sent_);
  const size_t length = std::min(kMaxPiece, message_.body.size() - sent_);
  iovec parts[] = {{&header, sizeof(header)}, {message_.body.data() + sent_, length}};
  msghdr record{};
  record.msg_iov = parts;
  record.msg_iovlen = std::size(parts);
  ssize_t result;
  do {
    result = ::sendmsg(socket, &record, MSG_DONTWAIT | MSG_NOSIGNAL);
  } while (result < 0 && errno == EINTR);
  if (result < 0) return errno;
  sent_ += length;
  is_done_ = sent_ == message_.body.size();
  return 0;
}

Received receive_frame(int socket, FrameBuffer& buffer) {
  ssize_t result;
  do {
    result = ::recv(socket, buffer.data(), buffer.size(), MSG_DONTWAIT | MSG_TRUNC);
  } while (result < 0 && errno == EINTR);
  return result < 0 ? Received{0, errno} : Received{static_cast<size_t>(result), 0};
}

void Assembler::begin(const FrameHeader& header) {
  const Message message{static_cast<Type>(get(header.type)), get(header.id)};
  if (!begun_) {
    begun_ = message;
    total_ = get(header.total);
  } else if (message.type != begun_->type || message.id != begun_->id || get(header.total) != total_) {
    throw Malformed(EPROTO, "a frame of another message in the middle of one", message.id);
  }
  if (get(header.offset) != begun_->body.size()) throw Malformed(EPROTO, "a frame at a wrong offset", message.id);
}

std::optional<Message> Assembler::add(const FrameBuffer& buffer, size_t length) {
  if (length > buffer.size()) {
    throw Malformed(EMSGSIZE, "a frame of " + std::to_string(length) + " bytes is too long");
  }
  if (length < sizeof(FrameHeader)) {
    throw Malformed(EPROTO, "a frame of " + std::to_string(length) + " bytes is too short");
  }
  const auto& header = libspan::view<FrameHeader>(buffer.data());
  check(header);
  begin(header);
  Bytes& body = begun_->body;
  const size_t piece = length - sizeof(FrameHeader);
  const size_t missing = total_ - body.size();
  if (piece > missing) throw Malformed(EPROTO, "a frame beyond the end of its message", begun_->id);
  if (piece == 0 && missing > 0) throw Malformed(EPROTO, "a frame without a piece", begun_->id);
  const auto* const first = buffer.data() + sizeof(FrameHeader);
  body.insert(body.end(), first, first + piece);
  return piece == missing ? std::exchange(begun_, std::nullopt) : std::nullopt;
}

}  // namespace transport
