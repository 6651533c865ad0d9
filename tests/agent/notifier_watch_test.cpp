// What becomes a notification, from states alone.
#include <chrono>

#include "host/agent/watch.h"

#include <gtest/gtest.h>

namespace agent_test {
namespace {

using agent::Budget;
using agent::Event;
using agent::SessionStates;
using agent::Time;
using agent::Watch;
using std::chrono::milliseconds;
using std::chrono::seconds;

const agent::SessionState kActive = {true, "works"};
const agent::SessionState kInactive = {false, "does not"};

std::string text_of(const agent::SessionChanged& event) {
  return "session " + std::to_string(event.session) + (event.state.active ? " active: " : " inactive: ") +
         event.state.reason;
}

std::string text_of(const agent::ThresholdChanged& event) { return "threshold " + std::to_string(event.threshold); }

std::string text_of(const agent::DropsRising& event) {
  return "module " + std::to_string(event.module) + " drops " + std::to_string(event.count);
}

std::string text_of(const std::vector<Event>& events) {
  std::string text;
  for (const Event& each : events) text += std::visit([](const auto& one) { return text_of(one); }, each) + "\n";
  return text;
}

constexpr Time at(int64_t second) { return Time{seconds(1000 + second)}; }

TEST(WatchSessions, LearnsWhatItSeesFirst) {
  Watch watch;
  EXPECT_EQ(watch.known(1), nullptr);
  EXPECT_EQ(text_of(watch.see_sessions({{1, kActive}, {2, kInactive}})), "");
  EXPECT_EQ(text_of(watch.see_sessions({{1, kActive}, {2, kInactive}})), "");
  EXPECT_TRUE(watch.known(1)->active);
  EXPECT_EQ(watch.known(3), nullptr);
}

TEST(WatchSessions, TellsWhichBecameActiveAndInactiveAndWhy) {
  Watch watch;
  watch.see_sessions({{1, kActive}, {2, kInactive}, {3, kActive}});
  EXPECT_EQ(text_of(watch.see_sessions({{1, kInactive}, {2, kActive}, {3, kActive}})),
            "session 1 inactive: does not\nsession 2 active: works\n");
  EXPECT_EQ(text_of(watch.see_sessions({{1, kInactive}, {2, kActive}, {3, kActive}})), "");
}

TEST(WatchSessions, TellsOfANewSessionOnlyWhenItIsActive) {
  Watch watch;
  watch.see_sessions({});
  EXPECT_EQ(text_of(watch.see_sessions({{4, kInactive}, {5, kActive}})), "session 5 active: works\n");
  EXPECT_EQ(text_of(watch.see_sessions({{4, kActive}, {5, kActive}})), "session 4 active: works\n");
}

TEST(WatchSessions, TellsOfARemovedSessionOnlyWhenItWasActive) {
  Watch watch;
  watch.see_sessions({{4, kInactive}, {5, kActive}});
  EXPECT_EQ(text_of(watch.see_sessions({})), "session 5 inactive: Session was removed\n");
  EXPECT_EQ(text_of(watch.see_sessions({})), "");
}

TEST(WatchSessions, TellsNothingOfAnotherReason) {
  Watch watch;
  watch.see_sessions({{1, kInactive}});
  EXPECT_EQ(text_of(watch.see_sessions({{1, {false, "of something else"}}})), "");
}

TEST(WatchThreshold, TellsAnotherValueOnce) {
  Watch watch;
  EXPECT_EQ(text_of(watch.see_threshold(1024)), "");
  EXPECT_EQ(text_of(watch.see_threshold(1024)), "");
  EXPECT_EQ(text_of(watch.see_threshold(64)), "threshold 64\n");
  EXPECT_EQ(text_of(watch.see_threshold(64)), "");
}

TEST(WatchDrops, LearnsTheFirstCounterOfEachModule) {
  Watch watch;
  EXPECT_EQ(text_of(watch.see_drops(1, 700, at(0))), "");
  EXPECT_EQ(text_of(watch.see_drops(2, 90, at(0))), "");
  EXPECT_EQ(text_of(watch.see_drops(1, 700, at(1))), "");
  EXPECT_EQ(text_of(watch.see_drops(2, 91, at(1))), "module 2 drops 91\n");
}

TEST(WatchDrops, TellsOnceWhileTheyRise) {
  Watch watch;
  watch.see_drops(1, 0, at(0));
  EXPECT_EQ(text_of(watch.see_drops(1, 5, at(1))), "module 1 drops 5\n");
  for (uint32_t i = 2; i < 100; ++i) EXPECT_EQ(text_of(watch.see_drops(1, 5 * i, at(i))), "");
}

TEST(WatchDrops, TellsAgainWhenTheyHadRested) {
  Watch watch;
  watch.see_drops(1, 0, at(0));
  watch.see_drops(1, 5, at(1));
  EXPECT_EQ(text_of(watch.see_drops(1, 5, at(30))), "") << "29 seconds";
  EXPECT_EQ(text_of(watch.see_drops(1, 6, at(31))), "");
  EXPECT_EQ(text_of(watch.see_drops(1, 6, at(61))), "") << "30 seconds";
  EXPECT_EQ(text_of(watch.see_drops(1, 7, at(62))), "module 1 drops 7\n");
}

TEST(WatchDrops, TakeASilenceForNoRest) {
  Watch watch;
  watch.see_drops(1, 0, at(0));
  watch.see_drops(1, 5, at(1));
  EXPECT_EQ(text_of(watch.see_drops(1, 900, at(500))), "");
}

TEST(WatchDrops, LearnsACounterThatStartedOver) {
  Watch watch;
  watch.see_drops(1, 1000, at(0));
  EXPECT_EQ(text_of(watch.see_drops(1, 1001, at(1))), "module 1 drops 1001\n");
  EXPECT_EQ(text_of(watch.see_drops(1, 3, at(2))), "");
  EXPECT_EQ(text_of(watch.see_drops(1, 4, at(3))), "module 1 drops 4\n");
}

TEST(Budget, AllowsWorkThatTakesNoTime) {
  Budget budget;
  EXPECT_TRUE(budget.allows(at(0)));
  budget.spend(at(0), at(0));
  EXPECT_TRUE(budget.allows(at(0)));
}

TEST(Budget, RestsNineTimesAsLongAsTheWorkTook) {
  Budget budget;
  budget.spend(at(0), at(2));
  EXPECT_FALSE(budget.allows(at(20) - milliseconds(1)));
  EXPECT_TRUE(budget.allows(at(20)));
}

}  // namespace
}  // namespace agent_test
