// Requests to the manager and its answers, by the numbers of the protocol.
#ifndef TESTS_HOST_MANAGER_SUPPORT_H
#define TESTS_HOST_MANAGER_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/manager/manager.h"
#include "host/manager/reasons.h"
#include "platform/if_index.h"

namespace manager_test {

using Bytes = std::vector<uint8_t>;
using VsanList = std::set<uint32_t>;

constexpr uint32_t kQuery = 1;
constexpr uint32_t kChange = 3;

constexpr uint32_t fc(uint32_t module, uint32_t port) { return 0x01000000 | module << 16 | port; }
constexpr uint32_t port_channel(uint32_t number) { return 0x04000000 | number; }
constexpr uint32_t inband(uint32_t number) { return 0x06000000 | number; }
constexpr uint32_t fcip(uint32_t number) { return 0x0A000000 | number; }
constexpr uint32_t iscsi(uint32_t module, uint32_t port) { return 0x0B000000 | module << 16 | port; }
constexpr uint32_t svc(uint32_t module, uint32_t port) { return 0x0C000000 | module << 16 | port; }
constexpr uint32_t tunnel(uint32_t number) { return 0x0F000000 | number; }

// Port channel 2 is of subtype 1, 3 has no member that is up. SVC interface 2/3 has no port channels.
constexpr char kChassis[] = R"(
name = "lab"
vsans = "1-400,1000,4094-4095"
down = ["fc1/40", "rspan-tunnel 3"]
fcip = "1-2"
[[module]]
number = 1
name = "line card"
fc-ports = "1-48"
iscsi-ports = "1-2"
[[module]]
number = 2
name = "line card"
fc-ports = "1-48"
[[module]]
number = 3
name = "line card"
state = "powered-down"
fc-ports = "1-2"
[[module]]
number = 5
name = "supervisor"
supervisor = true
inband = 0
[[module]]
number = 6
name = "supervisor"
supervisor = true
inband = 1
[[port-channel]]
number = 1
members = ["fc1/45-46"]
[[port-channel]]
number = 2
subtype = 1
members = ["fc1/47"]
[[port-channel]]
number = 3
members = ["fc3/1"]
[[svc]]
module = 2
port = 1
initiator = 201
target = 202
management = 203
[[svc]]
module = 2
port = 2
initiator = 204
[[svc]]
module = 2
port = 3
[[rspan-tunnel]]
number = 1
ports = ["fc2/48"]
[[rspan-tunnel]]
number = 2
[[rspan-tunnel]]
number = 3
[[role]]
name = "all"
interfaces = "all"
vsans = "all"
)";

inline uint32_t be32(const Bytes& bytes, size_t at) {
  if (at + 4 > bytes.size()) {
    ADD_FAILURE() << "no word at " << at << ", the answer has " << bytes.size() << " bytes";
    return 0xDEADBEEF;
  }
  return uint32_t{bytes[at]} << 24 | uint32_t{bytes[at + 1]} << 16 | uint32_t{bytes[at + 2]} << 8 | bytes[at + 3];
}

inline void put_be32(Bytes& bytes, size_t at, uint32_t value) {
  for (size_t i = 0; i < 4; ++i) bytes.at(at + i) = static_cast<uint8_t>(value >> (24 - 8 * i));
}

inline uint32_t if_at(const Bytes& bytes, size_t at) {
  if (at + 4 > bytes.size()) {
    ADD_FAILURE() << "no interface at " << at;
    return 0;
  }
  uint32_t network;
  std::memcpy(&network, &bytes[at], sizeof network);
  return ntoh_if_index(network);
}

inline void put_if(Bytes& bytes, size_t at, uint32_t if_index) {
  const uint32_t network = hton_if_index(if_index);
  std::memcpy(&bytes.at(at), &network, sizeof network);
}

inline VsanList vsans_at(const Bytes& bytes, size_t at) {
  VsanList vsans;
  for (uint32_t vsan = 0; vsan < 4096; ++vsan) {
    if ((bytes.at(at + vsan / 8) & 0x80 >> vsan % 8) != 0) vsans.insert(vsan);
  }
  return vsans;
}

inline VsanList range(uint32_t first, uint32_t last) {
  VsanList vsans;
  for (uint32_t vsan = first; vsan <= last; ++vsan) vsans.insert(vsan);
  return vsans;
}

// ---- Requests -------------------------------------------------------------------------------------------------------

using Ranges = std::vector<std::pair<uint32_t, uint32_t>>;

inline Bytes destination_request(uint8_t index, uint8_t operation, uint32_t if_index) {
  Bytes bytes(112);
  bytes[100] = index;
  bytes[101] = operation;
  put_if(bytes, 104, if_index);
  return bytes;
}

struct SourceRequest {
  uint8_t index = 0;
  uint8_t direction = 3;
  uint8_t operation = 1;
  uint8_t type = 1;
  VsanList vsans = {};
  Ranges ranges = {};
};

