// Source interfaces on a services module: the port channels that carry their traffic go out in their place.
#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

constexpr uint32_t kTrafficKeyword = 4;
constexpr uint32_t kSvc2 = 0x0c000001;
constexpr MapEntry kMapped = {.port_channels = {0x04000101, 0x04000102, 0x04000103}};

// The ranges behind offset 620 of a request, when each is one interface.
Bytes single_ranges(const std::vector<uint32_t>& port_channels) {
  Bytes bytes = be32(static_cast<uint32_t>(port_channels.size()));
  for (const uint32_t port_channel : port_channels) bytes = join({bytes, net_if(port_channel), net_if(port_channel)});
  return bytes;
}

class SourceIfSvc : public CliTest {
 protected:
  SourceIfSvc() { fake.interfaces[kSvc2] = {.type = 12, .name = "svc2/2", .subtype = {}}; }

  void map_to(const std::vector<MapEntry>& entries) { fake.expect("ksm_if_to_pch_get_map").gives(map_reply(entries)); }

  void accept() { fake.expect_exchange(2002).gives(SourceConfigResult{}.response()); }

  // The ranges that a command sends.
  Bytes ranges_of(const Command& command) {
    accept();
    EXPECT_EQ(call(span_cli_set_src_config_if, command), 0u);
    return slice(fake.exchange().payload, 620, 10000);
  }

  Command command_;
};

TEST_F(SourceIfSvc, WithoutATrafficTypeAllThreePortChannelsAreSent) {
  command_.number(3).interfaces({{kSvc, kSvc}});
  map_to({kMapped});
  accept();
  EXPECT_EQ(call(span_cli_set_src_config_if, command_), 0u);
  EXPECT_TRUE(
      sent("02 03 01 01 00 02 00 00 00*512 00 00 00 03"
           " 5e a5 a4 5b 5e a5 a4 5b 5e a5 a4 58 5e a5 a4 58 5e a5 a4 59 5e a5 a4 59"));
  EXPECT_EQ(fake.calls(),
            "if_index_get_type(0xc000000)\n"
            "if_index_get_type(0xc000000)\n"
            "ksm_if_to_pch_get_map(7, 7, [01 00 00 00 00 00 00 0c 00 00 00 0c])\n"
            "vex_req_resp(2002, 3, [648 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n");
}

TEST_F(SourceIfSvc, EachTrafficTypeHasItsPortChannel) {
  struct Case {
    uint32_t id;
    uint32_t port_channel;
  };
  for (const auto& [id, port_channel] : {Case{17, 0x04000103}, {18, 0x04000101}, {19, 0x04000102}}) {
    Command command;
    command.number(3).interfaces({{kSvc, kSvc}}).keyword(kTrafficKeyword).keyword(id);
    map_to({kMapped});
    EXPECT_TRUE(same_bytes(ranges_of(command), single_ranges({port_channel}))) << id;
  }
}

TEST_F(SourceIfSvc, ADirectionAloneMeansAllTraffic) {
  command_.number(3).interfaces({{kSvc, kSvc}}).keyword(3);
  map_to({kMapped});
  EXPECT_TRUE(same_bytes(ranges_of(command_), single_ranges({0x04000101, 0x04000102, 0x04000103})));
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 100, 4), hex("02 02 01 01")));
}

TEST_F(SourceIfSvc, ADirectionAndATrafficTypeInTheNoForm) {
  command_.number(3).interfaces({{kSvc, kSvc}}).keyword(2).keyword(kTrafficKeyword).keyword(19).negated();
  map_to({kMapped});
  EXPECT_TRUE(same_bytes(ranges_of(command_), single_ranges({0x04000102})));
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 100, 4), hex("02 01 08 01")));
}

