// The simulated modules behind the message transport, and the library's commands over them.
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <thread>

#include "host/linecard/modules.h"
#include "host/platform/status.h"
#include "host/platform/switch.h"
#include "libspan.h"
#include "platform/hw_counters.h"
#include "platform/inventory.h"
#include "platform/quill.h"
#include "platform/tarn.h"
#include "platform/vex.h"
#include "tests/host/manager_support.h"

namespace manager_test {
namespace {

constexpr char kModules[] = R"(name = "lab"
vsans = "1-10"
[[module]]
number = 1
name = "card"
software-id = 43
fc-ports = "1-8"
[[module]]
number = 2
name = "card without a counter"
software-id = 33
fc-ports = "1-4"
[[module]]
number = 3
name = "card"
state = "powered-down"
software-id = 43
[[module]]
number = 4
name = "card"
state = "absent"
software-id = 43
[[module]]
number = 5
name = "supervisor of a family with a counter"
supervisor = true
software-id = 43
[[module]]
number = 6
name = "supervisor"
supervisor = true
software-id = 43
[[module]]
number = 8
name = "card"
state = "silent"
software-id = 39
[[module]]
number = 12
name = "fast card"
software-id = 163
traffic = 6000
fc-ports = "1-4"
[[role]]
name = "all"
)";

// Milliseconds on the clock of the switch.
uint64_t now = 0;

class LineCards : public testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    auto chassis = chassis::Chassis::parse(kModules, "lab.toml", error);
    ASSERT_TRUE(chassis) << error;
    now = 1'000'000;
    host::set_clock([] { return now; });
    host::start_switch(std::move(*chassis));
    parms_->queue = host::switch_queue();
  }

  void TearDown() override { host::set_clock({}); }

  void change(uint32_t opcode, Bytes request) {
    void* response = nullptr;
    auto length = static_cast<uint32_t>(request.size());
    ASSERT_EQ(vex_req_resp(opcode, kChange, request.data(), &response, &length, "", "", 68, host::switch_queue(), 35),
              0u);
    std::free(response);
    ASSERT_EQ(host::outcome(), host::Outcome::kDone);
  }

  // Session 1 from the ports of module 12, 6,000 frames a second in each, to fc1/1.
  void copy_from_module_12(uint32_t ports, uint8_t direction) {
    change(2004, sessions_request(1, {0}));
    change(2014, port_request({{fc(1, 1), fc(1, 1)}}, 1));
    change(2000, destination_request(0, 1, fc(1, 1)));
    change(2002, bytes_of({.direction = direction, .ranges = {{fc(12, 1), fc(12, ports)}}}));
  }

  std::string counters(uint32_t result = 0) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(span_cli_get_drop_counters(parms_.get()), result);
    return testing::internal::GetCapturedStdout();
  }

  std::unique_ptr<span_cli_parms_t> parms_ = std::make_unique<span_cli_parms_t>();
};

constexpr char kEmptySlots[] =
    "Cannot get info about module 4\n"
    "Cannot get info about module 7\n";
constexpr char kSilent[] =
    "span_show_send_receive QUILL receive error 6e\n"
    "span_cli_get_drop_counters module 8 not available\n";
constexpr char kMoreEmptySlots[] =
    "Cannot get info about module 9\n"
    "Cannot get info about module 10\n"
    "Cannot get info about module 11\n";

std::string screen(const std::string& first, const std::string& last) {
  return "SPAN Drop-Counters for module 1 is: " + first + "\n" + kEmptySlots + kSilent + kMoreEmptySlots +
         "SPAN Drop-Counters for module c is: " + last + "\n";
}

// ---- Drop counters ---------------------------------------------------------------------------------------------------

TEST_F(LineCards, ShowEveryKindOfModuleAndOfAbsence) { EXPECT_EQ(counters(), screen("0x0", "0x0")); }

TEST_F(LineCards, CountDropsOfTheModuleThatHoldsTheSource) {
  copy_from_module_12(1, SPAN_RX);
  EXPECT_EQ(counters(), screen("0x0", "0x0"));
  now += 512;
  EXPECT_EQ(counters(), screen("0x0", "0x0"));
  now += 1000;
  EXPECT_EQ(counters(), screen("0x0", "0x7d0"));
  now += 1;
  EXPECT_EQ(counters(), screen("0x0", "0x7d2"));
  EXPECT_EQ(counters(), screen("0x0", "0x7d2"));
}

TEST_F(LineCards, CountFromTheTimeThatTheSessionIsActive) {
  now += 1'000'000;
  copy_from_module_12(1, SPAN_RX);
  now += 513;
  EXPECT_EQ(counters(), screen("0x0", "0x2"));
  change(2006, state_request(1, 0));
  now += 1'000'000;
  EXPECT_EQ(counters(), screen("0x0", "0x2"));
}

