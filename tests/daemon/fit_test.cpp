#include "host/daemon/fit.h"

#include "host/daemon/state.h"
#include "host/manager/dump_ids.h"
#include "host/manager/manager.h"
#include "host/manager/self_test.h"
#include "host/manager/vsan_text.h"
#include "tests/daemon/daemon_support.h"

namespace {

using namespace daemon_test;
using namespace manager_test;
using manager::Config;
using manager::Manager;
using spand::fit;
using spand::Fit;
using Lines = std::vector<std::string>;

// A switch with less of everything: module 2 is gone, and with it the SVC interfaces; fc1/3 has joined port channel 1.
constexpr char kSmaller[] = R"(
name = "smaller"
vsans = "1-10"
[[module]]
number = 1
name = "line card"
fc-ports = "1-46"
[[module]]
number = 5
name = "supervisor"
supervisor = true
state = "powered-down"
inband = 0
[[module]]
number = 6
name = "supervisor"
supervisor = true
inband = 1
[[port-channel]]
number = 1
members = ["fc1/3", "fc1/45-46"]
[[role]]
name = "all"
vsans = "all"
)";

const chassis::Chassis& smaller() {
  static const chassis::Chassis kSmall = switch_of(kSmaller);
  return kSmall;
}

manager::Session& configured(Config& config, size_t index) {
  config.sessions[index].configured = true;
  return config.sessions[index];
}

manager::Vsans vsans(const char* text) { return manager::parse_vsans(text).value(); }

// One line, and what is left of the configuration.
Config only_misfit(const Config& config, const std::string& line) {
  const Fit possible = fit(smaller(), config);
  EXPECT_EQ(possible.misfits, (Lines{line}));
  return possible.config;
}

TEST(Fit, KeepsTheConfigurationThatFits) {
  Config config;
  config.port_modes[fc(1, 1)] = chassis::PortMode::kSpanDestination;
  auto& session = configured(config, 0);
  session.destination = fc(1, 1);
  session.suspended = true;
  session.filter = vsans("1-5");
  session.source_vsans = vsans("7");
  session.sources[0][fc(1, 2)] = vsans("2");
  session.sources[1][inband(1)] = {};
  const Fit possible = fit(smaller(), config);
  EXPECT_EQ(possible.misfits, Lines{});
  EXPECT_EQ(possible.config, config);
}

TEST(Fit, NamesInterfacesThatAreGone) {
  Config config;
  config.port_modes[fc(2, 1)] = chassis::PortMode::kSpanDestination;
  auto& session = configured(config, 4);
  session.destination = fc(2, 1);
  session.sources[0][fc(1, 47)] = {};
  session.sources[1][port_channel(201)] = {};
  session.sources[1][fc(1, 2)] = {};
  const Fit possible = fit(smaller(), config);
  EXPECT_EQ(possible.misfits, (Lines{"port mode of interface 0x01020001: unknown interface",
                                     "session 5: destination interface 0x01020001: unknown interface",
                                     "session 5: source interface 0x0101002f rx: unknown interface",
                                     "session 5: source interface 0x040000c9 tx: unknown interface"}));
  Config rest;
  configured(rest, 4).sources[1][fc(1, 2)] = {};
  EXPECT_EQ(possible.config, rest);
}

TEST(Fit, NamesPortsThatHaveJoinedAPortChannel) {
  Config config;
  configured(config, 0).sources[0][fc(1, 3)] = {};
  only_misfit(config, "session 1: source fc1/3 rx: interface is a member of a port channel");
}

TEST(Fit, NamesTheInbandInterfaceThatIsNoLongerActive) {
  Config config;
  configured(config, 0).sources[0][inband(0)] = {};
  only_misfit(config, "session 1: source sup-fc0 rx: interface is not the in-band interface of the active supervisor");
}

TEST(Fit, NamesVsansThatAreGone) {
  Config config;
  configured(config, 1).source_vsans = vsans("9-12,20");
  const Config rest = only_misfit(config, "session 2: source vsan 11-12,20: VSAN does not exist");
  EXPECT_EQ(rest.sessions[1].source_vsans, vsans("9-10"));
}

TEST(Fit, SourceGoesWithTheLastVsanOfItsFilter) {
  Config config;
  auto& session = configured(config, 1);
  session.sources[0][fc(1, 1)] = vsans("200");
  session.sources[0][fc(1, 2)] = vsans("10,200");
  const Fit possible = fit(smaller(), config);
  EXPECT_EQ(possible.misfits, (Lines{"session 2: source fc1/1 rx filter vsan 200: VSAN does not exist",
                                     "session 2: source fc1/2 rx filter vsan 200: VSAN does not exist"}));
  EXPECT_EQ(possible.config.sessions[1].sources[0], (manager::Sources{{fc(1, 2), vsans("10")}}));
}

TEST(Fit, SessionIsSuspendedWhenItsFilterIsGone) {
  Config config;
  configured(config, 1).filter = vsans("200");
  const Config rest = only_misfit(config, "session 2: filter vsan 200: VSAN does not exist");
  EXPECT_TRUE(rest.sessions[1].suspended);
}

TEST(Fit, NamesWhatIsBeyondTheLimits) {
  Config config;
  config.threshold = 70000;
  EXPECT_EQ(only_misfit(config, "drop threshold 70000: drop threshold out of range"), Config{});
  Config full;
  for (uint32_t port = 1; port <= 46; ++port) {
    configured(full, 0).sources[0][fc(1, port)] = {};
    full.sessions[0].sources[0][fc(2, port)] = {};
  }
  EXPECT_EQ(fit(lab(), full).misfits.size(), 2 * 46u - manager::kMaxSources);
}

