// Source interfaces of a session, with direction.
#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

constexpr uint32_t kIngress = 2;
constexpr uint32_t kEgress = 3;
constexpr uint32_t kTrafficKeyword = 4;  // between the interfaces and the traffic type
constexpr uint32_t kTrafficTypes[] = {17, 18, 19};

// ---- Arguments -------------------------------------------------------------------------------------------------------

class SourceIfArguments : public CliTest {
 protected:
  void get(const Command& command) {
    EXPECT_EQ(run([&] { return span_get_set_src_config_cli_params(command, &list_, &session_, &index_, &direction_); }),
              0u);
  }

  void* list_ = nullptr;
  uint32_t* session_ = nullptr;
  uint8_t index_ = 77;
  uint8_t direction_ = 99;
  Command command_;
};

TEST_F(SourceIfArguments, AListAtTheEndHasTheSessionBeforeItAndLeavesTheDirection) {
  command_.number(9).number(0x103).interfaces({{kFc1, kFc1}});
  get(command_);
  EXPECT_EQ(list_, command_.value(3));
  EXPECT_EQ(session_, command_.value(2));
  EXPECT_EQ(index_, 2);
  EXPECT_EQ(direction_, 99);
}

TEST_F(SourceIfArguments, ADirectionAtTheEndHasTheListBeforeIt) {
  for (const uint32_t id : {kIngress, kEgress}) {
    Command command;
    command.number(9).number(4).interfaces({{kFc1, kFc1}}, 0x77).keyword(id);
    get(command);
    EXPECT_EQ(list_, command.value(3)) << id;
    EXPECT_EQ(session_, command.value(2)) << id;
    EXPECT_EQ(index_, 3) << id;
    EXPECT_EQ(direction_, id == kIngress ? 1 : 2);
  }
}

TEST_F(SourceIfArguments, ATrafficTypeBehindAListLeavesTheDirection) {
  for (const uint32_t type : kTrafficTypes) {
    Command command;
    command.number(9).number(5).interfaces({{kFc1, kFc1}}).keyword(kIngress).keyword(type);
    get(command);
    EXPECT_EQ(list_, command.value(3)) << type;
    EXPECT_EQ(session_, command.value(2)) << type;
    EXPECT_EQ(index_, 4) << type;
    EXPECT_EQ(direction_, 99) << type;
  }
}

TEST_F(SourceIfArguments, ATrafficTypeBehindADirectionHasTheListBeforeThat) {
  for (const uint32_t type : kTrafficTypes) {
    for (const uint32_t id : {kIngress, kEgress}) {
      Command command;
      command.number(9).number(6).interfaces({{kFc1, kFc1}}, 0x77).keyword(id).keyword(kTrafficKeyword).keyword(type);
      get(command);
      EXPECT_EQ(list_, command.value(3)) << type << " " << id;
      EXPECT_EQ(session_, command.value(2)) << type << " " << id;
      EXPECT_EQ(index_, 5) << type << " " << id;
      EXPECT_EQ(direction_, id == kIngress ? 1 : 2) << type;
    }
  }
}

TEST_F(SourceIfArguments, ATrafficTypeBehindAnyOtherKeywordHasTheSamePositionsAndLeavesTheDirection) {
  for (const uint32_t type : kTrafficTypes) {
    Command command;
    command.number(9).number(6).interfaces({{kFc1, kFc1}}).keyword(18).keyword(kTrafficKeyword).keyword(type);
    get(command);
    EXPECT_EQ(list_, command.value(3)) << type;
    EXPECT_EQ(session_, command.value(2)) << type;
    EXPECT_EQ(index_, 5) << type;
    EXPECT_EQ(direction_, 99) << type;
  }
}

TEST_F(SourceIfArguments, AnyOtherLastTokenLeavesEverything) {
  command_.number(3).interfaces({{kFc1, kFc1}}).keyword(kTrafficKeyword);
  get(command_);
  EXPECT_EQ(list_, nullptr);
  EXPECT_EQ(session_, nullptr);
  EXPECT_EQ(index_, 77);
  EXPECT_EQ(direction_, 99);
}

TEST_F(SourceIfArguments, PrintingTheCommandPrintsNothing) {
  command_.number(3);
  run([&] { span_print_cli_parms(command_); });
  EXPECT_EQ(printed(), "");
  EXPECT_EQ(fake.calls(), "");
}

// ---- Requests --------------------------------------------------------------------------------------------------------

class SourceIf : public CliTest {
 protected:
  void accept() { fake.expect_exchange(2002).gives(SourceConfigResult{}.response()); }

