// Port configuration: the request, the decoder of its response, and the form for one interface.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/msg/request_test.h"

namespace testkit {
namespace {

constexpr uint32_t kBadArgument = 0x40290000;

class PortConfig : public LibspanTest {
 protected:
  struct Arguments {
    uint32_t queue = kQueue;
    const char* requester1 = kWho;
    const char* requester2 = kWhere;
    std::vector<uint32_t> ranges = {0x01020304, 0x01020308};
    uint8_t type = 1;
    uint8_t length = 4;
  };

  uint32_t set(const Arguments& a) {
    const uint32_t value = 0x0a0b0c0d;
    return run([&] {
      return span_vex_set_port_config(a.queue, a.requester1, a.requester2, static_cast<uint32_t>(a.ranges.size() / 2),
                                      a.ranges.data(), a.type, a.length, &value, &count_, &results_);
    });
  }

  // Of so many ranges that there is no memory for them: they are not read.
  uint32_t set_many(uint32_t count, uint8_t length) {
    uint32_t mark = 0;
    results_ = &mark;
    const uint32_t ranges[2] = {1, 2};
    const uint32_t value = 0;
    return run([&] {
      return span_vex_set_port_config(kQueue, kWho, kWhere, count, ranges, 1, length, &value, &count_, &results_);
    });
  }

  // The payload of a request; the answer is a failure.
  Bytes sent(const Arguments& arguments) {
    fake.expect_exchange(2014).returns(1);
    EXPECT_EQ(set(arguments), 1u);
    return fake.exchange().payload;
  }

  Bytes header(const std::string& requester1, const std::string& requester2) {
    return slice(sent({.requester1 = requester1.c_str(), .requester2 = requester2.c_str()}), 0, 100);
  }

  void TearDown() override {
    std::free(results_);
    LibspanTest::TearDown();
  }

