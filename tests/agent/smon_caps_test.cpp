// dataSourceCapsTable and smonCapabilities.
#include <algorithm>

#include "host/agent/smon.h"
#include "tests/agent/smon_support.h"

namespace agent_test {
namespace {

using agent::Found;
using agent::Oid;

const Oid kEntry = {1, 3, 6, 1, 2, 1, 16, 22, 1, 1, 1, 1};
const Oid kIfIndex = {1, 3, 6, 1, 2, 1, 2, 2, 1, 1};
constexpr oid kRmonCaps = 2;
constexpr oid kCopyCaps = 3;
constexpr oid kCapsIfIndex = 4;

class SmonCaps : public SwitchTest {
 protected:
  static std::string get(oid column, const Oid& index) {
    agent::Value value;
    bool exists = false;
    const Oid name = agent::joined(agent::joined(kEntry, {column}), index);
    return agent::smon_objects().get(name, value, exists) == Found::kYes ? text_of(value) : "none";
  }

  static std::string caps_of(uint32_t if_index) { return get(kCopyCaps, agent::joined(kIfIndex, {if_index})); }
};

constexpr char kSource[] = "b0";  // copySourcePort, copySrcTxTraffic, copySrcRxTraffic
constexpr char kDestination[] = "40";
constexpr char kEither[] = "f0";

TEST_F(SmonCaps, TellWhatAnInterfaceCanBe) {
  EXPECT_EQ(caps_of(fc(1, 1)), kEither);
  EXPECT_EQ(caps_of(tunnel(1)), kDestination);
  EXPECT_EQ(caps_of(port_channel(1)), kSource);
  EXPECT_EQ(caps_of(port_channel(201)), kSource);
  EXPECT_EQ(caps_of(fcip(1)), kSource);
  EXPECT_EQ(caps_of(iscsi(1, 1)), kSource);
  EXPECT_EQ(caps_of(inband(0)), kSource);
}

TEST_F(SmonCaps, LeaveOutInterfacesThatAreNeither) {
  EXPECT_EQ(caps_of(inband(1)), "none") << "of the other supervisor";
  EXPECT_EQ(caps_of(manager_test::svc(2, 1)), "none");
  EXPECT_EQ(caps_of(fc(1, 49)), "none");
  EXPECT_EQ(caps_of(0), "none");
}

TEST_F(SmonCaps, NameAPortByItsIfIndex) {
  const Oid index = agent::joined(kIfIndex, {fc(2, 7)});
  EXPECT_EQ(get(kCapsIfIndex, index), std::to_string(fc(2, 7)));
  EXPECT_EQ(get(kRmonCaps, index), "00");
  EXPECT_EQ(get(kCapsIfIndex, {fc(2, 7)}), "none");
  EXPECT_EQ(get(kCapsIfIndex, kIfIndex), "none");
  EXPECT_EQ(get(kCapsIfIndex, agent::joined(index, {0})), "none");
}

TEST_F(SmonCaps, AreWalkedInOrderEachOnce) {
  size_t sources = 0;
  for (const auto& each : host::switch_chassis().interfaces()) sources += caps_of(each.if_index) != "none";
  const std::string rows = walk(agent::smon_objects());
  EXPECT_GT(sources, 100u);
  EXPECT_EQ(static_cast<size_t>(std::ranges::count(rows, '\n')), 3 * sources) << rows;
  EXPECT_EQ(rows.find("stuck"), std::string::npos);
  EXPECT_TRUE(rows.starts_with("1.1.1.2.1.3.6.1.2.1.2.2.1.1." + std::to_string(fc(1, 1)) + " = 00\n")) << rows;
}

TEST_F(SmonCaps, GoOnBehindAPartOfAnIndex) {
  Oid name = agent::joined(kEntry, {kCapsIfIndex, 1, 3, 6});
  agent::Value value;
  ASSERT_EQ(agent::smon_objects().next(name, value), Found::kYes);
  EXPECT_EQ(value, agent::integer(fc(1, 1)));
  name = agent::joined(agent::joined(kEntry, {kCapsIfIndex}), agent::joined(kIfIndex, {fc(1, 1), 5}));
  ASSERT_EQ(agent::smon_objects().next(name, value), Found::kYes);
  EXPECT_EQ(value, agent::integer(fc(1, 2)));
  name = agent::joined(kEntry, {kCapsIfIndex, 1, 4});
  EXPECT_EQ(agent::smon_objects().next(name, value), Found::kNo) << agent::text_of(name);
}

TEST_F(SmonCaps, DoNotNeedTheManager) {
  host::set_manager_reachable(false);
  EXPECT_EQ(caps_of(fc(1, 1)), kEither);
}

TEST_F(SmonCaps, OfTheAgentAreDataSourceAndPortCopy) {
  EXPECT_EQ(walk(agent::probe_config()), "15.0 = 28\n");
  agent::Value value;
  bool exists = false;
  EXPECT_EQ(agent::probe_config().get({1, 3, 6, 1, 2, 1, 16, 19, 15, 0}, value, exists), Found::kYes);
  EXPECT_EQ(agent::probe_config().get({1, 3, 6, 1, 2, 1, 16, 19, 15, 1}, value, exists), Found::kNo);
  EXPECT_TRUE(exists);
  EXPECT_EQ(agent::probe_config().get({1, 3, 6, 1, 2, 1, 16, 19, 1, 0}, value, exists), Found::kNo);
  EXPECT_FALSE(exists);
}

}  // namespace
}  // namespace agent_test
