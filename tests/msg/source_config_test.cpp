// The request that changes a session's sources and filters, and the configuration entry.
#include <gtest/gtest.h>

#include "tests/msg/request_test.h"

namespace testkit {
namespace {

class SetSrcConfig : public RequestTest {
 protected:
  struct Arguments {
    uint32_t queue = kQueue;
    uint8_t session_index = 2;
    uint8_t direction = 3;
    uint8_t operation = 1;
    uint8_t source_type = 1;
    const uint32_t* vsan_range = nullptr;
    const void* bitmap = nullptr;
    const void* if_ranges = nullptr;
  };

  uint32_t send(const Arguments& a) {
    free_response();
    return run([&] {
      return span_set_src_config(a.queue, kWho, kWhere, a.session_index, a.direction, a.operation, a.source_type,
                                 a.vsan_range, a.bitmap, a.if_ranges, 0x55555555, &response_);
    });
  }

  // The VSANs that went out for first to last.
  Bytes vsans_sent(uint32_t first, uint32_t last) {
    const uint32_t range[2] = {first, last};
    fake.expect_exchange(2002);
    send({.vsan_range = range});
    return slice(fake.exchange().payload, 108, 512);
  }
};

TEST_F(SetSrcConfig, SendsTheWholePayloadForInterfaces) {
  const Bytes ranges = range_list({{0x01020304, 0x01020308}, {0x10, 0x10}});
  fake.expect_exchange(2002).gives(SourceConfigResult{}.response());
  EXPECT_EQ(send({.if_ranges = ranges.data()}), 0u);
  EXPECT_TRUE(same_bytes(fake.exchange().payload,
                         hex("6f 70 65 72 61 74 6f 72 00*52 76 74 79 20 31 00*35 02 03 01 01 00 02 00 00 00*512 "
                             "00 00 00 02 5b a7 a6 5e 5b a7 a6 52 5a a5 a5 4a 5a a5 a5 4a")));
  EXPECT_EQ(fake.calls(), "vex_req_resp(2002, 3, [640 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n");
}

TEST_F(SetSrcConfig, SendsTheWholePayloadForVsans) {
  const uint32_t range[2] = {1, 10};
  fake.expect_exchange(2002).gives(SourceConfigResult{}.response());
  EXPECT_EQ(send({.session_index = 15, .direction = 1, .operation = 8, .source_type = 3, .vsan_range = range}), 0u);
  EXPECT_TRUE(same_bytes(fake.exchange().payload,
                         hex("6f 70 65 72 61 74 6f 72 00*52 76 74 79 20 31 00*35 0f 01 08 03 00 02 00 00 7f e0 00*510 "
                             "00 00 00 00")));
}

TEST_F(SetSrcConfig, KeepsTheBitmapLengthInHostOrder) {
  fake.expect_exchange(2002);
  send({});
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 104, 4), host32(512)));
}

TEST_F(SetSrcConfig, SendsEveryCodeAsGiven) {
  fake.expect_exchange(2002);
  send({.session_index = 0, .direction = 0xd1, .operation = 0x20, .source_type = 0xf6});
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 100, 4), hex("00 d1 20 f6")));
}

TEST_F(SetSrcConfig, Has624BytesWithoutInterfaces) {
  const Bytes none = range_list({});
  for (const void* const ranges : {static_cast<const void*>(nullptr), static_cast<const void*>(none.data())}) {
    fake.expect_exchange(2002);
    send({.if_ranges = ranges});
    EXPECT_EQ(fake.exchange().payload.size(), 624u);
    EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 620, 4), hex("00*4")));
  }
}

TEST_F(SetSrcConfig, SendsEveryRangeOfAFullList) {
  Ranges ranges;
  for (uint32_t i = 0; i < 64; ++i) ranges.emplace_back(0x1000000 + i, 0x2000000 + i);
  const Bytes list = range_list(ranges);
  fake.expect_exchange(2002);
  send({.if_ranges = list.data()});
  const Bytes payload = fake.exchange().payload;
  ASSERT_EQ(payload.size(), 624u + 64 * 8);
  EXPECT_TRUE(same_bytes(slice(payload, 620, 4), be32(64)));
  for (uint32_t i = 0; i < 64; ++i) {
    EXPECT_TRUE(same_bytes(slice(payload, 624 + 8 * i, 8), join({net_if(0x1000000 + i), net_if(0x2000000 + i)}))) << i;
  }
}

