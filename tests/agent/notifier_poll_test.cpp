// The notifier on a switch: what it looks at, and what it does when that does not answer.
#include <chrono>
#include <functional>
#include <variant>
#include <vector>

#include "host/agent/notifier.h"
#include "tests/agent/smon_support.h"

namespace agent_test {
namespace {

using agent::Event;

constexpr char kBusy[] = R"(name = "busy"
vsans = "1-10"
[[module]]
number = 1
name = "card"
fc-ports = "1-8"
traffic = 1000000
[[module]]
number = 2
name = "silent card"
state = "silent"
fc-ports = "1-8"
[[module]]
number = 3
name = "card"
fc-ports = "1-8"
[[module]]
number = 4
name = "card without power"
state = "powered-down"
[[module]]
number = 5
name = "supervisor"
supervisor = true
[[role]]
name = "all"
)";

class NotifierPoll : public SwitchTest {
 protected:
  // What one poll sends: "S session active reason", "T threshold", "D module".
  std::string poll() {
    sent_.clear();
    notifier_.poll();
    std::string text;
    for (const Event& each : sent_) text += std::visit([](const auto& event) { return told(event); }, each) + "\n";
    return text;
  }

  agent::Time time_{};
  std::function<void()> on_send_ = [] {};

 private:
  void note(const Event& event) {
    sent_.push_back(event);
    on_send_();
  }

  static std::string told(const agent::SessionChanged& event) {
    return "S " + std::to_string(event.session) + (event.state.active ? " active " : " inactive ") + event.state.reason;
  }
  static std::string told(const agent::ThresholdChanged& event) { return "T " + std::to_string(event.threshold); }
  static std::string told(const agent::DropsRising& event) { return "D " + std::to_string(event.module); }

  std::vector<Event> sent_;
  agent::Notifier notifier_{[this](const Event& event) { note(event); }, [this] { return time_; }};
};

TEST_F(NotifierPoll, LearnsFirst) {
  make_session(1, fc(1, 1), {fc(1, 3)}, {});
  EXPECT_EQ(poll(), "");
  EXPECT_EQ(poll(), "");
}

TEST_F(NotifierPoll, TellsReasonsInTheWordsOfTheTable) {
  make_session(1, fc(1, 1), {fc(1, 3)}, {});
  make_session(2, 0, {fc(1, 3)}, {});
  poll();
  suspend(1);
  EXPECT_EQ(poll(), "S 1 inactive Session is admin suspended\n");
  resume(1);
  EXPECT_EQ(poll(), "S 1 active Session is active\n");
  span_snmp_source_if_destroy(1, fc(1, 3), SPAN_RX);
  span_snmp_session_dest_set(2, tunnel(1));
  EXPECT_EQ(poll(), "S 1 inactive There are no active sources\nS 2 active Session is active\n");
  span_snmp_session_dest_set(2, tunnel(3));
  EXPECT_EQ(poll(), "S 2 inactive Destination is down\n");
  span_snmp_session_dest_set(2, tunnel(1));
  poll();
  span_snmp_session_dest_set(2, 0);
  EXPECT_EQ(poll(), "S 2 inactive There is no destination\n");
}

TEST_F(NotifierPoll, TellsTheThreshold) {
  poll();
  ASSERT_EQ(span_snmp_drop_threshold_set(99), SPAN_OK);
  EXPECT_EQ(poll(), "T 99\n");
  EXPECT_EQ(poll(), "");
}

TEST_F(NotifierPoll, InventsNothingWhileTheManagerIsAway) {
  make_session(1, fc(1, 1), {fc(1, 3)}, {});
  make_session(2, fc(1, 2), {fc(1, 3)}, {});
  poll();
  suspend(2);
  host::set_manager_reachable(false);
  EXPECT_EQ(poll(), "");
  EXPECT_EQ(poll(), "");
  host::set_manager_reachable(true);
  EXPECT_EQ(poll(), "S 2 inactive Session is admin suspended\n");
}

TEST_F(NotifierPoll, LearnsFromAManagerThatComesLater) {
  make_session(1, fc(1, 1), {fc(1, 3)}, {});
  host::set_manager_reachable(false);
  EXPECT_EQ(poll(), "");
  host::set_manager_reachable(true);
  EXPECT_EQ(poll(), "");
  suspend(1);
  EXPECT_EQ(poll(), "S 1 inactive Session is admin suspended\n");
}

TEST_F(NotifierPoll, InventsNothingWhicheverExchangeFails) {
  make_session(1, fc(1, 1), {fc(1, 3)}, {});
  make_session(2, fc(1, 2), {fc(1, 3)}, {});
  poll();
  suspend(1);
  suspend(2);
  WatchedLink& link = watch_link();
  for (link.last_exchange = 0; link.last_exchange < 3; ++link.last_exchange) {
    link.exchanges = 0;
    EXPECT_EQ(poll(), "") << link.last_exchange;
  }
  link.exchanges = 0;
  EXPECT_EQ(poll(), "S 1 inactive Session is admin suspended\nS 2 inactive Session is admin suspended\n");
}

TEST_F(NotifierPoll, TakesAnAnswerWithoutAThresholdForNone) {
  poll();
  WatchedLink& link = watch_link();
  link.on_threshold = [](auto& response) { response.front() = 0xFF; };
  EXPECT_EQ(poll(), "");
}

TEST_F(NotifierPoll, RestsAfterALookThatTookLong) {
  make_session(1, fc(1, 1), {fc(1, 3)}, {});
  poll();
  suspend(1);
  on_send_ = [this] { time_ += std::chrono::seconds(2); };
  EXPECT_EQ(poll(), "S 1 inactive Session is admin suspended\n");
  resume(1);
  time_ += std::chrono::seconds(17);
  WatchedLink& link = watch_link();
  EXPECT_EQ(poll(), "");
  EXPECT_EQ(link.exchanges, 0u);
  EXPECT_EQ(link.commands, 1u) << "silent modules are waited for again";
  time_ += std::chrono::seconds(1);
  EXPECT_EQ(poll(), "S 1 active Session is active\n");
}

class NotifierDrops : public NotifierPoll {
 protected:
  NotifierDrops() {
    host::set_clock([this] { return now_; });
    start(kBusy);
    make_session(1, fc(1, 1), {fc(1, 3)}, {});
  }

