// What TAB offers.
#include "host/shell/completion.h"

#include <random>

#include "host/shell/session.h"
#include "libspan.h"
#include "tests/host/remote_support.h"
#include "tests/host/shell_support.h"

namespace shell {
namespace {

using Texts = std::vector<std::string>;

class ShellCompletion : public ShellTest {
 protected:
  Texts offers(std::string_view line, Mode mode = Mode::kSpan) { return completer_.complete(line, mode).candidates; }
  void create(std::initializer_list<int> numbers) {
    Session session(chassis(), {"ann", role("operator")});
    session.run("configure");
    for (const int number : numbers) session.run("span session " + std::to_string(number));
  }
  size_t column(std::string_view line, Mode mode = Mode::kSpan) { return completer_.complete(line, mode).column; }

  const Parser parser_{chassis()};
  const Completer completer_{chassis(), *role("operator"), parser_};
  const Completer guest_{chassis(), *role("guest"), parser_};
};

TEST_F(ShellCompletion, Keywords) {
  EXPECT_EQ(offers("sh"), Texts{"show"});
  EXPECT_EQ(offers("su"), Texts{"suspend"});
  EXPECT_EQ(offers("s"), (Texts{"span", "source", "suspend", "show"}));
  EXPECT_EQ(offers("no so"), Texts{"source"});
  EXPECT_EQ(offers("show "), (Texts{"span", "rspan-tunnel", "running-config", "interface", "vsan", "roles"}));
  EXPECT_EQ(offers("", Mode::kExec),
            (Texts{"configure", "show", "copy", "test", "debug", "no", "help", "exit", "end"}));
}

TEST_F(ShellCompletion, FollowsShortWords) {
  EXPECT_EQ(offers("sh sp se"), Texts{"session"});
  EXPECT_EQ(column("sh sp se"), 6u);
}

TEST_F(ShellCompletion, NothingAfterAWrongWord) {
  EXPECT_EQ(offers("bogus "), Texts{});
  EXPECT_EQ(offers("show bogus se"), Texts{});
  EXPECT_EQ(offers("suspend "), Texts{});
}

TEST_F(ShellCompletion, SessionNumbers) {
  EXPECT_EQ(offers("span session ").size(), 16u);
  EXPECT_EQ(offers("span session 1"), (Texts{"1", "10", "11", "12", "13", "14", "15", "16"}));
  EXPECT_EQ(offers("show span session b"), Texts{"brief"});
}

TEST_F(ShellCompletion, SessionsThatExistWhereOneIsNeeded) {
  create({2, 12, 13});
  EXPECT_EQ(offers("no span session "), (Texts{"2", "12", "13"}));
  EXPECT_EQ(offers("no span session 1"), (Texts{"12", "13"}));
  EXPECT_EQ(offers("show span session "), (Texts{"2", "12", "13", "brief"}));
  EXPECT_EQ(offers("show span internal info session "), (Texts{"2", "12", "13"}));
  EXPECT_EQ(offers("span session ").size(), 16u);
  EXPECT_EQ(offers("show span session 3"), Texts{});
}

TEST_F(ShellCompletion, EverySessionWhenTheManagerDoesNotTell) {
  create({2});
  host::set_manager_reachable(false);
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_EQ(offers("no span session ").size(), 16u);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(host::outcome(), host::Outcome::kDone);
}

// A standby answers, but has no session to tell, which does not mean that there is none.
class ShellCompletionAfar : public remote_test::Remote {};
TEST_F(ShellCompletionAfar, EverySessionAtAStandby) {
  constexpr size_t kNoEgressInterfaces = sizeof(span_be32_t);
  transport::Bytes nothing(sizeof(span_session_info_res_payload_t) + kNoEgressInterfaces);
  reinterpret_cast<span_session_info_res_payload_t*>(nothing.data())->manager_status = {{0x40, 0x34, 0x00, 0x2b}};
  const auto standby = manager(remote_test::reply(0, 0, nothing), transport::Role::kStandby);
  connect();
  const Parser parser(host::switch_chassis());
  const Completer completer(host::switch_chassis(), *host::switch_chassis().find_role("all"), parser);
  EXPECT_EQ(completer.complete("no span session ", Mode::kSpan).candidates.size(), 16u);
  EXPECT_EQ(standby->asked().size(), 1u);
}

TEST_F(ShellCompletion, InterfacesOfTheSwitch) {
  EXPECT_EQ(offers("destination interface fc1/1"), (Texts{"fc1/1", "fc1/10", "fc1/11", "fc1/12"}));
  EXPECT_EQ(offers("destination interface po"),
            (Texts{"port-channel 3", "port-channel 4", "port-channel 201", "port-channel 202", "port-channel 203"}));
  EXPECT_EQ(offers("destination interface port-channel 3"), Texts{"port-channel 3"});
  EXPECT_EQ(column("destination interface port-channel "), 22u);
}

TEST_F(ShellCompletion, EndsOfARange) {
  EXPECT_EQ(offers("source interface fc1/1-1"), (Texts{"10", "11", "12"}));
  EXPECT_EQ(column("source interface fc1/1-1"), 23u);
  EXPECT_EQ(offers("source interface fc1/9-"), (Texts{"10", "11", "12"}));
  EXPECT_EQ(offers("source interface fc1/12-"), Texts{});
  EXPECT_EQ(offers("source interface fc2/1, fc1/10 - fc1"), (Texts{"fc1/11", "fc1/12"}));
  EXPECT_EQ(offers("source interface po 3-"), (Texts{"4", "201", "202", "203"}));
  EXPECT_EQ(guest_.complete("source interface fc1/2-", Mode::kSpan).candidates, (Texts{"3", "4"}));
}

TEST_F(ShellCompletion, LastInterfaceOfAList) {
  EXPECT_EQ(offers("source interface fc1/1-4,fc1/12"), Texts{"fc1/12"});
  EXPECT_EQ(offers("source interface fc1/1-4, sv"), Texts{"svc 2/1"});
  EXPECT_EQ(column("source interface fc1/1-4, sv"), 26u);
  EXPECT_GT(offers("source interface fc1/1, ").size(), 100u);
}

TEST_F(ShellCompletion, GoesOnBehindInterfaces) {
  EXPECT_EQ(offers("source interface fc1/1-4, fc2/1 "), (Texts{"rx", "tx", "traffic-type", "filter"}));
  EXPECT_EQ(offers("source interface fc1/1 rx f"), Texts{"filter"});
}

// Words that only running configurations write are not offered.
TEST_F(ShellCompletion, OffersNoHiddenWords) {
  EXPECT_EQ(offers("source interface svc 2/1 rx traffic-type "), (Texts{"initiator", "target", "mgmt"}));
  EXPECT_EQ(offers("source interface fc1/1 rx filter vsan t"), Texts{});
}

TEST_F(ShellCompletion, VsansOfTheSwitch) {
  EXPECT_EQ(offers("source vsan 10"), (Texts{"10", "100"}));
  EXPECT_EQ(offers("source vsan ").size(), 21u);
}

TEST_F(ShellCompletion, OnlyWhatTheRoleMaySee) {
  EXPECT_EQ(guest_.complete("destination interface ", Mode::kSpan).candidates,
            (Texts{"fc1/1", "fc1/2", "fc1/3", "fc1/4"}));
  EXPECT_EQ(guest_.complete("source vsan ", Mode::kSpan).candidates.size(), 5u);
  create({2, 3});
  Session session(chassis(), {"ann", role("operator")});
  for (const char* const line : {"configure", "span session 2", "source vsan 7"}) session.run(line);
  EXPECT_EQ(offers("no span session "), (Texts{"2", "3"}));
  EXPECT_EQ(guest_.complete("no span session ", Mode::kSpan).candidates, Texts{"3"});
}

TEST_F(ShellCompletion, NothingForNumbersWithoutAList) {
  EXPECT_EQ(offers("span max-queued-packets "), Texts{});
  EXPECT_EQ(offers("copy running-config "), Texts{});
  EXPECT_EQ(offers("test span "), (Texts{"0", "1", "2", "3", "4", "5"}));
}

// From word to word by offers alone, until there are none. What has no list is typed.
TEST_F(ShellCompletion, OffersLeadToCommands) {
  create({4, 11});
  std::minstd_rand random(1);
  for (int walk = 0; walk < 500; ++walk) {
    std::string line;
    for (Completion next = completer_.complete(line, Mode::kSpan); !next.candidates.empty();
         next = completer_.complete(line, Mode::kSpan)) {
      line = line.substr(0, next.column) + next.candidates[random() % next.candidates.size()] + ' ';
    }
    if (line.ends_with("max-queued-packets ") || line.starts_with("copy")) line += '7';
    EXPECT_TRUE(std::holds_alternative<Command>(parser_.parse(line, Mode::kSpan))) << line;
  }
}

TEST_F(ShellCompletion, CommonPrefix) {
  EXPECT_EQ(common_prefix({}), "");
  EXPECT_EQ(common_prefix({"fc1/1"}), "fc1/1");
  EXPECT_EQ(common_prefix({"fc1/10", "fc1/11", "fc1/1"}), "fc1/1");
  EXPECT_EQ(common_prefix({"a", "b"}), "");
}

}  // namespace
}  // namespace shell