TEST_F(SourceIfSvc, AllRangesAreMappedInOneRequest) {
  command_.number(3).interfaces({{kSvc, kSvc2}, {kFc1, kFc2}});
  map_to({kMapped});
  EXPECT_TRUE(same_bytes(ranges_of(command_), single_ranges({0x04000101, 0x04000102, 0x04000103})));
  EXPECT_EQ(fake.calls("ksm"),
            "ksm_if_to_pch_get_map(7, 7, "
            "[02 00 00 00 00 00 00 0c 01 00 00 0c 00 00 00 01 00 10 00 01])\n");
}

TEST_F(SourceIfSvc, TheFirstInterfaceDecidesThatTheListIsMapped) {
  command_.number(3).interfaces({{kFc1, kFc1}, {kSvc, kSvc}});
  EXPECT_TRUE(same_bytes(ranges_of(command_), single_ranges({kFc1, kSvc})));
  EXPECT_EQ(fake.calls("ksm"), "");
}

TEST_F(SourceIfSvc, EntriesWithAnErrorAndPortChannels0AreLeftOut) {
  command_.number(3).interfaces({{kSvc, kSvc2}});
  map_to({{.error = 5, .port_channels = {1, 2, 3}}, {.port_channels = {0x04000104, 0, 0x04000106}}});
  EXPECT_TRUE(same_bytes(ranges_of(command_), single_ranges({0x04000104, 0x04000106})));
}

TEST_F(SourceIfSvc, AMapWithoutPortChannelsSendsNoInterface) {
  command_.number(3).interfaces({{kSvc, kSvc}});
  map_to({});
  EXPECT_TRUE(same_bytes(ranges_of(command_), single_ranges({})));
}

TEST_F(SourceIfSvc, ThePortChannelsOfOneInterfaceStayTogether) {
  command_.number(3).interfaces({{kSvc, kSvc2}});
  map_to({kMapped, {.port_channels = {0x04000104, 0x04000105, 0x04000106}}});
  EXPECT_TRUE(same_bytes(ranges_of(command_), single_ranges({0x04000101, 0x04000102, 0x04000103,  //
                                                             0x04000104, 0x04000105, 0x04000106})));
}

TEST_F(SourceIfSvc, MoreThan64PortChannelsAreAllSent) {
  std::vector<MapEntry> entries;
  std::vector<uint32_t> port_channels;
  for (uint32_t i = 0; i < 100; ++i) {
    entries.push_back({.port_channels = {0x04000001 + 3 * i, 0x04000002 + 3 * i, 0x04000003 + 3 * i}});
    for (uint32_t type = 1; type <= 3; ++type) port_channels.push_back(0x04000000 + 3 * i + type);
  }
  command_.number(3).interfaces({{kSvc, kSvc + 99}});
  map_to(entries);
  EXPECT_TRUE(same_bytes(ranges_of(command_), single_ranges(port_channels)));
  EXPECT_EQ(fake.exchange().payload.size(), 624u + 8 * 300);
}

TEST_F(SourceIfSvc, TheListOfTheCommandStaysAsItWas) {
  command_.number(3).interfaces({{kSvc, kSvc2}});
  map_to({kMapped});
  ranges_of(command_);
  EXPECT_TRUE(same_bytes(copy_of(command_.value(2), 528), range_list({{kSvc, kSvc2}})));
}

TEST_F(SourceIfSvc, TheSourceTypeIsThatOfTheInterfaceAsTyped) {
  fake.interfaces[0x04000101] = {.type = 4, .name = "port-channel 257", .subtype = 0};
  command_.number(3).interfaces({{kSvc, kSvc}}).keyword(kTrafficKeyword).keyword(18);
  map_to({kMapped});
  ranges_of(command_);
  EXPECT_EQ(fake.exchange().payload[103], 1);
  EXPECT_EQ(fake.calls("if_index"),
            "if_index_get_type(0xc000000)\n"
            "if_index_get_type(0xc000000)\n");
}

