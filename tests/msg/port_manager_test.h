// Port information messages, built with numbers for offsets, and the records that they become.
#ifndef TESTS_MSG_PORT_MANAGER_TEST_H
#define TESTS_MSG_PORT_MANAGER_TEST_H

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "feature/span/lib/libspan.h"
#include "tests/support/libspan_test.h"

namespace testkit {

// Interfaces of the switch. 0x5aa5a55a is added bit by bit when one travels.
constexpr uint32_t kFc1 = 0x01000000;
constexpr uint32_t kFc2 = 0x01001000;
constexpr uint32_t kPlainPch = 0x04000003;    // subtype 0
constexpr uint32_t kOtherPch = 0x04000010;    // subtype 1
constexpr uint32_t kServicePch = 0x04000020;  // subtype 2

// An interface entry of a message: 22 bytes, and 516 more with its VSANs.
struct PortEntry {
  uint32_t if_index = kFc1;
  uint8_t is_valid = 1;
  uint8_t is_pch = 0;
  uint32_t if_pch = 0;
  Vsans vsans = {};

  Bytes head() const { return Message(22, 0xEE).net_if(0, if_index).u8(4, is_valid).u8(5, is_pch).net_if(6, if_pch); }
  Bytes whole() const { return join({head(), Message(516, 0xEE).vsans(4, vsans)}); }
};

// A port-channel entry: 525 bytes and its members.
struct PchEntry {
  uint32_t if_index = kPlainPch;
  uint8_t validity = 1;
  Vsans vsans = {};
  std::vector<uint32_t> members = {};

  Bytes bytes() const {
    Message message(525, 0xEE);
    message.net_if(0, if_index).u8(4, validity).vsans(9, vsans).be32(521, static_cast<uint32_t>(members.size()));
    for (size_t i = 0; i < members.size(); ++i) message.net_if(525 + 4 * i, members[i]);
    return message;
  }
};

// A VSAN entry: 9 bytes and its members.
struct VsanEntry {
  uint32_t vsan = 0;
  uint8_t flag = 1;
  std::vector<PortEntry> members = {};

  Bytes bytes() const {
    Bytes entry = join({be32(vsan), {flag}, be32(static_cast<uint32_t>(members.size()))});
    for (const PortEntry& member : members) entry = join({entry, member.whole()});
    return entry;
  }
};

// The head of a message, 9 bytes.
inline Bytes message_head(uint8_t kind) { return Message(9, 0xEE).u8(4, kind); }

// Body of interfaces or port channels: a count and the entries.
inline Bytes counted(uint32_t count, const std::vector<Bytes>& entries) {
  Bytes body = be32(count);
  for (const Bytes& entry : entries) body = join({body, entry});
  return body;
}

inline Bytes counted(const std::vector<Bytes>& entries) {
  return counted(static_cast<uint32_t>(entries.size()), entries);
}

// Body of VSANs.
inline Bytes vsan_body(const Vsans& vsans, const std::vector<VsanEntry>& entries) {
  Bytes body = Message(516, 0xEE).vsans(4, vsans);
  for (const VsanEntry& entry : entries) body = join({body, entry.bytes()});
  return body;
}

// An interface record, whole.
inline Bytes port_record(const PortEntry& port) {
  return join({host32(port.if_index),
               {port.is_valid, port.is_pch, 0, 0},
               host32(port.if_pch),
               host32(512),
               vsan_bits(port.vsans)});
}

class PortManagerTest : public LibspanTest {
 protected:
  using BodyDecoder = uint32_t(void* body_out, const void* body);

  PortManagerTest() {
    fake.interfaces = {
        {kFc1, {.type = 1, .name = "fc1/1", .subtype = {}}},
        {kFc2, {.type = 1, .name = "fc1/2", .subtype = {}}},
        {kPlainPch, {.type = 4, .name = "port-channel 3", .subtype = 0}},
        {kOtherPch, {.type = 4, .name = "port-channel 16", .subtype = 1}},
        {kServicePch, {.type = 4, .name = "port-channel 32", .subtype = 2}},
    };
  }

  // Decodes a message that ends where its bytes end and lies at an odd address.
  uint32_t decode(const Bytes& message) {
    const Bytes odd = join({{0xEE}, message});
    return run([&] { return span_parse_pm_span_get_port_info(&info_, odd.data() + 1, 0xEEEEEEEE); });
  }

  uint32_t decode(BodyDecoder* decoder, void* body_out, const Bytes& body) {
    const Bytes odd = join({{0xEE}, body});
    return run([&] { return decoder(body_out, odd.data() + 1); });
  }

  // Members before the arrays that point to them; none may be left then.
  void release() {
    if (info_ == nullptr) return;
    if (info_->kind == 1) std::free(info_->body.interfaces.ifs);
    if (info_->kind == 2) release_array(info_->body.port_channels.pchs, info_->body.port_channels.count);
    if (info_->kind == 3) release_array(info_->body.vsans.entries, vsan_entries_);
    std::free(info_);
    info_ = nullptr;
  }

  template <class Record>
  static void release_array(Record* records, size_t count) {
    for (size_t i = 0; records != nullptr && i < count; ++i) std::free(records[i].members);
    std::free(records);
  }

  void TearDown() override {
    release();
    LibspanTest::TearDown();
  }

  static testing::AssertionResult is_port(const span_pm_src_if_t& record, const PortEntry& expected) {
    return same_bytes(copy_of(&record, sizeof record), port_record(expected));
  }

  span_pm_port_info_t* info_ = nullptr;
  size_t vsan_entries_ = 0;  // the record of VSANs does not carry their number
};

}  // namespace testkit

#endif
