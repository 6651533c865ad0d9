// portCopyTable, computed from sessions.
#include <algorithm>
#include <map>
#include <random>
#include <utility>

#include "host/agent/smon.h"
#include "tests/agent/smon_support.h"

namespace agent_test {
namespace {

using agent::Found;
using agent::Oid;
using agent::smon_objects;

const Oid kEntry = {1, 3, 6, 1, 2, 1, 16, 22, 1, 3, 1, 1};
constexpr oid kDestDropEvents = 3;
constexpr oid kDirection = 4;
constexpr oid kStatus = 5;

Oid name_of(oid column, const Oid& index) { return agent::joined(agent::joined(kEntry, {column}), index); }

std::string row_name(oid column, uint32_t source, uint32_t destination) {
  return "3.1.1." + std::to_string(column) + "." + std::to_string(source) + "." + std::to_string(destination);
}

class PortCopy : public SwitchTest {
 protected:
  // The rows behind an index: "SOURCE>DESTINATION DIRECTION", the interfaces by their low 16 bits.
  static std::string directions_behind(const Oid& index) {
    std::string text;
    Oid name = name_of(kDirection, index);
    for (agent::Value value; smon_objects().next(name, value) == Found::kYes && name[kEntry.size()] == kDirection;) {
      text += std::to_string(name[kEntry.size() + 1] & 0xFFFF) + ">" + std::to_string(name.back() & 0xFFFF) + " " +
              text_of(value) + "\n";
    }
    return text;
  }