TEST_F(LineCards, ObeyTheThresholdOfTheManager) {
  change(2019, global_request(65535, 0));
  copy_from_module_12(1, SPAN_RX);
  now += 32767;
  EXPECT_EQ(counters(), screen("0x0", "0x0"));
  now += 1;
  EXPECT_EQ(counters(), screen("0x0", "0x1"));
  change(2019, global_request(1, 0));
  now += 1;
  EXPECT_EQ(counters(), screen("0x0", "0x10001"));
}

TEST_F(LineCards, StartOverWithTheSwitch) {
  copy_from_module_12(4, SPAN_BOTH);
  now += 10'000;
  EXPECT_NE(counters(), screen("0x0", "0x0"));
  SetUp();
  EXPECT_EQ(counters(), screen("0x0", "0x0"));
}

TEST_F(LineCards, MoveByTheRealClockToo) {
  host::set_clock({});
  host::start_switch(chassis::Chassis(host::switch_chassis()));
  change(2019, global_request(1, 0));
  copy_from_module_12(1, SPAN_RX);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_NE(counters(), screen("0x0", "0x0"));
}

// ---- Module information ----------------------------------------------------------------------------------------------

TEST_F(LineCards, TellTheSoftwareIdentities) {
  const std::pair<uint32_t, uint16_t> known[] = {{1, 43}, {2, 33},   {3, 43}, {6, 43},
                                                 {8, 39}, {12, 163}, {13, 0}, {232, 0}};
  for (const auto& [module, identity] : known) {
    uint16_t software_id = 0xEEEE;
    EXPECT_EQ(syscli_get_module_swid(parms_.get(), module, &software_id), 0u) << module;
    EXPECT_EQ(software_id, identity) << module;
  }
}

TEST_F(LineCards, HaveRecordsUpToTheOneAskedFor) {
  const uint8_t asked = 12;
  const auto answer = linecard::module_information(host::switch_chassis(), 1, {&asked, 1});
  ASSERT_TRUE(answer);
  ASSERT_EQ(answer->size(), 12u * 458);
  const uint8_t identities[12] = {43, 33, 43, 0, 43, 43, 0, 39, 0, 0, 0, 163};
  for (size_t i = 0; i < 12; ++i) {
    EXPECT_EQ((*answer)[i * 458 + 31], 0) << i;
    EXPECT_EQ((*answer)[i * 458 + 32], identities[i]) << i;
  }
}

TEST_F(LineCards, DoNotAnswerMalformedRequestsForInformation) {
  const uint8_t bytes[] = {1, 0};
  const auto& chassis = host::switch_chassis();
  EXPECT_TRUE(linecard::module_information(chassis, 1, {bytes, 1}));
  EXPECT_FALSE(linecard::module_information(chassis, 2, {bytes, 1}));
  EXPECT_FALSE(linecard::module_information(chassis, 1, {bytes, 2}));
  EXPECT_FALSE(linecard::module_information(chassis, 1, {}));
  EXPECT_FALSE(linecard::module_information(chassis, 1, {bytes + 1, 1}));
}

// ---- Counter service -------------------------------------------------------------------------------------------------

constexpr uint8_t kRequestForModule12[] = {0, 0, 0, 24, 0, 1,  0, 4, 0, 0, 0, 0, 0, 2,
                                           0, 4, 0, 0,  0, 11, 0, 3, 0, 4, 0, 0, 0, 1};

TEST(CounterService, AnswersWithTheModuleAndItsCounter) {
  EXPECT_EQ(linecard::drop_counter(12, 0x01020304, 2020, kRequestForModule12),
            (Bytes{0, 0, 0, 16, 0, 2, 0, 4, 0, 0, 0, 11, 0, 4, 0, 4, 1, 2, 3, 4}));
}

TEST(CounterService, HasNoCounterOfAnotherModule) {
  EXPECT_EQ(linecard::drop_counter(1, 5, 2020, kRequestForModule12), (Bytes{0, 0, 0, 0}));
}

TEST(CounterService, DoesNotAnswerWhatIsNoRequestOfItsOwn) {
  EXPECT_FALSE(linecard::drop_counter(12, 5, 2021, kRequestForModule12));
  for (size_t length = 0; length < sizeof kRequestForModule12; ++length) {
    EXPECT_FALSE(linecard::drop_counter(12, 5, 2020, {kRequestForModule12, length})) << length;
  }
  const uint8_t without_module[] = {0, 0, 0, 8, 0, 3, 0, 4, 0, 0, 0, 1};
  EXPECT_FALSE(linecard::drop_counter(12, 5, 2020, without_module));
}

