// The drop threshold: showing and setting it.
#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

class DropThreshold : public CliTest {
 protected:
  // The request, encoded; what becomes of it comes next.
  Script& expect_encoding(uint32_t threshold, uint32_t operation) {
    const std::string record = to_hex(join({host32(threshold), host32(operation), host32(0)}));
    return fake.expect("tlvu_table_convert_struct_to_tlv(span_global_info_payload_t, [" + record + "], 0, 0, 0)")
        .gives({0x11, 0x22});
  }

  // A request of which the manager's answer arrives; its decoding.
  Script& expect_answer(uint32_t threshold, uint32_t operation) {
    expect_encoding(threshold, operation);
    fake.expect_exchange(2019).gives({0, 9});
    fake.expect("tlv_array_size_get(response, 1)");
    return fake.expect("tlvu_table_convert_tlv_to_struct(response, 0, span_global_info_payload_t, 0)");
  }

  static Bytes reply(uint32_t threshold, uint32_t operation, uint32_t result) {
    return join({host32(threshold), host32(operation), host32(result)});
  }

  uint32_t show() { return call(span_cli_get_drop_threshold, command_); }
  uint32_t set() { return call(span_cli_set_drop_threshold, command_); }

  Command command_;
};

// ---- Showing it ------------------------------------------------------------------------------------------------------

using ShowDropThreshold = DropThreshold;

TEST_F(ShowDropThreshold, PrintsTheManagersNumber) {
  expect_answer(0, 1).gives(reply(2000, 1, 0));
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(), "Max-Queued-Packets for SPAN sessions: 2000\n");
  EXPECT_EQ(fake.calls("vex"), "vex_req_resp(2019, 1, [2 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n");
  EXPECT_TRUE(same_bytes(fake.exchange().payload, {0x11, 0x22}));
  EXPECT_EQ(heap::requests(), 0u);
}

TEST_F(ShowDropThreshold, KeepsTheNumberSigned) {
  expect_answer(0, 1).gives(reply(0xFFFFFFFF, 1, 0));
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(), "Max-Queued-Packets for SPAN sessions: -1\n");
  expect_answer(0, 1).gives(reply(0x80000000, 1, 0));
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(), "Max-Queued-Packets for SPAN sessions: -2147483648\n");
}

TEST_F(ShowDropThreshold, PrintsTheNumberWhateverElseTheReplySays) {
  expect_answer(0, 1).gives(reply(0, 7, 0x40340008));
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(), "Max-Queued-Packets for SPAN sessions: 0\n");
  EXPECT_EQ(fake.calls("syserr2str"), "");
}

TEST_F(ShowDropThreshold, ReadsNoToken) {
  command_.number(5).negated();
  expect_answer(0, 1).gives(reply(6, 1, 0));
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(), "Max-Queued-Packets for SPAN sessions: 6\n");
}

TEST_F(ShowDropThreshold, WithoutAReplyPrintsNothing) {
  expect_answer(0, 1);
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(), "");
}

TEST_F(ShowDropThreshold, TellsAFailedExchangeAsASignedNumber) {
  expect_encoding(0, 1);
  fake.expect_exchange(2019).returns(0xFFFFFFFF).gives({0});
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(), "command show drop-threshold failed: 1077149717\n");
}

TEST_F(ShowDropThreshold, TellsTheCodecsStatusOfARequest) {
  expect_encoding(0, 1).returns(0xFFFFFFFE);
  fake.expect("tlvu_error_print");
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(), "command show drop-threshold failed: -2\n");
}

TEST_F(ShowDropThreshold, TellsTheCodecsStatusOfAReplyAndReleasesWhatItLeft) {
  expect_answer(0, 1).returns(0x1F).gives(reply(8, 1, 0));
  fake.expect("tlvu_error_print");
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(),
            "span_global_info: global info convert to struct failed \n"
            "command show drop-threshold failed: 31\n");
}

TEST_F(ShowDropThreshold, WithoutAQueueSendsNothing) {
  command_.queue(0);
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(),
            "Invalid param\n"
            "command show drop-threshold failed: 1077149717\n");
  EXPECT_EQ(fake.calls(), "");
}

