// One source interface in a list.
#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

class PrintSourceIf : public CliTest {
 protected:
  static constexpr uint8_t kRx = 1;
  static constexpr uint8_t kTx = 2;

  // The entry that a response makes when `asked` was asked for.
  std::string entry(const SourceInterface& source, uint8_t direction, uint32_t asked) {
    const Bytes request = join({net_if(asked), {2, direction, 0xEE, 0xEE}});
    const Bytes response = source.response();
    EXPECT_EQ(run([&] { return span_print_src_if_info(request.data(), response.data(), &column_); }), 0u);
    return printed();
  }

  std::string entry(const SourceInterface& source, uint8_t direction) {
    return entry(source, direction, source.if_index);
  }

  // Of a port channel of subtype 2 whose member is svc2/1.
  static SourceInterface service() {
    return {.if_index = kPortChannel2, .member = kSvc, .vsans = {{1, 1}}, .service = true};
  }

  int32_t column_ = 0;
};

TEST_F(PrintSourceIf, IsANameAndASeparator) {
  EXPECT_EQ(entry({.if_index = kFc1, .vsans = {{1, 10}}}, kRx), "fc1/1, ");
  EXPECT_EQ(column_, 7);
  EXPECT_EQ(fake.calls(),
            "if_index_get_type(0x1000000)\n"
            "sprintf_if_index(0x1000000)\n");
}

