// The platform's functions on a small switch, with the manager behind them.
#include "host/platform/switch.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "host/platform/status.h"
#include "platform/brio.h"
#include "platform/if_index.h"
#include "platform/inventory.h"
#include "platform/quill.h"
#include "platform/vex.h"

namespace {

constexpr char kDescription[] = R"(name = "test"
vsans = "1-10"
fcip = 1
[[module]]
number = 1
name = "card"
software-id = 258
fc-ports = "1-4"
[[module]]
number = 2
name = "card"
state = "powered-down"
[[module]]
number = 3
name = "card"
state = "absent"
[[module]]
number = 5
name = "supervisor"
supervisor = true
inband = 0
[[module]]
number = 6
name = "supervisor"
supervisor = true
[[port-channel]]
number = 1
subtype = 1
[[svc]]
module = 1
port = 1
initiator = 201
management = 203
[[svc]]
module = 1
port = 2
target = 212
[[role]]
name = "all"
interfaces = "all"
vsans = "all"
[[role]]
name = "few"
interfaces = ["fc1/2"]
vsans = "2-3"
)";

constexpr uint32_t kSpanManager = 68;
constexpr uint32_t kFc1 = 0x01010001;
constexpr uint32_t kSvc1 = 0x0C010001;
constexpr uint32_t kSvc2 = 0x0C010002;

class Platform : public testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    auto chassis = chassis::Chassis::parse(kDescription, "test.toml", error);
    ASSERT_TRUE(chassis) << error;
    host::start_switch(std::move(*chassis));
  }

  void TearDown() override {
    host::set_debug_output(false);
    host::set_script_runner({});
  }

  const uint32_t queue = host::switch_queue();
};

std::string name_of(uint32_t if_index) {
  char text[IF_INDEX_NAME_SIZE] = {};
  const int length = sprintf_if_index(text, if_index);
  EXPECT_EQ(length, static_cast<int>(std::strlen(text)));
  return text;
}

// ---- Request/response service ----------------------------------------------------------------------------------------

struct Exchange {
  uint32_t status;
  std::vector<uint8_t> response;
};

class Vex : public Platform {
 protected:
  // `room` bytes of the response, which tells no length.
  Exchange exchange(uint32_t opcode, uint32_t kind, std::vector<uint8_t> payload, size_t room,
                    uint32_t service = kSpanManager) {
    void* response = nullptr;
    auto length = static_cast<uint32_t>(payload.size());
    const uint32_t status =
        vex_req_resp(opcode, kind, payload.data(), &response, &length, "shell", nullptr, service, queue, 35);
    Exchange out = {status, {}};
    const auto* bytes = static_cast<const uint8_t*>(response);
    if (bytes != nullptr) out.response.assign(bytes, bytes + room);
    std::free(response);
    return out;
  }

  Exchange create_session(uint8_t index) {
    std::vector<uint8_t> payload(103);
    payload[100] = 1;
    payload[101] = 1;
    payload[102] = index;
    return exchange(2004, VEX_KIND_CHANGE, payload, 4);
  }
};

TEST_F(Vex, CarriesARequestToTheManagerAndItsAnswerBack) {
  const Exchange info = exchange(2001, VEX_KIND_QUERY, {2, 0, 0, 0}, 6);
  EXPECT_EQ(info.status, 0u);
  EXPECT_EQ(info.response, (std::vector<uint8_t>{0, 0, 0, 0, 2, 0}));
  EXPECT_EQ(host::outcome(), host::Outcome::kDone);
}

TEST_F(Vex, KeepsTheManagerBetweenRequests) {
  EXPECT_EQ(create_session(2).response, (std::vector<uint8_t>{0, 0, 0, 0}));
  EXPECT_EQ(exchange(2001, VEX_KIND_QUERY, {2, 0, 0, 0}, 6).response[5], 1);
}

