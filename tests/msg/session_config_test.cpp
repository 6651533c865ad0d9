// Requests that change a session as a whole: destination, creation and deletion, suspension.
#include <gtest/gtest.h>

#include <string>

#include "tests/msg/request_test.h"

namespace testkit {
namespace {

constexpr uint32_t kDestination = 0x01020304;

// ---- Requester header ------------------------------------------------------------------------------------------------

class RequesterHeader : public RequestTest {
 protected:
  Bytes header(const char* requester1, const char* requester2) {
    free_response();
    fake.expect_exchange(2006).gives(status_response(0));
    run([&] { return span_set_session_state(kQueue, requester1, requester2, 0, 0, &status_, &response_); });
    return slice(fake.exchange().payload, 0, 100);
  }
};

TEST_F(RequesterHeader, HoldsBothStringsAndZeros) {
  EXPECT_TRUE(same_bytes(header("operator", "vty 1"), who_and_where()));
}

TEST_F(RequesterHeader, IsZeroForNullStrings) { EXPECT_TRUE(same_bytes(header(nullptr, nullptr), Bytes(100))); }

TEST_F(RequesterHeader, IsZeroForEmptyStrings) { EXPECT_TRUE(same_bytes(header("", ""), Bytes(100))); }

TEST_F(RequesterHeader, OneStringMayBeNull) {
  EXPECT_TRUE(same_bytes(header("operator", nullptr), requester_header("operator", "")));
  EXPECT_TRUE(same_bytes(header(nullptr, "vty 1"), requester_header("", "vty 1")));
}

TEST_F(RequesterHeader, CutsTheFirstStringAt59Characters) {
  for (const size_t length : {59u, 60u, 61u, 70u, 200u}) {
    EXPECT_TRUE(same_bytes(header(std::string(length, 'a').c_str(), "b"), hex("61*59 00 62 00*39"))) << length;
  }
  EXPECT_TRUE(same_bytes(header(std::string(58, 'a').c_str(), "b"), hex("61*58 00*2 62 00*39")));
}

TEST_F(RequesterHeader, CutsTheSecondStringAt39Characters) {
  for (const size_t length : {39u, 40u, 41u, 70u, 200u}) {
    EXPECT_TRUE(same_bytes(header("a", std::string(length, 'b').c_str()), hex("61 00*59 62*39 00"))) << length;
  }
  EXPECT_TRUE(same_bytes(header("a", std::string(38, 'b').c_str()), hex("61 00*59 62*38 00*2")));
}

TEST_F(RequesterHeader, TheExchangeGetsTheStringsUncut) {
  const std::string first(70, 'a');
  const std::string second(50, 'b');
  header(first.c_str(), second.c_str());
  EXPECT_EQ(fake.exchange().requester1, first);
  EXPECT_EQ(fake.exchange().requester2, second);
  header(nullptr, nullptr);
  EXPECT_EQ(fake.exchange().requester1, std::nullopt);
  EXPECT_EQ(fake.exchange().requester2, std::nullopt);
}

// ---- Set destination -------------------------------------------------------------------------------------------------

class SetDestInfo : public RequestTest {
 protected:
  uint32_t set(uint32_t queue, uint8_t session_index = 2, uint8_t operation = 1, uint32_t value = 0) {
    return run([&] {
      return span_set_dest_info(queue, kWho, kWhere, session_index, operation, kDestination, value, 0x55555555,
                                &status_, &response_);
    });
  }
};

TEST_F(SetDestInfo, SendsTheWholePayload) {
  fake.expect_exchange(2000).gives(status_response(0));
  EXPECT_EQ(set(kQueue), 0u);
  EXPECT_TRUE(
      same_bytes(fake.exchange().payload,
                 hex("6f 70 65 72 61 74 6f 72 00*52 76 74 79 20 31 00*35 02 01 00 00 5b a7 a6 5e 00 00 00 00")));
  EXPECT_EQ(fake.calls("vex"), "vex_req_resp(2000, 3, [112 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n");
}

TEST_F(SetDestInfo, SendsTheDestinationAtOffset104) {
  fake.expect_exchange(2000).gives(status_response(0));
  set(kQueue);
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 104, 4), net_if(kDestination)));
}

TEST_F(SetDestInfo, SendsOperationAndSessionAsGiven) {
  fake.expect_exchange(2000).gives(status_response(0));
  set(kQueue, 15, 2);
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 100, 4), hex("0f 02 00 00")));
}

TEST_F(SetDestInfo, SendsTheValueInNetworkOrder) {
  fake.expect_exchange(2000).gives(status_response(0));
  set(kQueue, 0, 1, 0x0a0b0c0d);
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 108, 4), hex("0a 0b 0c 0d")));
}