// ---- Properties -----------------------------------------------------------------------------------------------------

Bytes random_change(Dice& dice, uint32_t& opcode) {
  const auto index = static_cast<uint8_t>(dice.below(16));
  const uint32_t port = fc(1 + dice.below(2), 1 + dice.below(48));
  const uint32_t interfaces[] = {port, port_channel(1 + dice.below(3)), inband(0), svc(2, 1), fcip(1)};
  switch (dice.below(6)) {
    case 0:
      return opcode = 2000, destination_request(index, 1, dice.one_in(3) ? tunnel(1 + dice.below(3)) : port);
    case 1:
      return opcode = 2004, sessions_request(dice.one_in(8) ? 2 : 1, {index});
    case 2:
      return opcode = 2006, state_request(static_cast<uint8_t>(1 + dice.below(2)), index);
    case 3:
      return opcode = 2014, port_request({{port, port + dice.below(3)}}, dice.below(3));
    case 4:
      return opcode = 2002, bytes_of({index, 1, 4, 3, range(1 + dice.below(300), 1 + dice.below(400)), {}});
    default: {
      const uint32_t which = dice.below(5);
      const uint8_t types[] = {1, static_cast<uint8_t>(interfaces[1] == port_channel(2) ? 1 : 2), 7, 1, 1};
      const VsanList filter = dice.one_in(2) ? VsanList{} : range(1 + dice.below(30), 1 + dice.below(60));
      const auto direction = static_cast<uint8_t>(1 + dice.below(3));
      return opcode = 2002,
             bytes_of({index, direction, 1, types[which], filter, {{interfaces[which], interfaces[which]}}});
    }
  }
}

class RandomChanges : public testing::TestWithParam<uint32_t> {
 protected:
  Config made(int changes) {
    Manager manager(lab());
    Dice dice(GetParam());
    for (int i = 0; i < changes; ++i) {
      uint32_t opcode = 0;
      const Bytes payload = random_change(dice, opcode);
      manager.handle(opcode, kChange, payload);
    }
    return manager.config();
  }
};

TEST_P(RandomChanges, WhatTheManagerMadeFitsItsSwitch) {
  const Config config = made(600);
  EXPECT_NE(config, Manager(lab()).config());
  const Fit possible = fit(lab(), config);
  EXPECT_EQ(possible.misfits, Lines{});
  EXPECT_EQ(possible.config, config);
}

TEST_P(RandomChanges, WhatIsLeftOfThemPassesTheManagersTests) {
  const Fit possible = fit(smaller(), made(600));
  EXPECT_NE(possible.misfits, Lines{});
  EXPECT_EQ(fit(smaller(), possible.config).misfits, Lines{});
  const manager::Switch on{smaller(), possible.config};
  for (uint32_t number = manager::kFirstTest; number <= manager::kLastTest; ++number) {
    EXPECT_EQ(manager::find_self_test(number)->faults(on), Lines{});
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomChanges, testing::Range(1u, 21u));

// ---- The state and the switch together ------------------------------------------------------------------------------

class OpenState : public testing::Test {
 protected:
  void keep(const Config& config) {
    spand::Store store(directory_.path());
    store.save({}, config, {});
  }

  Directory directory_;
};

TEST_F(OpenState, BeginsAsTheSwitchDoes) {
  const spand::State state = spand::open_state(directory_.path(), lab(), spand::Unknown::kRefuse);
  EXPECT_EQ(state.config, Manager(lab()).config());
  EXPECT_EQ(spand::read_config(directory_.path()), state.config);
  EXPECT_EQ(spand::read_audit(directory_.path(), 9).at(0).what, "state of lab created");
}

TEST_F(OpenState, DoesNotBeginAnewLater) {
  keep({});
  EXPECT_EQ(spand::open_state(directory_.path(), lab(), spand::Unknown::kRefuse).config, Config{});
}

TEST_F(OpenState, RefusesWhatDoesNotFitAndKeepsIt) {
  Config config;
  configured(config, 0).destination = fc(9, 9);
  keep(config);
  try {
    spand::open_state(directory_.path(), lab(), spand::Unknown::kRefuse);
    FAIL() << "opened";
  } catch (const spand::StateMisfit& error) {
    EXPECT_EQ(error.what(), directory_.path() + ": does not fit the switch lab");
    EXPECT_EQ(error.misfits, (Lines{"session 1: destination interface 0x01090009: unknown interface"}));
  }
  EXPECT_EQ(spand::read_config(directory_.path()), config);
}

TEST_F(OpenState, ForgetsItWhenToldSo) {
  Config config;
  configured(config, 0).destination = fc(9, 9);
  configured(config, 1).destination = fc(1, 1);
  keep(config);
  const spand::State state = spand::open_state(directory_.path(), lab(), spand::Unknown::kForget);
  config.sessions[0].destination = 0;
  EXPECT_EQ(state.config, config);
  EXPECT_EQ(spand::read_config(directory_.path()), config);
  const auto audit = spand::read_audit(directory_.path(), 9);
  ASSERT_EQ(audit.size(), 1u);
  EXPECT_EQ(audit[0].what, "forgotten: session 1: destination interface 0x01090009: unknown interface");
}

}  // namespace