  uint32_t count_ = kUntouched;
  uint32_t* results_ = nullptr;
};

// ---- Request ---------------------------------------------------------------------------------------------------------

TEST_F(PortConfig, SendsTheWholePayload) {
  EXPECT_TRUE(same_bytes(sent({}), hex("6f 70 65 72 61 74 6f 72 00*52 76 74 79 20 31 00*35 00 01 "
                                       "5b a7 a6 5e 5b a7 a6 52 01 04 0a 0b 0c 0d")));
  EXPECT_EQ(fake.calls(), "vex_req_resp(2014, 3, [116 bytes], \"operator\", \"vty 1\", 68, 7, 0)\n");
}

TEST_F(PortConfig, PutsTheEntryBehindTheRanges) {
  const Bytes payload = sent({.ranges = {1, 2, 3, 4, 5, 6}});
  EXPECT_EQ(payload.size(), 132u);
  EXPECT_TRUE(same_bytes(slice(payload, 100, 32), join({be16(3), net_if(1), net_if(2), net_if(3), net_if(4), net_if(5),
                                                        net_if(6), hex("01 04 0a 0b 0c 0d")})));
}

TEST_F(PortConfig, SendsTheLowHalfOfTheCount) {
  const Bytes payload = sent({.ranges = std::vector<uint32_t>(2 * 0x10203, 9)});
  EXPECT_EQ(payload.size(), 108u + 8 * 0x10203);
  EXPECT_TRUE(same_bytes(slice(payload, 100, 2), hex("02 03")));
}

TEST_F(PortConfig, ALongerEntryIsFollowedByZeros) {
  const Bytes payload = sent({.length = 8});
  EXPECT_TRUE(same_bytes(slice(payload, 110, 99), hex("01 08 0a 0b 0c 0d 00 00 00 00")));
}

TEST_F(PortConfig, AShorterEntryIsCutAtTheEndOfThePayload) {
  EXPECT_TRUE(same_bytes(slice(sent({.length = 2}), 110, 99), hex("01 02 0a 0b")));
  EXPECT_TRUE(same_bytes(slice(sent({.length = 0}), 110, 99), hex("01 00")));
}

TEST_F(PortConfig, KeepsSendingWithoutAQueue) {
  sent({.queue = kNoQueue});
  EXPECT_EQ(fake.calls(), "vex_req_resp(2014, 3, [116 bytes], \"operator\", \"vty 1\", 68, 0, 0)\n");
}

// ---- Its header ------------------------------------------------------------------------------------------------------

TEST_F(PortConfig, NullRequestersAreZeros) {
  EXPECT_TRUE(same_bytes(slice(sent({.requester1 = nullptr, .requester2 = nullptr}), 0, 100), Bytes(100)));
  EXPECT_EQ(fake.calls(), "vex_req_resp(2014, 3, [116 bytes], null, null, 68, 7, 0)\n");
}

TEST_F(PortConfig, CutsTheFirstStringAt59Characters) {
  EXPECT_TRUE(same_bytes(slice(header(std::string(59, 'a'), "b"), 0, 62), hex("61*59 00 62 00")));
  EXPECT_TRUE(same_bytes(slice(header(std::string(60, 'a'), "b"), 0, 62), hex("61*59 00 62 00")));
  EXPECT_TRUE(same_bytes(slice(header(std::string(99, 'a'), "b"), 0, 62), hex("61*59 00 62 00")));
}

TEST_F(PortConfig, CutsTheSecondStringAt39CharactersBehindALongFirstOne) {
  for (const size_t length : {40u, 59u, 80u}) {
    const std::string first(length, 'a');
    EXPECT_TRUE(same_bytes(slice(header(first, std::string(39, 'b')), 60, 40), hex("62*39 00"))) << length;
    EXPECT_TRUE(same_bytes(slice(header(first, std::string(40, 'b')), 60, 40), hex("62*39 00"))) << length;
    EXPECT_TRUE(same_bytes(slice(header(first, std::string(90, 'b')), 60, 40), hex("62*39 00"))) << length;
    EXPECT_TRUE(same_bytes(slice(header(first, "b"), 60, 40), hex("62 00*39"))) << length;
  }
}

TEST_F(PortConfig, KeepsALongSecondStringWholeBehindAShortFirstOne) {
  EXPECT_TRUE(same_bytes(slice(header(std::string(39, 'a'), std::string(40, 'b')), 60, 40), hex("62*40")));
  EXPECT_TRUE(same_bytes(slice(header("", std::string(90, 'b')), 60, 40), hex("62*40")));
}

TEST_F(PortConfig, KeepsALongSecondStringUnderRangesAndEntry) {
  const std::string second(58, 'b');
  const Bytes payload = sent({.requester2 = second.c_str(), .length = 8});
  EXPECT_TRUE(
      same_bytes(slice(payload, 60, 60), hex("62*40 00 01 5b a7 a6 5e 5b a7 a6 52 01 08 0a 0b 0c 0d 62 62 00 00")));
}

TEST_F(PortConfig, CutsTheSecondStringAtTheEndOfThePayload) {
  const std::string second(500, 'b');
  const Bytes payload = sent({.requester2 = second.c_str(), .length = 8});
  EXPECT_EQ(payload.size(), 120u);
  EXPECT_TRUE(same_bytes(slice(payload, 116, 3), hex("62*3")));
}

TEST_F(PortConfig, ANullFirstStringCountsAsShort) {
  const std::string second(50, 'b');
  EXPECT_TRUE(
      same_bytes(slice(sent({.requester1 = nullptr, .requester2 = second.c_str()}), 0, 100), hex("00*60 62*40")));
}

// ---- Refusals --------------------------------------------------------------------------------------------------------

TEST_F(PortConfig, NeedsRangesAndPlacesForItsResults) {
  const uint32_t ranges[2] = {1, 2};
  const uint32_t value = 0;
  uint32_t mark = 0;
  results_ = &mark;
  EXPECT_EQ(span_vex_set_port_config(kQueue, kWho, kWhere, 1, ranges, 1, 4, &value, &count_, nullptr), kBadArgument);
  EXPECT_EQ(span_vex_set_port_config(kQueue, kWho, kWhere, 1, ranges, 1, 4, &value, nullptr, &results_), kBadArgument);
  EXPECT_EQ(span_vex_set_port_config(kQueue, kWho, kWhere, 1, nullptr, 1, 4, &value, &count_, &results_), kBadArgument);
  EXPECT_EQ(span_vex_set_port_config(kQueue, kWho, kWhere, 0, ranges, 1, 4, &value, &count_, &results_), kBadArgument);
  EXPECT_EQ(count_, kUntouched);
  EXPECT_EQ(results_, &mark);
  EXPECT_EQ(fake.calls(), "");
  results_ = nullptr;
}

TEST_F(PortConfig, TellsAFailedAllocation) {
  heap::fail_nth(1);
  EXPECT_EQ(set({}), 1u);
  EXPECT_EQ(printed(), "span_vex_set_port_config: malloc failure, size(116)\n");
  EXPECT_EQ(count_, 0u);
  EXPECT_EQ(results_, nullptr);
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(PortConfig, TellsAnEntryThatCannotBeEncoded) {
  EXPECT_EQ(set({.type = 2}), 0x40340035u);
  EXPECT_EQ(printed(),
            "span_encode_cfg_tlv: Type not handled - 2\n"
            "span_vex_set_port_config: err(1077149749) in pm_encode_tlv\n");
  EXPECT_EQ(count_, 0u);
  EXPECT_EQ(fake.calls(), "");
  EXPECT_EQ(heap::live(), 0u);
}

// ---- Response --------------------------------------------------------------------------------------------------------

TEST_F(PortConfig, GivesTheResultsInHostOrder) {
  fake.expect_exchange(2014).gives(hex("00 00 00 00 00 00 00 02 01 02 03 04 00 00 00 00 01 02 03 05 40 34 00 02"));
  EXPECT_EQ(set({}), 0u);
  ASSERT_EQ(count_, 2u);
  EXPECT_EQ(std::vector<uint32_t>(results_, results_ + 4),
            (std::vector<uint32_t>{0x01020304, 0, 0x01020305, 0x40340002}));
  EXPECT_EQ(heap::live(), 1u);
}

TEST_F(PortConfig, ReturnsTheStatusWordWithTheResults) {
  fake.expect_exchange(2014).gives(port_config_response(0x40340009, {{1, 2}}));
  EXPECT_EQ(set({}), 0x40340009u);
  ASSERT_EQ(count_, 1u);
  EXPECT_EQ(results_[0], 1u);
  EXPECT_EQ(results_[1], 2u);
}

TEST_F(PortConfig, ReturnsTheCodeOfAFailedExchangeAndFreesItsResponse) {
  for (const uint32_t code : {kTransportFailed, 1u, 0x40340007u}) {
    count_ = kUntouched;
    fake.expect_exchange(2014).returns(code).gives(port_config_response(0, {{1, 2}}));
    EXPECT_EQ(set({}), code);
    EXPECT_EQ(count_, 0u);
    EXPECT_EQ(results_, nullptr);
    EXPECT_EQ(heap::live(), 0u);
  }
}

TEST_F(PortConfig, AnExchangeWithoutAResponseHasItsOwnCode) {
  fake.expect_exchange(2014);
  EXPECT_EQ(set({}), 0x40340036u);
  EXPECT_EQ(count_, 0u);
  EXPECT_EQ(results_, nullptr);
}

TEST_F(PortConfig, AFailedAllocationOfTheResultsGives1) {
  fake.expect_exchange(2014).gives(port_config_response(0, {{1, 2}}));
  heap::fail_nth(2);
  EXPECT_EQ(set({}), 1u);
  EXPECT_EQ(count_, 0u);
  EXPECT_EQ(results_, nullptr);
  EXPECT_EQ(heap::live(), 0u);
}

// ---- Decoder ---------------------------------------------------------------------------------------------------------

class PortConfigDecoder : public LibspanTest {
 protected:
  uint32_t parse(const void* response) {
    return run([&] { return span_parse_set_port_config_res_payload(response, &count_, &results_); });
  }

  uint32_t mark_ = 0;
  uint32_t count_ = kUntouched;
  uint32_t* results_ = &mark_;
};

TEST_F(PortConfigDecoder, GivesStatusCountAndPairs) {
  const Bytes response = port_config_response(7, {{0x01020304, 0x40340002}});
  EXPECT_EQ(parse(response.data()), 7u);
  ASSERT_EQ(count_, 1u);
  EXPECT_EQ(results_[0], 0x01020304u);
  EXPECT_EQ(results_[1], 0x40340002u);
  std::free(results_);
}

TEST_F(PortConfigDecoder, TakesAResponseWithoutPairs) {
  const Bytes response = port_config_response(7, {});
  EXPECT_EQ(parse(response.data()), 7u);
  EXPECT_EQ(count_, 0u);
  EXPECT_NE(results_, &mark_);
  std::free(results_);
}

TEST_F(PortConfigDecoder, NoResponseHasItsOwnCode) {
  EXPECT_EQ(parse(nullptr), 0x40340036u);
  EXPECT_EQ(results_, nullptr);
  EXPECT_EQ(count_, kUntouched);
}

TEST_F(PortConfigDecoder, AFailedAllocationGives1) {
  const Bytes response = port_config_response(7, {{1, 2}});
  heap::fail_nth(1);
  EXPECT_EQ(parse(response.data()), 1u);
  EXPECT_EQ(results_, nullptr);
  EXPECT_EQ(count_, kUntouched);
}

#if UINTPTR_MAX == UINT32_MAX
TEST_F(PortConfigDecoder, ACountWhoseSizeWrapsIsAFailedAllocation) {
  const Bytes response = join({be32(0), be32(0x20000001), Bytes(8)});
  EXPECT_EQ(parse(response.data()), 1u);
  EXPECT_EQ(results_, nullptr);
}

#endif

TEST_F(PortConfig, ACountWhoseSizeWrapsIsAFailedAllocation) {
  EXPECT_EQ(set_many(0x20000000, 4), 1u);
  EXPECT_EQ(printed(), "span_vex_set_port_config: malloc failure, size(0)\n");
  EXPECT_EQ(heap::requests(), 0u);
}

TEST_F(PortConfig, TheLongestRequestHasASizeOf32Bits) {
  heap::fail_nth(1);
  EXPECT_EQ(set_many(0x1FFFFFF2, 7), 1u);
  EXPECT_EQ(printed(), "span_vex_set_port_config: malloc failure, size(-1)\n");
}

TEST_F(PortConfig, WithoutMemoryThereAreNoResults) {
  heap::fail_nth(1);
  EXPECT_EQ(set_many(1, 4), 1u);
  EXPECT_EQ(printed(), "span_vex_set_port_config: malloc failure, size(116)\n");
  EXPECT_EQ(results_, nullptr);
  EXPECT_EQ(count_, 0u);
}

// ---- One interface ---------------------------------------------------------------------------------------------------

class SnmpPortConfig : public LibspanTest {
 protected:
  uint32_t set() {
    return run([] { return span_snmp_set_port_config(kQueue, nullptr, nullptr, 0x01020304, 0x0a0b0c0d); });
  }
};

TEST_F(SnmpPortConfig, SendsOneRangeAndOneNumber) {
  fake.expect_exchange(2014).gives(port_config_response(0, {{0x01020304, 0}}));
  EXPECT_EQ(set(), 0u);
  EXPECT_TRUE(same_bytes(fake.exchange().payload, hex("00*100 00 01 5b a7 a6 5e 5b a7 a6 5e 01 04 0a 0b 0c 0d")));
  EXPECT_EQ(fake.calls(), "vex_req_resp(2014, 3, [116 bytes], null, null, 68, 7, 0)\n");
}

TEST_F(SnmpPortConfig, PassesTheRequestersOn) {
  fake.expect_exchange(2014).gives(port_config_response(0, {{0x01020304, 0}}));
  EXPECT_EQ(run([] { return span_snmp_set_port_config(kQueue, kWho, kWhere, 1, 0); }), 0u);
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 0, 100), who_and_where()));
  EXPECT_EQ(fake.calls(), "vex_req_resp(2014, 3, [116 bytes], \"operator\", \"vty 1\", 68, 7, 0)\n");
}