TEST_F(Vex, ForgetsTheSessionsWhenTheSwitchStartsAgain) {
  create_session(2);
  SetUp();
  EXPECT_EQ(exchange(2001, VEX_KIND_QUERY, {2, 0, 0, 0}, 6).response[5], 0);
}

TEST_F(Vex, ReturnsTheStatusOfARequestWithoutAnAnswer) {
  const Exchange cut = exchange(2001, VEX_KIND_QUERY, {2}, 4);
  EXPECT_NE(cut.status, 0u);
  EXPECT_NE(cut.status, 0xFFFFFFFFu);
  EXPECT_TRUE(cut.response.empty());
  EXPECT_EQ(host::outcome(), host::Outcome::kRefused);
}

TEST_F(Vex, RemembersARefusalInsideAnAnswer) {
  const Exchange no_session = exchange(2000, VEX_KIND_CHANGE, std::vector<uint8_t>(112), 8);
  EXPECT_EQ(no_session.status, 0u);
  EXPECT_EQ(host::outcome(), host::Outcome::kRefused);
  create_session(0);
  EXPECT_EQ(host::outcome(), host::Outcome::kRefused);
  host::reset_outcome();
  EXPECT_EQ(host::outcome(), host::Outcome::kDone);
}

TEST_F(Vex, TellsWhenTheManagerIsAway) {
  host::set_manager_reachable(false);
  EXPECT_EQ(exchange(2001, VEX_KIND_QUERY, {2, 0, 0, 0}, 4).status, 0xFFFFFFFFu);
  EXPECT_EQ(quill_errno_get(queue), uint32_t{ECONNREFUSED});
  EXPECT_EQ(host::outcome(), host::Outcome::kUnreachable);
}

TEST_F(Vex, RanksUnreachableAboveRefused) {
  host::set_manager_reachable(false);
  exchange(2001, VEX_KIND_QUERY, {2, 0, 0, 0}, 4);
  host::set_manager_reachable(true);
  exchange(2001, VEX_KIND_QUERY, {2}, 4);
  EXPECT_EQ(host::outcome(), host::Outcome::kUnreachable);
}

TEST_F(Vex, KnowsNoOtherServiceAndNoOtherQueue) {
  EXPECT_EQ(exchange(2001, VEX_KIND_QUERY, {2, 0, 0, 0}, 4, 69).status, 0xFFFFFFFFu);
  EXPECT_EQ(quill_errno_get(queue), uint32_t{ECONNREFUSED});
  void* response = nullptr;
  uint32_t length = 4;
  uint8_t payload[4] = {};
  EXPECT_EQ(vex_req_resp(2001, 1, payload, &response, &length, nullptr, nullptr, kSpanManager, queue + 1, 35),
            0xFFFFFFFFu);
  EXPECT_EQ(response, nullptr);
  EXPECT_EQ(quill_errno_get(queue + 1), uint32_t{EBADF});
}

TEST_F(Vex, RefusesNullArguments) {
  void* response = nullptr;
  uint32_t length = 4;
  uint8_t payload[4] = {};
  EXPECT_EQ(vex_req_resp(2001, 1, nullptr, &response, &length, nullptr, nullptr, kSpanManager, queue, 35), 0xFFFFFFFFu);
  EXPECT_EQ(vex_req_resp(2001, 1, payload, nullptr, &length, nullptr, nullptr, kSpanManager, queue, 35), 0xFFFFFFFFu);
  EXPECT_EQ(vex_req_resp(2001, 1, payload, &response, nullptr, nullptr, nullptr, kSpanManager, queue, 35), 0xFFFFFFFFu);
  EXPECT_EQ(quill_errno_get(queue), uint32_t{EINVAL});
}

TEST_F(Vex, TracesExchangesInDebugOutput) {
  host::set_debug_output(true);
  testing::internal::CaptureStderr();
  exchange(2001, VEX_KIND_QUERY, {2, 0, 0, 0}, 8);
  const std::string line = testing::internal::GetCapturedStderr();
  EXPECT_EQ(line.rfind("vex: opcode 2001 kind 1, 4 bytes from [shell] []: 0x0 SPAN_OK, ", 0), 0u) << line;
}

