// Queries for sessions: one of them, several of them.
#include <gtest/gtest.h>

#include "tests/msg/request_test.h"

namespace testkit {
namespace {

// ---- One session -----------------------------------------------------------------------------------------------------

class GetSessionInfo : public RequestTest {
 protected:
  uint32_t get(uint32_t queue, uint32_t session, uint8_t all_flag = 0) {
    free_response();
    return run(
        [&] { return span_get_session_info(queue, kWho, kWhere, &session, all_flag, &valid_, &record_, &response_); });
  }

  uint8_t valid_ = 0x77;
  uint8_t* record_ = nullptr;
};

TEST_F(GetSessionInfo, AsksForTheNumberLessOne) {
  fake.expect_exchange(2001).gives(SessionRecord{}.response());
  EXPECT_EQ(get(kQueue, 3), 0u);
  EXPECT_EQ(fake.exchange().payload.size(), 4u);
  EXPECT_EQ(fake.exchange().payload[0], 2);
  EXPECT_EQ(fake.calls(), "vex_req_resp(2001, 1, [4 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n");
}

TEST_F(GetSessionInfo, Session1GoesOutAsByte0) {
  fake.expect_exchange(2001).gives(SessionRecord{}.response());
  get(kQueue, 1);
  EXPECT_EQ(fake.exchange().payload[0], 0);
}

TEST_F(GetSessionInfo, KeepsTheOtherThreeBytesUnwritten) {
  fake.expect_exchange(2001).gives(SessionRecord{}.response());
  get(kQueue, 3);
  EXPECT_TRUE(same_bytes(fake.exchange().payload, hex("02 a5 a5 a5")));
}

TEST_F(GetSessionInfo, SendsTheLowByteOfAnyNumber) {
  for (const auto& [session, byte] : Results{{0, 0xff}, {16, 15}, {17, 16}, {256, 255}, {257, 0}}) {
    fake.expect_exchange(2001).gives(SessionRecord{}.response());
    get(kQueue, session);
    EXPECT_EQ(fake.exchange().payload[0], byte) << session;
  }
}

TEST_F(GetSessionInfo, KeepsTheAllFlagToItself) {
  for (const uint8_t all_flag : std::initializer_list<uint8_t>{0, 1, 255}) {
    fake.expect_exchange(2001).gives(SessionRecord{}.response());
    get(kQueue, 3, all_flag);
    EXPECT_TRUE(same_bytes(fake.exchange().payload, hex("02 a5 a5 a5")));
  }
}

TEST_F(GetSessionInfo, GivesTheRecordBehindTheStatusWord) {
  const SessionRecord session{.session = 3, .destination = 0x1000000, .has_destination = 1, .rx = {1, 2}};
  fake.expect_exchange(2001).gives(session.response());
  EXPECT_EQ(get(kQueue, 3), 0u);
  EXPECT_EQ(valid_, 1);
  ASSERT_NE(response_, nullptr);
  EXPECT_EQ(record_, static_cast<uint8_t*>(response_) + 4);
  EXPECT_TRUE(same_bytes(copy_of(record_, session.bytes().size()), session.bytes()));
  EXPECT_EQ(heap::live(), 1u);
}

TEST_F(GetSessionInfo, DoesNotReadTheManagersStatus) {
  fake.expect_exchange(2001).gives(be32(0x4034002b));
  EXPECT_EQ(get(kQueue, 3), 0u);
  EXPECT_EQ(valid_, 1);
  EXPECT_EQ(record_, static_cast<uint8_t*>(response_) + 4);
}

TEST_F(GetSessionInfo, WithoutAQueueSendsNothing) {
  EXPECT_EQ(get(kNoQueue, 3), kInvalidParam);
  EXPECT_EQ(printed(), "Invalid param\n");
  EXPECT_EQ(fake.calls(), "");
  EXPECT_EQ(heap::requests(), 0u);
  EXPECT_EQ(valid_, 0x77);
  EXPECT_EQ(record_, nullptr);
}

TEST_F(GetSessionInfo, TellsAFailedAllocation) {
  heap::fail_nth(1);
  EXPECT_EQ(get(kQueue, 3), 1u);
  EXPECT_EQ(printed(), "Malloc error in res payload.\n");
  EXPECT_EQ(fake.calls(), "");
  EXPECT_EQ(valid_, 0x77);
}

TEST_F(GetSessionInfo, KeepsOneCodeForEveryFailedExchange) {
  for (const uint32_t code : {kTransportFailed, 1u, 0x40340015u}) {
    fake.expect_exchange(2001).returns(code);
    EXPECT_EQ(get(kQueue, 3), 0x40340008u);
    EXPECT_EQ(valid_, 0x77);
    EXPECT_EQ(record_, nullptr);
  }
}

TEST_F(GetSessionInfo, LeavesTheResponseOfAFailedExchangeToTheCaller) {
  fake.expect_exchange(2001).returns(1).gives({1, 2, 3, 4});
  EXPECT_EQ(get(kQueue, 3), 0x40340008u);
  EXPECT_NE(response_, nullptr);
  EXPECT_EQ(heap::live(), 1u);
}

TEST_F(GetSessionInfo, PassesNullRequesters) {
  const uint32_t session = 3;
  fake.expect_exchange(2001).gives(SessionRecord{}.response());
  EXPECT_EQ(span_get_session_info(kQueue, nullptr, nullptr, &session, 0, &valid_, &record_, &response_), 0u);
  EXPECT_EQ(fake.calls(), "vex_req_resp(2001, 1, [4 bytes], null, null, 68, 7, 35)\n");
}

TEST_F(GetSessionInfo, HandsTheResponsePointerToTheExchangeAsItIs) {
  int mark;
  const uint32_t session = 3;
  response_ = &mark;
  fake.expect_exchange(2001).returns(5).preset(&mark);
  EXPECT_EQ(span_get_session_info(kQueue, kWho, kWhere, &session, 0, &valid_, &record_, &response_), 0x40340008u);
  EXPECT_EQ(response_, &mark);
  response_ = nullptr;
}

// ---- Several sessions ------------------------------------------------------------------------------------------------

class GetSessionInfoBrief : public RequestTest {
 protected:
  uint32_t get(uint32_t queue, const uint32_t* range, uint8_t all_flag) {
    free_response();
    return run([&] {
      return span_get_session_info_brief(queue, kWho, kWhere, range, all_flag, &count_, &records_, &response_);
    });
  }