inline Bytes bytes_of(const SourceRequest& request) {
  Bytes bytes(624 + 8 * request.ranges.size());
  bytes[100] = request.index;
  bytes[101] = request.direction;
  bytes[102] = request.operation;
  bytes[103] = request.type;
  const uint32_t length = 512;  // in host order, the only number that is
  std::memcpy(&bytes[104], &length, 4);
  for (const uint32_t vsan : request.vsans) {
    bytes[108 + vsan / 8] = static_cast<uint8_t>(bytes[108 + vsan / 8] | 0x80 >> vsan % 8);
  }
  put_be32(bytes, 620, static_cast<uint32_t>(request.ranges.size()));
  for (size_t i = 0; i < request.ranges.size(); ++i) {
    put_if(bytes, 624 + 8 * i, request.ranges[i].first);
    put_if(bytes, 628 + 8 * i, request.ranges[i].second);
  }
  return bytes;
}

inline Bytes sessions_request(uint8_t action, const Bytes& indexes) {
  Bytes bytes(102);
  bytes[100] = action;
  bytes[101] = static_cast<uint8_t>(indexes.size());
  bytes.insert(bytes.end(), indexes.begin(), indexes.end());
  return bytes;
}

inline Bytes state_request(uint8_t state, uint8_t index) {
  Bytes bytes(102);
  bytes[100] = state;
  bytes[101] = index;
  return bytes;
}

inline Bytes source_info_request(uint32_t if_index, uint8_t index, uint8_t direction) {
  Bytes bytes(8, 0xEE);
  put_if(bytes, 0, if_index);
  bytes[4] = index;
  bytes[5] = direction;
  return bytes;
}

inline Bytes port_request(const Ranges& ranges, uint32_t mode, uint8_t type = 1) {
  Bytes bytes(108 + 8 * ranges.size());
  bytes[100] = static_cast<uint8_t>(ranges.size() >> 8);
  bytes[101] = static_cast<uint8_t>(ranges.size());
  for (size_t i = 0; i < ranges.size(); ++i) {
    put_if(bytes, 102 + 8 * i, ranges[i].first);
    put_if(bytes, 106 + 8 * i, ranges[i].second);
  }
  const size_t entry = 102 + 8 * ranges.size();
  bytes[entry] = type;
  bytes[entry + 1] = 4;
  put_be32(bytes, entry + 2, mode);
  return bytes;
}

inline Bytes tunnel_request(uint32_t port) {
  Bytes bytes(8);
  put_be32(bytes, 0, port);
  return bytes;
}

inline Bytes global_request(uint32_t threshold, uint32_t operation) {
  Bytes bytes = {0, 0, 0, 24, 0, 1, 0, 4, 0, 0, 0, 0, 0, 2, 0, 4, 0, 0, 0, 0, 0, 3, 0, 4, 0, 0, 0, 0};
  put_be32(bytes, 8, threshold);
  put_be32(bytes, 16, operation);
  return bytes;
}

// ---- Answers --------------------------------------------------------------------------------------------------------

// A session record, read at its place in the answer to the session query.
struct SessionRecord {
  uint32_t manager_status;
  uint8_t session_id;
  uint8_t configured;
  uint8_t oper_state;
  uint32_t destination;  // 0 when none is configured
  bool suspended;
  VsanList filter;
  VsanList vsans;
  std::vector<uint32_t> rx;
  std::vector<uint32_t> tx;
};

using Results = std::vector<std::pair<uint32_t, uint32_t>>;  // interface, reason

struct SourceResult {
  uint32_t overall;
  VsanList refused;
  Results interfaces;
  uint32_t told;  // Reply::result
};

struct SourceInfo {
  uint8_t valid;
  bool filtered;
  bool has_traffic_type;
  uint32_t member;
  Bytes bytes;
};

// ---- The manager of the switch above --------------------------------------------------------------------------------

class ManagerTest : public testing::Test {
 protected:
  static const chassis::Chassis& lab() {
    static const chassis::Chassis kLab = [] {
      std::string error;
      auto lab = chassis::Chassis::parse(kChassis, "lab.toml", error);
      EXPECT_TRUE(lab.has_value()) << error;
      return lab.value_or(chassis::Chassis());
    }();
    return kLab;
  }

  // The answer to a request that is well-formed.
  Bytes ask(uint32_t opcode, uint32_t kind, const Bytes& request) {
    last_ = manager_.handle(opcode, kind, request);
    EXPECT_EQ(last_.status, 0u);
    return last_.response;
  }

  void create(std::initializer_list<uint8_t> indexes) {
    EXPECT_EQ(be32(ask(2004, kChange, sessions_request(1, indexes)), 0), 0u);
  }

  uint32_t set_destination(uint8_t index, uint32_t if_index) { return destination(index, 1, if_index); }
  uint32_t remove_destination(uint8_t index, uint32_t if_index) { return destination(index, 2, if_index); }

