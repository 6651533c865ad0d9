// The loop that every show command shares: which sessions, and what ends it.
#include <cstdio>

#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

void print_header() { std::puts("<header>"); }

void print_row(const span_cli_parms_t* parms, uint8_t unused, const void* record, uint8_t all_sessions) {
  std::printf("<session %d of queue %u: %d, %d>\n", *static_cast<const uint8_t*>(record) + 1, parms->queue, unused,
              all_sessions);
}

class ShowSession : public CliTest {
 protected:
  void show(uint32_t position, span_header_printer header = print_header, span_row_printer row = print_row) {
    EXPECT_EQ(run([&] { return span_cli_show_session_info_common(command_, position, header, row); }), 0u);
  }

  void answer(const SessionRecord& session) { fake.expect_exchange(2001).gives(session.response()); }

  void answer_sessions(uint8_t first, uint8_t last) {
    for (uint8_t number = first; number <= last; ++number) answer({.session = number});
  }

  // First bytes of the queries: the indexes that were asked for.
  Bytes asked() const {
    Bytes indexes;
    for (const Exchange& exchange : fake.exchanges) indexes.push_back(exchange.payload.at(0));
    return indexes;
  }

  Command command_;
};

// ---- Which sessions --------------------------------------------------------------------------------------------------

TEST_F(ShowSession, ANumberAsksForThatSession) {
  command_.keyword(9).number(3).keyword(9);
  answer({.session = 3});
  show(2);
  EXPECT_EQ(printed(),
            "<header>\n"
            "<session 3 of queue 7: 0, 0>\n");
  EXPECT_EQ(fake.exchange().payload.size(), 4u);
  EXPECT_TRUE(same_bytes(asked(), hex("02")));
  EXPECT_EQ(fake.calls(), "vex_req_resp(2001, 1, [4 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n");
}

TEST_F(ShowSession, Position0AsksForAllSessions) {
  command_.number(3);
  answer_sessions(1, 16);
  show(0, nullptr);
  EXPECT_EQ(printed(),
            "<session 1 of queue 7: 0, 1>\n"
            "<session 2 of queue 7: 0, 1>\n"
            "<session 3 of queue 7: 0, 1>\n"
            "<session 4 of queue 7: 0, 1>\n"
            "<session 5 of queue 7: 0, 1>\n"
            "<session 6 of queue 7: 0, 1>\n"
            "<session 7 of queue 7: 0, 1>\n"
            "<session 8 of queue 7: 0, 1>\n"
            "<session 9 of queue 7: 0, 1>\n"
            "<session 10 of queue 7: 0, 1>\n"
            "<session 11 of queue 7: 0, 1>\n"
            "<session 12 of queue 7: 0, 1>\n"
            "<session 13 of queue 7: 0, 1>\n"
            "<session 14 of queue 7: 0, 1>\n"
            "<session 15 of queue 7: 0, 1>\n"
            "<session 16 of queue 7: 0, 1>\n");
  EXPECT_TRUE(same_bytes(asked(), hex("00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f")));
}

TEST_F(ShowSession, ATokenWithoutAValueAsksForAllSessions) {
  command_.number(3).keyword(9);
  answer_sessions(1, 16);
  show(2, nullptr, nullptr);
  EXPECT_EQ(asked().size(), 16u);
}

TEST_F(ShowSession, ATokenOfAnotherTypeAsksForSession0) {
  command_.interface(5);
  answer({.session = 1});
  show(1, nullptr);
  EXPECT_EQ(printed(), "<session 1 of queue 7: 0, 0>\n");
  EXPECT_TRUE(same_bytes(asked(), hex("ff")));
}

TEST_F(ShowSession, TheNumber0AsksForSession0) {
  command_.number(0);
  answer({.session = 1, .configured = 0});
  show(1);
  EXPECT_EQ(printed(),
            "<header>\n"
            "<session 1 of queue 7: 0, 0>\n");
  EXPECT_TRUE(same_bytes(asked(), hex("ff")));
}

TEST_F(ShowSession, TheNumber255IsStillOneSession) {
  command_.number(255);
  answer({.session = 1});
  show(1, nullptr, nullptr);
  EXPECT_TRUE(same_bytes(asked(), hex("fe")));
}

TEST_F(ShowSession, KeepsStartingAtTheLowByteAndEndingAtTheWholeNumber) {
  command_.number(258);
  const Bytes response = SessionRecord{.session = 1}.response();
  fake.expect_exchange(2001).gives(response).times(257);
  show(1, nullptr, nullptr);
  ASSERT_EQ(asked().size(), 257u);
  EXPECT_TRUE(same_bytes(slice(asked(), 0, 3), hex("01 02 03")));
  EXPECT_TRUE(same_bytes(slice(asked(), 253, 4), hex("fe ff 00 01")));
}

TEST_F(ShowSession, KeepsTheEndAs32Bits) {
  command_.number(0xFFFFFFFF);
  show(1);
  EXPECT_EQ(printed(), "");
  EXPECT_EQ(fake.calls(), "");
}

// ---- Header and rows -------------------------------------------------------------------------------------------------

TEST_F(ShowSession, TheHeaderWaitsForTheFirstConfiguredSession) {
  answer({.session = 1, .configured = 0});
  answer({.session = 2, .configured = 1});
  answer({.session = 3, .configured = 0});
  answer({.session = 4, .configured = 255});
  fake.expect_exchange(2001).returns(1);
  fake.quill_errno = 5;
  fake.expect("brio_print_quill_error_message(2, 5)");
  show(0);
  EXPECT_EQ(printed(),
            "<session 1 of queue 7: 0, 1>\n"
            "<header>\n"
            "<session 2 of queue 7: 0, 1>\n"
            "<session 3 of queue 7: 0, 1>\n"
            "<session 4 of queue 7: 0, 1>\n");
}

