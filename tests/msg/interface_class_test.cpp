// What an interface is, the walkers over a session's interface lists, and the queries for one interface.
#include <gtest/gtest.h>

#include <vector>

#include "tests/msg/request_test.h"

namespace testkit {
namespace {

// ---- Predicates ------------------------------------------------------------------------------------------------------

class InterfaceClass : public LibspanTest {};

TEST_F(InterfaceClass, EachPredicateKnowsItsType) {
  for (uint32_t type = 0; type < 256; ++type) {
    fake.interfaces[0x30] = {.type = static_cast<uint8_t>(type), .name = ""};
    EXPECT_EQ(span_is_iscsi_if(0x30), type == 11 ? 1 : 0) << type;
    EXPECT_EQ(span_is_fcip_if(0x30), type == 10 ? 1 : 0) << type;
    EXPECT_EQ(span_is_rspan_tunnel_if(0x30), type == 15 ? 1 : 0) << type;
  }
}

TEST_F(InterfaceClass, AnUnknownInterfaceIsOfNoType) {
  EXPECT_EQ(span_is_iscsi_if(0x30), 0);
  EXPECT_EQ(span_is_fcip_if(0x30), 0);
  EXPECT_EQ(span_is_rspan_tunnel_if(0x30), 0);
  EXPECT_EQ(fake.calls(), "if_index_get_type(48)\nif_index_get_type(48)\nif_index_get_type(48)\n");
}

TEST_F(InterfaceClass, KeepsAskingForInterface0) {
  EXPECT_EQ(span_is_rspan_tunnel_if(0), 0);
  EXPECT_EQ(fake.calls(), "if_index_get_type(0)\n");
}

TEST_F(InterfaceClass, APortChannelIsOfItsSubtype) {
  for (const uint8_t subtype : std::initializer_list<uint8_t>{0, 1, 2, 255}) {
    fake.interfaces[0x30] = {.type = 4, .name = "", .subtype = subtype};
    for (const uint32_t asked : {0u, 1u, 2u, 255u}) {
      EXPECT_EQ(span_check_pch_subtype(0x30, asked), subtype == asked ? 1 : 0) << int{subtype} << " " << asked;
    }
  }
}

TEST_F(InterfaceClass, ASubtypeIsComparedInFullWidth) {
  fake.interfaces[0x30] = {.type = 4, .name = "", .subtype = 2};
  EXPECT_EQ(span_check_pch_subtype(0x30, 0x102), 0);
}

TEST_F(InterfaceClass, Interface0IsNoPortChannelAndNobodyIsAsked) {
  fake.interfaces[0] = {.type = 4, .name = "", .subtype = 0};
  EXPECT_EQ(span_check_pch_subtype(0, 0), 0);
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(InterfaceClass, OnlyAPortChannelIsAskedForItsSubtype) {
  fake.interfaces[0x30] = {.type = 1, .name = "", .subtype = 0};
  EXPECT_EQ(span_check_pch_subtype(0x30, 0), 0);
  EXPECT_EQ(span_check_pch_subtype(0x31, 0), 0);
  EXPECT_EQ(fake.calls(), "if_index_get_type(48)\nif_index_get_type(49)\n");
}

TEST_F(InterfaceClass, APortChannelWithoutASubtypeMatchesNone) {
  fake.interfaces[0x30] = {.type = 4, .name = ""};
  EXPECT_EQ(span_check_pch_subtype(0x30, 0), 0);
  EXPECT_EQ(fake.calls(), "if_index_get_type(48)\nif_index_port_channel_get_subtype(48)\n");
}

// ---- Interface lists -------------------------------------------------------------------------------------------------

class InterfaceList : public LibspanTest {
 protected:
  // A list at an odd address, in a block of its exact size.
  explicit InterfaceList(const std::vector<uint32_t>& interfaces = {0x100, 0x200, 0x80000000}) { build(interfaces); }

  void build(const std::vector<uint32_t>& interfaces) {
    list_ = join({{0xEE}, be32(static_cast<uint32_t>(interfaces.size()))});
    for (const uint32_t if_index : interfaces) list_ = join({list_, net_if(if_index)});
    list_.shrink_to_fit();
  }

  uint32_t next(uint32_t current) {
    uint32_t found = kUntouched;
    span_if_list_get_next(list_.data() + 1, current, &found);
    return found;
  }

  bool has(uint32_t if_index) {
    const int answer = span_if_list_if_is_present(list_.data() + 1, if_index);
    EXPECT_TRUE(answer == 0 || answer == 1);
    return answer == 1;
  }

  Bytes list_;
};

TEST_F(InterfaceList, TheFirstEntryFollows0) { EXPECT_EQ(next(0), 0x100u); }

TEST_F(InterfaceList, TheFirstEntryFollows0EvenWhenItIs0) {
  build({0, 0x100});
  EXPECT_EQ(next(0), 0u);
}

TEST_F(InterfaceList, TheNextLargerEntryFollowsAnEntry) {
  EXPECT_EQ(next(0x100), 0x200u);
  EXPECT_EQ(next(0x200), 0x80000000u);
}

TEST_F(InterfaceList, NothingFollowsTheLastEntry) {
  EXPECT_EQ(next(0x80000000), 0u);
  EXPECT_EQ(next(0xFFFFFFFF), 0u);
}

TEST_F(InterfaceList, TheLargerEntryFollowsAValueBetweenTwo) {
  EXPECT_EQ(next(1), 0x100u);
  EXPECT_EQ(next(0x150), 0x200u);
}

TEST_F(InterfaceList, NothingFollowsInAnEmptyList) {
  build({});
  EXPECT_EQ(next(0), 0u);
  EXPECT_EQ(next(5), 0u);
}

TEST_F(InterfaceList, KeepsTheOrderOfTheList) {
  build({0x300, 0x100, 0x200});
  EXPECT_EQ(next(0), 0x300u);
  EXPECT_EQ(next(0x50), 0x300u);
  EXPECT_EQ(next(0x100), 0x300u);
  EXPECT_EQ(next(0x300), 0u);
  build({0x100, 0x300, 0x200});
  EXPECT_EQ(next(0x100), 0x300u);
}

TEST_F(InterfaceList, AnEntryIsPresent) {
  EXPECT_TRUE(has(0x100));
  EXPECT_TRUE(has(0x80000000));
  EXPECT_FALSE(has(0x101));
  EXPECT_FALSE(has(0));
  build({});
  EXPECT_FALSE(has(0x100));
}

TEST_F(InterfaceList, AsksThePlatformNothing) {
  next(0x100);
  has(0x100);
  EXPECT_EQ(fake.calls(), "");
}

// ---- One source interface --------------------------------------------------------------------------------------------

class GetSrcIfInfo : public RequestTest {
 protected:
  uint32_t get(uint32_t queue) {
    return run([&] { return span_get_src_if_info(queue, kWho, kWhere, request_.data(), &response_); });
  }

  Bytes request_ = join({host32(0x01020304), hex("02 01 cc dd")});
};

TEST_F(GetSrcIfInfo, SendsTheCallersEightBytes) {
  fake.expect_exchange(2010).gives(SourceInterface{}.response());
  EXPECT_EQ(get(kQueue), 0u);
  EXPECT_TRUE(same_bytes(fake.exchange().payload, hex("5b a7 a6 5e 02 01 cc dd")));
  EXPECT_EQ(fake.calls(), "vex_req_resp(2010, 1, [8 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n");
}

TEST_F(GetSrcIfInfo, ConvertsTheCallersInterfaceInPlace) {
  fake.expect_exchange(2010).returns(5);
  EXPECT_EQ(get(kQueue), 5u);
  EXPECT_TRUE(same_bytes(request_, hex("5b a7 a6 5e 02 01 cc dd")));
}

TEST_F(GetSrcIfInfo, HandsTheResponseOver) {
  const Bytes answer = SourceInterface{.if_index = 0x10}.response();
  fake.expect_exchange(2010).gives(answer);
  get(kQueue);
  EXPECT_TRUE(same_bytes(copy_of(response_, 542), answer));
  EXPECT_EQ(heap::live(), 1u);
  EXPECT_EQ(heap::requests(), 0u);
}

TEST_F(GetSrcIfInfo, WithoutAQueueConvertsAndSendsNothing) {
  const Bytes before = request_;
  EXPECT_EQ(get(kNoQueue), kInvalidParam);
  EXPECT_EQ(printed(), "Invalid param\n");
  EXPECT_TRUE(same_bytes(request_, before));
  EXPECT_EQ(fake.calls(), "");
  EXPECT_EQ(response_, nullptr);
}

TEST_F(GetSrcIfInfo, ReturnsTheCodeOfAFailedExchangeUnchanged) {
  fake.expect_exchange(2010).returns(kTransportFailed).gives({1});
  EXPECT_EQ(get(kQueue), kTransportFailed);
  EXPECT_EQ(heap::live(), 1u);
}

// ---- RSPAN tunnel of a port ------------------------------------------------------------------------------------------

class GetRspanTunnel : public LibspanTest {
 protected:
  uint32_t get(uint32_t queue) {
    return run([&] { return span_get_rspan_tunnel_config(queue, 0x01020304, &tunnel_); });
  }

  uint32_t tunnel_ = kUntouched;
};

TEST_F(GetRspanTunnel, KeepsThePortInPlainNetworkOrder) {
  fake.expect_exchange(2016).gives(tunnel_response(0));
  EXPECT_EQ(get(kQueue), 0u);
  EXPECT_TRUE(same_bytes(fake.exchange().payload, hex("01 02 03 04 00 00 00 00")));
}

TEST_F(GetRspanTunnel, NamesNoRequester) {
  fake.expect_exchange(2016).gives(tunnel_response(0));
  get(kQueue);
  EXPECT_EQ(fake.calls(), "vex_req_resp(2016, 1, [8 bytes], null, null, 68, 7, 35)\n");
}

TEST_F(GetRspanTunnel, GivesTheWordAtOffset8AndFreesTheResponse) {
  fake.expect_exchange(2016).gives(hex("ee*8 0a 0b 0c 0d"));
  EXPECT_EQ(get(kQueue), 0u);
  EXPECT_EQ(tunnel_, 0x0a0b0c0du);
  EXPECT_EQ(heap::live(), 0u);
  EXPECT_EQ(heap::requests(), 0u);
}

TEST_F(GetRspanTunnel, WithoutAQueueGives0) {
  EXPECT_EQ(get(kNoQueue), kInvalidParam);
  EXPECT_EQ(printed(), "Invalid param\n");
  EXPECT_EQ(tunnel_, 0u);
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(GetRspanTunnel, AfterAFailedExchangeGives0AndFreesTheResponse) {
  fake.expect_exchange(2016).returns(kTransportFailed).gives(tunnel_response(9));
  EXPECT_EQ(get(kQueue), kTransportFailed);
  EXPECT_EQ(tunnel_, 0u);
  EXPECT_EQ(heap::live(), 0u);
}

}  // namespace
}  // namespace testkit
