// A switch of processes: what goes to its SPAN manager and comes back, and what happens when that goes wrong.
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>

#include "platform/syserr.h"
#include "platform/tarn.h"
#include "tests/host/remote_support.h"

namespace remote_test {
namespace {

using host::PortRoles;
using transport::Role;

constexpr uint32_t kStandby = 0x4034002B;

long milliseconds_of(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
}

// ---- Exchanges -------------------------------------------------------------------------------------------------------

TEST_F(Remote, HasTheSwitchThatTheManagerDescribes) {
  const auto process = manager(never);
  connect();
  EXPECT_EQ(host::switch_chassis().name(), "far");
  EXPECT_EQ(host::switch_chassis().slots(), 5u);
  EXPECT_THROW(host::configuration(), std::logic_error);
}

TEST_F(Remote, CarriesRequestsWithWhoAsks) {
  const auto process = manager(reply(0, 0, {9, 8, 7, 6}));
  connect();
  EXPECT_EQ(request(VEX_KIND_CHANGE, {1, 2, 3}, 4).response, (Bytes{9, 8, 7, 6}));
  EXPECT_EQ(host::outcome(), host::Outcome::kDone);
  ASSERT_EQ(process->asked().size(), 1u);
  EXPECT_EQ(process->asked()[0].type, Type::kRequest);
  EXPECT_EQ(transport::decode<transport::Request>(process->asked()[0].body),
            (transport::Request{kPlainOpcode, 3, "ann", std::nullopt, {1, 2, 3}}));
}

TEST_F(Remote, PassesOnWhatTheManagerRefuses) {
  const auto process = manager(reply(0x40340100, 0x40340100, {}));
  connect();
  EXPECT_EQ(request().status, 0x40340100u);
  EXPECT_EQ(host::outcome(), host::Outcome::kRefused);
  EXPECT_EQ(host::untold_failure(), "malformed request");
  EXPECT_EQ(host::untold_failure(), "");
  EXPECT_EQ(host::failure(), "malformed request");
  host::reset_outcome();
  EXPECT_EQ(host::failure(), "");
}

TEST_F(Remote, KnowsOfARefusalInsideAnAnswer) {
  const auto process = manager(reply(0, 0x40340110, {0, 0, 0, 0}));
  connect();
  EXPECT_EQ(request().status, 0u);
  EXPECT_EQ(host::outcome(), host::Outcome::kRefused);
  EXPECT_EQ(host::failure(), "");
}

TEST_F(Remote, CarriesLongMessagesBothWays) {
  Bytes longest(1 << 20, 0x5A);
  std::ranges::copy(std::to_array<uint8_t>({0, 1, 0xFF, 0xFF}), longest.begin() + 4);  // results of ports
  const auto process = manager(reply(0, 0, longest));
  connect();
  EXPECT_EQ(request(VEX_KIND_QUERY, Bytes(3 << 20, 1), longest.size(), 2014).response, longest);
  EXPECT_EQ(transport::decode<transport::Request>(process->asked()[0].body)->payload, Bytes(3 << 20, 1));
}

TEST_F(Remote, PrintsDumps) {
  const auto process = manager(always(Type::kDumped, transport::encode(transport::Dumped{0x40340151, "Session 1\n"})));
  connect();
  const uint8_t record[] = {6, 0, 0, 0, 1, 0, 0, 0};
  testing::internal::CaptureStdout();
  EXPECT_EQ(tarn_debug_dump(host::switch_queue(), 0xFE000000, 68, record, sizeof record, "span_debug_dump"),
            0x40340151u);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Session 1\nError: debug dump: debug function cannot tell about this\n");
  EXPECT_EQ(transport::decode<transport::DumpRequest>(process->asked()[0].body),
            (transport::DumpRequest{"span_debug_dump", {6, 0, 0, 0, 1, 0, 0, 0}}));
}

TEST_F(Remote, TellsThePortRoles) {
  const transport::RoleList list = {{{0x01010001, 1, true}, {0x01010002, 2, false}}};
  const auto process = manager(always(Type::kRoleList, transport::encode(list)));
  connect();
  const std::optional<PortRoles> roles = host::port_roles();
  ASSERT_TRUE(roles);
  ASSERT_EQ(roles->size(), 2u);
  EXPECT_EQ(roles->at(0x01010001).mode, chassis::PortMode::kSpanDestination);
  EXPECT_TRUE(roles->at(0x01010001).destination);
  EXPECT_EQ(roles->at(0x01010002).mode, chassis::PortMode::kTunnelSource);
  EXPECT_FALSE(roles->at(0x01010002).destination);
}

TEST_F(Remote, HasNoPortRolesWhenOneOfThemIsUnknown) {
  const transport::RoleList list = {{{0x01010001, 3, true}}};
  const auto process = manager(always(Type::kRoleList, transport::encode(list)));
  connect();
  EXPECT_FALSE(host::port_roles());
  EXPECT_EQ(host::outcome(), host::Outcome::kUnreachable);
  EXPECT_EQ(host::untold_failure(), "SPAN manager: the answer cannot be used");
}

// ---- Failures --------------------------------------------------------------------------------------------------------

TEST_F(Remote, WaitsForTheManagerForItsTimeOnly) {
  const auto process = manager(never);
  connect({60, 60});
  Outcome outcome{};
  const long waited = milliseconds_of([&] { outcome = request(VEX_KIND_CHANGE); });
  EXPECT_EQ(outcome.status, VEX_TRANSPORT_FAILED);
  EXPECT_EQ(outcome.error, uint32_t{ETIMEDOUT});
  EXPECT_GE(waited, 60);
  EXPECT_LT(waited, 1000);
  EXPECT_EQ(host::outcome(), host::Outcome::kUnreachable);
  EXPECT_EQ(process->asked().size(), 1u);
}

TEST_F(Remote, TakesNoLateAnswerForThatOfTheNextRequest) {
  std::optional<Responder> late;
  const auto process = manager([&](const Message& message, const Responder& answer) {
    if (!late) {
      late = answer;
      return;
    }
    reply(0, 0, {1, 1, 1, 1})(message, *late);
    reply(0, 0, {2, 2, 2, 2})(message, answer);
  });
  connect({60, 60});
  EXPECT_EQ(request().error, uint32_t{ETIMEDOUT});
  EXPECT_EQ(request(VEX_KIND_QUERY, {1}, 4).response, (Bytes{2, 2, 2, 2}));
}

TEST_F(Remote, NeverRepeatsARequestThatWasCutOff) {
  std::unique_ptr<Process> process;
  process = manager([&](const Message&, const Responder&) { process->die(); });
  connect();
  EXPECT_EQ(request(VEX_KIND_CHANGE).error, uint32_t{ECONNRESET});
  EXPECT_EQ(host::untold_failure(),
            "SPAN manager: the connection was lost: whether the request was carried out is not known");
  EXPECT_EQ(process->asked().size(), 1u);
  process.reset();
  process = manager(reply(0, 0, {5, 5, 5, 5}));
  EXPECT_EQ(request(VEX_KIND_QUERY, {7}, 4).response, (Bytes{5, 5, 5, 5}));
  ASSERT_EQ(process->asked().size(), 1u);
  EXPECT_EQ(transport::decode<transport::Request>(process->asked()[0].body)->payload, Bytes{7});
}

// The library has no status of a failed exchange; it asks for the text of 0, or of the failure.
TEST_F(Remote, HasTheLibraryTellWhyAnExchangeFailed) {
  std::unique_ptr<Process> process;
  process = manager([&](const Message&, const Responder&) { process->die(); });
  connect();
  EXPECT_STREQ(syserr2str(0), "no error was reported");
  const uint32_t status = request(VEX_KIND_CHANGE).status;
  EXPECT_STREQ(syserr2str(status), "the connection was lost: whether the request was carried out is not known");
  EXPECT_STREQ(syserr2str(0), "the connection was lost: whether the request was carried out is not known");
  EXPECT_EQ(host::untold_failure(), "");
  host::reset_outcome();
  EXPECT_STREQ(syserr2str(0), "no error was reported");
}

TEST_F(Remote, HasTheLibraryTellWhatTheManagerRefusedAsAWhole) {
  const auto process = manager(reply(kStandby, kStandby, {}));
  connect();
  EXPECT_EQ(request(VEX_KIND_CHANGE).status, kStandby);
  EXPECT_STREQ(syserr2str(0), "SPAN manager is a stateless standby");
  EXPECT_EQ(host::untold_failure(), "");
}

TEST_F(Remote, FindsTheManagerAgainAfterItsRestart) {
  auto process = manager(reply(0, 0, {1, 1, 1, 1}));
  connect();
  EXPECT_EQ(request().status, 0u);
  process.reset();
  EXPECT_EQ(request().error, uint32_t{ECONNREFUSED});
  process = manager(reply(0, 0, {2, 2, 2, 2}));
  EXPECT_EQ(request(VEX_KIND_QUERY, {1}, 4).response, (Bytes{2, 2, 2, 2}));
}

TEST_F(Remote, AsksNothingOfAnotherSwitch) {
  auto process = manager(reply(0, 0, {1, 1, 1, 1}));
  connect();
  process.reset();
  process =
      std::make_unique<Process>(manager_socket(), welcome_of(Role::kActive, std::string(kDescription) + "# one more\n"),
                                reply(0, 0, {2, 2, 2, 2}));
  EXPECT_EQ(request(VEX_KIND_CHANGE).error, uint32_t{ESTALE});
  EXPECT_FALSE(host::port_roles());
  EXPECT_TRUE(process->asked().empty());
}

TEST_F(Remote, TellsThatTheSwitchIsAnotherOneUntilItIsBack) {
  auto process = manager(reply(0, 0, {1, 1, 1, 1}));
  connect();
  EXPECT_EQ(request().status, 0u);
  EXPECT_FALSE(host::switch_is_replaced());
  process.reset();
  request();
  EXPECT_FALSE(host::switch_is_replaced()) << "nobody is there";
  process = std::make_unique<Process>(manager_socket(), welcome_of(Role::kActive, "name = \"other\"\n"),
                                      reply(0, 0, {2, 2, 2, 2}));
  request();
  EXPECT_TRUE(host::switch_is_replaced());
  process.reset();
  request();
  EXPECT_TRUE(host::switch_is_replaced()) << "nobody has come back";
  process = manager(reply(0, 0, {1, 1, 1, 1}));
  EXPECT_EQ(request().status, 0u);
  EXPECT_FALSE(host::switch_is_replaced());
}

TEST_F(Remote, CannotUseMalformedAnswers) {
  Bytes cut = transport::encode(transport::Reply{0, 0, {1, 2, 3, 4}});
  cut.pop_back();
  for (const Play& play :
       {always(Type::kReply, cut), always(Type::kReply, {}), always(Type::kAnswer, {1, 2, 3, 4}), reply(0, 0, {})}) {
    const auto process = manager(play);
    connect();
    EXPECT_EQ(request().error, uint32_t{EPROTO});
    EXPECT_FALSE(host::port_roles());
  }
}

TEST_F(Remote, SendsNothingThatIsTooLong) {
  const auto process = manager(reply(0, 0, {1, 1, 1, 1}));
  connect();
  EXPECT_EQ(request(VEX_KIND_QUERY, Bytes(transport::kMaxBody + 1)).error, uint32_t{EMSGSIZE});
  EXPECT_EQ(request().status, 0u);
  EXPECT_EQ(process->asked().size(), 1u);
}

TEST_F(Remote, TellsTheErrorOfTheManager) {
  const auto process = manager(failure(EIO));
  connect();
  EXPECT_EQ(request().error, uint32_t{EIO});
  EXPECT_EQ(host::failure(), "SPAN manager: the service failed");
}

// ---- Interrupts ------------------------------------------------------------------------------------------------------

TEST_F(Remote, InterruptsEndWaitsUntilTheyAreCleared) {
  std::atomic<bool> answers = false;
  const auto process = manager([&](const Message& message, const Responder& answer) {
    if (answers) reply(0, 0, {1, 1, 1, 1})(message, answer);
  });
  connect({10'000, 10'000});
  std::thread key([] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    host::interrupt_switch();
  });
  EXPECT_LT(milliseconds_of([&] { EXPECT_EQ(request().error, uint32_t{EINTR}); }), 5000);
  key.join();
  EXPECT_EQ(host::failure(), "SPAN manager: interrupted: whether the request was carried out is not known");
  answers = true;
  EXPECT_LT(milliseconds_of([&] { EXPECT_EQ(request().error, uint32_t{EINTR}); }), 5000);
  EXPECT_EQ(process->asked().size(), 1u);
  host::clear_interrupt();
  EXPECT_EQ(request().status, 0u);
}

// ---- Glances ----------------------------------------------------------------------------------------------------------

TEST_F(Remote, IsShortlyWaitedForAtAGlance) {
  std::atomic<bool> answers = false;
  const auto process = manager([&](const Message& message, const Responder& answer) {
    if (answers) reply(0, 0, {1, 1, 1, 1})(message, answer);
  });
  connect({60'000, 60'000});
  host::interrupt_switch();
  host::set_debug_output(true);
  testing::internal::CaptureStderr();
  const long waited = milliseconds_of([&] {
    const host::Glance glance;
    for (int i = 0; i < 16; ++i) EXPECT_EQ(request().error, uint32_t{ETIMEDOUT});
  });
  answers = true;
  EXPECT_GE(waited, 500);
  EXPECT_LT(waited, 20'000);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(host::outcome(), host::Outcome::kDone);
  EXPECT_EQ(host::failure(), "");
  testing::internal::CaptureStderr();
  EXPECT_EQ(request().status, 0u);
  EXPECT_NE(testing::internal::GetCapturedStderr(), "");
  host::set_debug_output(false);
}

// ---- Standby ---------------------------------------------------------------------------------------------------------

TEST_F(Remote, ConnectsToAStandbyManagerThatRefusesAll) {
  const Process process(transport::standby_socket(directory_), welcome_of(Role::kStandby),
                        [](const Message& message, const Responder& answer) {
                          message.type == Type::kRequest ? reply(kStandby, kStandby, {})(message, answer)
                                                         : failure(EAGAIN)(message, answer);
                        });
  ASSERT_EQ(host::connect_switch(transport::standby_socket(directory_), "test"), "");
  EXPECT_EQ(host::switch_chassis().name(), "far");
  EXPECT_EQ(request().status, kStandby);
  EXPECT_EQ(host::outcome(), host::Outcome::kRefused);
  EXPECT_EQ(host::untold_failure(), "SPAN manager is a stateless standby");
  host::reset_outcome();
  EXPECT_FALSE(host::port_roles());
  EXPECT_EQ(host::outcome(), host::Outcome::kRefused);
  EXPECT_EQ(host::untold_failure(), "SPAN manager is a stateless standby");
}

// ---- Connecting ------------------------------------------------------------------------------------------------------

TEST_F(Remote, TellsThatNobodyServes) {
  EXPECT_EQ(refusal(), "no SPAN manager serves DIR (manager.sock: No such file or directory)");
  manager(never).reset();
  EXPECT_EQ(refusal(), "no SPAN manager serves DIR (manager.sock: No such file or directory)");
  std::filesystem::create_symlink("/", manager_socket());
  EXPECT_EQ(refusal(), "no SPAN manager serves DIR (manager.sock: Connection refused)");
}

TEST_F(Remote, TellsThatTheManagerDoesNotAnswer) {
  const Process frozen(manager_socket(), welcome_of(Role::kActive), never, {}, true);
  EXPECT_EQ(refusal(), "the SPAN manager of DIR does not answer (manager.sock: Connection timed out)");
}

TEST_F(Remote, TellsThatTheManagerTakesNoMoreClients) {
  const Process full(manager_socket(), welcome_of(Role::kActive), never, {.clients = 0});
  EXPECT_EQ(refusal(), "the SPAN manager of DIR has too many clients (manager.sock: Device or resource busy)");
}

TEST_F(Remote, TellsThatThereIsNoManagerButAModule) {
  const Process card(manager_socket(), welcome_of(Role::kNode), never);
  EXPECT_EQ(refusal(), "DIR/manager.sock: this is no SPAN manager");
}

TEST_F(Remote, TellsThatTheSwitchCannotBeRead) {
  const Process wrong(manager_socket(), welcome_of(Role::kActive, "name = 7\n"), never);
  EXPECT_EQ(refusal().substr(0, 58), "the SPAN manager of DIR describes no switch: far.toml:1:8:");
}

// Answers whoever connects with `words`, once.
void say_once(int listener, const Bytes& words) {
  const int client = accept(listener, nullptr, nullptr);
  ASSERT_NE(client, -1);
  EXPECT_EQ(send(client, words.data(), words.size(), MSG_NOSIGNAL), static_cast<ssize_t>(words.size()));
  uint8_t byte;
  recv(client, &byte, 1, 0);
  close(client);
}

TEST_F(Remote, TellsThatTheManagerSpeaksAnotherVersion) {
  sockaddr_un address = {AF_UNIX, {}};
  std::strcpy(address.sun_path, manager_socket().c_str());
  const int listener = socket(AF_UNIX, SOCK_SEQPACKET, 0);
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  std::thread other([&] { say_once(listener, Bytes(20, 0x77)); });
  EXPECT_EQ(refusal({1000, 1000}), "the SPAN manager of DIR speaks another version (manager.sock: Protocol error)");
  other.join();
  close(listener);
}

TEST_F(Remote, LeavesTheSwitchOfBeforeWhenItCannotConnect) {
  const auto process = manager(reply(0, 0, {1, 1, 1, 1}));
  connect();
  EXPECT_NE(host::connect_switch("/nonexistent", "test"), "");
  EXPECT_EQ(request().status, 0u);
}

}  // namespace
}  // namespace remote_test