  // Polls until every module was asked, and prints what they sent; time passes before.
  std::string round(uint64_t milliseconds) {
    now_ += milliseconds;
    std::string text;
    for (int i = 0; i < 4; ++i) text += poll();
    return text;
  }

  uint64_t now_ = 1000;
};

TEST_F(NotifierDrops, TellsTheModuleWhoseDropsBeginToRise) {
  EXPECT_EQ(round(0), "");
  EXPECT_EQ(round(1000), "D 1\n");
  EXPECT_EQ(round(1000), "") << "they still rise";
  suspend(1);
  EXPECT_EQ(round(1000), "S 1 inactive Session is admin suspended\n");
}

TEST_F(NotifierDrops, LearnsWhatWasDroppedBefore) {
  now_ += 5000;
  EXPECT_EQ(round(0), "");
}

TEST_F(NotifierDrops, DoesNotNeedTheManager) {
  round(0);
  host::set_manager_reachable(false);
  EXPECT_EQ(round(1000), "D 1\n");
}

TEST_F(NotifierDrops, PrintsNothing) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  round(1000);
  host::set_manager_reachable(false);
  round(1000);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(NotifierDrops, AsksTheLineCardsThatRunOneByOne) {
  WatchedLink& link = watch_link();
  round(0);
  EXPECT_EQ(link.addresses, (std::vector<uint32_t>{0x102, 0x202, 0x302, 0x102}));
}

TEST_F(NotifierDrops, WorksOnASwitchWithoutLineCards) {
  start(
      "name = \"bare\"\nvsans = \"1\"\n[[module]]\nnumber = 1\nname = \"supervisor\"\nsupervisor = true\n[[role]]\nname = \"all\"\n");
  WatchedLink& link = watch_link();
  EXPECT_EQ(round(1000), "");
  EXPECT_EQ(link.addresses, std::vector<uint32_t>{});
  EXPECT_EQ(link.receives, 0u);
}

}  // namespace
}  // namespace agent_test