// ---- Interfaces ------------------------------------------------------------------------------------------------------

using IfIndex = Platform;

TEST_F(IfIndex, TellsTypes) {
  uint8_t type = 77;
  for (const auto& [if_index, expected] : {std::pair{kFc1, IF_INDEX_TYPE_FC},
                                           {kSvc1, IF_INDEX_TYPE_SVC},
                                           {0x06000000u, IF_INDEX_TYPE_INBAND},
                                           {0x0A000001u, IF_INDEX_TYPE_FCIP}}) {
    EXPECT_EQ(if_index_get_type(if_index, &type), 0);
    EXPECT_EQ(type, expected);
  }
}

TEST_F(IfIndex, LeavesTheTypeOfAnUnknownInterfaceAlone) {
  uint8_t type = 77;
  for (const uint32_t if_index : {0u, 0x01010005u, 0xFFFFFFFFu}) EXPECT_NE(if_index_get_type(if_index, &type), 0);
  EXPECT_EQ(type, 77);
  EXPECT_NE(if_index_get_type(kFc1, nullptr), 0);
}

TEST_F(IfIndex, TellsSubtypesOfPortChannelsOnly) {
  uint8_t subtype = 77;
  EXPECT_NE(if_index_port_channel_get_subtype(kFc1, &subtype), 0);
  EXPECT_EQ(subtype, 77);
  EXPECT_EQ(if_index_port_channel_get_subtype(0x04000001, &subtype), 0);
  EXPECT_EQ(subtype, 1);
  EXPECT_EQ(if_index_port_channel_get_subtype(0x040000C9, &subtype), 0);
  EXPECT_EQ(subtype, 2);
}

TEST_F(IfIndex, TravelsBigEndian) {
  const uint32_t wire = hton_if_index(0x01020304);
  EXPECT_EQ(std::memcmp(&wire, "\1\2\3\4", 4), 0);
  EXPECT_EQ(ntoh_if_index(wire), 0x01020304u);
}

TEST_F(IfIndex, WritesNamesAndUnknownNumbers) {
  EXPECT_EQ(name_of(kFc1), "fc1/1");
  EXPECT_EQ(name_of(0x040000C9), "port-channel 201");
  EXPECT_EQ(name_of(0x01090063), "0x01090063");
  EXPECT_LT(sprintf_if_index(nullptr, kFc1), 1);
}

TEST_F(IfIndex, KnowsTheInbandInterface) { EXPECT_EQ(if_index_inband_get_active_sup_priority_hi(), 0x06000000u); }

// The words of a map reply, `entries` of 5 behind the two of its head.
std::vector<uint32_t> map_of(std::vector<uint32_t> request, size_t entries) {
  void* reply = nullptr;
  EXPECT_EQ(ksm_if_to_pch_get_map(host::switch_queue(), 7, request.data(), &reply), 0u);
  std::vector<uint32_t> words(2 + 5 * entries);
  if (reply != nullptr) std::memcpy(words.data(), reply, 4 * words.size());
  std::free(reply);
  return words;
}

TEST_F(IfIndex, MapsServiceInterfacesOfRanges) {
  EXPECT_EQ(map_of({1, kSvc1, kSvc2}, 2),
            (std::vector<uint32_t>{0, 2, 0, 0, 0x040000C9, 0, 0x040000CB, 0, 0, 0, 0x040000D4, 0}));
  EXPECT_EQ(map_of({2, kSvc2, kSvc2, kSvc1, kSvc1}, 2)[4 + 5], 0x040000C9u);
  EXPECT_EQ(map_of({1, 0, 0xFFFFFFFF}, 2)[1], 2u);
  EXPECT_EQ(map_of({0}, 0), (std::vector<uint32_t>{0, 0}));
}

