// The running configuration: the lines of one source interface.
#include <gtest/gtest-spi.h>

#include <array>
#include <cstring>

#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

constexpr uint8_t kRx = 1;
constexpr uint8_t kTx = 2;

class RunningSource : public CliTest {
 protected:
  // The lines that a response makes when `asked` was asked for.
  std::string lines_of(const Bytes& response, uint8_t direction, uint32_t asked) {
    const Bytes request = join({net_if(asked), {2, direction, 0xEE, 0xEE}});
    EXPECT_EQ(run([&] { return span_print_src_running_config(request.data(), response.data()); }), 0u);
    return printed();
  }

  std::string lines(const SourceInterface& source, uint8_t direction, uint32_t asked) {
    return lines_of(source.response(), direction, asked);
  }

  std::string lines(const SourceInterface& source, uint8_t direction) {
    return lines_of(source.response(), direction, source.if_index);
  }

  // Of a port channel of subtype 2 whose member is svc2/1.
  static SourceInterface service() { return {.if_index = kPortChannel2, .member = kSvc, .service = true}; }
};

TEST_F(RunningSource, IsANameADirectionAndABlank) {
  EXPECT_EQ(lines({.if_index = kFc1}, kRx), "source interface fc1/1 rx \n");
  EXPECT_EQ(lines({.if_index = kFc1}, kTx), "source interface fc1/1 tx \n");
  EXPECT_EQ(heap::requests(), 0u);
}