  // Bytes 100 to 103 of what a command sends: session index, direction, operation, source type.
  Bytes head(const Command& command) {
    accept();
    EXPECT_EQ(call(span_cli_set_src_config_if, command), 0u);
    return slice(fake.exchange().payload, 100, 4);
  }

  Bytes head_for(uint32_t if_index) {
    Command command;
    command.number(1).interfaces({{if_index, if_index}});
    return head(command);
  }

  Command command_;
};

TEST_F(SourceIf, SendsTheRangesForBothDirectionsWithOperation1) {
  command_.number(3).interfaces({{kFc1, kFc2}});
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_if, command_), 0u);
  EXPECT_TRUE(sent("02 03 01 01 00 02 00 00 00*512 00 00 00 01 5b a5 a5 5a 5b a5 b5 5a"));
  EXPECT_EQ(fake.calls(),
            "if_index_get_type(0x1000000)\n"
            "if_index_get_type(0x1000000)\n"
            "vex_req_resp(2002, 3, [632 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n");
}

TEST_F(SourceIf, KeepsOperation8ForTheNoForm) {
  command_.number(16).interfaces({{kFc1, kFc1}}).negated();
  EXPECT_TRUE(same_bytes(head(command_), hex("0f 03 08 01")));
}

TEST_F(SourceIf, OnlyTheNegatedValue1IsTheNoForm) {
  for (const uint32_t negated : {2u, 0x101u, 0xFFFFFF01u}) {
    Command command;
    command.number(1).interfaces({{kFc1, kFc1}}).negated(negated);
    EXPECT_TRUE(same_bytes(head(command), hex("00 03 01 01"))) << negated;
  }
}

TEST_F(SourceIf, IngressIsDirection1AndEgressDirection2) {
  for (const uint32_t id : {kIngress, kEgress}) {
    Command command;
    command.number(9).number(0x205).interfaces({{kFc2, kFc2}}).keyword(id);
    accept();
    EXPECT_EQ(call(span_cli_set_src_config_if, command), 0u);
    EXPECT_TRUE(sent((id == kIngress ? "04 01" : "04 02") +
                     std::string(" 01 01 00 02 00 00 00*512 00 00 00 01 5b a5 b5 5a 5b a5 b5 5a")));
  }
}

TEST_F(SourceIf, TheThreeHandlersAreOne) {
  command_.number(2).interfaces({{kFc1, kFc1}}).keyword(kEgress).negated();
  for (Handler* const handler :
       {span_cli_set_src_config_if, span_cli_set_src_config_if_dir, span_cli_set_src_config_if_dir_traffic_type}) {
    fake.expect_exchange(2002).returns(5).gives(SourceConfigResult{.result = 0x40340002}.response());
    EXPECT_EQ(call(handler, command_), 1u);
    EXPECT_EQ(printed(), "status 0x40340002\n");
    EXPECT_TRUE(sent("01 02 08 01 00 02 00 00 00*512 00 00 00 01 5b a5 a5 5a 5b a5 a5 5a"));
  }
}

TEST_F(SourceIf, APortChannelOfSubtype0IsSourceType2) {
  EXPECT_TRUE(same_bytes(head_for(kPortChannel), hex("00 03 01 02")));
}

TEST_F(SourceIf, APortChannelOfAnotherSubtypeIsSourceType1) {
  EXPECT_TRUE(same_bytes(head_for(kPortChannel1), hex("00 03 01 01")));
  EXPECT_TRUE(same_bytes(head_for(kPortChannel2), hex("00 03 01 01")));
}

TEST_F(SourceIf, AnInterfaceOfType6IsSourceType7) { EXPECT_TRUE(same_bytes(head_for(kInband), hex("00 03 01 07"))); }

TEST_F(SourceIf, AnUnknownInterfaceIsSourceType1) { EXPECT_TRUE(same_bytes(head_for(kUnknownIf), hex("00 03 01 01"))); }

TEST_F(SourceIf, TheFirstInterfaceOfTheFirstRangeDecides) {
  command_.number(1).interfaces({{kPortChannel, kFc1}, {kSvc, kSvc}});
  EXPECT_TRUE(same_bytes(head(command_), hex("00 03 01 02")));
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 620, 100),
                         hex("00 00 00 02 5e a5 a5 59 5b a5 a5 5a 56 a5 a5 5a 56 a5 a5 5a")));
}

TEST_F(SourceIf, All64RangesAreSent) {
  Ranges ranges;
  Bytes tail = be32(64);
  for (uint32_t i = 0; i < 64; ++i) {
    ranges.push_back({kFc1 + i, kFc1 + i + 100});
    tail = join({tail, net_if(kFc1 + i), net_if(kFc1 + i + 100)});
  }
  command_.number(1).interfaces(ranges);
  EXPECT_TRUE(same_bytes(head(command_), hex("00 03 01 01")));
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 620, 1000), tail));
}