  Bytes request(uint32_t first, uint32_t last, uint8_t all_flag = 0) {
    const uint32_t range[2] = {first, last};
    fake.expect_exchange(2005).gives(brief_response(0, {}));
    EXPECT_EQ(get(kQueue, range, all_flag), 0u);
    return fake.exchange().payload;
  }

  uint8_t count_ = 0x77;
  uint8_t* records_ = nullptr;
};

TEST_F(GetSessionInfoBrief, AsksForConsecutiveNumbersLessOne) {
  EXPECT_TRUE(same_bytes(request(3, 5), hex("00 03 a5 a5 02 03 04")));
  EXPECT_EQ(fake.calls(), "vex_req_resp(2005, 1, [7 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n");
}

TEST_F(GetSessionInfoBrief, AsksForOneSession) { EXPECT_TRUE(same_bytes(request(16, 16), hex("00 01 a5 a5 0f"))); }

TEST_F(GetSessionInfoBrief, AsksForAllWithoutReadingTheRange) {
  fake.expect_exchange(2005).gives(brief_response(0, {}));
  EXPECT_EQ(get(kQueue, nullptr, 1), 0u);
  EXPECT_TRUE(same_bytes(fake.exchange().payload, hex("01 00 a5 a5")));
}

TEST_F(GetSessionInfoBrief, KeepsEveryOtherFlagAsGivenAndReadsTheRange) {
  EXPECT_TRUE(same_bytes(request(3, 5, 2), hex("02 03 a5 a5 02 03 04")));
  EXPECT_TRUE(same_bytes(request(3, 5, 255), hex("ff 03 a5 a5 02 03 04")));
}

TEST_F(GetSessionInfoBrief, CountsInEightBits) {
  EXPECT_TRUE(same_bytes(request(0x103, 0x205), hex("00 03 a5 a5 02 03 04")));
  EXPECT_TRUE(same_bytes(request(1, 256), hex("00 00 a5 a5")));
  EXPECT_TRUE(same_bytes(request(0, 0), hex("00 01 a5 a5 ff")));
}

TEST_F(GetSessionInfoBrief, KeepsWrappingForARangeThatRunsBackwards) {
  Bytes expected = hex("00 ff a5 a5");
  for (int i = 0; i < 255; ++i) expected.push_back(static_cast<uint8_t>(4 + i));
  EXPECT_TRUE(same_bytes(request(5, 3), expected));
}

TEST_F(GetSessionInfoBrief, GivesCountAndRecords) {
  const uint32_t range[2] = {1, 2};
  fake.expect_exchange(2005).gives(brief_response(2, {0xAA, 0xBB}));
  EXPECT_EQ(get(kQueue, range, 0), 0u);
  EXPECT_EQ(count_, 2);
  ASSERT_NE(response_, nullptr);
  EXPECT_EQ(records_, static_cast<uint8_t*>(response_) + 8);
  EXPECT_EQ(records_[1], 0xBB);
  EXPECT_EQ(heap::live(), 1u);
}

TEST_F(GetSessionInfoBrief, WithoutAQueueSendsNothing) {
  EXPECT_EQ(get(kNoQueue, nullptr, 1), kInvalidParam);
  EXPECT_EQ(printed(), "Invalid param\n");
  EXPECT_EQ(fake.calls(), "");
  EXPECT_EQ(heap::requests(), 0u);
  EXPECT_EQ(count_, 0x77);
}

TEST_F(GetSessionInfoBrief, TellsAFailedAllocation) {
  const uint32_t range[2] = {1, 2};
  heap::fail_nth(1);
  EXPECT_EQ(get(kQueue, range, 0), 1u);
  EXPECT_EQ(printed(), "Malloc error in res payload.\n");
  EXPECT_EQ(fake.calls(), "");
  EXPECT_EQ(count_, 0x77);
  EXPECT_EQ(records_, nullptr);
}

TEST_F(GetSessionInfoBrief, ReturnsTheCodeOfAFailedExchangeUnchanged) {
  for (const uint32_t code : {kTransportFailed, 1u, 0x40340002u}) {
    fake.expect_exchange(2005).returns(code).gives(brief_response(2, {}));
    EXPECT_EQ(get(kQueue, nullptr, 1), code);
    EXPECT_EQ(count_, 0x77);
    EXPECT_EQ(records_, nullptr);
    EXPECT_EQ(heap::live(), 1u);
  }
}

// ---- Builders --------------------------------------------------------------------------------------------------------

class QueryBuilders : public LibspanTest {
 protected:
  Bytes take() {
    const Bytes built = copy_of(payload_, length_);
    std::free(payload_);
    payload_ = nullptr;
    return built;
  }

