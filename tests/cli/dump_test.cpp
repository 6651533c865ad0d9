// Dumps: what the manager is asked to write into its debug output.
#include <array>

#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

class Dump : public CliTest {
 protected:
  // A dump that the service takes; its argument record and the function to run.
  Script& expect_dump(const Bytes& record, const std::string& function) {
    return fake.expect("tarn_debug_dump(7, 0xfe000000, 68, [" + to_hex(record) + "], \"" + function + "\")");
  }

  void expect_nothing_sent() { EXPECT_EQ(fake.calls(), ""); }

  Command command_;
};

constexpr char kDump[] = "span_debug_dump";
constexpr char kLog[] = "fu_fsm_dump_fsm_log";

// ---- Sessions --------------------------------------------------------------------------------------------------------

TEST_F(Dump, OfASessionNamesItsIndex) {
  command_.keyword(9).number(16);
  expect_dump(hex("06 00 00 00 0f 00 00 00"), kDump);
  EXPECT_EQ(call(span_cli_dump_session, command_), 0u);
  expect_dump(hex("06 00 00 00 0f 00 00 00"), kLog);
  EXPECT_EQ(call(span_cli_eventlog_session, command_), 0u);
  EXPECT_EQ(fake.calls(),
            "tarn_debug_dump(7, 0xfe000000, 68, [06 00 00 00 0f 00 00 00], \"span_debug_dump\")\n"
            "tarn_debug_dump(7, 0xfe000000, 68, [06 00 00 00 0f 00 00 00], \"fu_fsm_dump_fsm_log\")\n");
  EXPECT_EQ(heap::requests(), 0u);
}

TEST_F(Dump, OfSession1NamesIndex0) {
  command_.number(1);
  expect_dump(hex("06 00*7"), kDump);
  EXPECT_EQ(call(span_cli_dump_session, command_), 0u);
  expect_dump(hex("06 00*7"), kLog);
  EXPECT_EQ(call(span_cli_eventlog_session, command_), 0u);
}

TEST_F(Dump, TheIndexOfASessionIsTheLowByteOfItsNumberLess1) {
  const std::array<std::pair<uint32_t, uint8_t>, 5> cases = {
      {{0, 255}, {17, 16}, {256, 255}, {257, 0}, {0x01020304, 3}}};
  for (const auto& [number, index] : cases) {
    command_.number(number);
    expect_dump({6, 0, 0, 0, index, 0, 0, 0}, kDump);
    EXPECT_EQ(call(span_cli_dump_session, command_), 0u);
    expect_dump({6, 0, 0, 0, index, 0, 0, 0}, kLog);
    EXPECT_EQ(call(span_cli_eventlog_session, command_), 0u);
  }
}

TEST_F(Dump, WithoutASessionNamesIndex0) {
  expect_dump(hex("06 00*7"), kDump);
  EXPECT_EQ(call(span_cli_dump_session, command_), 0u);
  command_.number(5).keyword(3);
  expect_dump(hex("06 00*7"), kLog);
  EXPECT_EQ(call(span_cli_eventlog_session, command_), 0u);
}

// ---- Interfaces ------------------------------------------------------------------------------------------------------

TEST_F(Dump, OfAnInterfaceNamesItInNetworkOrder) {
  command_.number(3).interface(kFc2);
  expect_dump(hex("01 00 00 00 5b a5 b5 5a"), kDump);
  EXPECT_EQ(call(span_cli_dump_if, command_), 0u);
  expect_dump(hex("01 00 00 00 5b a5 b5 5a"), kLog);
  EXPECT_EQ(call(span_cli_eventlog_if, command_), 0u);
  EXPECT_EQ(heap::requests(), 0u);
}

TEST_F(Dump, OfAnInterfaceAsksForNothingAboutIt) {
  command_.interface(kUnknownIf);
  expect_dump(hex("01 00 00 00 25 a5 a5 5a"), kDump);
  EXPECT_EQ(call(span_cli_dump_if, command_), 0u);
  EXPECT_EQ(fake.calls("if_index") + fake.calls("sprintf"), "");
}

TEST_F(Dump, WithoutAnInterfaceNamesInterface0) {
  expect_dump(join({hex("01 00 00 00"), net_if(0)}), kDump);
  EXPECT_EQ(call(span_cli_dump_if, command_), 0u);
  command_.interface(kFc1).keyword(3);
  expect_dump(join({hex("01 00 00 00"), net_if(0)}), kLog);
  EXPECT_EQ(call(span_cli_eventlog_if, command_), 0u);
}

// ---- Keywords --------------------------------------------------------------------------------------------------------

TEST_F(Dump, OfGlobalInformationNamesTheLowByteOfTheLastKeyword) {
  for (const uint32_t id : {1u, 2u, 6u, 16u, 255u, 256u, 0x12345678u}) {
    command_.number(99).keyword(id);
    expect_dump({static_cast<uint8_t>(id), 0, 0, 0, 0, 0, 0, 0}, kDump);
    EXPECT_EQ(call(span_cli_dump_global_info, command_), 0u);
  }
}

TEST_F(Dump, OfGlobalInformationWithoutAKeywordNamesObject0) {
  expect_dump(hex("00*8"), kDump);
  EXPECT_EQ(call(span_cli_dump_global_info, command_), 0u);
}

TEST_F(Dump, OfStatisticsSendsTheKeywordBigEndian) {
  command_.number(99).keyword(258);
  expect_dump(hex("00 00 01 02"), "fu_fsm_tca_dump");
  EXPECT_EQ(call(span_cli_eventlog_stats, command_), 0u);
  command_.keyword(0xF1E2D3C4);
  expect_dump(hex("f1 e2 d3 c4"), "fu_fsm_tca_dump");
  EXPECT_EQ(call(span_cli_eventlog_stats, command_), 0u);
}

