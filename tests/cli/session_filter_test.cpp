// VSANs that restrict a session.
#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

constexpr uint32_t kFilterVsans = 6;  // id of the range that ends a command without a direction

class SessionFilter : public CliTest {
 protected:
  void accept() { fake.expect_exchange(2002).gives(SourceConfigResult{.source_type = 6}.response()); }

  Command command_;
};

TEST_F(SessionFilter, WithoutADirectionSendsBothWithOperation16) {
  command_.number(3).vsans(1, 10, kFilterVsans);
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_ssn_filter, command_), 0u);
  EXPECT_TRUE(sent("02 03 10 06 00 02 00 00 7f e0 00*510 00 00 00 00"));
  EXPECT_EQ(fake.calls(), "vex_req_resp(2002, 3, [624 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n");
}

TEST_F(SessionFilter, NoFormSendsOperation32) {
  command_.number(16).vsans(0, 4095, kFilterVsans).negated();
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_ssn_filter, command_), 0u);
  EXPECT_TRUE(sent("0f 03 20 06 00 02 00 00 ff*512 00 00 00 00"));
}

TEST_F(SessionFilter, OnlyTheNegatedValue1IsTheNoForm) {
  for (const uint32_t negated : {2u, 0x101u, 0xFFFFFF01u}) {
    Command command;
    command.number(1).vsans(0, 0, kFilterVsans).negated(negated);
    accept();
    EXPECT_EQ(call(span_cli_set_src_config_ssn_filter, command), 0u);
    EXPECT_TRUE(sent("00 03 10 06 00 02 00 00 80 00*511 00 00 00 00")) << negated;
  }
}

TEST_F(SessionFilter, WithoutADirectionTakesTheLastTwoTokens) {
  command_.number(9).vsans(100, 200).keyword(2).number(0x305).vsans(8, 8, kFilterVsans);
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_ssn_filter, command_), 0u);
  EXPECT_TRUE(sent("04 03 10 06 00 02 00 00 00 80 00*510 00 00 00 00"));
}

TEST_F(SessionFilter, WithADirectionTakesTheTwoTokensBeforeIt) {
  command_.number(9).vsans(100, 200, kFilterVsans).number(0x305).vsans(8, 8, kFilterVsans).keyword(3);
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_ssn_filter, command_), 0u);
  EXPECT_TRUE(sent("04 03 10 06 00 02 00 00 00 80 00*510 00 00 00 00"));
}

TEST_F(SessionFilter, KeepsSendingTheIdOfTheKeywordAsDirection) {
  struct Case {
    uint32_t id;
    uint8_t direction;
  };
  for (const auto& [id, direction] : {Case{1, 1}, {2, 2}, {3, 3}, {5, 5}, {0x102, 2}}) {
    Command command;
    command.number(2).vsans(1, 1).keyword(id);
    accept();
    EXPECT_EQ(call(span_cli_set_src_config_ssn_filter, command), 0u);
    EXPECT_EQ(fake.exchange().payload[101], direction) << id;
  }
}

TEST_F(SessionFilter, NoFormWithADirectionSendsOperation32) {
  command_.number(2).vsans(1, 1).keyword(2).negated();
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_ssn_filter, command_), 0u);
  EXPECT_TRUE(sent("01 02 20 06 00 02 00 00 40 00*511 00 00 00 00"));
}

TEST_F(SessionFilter, RefusedVsansAreToldAndTheResultIs0) {
  command_.number(3).vsans(1, 10, kFilterVsans);
  fake.expect_exchange(2002).gives(
      SourceConfigResult{.source_type = 6, .result = 0x40340046, .refused = {{1, 2}, {4, 4}}}.response());
  EXPECT_EQ(call(span_cli_set_src_config_ssn_filter, command_), 0u);
  EXPECT_EQ(printed(),
            "Following vsans are not allowed as SPAN session filters\n"
            "1-2,4\n");
}

TEST_F(SessionFilter, ARefusalAsAWholeIsToldInTwoLines) {
  command_.number(3).vsans(1, 10, kFilterVsans);
  fake.expect_exchange(2002).gives(SourceConfigResult{.source_type = 6, .result = 0x40340002}.response());
  EXPECT_EQ(call(span_cli_set_src_config_ssn_filter, command_), 0u);
  EXPECT_EQ(printed(),
            "Configuration failed for the session filter \n"
            "status 0x40340002\n");
}

TEST_F(SessionFilter, AFailedExchangeWithoutAResultIsSilent) {
  command_.number(3).vsans(1, 10, kFilterVsans);
  fake.expect_exchange(2002).returns(0xFFFFFFFF);
  EXPECT_EQ(call(span_cli_set_src_config_ssn_filter, command_), 1u);
  EXPECT_EQ(printed(), "");
}

TEST_F(SessionFilter, AFailedExchangeWithAResultPrintsIt) {
  command_.number(3).vsans(1, 10, kFilterVsans);
  fake.expect_exchange(2002).returns(5).gives(
      SourceConfigResult{.source_type = 6, .result = 1, .refused = {{7, 7}}}.response());
  EXPECT_EQ(call(span_cli_set_src_config_ssn_filter, command_), 1u);
  EXPECT_EQ(printed(),
            "Following vsans are not allowed as SPAN session filters\n"
            "7\n");
}

TEST_F(SessionFilter, KeepsSendingWithoutAQueue) {
  command_.number(3).vsans(1, 10, kFilterVsans).queue(0);
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_ssn_filter, command_), 0u);
  EXPECT_EQ(fake.exchange().queue, 0u);
}

TEST_F(SessionFilter, WithoutMemoryNothingIsSentAndTheNextOneWorks) {
  command_.number(3).vsans(1, 10, kFilterVsans);
  heap::fail_nth(1);
  EXPECT_EQ(call(span_cli_set_src_config_ssn_filter, command_), 1u);
  EXPECT_EQ(printed(), "error:[1] status 0x1\n");
  EXPECT_EQ(fake.calls(), "syserr2str(1)\n");
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_ssn_filter, command_), 0u);
  EXPECT_EQ(heap::requests(), 2u);
}

}  // namespace
}  // namespace testkit