TEST_F(SetDestInfo, ReadsTheResultAtOffset4) {
  fake.expect_exchange(2000).gives(hex("11 22 33 44 40 34 00 02"));
  EXPECT_EQ(set(kQueue), 0u);
  EXPECT_EQ(status_, 0x40340002u);
}

TEST_F(SetDestInfo, LeavesTheResponseToTheCallerAndNothingElse) {
  fake.expect_exchange(2000).gives(status_response(0));
  set(kQueue);
  ASSERT_NE(response_, nullptr);
  EXPECT_EQ(heap::live(), 1u);
}

TEST_F(SetDestInfo, WithoutAQueueSendsAndAsksNothing) {
  EXPECT_EQ(set(kNoQueue), kInvalidParam);
  EXPECT_EQ(printed(), "Invalid param\n");
  EXPECT_EQ(fake.calls(), "");
  EXPECT_EQ(heap::requests(), 0u);
  EXPECT_EQ(status_, kUntouched);
  EXPECT_EQ(response_, nullptr);
}

TEST_F(SetDestInfo, KeepsAskingForATunnelBeforeItBuilds) {
  fake.interfaces[kDestination] = {.type = 15, .name = "rspan-tunnel 1"};
  fake.expect_exchange(2000).gives(status_response(0));
  EXPECT_EQ(set(kQueue), 0u);
  EXPECT_EQ(fake.calls(),
            "if_index_get_type(0x1020304)\n"
            "vex_req_resp(2000, 3, [112 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n");
}

TEST_F(SetDestInfo, KeepsIgnoringWhetherItIsATunnel) {
  for (const uint8_t type : std::initializer_list<uint8_t>{1, 15}) {
    free_response();
    fake.interfaces[kDestination].type = type;
    fake.expect_exchange(2000).gives(status_response(0));
    EXPECT_EQ(set(kQueue), 0u);
    EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 100, 8), hex("02 01 00 00 5b a7 a6 5e")));
  }
}

TEST_F(SetDestInfo, TellsAFailedAllocation) {
  heap::fail_nth(1);
  EXPECT_EQ(set(kQueue), 1u);
  EXPECT_EQ(printed(), "error: status 0x1\n");
  EXPECT_EQ(fake.calls(), "if_index_get_type(0x1020304)\nsyserr2str(1)\n");
  EXPECT_EQ(status_, kUntouched);
}

TEST_F(SetDestInfo, ReturnsTheCodeOfAFailedExchangeUnchanged) {
  for (const uint32_t code : {kTransportFailed, 1u, 0x40340007u}) {
    fake.expect_exchange(2000).returns(code);
    EXPECT_EQ(set(kQueue), code);
    EXPECT_EQ(status_, kUntouched);
    EXPECT_EQ(response_, nullptr);
  }
}

TEST_F(SetDestInfo, LeavesTheResponseOfAFailedExchangeToTheCaller) {
  fake.expect_exchange(2000).returns(5).gives(status_response(9));
  EXPECT_EQ(set(kQueue), 5u);
  EXPECT_EQ(status_, kUntouched);
  EXPECT_NE(response_, nullptr);
  EXPECT_EQ(heap::live(), 1u);
}

TEST_F(SetDestInfo, HandsTheResponsePointerToTheExchangeAsItIs) {
  int mark;
  response_ = &mark;
  fake.expect_exchange(2000).returns(5).preset(&mark);
  EXPECT_EQ(set(kQueue), 5u);
  EXPECT_EQ(response_, &mark);
  response_ = nullptr;
}

// ---- Create and delete sessions --------------------------------------------------------------------------------------

class DeleteSession : public RequestTest {
 protected:
  uint32_t change(uint32_t queue, const Bytes& indexes, uint8_t flag) {
    return run([&] {
      return span_delete_session(queue, kWho, kWhere, static_cast<uint8_t>(indexes.size()), indexes.data(), flag,
                                 &status_, &response_);
    });
  }
};

TEST_F(DeleteSession, SendsTheWholePayload) {
  fake.expect_exchange(2004).gives(delete_response(0));
  EXPECT_EQ(change(kQueue, {4}, 1), 0u);
  EXPECT_TRUE(same_bytes(fake.exchange().payload, hex("6f 70 65 72 61 74 6f 72 00*52 76 74 79 20 31 00*35 02 01 04")));
  EXPECT_EQ(fake.calls("vex"), "vex_req_resp(2004, 3, [103 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n");
}

