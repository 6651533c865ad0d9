// The brief query, read.
#include "host/agent/brief.h"
#include "tests/agent/smon_support.h"

namespace agent_test {
namespace {

using BriefSessions = SwitchTest;
using Sessions = std::vector<agent::BriefSession>;

TEST_F(BriefSessions, AreThoseThatAreConfigured) {
  EXPECT_EQ(agent::read_brief(), Sessions{});
  make_session(16, fc(1, 1), {fc(1, 3)}, {});
  make_session(1, 0, {fc(1, 3)}, {});
  make_session(4, tunnel(3), {fc(1, 3)}, {});
  EXPECT_EQ(agent::read_brief(), (Sessions{{1, 0, false}, {4, tunnel(3), false}, {16, fc(1, 1), true}}));
}

TEST_F(BriefSessions, TakeOneExchange) {
  WatchedLink& link = watch_link();
  agent::read_brief();
  EXPECT_EQ(link.exchanges, 1u);
}

TEST_F(BriefSessions, AreNotThoseOfAManagerThatCannotBeAsked) {
  host::set_manager_reachable(false);
  EXPECT_EQ(agent::read_brief(), std::nullopt);
}

}  // namespace
}  // namespace agent_test
