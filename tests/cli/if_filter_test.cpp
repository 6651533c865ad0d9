// VSAN filter on source interfaces.
#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

constexpr uint32_t kVsanKeyword = 4;  // between the interfaces and the VSANs

class IfFilter : public CliTest {
 protected:
  void accept() { fake.expect_exchange(2002).gives(SourceConfigResult{}.response()); }

  // Bytes 100 to 103 of what is sent for one interface: session index, direction, operation, source type.
  Bytes head_for(uint32_t if_index) {
    Command command;
    command.number(1).interfaces({{if_index, if_index}}).keyword(kVsanKeyword).vsans(1, 1);
    accept();
    EXPECT_EQ(call(span_cli_set_src_config_if_dir_filter, command), 0u);
    return slice(fake.exchange().payload, 100, 4);
  }

  Command command_;
};

TEST_F(IfFilter, WithoutADirectionSendsBothWithOperation1) {
  command_.number(3).interfaces({{kFc1, kFc2}}).keyword(kVsanKeyword).vsans(1, 10);
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_if_dir_filter, command_), 0u);
  EXPECT_TRUE(sent("02 03 01 01 00 02 00 00 7f e0 00*510 00 00 00 01 5b a5 a5 5a 5b a5 b5 5a"));
}

TEST_F(IfFilter, KeepsOperation2ForTheNoForm) {
  command_.number(16).interfaces({{kFc1, kFc1}}).keyword(kVsanKeyword).vsans(0, 0).negated();
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_if_dir_filter, command_), 0u);
  EXPECT_TRUE(sent("0f 03 02 01 00 02 00 00 80 00*511 00 00 00 01 5b a5 a5 5a 5b a5 a5 5a"));
}

TEST_F(IfFilter, OnlyTheNegatedValue1IsTheNoForm) {
  for (const uint32_t negated : {2u, 0x101u, 0xFFFFFF01u}) {
    Command command;
    command.number(1).interfaces({{kFc1, kFc1}}).keyword(kVsanKeyword).vsans(1, 1).negated(negated);
    accept();
    EXPECT_EQ(call(span_cli_set_src_config_if_dir_filter, command), 0u);
    EXPECT_EQ(fake.exchange().payload[102], 1) << negated;
  }
}

TEST_F(IfFilter, WithoutADirectionTakesTheLastFourTokens) {
  command_.number(9).interfaces({{kFc1, kFc1}}).keyword(2);
  command_.number(0x305).interfaces({{kFc2, kFc2}}).keyword(1).vsans(8, 8);
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_if_dir_filter, command_), 0u);
  EXPECT_TRUE(sent("04 03 01 01 00 02 00 00 00 80 00*510 00 00 00 01 5b a5 b5 5a 5b a5 b5 5a"));
}

TEST_F(IfFilter, WithADirectionTakesTheLastFiveTokens) {
  command_.number(9).interfaces({{kFc1, kFc1}}).keyword(1);
  command_.number(0x305).interfaces({{kFc2, kFc2}}).keyword(3).keyword(1).vsans(8, 8);
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_if_dir_filter, command_), 0u);
  EXPECT_TRUE(sent("04 02 01 01 00 02 00 00 00 80 00*510 00 00 00 01 5b a5 b5 5a 5b a5 b5 5a"));
}

TEST_F(IfFilter, TheIdsOfTheListAndOfTheKeywordBehindItDoNotMatterWithADirection) {
  command_.number(2).interfaces({{kFc1, kFc1}}, 0x77).keyword(2).number(17, 17).vsans(1, 1, 6);
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_if_dir_filter, command_), 0u);
  EXPECT_TRUE(sent("01 01 01 01 00 02 00 00 40 00*511 00 00 00 01 5b a5 a5 5a 5b a5 a5 5a"));
}

TEST_F(IfFilter, AnyKeywordButEgressMeansIngress) {
  struct Case {
    uint32_t id;
    uint8_t direction;
  };
  for (const auto& [id, direction] : {Case{2, 1}, {3, 2}, {4, 1}, {0, 1}, {0x103, 1}}) {
    Command command;
    command.number(1).interfaces({{kFc1, kFc1}}).keyword(id).keyword(kVsanKeyword).vsans(1, 1);
    accept();
    EXPECT_EQ(call(span_cli_set_src_config_if_dir_filter, command), 0u);
    EXPECT_EQ(fake.exchange().payload[101], direction) << id;
  }
}

// ---- Source type -----------------------------------------------------------------------------------------------------

TEST_F(IfFilter, APortChannelOfSubtype0IsSourceType2) {
  EXPECT_TRUE(same_bytes(head_for(kPortChannel), hex("00 03 01 02")));
  EXPECT_EQ(fake.calls("if_index"),
            "if_index_get_type(0x4000003)\n"
            "if_index_port_channel_get_subtype(0x4000003)\n");
}

TEST_F(IfFilter, APortChannelOfAnotherSubtypeIsSourceType1) {
  EXPECT_TRUE(same_bytes(head_for(kPortChannel1), hex("00 03 01 01")));
  EXPECT_TRUE(same_bytes(head_for(kPortChannel2), hex("00 03 01 01")));
}

TEST_F(IfFilter, APortChannelWithoutASubtypeIsSourceType1) {
  fake.interfaces[kPortChannel].subtype.reset();
  EXPECT_TRUE(same_bytes(head_for(kPortChannel), hex("00 03 01 01")));
}