TEST_F(Dump, OfStatisticsWithoutAKeywordSendsZeros) {
  expect_dump(hex("00*4"), "fu_fsm_tca_dump");
  EXPECT_EQ(call(span_cli_eventlog_stats, command_), 0u);
}

class DumpMemory : public Dump {
 protected:
  void expect_mode(uint32_t mode) {
    expect_dump(join({host32(0), host32(mode), host32(5), host32(0xFFFFFFFF)}), "mtrack_dump_memstats");
  }
};

TEST_F(DumpMemory, Keyword8IsMode0) {
  command_.keyword(7).keyword(8);
  expect_mode(0);
  EXPECT_EQ(call(span_cli_dump_memstats, command_), 0u);
}

TEST_F(DumpMemory, AnyOtherKeywordIsMode1) {
  command_.keyword(8);
  for (const uint32_t id : {0u, 1u, 7u, 9u, 0x108u, 0x80000008u}) {
    command_.keyword(id);
    expect_mode(1);
    EXPECT_EQ(call(span_cli_dump_memstats, command_), 0u);
  }
}

TEST_F(DumpMemory, NoKeywordIsMode1) {
  expect_mode(1);
  EXPECT_EQ(call(span_cli_dump_memstats, command_), 0u);
}

TEST_F(DumpMemory, TheRecordIsFourWordsInHostOrder) {
  expect_mode(1);
  EXPECT_EQ(call(span_cli_dump_memstats, command_), 0u);
  EXPECT_EQ(fake.calls(),
            "tarn_debug_dump(7, 0xfe000000, 68, "
            "[00 00 00 00 01 00 00 00 05 00 00 00 ff ff ff ff], \"mtrack_dump_memstats\")\n");
}

// ---- Results ---------------------------------------------------------------------------------------------------------

TEST_F(Dump, EachReturnsTheResultOfTheServiceAndPrintsNothing) {
  constexpr std::array kHandlers = {span_cli_dump_memstats, span_cli_dump_global_info, span_cli_dump_session,
                                    span_cli_dump_if,       span_cli_eventlog_session, span_cli_eventlog_if,
                                    span_cli_eventlog_stats};
  command_.number(3);
  for (Handler* const handler : kHandlers) {
    for (const uint32_t result : {1u, 0x40340008u, 0xFFFFFFFFu}) {
      fake.expect("tarn_debug_dump(7, 0xfe000000, 68, ").returns(result);
      EXPECT_EQ(call(handler, command_), result);
    }
  }
  EXPECT_EQ(printed(), "");
}

TEST_F(Dump, EachGoesThroughTheQueueOfTheCommandEvenWithoutOne) {
  command_.number(3).queue(0);
  fake.expect("tarn_debug_dump(0, 0xfe000000, 68, ").times(7);
  for (Handler* const handler :
       {span_cli_dump_memstats, span_cli_dump_global_info, span_cli_dump_session, span_cli_dump_if,
        span_cli_eventlog_session, span_cli_eventlog_if, span_cli_eventlog_stats}) {
    EXPECT_EQ(call(handler, command_), 0u);
  }
}

TEST_F(Dump, TheSessionCommandDoesNothing) {
  EXPECT_EQ(call(span_cli_print_session_id, command_), 0u);
  EXPECT_EQ(span_cli_print_session_id(nullptr), 0u);
  expect_nothing_sent();
}

// ---- Tests -----------------------------------------------------------------------------------------------------------

class DumpTest : public Dump {
 protected:
  uint32_t test(uint32_t number) {
    command_.number(number);
    return call(span_cli_test, command_);
  }
};

TEST_F(DumpTest, Number0PrintsALineWithoutAnEndAndReturnsItsLength) {
  EXPECT_EQ(test(0), 22u);
  EXPECT_EQ(printed(), "span_cli_test: testing");
  expect_nothing_sent();
}

TEST_F(DumpTest, WithoutANumberIsNumber0) {
  EXPECT_EQ(call(span_cli_test, command_), 22u);
  EXPECT_EQ(printed(), "span_cli_test: testing");
}

TEST_F(DumpTest, Numbers1To5AreSent) {
  for (uint32_t number = 1; number <= 5; ++number) {
    expect_dump(join({hex("10 00 00 00"), host32(number)}), kDump).returns(number * 11);
    EXPECT_EQ(test(number), number * 11);
  }
}

TEST_F(DumpTest, AnyOtherNumberIsReturnedAsItIs) {
  for (const uint32_t number : {6u, 7u, 255u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(test(number), number);
  }
  expect_nothing_sent();
}

TEST_F(DumpTest, TheRecordHoldsAnyNumberInHostOrder) {
  expect_dump(join({hex("10 00 00 00"), host32(3)}), kDump);
  EXPECT_EQ(run([] { return span_cli_test_adb(7, 3); }), 0u);
  expect_dump(join({hex("10 00 00 00"), host32(0x01020304)}), kDump).returns(0xFFFFFFFF);
  EXPECT_EQ(run([] { return span_cli_test_adb(7, 0x01020304); }), 0xFFFFFFFFu);
  expect_dump(hex("10 00*7"), kDump);
  EXPECT_EQ(run([] { return span_cli_test_adb(7, 0); }), 0u);
}

TEST_F(DumpTest, TheQueueIsPassedOn) {
  fake.expect("tarn_debug_dump(85, 0xfe000000, 68, ").times(2);
  EXPECT_EQ(run([] { return span_cli_test_adb(85, 1); }), 0u);
  command_.queue(85);
  EXPECT_EQ(test(5), 0u);
}

}  // namespace
}  // namespace testkit
