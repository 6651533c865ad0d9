// Functions of the platform that need no switch: event history, debug output, status texts, bounded copies.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "host/platform/status.h"
#include "host/platform/switch.h"
#include "platform/bounded.h"
#include "platform/syserr.h"
#include "platform/tarn.h"

namespace {

// ---- Debug and event history -----------------------------------------------------------------------------------------

int record(uint32_t event, std::string_view text, uint32_t length) {
  std::vector<char> bytes(4 + text.size() + 1);
  std::memcpy(bytes.data(), &event, 4);
  std::memcpy(bytes.data() + 4, text.data(), text.size());
  return tarn_hist_event(0x730000, length, bytes.data());
}

TEST(Tarn, KeepsEvents) {
  EXPECT_EQ(tarn_hist_event_subtype_check(0x730000, 103), 0);
  EXPECT_EQ(record(103, "text\n", 10), 0);
  const auto events = host::event_history();
  ASSERT_FALSE(events.empty());
  EXPECT_EQ(events.back().event, 103u);
  EXPECT_EQ(events.back().text, "text\n");
  EXPECT_TRUE(host::event_history_text().ends_with("103 text\n"));
}

TEST(Tarn, ReadsNoFurtherThanTheLength) {
  EXPECT_EQ(record(1, "abcdef", 7), 0);
  EXPECT_EQ(host::event_history().back().text, "abc");
  EXPECT_NE(record(1, "abcdef", 4), 0);
  EXPECT_NE(tarn_hist_event(0x730000, 9, nullptr), 0);
}

TEST(Tarn, DropsTheOldestEvents) {
  for (uint32_t i = 0; i < 1030; ++i) record(i, "e", 6);
  const auto events = host::event_history();
  EXPECT_EQ(events.size(), 1024u);
  EXPECT_EQ(events.front().event, 6u);
  EXPECT_EQ(events.back().event, 1029u);
}

TEST(Tarn, SwitchesDebugOutput) {
  EXPECT_EQ(tarn_chk_int(103, 0, 0, 1), 0);
  testing::internal::CaptureStderr();
  murmur(1, tarn_dbg_modname, 0, "hidden");
  host::set_debug_output(true);
  EXPECT_NE(tarn_chk_int(103, 0, 0, 1), 0);
  murmur(1, tarn_dbg_modname, 0, "%s %d\n", "shown", 7);
  murmur(1, tarn_dbg_modname, 0, "no line end");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "span: shown 7\nspan: no line end\n");
  host::set_debug_output(false);
}

TEST(Tarn, KnowsOneServiceWithDebugFunctions) {
  const uint8_t record[8] = {};
  const auto dump = [&](uint32_t address, uint32_t service, const void* bytes, const char* function) {
    return tarn_debug_dump(host::switch_queue(), address, service, bytes, sizeof record, function);
  };
  testing::internal::CaptureStdout();
  EXPECT_EQ(dump(0xFE000000, 69, record, "span_debug_dump"), host::kNoDebugDump);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error: debug dump: no such service with debug functions\n");
  testing::internal::CaptureStdout();
  EXPECT_EQ(dump(0xFE000001, 68, record, "span_debug_dump"), host::kNoDebugDump);
  EXPECT_EQ(dump(0xFE000000, 68, record, nullptr), host::kNoDebugDump);
  EXPECT_EQ(dump(0xFE000000, 68, nullptr, "span_debug_dump"), host::kNoDebugDump);
  testing::internal::GetCapturedStdout();
}

// ---- Status texts ----------------------------------------------------------------------------------------------------

TEST(Syserr, HasATextForEveryStatusOfTheLibrary) {
  for (const uint32_t code :
       {0u, 1u, 0x40290000u, 0x40340000u, 0x40340002u, 0x40340004u, 0x40340008u, 0x40340015u, 0x4034002Bu, 0x40340035u,
        0x40340036u, 0x4034003Bu, 0x4034003Cu, 0x40340044u, 0x40340045u, 0x40340046u, 0x40340048u, 0xFFFFFFFFu}) {
    EXPECT_NE(host::find_status(code), nullptr) << std::hex << code;
  }
  EXPECT_STREQ(syserr2str(0x4034002B), "SPAN manager is a stateless standby");
}

TEST(Syserr, KnowsEachCodeOnceAndEachAsALine) {
  std::set<uint32_t> codes;
  std::set<std::string> names;
  const auto check = [&](const host::Status& status) {
    EXPECT_TRUE(codes.insert(status.code).second) << status.name;
    EXPECT_TRUE(names.insert(status.name).second) << status.name;
    EXPECT_GT(std::strlen(status.text), 0u) << status.name;
    EXPECT_EQ(std::strchr(status.text, '\n'), nullptr) << status.name;
    EXPECT_STREQ(syserr2str(status.code), status.text);
  };
  for (const host::Status& status : host::platform_statuses()) check(status);
  for (const host::Status& status : manager::kReasons) check(status);
}

TEST(Syserr, TellsUnknownCodesByNumber) {
  const char* first = syserr2str(0x12345678);
  const char* second = syserr2str(0xABCDEF);
  EXPECT_STREQ(first, "unknown status 0x12345678");
  EXPECT_STREQ(second, "unknown status 0x00abcdef");
}

// KEEP: the shell prints the text of status 0 for a session command that did not reach the manager.
TEST(Syserr, KeepsStatusZeroFromClaimingSuccess) { EXPECT_STREQ(syserr2str(0), "no error was reported"); }

// ---- Bounded copies --------------------------------------------------------------------------------------------------

TEST(Bounded, CopiesAndFillsNoFurtherThanTheBlock) {
  char block[8] = "-------";
  EXPECT_EQ(__memcpy_to_buf(3, block, "abcdef", 6), block);
  EXPECT_STREQ(block, "abc----");
  EXPECT_EQ(__memset_to_buf(2, block, 'x', 100), block);
  EXPECT_STREQ(block, "xxc----");
  __memcpy_to_buf(8, block, nullptr, 8);
  __memset_to_buf(8, nullptr, 0, 8);
  EXPECT_STREQ(block, "xxc----");
}

TEST(Bounded, AppendsWhatFits) {
  char block[8] = "abc";
  EXPECT_EQ(__strcat_to_buf(6, block, "defg"), block);
  EXPECT_STREQ(block, "abcde");
  __strcat_to_buf(6, block, "z");
  EXPECT_STREQ(block, "abcde");
}

TEST(Bounded, LeavesATextWithoutAnEndAlone) {
  char block[4] = {'a', 'b', 'c', 'd'};
  __strcat_to_buf(3, block, "z");
  __strcat_to_buf(0, block, "z");
  EXPECT_EQ(std::string(block, 4), "abcd");
}

}  // namespace
