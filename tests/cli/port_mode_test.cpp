// Port mode of the interfaces of the interface mode.
#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

constexpr uint32_t kConfIntf = 0xd030001;
constexpr uint32_t kPortMode = 12;

class PortMode : public CliTest {
 protected:
  void accept(const Results& results = {}) { fake.expect_exchange(2014).gives(port_config_response(0, results)); }

  // A command for one interface and mode 4.
  Command& one() { return command_.interfaces({{kFc1, kFc1}}, kConfIntf).keyword(kPortMode).number(4); }

  Command command_;
};

TEST_F(PortMode, SendsTheRangesAndTheMode) {
  command_.interfaces({{kFc1, kFc2}, {kPortChannel, kPortChannel}}, kConfIntf).keyword(kPortMode).number(0x01020304);
  accept();
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_TRUE(sent("00 02 5b a5 a5 5a 5b a5 b5 5a 5e a5 a5 59 5e a5 a5 59 01 04 01 02 03 04"));
  EXPECT_EQ(fake.calls(), "vex_req_resp(2014, 3, [124 bytes], \"operator\", \"vty 1\", 68, 7, 0)\n");
}

TEST_F(PortMode, TheModeStandsBehindTheInterfacesWhereverTheseAre) {
  command_.number(1).keyword(kPortMode).interfaces({{kFc1, kFc1}}, kConfIntf).keyword(kPortMode).number(4).number(9);
  accept();
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_TRUE(sent("00 01 5b a5 a5 5a 5b a5 a5 5a 01 04 00 00 00 04"));
}

TEST_F(PortMode, TheFirstInterfacesCount) {
  one().interfaces({{kFc2, kFc2}}, kConfIntf).keyword(kPortMode).number(9);
  accept();
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_TRUE(sent("00 01 5b a5 a5 5a 5b a5 a5 5a 01 04 00 00 00 04"));
}

TEST_F(PortMode, NoFormSendsMode0WhateverTheTokenHolds) {
  command_.number(1).number(2).interfaces({{kFc1, kFc1}}, kConfIntf).keyword(kPortMode).number(4).negated();
  accept();
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_TRUE(sent("00 01 5b a5 a5 5a 5b a5 a5 5a 01 04 00 00 00 00"));
}

TEST_F(PortMode, OnlyTheNegatedValue1IsTheNoForm) {
  one();
  for (const uint32_t negated : {2u, 0x101u, 0xFFFFFF01u}) {
    command_.negated(negated);
    accept();
    EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
    EXPECT_TRUE(sent("00 01 5b a5 a5 5a 5b a5 a5 5a 01 04 00 00 00 04")) << negated;
  }
}

TEST_F(PortMode, All64RangesAreSent) {
  Ranges ranges;
  Bytes request = join({requester_header("operator", "vty 1"), be16(64)});
  for (uint32_t i = 0; i < 64; ++i) {
    ranges.push_back({kFc1 + i, kFc1 + i + 100});
    request = join({request, net_if(kFc1 + i), net_if(kFc1 + i + 100)});
  }
  command_.interfaces(ranges, kConfIntf).keyword(kPortMode).number(4);
  accept();
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_TRUE(same_bytes(fake.exchange().payload, join({request, hex("01 04 00 00 00 04")})));
}

TEST_F(PortMode, KeepsSendingWithoutAQueue) {
  one().queue(0);
  accept();
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_EQ(fake.exchange().queue, 0u);
}

// ---- What is not sent ------------------------------------------------------------------------------------------------

TEST_F(PortMode, ANullRecordIsRefusedInSilence) {
  EXPECT_EQ(run([] { return span_cli_set_port_config(nullptr); }), 1u);
  EXPECT_EQ(printed(), "");
}

TEST_F(PortMode, SkipDoesNothing) {
  one();
  for (const uint32_t skip : {1u, 0x80000000u}) {
    command_.skip(skip);
    EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
    EXPECT_EQ(printed(), "");
  }
  EXPECT_EQ(fake.calls(), "");
  EXPECT_EQ(heap::requests(), 0u);
}

TEST_F(PortMode, SkipGoesBeforeTheTest) {
  command_.skip(1);
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_EQ(printed(), "");
}

