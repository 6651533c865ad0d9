// Sessions: their life, their records, their operational state.
#include <ostream>
#include <tuple>

#include "tests/host/manager_support.h"

namespace manager_test {
namespace {

class ManagerSession : public ManagerTest {};

TEST_F(ManagerSession, NoneIsConfiguredAtFirst) {
  for (uint8_t i = 0; i < 16; ++i) EXPECT_EQ(session(i).configured, 0) << int{i};
}

TEST_F(ManagerSession, CreatedSessionIsEmpty) {
  create({4});
  const SessionRecord record = session(4);
  EXPECT_EQ(record.manager_status, 0u);
  EXPECT_EQ(record.session_id, 4);
  EXPECT_EQ(record.configured, 1);
  EXPECT_EQ(record.oper_state, 4);
  EXPECT_EQ(record.destination, 0u);
  EXPECT_FALSE(record.suspended);
  EXPECT_TRUE(record.filter.empty() && record.vsans.empty() && record.rx.empty() && record.tx.empty());
  EXPECT_EQ(session(3).configured, 0);
}

TEST_F(ManagerSession, RecordTells512BytesOfEachBitmap) {
  create({0});
  const Bytes answer = ask(2001, kQuery, {0, 0, 0, 0});
  EXPECT_EQ(be32(answer, 104), 512u);
  EXPECT_EQ(be32(answer, 1136), 512u);
  EXPECT_EQ(answer.size(), 1660u);
}

TEST_F(ManagerSession, IndexesBeyondTheLastAreNotConfigured) {
  create({0, 15});
  for (const uint8_t index : Bytes{16, 17, 128, 255}) {
    const SessionRecord record = session(index);
    EXPECT_EQ(record.manager_status, 0u);
    EXPECT_EQ(record.configured, 0);
    EXPECT_EQ(record.session_id, index);
    EXPECT_EQ(last_.result, 0u);
  }
}

TEST_F(ManagerSession, SeveralAreCreatedAndDeletedInOneRequest) {
  create({0, 7, 15});
  EXPECT_EQ(be32(ask(2004, kChange, sessions_request(2, {0, 15})), 0), 0u);
  EXPECT_EQ(session(0).configured, 0);
  EXPECT_EQ(session(7).configured, 1);
  EXPECT_EQ(session(15).configured, 0);
}

TEST_F(ManagerSession, CreatingAgainKeepsWhatIsThere) {
  create({0});
  EXPECT_EQ(set_destination(0, fc(1, 1)), 0u);
  create({0});
  EXPECT_EQ(last_.result, 0u);
  EXPECT_EQ(session(0).destination, fc(1, 1));
}

TEST_F(ManagerSession, DeletingFreesDestinationAndSources) {
  create({0, 1});
  EXPECT_EQ(set_destination(0, fc(1, 1)), 0u);
  EXPECT_EQ(add_source(0, fc(1, 2), 3), 0u);
  ask(2004, kChange, sessions_request(2, {0}));
  create({0});
  EXPECT_TRUE(session(0).rx.empty());
  EXPECT_FALSE(manager_.is_destination(fc(1, 1)));
  EXPECT_EQ(set_destination(1, fc(1, 1)), 0u);
  EXPECT_EQ(set_destination(0, fc(1, 2)), 0u);
}

TEST_F(ManagerSession, DeletingWhatIsNotThereIsDone) {
  EXPECT_EQ(be32(ask(2004, kChange, sessions_request(2, {5})), 0), 0u);
  EXPECT_EQ(last_.result, 0u);
}

TEST_F(ManagerSession, WrongNumberIsToldAndTheOthersAreDone) {
  for (const uint8_t action : Bytes{1, 2}) {
    for (const Bytes& indexes : {Bytes{16, 2}, Bytes{2, 255}}) {
      EXPECT_EQ(be32(ask(2004, kChange, sessions_request(action, indexes)), 0), manager::kNoSuchSession);
      EXPECT_EQ(last_.result, manager::kNoSuchSession);
      EXPECT_EQ(session(2).configured, action == 1);
    }
  }
}

TEST_F(ManagerSession, UnknownActionChangesNothing) {
  create({1});
  for (const uint8_t action : Bytes{0, 3, 255}) {
    EXPECT_EQ(be32(ask(2004, kChange, sessions_request(action, {0, 1})), 0), manager::kUnknownOperation);
  }
  EXPECT_EQ(session(0).configured, 0);
  EXPECT_EQ(session(1).configured, 1);
}

TEST_F(ManagerSession, EmptyListIsDone) {
  EXPECT_EQ(be32(ask(2004, kChange, sessions_request(1, {})), 0), 0u);
  EXPECT_EQ(last_.response.size(), 4u);
}

TEST_F(ManagerSession, SuspendAndResume) {
  create({2});
  EXPECT_EQ(set_state(1, 2), 0u);
  EXPECT_TRUE(session(2).suspended);
  EXPECT_EQ(set_state(1, 2), 0u);
  EXPECT_TRUE(session(2).suspended);
  EXPECT_EQ(set_state(2, 2), 0u);
  EXPECT_FALSE(session(2).suspended);
}

TEST_F(ManagerSession, StateOfASessionThatIsNotConfiguredIsRefused) {
  for (const uint8_t index : Bytes{0, 15, 16, 255}) EXPECT_EQ(set_state(1, index), manager::kSessionNotConfigured);
}

TEST_F(ManagerSession, UnknownStateIsRefused) {
  create({0});
  for (const uint8_t state : Bytes{0, 3, 255}) EXPECT_EQ(set_state(state, 0), manager::kUnknownOperation);
  EXPECT_FALSE(session(0).suspended);
}

// ---- Brief ----------------------------------------------------------------------------------------------------------

TEST_F(ManagerSession, BriefTellsTheSessionsAskedFor) {
  create({2, 4});
  EXPECT_EQ(set_destination(4, fc(1, 1)), 0u);
  EXPECT_EQ(set_state(1, 4), 0u);
  const Bytes answer = ask(2005, kQuery, {0, 4, 0xEE, 0xEE, 2, 3, 4, 16});
  ASSERT_EQ(answer.size(), 8u + 4 * 16);
  EXPECT_EQ(answer[0], 4);
  EXPECT_EQ(Bytes(answer.begin() + 8, answer.begin() + 24), (Bytes{2, 1, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(Bytes(answer.begin() + 24, answer.begin() + 40), (Bytes{3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(Bytes(answer.begin() + 40, answer.begin() + 43), (Bytes{4, 1, 1}));
  EXPECT_EQ(if_at(answer, 44), fc(1, 1));
  EXPECT_EQ(be32(answer, 48), 1u);
  EXPECT_EQ(be32(answer, 52), 1u);
  EXPECT_EQ(answer[56], 16);
  EXPECT_EQ(answer[57], 0);
}

TEST_F(ManagerSession, BriefTellsAll16) {
  create({15});
  for (const Bytes& request : {Bytes{1, 0, 0, 0}, Bytes{1, 1, 0, 0, 3}}) {
    const Bytes answer = ask(2005, kQuery, request);
    ASSERT_EQ(answer.size(), 8u + 16 * 16);
    EXPECT_EQ(answer[0], 16);
    for (size_t i = 0; i < 16; ++i) {
      EXPECT_EQ(answer[8 + 16 * i], i);
      EXPECT_EQ(answer[9 + 16 * i], i == 15);
    }
  }
}

TEST_F(ManagerSession, BriefHasRoomForEveryCount) {
  Bytes request = {0, 255, 0, 0};
  request.resize(4 + 255, 9);
  const Bytes answer = ask(2005, kQuery, request);
  EXPECT_EQ(answer[0], 255);
  EXPECT_EQ(answer.size(), 8u + 255 * 16);
  EXPECT_EQ(ask(2005, kQuery, {0, 0, 0, 0}).size(), 8u);
  EXPECT_EQ(ask(2005, kQuery, {2, 1, 0, 0, 0}).size(), 24u);  // only 1 means all
}

// ---- Operational state ----------------------------------------------------------------------------------------------

// Every combination of these, of suspended or not, and of the directions.
struct Case {
  const char* name;
  uint32_t if_index;  // 0 = none
  bool works;
};
void PrintTo(const Case& each, std::ostream* out) { *out << each.name; }

constexpr Case kDestinations[] = {{"no destination", 0, false},
                                  {"destination in normal mode", fc(1, 2), false},
                                  {"destination without link", fc(1, 40), false},
                                  {"good destination", fc(1, 1), true}};
constexpr Case kSources[] = {
    {"no source", 0, false}, {"source with link", fc(1, 41), true}, {"source without link", fc(3, 2), false}};

uint8_t expected_state(bool suspended, const Case& destination, const Case& source) {
  if (suspended) return 1;
  if (destination.if_index == 0) return 4;
  if (!destination.works) return 2;
  return source.works ? 0 : 3;
}

class ManagerStateCases : public ManagerTest, public testing::WithParamInterface<std::tuple<bool, Case, Case, int>> {};

TEST_P(ManagerStateCases, StateFollowsFromConfigurationAndLinks) {
  const auto& [suspended, destination, source, direction] = GetParam();
  make_destination_port(fc(1, 1));
  make_destination_port(fc(1, 40));
  create({0});
  if (destination.if_index != 0) {
    ASSERT_EQ(set_destination(0, destination.if_index), 0u);
  }
  if (source.if_index != 0) {
    ASSERT_EQ(add_source(0, source.if_index, static_cast<uint8_t>(direction)), 0u);
  }
  if (suspended) {
    ASSERT_EQ(set_state(1, 0), 0u);
  }
  const uint8_t expected = expected_state(suspended, destination, source);
  EXPECT_EQ(session(0).oper_state, expected);
  EXPECT_EQ(ask(2005, kQuery, {0, 1, 0, 0, 0}).at(10), expected);
}

INSTANTIATE_TEST_SUITE_P(All, ManagerStateCases,
                         testing::Combine(testing::Bool(), testing::ValuesIn(kDestinations),
                                          testing::ValuesIn(kSources), testing::Values(1, 2, 3)));

class ManagerState : public ManagerTest {
 protected:
  void SetUp() override {
    create({0});
    make_destination_port(fc(1, 1));
    EXPECT_EQ(set_destination(0, fc(1, 1)), 0u);
  }
  uint8_t state() { return session(0).oper_state; }
};

TEST_F(ManagerState, FollowsThePortModeOfTheDestination) {
  EXPECT_EQ(add_source(0, fc(1, 2)), 0u);
  EXPECT_EQ(state(), 0);
  EXPECT_EQ(set_port_mode({{fc(1, 1), fc(1, 1)}}, 0), (Results{{fc(1, 1), 0}}));
  EXPECT_EQ(state(), 2);
  EXPECT_EQ(set_port_mode({{fc(1, 1), fc(1, 1)}}, 2), (Results{{fc(1, 1), 0}}));
  EXPECT_EQ(state(), 2);
  make_destination_port(fc(1, 1));
  EXPECT_EQ(state(), 0);
}

TEST_F(ManagerState, TunnelDestinationNeedsNoPortMode) {
  EXPECT_EQ(add_source(0, fc(1, 2)), 0u);
  EXPECT_EQ(set_destination(0, tunnel(2)), 0u);
  EXPECT_EQ(state(), 0);
  EXPECT_EQ(set_destination(0, tunnel(3)), 0u);
  EXPECT_EQ(state(), 2);
}

TEST_F(ManagerState, OneActiveSourceIsEnough) {
  EXPECT_EQ(add_source(0, fc(1, 40)), 0u);
  EXPECT_EQ(add_source(0, port_channel(3), 2, 2), 0u);
  EXPECT_EQ(state(), 3);
  EXPECT_EQ(add_source(0, port_channel(1), 2, 2), 0u);
  EXPECT_EQ(state(), 0);
}

TEST_F(ManagerState, SourceVsanIsActiveWhenTheFilterLetsItThrough) {
  EXPECT_EQ(sources({.direction = 1, .operation = 4, .type = 3, .vsans = {7, 8}}).overall, 0u);
  EXPECT_EQ(state(), 0);
  EXPECT_EQ(sources({.operation = 16, .type = 6, .vsans = {9}}).overall, 0u);
  EXPECT_EQ(state(), 3);
  EXPECT_EQ(sources({.operation = 16, .type = 6, .vsans = {8}}).overall, 0u);
  EXPECT_EQ(state(), 0);
}

TEST_F(ManagerState, SourceInterfaceIsActiveWhenBothFiltersLetSomethingThrough) {
  EXPECT_EQ(only(sources({.direction = 1, .vsans = {5}, .ranges = {{fc(1, 2), fc(1, 2)}}})), 0u);
  EXPECT_EQ(state(), 0);
  EXPECT_EQ(sources({.operation = 16, .type = 6, .vsans = {6}}).overall, 0u);
  EXPECT_EQ(state(), 3);
  EXPECT_EQ(sources({.operation = 16, .type = 6, .vsans = {5}}).overall, 0u);
  EXPECT_EQ(state(), 0);
}

}  // namespace
}  // namespace manager_test
