// The manager's debug functions, their records by the numbers.
#include <algorithm>
#include <cstdio>

#include "tests/host/manager_support.h"

namespace manager_test {
namespace {

constexpr char kState[] = "span_debug_dump";
constexpr char kLog[] = "fu_fsm_dump_fsm_log";
constexpr char kEvents[] = "fu_fsm_tca_dump";
constexpr char kMemory[] = "mtrack_dump_memstats";

constexpr uint8_t kInterfaceObject = 1;
constexpr uint8_t kSessionObject = 6;
constexpr uint8_t kTestObject = 16;

Bytes session_record(uint8_t index) { return {kSessionObject, 0, 0, 0, index, 0, 0, 0}; }

Bytes interface_record(uint32_t if_index) {
  Bytes bytes = {kInterfaceObject, 0, 0, 0, 0, 0, 0, 0};
  put_if(bytes, 4, if_index);
  return bytes;
}

Bytes test_record(uint32_t number) {
  Bytes bytes = {kTestObject, 0, 0, 0, 0, 0, 0, 0};
  std::memcpy(&bytes[4], &number, 4);
  return bytes;
}

Bytes list_record(uint32_t keyword) {
  Bytes bytes(4);
  put_be32(bytes, 0, keyword);
  return bytes;
}

Bytes memory_record(uint32_t mode) {
  const uint32_t words[] = {0, mode, 5, 0xFFFFFFFF};
  Bytes bytes(sizeof words);
  std::memcpy(bytes.data(), words, sizeof words);
  return bytes;
}

class ManagerDump : public ManagerTest {
 protected:
  std::string dump(const char* function, const Bytes& record) {
    const manager::Dump dump = manager_.dump(function, record);
    EXPECT_EQ(dump.status, 0u);
    EXPECT_TRUE(dump.text.empty() || dump.text.ends_with('\n'));
    return dump.text;
  }

  uint32_t refusal(const char* function, const Bytes& record) {
    const manager::Dump dump = manager_.dump(function, record);
    EXPECT_EQ(dump.text, "");
    return dump.status;
  }