TEST_F(DeleteSession, SendsOneByteForEachSession) {
  fake.expect_exchange(2004).gives(delete_response(0));
  change(kQueue, {0, 4, 15}, 0);
  EXPECT_EQ(fake.exchange().payload.size(), 105u);
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 100, 5), hex("01 03 00 04 0f")));
}

TEST_F(DeleteSession, SendsNoIndexForNoSession) {
  fake.expect_exchange(2004).gives(delete_response(0));
  change(kQueue, {}, 1);
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 100, 5), hex("02 00")));
}

TEST_F(DeleteSession, KeepsCreatingForEveryFlagButOne) {
  for (const uint8_t flag : std::initializer_list<uint8_t>{0, 2, 3, 255}) {
    free_response();
    fake.expect_exchange(2004).gives(delete_response(0));
    change(kQueue, {4}, flag);
    EXPECT_EQ(fake.exchange().payload[100], 1) << int{flag};
  }
}

TEST_F(DeleteSession, ReadsTheResultAtOffset0) {
  fake.expect_exchange(2004).gives(hex("40 34 00 03"));
  EXPECT_EQ(change(kQueue, {4}, 1), 0u);
  EXPECT_EQ(status_, 0x40340003u);
  EXPECT_EQ(heap::live(), 1u);
}

TEST_F(DeleteSession, ReadsTheTimeBeforeAndAfterTheExchange) {
  fake.expect_exchange(2004).gives(delete_response(0));
  change(kQueue, {4}, 1);
  EXPECT_EQ(fake.calls(),
            "gettimeofday()\n"
            "vex_req_resp(2004, 3, [103 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n"
            "gettimeofday()\n");
}

TEST_F(DeleteSession, WithoutAQueueSendsNothing) {
  EXPECT_EQ(change(kNoQueue, {4}, 1), kInvalidParam);
  EXPECT_EQ(printed(), "Invalid param\n");
  EXPECT_EQ(fake.calls(), "");
  EXPECT_EQ(heap::requests(), 0u);
  EXPECT_EQ(status_, kUntouched);
}

TEST_F(DeleteSession, TellsAFailedAllocation) {
  heap::fail_nth(1);
  EXPECT_EQ(change(kQueue, {4}, 1), 1u);
  EXPECT_EQ(printed(), "error: status 0x1 \n");
  EXPECT_EQ(fake.calls(), "syserr2str(1)\n");
  EXPECT_EQ(status_, kUntouched);
}

TEST_F(DeleteSession, ReturnsTheCodeOfAFailedExchangeUnchanged) {
  fake.expect_exchange(2004).returns(kTransportFailed).gives(delete_response(3));
  EXPECT_EQ(change(kQueue, {4}, 1), kTransportFailed);
  EXPECT_EQ(status_, kUntouched);
  EXPECT_EQ(heap::live(), 1u);
  EXPECT_EQ(fake.calls("gettimeofday"), "gettimeofday()\ngettimeofday()\n");
}

// ---- Suspend and resume ----------------------------------------------------------------------------------------------

class SetSessionState : public RequestTest {
 protected:
  uint32_t set(uint32_t queue, uint8_t session_index, uint8_t flag) {
    return run([&] { return span_set_session_state(queue, kWho, kWhere, session_index, flag, &status_, &response_); });
  }
};

TEST_F(SetSessionState, SendsTheWholePayload) {
  fake.expect_exchange(2006).gives(status_response(0));
  EXPECT_EQ(set(kQueue, 4, 1), 0u);
  EXPECT_TRUE(same_bytes(fake.exchange().payload, hex("6f 70 65 72 61 74 6f 72 00*52 76 74 79 20 31 00*35 02 04")));
  EXPECT_EQ(fake.calls("vex"), "vex_req_resp(2006, 3, [102 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n");
}

TEST_F(SetSessionState, KeepsSuspendingForEveryFlagButOne) {
  for (const uint8_t flag : std::initializer_list<uint8_t>{0, 2, 255}) {
    free_response();
    fake.expect_exchange(2006).gives(status_response(0));
    set(kQueue, 15, flag);
    EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 100, 2), hex("01 0f"))) << int{flag};
  }
}

TEST_F(SetSessionState, ReadsTheResultAtOffset4) {
  fake.expect_exchange(2006).gives(hex("11 22 33 44 40 34 00 02"));
  EXPECT_EQ(set(kQueue, 4, 1), 0u);
  EXPECT_EQ(status_, 0x40340002u);
  EXPECT_EQ(heap::live(), 1u);
}

