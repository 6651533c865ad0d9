// Changes that have to be kept before they are answered.
#include <gtest/gtest.h>

#include <stdexcept>

#include "host/manager/config.h"
#include "host/manager/manager.h"
#include "host/manager/reasons.h"
#include "tests/daemon/daemon_support.h"

namespace {

using namespace manager_test;
using manager::Config;
using manager::Manager;
using manager::Reply;

class KeepTest : public testing::Test {
 protected:
  Reply create(const manager::Keep& keep) { return manager_.handle(2004, kChange, sessions_request(1, {2, 3}), keep); }

  Manager manager_{daemon_test::lab()};
};

TEST_F(KeepTest, SeesWhatWasAndWhatIsToBe) {
  int calls = 0;
  create([&](const Config& from, const Config& to, const Reply& reply) {
    ++calls;
    EXPECT_FALSE(from.sessions[2].configured);
    EXPECT_TRUE(to.sessions[2].configured && to.sessions[3].configured);
    EXPECT_EQ(reply.status, 0u);
    return true;
  });
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(manager_.config().sessions[2].configured);
}

TEST_F(KeepTest, ChangeThatIsNotKeptDidNotHappen) {
  const Config before = manager_.config();
  const Reply reply = create([](const Config&, const Config&, const Reply&) { return false; });
  EXPECT_EQ(reply.status, manager::kNotSaved);
  EXPECT_EQ(reply.result, manager::kNotSaved);
  EXPECT_TRUE(reply.response.empty());
  EXPECT_EQ(manager_.config(), before);
}

TEST_F(KeepTest, HistoryTellsItAsFailedAndNoStateOfIt) {
  create([](const Config&, const Config&, const Reply&) { return false; });
  const std::string errors = manager_.dump("fu_fsm_tca_dump", Bytes{0, 0, 0, 23}).text;
  EXPECT_NE(errors.find("change could not be saved"), std::string::npos) << errors;
  const std::string states = manager_.dump("fu_fsm_dump_fsm_log", Bytes{6, 0, 0, 0, 2, 0, 0, 0}).text;
  EXPECT_EQ(states.find("no destination"), std::string::npos) << states;
}

TEST_F(KeepTest, SomethingThrownUndoesTheChange) {
  const Config before = manager_.config();
  EXPECT_THROW(create([](const Config&, const Config&, const Reply&) -> bool { throw std::runtime_error("x"); }),
               std::runtime_error);
  EXPECT_EQ(manager_.config(), before);
}

TEST_F(KeepTest, QueriesAreNotKept) {
  const auto keep = [](const Config&, const Config&, const Reply&) {
    ADD_FAILURE() << "asked to keep a query";
    return false;
  };
  EXPECT_EQ(manager_.handle(2001, kQuery, Bytes{0, 0, 0, 0}, keep).status, 0u);
}

TEST_F(KeepTest, ManagerBeginsWithTheConfigurationThatItIsGiven) {
  Config config;
  config.sessions[4].configured = true;
  config.threshold = 77;
  Manager restored(daemon_test::lab(), config);
  EXPECT_EQ(restored.config(), config);
  const std::string states = restored.dump("fu_fsm_dump_fsm_log", Bytes{6, 0, 0, 0, 4, 0, 0, 0}).text;
  EXPECT_NE(states.find("no destination"), std::string::npos) << states;
}

}  // namespace