  // Requests 1 to 5: session 3 from fc1/3 both ways to fc1/1, filtered.
  void configure_session_3() {
    create({2});
    make_destination_port(fc(1, 1));
    EXPECT_EQ(set_destination(2, fc(1, 1)), 0u);
    EXPECT_EQ(only(sources({.index = 2, .vsans = {7, 8, 20}, .ranges = {{fc(1, 3), fc(1, 3)}}})), 0u);
    EXPECT_EQ(sources({.index = 2, .direction = 1, .operation = 4, .type = 3, .vsans = range(1, 10)}).overall, 0u);
  }
};

// ---- State ----------------------------------------------------------------------------------------------------------

TEST_F(ManagerDump, TellsASession) {
  configure_session_3();
  EXPECT_EQ(sources({.index = 2, .operation = 16, .type = 6, .vsans = {5}}).overall, 0u);
  EXPECT_EQ(add_source(2, port_channel(1), 2, 2), 0u);
  EXPECT_EQ(dump(kState, session_record(2)),
            "Session 3\n"
            "  state           active\n"
            "  destination     fc1/1\n"
            "  filter vsans    5\n"
            "  source vsans    1-10\n"
            "  rx sources      1\n"
            "    fc1/3, filter vsans 7-8,20\n"
            "  tx sources      2\n"
            "    fc1/3, filter vsans 7-8,20\n"
            "    port-channel 1\n");
}

TEST_F(ManagerDump, TellsASessionWithNothing) {
  EXPECT_EQ(dump(kState, session_record(15)),
            "Session 16\n"
            "  state           not configured\n");
  create({15});
  EXPECT_EQ(dump(kState, session_record(15)),
            "Session 16\n"
            "  state           no destination\n"
            "  destination     none\n"
            "  filter vsans    none\n"
            "  source vsans    none\n"
            "  rx sources      0\n"
            "  tx sources      0\n");
}

TEST_F(ManagerDump, TellsTheStatesOfASession) {
  const auto state = [&] {
    const std::string text = dump(kState, session_record(2));
    const size_t at = text.find("state           ") + 16;
    return text.substr(at, text.find('\n', at) - at);
  };
  configure_session_3();
  EXPECT_EQ(set_state(1, 2), 0u);
  EXPECT_EQ(state(), "suspended");
  EXPECT_EQ(set_state(2, 2), 0u);
  EXPECT_EQ(set_destination(2, fc(1, 40)), 0u);
  EXPECT_EQ(state(), "destination down");
  create({0});
  EXPECT_EQ(set_destination(0, tunnel(1)), 0u);
  EXPECT_EQ(dump(kState, session_record(0)).substr(10, 35), "  state           no active sources");
}

TEST_F(ManagerDump, TellsAnInterface) {
  configure_session_3();
  create({0, 3});
  EXPECT_EQ(add_source(0, fc(1, 3)), 0u);
  EXPECT_EQ(add_source(3, fc(1, 3)), 0u);
  EXPECT_EQ(dump(kState, interface_record(fc(1, 3))),
            "Interface fc1/3\n"
            "  link            up\n"
            "  port mode       normal\n"
            "  destination of  none\n"
            "  rx source of    1,3-4\n"
            "  tx source of    3\n");
  EXPECT_EQ(dump(kState, interface_record(fc(1, 1))),
            "Interface fc1/1\n"
            "  link            up\n"
            "  port mode       span-destination\n"
            "  destination of  3\n"
            "  rx source of    none\n"
            "  tx source of    none\n");
  EXPECT_EQ(dump(kState, interface_record(fc(3, 1))),
            "Interface fc3/1\n"
            "  link            down\n"
            "  port mode       normal\n"
            "  member of       port-channel 3\n"
            "  destination of  none\n"
            "  rx source of    none\n"
            "  tx source of    none\n");
}

TEST_F(ManagerDump, TellsTheWhole) {
  const std::string expected =
      "SPAN manager of lab\n"
      "  drop threshold  1024\n"
      "  requests        5\n"
      "  port modes      2\n"
      "    fc1/1, span-destination\n"
      "    fc2/48, tunnel-source\n"
      "  sessions        1\n"
      "    3, active\n";
  configure_session_3();
  EXPECT_EQ(dump(kState, {0, 0, 0, 0, 0, 0, 0, 0}), expected);
  EXPECT_EQ(dump(kState, {20, 0, 0, 0, 0, 0, 0, 0}), expected);
}

TEST_F(ManagerDump, RunsItsTests) {
  configure_session_3();
  EXPECT_EQ(dump(kState, test_record(1)), "Test 1, sessions: passed\n");
  EXPECT_EQ(dump(kState, test_record(2)), "Test 2, destinations: passed\n");
  EXPECT_EQ(dump(kState, test_record(3)), "Test 3, sources: passed\n");
  EXPECT_EQ(dump(kState, test_record(4)), "Test 4, VSANs: passed\n");
  EXPECT_EQ(dump(kState, test_record(5)), "Test 5, port modes and drop threshold: passed\n");
}

// ---- Event logs -----------------------------------------------------------------------------------------------------

TEST_F(ManagerDump, LogsTheStatesOfASession) {
  configure_session_3();
  EXPECT_EQ(set_state(1, 2), 0u);
  EXPECT_EQ(set_state(1, 2), 0u);
  session(2);
  EXPECT_EQ(be32(ask(2004, kChange, sessions_request(2, {2})), 0), 0u);
  EXPECT_EQ(dump(kLog, session_record(2)),
            "Session 3\n"
            "  Request   State\n"
            "        1   no destination\n"
            "        3   no active sources\n"
            "        4   active\n"
            "        6   suspended\n"
            "        9   not configured\n");
  EXPECT_EQ(dump(kLog, session_record(0)), "Session 1\n  Request   State\n");
}

TEST_F(ManagerDump, LogsWhatAnInterfaceIs) {
  configure_session_3();
  create({0});
  EXPECT_EQ(add_source(0, fc(1, 3)), 0u);
  EXPECT_EQ(be32(ask(2004, kChange, sessions_request(2, {0, 2})), 0), 0u);
  EXPECT_EQ(dump(kLog, interface_record(fc(1, 3))),
            "Interface fc1/3\n"
            "  Request   State\n"
            "        4   normal, rx source of 3, tx source of 3\n"
            "        7   normal, rx source of 1,3, tx source of 3\n"
            "        8   normal\n");
  EXPECT_EQ(dump(kLog, interface_record(fc(1, 1))),
            "Interface fc1/1\n"
            "  Request   State\n"
            "        2   span-destination\n"
            "        3   span-destination, destination of 3\n"
            "        8   span-destination\n");
  EXPECT_EQ(dump(kLog, interface_record(fc(2, 48))),
            "Interface fc2/48\n"
            "  Request   State\n"
            "        0   tunnel-source\n");
  EXPECT_EQ(dump(kLog, interface_record(fc(2, 1))), "Interface fc2/1\n  Request   State\n");
}

TEST_F(ManagerDump, LogsNothingOfARequestThatChangesNothing) {
  create({0});
  EXPECT_NE(set_destination(0, fc(1, 45)), 0u);
  EXPECT_EQ(manager_.handle(2006, kQuery, state_request(1, 0)).status, manager::kWrongKind);
  EXPECT_EQ(dump(kLog, session_record(0)), "Session 1\n  Request   State\n        1   no destination\n");
}

TEST_F(ManagerDump, KeepsTheLastChangesOfEachSession) {
  create({0, 1});
  for (int i = 0; i < 40; ++i) EXPECT_EQ(set_state(static_cast<uint8_t>(1 + i % 2), 0), 0u);
  const std::string log = dump(kLog, session_record(0));
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 34);
  EXPECT_EQ(log.substr(28, 31), "       10   suspended\n       11");
  EXPECT_TRUE(log.ends_with("       40   suspended\n       41   no destination\n")) << log;
  EXPECT_EQ(dump(kLog, session_record(1)), "Session 2\n  Request   State\n        1   no destination\n");
}

// ---- Requests -------------------------------------------------------------------------------------------------------

TEST_F(ManagerDump, CountsRequests) {
  create({0});
  create({0});
  EXPECT_EQ(set_state(1, 9), manager::kSessionNotConfigured);
  EXPECT_EQ(set_destination(9, fc(1, 1)), manager::kSessionNotConfigured);
  session(0);
  EXPECT_EQ(manager_.handle(2001, kQuery, {}).status, manager::kMalformed);
  EXPECT_EQ(manager_.handle(2003, kQuery, {}).status, manager::kUnknownOpcode);
  EXPECT_EQ(manager_.handle(77, kQuery, {}).status, manager::kUnknownOpcode);
  const std::string expected =
      "  Opcode        Done   Refused    Failed\n"
      "  unknown          0         0         2\n"
      "  2000             0         1         0\n"
      "  2001             1         0         1\n"
      "  2004             2         0         0\n"
      "  2006             0         1         0\n"
      "  Result       Count  Text\n"
      "  0x4034003b       2  session is not configured\n"
      "  0x40340100       1  malformed request\n"
      "  0x40340101       2  unknown request\n";
  EXPECT_EQ(dump(kEvents, list_record(0)), expected);
  EXPECT_EQ(dump(kEvents, list_record(21)), expected);
}

TEST_F(ManagerDump, ListsRequestsAndThoseWithoutSuccess) {
  create({0});
  EXPECT_EQ(set_state(1, 9), manager::kSessionNotConfigured);
  session(0);
  EXPECT_EQ(manager_.handle(2001, kQuery, {}).status, manager::kMalformed);
  EXPECT_EQ(dump(kEvents, list_record(22)),
            "  Request   Opcode  Kind  Bytes  Result\n"
            "        1   2004    3     103    done\n"
            "        2   2006    3     102    session is not configured\n"
            "        3   2001    1     4      done\n"
            "        4   2001    1     0      malformed request\n");
  EXPECT_EQ(dump(kEvents, list_record(23)),
            "  Request   Opcode  Kind  Bytes  Result\n"
            "        2   2006    3     102    session is not configured\n"
            "        4   2001    1     0      malformed request\n");
}

TEST_F(ManagerDump, KeepsTheLastRequestsAndErrorsApart) {
  EXPECT_EQ(manager_.handle(1, kQuery, {}).status, manager::kUnknownOpcode);
  for (int i = 0; i < 70; ++i) session(0);
  const std::string all = dump(kEvents, list_record(22));
  EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 65);
  EXPECT_TRUE(all.ends_with("       71   2001    1     4      done\n")) << all;
  EXPECT_EQ(dump(kEvents, list_record(23)),
            "  Request   Opcode  Kind  Bytes  Result\n"
            "        1   1       1     0      unknown request\n");
}