// ---- Traffic type ----------------------------------------------------------------------------------------------------

TEST_F(SourceIf, ATrafficTypeOnAnOrdinaryInterfaceSendsNothing) {
  for (const uint32_t if_index : {kFc1, kPortChannel, kPortChannel2, kInband, kUnknownIf}) {
    for (const uint32_t type : kTrafficTypes) {
      Command command;
      command.number(3).interfaces({{if_index, if_index}}).keyword(kTrafficKeyword).keyword(type);
      EXPECT_EQ(call(span_cli_set_src_config_if, command), 0u) << if_index;
      EXPECT_EQ(printed(), "traffic-type option is supported for only svc interfaces\n") << if_index;
    }
  }
  EXPECT_EQ(fake.calls("vex"), "");
  EXPECT_EQ(fake.calls("ksm"), "");
}

TEST_F(SourceIf, ATrafficTypeOnAnOrdinaryInterfaceIsRefusedWithADirectionAndInTheNoFormToo) {
  command_.number(3).interfaces({{kFc1, kFc1}}).keyword(kIngress).keyword(kTrafficKeyword).keyword(17).negated();
  EXPECT_EQ(call(span_cli_set_src_config_if_dir_traffic_type, command_), 0u);
  EXPECT_EQ(printed(), "traffic-type option is supported for only svc interfaces\n");
  EXPECT_EQ(fake.calls("vex"), "");
}

// ---- Outcome ---------------------------------------------------------------------------------------------------------

TEST_F(SourceIf, TheOverallResultIsToldBeforeTheInterfaces) {
  command_.number(3).interfaces({{kFc1, kFc2}});
  fake.expect_exchange(2002).gives(
      SourceConfigResult{.source_type = 1, .result = 0x40340045, .interfaces = {{kFc1, 0x40340004}, {kFc2, 0}}}
          .response());
  EXPECT_EQ(call(span_cli_set_src_config_if, command_), 0u);
  EXPECT_EQ(printed(),
            "status 0x40340045\n"
            "=================================================\n"
            "Configuration failed on the following interface(s)\n"
            "=================================================\n"
            "fc1/1 status 0x40340004\n");
}

TEST_F(SourceIf, TheOverallResult0IsNotTold) {
  command_.number(3).interfaces({{kFc1, kFc2}});
  fake.expect_exchange(2002).gives(
      SourceConfigResult{.source_type = 1, .interfaces = {{kFc1, 0}, {kFc2, 0x40340004}}}.response());
  EXPECT_EQ(call(span_cli_set_src_config_if, command_), 0u);
  EXPECT_EQ(printed(),
            "=================================================\n"
            "Configuration failed on the following interface(s)\n"
            "=================================================\n"
            "fc1/2 status 0x40340004\n");
}

TEST_F(SourceIf, AFailedExchangeWithoutAResultIsSilent) {
  command_.number(3).interfaces({{kFc1, kFc1}});
  fake.expect_exchange(2002).returns(0xFFFFFFFF);
  EXPECT_EQ(call(span_cli_set_src_config_if, command_), 1u);
  EXPECT_EQ(printed(), "");
}

TEST_F(SourceIf, AFailedExchangeWithAResultPrintsIt) {
  command_.number(3).interfaces({{kFc1, kFc1}});
  fake.expect_exchange(2002).returns(0xFFFFFFFF).gives(SourceConfigResult{.result = 0x40340002}.response());
  EXPECT_EQ(call(span_cli_set_src_config_if, command_), 1u);
  EXPECT_EQ(printed(), "status 0x40340002\n");
}

TEST_F(SourceIf, KeepsSendingWithoutAQueue) {
  command_.number(3).interfaces({{kFc1, kFc1}}).queue(0);
  EXPECT_TRUE(same_bytes(head(command_), hex("02 03 01 01")));
  EXPECT_EQ(fake.exchange().queue, 0u);
}

TEST_F(SourceIf, WithoutMemoryNothingIsSentAndTheNextOneWorks) {
  command_.number(3).interfaces({{kFc1, kFc1}});
  heap::fail_nth(1);
  EXPECT_EQ(call(span_cli_set_src_config_if, command_), 1u);
  EXPECT_EQ(printed(), "error:[1] status 0x1\n");
  EXPECT_TRUE(fake.exchanges.empty());
  EXPECT_TRUE(same_bytes(head(command_), hex("02 03 01 01")));
  EXPECT_EQ(heap::requests(), 2u);
}

}  // namespace
}  // namespace testkit