// ---- Setting it ------------------------------------------------------------------------------------------------------

using SetDropThreshold = DropThreshold;

TEST_F(SetDropThreshold, SendsTheLastNumber) {
  command_.number(1).keyword(2).number(0x01020304);
  expect_answer(0x01020304, 0).gives(reply(0x01020304, 0, 0));
  EXPECT_EQ(set(), 0u);
  EXPECT_EQ(printed(), "");
  EXPECT_EQ(fake.calls("vex"), "vex_req_resp(2019, 3, [2 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n");
  EXPECT_EQ(heap::requests(), 0u);
}

TEST_F(SetDropThreshold, ChecksNoRange) {
  for (const uint32_t value : {0u, 1u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
    command_.number(value);
    expect_answer(value, 0).gives(reply(value, 0, 0));
    EXPECT_EQ(set(), 0u);
  }
}

TEST_F(SetDropThreshold, TheNoFormSendsAllOnesWhateverWasEntered) {
  command_.negated();
  expect_answer(0xFFFFFFFF, 0);
  EXPECT_EQ(set(), 0u);
  command_.number(2000);
  expect_answer(0xFFFFFFFF, 0);
  EXPECT_EQ(set(), 0u);
  EXPECT_EQ(printed(), "");
}

TEST_F(SetDropThreshold, OnlyANegationOf1IsTheNoForm) {
  for (const uint32_t negated : {0u, 2u, 0x101u, 0xFFFFFFFFu}) {
    command_.negated(negated).number(2000);
    expect_answer(2000, 0);
    EXPECT_EQ(set(), 0u);
  }
}

TEST_F(SetDropThreshold, WithoutATokenSends0) {
  expect_answer(0, 0);
  EXPECT_EQ(set(), 0u);
}

TEST_F(SetDropThreshold, WithoutAValueSends0) {
  command_.number(2000).keyword(4);
  expect_answer(0, 0);
  EXPECT_EQ(set(), 0u);
}

TEST_F(SetDropThreshold, TellsTheManagersRefusal) {
  fake.status_texts[0x40340021] = "threshold out of range";
  command_.number(1);
  expect_answer(1, 0).gives(reply(1, 0, 0x40340021));
  EXPECT_EQ(set(), 0u);
  EXPECT_EQ(printed(), "threshold out of range\n");
}

TEST_F(SetDropThreshold, WithoutAReplyPrintsNothing) {
  command_.number(1);
  expect_answer(1, 0);
  EXPECT_EQ(set(), 0u);
  EXPECT_EQ(printed(), "");
}

TEST_F(SetDropThreshold, TellsAFailedExchangeAsASignedNumber) {
  command_.number(1);
  expect_encoding(1, 0);
  fake.expect_exchange(2019).returns(1).gives({0});
  EXPECT_EQ(set(), 0u);
  EXPECT_EQ(printed(), "command set drop-threshold failed: 1077149717\n");
}

TEST_F(SetDropThreshold, TellsTheCodecsStatusOfARequest) {
  command_.number(1);
  expect_encoding(1, 0).returns(0xFFFFFFFF);
  fake.expect("tlvu_error_print");
  EXPECT_EQ(set(), 0u);
  EXPECT_EQ(printed(), "command set drop-threshold failed: -1\n");
}

TEST_F(SetDropThreshold, TellsTheCodecsStatusOfAReplyAndNotItsResult) {
  command_.number(1);
  expect_answer(1, 0).returns(5).gives(reply(1, 0, 0x40340021));
  fake.expect("tlvu_error_print");
  EXPECT_EQ(set(), 0u);
  EXPECT_EQ(printed(),
            "span_global_info: global info convert to struct failed \n"
            "command set drop-threshold failed: 5\n");
  EXPECT_EQ(fake.calls("syserr2str"), "");
}

TEST_F(SetDropThreshold, WithoutAQueueSendsNothing) {
  command_.queue(0).number(1);
  EXPECT_EQ(set(), 0u);
  EXPECT_EQ(printed(),
            "Invalid param\n"
            "command set drop-threshold failed: 1077149717\n");
  EXPECT_EQ(fake.calls(), "");
}

}  // namespace
}  // namespace testkit