TEST_F(IfIndex, MapsARangeWithoutServiceInterfacesToAnError) {
  EXPECT_EQ(map_of({1, kFc1, kFc1}, 1), (std::vector<uint32_t>{0, 1, host::kNotServiceInterface, 0, 0, 0, 0}));
  EXPECT_EQ(map_of({1, kSvc2, kSvc1}, 1)[2], host::kNotServiceInterface);
}

TEST_F(IfIndex, RefusesMalformedMapRequests) {
  const uint32_t request[] = {0};
  void* reply = nullptr;
  EXPECT_EQ(ksm_if_to_pch_get_map(queue, 7, nullptr, &reply), host::kBadMapRequest);
  EXPECT_EQ(ksm_if_to_pch_get_map(queue, 6, request, &reply), host::kBadMapRequest);
  EXPECT_EQ(ksm_if_to_pch_get_map(0, 7, request, &reply), host::kBadMapRequest);
  EXPECT_EQ(ksm_if_to_pch_get_map(queue, 7, request, nullptr), host::kBadMapRequest);
  EXPECT_EQ(reply, nullptr);
}

// ---- Permissions, transport errors, scripts --------------------------------------------------------------------------

using Brio = Platform;

TEST_F(Brio, ShowsWhatTheRoleMaySee) {
  uintptr_t context[8];
  host::set_display_role(context, *host::switch_chassis().find_role("few"));
  EXPECT_TRUE(brio_is_vsan_allowed(context, 2));
  EXPECT_FALSE(brio_is_vsan_allowed(context, 4));
  EXPECT_TRUE(brio_is_interface_display_allowed(queue, context, kFc1 + 1));
  EXPECT_FALSE(brio_is_interface_display_allowed(queue, context, kFc1));
}

TEST_F(Brio, ShowsEverythingToARoleOfAll) {
  uintptr_t context[8];
  host::set_display_role(context, *host::switch_chassis().find_role("all"));
  EXPECT_TRUE(brio_is_vsan_allowed(context, 4095));
  EXPECT_FALSE(brio_is_vsan_allowed(context, 4096));
  EXPECT_TRUE(brio_is_interface_display_allowed(queue, context, kFc1));
}

TEST_F(Brio, ShowsNothingWithoutARole) {
  const uintptr_t context[8] = {};
  EXPECT_FALSE(brio_is_vsan_allowed(context, 2));
  EXPECT_FALSE(brio_is_interface_display_allowed(queue, context, kFc1 + 1));
  EXPECT_FALSE(brio_is_vsan_allowed(nullptr, 2));
}

TEST_F(Brio, TellsTransportErrorsInWords) {
  testing::internal::CaptureStdout();
  brio_print_quill_error_message(2, ECONNREFUSED);
  brio_print_quill_error_message(2, 9999);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Error: message transport: the service does not run (error 111)\n"
            "Error: message transport: unknown cause (error 9999)\n");
}

TEST_F(Brio, RunsEachLineOfAScript) {
  const std::string path = testing::TempDir() + "script" + std::to_string(getpid());
  std::ofstream(path) << "show span session 1\n\nshow vsan";
  std::vector<std::string> lines;
  host::set_script_runner([&](std::string_view line) { lines.emplace_back(line); });
  EXPECT_EQ(brio_execute_script_file(path.c_str()), 0);
  std::remove(path.c_str());
  EXPECT_EQ(lines, (std::vector<std::string>{"show span session 1", "", "show vsan"}));
}

TEST_F(Brio, FailsOnAScriptThatCannotBeRun) {
  EXPECT_NE(brio_execute_script_file("/dev/null"), 0);  // no shell to run it
  host::set_script_runner([](std::string_view) { throw std::runtime_error("a line fails"); });
  EXPECT_NE(brio_execute_script_file("/nonexistent/script"), 0);
  EXPECT_NE(brio_execute_script_file("/"), 0);
  EXPECT_NE(brio_execute_script_file(nullptr), 0);
  EXPECT_NE(brio_execute_script_file("/proc/self/status"), 0);  // its first line throws
  EXPECT_EQ(brio_execute_script_file("/dev/null"), 0);
}

