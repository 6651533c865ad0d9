// The test support itself: that it sees what it is there to see.
#include <gtest/gtest-spi.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "feature/span/lib/libspan.h"
#include "platform/brio.h"
#include "platform/if_index.h"
#include "platform/quill.h"
#include "platform/syserr.h"
#include "platform/tarn.h"
#include "platform/vex.h"
#include "tests/support/command.h"
#include "tests/support/libspan_test.h"

namespace testkit {
namespace {

uint32_t send(uint32_t opcode, Bytes payload, void** response) {
  auto length = static_cast<uint32_t>(payload.size());
  return vex_req_resp(opcode, 3, payload.data(), response, &length, "who", nullptr, 68, 7, 35);
}

// An allocation that the optimiser cannot take away.
void* allocate(size_t size) {
  static void* (*volatile allocator)(size_t) = std::malloc;
  return allocator(size);
}

class Support : public LibspanTest {};

// ---- Fake platform ---------------------------------------------------------------------------------------------------

TEST_F(Support, AnUnscriptedCallFailsTheTestAndIsShown) {
  void* response = nullptr;
  EXPECT_NONFATAL_FAILURE(send(2000, {}, &response),
                          "unscripted call: vex_req_resp(2000, 3, [0 bytes], \"who\", null, 68, 7, 35)");
  EXPECT_EQ(response, nullptr);
}

TEST_F(Support, AFailureDuringACaptureReachesTheTest) {
  EXPECT_NONFATAL_FAILURE(run([] { return brio_execute_script_file("f"); }), "brio_execute_script_file(\"f\")");
  EXPECT_EQ(printed(), "");
}

TEST_F(Support, ACallOutOfOrderFails) {
  fake.expect_exchange(2000);
  void* response = nullptr;
  EXPECT_NONFATAL_FAILURE(send(2002, {}, &response), "next in the script: vex_req_resp(2000,");
  send(2000, {}, &response);
}

TEST_F(Support, AScriptThatIsNotPlayedFails) {
  fake.expect("quill_send");
  EXPECT_NONFATAL_FAILURE(finish(), "scripted, but not called: quill_send");
}

TEST_F(Support, AnExchangeIsKeptAndAnswered) {
  fake.expect_exchange(2000).returns(5).gives({1, 2, 3});
  void* response = nullptr;
  EXPECT_EQ(send(2000, hex("07 d0"), &response), 5u);
  EXPECT_TRUE(same_bytes(copy_of(response, 3), {1, 2, 3}));
  EXPECT_TRUE(same_bytes(fake.exchange().payload, {0x07, 0xd0}));
  EXPECT_EQ(fake.exchange().requester1, "who");
  EXPECT_EQ(fake.exchange().requester2, std::nullopt);
  EXPECT_EQ(fake.exchange().option, 35u);
  std::free(response);
}

TEST_F(Support, AResponsePointerThatWasNotNullFails) {
  fake.expect_exchange(2000);
  void* response = &fake;
  EXPECT_NONFATAL_FAILURE(send(2000, {}, &response), "was not null before the call");
}

TEST_F(Support, AResponseThatIsNotFreedIsALeak) {
  fake.expect_exchange(2001).gives({1, 2, 3});
  void* response = nullptr;
  send(2001, {}, &response);
  EXPECT_NONFATAL_FAILURE(finish(), "3 bytes from the response of 2001");
}

TEST_F(Support, AMessageThatIsNotDroppedFails) {
  fake.expect("quill_recv").times(2).gives({9});
  alignas(8) uint8_t first[QUILL_MESSAGE_SIZE] = {};
  alignas(8) uint8_t second[QUILL_MESSAGE_SIZE] = {};
  const quill_recv_options_t options = {};
  quill_recv(7, first, &options);
  quill_recv(7, second, &options);
  EXPECT_EQ(*static_cast<uint8_t*>(quill_payload_get(second)), 9);
  quill_drop(7, first);
  EXPECT_NONFATAL_FAILURE(finish(), "1 messages are not dropped, expected 0");
  quill_drop(7, second);
}

TEST_F(Support, TheTransportErrorMustBeSetUp) {
  EXPECT_NONFATAL_FAILURE(quill_errno_get(7), "unscripted call: quill_errno_get(7)");
  fake.quill_errno = 113;
  EXPECT_EQ(quill_errno_get(7), 113u);
}

TEST_F(Support, LookupsAnswerFromTheTables) {
  fake.interfaces[0x1000000] = {.type = 4, .name = "port-channel 3", .subtype = 2};
  uint8_t type = 0;
  char name[IF_INDEX_NAME_SIZE];
  EXPECT_NE(if_index_get_type(0x2000000, &type), 0);
  EXPECT_EQ(type, 0);
  EXPECT_EQ(if_index_get_type(0x1000000, &type), 0);
  EXPECT_EQ(type, 4);
  EXPECT_EQ(sprintf_if_index(name, 0x1000000), 14);
  EXPECT_STREQ(name, "port-channel 3");
  EXPECT_STREQ(syserr2str(0x40340015), "status 0x40340015");
  EXPECT_EQ(fake.calls("if_index"), "if_index_get_type(0x2000000)\nif_index_get_type(0x1000000)\n");
}

TEST_F(Support, AnOutArgumentThatIsNotZeroedFails) {
  uint8_t type = 1;
  EXPECT_NONFATAL_FAILURE(if_index_get_type(0x1000000, &type), "not zeroed before if_index_get_type");
}

TEST_F(Support, AnswersStandInForTheScript) {
  fake.answers = [](const std::string& line) { return Answer{.result = static_cast<uint32_t>(line.size())}; };
  fake.expect("brio_execute_script_file").returns(5);
  EXPECT_EQ(brio_execute_script_file("f"), 5);
  EXPECT_EQ(brio_execute_script_file("f"), 29);
}

TEST_F(Support, TheResultOfACloseIsSetUp) {
  fake.close_result = -1;
  const int copy = dup(STDERR_FILENO);
  EXPECT_EQ(close(copy), -1);
  fake.close_result = 0;
  EXPECT_EQ(close(copy), -1) << "is closed already";
}

TEST_F(Support, ARequestForNoBytesGetsNoBlock) { EXPECT_EQ(allocate(0), nullptr); }

TEST_F(Support, InterfaceOrderIsItsOwnInverseAndNoPlainSwap) {
  EXPECT_EQ(ntoh_if_index(hton_if_index(0x01020304)), 0x01020304u);
  const uint32_t converted = hton_if_index(0x01020304);
  EXPECT_TRUE(same_bytes(copy_of(&converted, 4), hex("5b a7 a6 5e")));
  EXPECT_TRUE(same_bytes(net_if(0x01020304), hex("5b a7 a6 5e")));
}

TEST_F(Support, TracesAreRecorded) {
  const Bytes record = join({host32(103), text("done\n"), {0}});
  tarn_hist_event(0x730000, static_cast<uint32_t>(record.size()), record.data());
  murmur(1, tarn_dbg_modname, 0, "%s=%d\n", "v", 7);
  EXPECT_EQ(fake.calls(),
            "tarn_hist_event(0x730000, 10, 103, \"done\\n\")\n"
            "murmur(1, tarn_dbg_modname, 0, \"v=7\\n\")\n");
}

TEST_F(Support, ATraceWithoutItsNulFails) {
  const Bytes record = join({host32(103), text("done")});
  EXPECT_NONFATAL_FAILURE(tarn_hist_event(0x730000, 8, record.data()), "does not end with a NUL");
}

TEST_F(Support, TheTimeOfDayIsSeen) {
  timeval now;
  EXPECT_EQ(gettimeofday(&now, nullptr), 0);
  EXPECT_GT(now.tv_sec, 0);
  EXPECT_EQ(fake.calls(), "gettimeofday()\n");
}

// ---- Heap ------------------------------------------------------------------------------------------------------------

TEST_F(Support, ALeakIsSeen) {
  allocate(12);
  EXPECT_NONFATAL_FAILURE(finish(), "12 bytes from the code under test");
}

TEST_F(Support, NewBlocksAreFilledAndFreedOnesAreForgotten) {
  void* const block = allocate(4);
  EXPECT_TRUE(same_bytes(copy_of(block, 4), hex("a5*4")));
  EXPECT_EQ(heap::live(), 1u);
  std::free(block);
  EXPECT_EQ(heap::live(), 0u);
  EXPECT_EQ(heap::requests(), 1u);
}

TEST_F(Support, TheNthRequestFailsOnce) {
  heap::fail_nth(2);
  void* const first = allocate(1);
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(allocate(1), nullptr);
  void* const third = allocate(1);
  EXPECT_NE(third, nullptr);
  std::free(first);
  std::free(third);
}

TEST_F(Support, ReallocKeepsTheContentAndCallocClears) {
  auto* block = static_cast<uint8_t*>(std::calloc(2, 2));
  EXPECT_TRUE(same_bytes(copy_of(block, 4), hex("00*4")));
  block[0] = 1;
  block = static_cast<uint8_t*>(std::realloc(block, 6));
  EXPECT_TRUE(same_bytes(copy_of(block, 6), hex("01 00*3 a5*2")));
  std::free(block);
}

TEST_F(Support, OperatorNewIsNotCounted) {
  const auto number = std::make_unique<int>(1);
  EXPECT_EQ(heap::requests(), 0u);
  EXPECT_EQ(*number, 1);
}

// ---- Standard output -------------------------------------------------------------------------------------------------

TEST_F(Support, EveryWayOfPrintingIsCaptured) {
  EXPECT_EQ(run([] {
              std::puts("a");
              std::printf("%d", 1);
              std::fwrite("b\0c", 1, 3, stdout);
              std::fflush(stdout);
              return write(STDOUT_FILENO, "d", 1);
            }),
            1);
  EXPECT_EQ(printed(), std::string("a\n1b\0cd", 7));
}

TEST_F(Support, TextThatNobodyExpectsFails) {
  run([] { std::puts("surprise"); });
  EXPECT_NONFATAL_FAILURE(finish(), "printed, but not expected:\nsurprise");
}

// ---- Bytes and messages ----------------------------------------------------------------------------------------------

TEST(SupportBytes, ADifferenceIsShownWithItsOffset) {
  const auto result = same_bytes(hex("07 d0 01"), hex("07 d1 01 02"));
  EXPECT_FALSE(result);
  EXPECT_STREQ(result.message(), "3 bytes, expected 4\n  offset 1: d0, expected d1\n  offset 3: nothing, expected 02");
}

TEST(SupportBytes, HexRepeats) { EXPECT_TRUE(same_bytes(hex("ff 00*3 1"), {255, 0, 0, 0, 1})); }

TEST(SupportBytes, NumbersHaveTheirOrder) {
  EXPECT_TRUE(same_bytes(be32(0x01020304), {1, 2, 3, 4}));
  EXPECT_TRUE(same_bytes(be16(0x0102), {1, 2}));
  const uint32_t number = 0x01020304;
  EXPECT_TRUE(same_bytes(host32(number), copy_of(&number, 4)));
}

TEST(SupportBytes, VsansFillFromTheHighBit) {
  EXPECT_TRUE(same_bytes(vsan_bits({{0, 0}, {7, 9}, {4095, 4095}}), hex("81 c0 00*509 01")));
}

TEST(SupportMessages, ASessionWithoutIngressInterfacesHasTheEgressCountAt1652) {
  const Bytes record = SessionRecord{.session = 3, .tx = {0x10}}.bytes();
  EXPECT_EQ(record.size(), 1660u);
  EXPECT_EQ(record[0], 2);
  EXPECT_TRUE(same_bytes(slice(record, 1648, 12), join({be32(0), be32(1), net_if(0x10)})));
}

TEST(SupportMessages, ACommandKeepsItsTokensByPosition) {
  Command command;
  command.number(3).interface(0x1000000).negated();
  const span_cli_parms_t* const parms = command;
  EXPECT_EQ(parms->token_count, 2);
  EXPECT_EQ(parms->negated, 1u);
  EXPECT_EQ(parms->tokens[1]->value_type, 0x40100001u);
  EXPECT_EQ(*static_cast<const uint32_t*>(parms->tokens[2]->value), 0x1000000u);
  EXPECT_STREQ(parms->requester1, "operator");
}

}  // namespace
}  // namespace testkit