TEST_F(SourceIfSvc, TheResultIsToldWithThePortChannels) {
  fake.interfaces[0x04000101] = {.type = 4, .name = "port-channel 257", .subtype = 2};
  command_.number(3).interfaces({{kSvc, kSvc}}).keyword(kTrafficKeyword).keyword(18);
  map_to({kMapped});
  fake.expect_exchange(2002).gives(
      SourceConfigResult{.result = 0x40340001, .interfaces = {{0x04000101, 0x40340045}}}.response());
  EXPECT_EQ(call(span_cli_set_src_config_if, command_), 0u);
  EXPECT_EQ(printed(),
            "status 0x40340001\n"
            "=================================================\n"
            "Configuration failed on the following interface(s)\n"
            "=================================================\n"
            "port-channel 257 status 0x40340045\n");
}

// ---- Failures --------------------------------------------------------------------------------------------------------

TEST_F(SourceIfSvc, AFailedMapIsToldTwiceAndNothingIsSent) {
  command_.number(3).interfaces({{kSvc, kSvc}});
  fake.expect("ksm_if_to_pch_get_map").returns(0x40340008);
  EXPECT_EQ(call(span_cli_set_src_config_if, command_), 1u);
  EXPECT_EQ(printed(),
            "Error in getting inforamation for kestrel interfaces\n"
            "Error in getting information about interfaces\n");
  EXPECT_EQ(fake.calls("vex"), "");
}

TEST_F(SourceIfSvc, TheReplyOfAFailedMapIsNotUsed) {
  command_.number(3).interfaces({{kSvc, kSvc}}).keyword(kTrafficKeyword).keyword(17).negated();
  fake.expect("ksm_if_to_pch_get_map").returns(1).gives(map_reply({kMapped}));
  EXPECT_EQ(call(span_cli_set_src_config_if, command_), 1u);
  EXPECT_EQ(printed(),
            "Error in getting inforamation for kestrel interfaces\n"
            "Error in getting information about interfaces\n");
  EXPECT_EQ(fake.calls("vex"), "");
}

TEST_F(SourceIfSvc, WithoutMemoryForTheMapRequestNothingIsAsked) {
  command_.number(3).interfaces({{kSvc, kSvc}});
  heap::fail_nth(1);
  EXPECT_EQ(call(span_cli_set_src_config_if, command_), 1u);
  EXPECT_EQ(printed(), "Error in getting information about interfaces\n");
  EXPECT_EQ(fake.calls("ksm"), "");
  EXPECT_EQ(fake.calls("vex"), "");
}

// More interfaces than the shell's list has room for port channels of.
TEST_F(SourceIfSvc, WithoutMemoryForManyPortChannelsNothingIsSent) {
  command_.number(3).interfaces({{kSvc, kSvc}});
  map_to(std::vector<MapEntry>(22, kMapped));
  heap::fail_nth(2);
  EXPECT_EQ(call(span_cli_set_src_config_if, command_), 1u);
  EXPECT_EQ(printed(), "Error in getting information about interfaces\n");
  EXPECT_EQ(fake.calls("vex"), "");
}

TEST_F(SourceIfSvc, WithoutMemoryForTheRequestNothingIsSentAndTheNextOneWorks) {
  command_.number(3).interfaces({{kSvc, kSvc}});
  map_to({kMapped});
  heap::fail_nth(2);
  EXPECT_EQ(call(span_cli_set_src_config_if, command_), 1u);
  EXPECT_EQ(printed(), "error:[1] status 0x1\n");
  EXPECT_TRUE(fake.exchanges.empty());
  map_to({kMapped});
  EXPECT_TRUE(same_bytes(ranges_of(command_), single_ranges({0x04000101, 0x04000102, 0x04000103})));
  EXPECT_EQ(heap::requests(), 4u);
}

TEST_F(SourceIfSvc, UpTo64PortChannelsNeedNoListOfTheirOwn) {
  for (const auto& [interfaces, requests] : {std::pair{21u, 2u}, {22u, 3u}}) {
    Command command;
    command.number(3).interfaces({{kSvc, kSvc}});
    map_to(std::vector<MapEntry>(interfaces, kMapped));
    const size_t before = heap::requests();
    ranges_of(command);
    EXPECT_EQ(heap::requests() - before, requests);
  }
}

}  // namespace
}  // namespace testkit