TEST_F(PrintSourceIf, IsNothingUnlessItIsValid) {
  column_ = 51;
  for (const uint8_t valid : Bytes{0, 2, 0x81, 255}) {
    EXPECT_EQ(entry({.if_index = kFc1, .valid = valid, .rx_filter = 1, .vsans = {{1, 1}}}, kRx), "") << int{valid};
  }
  EXPECT_EQ(column_, 51);
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(PrintSourceIf, TheNameIsThatOfTheResponse) { EXPECT_EQ(entry({.if_index = kFc1}, kRx, kFc2), "fc1/1, "); }

TEST_F(PrintSourceIf, AnInterfaceWithoutANameLeavesTheSeparator) {
  EXPECT_EQ(entry({.if_index = kUnknownIf}, kTx), ", ");
  EXPECT_EQ(column_, 2);
}

// ---- VSAN filter -----------------------------------------------------------------------------------------------------

TEST_F(PrintSourceIf, AVsanFilterStandsInParentheses) {
  EXPECT_EQ(entry({.if_index = kFc1, .rx_filter = 1, .vsans = {{1, 10}}}, kRx), "fc1/1 (vsan 1-10), ");
  EXPECT_EQ(column_, 19);
}

TEST_F(PrintSourceIf, EachDirectionHasItsFilterFlag) {
  const SourceInterface rx = {.if_index = kFc1, .rx_filter = 255, .vsans = {{7, 7}}};
  EXPECT_EQ(entry(rx, kRx), "fc1/1 (vsan 7), ");
  EXPECT_EQ(entry(rx, kTx), "fc1/1, ");
  const SourceInterface tx = {.if_index = kFc1, .tx_filter = 2, .vsans = {{7, 7}}};
  EXPECT_EQ(entry(tx, kRx), "fc1/1, ");
  EXPECT_EQ(entry(tx, kTx), "fc1/1 (vsan 7), ");
}

TEST_F(PrintSourceIf, AnEmptyFilterKeepsItsParentheses) {
  EXPECT_EQ(entry({.if_index = kFc1, .tx_filter = 1}, kTx), "fc1/1 (vsan ), ");
  EXPECT_EQ(column_, 15);
}

TEST_F(PrintSourceIf, AllVsansAreOneRange) {
  EXPECT_EQ(entry({.if_index = kFc1, .rx_filter = 1, .vsans = {{0, 4095}}}, kRx), "fc1/1 (vsan 0-4095), ");
  EXPECT_EQ(column_, 21);
}

TEST_F(PrintSourceIf, ALongFilterIsPrintedWhole) {
  Vsans vsans;
  std::string ranges;
  for (uint32_t vsan = 0; vsan < 4096; vsan += 2) {
    vsans.push_back({vsan, vsan});
    ranges += (vsan == 0 ? "" : ",") + std::to_string(vsan);
  }
  EXPECT_EQ(entry({.if_index = kFc1, .rx_filter = 1, .vsans = vsans}, kRx), "fc1/1 (vsan " + ranges + "), \n     ");
  EXPECT_EQ(column_, 0);
}

// ---- Port channels of subtype 2 --------------------------------------------------------------------------------------

TEST_F(PrintSourceIf, APortChannelOfSubtype2ShowsItsMember) {
  EXPECT_EQ(entry(service(), kRx), "svc2/1, ");
  EXPECT_EQ(column_, 8);
  EXPECT_EQ(fake.calls(),
            "if_index_get_type(0x4000020)\n"
            "if_index_port_channel_get_subtype(0x4000020)\n"
            "sprintf_if_index(0xc000000)\n");
}

TEST_F(PrintSourceIf, OtherPortChannelsShowThemselves) {
  EXPECT_EQ(entry({.if_index = kPortChannel, .member = kSvc}, kRx), "port-channel 3, ");
  EXPECT_EQ(entry({.if_index = kPortChannel1, .member = kSvc}, kTx), "port-channel 16, ");
}

TEST_F(PrintSourceIf, WithoutATrafficTypeTheFilterLiesAt22) {
  SourceInterface source = service();
  source.service = false;
  source.rx_filter = 1;
  source.vsans = {{3, 5}};
  EXPECT_EQ(entry(source, kRx), "svc2/1 (vsan 3-5), ");
}

TEST_F(PrintSourceIf, OneTrafficNameStandsInParentheses) {
  SourceInterface source = service();
  source.rx_traffic_type = 1;
  source.target = 1;
  EXPECT_EQ(entry(source, kRx), "svc2/1 (target), ");
  EXPECT_EQ(column_, 17);
  EXPECT_EQ(fake.calls(),
            "if_index_get_type(0x4000020)\n"
            "if_index_port_channel_get_subtype(0x4000020)\n"
            "sprintf_if_index(0xc000000)\n"
            "if_index_get_type(0x4000020)\n"
            "if_index_port_channel_get_subtype(0x4000020)\n");
}

TEST_F(PrintSourceIf, EachFlagHasItsTrafficName) {
  SourceInterface source = service();
  source.rx_traffic_type = 255;
  source.initiator = 2;
  EXPECT_EQ(entry(source, kRx), "svc2/1 (initiator), ");
  source.initiator = 0;
  source.mgmt = 255;
  EXPECT_EQ(entry(source, kRx), "svc2/1 (mgmt), ");
}

TEST_F(PrintSourceIf, KeepsAParenthesisForEachTrafficNameAndClosesOne) {
  SourceInterface source = service();
  source.tx_traffic_type = 1;
  source.target = source.mgmt = source.initiator = 1;
  EXPECT_EQ(entry(source, kTx), "svc2/1 (target (initiator (mgmt), ");
  EXPECT_EQ(column_, 34);
}

TEST_F(PrintSourceIf, EachDirectionHasItsTrafficFlag) {
  SourceInterface source = service();
  source.target = 1;
  source.rx_traffic_type = 1;
  EXPECT_EQ(entry(source, kTx), "svc2/1, ");
  source.rx_traffic_type = 0;
  source.tx_traffic_type = 1;
  EXPECT_EQ(entry(source, kRx), "svc2/1, ");
  EXPECT_EQ(entry(source, kTx), "svc2/1 (target), ");
}

TEST_F(PrintSourceIf, BehindATrafficNameTheFilterLiesAt30) {
  SourceInterface source = service();
  source.rx_traffic_type = source.rx_filter = source.target = source.mgmt = 1;
  source.service_vsans = {{0, 0}, {2, 10}, {4095, 4095}};
  EXPECT_EQ(entry(source, kRx), "svc2/1 (target (mgmt, vsan 0,2-10,4095), ");
  EXPECT_EQ(column_, 41);
}

TEST_F(PrintSourceIf, KeepsTheFilterAt30AlsoWithoutATrafficName) {
  SourceInterface source = service();
  source.tx_traffic_type = source.tx_filter = 1;
  source.service_vsans = {{42, 42}};
  EXPECT_EQ(entry(source, kTx), "svc2/1 (vsan 42), ");
  EXPECT_EQ(column_, 18);
}

TEST_F(PrintSourceIf, ATrafficTypeWithoutANameOrAFilterIsNotShown) {
  SourceInterface source = service();
  source.rx_traffic_type = 1;
  EXPECT_EQ(entry(source, kRx), "svc2/1, ");
}

TEST_F(PrintSourceIf, TheTrafficTypeOfAnyOtherInterfaceIsNotShown) {
  for (const uint32_t if_index : {kFc1, kPortChannel, kPortChannel1, kSvc}) {
    column_ = 0;
    const SourceInterface source = {.if_index = if_index, .rx_filter = 1, .rx_traffic_type = 1, .vsans = {{0, 4095}}};
    EXPECT_EQ(entry(source, kRx), fake.interfaces[if_index].name + " (vsan 0-4095), ");
  }
}

TEST_F(PrintSourceIf, TheTrafficTypeBelongsToTheInterfaceThatWasAskedFor) {
  SourceInterface source = service();
  source.rx_traffic_type = source.target = 1;
  EXPECT_EQ(entry(source, kRx, kFc1), "svc2/1, ");
  source.if_index = kFc2;
  EXPECT_EQ(entry(source, kRx, kPortChannel2), "fc1/2 (target), ");
}

// ---- Column ----------------------------------------------------------------------------------------------------------

TEST_F(PrintSourceIf, TheColumnGoesOnFromTheEntryBefore) {
  column_ = 20;
  EXPECT_EQ(entry({.if_index = kFc1}, kRx), "fc1/1, ");
  EXPECT_EQ(column_, 27);
}

TEST_F(PrintSourceIf, TheLineEndsBehindTheEntryThatReachesColumn51) {
  column_ = 44;
  EXPECT_EQ(entry({.if_index = kFc1}, kRx), "fc1/1, \n     ");
  EXPECT_EQ(column_, 0);
}

TEST_F(PrintSourceIf, TheLineGoesOnAtColumn50) {
  column_ = 43;
  EXPECT_EQ(entry({.if_index = kFc1}, kTx), "fc1/1, ");
  EXPECT_EQ(column_, 50);
}

TEST_F(PrintSourceIf, TheColumnIsSigned) {
  column_ = -10;
  EXPECT_EQ(entry({.if_index = kFc1}, kTx), "fc1/1, ");
  EXPECT_EQ(column_, -3);
}

TEST_F(PrintSourceIf, AnotherDirectionEndsTheEntryBehindTheName) {
  for (const uint8_t direction : Bytes{0, 3, 255}) {
    column_ = 60;
    SourceInterface source = service();
    source.rx_filter = source.tx_filter = source.rx_traffic_type = source.tx_traffic_type = source.target = 1;
    EXPECT_EQ(entry(source, direction), "svc2/1") << int{direction};
    EXPECT_EQ(column_, 66);
  }
}

// ---- Asking ----------------------------------------------------------------------------------------------------------

class ShowSourceIf : public CliTest {
 protected:
  uint32_t show(uint32_t if_index, uint8_t direction) {
    return run([&] { return span_show_src_if_info(command_, 15, if_index, direction, &column_); });
  }

  Command command_;
  int32_t column_ = 3;
};

TEST_F(ShowSourceIf, AsksForTheInterfaceInItsSessionAndDirection) {
  fake.expect_exchange(2010).gives(SourceInterface{.if_index = kFc2}.response());
  EXPECT_EQ(show(kFc2, 2), 0u);
  EXPECT_EQ(printed(), "fc1/2, ");
  EXPECT_EQ(column_, 10);
  EXPECT_EQ(fake.exchange().payload.size(), 8u);
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 0, 6), hex("5b a5 b5 5a 0f 02")));
  EXPECT_EQ(fake.calls("vex"), "vex_req_resp(2010, 1, [8 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n");
  EXPECT_EQ(heap::requests(), 0u);
}

