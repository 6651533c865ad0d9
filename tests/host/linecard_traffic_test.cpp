// The traffic of the simulated switch: what is copied, what waits, what is dropped.
#include "host/linecard/traffic.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using linecard::CopyRates;
using linecard::Traffic;

constexpr char kDescription[] = R"(name = "lab"
vsans = "1-10"
fcip = 1
down = ["fc1/8"]
[[module]]
number = 1
name = "card"
fc-ports = "1-8"
iscsi-ports = 1
[[module]]
number = 2
name = "fast card"
traffic = 6000
fc-ports = "1-4"
[[module]]
number = 3
name = "card"
state = "powered-down"
fc-ports = 1
[[module]]
number = 5
name = "supervisor"
supervisor = true
inband = 0
[[port-channel]]
number = 1
members = ["fc1/6", "fc1/8", "fc2/4"]
[[svc]]
module = 2
port = 1
initiator = 201
[[role]]
name = "all"
)";

constexpr uint32_t fc(uint32_t module, uint32_t port) { return 0x01000000 | module << 16 | port; }
constexpr uint32_t kPortChannel = 0x04000001;
constexpr uint32_t kServiceChannel = 0x040000C9;
constexpr uint32_t kInband = 0x06000000;
constexpr uint32_t kFcip = 0x0A000001;

const chassis::Chassis& lab() {
  static const chassis::Chassis kLab = [] {
    std::string error;
    auto lab = chassis::Chassis::parse(kDescription, "lab.toml", error);
    EXPECT_TRUE(lab) << error;
    return lab.value_or(chassis::Chassis());
  }();
  return kLab;
}

manager::Vsans vsans(std::initializer_list<size_t> numbers) {
  manager::Vsans set;
  for (const size_t number : numbers) set.set(number);
  return set;
}

// Sessions 1 and 2 have destinations that work.
class LineCardTraffic : public testing::Test {
 protected:
  LineCardTraffic() {
    for (const uint32_t number : {1, 2}) {
      on_.config.port_modes[fc(1, number)] = chassis::PortMode::kSpanDestination;
      session(number).configured = true;
      session(number).destination = fc(1, number);
    }
  }

  manager::Session& session(size_t number) { return on_.config.sessions[number - 1]; }
  manager::Sources& rx(size_t number) { return session(number).sources[0]; }
  manager::Sources& tx(size_t number) { return session(number).sources[1]; }
  CopyRates rates() const { return linecard::copy_rates(on_); }

  manager::Switch on_{lab(), {}};
};

// ---- What is copied --------------------------------------------------------------------------------------------------

TEST_F(LineCardTraffic, IsCopiedInTheDirectionsOfTheSource) {
  rx(1)[fc(1, 3)];
  EXPECT_EQ(rates(), (CopyRates{{1, 1000}}));
  tx(1)[fc(1, 3)];
  tx(1)[fc(2, 1)];
  EXPECT_EQ(rates(), (CopyRates{{1, 2000}, {2, 6000}}));
}

TEST_F(LineCardTraffic, IsCopiedForEachSession) {
  rx(1)[fc(1, 3)];
  rx(2)[fc(1, 3)];
  EXPECT_EQ(rates(), (CopyRates{{1, 2000}}));
}

TEST_F(LineCardTraffic, IsCopiedByActiveSessionsOnly) {
  rx(1)[fc(1, 3)];
  session(1).suspended = true;
  EXPECT_EQ(rates(), CopyRates{});
  session(1).suspended = false;
  on_.config.port_modes.clear();
  EXPECT_EQ(rates(), CopyRates{});
}

TEST_F(LineCardTraffic, IsSpreadOverTheVsansOfTheSwitch) {
  rx(1)[fc(1, 3)] = vsans({1, 2, 99});
  EXPECT_EQ(rates(), (CopyRates{{1, 200}}));
  session(1).filter = vsans({2, 3});
  EXPECT_EQ(rates(), (CopyRates{{1, 100}}));
  rx(1)[fc(1, 4)];
  EXPECT_EQ(rates(), (CopyRates{{1, 300}}));
}

TEST_F(LineCardTraffic, PassesTheMembersOfAPortChannelThatAreUp) {
  rx(1)[kPortChannel];
  EXPECT_EQ(rates(), (CopyRates{{1, 1000}, {2, 6000}}));
}

TEST_F(LineCardTraffic, PassesTheServiceInterfaceOfAChannel) {
  tx(1)[kServiceChannel];
  EXPECT_EQ(rates(), (CopyRates{{2, 6000}}));
}

TEST_F(LineCardTraffic, HasNoLineCardForFcipAndInband) {
  rx(1)[kFcip];
  rx(1)[kInband];
  EXPECT_EQ(rates(), CopyRates{});
}

TEST_F(LineCardTraffic, DoesNotPassInterfacesThatAreDown) {
  rx(1)[fc(1, 8)];
  rx(1)[fc(3, 1)];
  rx(1)[fc(1, 3)];
  EXPECT_EQ(rates(), (CopyRates{{1, 1000}}));
}