// ---- Modules ---------------------------------------------------------------------------------------------------------

using Inventory = Platform;

TEST_F(Inventory, NamesTheSupervisors) {
  uint8_t record[16];
  std::memset(record, 0xFF, sizeof record);
  EXPECT_EQ(get_platform_info(record), 0);
  EXPECT_EQ(record[0], 5);
  EXPECT_EQ(record[1], 6);
  EXPECT_EQ(record[15], 0);
  EXPECT_LT(get_platform_info(nullptr), 0);
}

TEST_F(Inventory, ListsModulesAndEmptySlots) {
  rook_module_t table[232];
  std::memset(table, 0xFF, sizeof table);
  EXPECT_EQ(rook_get_all_modules_in_chassis(queue, table, 232), 0);
  const uint8_t expected[6][3] = {{1, 1, 1}, {1, 2, 0}, {0, 3, 0}, {0, 0, 0}, {1, 5, 1}, {1, 6, 1}};
  for (size_t i = 0; i < 6; ++i) {
    EXPECT_EQ(table[i].present, expected[i][0]) << i;
    EXPECT_EQ(table[i].node_address, expected[i][1]) << i;
    EXPECT_EQ(table[i].online, expected[i][2]) << i;
  }
  EXPECT_EQ(table[231].unused2[10], 0);
}

TEST_F(Inventory, StopsAtTheEndOfTheTable) {
  rook_module_t table[2] = {};
  EXPECT_EQ(rook_get_all_modules_in_chassis(queue, table, 1), 0);
  EXPECT_EQ(table[0].present, 1);
  EXPECT_EQ(table[1].present, 0);
}

TEST_F(Inventory, AnswersWithTheSoftwareIdentity) {
  uint8_t sent[QUILL_MESSAGE_SIZE] = {}, received[QUILL_MESSAGE_SIZE] = {};
  ASSERT_EQ(wren_get_module_info(queue, sent, 1), 0);
  const quill_recv_options_t options = {1, 0, 100, quill_rr_token_get(sent), {}};
  ASSERT_EQ(quill_recv(queue, received, &options), 0);
  const auto* record = static_cast<const uint8_t*>(quill_payload_get(received));
  EXPECT_EQ(record[31], 1);
  EXPECT_EQ(record[32], 2);
  EXPECT_EQ(quill_drop(queue, received), 0);
  EXPECT_EQ(quill_drop(queue, sent), 0);
}

TEST_F(Inventory, HasNoInformationOnEmptySlots) {
  uint8_t message[QUILL_MESSAGE_SIZE] = {};
  for (const uint32_t module : {0u, 3u, 4u, 233u, 257u}) {
    EXPECT_EQ(wren_get_module_info(queue, message, module), static_cast<int>(host::kNoSuchModule)) << module;
  }
}

// ---- Message transport -----------------------------------------------------------------------------------------------

class Quill : public Platform {
 protected:
  int send(uint32_t address, uint32_t service, std::string_view payload = "ask") {
    return quill_send(queue, address, service, 2020, payload.data(), static_cast<uint32_t>(payload.size()), message, 0,
                      0);
  }

  int receive(uint32_t token) {
    const quill_recv_options_t options = {1, 0, 5, token, {}};
    return quill_recv(queue, message, &options);
  }

  alignas(8) uint8_t message[QUILL_MESSAGE_SIZE] = {};
};