// ---- Memory ---------------------------------------------------------------------------------------------------------

size_t bytes_in_use(const std::string& text) {
  size_t bytes = 0;
  EXPECT_EQ(std::sscanf(text.c_str() + text.rfind("SPAN"), "SPAN manager: %zu bytes in use\n", &bytes), 1) << text;
  return bytes;
}

TEST_F(ManagerDump, TellsItsMemoryInShort) {
  const std::string before = dump(kMemory, memory_record(1));
  EXPECT_EQ(std::count(before.begin(), before.end(), '\n'), 1);
  configure_session_3();
  EXPECT_GE(bytes_in_use(dump(kMemory, memory_record(1))), bytes_in_use(before) + 2 * 512 + 5);
}

TEST_F(ManagerDump, TellsItsMemoryInFull) {
  configure_session_3();
  const std::string text = dump(kMemory, memory_record(0));
  EXPECT_EQ(bytes_in_use(text), bytes_in_use(dump(kMemory, memory_record(1))));
  EXPECT_TRUE(text.starts_with("  Kind                   Count    Size     Bytes\n")) << text;
  for (const char* row :
       {"  sessions                  16 ", "  source interfaces          2 ", "  port modes                 2 ",
        "  requests                   5 ", "  counters of opcodes        4 "}) {
    EXPECT_NE(text.find(row), std::string::npos) << row << "\n" << text;
  }
  size_t sum = 0;
  size_t row_bytes = 0;
  for (size_t at = text.find('\n') + 1; text[at] == ' '; at = text.find('\n', at) + 1) {
    ASSERT_EQ(std::sscanf(text.c_str() + at + 22, "%*u %*u %zu", &row_bytes), 1) << text.substr(at);
    sum += row_bytes;
  }
  EXPECT_EQ(sum, bytes_in_use(text));
}