TEST_F(SnmpPortConfig, ReturnsTheFirstInterfacesResult) {
  fake.expect_exchange(2014).gives(port_config_response(0, {{0x01020304, 0x40340002}, {0x01020305, 9}}));
  EXPECT_EQ(set(), 0x40340002u);
}

TEST_F(SnmpPortConfig, WithoutAPairKeeps0) {
  fake.expect_exchange(2014).gives(port_config_response(0, {}));
  EXPECT_EQ(set(), 0u);
}

TEST_F(SnmpPortConfig, ReturnsAStatusOtherThan0) {
  fake.expect_exchange(2014).gives(port_config_response(0x40340009, {{0x01020304, 5}}));
  EXPECT_EQ(set(), 0x40340009u);
}

TEST_F(SnmpPortConfig, ReplacesAllOnesByTheTransportsError) {
  fake.quill_errno = 113;
  fake.expect_exchange(2014).returns(kTransportFailed);
  EXPECT_EQ(set(), 113u);
  EXPECT_EQ(fake.calls("quill"), "quill_errno_get(7)\n");
}

TEST_F(SnmpPortConfig, ReturnsOtherCodesUnchanged) {
  fake.expect_exchange(2014).returns(0x40340007);
  EXPECT_EQ(set(), 0x40340007u);
  EXPECT_EQ(fake.calls("quill"), "");
}

TEST_F(SnmpPortConfig, WithoutAResponseReturnsItsCode) {
  fake.expect_exchange(2014);
  EXPECT_EQ(set(), 0x40340036u);
}

TEST_F(SnmpPortConfig, TellsEachFailedAllocation) {
  heap::fail_nth(1);
  EXPECT_EQ(set(), 1u);
  EXPECT_EQ(printed(), "error: malloc failure - size(6)\n");
  heap::fail_nth(2);
  EXPECT_EQ(set(), 1u);
  EXPECT_EQ(printed(), "span_vex_set_port_config: malloc failure, size(116)\n");
  EXPECT_EQ(fake.calls(), "");
  heap::fail_nth(3);
  fake.expect_exchange(2014).gives(port_config_response(0, {{1, 2}}));
  EXPECT_EQ(set(), 1u);
}

TEST_F(SnmpPortConfig, LeavesNoBlockBehind) {
  fake.expect_exchange(2014).gives(port_config_response(0x40340009, {{0x01020304, 5}}));
  set();
  EXPECT_EQ(heap::live(), 0u);
}

}  // namespace
}  // namespace testkit