  uint8_t mark_ = 0;
  uint8_t* payload_ = &mark_;
  uint32_t length_ = kUntouched;
  uint8_t count_ = 0x77;
};

TEST_F(QueryBuilders, BuildTheSessionRequest) {
  const uint32_t session = 16;
  EXPECT_EQ(span_const_get_session_info_req_payload(&session, 1, &payload_, &length_), 0u);
  EXPECT_TRUE(same_bytes(take(), hex("0f a5 a5 a5")));
}

TEST_F(QueryBuilders, BuildTheBriefRequest) {
  const uint32_t range[2] = {3, 5};
  EXPECT_EQ(span_const_get_session_info_brief_req_payload(range, 0, &count_, &payload_, &length_), 0u);
  EXPECT_EQ(count_, 3);
  EXPECT_TRUE(same_bytes(take(), hex("00 03 a5 a5 02 03 04")));
  EXPECT_EQ(span_const_get_session_info_brief_req_payload(nullptr, 1, &count_, &payload_, &length_), 0u);
  EXPECT_EQ(count_, 0);
  EXPECT_TRUE(same_bytes(take(), hex("01 00 a5 a5")));
}

TEST_F(QueryBuilders, SetTheirOutArgumentsBeforeTheAllocationFails) {
  const uint32_t range[2] = {3, 5};
  heap::fail_nth(1);
  EXPECT_EQ(run([&] { return span_const_get_session_info_req_payload(range, 0, &payload_, &length_); }), 1u);
  EXPECT_EQ(payload_, nullptr);
  EXPECT_EQ(length_, 4u);
  EXPECT_EQ(printed(), "Malloc error in res payload.\n");

  payload_ = &mark_;
  heap::fail_nth(1);
  EXPECT_EQ(run([&] { return span_const_get_session_info_brief_req_payload(range, 0, &count_, &payload_, &length_); }),
            1u);
  EXPECT_EQ(payload_, nullptr);
  EXPECT_EQ(length_, 7u);
  EXPECT_EQ(count_, 3);
  EXPECT_EQ(printed(), "Malloc error in res payload.\n");
}

}  // namespace
}  // namespace testkit
