#include "tests/support/messages.h"

#include <algorithm>

namespace testkit {
namespace {

constexpr uint8_t kUnread = 0xEE;

Bytes interface_list(const std::vector<uint32_t>& interfaces) {
  Bytes list = be32(static_cast<uint32_t>(interfaces.size()));
  for (const uint32_t if_index : interfaces) list = join({list, net_if(if_index)});
  return list;
}

}  // namespace

Message& Message::put(size_t offset, const Bytes& part) {
  if (bytes_.size() < offset + part.size()) bytes_.resize(offset + part.size());
  std::copy(part.begin(), part.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(offset));
  return *this;
}

Bytes SessionRecord::bytes() const {
  const Bytes head = Message(1648, kUnread)
                         .u8(0, session - 1u)
                         .u8(1, configured)
                         .u8(2, oper_state)
                         .net_if(84, destination)
                         .be32(88, has_destination)
                         .be32(92, suspended)
                         .be32(100, filter_length)
                         .vsans(104, filter_vsans)
                         .be32(1132, rx_vsans_length)
                         .vsans(1136, rx_vsans);
  return join({head, interface_list(rx), interface_list(tx)});
}

Bytes SessionRecord::response(uint32_t manager_status) const { return join({be32(manager_status), bytes()}); }

Bytes SourceInterface::response() const {
  Message message(542, kUnread);
  message.net_if(0, if_index)
      .u8(4, valid)
      .u8(14, rx_filter)
      .u8(15, tx_filter)
      .u8(16, rx_traffic_type)
      .u8(17, tx_traffic_type)
      .net_if(18, member);
  if (!service) return message.vsans(22, vsans);
  return message.u8(22, target).u8(23, mgmt).u8(24, initiator).vsans(30, service_vsans);
}

Bytes SourceConfigResult::response() const {
  Message message(528, kUnread);
  message.u8(1, source_type).be32(4, result).be32(8, static_cast<uint32_t>(interfaces.size())).vsans(16, refused);
  size_t offset = 528;
  for (const auto& [if_index, status] : interfaces) {
    message.net_if(offset, if_index).be32(offset + 4, status);
    offset += 8;
  }
  return message;
}

Bytes status_response(uint32_t result) { return Message(8, kUnread).be32(4, result); }

Bytes delete_response(uint32_t result) { return be32(result); }

Bytes port_config_response(uint32_t status, const Results& results) {
  Message message(8);
  message.be32(0, status).be32(4, static_cast<uint32_t>(results.size()));
  size_t offset = 8;
  for (const auto& [if_index, result] : results) {
    message.be32(offset, if_index).be32(offset + 4, result);
    offset += 8;
  }
  return message;
}

Bytes tunnel_response(uint32_t tunnel) { return Message(12, kUnread).be32(8, tunnel); }

Bytes brief_response(uint8_t count, const Bytes& records) {
  return Message(8 + records.size(), kUnread).u8(0, count).put(8, records);
}

Bytes map_reply(const std::vector<MapEntry>& entries) {
  Bytes reply = join({Bytes(4, kUnread), host32(static_cast<uint32_t>(entries.size()))});
  for (const auto& [error, port_channels] : entries) {
    reply = join({reply, host32(error), Bytes(4, kUnread)});
    for (const uint32_t port_channel : port_channels) reply = join({reply, host32(port_channel)});
  }
  return reply;
}

Bytes range_list(const Ranges& ranges) {
  Message list(528, kUnread);
  list.host32(4, static_cast<uint32_t>(ranges.size()));
  size_t offset = 16;
  for (const auto& [first, last] : ranges) {
    list.host32(offset, first).host32(offset + 4, last);
    offset += 8;
  }
  return list;
}

Bytes vsan_holder(const Vsans& vsans) { return join({host32(512), vsan_bits(vsans)}); }

Bytes requester_header(std::string_view requester1, std::string_view requester2) {
  return Message(100).text(0, requester1).text(60, requester2);
}

}  // namespace testkit