TEST_F(SetSrcConfig, SendsMoreRangesThanTheShellsListHolds) {
  const Bytes list = range_list(Ranges(70, {1, 2}));
  fake.expect_exchange(2002);
  send({.if_ranges = list.data()});
  EXPECT_EQ(fake.exchange().payload.size(), 624u + 70 * 8);
}

// ---- VSANs -----------------------------------------------------------------------------------------------------------

TEST_F(SetSrcConfig, SetsVsan0AsTheHighestBit) { EXPECT_TRUE(same_bytes(vsans_sent(0, 0), hex("80 00*511"))); }

TEST_F(SetSrcConfig, SetsTheLastVsanAsTheLowestBit) {
  EXPECT_TRUE(same_bytes(vsans_sent(4095, 4095), hex("00*511 01")));
}

TEST_F(SetSrcConfig, SetsBothEndsOfARange) {
  EXPECT_TRUE(same_bytes(vsans_sent(1, 10), hex("7f e0 00*510")));
  EXPECT_TRUE(same_bytes(vsans_sent(7, 8), hex("01 80 00*510")));
  EXPECT_TRUE(same_bytes(vsans_sent(0, 4095), hex("ff*512")));
}

TEST_F(SetSrcConfig, SkipsARangeThatRunsBackwards) { EXPECT_TRUE(same_bytes(vsans_sent(10, 9), Bytes(512))); }

TEST_F(SetSrcConfig, SkipsVsansThatDoNotExist) {
  EXPECT_TRUE(same_bytes(vsans_sent(4094, 5000), hex("00*511 03")));
  EXPECT_TRUE(same_bytes(vsans_sent(4096, 4096), Bytes(512)));
  EXPECT_TRUE(same_bytes(vsans_sent(0xFFFFFFFF, 0xFFFFFFFF), Bytes(512)));
  EXPECT_TRUE(same_bytes(vsans_sent(0, 0xFFFFFFFF), hex("ff*512")));
}

TEST_F(SetSrcConfig, CopiesABitmapAsItStands) {
  Bytes holder = host32(512);
  for (int i = 0; i < 512; ++i) holder.push_back(static_cast<uint8_t>(i * 7));
  fake.expect_exchange(2002);
  send({.bitmap = holder.data()});
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 108, 512), slice(holder, 4, 512)));
}

TEST_F(SetSrcConfig, DoesNotReadTheLengthOfABitmap) {
  const Bytes holder = join({host32(3), Bytes(512, 0xff)});
  fake.expect_exchange(2002);
  send({.bitmap = holder.data()});
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 104, 516), join({host32(512), Bytes(512, 0xff)})));
}

TEST_F(SetSrcConfig, TakesTheBitmapRatherThanTheRange) {
  const uint32_t range[2] = {1, 10};
  const Bytes holder = vsan_holder({{100, 100}});
  fake.expect_exchange(2002);
  send({.vsan_range = range, .bitmap = holder.data()});
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 108, 512), vsan_bits({{100, 100}})));
}

// ---- Outcome ---------------------------------------------------------------------------------------------------------

TEST_F(SetSrcConfig, KeepsSendingWithoutAQueue) {
  fake.expect_exchange(2002);
  EXPECT_EQ(send({.queue = kNoQueue}), 0u);
  EXPECT_EQ(fake.calls(), "vex_req_resp(2002, 3, [624 bytes], \"operator\", \"vty 1\", 68, 0, 35)\n");
}

TEST_F(SetSrcConfig, HandsTheResponseOverUnread) {
  fake.expect_exchange(2002).gives({0xEE});
  EXPECT_EQ(send({}), 0u);
  EXPECT_TRUE(same_bytes(copy_of(response_, 1), {0xEE}));
  EXPECT_EQ(heap::live(), 1u);
}

TEST_F(SetSrcConfig, ReturnsTheCodeOfAFailedExchangeUnchanged) {
  for (const uint32_t code : {kTransportFailed, 1u, 0x40340007u}) {
    fake.expect_exchange(2002).returns(code);
    EXPECT_EQ(send({}), code);
    EXPECT_EQ(response_, nullptr);
  }
}