TEST_F(RunningSource, IsNothingUnlessItIsValid) {
  for (const uint8_t valid : Bytes{0, 2, 0x81, 255}) {
    EXPECT_EQ(lines({.if_index = kFc1, .valid = valid, .rx_filter = 1, .vsans = {{1, 1}}}, kRx), "") << int{valid};
  }
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(RunningSource, IsNothingInAnotherDirection) {
  for (const uint8_t direction : Bytes{0, 3, 4, 255}) {
    SourceInterface source = service();
    source.rx_filter = source.tx_filter = source.rx_traffic_type = source.tx_traffic_type = source.target = 1;
    EXPECT_EQ(lines(source, direction), "") << int{direction};
  }
}

TEST_F(RunningSource, TheNameIsThatOfTheResponse) {
  EXPECT_EQ(lines({.if_index = kFc2}, kRx, kFc1), "source interface fc1/2 rx \n");
}

TEST_F(RunningSource, AnInterfaceWithoutANameLeavesItsBlanks) {
  EXPECT_EQ(lines({.if_index = kUnknownIf}, kTx), "source interface  tx \n");
}

TEST_F(RunningSource, APortChannelOfSubtype2IsItsMember) {
  EXPECT_EQ(lines(service(), kRx), "source interface svc2/1 rx \n");
  EXPECT_EQ(fake.calls(),
            "if_index_get_type(0x4000020)\n"
            "if_index_port_channel_get_subtype(0x4000020)\n"
            "sprintf_if_index(0xc000000)\n");
}

TEST_F(RunningSource, OtherInterfacesAreThemselves) {
  EXPECT_EQ(lines({.if_index = kPortChannel, .member = kSvc}, kRx), "source interface port-channel 3 rx \n");
  EXPECT_EQ(lines({.if_index = kPortChannel1, .member = kSvc}, kTx), "source interface port-channel 16 tx \n");
  EXPECT_EQ(lines({.if_index = kInband, .member = kSvc}, kTx), "source interface sup-fc0 tx \n");
}

// ---- VSAN filter -----------------------------------------------------------------------------------------------------

TEST_F(RunningSource, EachVsanOfTheFilterHasItsLine) {
  EXPECT_EQ(lines({.if_index = kFc1, .rx_filter = 1, .vsans = {{5, 5}}}, kRx),
            "source interface fc1/1 rx filter vsan  5\n"
            "source interface fc1/1 rx filter vsan \n");
}

TEST_F(RunningSource, KeepsTheLineWithoutAVsanBehindTheFiltersVsans) {
  EXPECT_EQ(lines({.if_index = kFc1, .tx_filter = 1, .vsans = {{0, 1}, {31, 31}, {4095, 4095}}}, kTx),
            "source interface fc1/1 tx filter vsan  0\n"
            "source interface fc1/1 tx filter vsan  1\n"
            "source interface fc1/1 tx filter vsan  31\n"
            "source interface fc1/1 tx filter vsan  4095\n"
            "source interface fc1/1 tx filter vsan \n");
}

TEST_F(RunningSource, KeepsTwoLinesForAnEmptyFilter) {
  EXPECT_EQ(lines({.if_index = kFc1, .rx_filter = 1}, kRx),
            "source interface fc1/1 rx filter vsan \n"
            "source interface fc1/1 rx filter vsan \n");
}

TEST_F(RunningSource, EachDirectionHasItsFilterFlag) {
  const SourceInterface rx = {.if_index = kFc1, .rx_filter = 255, .vsans = {{7, 7}}};
  EXPECT_EQ(lines(rx, kRx),
            "source interface fc1/1 rx filter vsan  7\n"
            "source interface fc1/1 rx filter vsan \n");
  EXPECT_EQ(lines(rx, kTx), "source interface fc1/1 tx \n");
  const SourceInterface tx = {.if_index = kFc1, .tx_filter = 2, .vsans = {{7, 7}}};
  EXPECT_EQ(lines(tx, kRx), "source interface fc1/1 rx \n");
  EXPECT_EQ(lines(tx, kTx),
            "source interface fc1/1 tx filter vsan  7\n"
            "source interface fc1/1 tx filter vsan \n");
}

TEST_F(RunningSource, All4096VsansOfAFilterHaveTheirLine) {
  std::string all;
  for (int vsan = 0; vsan < 4096; ++vsan) {
    all += "source interface fc1/1 rx filter vsan  " + std::to_string(vsan) + "\n";
  }
  EXPECT_EQ(lines({.if_index = kFc1, .rx_filter = 1, .vsans = {{0, 4095}}}, kRx),
            all + "source interface fc1/1 rx filter vsan \n");
}

// ---- Traffic type ----------------------------------------------------------------------------------------------------

// Flags of target, mgmt and initiator, in the order in which they lie, and their text.
struct NamesCase {
  Bytes flags;
  std::string names;
};

const std::array kNamesCases = {
    NamesCase{{0, 0, 0}, ""},
    NamesCase{{1, 0, 0}, "target"},
    NamesCase{{0, 1, 0}, "mgmt"},
    NamesCase{{0, 0, 1}, "initiator"},
    NamesCase{{1, 1, 0}, "targetmgmt"},
    NamesCase{{1, 0, 1}, "targetinitiator"},
    NamesCase{{0, 1, 1}, "initiatormgmt"},
    NamesCase{{255, 2, 128}, "targetinitiatormgmt"},
};

TEST_F(RunningSource, NamesFollowEachOtherWithoutASeparator) {
  for (const NamesCase& names : kNamesCases) {
    SourceInterface source = service();
    source.rx_traffic_type = source.tx_traffic_type = 1;
    source.target = names.flags[0];
    source.mgmt = names.flags[1];
    source.initiator = names.flags[2];
    EXPECT_EQ(lines(source, kRx), "source interface svc2/1 rx traffic-type " + names.names + "\n");
    EXPECT_EQ(lines(source, kTx), "source interface svc2/1 tx traffic-type " + names.names + "\n");
  }
}

TEST_F(RunningSource, EachDirectionHasItsTrafficFlag) {
  SourceInterface source = service();
  source.mgmt = 1;
  source.rx_traffic_type = 255;
  EXPECT_EQ(lines(source, kRx), "source interface svc2/1 rx traffic-type mgmt\n");
  EXPECT_EQ(lines(source, kTx), "source interface svc2/1 tx \n");
  source.rx_traffic_type = 0;
  source.tx_traffic_type = 2;
  EXPECT_EQ(lines(source, kRx), "source interface svc2/1 rx \n");
  EXPECT_EQ(lines(source, kTx), "source interface svc2/1 tx traffic-type mgmt\n");
}

TEST_F(RunningSource, TheTrafficTypeOfAnyOtherInterfaceIsNotShown) {
  for (const uint32_t if_index : {kFc1, kPortChannel, kPortChannel1, kSvc, kInband}) {
    const SourceInterface source = {.if_index = if_index, .rx_traffic_type = 1, .service = true, .target = 1};
    EXPECT_EQ(lines(source, kRx), "source interface " + fake.interfaces[if_index].name + " rx \n");
  }
}

TEST_F(RunningSource, TheTrafficTypeBelongsToTheInterfaceThatWasAskedFor) {
  SourceInterface source = service();
  source.rx_traffic_type = source.target = 1;
  EXPECT_EQ(lines(source, kRx, kFc1), "source interface svc2/1 rx \n");
  source.if_index = kFc2;
  EXPECT_EQ(lines(source, kRx, kPortChannel2), "source interface fc1/2 rx traffic-type target\n");
}

TEST_F(RunningSource, OnlyATrafficTypeAsksForTheKindOfTheInterfaceAgain) {
  SourceInterface source = service();
  source.tx_traffic_type = source.initiator = 1;
  EXPECT_EQ(lines(source, kTx), "source interface svc2/1 tx traffic-type initiator\n");
  EXPECT_EQ(fake.calls(),
            "if_index_get_type(0x4000020)\n"
            "if_index_port_channel_get_subtype(0x4000020)\n"
            "sprintf_if_index(0xc000000)\n"
            "if_index_get_type(0x4000020)\n"
            "if_index_port_channel_get_subtype(0x4000020)\n");
}

// ---- Traffic type behind a filter ------------------------------------------------------------------------------------

// A response for svc2/1 with a filter in both directions, 0 where nothing is set.
Message filtered(const Vsans& vsans) {
  Message response(542);
  return response.net_if(0, kPortChannel2).u8(4, 1).u8(14, 1).u8(15, 1).net_if(18, kSvc).vsans(22, vsans);
}

TEST_F(RunningSource, KeepsReadingTheRxTrafficTypeBehindAFilterFromVsans4080To4087) {
  for (uint32_t vsan = 4080; vsan <= 4087; ++vsan) {
    EXPECT_EQ(lines_of(filtered({{vsan, vsan}}).u8(539, 1), kRx, kPortChannel2),
              std::string("source interface svc2/1 rx filter vsan  ").append(std::to_string(vsan)) +
                  "\n"
                  "source interface svc2/1 rx filter vsan traffic-type mgmt\n");
  }
  EXPECT_EQ(lines_of(filtered({{4079, 4079}, {4088, 4088}}).u8(539, 1), kRx, kPortChannel2),
            "source interface svc2/1 rx filter vsan  4079\n"
            "source interface svc2/1 rx filter vsan  4088\n"
            "source interface svc2/1 rx filter vsan \n");
}

TEST_F(RunningSource, KeepsTheRxTrafficTypeAt16UnreadBehindAFilter) {
  EXPECT_EQ(lines_of(filtered({{9, 9}}).u8(16, 1).u8(17, 1).u8(538, 1), kRx, kPortChannel2),
            "source interface svc2/1 rx filter vsan  9\n"
            "source interface svc2/1 rx filter vsan \n");
}

TEST_F(RunningSource, KeepsReadingTheRxTrafficNamesBehindAFilterAt538) {
  for (const NamesCase& names : kNamesCases) {
    Message response = filtered({{0, 23}, {4080, 4080}});
    response.put(538, names.flags);
    const std::string text = lines_of(response, kRx, kPortChannel2);
    EXPECT_TRUE(
        text.ends_with("source interface svc2/1 rx filter vsan  4080\n"
                       "source interface svc2/1 rx filter vsan traffic-type " +
                       names.names + "\n"))
        << text;
  }
}

TEST_F(RunningSource, KeepsReadingTheTxTrafficNamesFromTheFirst24VsansOfTheFilter) {
  EXPECT_EQ(lines_of(filtered({{0, 0}, {23, 23}}).u8(17, 1), kTx, kPortChannel2),
            "source interface svc2/1 tx filter vsan  0\n"
            "source interface svc2/1 tx filter vsan  23\n"
            "source interface svc2/1 tx filter vsan traffic-type targetinitiator\n");
  EXPECT_EQ(lines_of(filtered({{8, 8}, {24, 24}}).u8(17, 1), kTx, kPortChannel2),
            "source interface svc2/1 tx filter vsan  8\n"
            "source interface svc2/1 tx filter vsan  24\n"
            "source interface svc2/1 tx filter vsan traffic-type mgmt\n");
}

TEST_F(RunningSource, TheTxTrafficTypeBehindAFilterLiesAt17) {
  EXPECT_EQ(lines_of(filtered({{4080, 4087}}).u8(16, 1).put(538, {1, 1, 1}), kTx, kPortChannel2),
            "source interface svc2/1 tx filter vsan  4080\n"
            "source interface svc2/1 tx filter vsan  4081\n"
            "source interface svc2/1 tx filter vsan  4082\n"
            "source interface svc2/1 tx filter vsan  4083\n"
            "source interface svc2/1 tx filter vsan  4084\n"
            "source interface svc2/1 tx filter vsan  4085\n"
            "source interface svc2/1 tx filter vsan  4086\n"
            "source interface svc2/1 tx filter vsan  4087\n"
            "source interface svc2/1 tx filter vsan \n");
}

TEST_F(RunningSource, TheFilterOfTheOtherDirectionMovesNothing) {
  EXPECT_EQ(lines_of(filtered({}).u8(14, 0).u8(16, 1).u8(22, 1), kRx, kPortChannel2),
            "source interface svc2/1 rx traffic-type target\n");
}

TEST_F(RunningSource, AnOrdinaryInterfaceWithVsan4080InItsFilterHasNoTrafficType) {
  EXPECT_EQ(lines_of(filtered({{4080, 4080}}).net_if(0, kFc1).u8(538, 1), kRx, kFc1),
            "source interface fc1/1 rx filter vsan  4080\n"
            "source interface fc1/1 rx filter vsan \n");
}

TEST_F(RunningSource, TheFilterLiesAt22AlsoWithATrafficType) {
  EXPECT_EQ(lines_of(filtered({{106, 106}}).u8(17, 1), kTx, kPortChannel2),
            "source interface svc2/1 tx filter vsan  106\n"
            "source interface svc2/1 tx filter vsan traffic-type \n");
}

// ---- The line's bound ------------------------------------------------------------------------------------------------

class LongRunningSource : public RunningSource {
 protected:
  // Names fc1/1, or the member of the service port channel, so that `rest` ends at column `length`.
  std::string fill(size_t length, const std::string& rest) {
    std::string name(length - rest.size(), 'n');
    fake.interfaces[kFc1].name = fake.interfaces[kSvc].name = name;
    return name;
  }

  // Lines of which a piece does not fit, which the test support takes for a failure.
  std::string cut_lines(const SourceInterface& source, uint8_t direction) {
    constexpr auto kHere = testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD;
    testing::TestPartResultArray results;
    std::string text;
    {
      const testing::ScopedFakeTestPartResultReporter reporter(kHere, &results);
      text = lines(source, direction);
    }
    for (int i = 0; i < results.size(); ++i) {
      EXPECT_TRUE(std::strstr(results.GetTestPartResult(i).message(), "__strcat_to_buf beyond its buffer"))
          << results.GetTestPartResult(i).message();
    }
    return text;
  }
};

TEST_F(LongRunningSource, ALineOf127CharactersIsWhole) {
  const std::string name = fill(127, "source interface  rx filter vsan ");
  EXPECT_EQ(lines({.if_index = kFc1, .rx_filter = 1, .vsans = {{4095, 4095}}}, kRx), "source interface " + name +
                                                                                         " rx filter vsan  4095\n"
                                                                                         "source interface " +
                                                                                         name + " rx filter vsan \n");
}

TEST_F(LongRunningSource, ALongerLineIsCutAt127CharactersBeforeItsVsan) {
  const std::string name = fill(127, "source interface  rx filter ");
  EXPECT_EQ(cut_lines({.if_index = kFc1, .rx_filter = 1, .vsans = {{4095, 4095}}}, kRx), "source interface " + name +
                                                                                             " rx filter  4095\n"
                                                                                             "source interface " +
                                                                                             name + " rx filter \n");
}

TEST_F(LongRunningSource, TheLongestNameLeavesNoRoomForItsDirection) {
  fill(127, "");
  EXPECT_EQ(cut_lines({.if_index = kFc1}, kTx), "source interface " + std::string(110, 'n') + "\n");
  EXPECT_EQ(cut_lines({.if_index = kFc1, .tx_filter = 1, .vsans = {{0, 0}}}, kTx), "source interface " +
                                                                                       std::string(110, 'n') +
                                                                                       " 0\n"
                                                                                       "source interface " +
                                                                                       std::string(110, 'n') + "\n");
}

TEST_F(LongRunningSource, KeepsTheTrafficNamesWithoutABound) {
  const std::string name = fill(127, "source interface  tx traffic-type ");
  SourceInterface source = service();
  source.tx_traffic_type = source.target = source.mgmt = source.initiator = 1;
  EXPECT_EQ(lines(source, kTx), "source interface " + name + " tx traffic-type targetinitiatormgmt\n");
  fill(127, "");
  EXPECT_EQ(cut_lines(source, kTx), "source interface " + std::string(110, 'n') + "targetinitiatormgmt\n");
}

// ---- Asking ----------------------------------------------------------------------------------------------------------

class ShowRunningSource : public CliTest {
 protected:
  uint32_t show(uint32_t if_index, uint8_t direction) {
    return run([&] { return span_show_src_running_config(command_, 15, if_index, direction); });
  }

  Command command_;
};

TEST_F(ShowRunningSource, AsksForTheInterfaceInItsSessionAndDirection) {
  fake.expect_exchange(2010).gives(SourceInterface{.if_index = kFc2}.response());
  EXPECT_EQ(show(kFc2, 2), 0u);
  EXPECT_EQ(printed(), "source interface fc1/2 tx \n");
  EXPECT_EQ(fake.exchange().payload.size(), 8u);
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 0, 6), hex("5b a5 b5 5a 0f 02")));
  EXPECT_EQ(fake.calls("vex"), "vex_req_resp(2010, 1, [8 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n");
  EXPECT_EQ(heap::requests(), 0u);
}