TEST_F(Quill, CarriesAMessageAndItsAnswer) {
  uint32_t asked = 0;
  host::attach_service(0x102, 935, [&](uint32_t opcode, std::span<const uint8_t> payload) {
    asked = opcode;
    return std::optional<std::vector<uint8_t>>({payload.begin(), payload.end()});
  });
  ASSERT_EQ(send(0x102, 935), 0);
  const uint32_t token = quill_rr_token_get(message);
  EXPECT_EQ(quill_payload_get(message), nullptr);
  EXPECT_EQ(quill_drop(queue, message), 0);
  ASSERT_EQ(receive(token), 0);
  EXPECT_EQ(asked, 2020u);
  EXPECT_EQ(std::memcmp(quill_payload_get(message), "ask", 3), 0);
  EXPECT_EQ(quill_drop(queue, message), 0);
  EXPECT_EQ(quill_payload_get(message), nullptr);
  EXPECT_EQ(quill_drop(queue, message), 0);
}

TEST_F(Quill, HasNoAnswerTwice) {
  host::attach_service(0x102, 935, [](auto, auto) { return std::vector<uint8_t>{}; });
  ASSERT_EQ(send(0x102, 935), 0);
  const uint32_t token = quill_rr_token_get(message);
  ASSERT_EQ(receive(token), 0);
  EXPECT_EQ(quill_payload_get(message), nullptr);
  EXPECT_EQ(receive(token), -1);
}

TEST_F(Quill, TimesOutWhenTheServiceDoesNotAnswer) {
  host::attach_service(0x102, 935, [](auto, auto) { return std::nullopt; });
  ASSERT_EQ(send(0x102, 935), 0);
  errno = 0;
  EXPECT_EQ(receive(quill_rr_token_get(message)), -1);
  EXPECT_EQ(quill_errno_get(queue), uint32_t{ETIMEDOUT});
  EXPECT_EQ(errno, ETIMEDOUT);
}

TEST_F(Quill, KeepsABoundedNumberOfAnswers) {
  host::attach_service(0x102, 935, [](auto, auto) { return std::vector<uint8_t>{1}; });
  send(0x102, 935);
  const uint32_t first = quill_rr_token_get(message);
  for (int i = 0; i < 64; ++i) send(0x102, 935);
  EXPECT_EQ(receive(first), -1);
  EXPECT_EQ(receive(first + 1), 0);
  quill_drop(queue, message);
}

TEST_F(Quill, TellsAMissingModuleFromAMissingService) {
  EXPECT_EQ(send(0x202, 935), -1);
  EXPECT_EQ(quill_errno_get(queue), uint32_t{EHOSTUNREACH});
  host::attach_service(0x202, 1, [](auto, auto) { return std::nullopt; });
  EXPECT_EQ(send(0x202, 935), -1);
  EXPECT_EQ(quill_errno_get(queue), uint32_t{ECONNREFUSED});
}

TEST_F(Quill, SurvivesAServiceThatThrows) {
  host::attach_service(0x102, 935, [](auto, auto) -> std::optional<std::vector<uint8_t>> { throw std::bad_alloc(); });
  EXPECT_EQ(send(0x102, 935), -1);
  EXPECT_EQ(quill_errno_get(queue), uint32_t{ENOMEM});
}

TEST_F(Quill, RefusesNullArguments) {
  EXPECT_EQ(quill_send(queue, 2, 100, 1, "a", 1, nullptr, 0, 0), -1);
  EXPECT_EQ(quill_errno_get(queue), uint32_t{EINVAL});
  EXPECT_EQ(quill_send(queue, 2, 100, 1, nullptr, 1, message, 0, 0), -1);
  EXPECT_EQ(quill_send(queue + 1, 2, 100, 1, "a", 1, message, 0, 0), -1);
  EXPECT_EQ(quill_recv(queue, message, nullptr), -1);
  EXPECT_EQ(quill_drop(queue, nullptr), 0);
  EXPECT_EQ(quill_payload_get(nullptr), nullptr);
  EXPECT_EQ(quill_rr_token_get(nullptr), 0u);
}

}  // namespace