// Module 1 has 7 ports up and an iSCSI port; two of the ports are destinations.
TEST_F(LineCardTraffic, OfVsansEntersAtEveryOpenPort) {
  session(1).source_vsans = vsans({1, 2});
  EXPECT_EQ(rates(), (CopyRates{{1, 6 * 200}, {2, 4 * 1200}}));
  session(1).filter = vsans({2, 3});
  EXPECT_EQ(rates(), (CopyRates{{1, 6 * 100}, {2, 4 * 600}}));
}

TEST_F(LineCardTraffic, IsCopiedOnceWhereSourcesMeet) {
  session(1).source_vsans = vsans({1, 2});
  rx(1)[fc(2, 1)] = vsans({2, 3});
  EXPECT_EQ(rates(), (CopyRates{{1, 6 * 200}, {2, 3 * 1200 + 1800}}));
}

// ---- What waits, what is dropped -------------------------------------------------------------------------------------

TEST_F(LineCardTraffic, DropsNothingThatTheCardCanSendAway) {
  for (const uint32_t port : {3, 4, 5, 7}) rx(1)[fc(1, port)];
  ASSERT_EQ(rates(), (CopyRates{{1, linecard::kCopiesPerSecond}}));
  Traffic traffic(0);
  traffic.pass(3'600'000, on_);
  EXPECT_EQ(traffic.drops(1), 0u);
}

// 2,000 copies a second too many.
TEST_F(LineCardTraffic, WaitsUpToTheThresholdBeforeItIsDropped) {
  rx(1)[fc(2, 1)];
  Traffic traffic(1000);
  traffic.pass(1512, on_);
  EXPECT_EQ(traffic.drops(2), 0u);
  traffic.pass(1513, on_);
  EXPECT_EQ(traffic.drops(2), 2u);
  traffic.pass(2512, on_);
  EXPECT_EQ(traffic.drops(2), 2000u);
  EXPECT_EQ(traffic.drops(1), 0u);
  EXPECT_EQ(traffic.drops(200), 0u);
}

TEST_F(LineCardTraffic, ComesToTheSameInAnySteps) {
  rx(1)[fc(2, 1)];
  Traffic whole(0), steps(0);
  whole.pass(10'007, on_);
  for (uint64_t now = 0; now <= 10'007; now += 1 + now % 5) steps.pass(now, on_);
  steps.pass(10'007, on_);
  EXPECT_EQ(whole.drops(2), 18990u);
  EXPECT_EQ(steps.drops(2), whole.drops(2));
}

TEST_F(LineCardTraffic, EmptiesTheQueueWhileNothingIsCopied) {
  rx(1)[fc(2, 1)];
  Traffic traffic(0);
  traffic.pass(512, on_);
  session(1).suspended = true;
  traffic.pass(512 + 256, on_);
  session(1).suspended = false;
  traffic.pass(512 + 256 + 512, on_);
  EXPECT_EQ(traffic.drops(2), 0u);
  traffic.pass(512 + 256 + 513, on_);
  EXPECT_EQ(traffic.drops(2), 2u);
}

TEST_F(LineCardTraffic, DropsWhatWaitsBeyondALoweredThreshold) {
  rx(1)[fc(2, 1)];
  Traffic traffic(0);
  traffic.pass(512, on_);
  on_.config.threshold = 24;
  session(1).suspended = true;
  traffic.pass(513, on_);
  EXPECT_EQ(traffic.drops(2), 1000u);
}

TEST_F(LineCardTraffic, StandsStillWhenTheClockDoes) {
  rx(1)[fc(2, 1)];
  Traffic traffic(5000);
  traffic.pass(6000, on_);
  const uint32_t drops = traffic.drops(2);
  traffic.pass(6000, on_);
  traffic.pass(1000, on_);
  EXPECT_EQ(traffic.drops(2), drops);
  traffic.pass(1001, on_);
  EXPECT_EQ(traffic.drops(2), drops + 2);
}

// ---- By rates alone --------------------------------------------------------------------------------------------------

TEST_F(LineCardTraffic, ComesToTheSameByRatesAndBySessions) {
  rx(1)[fc(2, 1)];
  on_.config.threshold = 100;
  Traffic sessions(0), rates_alone(0);
  sessions.pass(2000, on_);
  rates_alone.pass(2000, rates(), on_.config.threshold);
  EXPECT_EQ(sessions.drops(2), 3900u);
  EXPECT_EQ(rates_alone.drops(2), sessions.drops(2));
}

TEST_F(LineCardTraffic, EmptiesTheQueueOfAModuleThatRatesDoNotName) {
  Traffic traffic(0);
  traffic.pass(1000, {{2, 6000}}, 65535);
  traffic.pass(1500, {{1, 6000}}, 65535);
  traffic.pass(2500, {{2, 6000}}, 2000);
  EXPECT_EQ(traffic.drops(2), 0u);
  traffic.pass(2501, {{2, 6000}}, 2000);
  EXPECT_EQ(traffic.drops(2), 2u);
}

TEST_F(LineCardTraffic, IsCountedWith32Bits) {
  Traffic traffic(0);
  traffic.pass(1000, {{2, 0x1'0000'0000 + 4000 + 7}}, 1);
  EXPECT_EQ(traffic.drops(2), 6u);
}

}  // namespace
