// Messages of the SPAN manager and of the service-module map, built with numbers for offsets. Bytes that nobody may
// read are 0xEE.
#ifndef TESTS_SUPPORT_MESSAGES_H
#define TESTS_SUPPORT_MESSAGES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/bytes.h"

namespace testkit {

// Bytes at offsets. What is not set keeps the fill.
class Message {
 public:
  explicit Message(size_t size, uint8_t fill = 0) : bytes_(size, fill) {}

  Message& put(size_t offset, const Bytes& part);
  Message& u8(size_t offset, uint32_t value) { return put(offset, {static_cast<uint8_t>(value)}); }
  Message& be16(size_t offset, uint32_t value) { return put(offset, testkit::be16(value)); }
  Message& be32(size_t offset, uint32_t value) { return put(offset, testkit::be32(value)); }
  Message& host32(size_t offset, uint32_t value) { return put(offset, testkit::host32(value)); }
  Message& net_if(size_t offset, uint32_t if_index) { return put(offset, testkit::net_if(if_index)); }
  Message& text(size_t offset, std::string_view characters) { return put(offset, testkit::text(characters)); }
  Message& vsans(size_t offset, const Vsans& vsans) { return put(offset, vsan_bits(vsans)); }

  operator const Bytes&() const { return bytes_; }

 private:
  Bytes bytes_;
};

// An interface or an element and its result.
using Results = std::vector<std::pair<uint32_t, uint32_t>>;

// The record of one session.
struct SessionRecord {
  uint8_t session = 1;  // number, 1 to 16
  uint8_t configured = 1;
  uint8_t oper_state = 0;
  uint32_t destination = 0;
  uint32_t has_destination = 0;
  uint32_t suspended = 0;
  uint32_t filter_length = 512;
  Vsans filter_vsans = {};
  uint32_t rx_vsans_length = 512;
  Vsans rx_vsans = {};
  std::vector<uint32_t> rx = {};
  std::vector<uint32_t> tx = {};

  Bytes bytes() const;                                // the record alone
  Bytes response(uint32_t manager_status = 0) const;  // of opcode 2001
};

// The response of opcode 2010 for one source interface.
struct SourceInterface {
  uint32_t if_index = 0;
  uint8_t valid = 1;
  uint8_t rx_filter = 0;
  uint8_t tx_filter = 0;
  uint8_t rx_traffic_type = 0;
  uint8_t tx_traffic_type = 0;
  uint32_t member = 0;
  Vsans vsans = {};      // from offset 22
  bool service = false;  // the five fields below in place of `vsans`
  uint8_t target = 0;
  uint8_t mgmt = 0;
  uint8_t initiator = 0;
  Vsans service_vsans = {};  // from offset 30

  Bytes response() const;
};

// The response of opcode 2002.
struct SourceConfigResult {
  uint8_t source_type = 1;
  uint32_t result = 0;
  Results interfaces = {};
  Vsans refused = {};

  Bytes response() const;
};

// Responses of opcodes 2000 and 2006, of 2004, of 2014, and of 2016.
Bytes status_response(uint32_t result);
Bytes delete_response(uint32_t result);
Bytes port_config_response(uint32_t status, const Results& results);
Bytes tunnel_response(uint32_t tunnel);

// Response of opcode 2005; `records` starts at offset 8.
Bytes brief_response(uint8_t count, const Bytes& records);

struct MapEntry {
  uint32_t error = 0;
  std::array<uint32_t, 3> port_channels = {};
};

// Reply of the service-module map, host order.
Bytes map_reply(const std::vector<MapEntry>& entries);

// Interface ranges, first and last.
using Ranges = std::vector<std::pair<uint32_t, uint32_t>>;

// The shell's list of interface ranges, host order: 528 bytes, more when there are more than 64.
Bytes range_list(const Ranges& ranges);

// A length word, 512, and the bits.
Bytes vsan_holder(const Vsans& vsans);

// The first 100 bytes of a configuration request.
Bytes requester_header(std::string_view requester1, std::string_view requester2);

}  // namespace testkit

#endif