// ---- Refusals -------------------------------------------------------------------------------------------------------

TEST_F(ManagerDump, RefusesWhatItDoesNotKnow) {
  EXPECT_EQ(refusal("span_debug", session_record(0)), manager::kNoSuchDump);
  EXPECT_EQ(refusal("", session_record(0)), manager::kNoSuchDump);
  EXPECT_EQ(refusal(kState, {7, 0, 0, 0, 0, 0, 0, 0}), manager::kNoSuchObject);
  EXPECT_EQ(refusal(kLog, test_record(1)), manager::kNoSuchObject);
  EXPECT_EQ(refusal(kEvents, list_record(258)), manager::kNoSuchObject);
  EXPECT_EQ(refusal(kMemory, memory_record(2)), manager::kNoSuchObject);
  for (const char* function : {kState, kLog}) {
    EXPECT_EQ(refusal(function, session_record(16)), manager::kNoSuchSession);
    EXPECT_EQ(refusal(function, session_record(255)), manager::kNoSuchSession);
    EXPECT_EQ(refusal(function, interface_record(fc(9, 9))), manager::kUnknownInterface);
  }
  EXPECT_EQ(refusal(kState, test_record(0)), manager::kNoSuchTest);
  EXPECT_EQ(refusal(kState, test_record(6)), manager::kNoSuchTest);
  EXPECT_EQ(refusal(kState, test_record(0xFFFFFFFF)), manager::kNoSuchTest);
}

TEST_F(ManagerDump, RefusesRecordsOfAnyOtherLength) {
  const std::pair<const char*, Bytes> right[] = {
      {kState, session_record(0)}, {kLog, session_record(0)}, {kEvents, list_record(0)}, {kMemory, memory_record(0)}};
  for (const auto& [function, record] : right) {
    EXPECT_EQ(manager_.dump(function, record).status, 0u);
    for (size_t length = 0; length < 32; ++length) {
      if (length == record.size()) continue;
      Bytes wrong = record;
      wrong.resize(length);
      EXPECT_EQ(refusal(function, wrong), manager::kMalformed) << function << " " << length;
    }
  }
}

TEST_F(ManagerDump, SurvivesRecordsOfAnyContent) {
  configure_session_3();
  uint32_t random = 1;
  for (int i = 0; i < 20000; ++i) {
    for (const auto& [function, length] : {std::pair(kState, 8), {kLog, 8}, {kEvents, 4}, {kMemory, 16}}) {
      Bytes record(static_cast<size_t>(length));
      for (uint8_t& byte : record) byte = static_cast<uint8_t>((random = random * 1664525 + 1013904223) >> 24);
      record[0] = static_cast<uint8_t>(record[0] % 24);
      const manager::Dump dump = manager_.dump(function, record);
      EXPECT_EQ(dump.status == 0, !dump.text.empty());
    }
  }
}

}  // namespace
}  // namespace manager_test