TEST_F(SetSrcConfig, LeavesTheResponseOfAFailedExchangeToTheCaller) {
  fake.expect_exchange(2002).returns(6).gives({1});
  EXPECT_EQ(send({}), 6u);
  EXPECT_EQ(heap::live(), 1u);
}

TEST_F(SetSrcConfig, TellsAFailedAllocation) {
  heap::fail_nth(1);
  EXPECT_EQ(send({}), 1u);
  EXPECT_EQ(printed(), "error:[1] status 0x1\n");
  EXPECT_EQ(fake.calls(), "syserr2str(1)\n");
}

TEST_F(SetSrcConfig, ItsBuilderGivesTheSamePayload) {
  const Bytes ranges = range_list({{0x10, 0x11}});
  const uint32_t vsans[2] = {2, 3};
  uint8_t* payload = nullptr;
  uint32_t length = 0;
  EXPECT_EQ(span_const_set_src_config_info_req_payload(kWho, kWhere, 2, 1, 4, 3, vsans, nullptr, ranges.data(),
                                                       &payload, &length),
            0u);
  EXPECT_TRUE(same_bytes(copy_of(payload, length), join({who_and_where(), hex("02 01 04 03"), host32(512),
                                                         hex("30 00*511 00 00 00 01"), net_if(0x10), net_if(0x11)})));
  std::free(payload);
}

TEST_F(SetSrcConfig, ItsBuilderTellsAFailedAllocation) {
  uint8_t* payload = nullptr;
  uint32_t length = kUntouched;
  heap::fail_nth(1);
  EXPECT_EQ(run([&] {
              return span_const_set_src_config_info_req_payload(kWho, kWhere, 2, 1, 4, 3, nullptr, nullptr, nullptr,
                                                                &payload, &length);
            }),
            1u);
  EXPECT_EQ(printed(), "error:[1] status 0x1\n");
  EXPECT_EQ(payload, nullptr);
  EXPECT_EQ(length, kUntouched);
}

TEST_F(SetSrcConfig, ACountWhoseSizeWrapsIsAFailedAllocation) {
  const Bytes list = Message(528).host32(4, 0x20000000);
  EXPECT_EQ(send({.if_ranges = list.data()}), 1u);
  EXPECT_EQ(printed(), "error:[1] status 0x1\n");
  EXPECT_EQ(heap::requests(), 0u);
}

// ---- Configuration entry ---------------------------------------------------------------------------------------------

class EncodeCfgTlv : public LibspanTest {
 protected:
  // At an odd address.
  uint32_t encode(uint8_t type, uint8_t length) {
    const uint32_t value = 0x01020304;
    return run([&] { return span_encode_cfg_tlv(buffer_.data() + 1, type, length, &value); });
  }

  Bytes buffer_ = Bytes(8, 0xEE);
};

TEST_F(EncodeCfgTlv, WritesTypeLengthAndTheValueInNetworkOrder) {
  EXPECT_EQ(encode(1, 4), 0u);
  EXPECT_TRUE(same_bytes(buffer_, hex("ee 01 04 01 02 03 04 ee")));
}

TEST_F(EncodeCfgTlv, WritesTheLengthAsGiven) {
  EXPECT_EQ(encode(1, 200), 0u);
  EXPECT_TRUE(same_bytes(buffer_, hex("ee 01 c8 01 02 03 04 ee")));
}

TEST_F(EncodeCfgTlv, RefusesOtherTypesAfterTypeAndLength) {
  EXPECT_EQ(encode(2, 4), 0x40340035u);
  EXPECT_EQ(printed(), "span_encode_cfg_tlv: Type not handled - 2\n");
  EXPECT_TRUE(same_bytes(buffer_, hex("ee 02 04 ee*5")));
}

TEST_F(EncodeCfgTlv, ShowsTheTypeInDecimal) {
  EXPECT_EQ(encode(0, 4), 0x40340035u);
  EXPECT_EQ(printed(), "span_encode_cfg_tlv: Type not handled - 0\n");
  EXPECT_EQ(encode(255, 4), 0x40340035u);
  EXPECT_EQ(printed(), "span_encode_cfg_tlv: Type not handled - 255\n");
}

}  // namespace
}  // namespace testkit