  uint32_t destination(uint8_t index, uint8_t operation, uint32_t if_index) {
    const Bytes answer = ask(2000, kChange, destination_request(index, operation, if_index));
    EXPECT_EQ(answer.size(), 8u);
    EXPECT_EQ(be32(answer, 4), last_.result);
    return be32(answer, 4);
  }

  uint32_t set_state(uint8_t state, uint8_t index) {
    const Bytes answer = ask(2006, kChange, state_request(state, index));
    EXPECT_EQ(answer.size(), 8u);
    EXPECT_EQ(be32(answer, 4), last_.result);
    return be32(answer, 4);
  }

  SourceResult sources(const SourceRequest& request) {
    const Bytes answer = ask(2002, kChange, bytes_of(request));
    SourceResult result{be32(answer, 4), vsans_at(answer, 16), {}, last_.result};
    EXPECT_EQ(answer.at(1), request.type);
    const uint32_t count = be32(answer, 8);
    EXPECT_EQ(answer.size(), 528 + 8 * size_t{count});
    for (uint32_t i = 0; i < count; ++i) {
      result.interfaces.push_back({if_at(answer, 528 + 8 * i), be32(answer, 532 + 8 * i)});
    }
    return result;
  }

  // One interface as a source, the way of the shell: what the manager says of it.
  uint32_t add_source(uint8_t index, uint32_t if_index, uint8_t direction = 1, uint8_t type = 1) {
    return only(sources({.index = index, .direction = direction, .type = type, .ranges = {{if_index, if_index}}}));
  }

  static uint32_t only(const SourceResult& result) {
    EXPECT_EQ(result.overall, 0u);
    EXPECT_EQ(result.interfaces.size(), 1u);
    return result.interfaces.empty() ? 0xDEADBEEF : result.interfaces.front().second;
  }

  Results set_port_mode(const Ranges& ranges, uint32_t mode) {
    const Bytes answer = ask(2014, kChange, port_request(ranges, mode));
    EXPECT_EQ(be32(answer, 0), 0u);
    EXPECT_EQ(answer.size(), 8 + 8 * size_t{be32(answer, 4)});
    Results results;
    for (uint32_t i = 0; i < be32(answer, 4); ++i) {
      results.push_back({be32(answer, 8 + 8 * i), be32(answer, 12 + 8 * i)});
    }
    return results;
  }

  void make_destination_port(uint32_t if_index) {
    EXPECT_EQ(set_port_mode({{if_index, if_index}}, 1), (Results{{if_index, 0}}));
  }

  SessionRecord session(uint8_t index) {
    const Bytes answer = ask(2001, kQuery, {index, 0xEE, 0xEE, 0xEE});
    SessionRecord record{};
    record.manager_status = be32(answer, 0);
    record.session_id = answer.at(4);
    record.configured = answer.at(5);
    record.oper_state = answer.at(6);
    if (be32(answer, 92) != 0) record.destination = if_at(answer, 88);
    record.suspended = be32(answer, 96) != 0;
    record.filter = vsans_at(answer, 108);
    record.vsans = vsans_at(answer, 1140);
    const uint32_t rx_count = be32(answer, 1652);
    for (uint32_t i = 0; i < rx_count; ++i) record.rx.push_back(if_at(answer, 1656 + 4 * i));
    const uint32_t tx_count = be32(answer, 1656 + 4 * rx_count);
    for (uint32_t i = 0; i < tx_count; ++i) record.tx.push_back(if_at(answer, 1660 + 4 * (rx_count + i)));
    EXPECT_EQ(answer.size(), 1660 + 4 * size_t{rx_count + tx_count});
    return record;
  }

  SourceInfo source_info(uint32_t if_index, uint8_t index, uint8_t direction) {
    const Bytes answer = ask(2010, kQuery, source_info_request(if_index, index, direction));
    EXPECT_EQ(answer.size(), 542u);
    EXPECT_EQ(if_at(answer, 0), if_index);
    const size_t tx = direction == 2;
    EXPECT_EQ(answer.at(15 - tx), 0);  // nothing is told of the other direction
    EXPECT_EQ(answer.at(17 - tx), 0);
    return {answer.at(4), answer.at(14 + tx) != 0, answer.at(16 + tx) != 0, if_at(answer, 18), answer};
  }

  VsanList filter_of(uint32_t if_index, uint8_t index, uint8_t direction) {
    const SourceInfo info = source_info(if_index, index, direction);
    EXPECT_EQ(info.valid, 1);
    const VsanList vsans = vsans_at(info.bytes, info.has_traffic_type ? 30 : 22);
    EXPECT_EQ(info.filtered, !vsans.empty());
    return vsans;
  }

  manager::Manager manager_{lab()};
  manager::Reply last_;
};

}  // namespace manager_test

#endif
