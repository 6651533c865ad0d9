// Source VSANs of a session.
#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

class SourceVsan : public CliTest {
 protected:
  // Answers one request, which is not refused.
  void accept() { fake.expect_exchange(2002).gives(SourceConfigResult{.source_type = 3}.response()); }

  Command command_;
};

TEST_F(SourceVsan, SendsTheRangeForIngressWithOperation4) {
  command_.number(3).vsans(1, 10);
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_vsan, command_), 0u);
  EXPECT_TRUE(sent("02 01 04 03 00 02 00 00 7f e0 00*510 00 00 00 00"));
  EXPECT_EQ(fake.calls(), "vex_req_resp(2002, 3, [624 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n");
}

TEST_F(SourceVsan, NoFormSendsOperation8) {
  command_.number(16).vsans(4095, 4095).negated();
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_vsan, command_), 0u);
  EXPECT_TRUE(sent("0f 01 08 03 00 02 00 00 00*511 01 00 00 00 00"));
}

TEST_F(SourceVsan, OnlyTheNegatedValue1IsTheNoForm) {
  for (const uint32_t negated : {2u, 0x101u, 0xFFFFFF01u}) {
    Command command;
    command.number(1).vsans(0, 0).negated(negated);
    accept();
    EXPECT_EQ(call(span_cli_set_src_config_vsan, command), 0u);
    EXPECT_TRUE(sent("00 01 04 03 00 02 00 00 80 00*511 00 00 00 00")) << negated;
  }
}

TEST_F(SourceVsan, TakesTheLastTwoTokens) {
  command_.number(9).vsans(100, 200).keyword(4).number(0x305).vsans(8, 8);
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_vsan, command_), 0u);
  EXPECT_TRUE(sent("04 01 04 03 00 02 00 00 00 80 00*510 00 00 00 00"));
}

TEST_F(SourceVsan, VsansThatDoNotExistAreSkipped) {
  command_.number(1).vsans(4095, 0xFFFFFFFF);
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_vsan, command_), 0u);
  EXPECT_TRUE(sent("00 01 04 03 00 02 00 00 00*511 01 00 00 00 00"));
}

TEST_F(SourceVsan, ARangeThatEndsBeforeItStartsSendsNoVsan) {
  command_.number(1).vsans(10, 9);
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_vsan, command_), 0u);
  EXPECT_TRUE(sent("00 01 04 03 00 02 00 00 00*512 00 00 00 00"));
}

TEST_F(SourceVsan, RefusedVsansAreToldAndTheResultIs0) {
  command_.number(3).vsans(1, 10);
  fake.expect_exchange(2002).gives(
      SourceConfigResult{.source_type = 3, .result = 0x40340046, .refused = {{2, 4}, {9, 9}}}.response());
  EXPECT_EQ(call(span_cli_set_src_config_vsan, command_), 0u);
  EXPECT_EQ(printed(),
            "Following vsans are not allowed as a SPAN source\n"
            "2-4,9\n");
}

TEST_F(SourceVsan, TheOverallResultAloneIsNotTold) {
  command_.number(3).vsans(1, 10);
  fake.expect_exchange(2002).gives(SourceConfigResult{.source_type = 3, .result = 0x40340002}.response());
  EXPECT_EQ(call(span_cli_set_src_config_vsan, command_), 0u);
  EXPECT_EQ(printed(), "");
}

TEST_F(SourceVsan, TheSourceTypeOfTheResultPicksThePrinter) {
  command_.number(3).vsans(1, 10);
  fake.expect_exchange(2002).gives(SourceConfigResult{.source_type = 6, .result = 0x40340002}.response());
  EXPECT_EQ(call(span_cli_set_src_config_vsan, command_), 0u);
  EXPECT_EQ(printed(),
            "Configuration failed for the session filter \n"
            "status 0x40340002\n");
}

TEST_F(SourceVsan, AFailedExchangeWithoutAResultIsSilent) {
  command_.number(3).vsans(1, 10);
  fake.expect_exchange(2002).returns(0xFFFFFFFF);
  EXPECT_EQ(call(span_cli_set_src_config_vsan, command_), 1u);
  EXPECT_EQ(printed(), "");
}

TEST_F(SourceVsan, AFailedExchangeWithAResultPrintsIt) {
  command_.number(3).vsans(1, 10);
  fake.expect_exchange(2002).returns(5).gives(SourceConfigResult{.source_type = 3, .result = 0x4034003B}.response());
  EXPECT_EQ(call(span_cli_set_src_config_vsan, command_), 1u);
  EXPECT_EQ(printed(), "status 0x4034003b\n");
}

TEST_F(SourceVsan, KeepsSendingWithoutAQueue) {
  command_.number(3).vsans(1, 10).queue(0);
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_vsan, command_), 0u);
  EXPECT_EQ(fake.exchange().queue, 0u);
}

TEST_F(SourceVsan, WithoutMemoryNothingIsSentAndTheNextOneWorks) {
  command_.number(3).vsans(1, 10);
  heap::fail_nth(1);
  EXPECT_EQ(call(span_cli_set_src_config_vsan, command_), 1u);
  EXPECT_EQ(printed(), "error:[1] status 0x1\n");
  EXPECT_EQ(fake.calls(), "syserr2str(1)\n");
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_vsan, command_), 0u);
  EXPECT_EQ(heap::requests(), 2u);
}

}  // namespace
}  // namespace testkit