TEST_F(PortMode, ACommandWithoutTheInterfaceModeIsRefused) {
  command_.interfaces({{kFc1, kFc1}}).keyword(kPortMode).number(4);
  EXPECT_EQ(call(span_cli_set_port_config, command_), 1u);
  EXPECT_EQ(printed(), "error: token id list does not contain CONF_INTF\n");
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(PortMode, ACommandWithoutTokensIsRefused) {
  EXPECT_EQ(call(span_cli_set_port_config, command_), 1u);
  EXPECT_EQ(printed(), "error: token id list does not contain CONF_INTF\n");
}

TEST_F(PortMode, WithoutRangesTheRequestLayerRefuses) {
  command_.interfaces({}, kConfIntf).keyword(kPortMode).number(4);
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_EQ(printed(), "config_failed: status 0x40290000\n");
  EXPECT_EQ(fake.calls("vex"), "");
}

// ---- Outcome ---------------------------------------------------------------------------------------------------------

TEST_F(PortMode, OnlyInterfacesThatFailedAreTold) {
  one();
  accept({{kFc1, 0}, {kFc2, 0x40340045}, {kPortChannel, 0}, {kInband, 5}});
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_EQ(printed(),
            "fc1/2: (error) status 0x40340045\n"
            "sup-fc0: (error) status 0x5\n");
  EXPECT_EQ(fake.calls("s"),
            "sprintf_if_index(0x1001000)\n"
            "syserr2str(0x40340045)\n"
            "sprintf_if_index(0x6000000)\n"
            "syserr2str(5)\n");
}

TEST_F(PortMode, ManyFailuresAreAllTold) {
  Results results;
  std::string lines;
  for (uint32_t i = 0; i < 1000; ++i) {
    results.push_back({kFc2, 0x40340045});
    lines += "fc1/2: (error) status 0x40340045\n";
  }
  one();
  accept(results);
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_EQ(printed(), lines);
}

TEST_F(PortMode, KeepsResult0WhenTheTransportFails) {
  one();
  fake.expect_exchange(2014).returns(0xFFFFFFFF);
  fake.quill_errno = 113;
  fake.expect("brio_print_quill_error_message(2, 113)");
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_EQ(printed(), "");
  EXPECT_EQ(fake.calls("quill"), "quill_errno_get(7)\n");
}

TEST_F(PortMode, KeepsResult0WhenTheManagerRefuses) {
  one();
  fake.expect_exchange(2014).gives(port_config_response(0x40340002, {{kFc1, 5}}));
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_EQ(printed(), "config_failed: status 0x40340002\n");
}

TEST_F(PortMode, AnyOtherResultOfTheExchangeIsToldAsAStatus) {
  one();
  fake.expect_exchange(2014).returns(0x40340008).gives(port_config_response(0, {{kFc1, 5}}));
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_EQ(printed(), "config_failed: status 0x40340008\n");
}

TEST_F(PortMode, AnExchangeWithoutAResponseIsToldAsAStatus) {
  one();
  fake.expect_exchange(2014);
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_EQ(printed(), "config_failed: status 0x40340036\n");
}

TEST_F(PortMode, AStatusWordOfAllOnesCountsAsATransportFailure) {
  one();
  fake.expect_exchange(2014).gives(port_config_response(0xFFFFFFFF, {{kFc1, 5}}));
  fake.quill_errno = 9;
  fake.expect("brio_print_quill_error_message(2, 9)");
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_EQ(printed(), "");
}

// ---- Memory ----------------------------------------------------------------------------------------------------------

TEST_F(PortMode, KeepsTheLineNumberOfTheRanges) {
  command_.interfaces({{kFc1, kFc1}, {kFc2, kFc2}, {kInband, kInband}}, kConfIntf).keyword(kPortMode).number(4);
  heap::fail_nth(1);
  EXPECT_EQ(call(span_cli_set_port_config, command_), 1u);
  EXPECT_EQ(printed(),
            "(Error) Malloc Failure in ../feature/span/lib/span_cli[1261] for size 24\n"
            "error: allocating memory for range list\n");
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(PortMode, KeepsTheLineNumberOfTheEntry) {
  one();
  heap::fail_nth(2);
  EXPECT_EQ(call(span_cli_set_port_config, command_), 1u);
  EXPECT_EQ(printed(),
            "(Error) Malloc Failure in ../feature/span/lib/span_cli[1292] for size 6\n"
            "error: malloc failure - size(6)\n");
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(PortMode, WithoutMemoryForTheRequestNothingIsSent) {
  one();
  heap::fail_nth(3);
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_EQ(printed(),
            "span_vex_set_port_config: malloc failure, size(116)\n"
            "config_failed: status 0x1\n");
  EXPECT_TRUE(fake.exchanges.empty());
}

TEST_F(PortMode, WithoutMemoryForTheResultsTheNextOneWorks) {
  one();
  accept({{kFc1, 5}});
  heap::fail_nth(4);
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_EQ(printed(), "config_failed: status 0x1\n");
  accept({{kFc1, 5}});
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_EQ(printed(), "fc1/1: (error) status 0x5\n");
  EXPECT_EQ(heap::requests(), 8u);
}

}  // namespace
}  // namespace testkit