TEST_F(ShowSourceIf, TheDirectionAskedForPicksTheFlags) {
  fake.expect_exchange(2010).gives(SourceInterface{.if_index = kFc1, .rx_filter = 1, .vsans = {{5, 5}}}.response());
  EXPECT_EQ(show(kFc1, 1), 0u);
  EXPECT_EQ(printed(), "fc1/1 (vsan 5), ");
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 0, 6), hex("5b a5 a5 5a 0f 01")));
}

TEST_F(ShowSourceIf, TheInterfaceAskedForPicksTheTrafficType) {
  fake.expect_exchange(2010).gives(
      SourceInterface{.if_index = kPortChannel2, .rx_traffic_type = 1, .member = kSvc, .service = true, .initiator = 1}
          .response());
  EXPECT_EQ(show(kPortChannel2, 1), 0u);
  EXPECT_EQ(printed(), "svc2/1 (initiator), ");
}

TEST_F(ShowSourceIf, AFailureIsToldAsASignedNumberAndLeavesTheColumn) {
  fake.expect_exchange(2010).returns(0xFFFFFFFF).gives(SourceInterface{.if_index = kFc1}.response());
  EXPECT_EQ(show(kFc1, 1), 0xFFFFFFFFu);
  EXPECT_EQ(printed(), "err(-1)\n");
  EXPECT_EQ(column_, 3);
  fake.expect_exchange(2010).returns(0x40340008);
  EXPECT_EQ(show(kFc1, 1), 0x40340008u);
  EXPECT_EQ(printed(), "err(1077149704)\n");
  EXPECT_EQ(column_, 3);
}

TEST_F(ShowSourceIf, WithoutAQueueNothingIsSent) {
  command_.queue(0);
  EXPECT_EQ(show(kFc1, 1), 0x40340015u);
  EXPECT_EQ(printed(),
            "Invalid param\n"
            "err(1077149717)\n");
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(ShowSourceIf, AnInterfaceThatIsNoSourcePrintsNothing) {
  fake.expect_exchange(2010).gives(SourceInterface{.if_index = kFc1, .valid = 0}.response());
  EXPECT_EQ(show(kFc1, 1), 0u);
  EXPECT_EQ(printed(), "");
  EXPECT_EQ(column_, 3);
}

}  // namespace
}  // namespace testkit