TEST_F(IfFilter, AnInterfaceOfType6IsSourceType7) {
  EXPECT_TRUE(same_bytes(head_for(kInband), hex("00 03 01 07")));
  EXPECT_EQ(fake.calls("if_index"),
            "if_index_get_type(0x6000000)\n"
            "if_index_get_type(0x6000000)\n");
}

TEST_F(IfFilter, AnUnknownInterfaceIsSourceType1) { EXPECT_TRUE(same_bytes(head_for(kUnknownIf), hex("00 03 01 01"))); }

TEST_F(IfFilter, AServiceModuleInterfaceIsSentAsItIs) {
  EXPECT_TRUE(same_bytes(head_for(kSvc), hex("00 03 01 01")));
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 620, 100), hex("00 00 00 01 56 a5 a5 5a 56 a5 a5 5a")));
}

TEST_F(IfFilter, TheFirstInterfaceOfTheFirstRangeDecides) {
  command_.number(1).interfaces({{kFc1, kPortChannel}, {kInband, kInband}}).keyword(kVsanKeyword).vsans(1, 1);
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_if_dir_filter, command_), 0u);
  EXPECT_EQ(fake.exchange().payload[103], 1);
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 620, 100),
                         hex("00 00 00 02 5b a5 a5 5a 5e a5 a5 59 5c a5 a5 5a 5c a5 a5 5a")));
}

TEST_F(IfFilter, All64RangesAreSent) {
  Ranges ranges;
  Bytes tail = be32(64);
  for (uint32_t i = 0; i < 64; ++i) {
    ranges.push_back({kFc1 + i, kFc1 + i + 100});
    tail = join({tail, net_if(kFc1 + i), net_if(kFc1 + i + 100)});
  }
  command_.number(1).interfaces(ranges).keyword(kVsanKeyword).vsans(1, 1);
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_if_dir_filter, command_), 0u);
  EXPECT_EQ(fake.exchange().payload.size(), 624u + 8 * 64);
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 620, 1000), tail));
}

// ---- Outcome ---------------------------------------------------------------------------------------------------------

TEST_F(IfFilter, RefusedInterfacesAreToldAndTheResultIs0) {
  command_.number(3).interfaces({{kFc1, kFc2}}).keyword(kVsanKeyword).vsans(1, 10);
  fake.expect_exchange(2002).gives(
      SourceConfigResult{.source_type = 1, .result = 0x40340045, .interfaces = {{kFc1, 0}, {kFc2, 0x40340004}}}
          .response());
  EXPECT_EQ(call(span_cli_set_src_config_if_dir_filter, command_), 0u);
  EXPECT_EQ(printed(),
            "=================================================\n"
            "Configuration failed on the following interface(s)\n"
            "=================================================\n"
            "fc1/2 status 0x40340004\n");
}

TEST_F(IfFilter, TheOverallResultAloneIsNotTold) {
  command_.number(3).interfaces({{kFc1, kFc1}}).keyword(kVsanKeyword).vsans(1, 10);
  fake.expect_exchange(2002).gives(SourceConfigResult{.source_type = 1, .result = 0x40340002}.response());
  EXPECT_EQ(call(span_cli_set_src_config_if_dir_filter, command_), 0u);
  EXPECT_EQ(printed(), "");
}

TEST_F(IfFilter, AFailedExchangeWithoutAResultIsSilent) {
  command_.number(3).interfaces({{kFc1, kFc1}}).keyword(kVsanKeyword).vsans(1, 10);
  fake.expect_exchange(2002).returns(0xFFFFFFFF);
  EXPECT_EQ(call(span_cli_set_src_config_if_dir_filter, command_), 1u);
  EXPECT_EQ(printed(), "");
}

TEST_F(IfFilter, AFailedExchangeWithAResultPrintsIt) {
  command_.number(3).interfaces({{kFc1, kFc1}}).keyword(kVsanKeyword).vsans(1, 10);
  fake.expect_exchange(2002).returns(5).gives(
      SourceConfigResult{.source_type = 7, .interfaces = {{kInband, 0x40340045}}}.response());
  EXPECT_EQ(call(span_cli_set_src_config_if_dir_filter, command_), 1u);
  EXPECT_EQ(printed(),
            "=================================================\n"
            "Configuration failed on the following interface(s)\n"
            "=================================================\n"
            "sup-fc0 status 0x40340045\n");
}

TEST_F(IfFilter, KeepsSendingWithoutAQueue) {
  command_.number(3).interfaces({{kFc1, kFc1}}).keyword(kVsanKeyword).vsans(1, 10).queue(0);
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_if_dir_filter, command_), 0u);
  EXPECT_EQ(fake.exchange().queue, 0u);
}

TEST_F(IfFilter, WithoutMemoryNothingIsSentAndTheNextOneWorks) {
  command_.number(3).interfaces({{kFc1, kFc1}}).keyword(kVsanKeyword).vsans(1, 10);
  heap::fail_nth(1);
  EXPECT_EQ(call(span_cli_set_src_config_if_dir_filter, command_), 1u);
  EXPECT_EQ(printed(), "error:[1] status 0x1\n");
  EXPECT_TRUE(fake.exchanges.empty());
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_if_dir_filter, command_), 0u);
  EXPECT_EQ(heap::requests(), 2u);
}

}  // namespace
}  // namespace testkit