TEST_F(ShowSession, TheHeaderOfOneSessionDoesNotWait) {
  command_.number(2);
  answer({.session = 2, .configured = 0});
  show(1);
  EXPECT_EQ(printed(),
            "<header>\n"
            "<session 2 of queue 7: 0, 0>\n");
}

TEST_F(ShowSession, WithoutARowPrinterThereIsNoHeader) {
  command_.number(2);
  answer({.session = 2});
  show(1, print_header, nullptr);
  EXPECT_EQ(printed(), "");
}

TEST_F(ShowSession, OtherManagerStatusesAreNotTested) {
  command_.number(2);
  fake.expect_exchange(2001).gives(SessionRecord{.session = 2}.response(0x40340002));
  show(1);
  EXPECT_EQ(printed(),
            "<header>\n"
            "<session 2 of queue 7: 0, 0>\n");
}

TEST_F(ShowSession, TheDetailedCommandReadsTheLastToken) {
  command_.number(9).number(3);
  answer({.session = 3, .configured = 0});
  EXPECT_EQ(call(span_cli_show_session_info, command_), 0u);
  EXPECT_EQ(printed(), "Session 3 is not configured\n");
  EXPECT_TRUE(same_bytes(asked(), hex("02")));
}

// ---- What ends the command -------------------------------------------------------------------------------------------

TEST_F(ShowSession, AStandbyManagerEndsTheCommand) {
  fake.status_texts[0x4034002B] = "manager is a stateless standby";
  answer({.session = 1});
  fake.expect_exchange(2001).gives(SessionRecord{.session = 2}.response(0x4034002B));
  show(0);
  EXPECT_EQ(printed(),
            "<header>\n"
            "<session 1 of queue 7: 0, 1>\n"
            "manager is a stateless standby\n");
  EXPECT_EQ(fake.exchanges.size(), 2u);
}

TEST_F(ShowSession, AStandbyManagerNeedsNoRecord) {
  command_.number(1);
  fake.expect_exchange(2001).gives(be32(0x4034002B));
  EXPECT_EQ(call(span_cli_show_session_info, command_), 0u);
  EXPECT_EQ(printed(), "status 0x4034002b\n");
}

TEST_F(ShowSession, AFailedExchangeShowsTheTransportErrorBehindTheSessionsSoFar) {
  answer({.session = 1});
  answer({.session = 2});
  fake.expect_exchange(2001).returns(0xFFFFFFFF);
  fake.quill_errno = 113;
  fake.expect("brio_print_quill_error_message(2, 113)").does([] { std::puts("<transport error>"); });
  EXPECT_EQ(call(span_cli_show_session_info, command_), 0u);
  EXPECT_EQ(printed(),
            "Session 1 (active)\n"
            "   Destination is not configured\n"
            "   No session filters configured\n"
            "   No ingress (rx) sources\n"
            "   No egress (tx) sources\n"
            "\n"
            "Session 2 (active)\n"
            "   Destination is not configured\n"
            "   No session filters configured\n"
            "   No ingress (rx) sources\n"
            "   No egress (tx) sources\n"
            "\n"
            "<transport error>\n");
  EXPECT_EQ(fake.calls("quill"), "quill_errno_get(7)\n");
}

TEST_F(ShowSession, AnyResultOfTheExchangeButZeroIsATransportError) {
  for (const uint32_t result : {1u, 0x40340015u, 0x40340008u}) {
    fake.expect_exchange(2001).returns(result).gives(SessionRecord{.session = 1}.response());
    fake.quill_errno = result;
    fake.expect("brio_print_quill_error_message");
    show(0);
    EXPECT_EQ(printed(), "");
  }
}

TEST_F(ShowSession, WithoutAQueueTheCommandCannotBeCompleted) {
  command_.number(3).queue(0);
  for (Handler* const handler : {span_cli_show_session_info, span_cli_show_session_info_brief}) {
    EXPECT_EQ(call(handler, command_), 0u);
    EXPECT_EQ(printed(),
              "Invalid param\n"
              "Command could not be completed\n");
  }
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(ShowSession, WithoutMemoryEachCommandCannotBeCompleted) {
  command_.number(3);
  for (Handler* const handler : {span_cli_show_session_info, span_cli_show_session_info_brief}) {
    heap::fail_nth(1);
    EXPECT_EQ(call(handler, command_), 0u);
    EXPECT_EQ(printed(),
              "Malloc error in res payload.\n"
              "Command could not be completed\n");
  }
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(ShowSession, WithoutMemoryTheSessionsSoFarStayAndTheNextOneWorks) {
  std::string rows;
  for (uint8_t number = 1; number <= 16; ++number) {
    answer_sessions(1, static_cast<uint8_t>(number - 1));
    heap::fail_nth(number);
    show(0, nullptr);
    EXPECT_EQ(printed(), rows +
                             "Malloc error in res payload.\n"
                             "Command could not be completed\n");
    rows += "<session " + std::to_string(number) + " of queue 7: 0, 1>\n";
  }
  const size_t before = heap::requests();
  answer_sessions(1, 16);
  show(0, nullptr);
  EXPECT_EQ(printed(), rows);
  EXPECT_EQ(heap::requests() - before, 16u);
}

}  // namespace
}  // namespace testkit