TEST_F(LineCards, AreThereWhenTheyRun) {
  const auto error_of = [&](uint32_t module) {
    alignas(8) uint8_t message[QUILL_MESSAGE_SIZE] = {};
    if (quill_send(host::switch_queue(), module << 8 | 2, 935, 2020, kRequestForModule12, sizeof kRequestForModule12,
                   message, 0, 0) == -1) {
      return static_cast<int>(quill_errno_get(host::switch_queue()));
    }
    const quill_recv_options_t options = {1, 0, 5, quill_rr_token_get(message), {}};
    const int result = quill_recv(host::switch_queue(), message, &options);
    quill_drop(host::switch_queue(), message);
    return result == 0 ? 0 : static_cast<int>(quill_errno_get(host::switch_queue()));
  };
  EXPECT_EQ(error_of(1), 0);
  EXPECT_EQ(error_of(12), 0);
  EXPECT_EQ(error_of(8), ETIMEDOUT);
  for (const uint32_t module : {3u, 4u, 5u, 7u, 200u}) EXPECT_EQ(error_of(module), EHOSTUNREACH) << module;
}

// ---- Debug dumps -----------------------------------------------------------------------------------------------------

// The command record of a command that ends in a token.
class DebugDumps : public LineCards {
 protected:
  std::string output(uint32_t (*handler)(const span_cli_parms_t*), uint32_t id, uint32_t number, uint32_t result = 0) {
    span_token_t token = {};
    token.id = id;
    token.value = &number;
    parms_->token_count = 1;
    parms_->tokens[1] = &token;
    host::reset_outcome();
    testing::internal::CaptureStdout();
    EXPECT_EQ(handler(parms_.get()), result);
    EXPECT_EQ(host::outcome() == host::Outcome::kDone, result == 0);
    parms_->token_count = 0;
    return testing::internal::GetCapturedStdout();
  }
};

TEST_F(DebugDumps, AppearOnTheScreen) {
  copy_from_module_12(1, SPAN_RX);
  EXPECT_TRUE(output(span_cli_dump_session, 0, 1).starts_with("Session 1\n  state           active\n"));
  EXPECT_TRUE(output(span_cli_dump_if, 0, fc(12, 1)).starts_with("Interface fc12/1\n"));
  EXPECT_TRUE(output(span_cli_dump_global_info, 20, 0).starts_with("SPAN manager of lab\n"));
  EXPECT_TRUE(output(span_cli_eventlog_session, 0, 1).starts_with("Session 1\n  Request   State\n"));
  EXPECT_TRUE(output(span_cli_eventlog_if, 0, fc(12, 1)).starts_with("Interface fc12/1\n  Request   State\n"));
  EXPECT_TRUE(output(span_cli_eventlog_stats, 21, 0).starts_with("  Opcode        Done"));
  EXPECT_TRUE(output(span_cli_eventlog_stats, 22, 0).starts_with("  Request   Opcode"));
  EXPECT_EQ(output(span_cli_eventlog_stats, 23, 0), "  Request   Opcode  Kind  Bytes  Result\n");
  EXPECT_TRUE(output(span_cli_dump_memstats, 8, 0).starts_with("  Kind "));
  EXPECT_TRUE(output(span_cli_dump_memstats, 9, 0).starts_with("SPAN manager: "));
  EXPECT_EQ(output(span_cli_test, 0, 1), "Test 1, sessions: passed\n");
}

TEST_F(DebugDumps, ThatAreRefusedHaveAStatusAndATextOfTheirOwn) {
  EXPECT_EQ(output(span_cli_dump_session, 0, 17, manager::kNoSuchSession),
            "Error: debug dump: session number is not 1 to 16\n");
  EXPECT_EQ(output(span_cli_dump_if, 0, 7, manager::kUnknownInterface), "Error: debug dump: unknown interface\n");
  EXPECT_EQ(output(span_cli_dump_global_info, 99, 0, manager::kNoSuchObject),
            "Error: debug dump: debug function cannot tell about this\n");
  EXPECT_EQ(host::outcome(), host::Outcome::kRefused);
}

TEST_F(DebugDumps, FailWhenTheManagerIsAway) {
  host::set_manager_reachable(false);
  EXPECT_EQ(output(span_cli_dump_session, 0, 1, host::kTransportFailed),
            "Error: debug dump: the service does not run\n");
  EXPECT_EQ(host::outcome(), host::Outcome::kUnreachable);
  EXPECT_EQ(quill_errno_get(host::switch_queue()), uint32_t{ECONNREFUSED});
  parms_->queue += 1;
  host::set_manager_reachable(true);
  EXPECT_EQ(output(span_cli_dump_session, 0, 1, host::kTransportFailed),
            "Error: debug dump: the message queue is not open\n");
}

}  // namespace
}  // namespace manager_test