TEST_F(SetSessionState, ReadsTheTimeBeforeAndAfterTheExchange) {
  fake.expect_exchange(2006).gives(status_response(0));
  set(kQueue, 4, 1);
  EXPECT_EQ(fake.calls(),
            "gettimeofday()\n"
            "vex_req_resp(2006, 3, [102 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n"
            "gettimeofday()\n");
}

TEST_F(SetSessionState, WithoutAQueueHasItsOwnMessage) {
  EXPECT_EQ(set(kNoQueue, 4, 1), kInvalidParam);
  EXPECT_EQ(printed(), "error: Invalid param\n");
  EXPECT_EQ(fake.calls(), "");
  EXPECT_EQ(heap::requests(), 0u);
  EXPECT_EQ(status_, kUntouched);
}

TEST_F(SetSessionState, TellsAFailedAllocation) {
  heap::fail_nth(1);
  EXPECT_EQ(set(kQueue, 4, 1), 1u);
  EXPECT_EQ(printed(), "error:[1] status 0x1 \n");
  EXPECT_EQ(fake.calls(), "syserr2str(1)\n");
  EXPECT_EQ(status_, kUntouched);
}

TEST_F(SetSessionState, ReturnsTheCodeOfAFailedExchangeUnchanged) {
  fake.expect_exchange(2006).returns(0x1234).gives(status_response(3));
  EXPECT_EQ(set(kQueue, 4, 1), 0x1234u);
  EXPECT_EQ(status_, kUntouched);
  EXPECT_EQ(heap::live(), 1u);
  EXPECT_EQ(fake.calls("gettimeofday"), "gettimeofday()\ngettimeofday()\n");
}

// ---- Builders --------------------------------------------------------------------------------------------------------

class ConfigBuilders : public LibspanTest {
 protected:
  Bytes take() {
    const Bytes built = copy_of(payload_, length_);
    std::free(payload_);
    payload_ = nullptr;
    return built;
  }

  uint8_t* payload_ = nullptr;
  uint32_t length_ = kUntouched;
};

TEST_F(ConfigBuilders, BuildTheDestinationRequest) {
  EXPECT_EQ(span_const_set_dest_info_payload(kWho, kWhere, 2, 1, kDestination, 0x0a0b0c0d, &payload_, &length_), 0u);
  EXPECT_TRUE(same_bytes(take(), join({who_and_where(), hex("02 01 00 00 5b a7 a6 5e 0a 0b 0c 0d")})));
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(ConfigBuilders, BuildTheDeleteRequest) {
  const Bytes indexes = {1, 2};
  EXPECT_EQ(span_const_delete_session_payload(kWho, kWhere, 2, indexes.data(), 1, &payload_, &length_), 0u);
  EXPECT_TRUE(same_bytes(take(), join({who_and_where(), hex("02 02 01 02")})));
}

TEST_F(ConfigBuilders, BuildTheStateRequest) {
  EXPECT_EQ(span_const_set_session_state_payload(kWho, kWhere, 3, 0, &payload_, &length_), 0u);
  EXPECT_TRUE(same_bytes(take(), join({who_and_where(), hex("01 03")})));
}

TEST_F(ConfigBuilders, TellAFailedAllocationEachInItsOwnWords) {
  const Bytes indexes = {1};
  heap::fail_nth(1);
  EXPECT_EQ(run([&] { return span_const_set_dest_info_payload("", "", 0, 1, 0, 0, &payload_, &length_); }), 1u);
  EXPECT_EQ(printed(), "error: status 0x1\n");
  heap::fail_nth(1);
  EXPECT_EQ(run([&] { return span_const_delete_session_payload("", "", 1, indexes.data(), 1, &payload_, &length_); }),
            1u);
  EXPECT_EQ(printed(), "error: status 0x1 \n");
  heap::fail_nth(1);
  EXPECT_EQ(run([&] { return span_const_set_session_state_payload("", "", 0, 1, &payload_, &length_); }), 1u);
  EXPECT_EQ(printed(), "error:[1] status 0x1 \n");
  EXPECT_EQ(fake.calls(), "syserr2str(1)\nsyserr2str(1)\nsyserr2str(1)\n");
}

TEST_F(ConfigBuilders, LeaveTheirOutArgumentsWhenTheyFail) {
  heap::fail_nth(1);
  run([&] { return span_const_set_dest_info_payload("", "", 0, 1, 0, 0, &payload_, &length_); });
  EXPECT_EQ(payload_, nullptr);
  EXPECT_EQ(length_, kUntouched);
  EXPECT_EQ(printed(), "error: status 0x1\n");
}

}  // namespace
}  // namespace testkit
