// Service-module interfaces and the port channels that carry their traffic.
#include <gtest/gtest.h>

#include "tests/msg/request_test.h"

namespace testkit {
namespace {

class ServiceModule : public LibspanTest {
 protected:
  uint32_t convert(int traffic_type) {
    return run(
        [&] { return span_convert_ks_intf_to_ipch(kQueue, list_.data(), static_cast<signed char>(traffic_type)); });
  }

  // The list that a reply leaves behind.
  Bytes converted(int traffic_type, const std::vector<MapEntry>& entries) {
    list_ = range_list({{0x10, 0x12}, {0x20, 0x20}});
    fake.expect("ksm_if_to_pch_get_map").gives(map_reply(entries));
    EXPECT_EQ(convert(traffic_type), 0u);
    return list_;
  }

  // A cleared list of 528 bytes with these interfaces, each a range of its own.
  static Bytes list_of(const std::vector<uint32_t>& interfaces) {
    Message list(528);
    list.host32(4, static_cast<uint32_t>(interfaces.size()));
    for (size_t i = 0; i < interfaces.size(); ++i) {
      list.host32(16 + 8 * i, interfaces[i]).host32(20 + 8 * i, interfaces[i]);
    }
    return list;
  }

  Bytes list_ = range_list({{0x10, 0x12}, {0x20, 0x20}});
};

const std::vector<MapEntry> kTwoEntries = {{0, {0x101, 0x102, 0x103}}, {0, {0x201, 0x202, 0x203}}};

TEST_F(ServiceModule, AsksForTheRangesAsTheyAre) {
  converted(-1, {});
  const std::string ranges = to_hex(join({host32(2), host32(0x10), host32(0x12), host32(0x20), host32(0x20)}));
  EXPECT_EQ(fake.calls(), "ksm_if_to_pch_get_map(7, 7, [" + ranges + "])\n");
}

TEST_F(ServiceModule, AskingForNoRangeSendsTheCountAlone) {
  list_ = range_list({});
  fake.expect("ksm_if_to_pch_get_map(7, 7, [00 00 00 00])").gives(map_reply({}));
  EXPECT_EQ(convert(-1), 0u);
  EXPECT_TRUE(same_bytes(list_, Bytes(528)));
}

TEST_F(ServiceModule, AllTrafficGivesThreePortChannels) {
  EXPECT_TRUE(same_bytes(converted(-1, {{0, {0x101, 0x102, 0x103}}}), list_of({0x101, 0x102, 0x103})));
}

TEST_F(ServiceModule, KeepsTheOrderEntryByEntry) {
  EXPECT_TRUE(same_bytes(converted(-1, kTwoEntries), list_of({0x101, 0x102, 0x103, 0x201, 0x202, 0x203})));
}

TEST_F(ServiceModule, OneTrafficTypeGivesItsPortChannel) {
  EXPECT_TRUE(same_bytes(converted(0, kTwoEntries), list_of({0x101, 0x201})));
  EXPECT_TRUE(same_bytes(converted(1, kTwoEntries), list_of({0x102, 0x202})));
  EXPECT_TRUE(same_bytes(converted(2, kTwoEntries), list_of({0x103, 0x203})));
}

TEST_F(ServiceModule, AnyOtherTrafficTypeGivesNothing) {
  for (const int traffic_type : {3, 17, 127, -2, -128}) {
    EXPECT_TRUE(same_bytes(converted(traffic_type, kTwoEntries), Bytes(528))) << traffic_type;
  }
}

TEST_F(ServiceModule, APortChannelOf0IsLeftOut) {
  EXPECT_TRUE(same_bytes(converted(-1, {{0, {0x101, 0, 0x103}}, {0, {0, 0x202, 0}}}), list_of({0x101, 0x103, 0x202})));
}

TEST_F(ServiceModule, AnEntryWithAnErrorIsSkipped) {
  EXPECT_TRUE(same_bytes(converted(-1, {{1, {0x101, 0x102, 0x103}}, {0x80000000, {4, 5, 6}}, {0, {0x201, 0, 0}}}),
                         list_of({0x201})));
}

TEST_F(ServiceModule, NoEntryClearsTheWholeList) { EXPECT_TRUE(same_bytes(converted(-1, {}), Bytes(528))); }

TEST_F(ServiceModule, LeavesNoBlockBehind) {
  converted(-1, kTwoEntries);
  EXPECT_EQ(heap::live(), 0u);
}

TEST_F(ServiceModule, KeepsAppendingBeyondTheRoomOf64Ranges) {
  std::vector<MapEntry> entries(30, {0, {1, 2, 3}});
  list_ = range_list(Ranges(90, {9, 9}));
  fake.expect("ksm_if_to_pch_get_map").gives(map_reply(entries));
  EXPECT_EQ(convert(-1), 0u);
  Ranges expected;
  for (int i = 0; i < 30; ++i) expected.insert(expected.end(), {{1, 1}, {2, 2}, {3, 3}});
  EXPECT_TRUE(same_bytes(slice(list_, 16, 720), slice(range_list(expected), 16, 720)));
  EXPECT_TRUE(same_bytes(slice(list_, 0, 16), join({host32(0), host32(90), host32(0), host32(0)})));
}

TEST_F(ServiceModule, AFailedMapLeavesTheListAndIsTold) {
  const Bytes before = list_;
  for (const uint32_t code : {1u, 0x40340007u, kTransportFailed}) {
    fake.expect("ksm_if_to_pch_get_map").returns(code);
    EXPECT_EQ(convert(-1), code);
    EXPECT_EQ(printed(), "Error in getting inforamation for kestrel interfaces\n");
    EXPECT_TRUE(same_bytes(list_, before));
  }
}

TEST_F(ServiceModule, AFailedMapFreesItsReply) {
  fake.expect("ksm_if_to_pch_get_map").returns(1).gives(map_reply(kTwoEntries));
  EXPECT_EQ(convert(-1), 1u);
  EXPECT_EQ(printed(), "Error in getting inforamation for kestrel interfaces\n");
  EXPECT_EQ(heap::live(), 0u);
}

TEST_F(ServiceModule, AFailedAllocationOfTheRequestIsSilent) {
  const Bytes before = list_;
  heap::fail_nth(1);
  EXPECT_EQ(convert(-1), 1u);
  EXPECT_TRUE(same_bytes(list_, before));
  EXPECT_EQ(fake.calls(), "");
}

// 64 port channels need no block of their own; 66 do.
TEST_F(ServiceModule, AFailedAllocationForManyPortChannelsLeavesTheListToo) {
  const Bytes before = list_;
  fake.expect("ksm_if_to_pch_get_map").gives(map_reply(std::vector<MapEntry>(22, kTwoEntries[0])));
  heap::fail_nth(2);
  EXPECT_EQ(convert(-1), 1u);
  EXPECT_TRUE(same_bytes(list_, before));
  EXPECT_EQ(heap::live(), 0u);
}

#if UINTPTR_MAX == UINT32_MAX
TEST_F(ServiceModule, ACountWhoseSizeWrapsIsAFailedAllocation) {
  list_ = Message(528).host32(4, 0x20000000);
  EXPECT_EQ(convert(-1), 1u);
  EXPECT_EQ(fake.calls(), "");
}

// 24 bytes for each entry: times 24 the counts leave 16 bytes below the end of memory, or come round to 0.
TEST_F(ServiceModule, AMapWhoseSizeWrapsIsAFailedAllocation) {
  const Bytes before = list_;
  for (const uint32_t count : {0x0AAAAAAAu, 0x20000000u}) {
    fake.expect("ksm_if_to_pch_get_map").gives(join({host32(0), host32(count)}));
    EXPECT_EQ(convert(-1), 1u);
    EXPECT_TRUE(same_bytes(list_, before));
  }
}
#endif

}  // namespace
}  // namespace testkit