  static std::string get(oid column, uint32_t source, uint32_t destination) {
    agent::Value value;
    bool exists = false;
    switch (smon_objects().get(name_of(column, {source, destination}), value, exists)) {
      case Found::kYes:
        return text_of(value);
      case Found::kNo:
        return exists ? "no instance" : "no object";
      default:
        return "failed";
    }
  }
};

TEST_F(PortCopy, IsEmptyWithoutSessions) { EXPECT_EQ(walk(smon_objects(), kEntry), ""); }

TEST_F(PortCopy, HasColumnsForDirectionAndStatus) {
  make_session(1, fc(1, 1), {fc(1, 3)}, {});
  EXPECT_EQ(walk(smon_objects(), kEntry),
            row_name(kDirection, fc(1, 3), fc(1, 1)) + " = 1\n" + row_name(kStatus, fc(1, 3), fc(1, 1)) + " = 1\n");
}

TEST_F(PortCopy, MergesTheDirectionsOfASource) {
  make_session(1, fc(1, 1), {fc(1, 3), fc(1, 4)}, {fc(1, 4), fc(1, 5)});
  EXPECT_EQ(directions_behind({}), "3>1 1\n4>1 3\n5>1 2\n");
}

TEST_F(PortCopy, AscendsBySourceAndThenDestination) {
  make_session(1, fc(1, 9), {fc(1, 20), fc(1, 21)}, {});
  make_session(2, fc(1, 2), {fc(1, 21)}, {fc(1, 20)});
  make_session(16, fc(1, 5), {}, {fc(1, 19), fc(1, 21)});
  EXPECT_EQ(directions_behind({}), "19>5 2\n20>2 2\n20>9 1\n21>2 1\n21>5 2\n21>9 1\n");
}

TEST_F(PortCopy, GoesOnBehindAnIndexOfAnyLength) {
  make_session(1, fc(1, 9), {fc(1, 20), fc(1, 21)}, {});
  make_session(2, fc(1, 2), {fc(1, 21)}, {});
  EXPECT_EQ(directions_behind({0}), "20>9 1\n21>2 1\n21>9 1\n");
  EXPECT_EQ(directions_behind({fc(1, 21)}), "21>2 1\n21>9 1\n");
  EXPECT_EQ(directions_behind({fc(1, 21), 0}), "21>2 1\n21>9 1\n");
  EXPECT_EQ(directions_behind({fc(1, 21), fc(1, 2) - 1}), "21>2 1\n21>9 1\n");
  EXPECT_EQ(directions_behind({fc(1, 21), fc(1, 2)}), "21>9 1\n");
  EXPECT_EQ(directions_behind({fc(1, 21), fc(1, 2), 0}), "21>9 1\n");
  EXPECT_EQ(directions_behind({fc(1, 21), 0xFFFFFFFF}), "");
  EXPECT_EQ(directions_behind({0xFFFFFFFF, 0xFFFFFFFF}), "");
}

TEST_F(PortCopy, LeavesOutSessionsWithoutDestination) {
  make_session(1, 0, {fc(1, 3)}, {fc(1, 3)});
  EXPECT_EQ(walk(smon_objects(), kEntry), "");
}

TEST_F(PortCopy, LeavesOutSourceVsans) {
  make_session(1, fc(1, 1), {}, {});
  span_snmp_vsan_modify_req_t request = {};
  request.session = 1;
  request.operation = 4;
  request.vsans[1] = 0x80;
  ASSERT_EQ(span_snmp_source_vsan_modify(&request, nullptr), SPAN_OK);
  EXPECT_EQ(walk(smon_objects(), kEntry), "");
}

TEST_F(PortCopy, TellsASourceOfAnyKind) {
  make_session(1, tunnel(2), {port_channel(1), inband(0)}, {fcip(1), iscsi(1, 2)});
  EXPECT_EQ(get(kDirection, port_channel(1), tunnel(2)), "1");
  EXPECT_EQ(get(kDirection, inband(0), tunnel(2)), "1");
  EXPECT_EQ(get(kDirection, fcip(1), tunnel(2)), "2");
  EXPECT_EQ(get(kDirection, iscsi(1, 2), tunnel(2)), "2");
}

TEST_F(PortCopy, IsNotInServiceWhileItsSessionIsNotActive) {
  make_session(1, fc(1, 1), {fc(1, 3)}, {});
  EXPECT_EQ(get(kStatus, fc(1, 3), fc(1, 1)), "1");
  suspend(1);
  EXPECT_EQ(get(kStatus, fc(1, 3), fc(1, 1)), "2");
  EXPECT_EQ(get(kDirection, fc(1, 3), fc(1, 1)), "1");
}

TEST_F(PortCopy, HasNoOtherRowsAndColumns) {
  make_session(1, fc(1, 1), {fc(1, 3)}, {});
  EXPECT_EQ(get(kDirection, fc(1, 4), fc(1, 1)), "no instance");
  EXPECT_EQ(get(kDirection, fc(1, 2), fc(1, 1)), "no instance");
  EXPECT_EQ(get(kDirection, fc(1, 3), fc(1, 2)), "no instance");
  EXPECT_EQ(get(kDestDropEvents, fc(1, 3), fc(1, 1)), "no object");
  agent::Value value;
  bool exists = false;
  EXPECT_EQ(smon_objects().get(name_of(kDirection, {fc(1, 3)}), value, exists), Found::kNo);
  EXPECT_EQ(smon_objects().get(name_of(kDirection, {fc(1, 3), fc(1, 1), 0}), value, exists), Found::kNo);
}

TEST_F(PortCopy, FailsWhenTheManagerCannotBeAsked) {
  make_session(1, fc(1, 1), {fc(1, 3)}, {});
  host::set_manager_reachable(false);
  EXPECT_EQ(walk(smon_objects(), kEntry), "failed\n");
  EXPECT_EQ(get(kDirection, fc(1, 3), fc(1, 1)), "failed");
  EXPECT_EQ(get(kStatus, fc(1, 4), fc(1, 1)), "failed");
  host::set_manager_reachable(true);
  EXPECT_EQ(get(kDirection, fc(1, 3), fc(1, 1)), "1");
}

TEST_F(PortCopy, AsksEachSessionWithADestinationOnce) {
  make_session(1, fc(1, 1), {fc(1, 20), fc(1, 21), fc(1, 22)}, {});
  make_session(2, fc(1, 2), {}, {fc(1, 20), fc(1, 21), fc(1, 22)});
  make_session(3, 0, {fc(1, 20)}, {});
  WatchedLink& link = watch_link();
  Oid name = name_of(kDirection, {fc(1, 20), fc(1, 1)});
  agent::Value value;
  smon_objects().next(name, value);
  EXPECT_EQ(name, name_of(kDirection, {fc(1, 20), fc(1, 2)}));
  EXPECT_EQ(link.exchanges, 1u + 2u);
  link.exchanges = 0;
  smon_objects().next(name, value);
  EXPECT_EQ(name, name_of(kDirection, {fc(1, 21), fc(1, 1)}));
  EXPECT_EQ(link.exchanges, 1u + 2u + 1u) << "one for its egress";
  link.exchanges = 0;
  get(kStatus, fc(1, 21), fc(1, 2));
  EXPECT_EQ(link.exchanges, 1u + 1u);
}

TEST_F(PortCopy, FailsWhicheverExchangeFails) {
  make_session(1, fc(1, 1), {fc(1, 20)}, {});
  make_session(2, fc(1, 2), {fc(1, 21)}, {});
  WatchedLink& link = watch_link();
  for (link.last_exchange = 0; link.last_exchange < 4; ++link.last_exchange) {
    link.exchanges = 0;
    EXPECT_EQ(walk(smon_objects(), kEntry), "failed\n") << link.last_exchange;
  }
  for (link.last_exchange = 0; link.last_exchange < 3; ++link.last_exchange) {
    link.exchanges = 0;
    EXPECT_EQ(get(kDirection, fc(1, 20), fc(1, 1)), "failed") << link.last_exchange;
  }
  link.exchanges = 0;
  EXPECT_EQ(get(kDirection, fc(1, 20), fc(1, 1)), "1");
}

// What the table is to show, from the configuration alone.
std::string expected_rows() {
  std::map<std::pair<uint32_t, uint32_t>, uint32_t> directions;
  for (const manager::Session& each : host::configuration().sessions) {
    if (each.destination == 0) continue;
    for (const auto& [if_index, filter] : each.sources[0]) directions[{if_index, each.destination}] |= 1;
    for (const auto& [if_index, filter] : each.sources[1]) directions[{if_index, each.destination}] |= 2;
  }
  std::string text;
  for (const auto& [place, direction] : directions) {
    text += row_name(kDirection, place.first, place.second) + " = " + std::to_string(direction) + "\n";
  }
  return text;
}

TEST_F(PortCopy, ShowsWhateverIsConfigured) {
  std::mt19937 random(2613);
  const auto number = [&](uint32_t below) { return static_cast<uint32_t>(random() % below); };
  for (int round = 0; round < 40; ++round) {
    start(manager_test::kChassis);
    for (uint32_t session = 1; session <= 16; ++session) {
      if (number(2) == 0) continue;
      make_session(session, number(4) == 0 ? 0 : fc(2, 17 - session), {}, {});
      for (uint32_t i = number(6); i > 0; --i) span_snmp_source_if_create(session, fc(1, 1 + number(8)), SPAN_RX);
      for (uint32_t i = number(6); i > 0; --i) span_snmp_source_if_create(session, fc(1, 1 + number(8)), SPAN_TX);
    }
    const std::string rows = walk(smon_objects(), kEntry);
    EXPECT_EQ(rows.substr(0, rows.find("3.1.1.5.")), expected_rows());
    EXPECT_EQ(std::ranges::count(rows, '\n'), 2 * std::ranges::count(expected_rows(), '\n'));
  }
}

}  // namespace
}  // namespace agent_test