TEST_F(ShowRunningSource, TheDirectionAskedForPicksTheFlags) {
  fake.expect_exchange(2010).gives(SourceInterface{.if_index = kFc1, .rx_filter = 1, .vsans = {{5, 5}}}.response());
  EXPECT_EQ(show(kFc1, 1), 0u);
  EXPECT_EQ(printed(),
            "source interface fc1/1 rx filter vsan  5\n"
            "source interface fc1/1 rx filter vsan \n");
}

TEST_F(ShowRunningSource, TheInterfaceAskedForPicksTheTrafficType) {
  fake.expect_exchange(2010).gives(
      SourceInterface{.if_index = kPortChannel2, .rx_traffic_type = 1, .member = kSvc, .service = true, .initiator = 1}
          .response());
  EXPECT_EQ(show(kPortChannel2, 1), 0u);
  EXPECT_EQ(printed(), "source interface svc2/1 rx traffic-type initiator\n");
}

TEST_F(ShowRunningSource, AnotherDirectionIsAskedForAndPrintsNothing) {
  fake.expect_exchange(2010).gives(SourceInterface{.if_index = kFc1}.response());
  EXPECT_EQ(show(kFc1, 3), 0u);
  EXPECT_EQ(printed(), "");
  EXPECT_EQ(fake.exchange().payload.at(5), 3);
}

TEST_F(ShowRunningSource, AFailureIsToldAsASignedNumberAndReturned) {
  fake.expect_exchange(2010).returns(0xFFFFFFFF).gives(SourceInterface{.if_index = kFc1}.response());
  EXPECT_EQ(show(kFc1, 1), 0xFFFFFFFFu);
  EXPECT_EQ(printed(), "err(-1)\n");
  fake.expect_exchange(2010).returns(0x40340008);
  EXPECT_EQ(show(kFc1, 1), 0x40340008u);
  EXPECT_EQ(printed(), "err(1077149704)\n");
}

TEST_F(ShowRunningSource, WithoutAQueueNothingIsSent) {
  command_.queue(0);
  EXPECT_EQ(show(kFc1, 1), 0x40340015u);
  EXPECT_EQ(printed(),
            "Invalid param\n"
            "err(1077149717)\n");
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(ShowRunningSource, AnInterfaceThatIsNoSourcePrintsNothing) {
  fake.expect_exchange(2010).gives(SourceInterface{.if_index = kFc1, .valid = 0}.response());
  EXPECT_EQ(show(kFc1, 1), 0u);
  EXPECT_EQ(printed(), "");
}

}  // namespace
}  // namespace testkit
