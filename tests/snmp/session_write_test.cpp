// Changes of the session table: create and delete, destination, administrative status.
#include <gtest/gtest.h>

#include "tests/snmp/snmp_test.h"

namespace testkit {
namespace {

// ---- Create and delete -----------------------------------------------------------------------------------------------

constexpr char kSendDelete[] = "vex_req_resp(2004, 3, [103 bytes], null, null, 68, 7, 35)";

class CreateAndDelete : public SnmpTest {
 protected:
  // The handler with the manager's result.
  uint32_t change(uint32_t session, uint32_t delete_flag, uint32_t result = 0) {
    fake.expect_exchange(2004).gives(delete_response(result));
    return ask(span_snmp_session, session, delete_flag);
  }
};

TEST_F(CreateAndDelete, SendAListOfOneSession) {
  fake.expect_exchange(2004).gives(delete_response(0));
  EXPECT_EQ(ask(span_snmp_session_create, 3), kOk);
  EXPECT_TRUE(same_bytes(fake.exchange().payload, hex("00*100 01 01 02")));
  fake.expect_exchange(2004).gives(delete_response(0));
  EXPECT_EQ(ask(span_snmp_session_destroy, 3), kOk);
  EXPECT_TRUE(same_bytes(fake.exchange().payload, hex("00*100 02 01 02")));
}

TEST_F(CreateAndDelete, SendEachSessionLessOne) {
  for (uint32_t session = 1; session <= 16; ++session) {
    EXPECT_EQ(change(session, 1), kOk);
    EXPECT_EQ(fake.exchange().payload.at(102), session - 1);
  }
}

TEST_F(CreateAndDelete, KeepsOnlyFlag1ForDeletion) {
  const Results flags = {{0, 1}, {1, 2}, {2, 1}, {0xff, 1}, {0x100, 1}, {0x101, 2}, {0xFFFFFFFF, 1}};
  for (const auto& [flag, action] : flags) {
    EXPECT_EQ(change(3, flag), kOk);
    EXPECT_EQ(fake.exchange().payload.at(100), action) << flag;
  }
}

TEST_F(CreateAndDelete, SendNothingForANumberOutside) {
  in_each_trace_mode([&] {
    for (const uint32_t session : {0u, 17u, 18u, 256u, 257u, 0xFFFFFFFFu}) {
      EXPECT_EQ(ask(span_snmp_session_create, session), kWrongSession);
      EXPECT_EQ(ask(span_snmp_session_destroy, session), kWrongSession);
      EXPECT_EQ(ask(span_snmp_session, session, 7), kWrongSession);
      EXPECT_EQ(steps(), Steps{});
    }
  });
}

TEST_F(CreateAndDelete, KeepsAnnouncingTheIndexAndReportingTheNumber) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2004).gives(delete_response(0));
    EXPECT_EQ(ask(span_snmp_session_create, 3), kOk);
    EXPECT_EQ(steps(), (Steps{"span_snmp_session: create session [2]\n", kAskTime, kSendDelete, kAskTime,
                              "span_snmp_session: session [3] successfully created\n"}));
    fake.expect_exchange(2004).gives(delete_response(0));
    EXPECT_EQ(ask(span_snmp_session_destroy, 16), kOk);
    EXPECT_EQ(steps(), (Steps{"span_snmp_session: delete session [15]\n", kAskTime, kSendDelete, kAskTime,
                              "span_snmp_session: session [16] successfully deleted\n"}));
  });
}

TEST_F(CreateAndDelete, CallAnyFlagButZeroADeletion) {
  in_each_trace_mode([&] {
    for (const uint32_t flag : {1u, 2u, 0x100u}) {
      EXPECT_EQ(change(1, flag), kOk);
      EXPECT_EQ(steps(), (Steps{"span_snmp_session: delete session [0]\n", kAskTime, kSendDelete, kAskTime,
                                "span_snmp_session: session [1] successfully deleted\n"}));
    }
  });
}

TEST_F(CreateAndDelete, PassTheManagersResultOn) {
  in_each_trace_mode([&] {
    for (const uint32_t flag : {0u, 1u}) {
      const std::string announced = flag != 0 ? "delete" : "create";
      EXPECT_EQ(change(3, flag, 0x40340009), 0x40340009u);
      EXPECT_EQ(steps(), (Steps{"span_snmp_session: " + announced + " session [2]\n", kAskTime, kSendDelete, kAskTime,
                                "syserr2str(0x40340009)", "status 0x40340009\n"}));
    }
  });
}

TEST_F(CreateAndDelete, KeepsTellingTheTextOf0WhenTheExchangeFails) {
  in_each_trace_mode([&] {
    for (const uint32_t code : {kTransportFailed, 5u}) {
      fake.expect_exchange(2004).returns(code).gives(delete_response(9));
      EXPECT_EQ(ask(span_snmp_session_create, 3), kFailed);
      EXPECT_EQ(steps(), (Steps{"span_snmp_session: create session [2]\n", kAskTime, kSendDelete, kAskTime,
                                "syserr2str(0)", "status 0x0\n"}));
    }
  });
}

TEST_F(CreateAndDelete, FailWithoutAQueue) {
  queue_ = 0;
  in_each_trace_mode([&] {
    EXPECT_EQ(ask(span_snmp_session_destroy, 3), kFailed);
    EXPECT_EQ(printed(), "Invalid param\n");
    EXPECT_EQ(steps(), (Steps{"span_snmp_session: delete session [2]\n", "syserr2str(0)", "status 0x0\n"}));
  });
}

// ---- Administrative status -------------------------------------------------------------------------------------------

constexpr char kSendState[] = "vex_req_resp(2006, 3, [102 bytes], null, null, 68, 7, 35)";

class SetAdminStatus : public SnmpTest {
 protected:
  uint32_t set(uint32_t session, uint32_t admin_status, uint32_t result = 0) {
    fake.expect_exchange(2006).gives(status_response(result));
    return ask(span_snmp_session_admin_status_set, session, admin_status);
  }
};

TEST_F(SetAdminStatus, Of1ResumesTheSession) {
  EXPECT_EQ(set(5, 1), kOk);
  EXPECT_TRUE(same_bytes(fake.exchange().payload, hex("00*100 02 04")));
}

TEST_F(SetAdminStatus, Of2SuspendsTheSession) {
  EXPECT_EQ(set(5, 2), kOk);
  EXPECT_TRUE(same_bytes(fake.exchange().payload, hex("00*100 01 04")));
}

TEST_F(SetAdminStatus, KeepsSuspendingForAnyOtherLowByte) {
  for (const auto& [admin_status, state] :
       Results{{0, 1}, {3, 1}, {7, 1}, {255, 1}, {0x100, 1}, {0x101, 2}, {0xFFFFFF01, 2}, {0xFFFFFFFF, 1}}) {
    EXPECT_EQ(set(5, admin_status), kOk);
    EXPECT_EQ(fake.exchange().payload.at(100), state) << admin_status;
  }
}

TEST_F(SetAdminStatus, SendsEachSessionLessOne) {
  for (uint32_t session = 1; session <= 16; ++session) {
    EXPECT_EQ(set(session, 1), kOk);
    EXPECT_EQ(fake.exchange().payload.at(101), session - 1);
  }
}

TEST_F(SetAdminStatus, TracesWhatItSets) {
  in_each_trace_mode([&] {
    EXPECT_EQ(set(16, 0xabc), kOk);
    EXPECT_EQ(steps(), (Steps{"span_snmp_session_admin_status_set: set admin status [abc], session [10]\n", kAskTime,
                              kSendState, kAskTime}));
  });
}

TEST_F(SetAdminStatus, OfANumberOutsideSendsNothing) {
  const std::vector<std::pair<uint32_t, std::string>> numbers = {
      {0, "0"}, {17, "11"}, {257, "101"}, {0xFFFFFFFF, "ffffffff"}};
  in_each_trace_mode([&] {
    for (const auto& [session, shown] : numbers) {
      EXPECT_EQ(ask(span_snmp_session_admin_status_set, session, 1), kWrongSession);
      EXPECT_EQ(steps(), Steps{"span_snmp_session_admin_status_set: set admin status [1], session [" + shown + "]\n"});
    }
  });
}

TEST_F(SetAdminStatus, PassesTheManagersResultOn) {
  in_each_trace_mode([&] {
    EXPECT_EQ(set(5, 2, 0x40340009), 0x40340009u);
    EXPECT_EQ(steps(), (Steps{"span_snmp_session_admin_status_set: set admin status [2], session [5]\n", kAskTime,
                              kSendState, kAskTime, "syserr2str(0x40340009)", "status 0x40340009\n"}));
  });
}

TEST_F(SetAdminStatus, FailsWhenTheExchangeFails) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2006).returns(kTransportFailed).gives(status_response(9));
    EXPECT_EQ(ask(span_snmp_session_admin_status_set, 5, 1), kFailed);
    EXPECT_EQ(steps(), (Steps{"span_snmp_session_admin_status_set: set admin status [1], session [5]\n", kAskTime,
                              kSendState, kAskTime, "(ffffffff) command failed\n"}));
  });
}

TEST_F(SetAdminStatus, FailsWithoutAQueue) {
  queue_ = 0;
  in_each_trace_mode([&] {
    EXPECT_EQ(ask(span_snmp_session_admin_status_set, 5, 1), kFailed);
    EXPECT_EQ(printed(), "error: Invalid param\n");
    EXPECT_EQ(steps(), (Steps{"span_snmp_session_admin_status_set: set admin status [1], session [5]\n",
                              "(40340015) command failed\n"}));
  });
}

// ---- Destination -----------------------------------------------------------------------------------------------------

constexpr char kSendDest[] = "vex_req_resp(2000, 3, [112 bytes], null, null, 68, 7, 35)";
constexpr uint32_t kPort = 0x1000000;

class SnmpDestination : public SnmpTest {
 protected:
  void SetUp() override {
    SnmpTest::SetUp();
    know(kPort, 1, "fc1/1");
  }

  uint32_t set(uint32_t session, uint32_t if_index) { return ask(span_snmp_session_dest_set, session, if_index); }

  // The steps before the request that sets fc1/1.
  static Steps adds(const std::string& session) {
    return {"span_snmp_session_dest_set: session_id [" + session + "]\n",
            "span_snmp_check_if_index_dest: check dest if_index [1000000]\n",
            "if_index_get_type(0x1000000)",
            "sprintf_if_index(0x1000000)",
            "span_snmp_session_dest_set: adding dest_port: fc1/1 hex: 1000000\n",
            "if_index_get_type(0x1000000)",
            kSendDest};
  }

  // The steps up to the query for the destination to remove.
  static Steps removes(const std::string& session) {
    return {"span_snmp_session_dest_set: session_id [" + session + "]\n",
            "span_snmp_check_if_index_dest: check dest if_index [0]\n",
            "span_snmp_session_dest_set: removing destination\n", kQuery};
  }

  static Steps sends_removal() {
    return {"span_snmp_session_dest_set: removing dest port [1000000]\n", "if_index_get_type(0x1000000)", kSendDest};
  }
};

TEST_F(SnmpDestination, SendsTheInterfaceWithoutReadingTheSession) {
  fake.expect_exchange(2000).gives(status_response(0));
  EXPECT_EQ(set(5, kPort), kOk);
  EXPECT_TRUE(same_bytes(fake.exchange().payload, hex("00*100 04 01 00 00 5b a5 a5 5a 00 00 00 00")));
  EXPECT_EQ(fake.exchanges.size(), 1u);
}

TEST_F(SnmpDestination, SendsEachSessionLessOne) {
  for (uint32_t session = 1; session <= 16; ++session) {
    fake.expect_exchange(2000).gives(status_response(0));
    EXPECT_EQ(set(session, kPort), kOk);
    EXPECT_EQ(fake.exchange().payload.at(100), session - 1);
  }
}

TEST_F(SnmpDestination, AcceptsATunnel) {
  know(0x2000, 15, "tunnel1");
  fake.expect_exchange(2000).gives(status_response(0));
  EXPECT_EQ(set(5, 0x2000), kOk);
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 104, 4), net_if(0x2000)));
}

TEST_F(SnmpDestination, TracesTheInterfaceItAdds) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2000).gives(status_response(0));
    EXPECT_EQ(set(16, kPort), kOk);
    EXPECT_EQ(steps(), adds("10"));
  });
}

TEST_F(SnmpDestination, ShowsNoNameForAnInterfaceWithoutOne) {
  know(kPort, 1, "");
  fake.expect_exchange(2000).gives(status_response(0));
  EXPECT_EQ(set(5, kPort), kOk);
  EXPECT_EQ(steps().at(4), "span_snmp_session_dest_set: adding dest_port:  hex: 1000000\n");
}

TEST_F(SnmpDestination, HasRoomForTheLongestName) {
  const std::string name(127, 'n');
  know(kPort, 1, name);
  fake.expect_exchange(2000).gives(status_response(0));
  EXPECT_EQ(set(5, kPort), kOk);
  EXPECT_EQ(steps().at(4), "span_snmp_session_dest_set: adding dest_port: " + name + " hex: 1000000\n");
}

TEST_F(SnmpDestination, RefusesAnInterfaceOfTheWrongType) {
  for (const uint32_t type : {0u, 2u, 4u, 6u, 10u, 11u, 12u, 14u, 16u, 255u}) {
    know(kPort, type);
    in_each_trace_mode([&] {
      EXPECT_EQ(set(5, kPort), kWrongIf);
      EXPECT_EQ(steps(),
                (Steps{"span_snmp_session_dest_set: session_id [5]\n",
                       "span_snmp_check_if_index_dest: check dest if_index [1000000]\n", "if_index_get_type(0x1000000)",
                       "span_snmp_session_dest_set: invalid if_index [1000000]\n"}));
    });
  }
}

TEST_F(SnmpDestination, RefusesAnInterfaceThatNobodyKnows) {
  in_each_trace_mode([&] {
    EXPECT_EQ(set(5, 0xabc), kWrongIf);
    EXPECT_EQ(steps(), (Steps{"span_snmp_session_dest_set: session_id [5]\n",
                              "span_snmp_check_if_index_dest: check dest if_index [abc]\n", "if_index_get_type(2748)",
                              "span_snmp_session_dest_set: invalid if_index [abc]\n"}));
  });
}

TEST_F(SnmpDestination, ChecksTheSessionBeforeTheInterface) {
  const std::vector<std::pair<uint32_t, std::string>> numbers = {
      {0, "0"}, {17, "11"}, {257, "101"}, {0xFFFFFFFF, "ffffffff"}};
  in_each_trace_mode([&] {
    for (const auto& [session, shown] : numbers) {
      for (const uint32_t if_index : {0u, kPort, 0xabcu}) {
        EXPECT_EQ(set(session, if_index), kWrongSession);
        EXPECT_EQ(steps(), Steps{"span_snmp_session_dest_set: session_id [" + shown + "]\n"});
      }
    }
  });
}

TEST_F(SnmpDestination, PassesTheManagersResultOn) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2000).gives(status_response(0x40340009));
    EXPECT_EQ(set(5, kPort), 0x40340009u);
    EXPECT_EQ(steps(), adds("5") + (Steps{"syserr2str(0x40340009)", "status 0x40340009\n"}));
  });
}

TEST_F(SnmpDestination, FailsWhenTheExchangeFails) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2000).returns(kTransportFailed).gives(status_response(9));
    EXPECT_EQ(set(5, kPort), kFailed);
    EXPECT_EQ(steps(), adds("5") + Steps{"dest config failed: \n error: ffffffff\n"});
  });
}

TEST_F(SnmpDestination, FailsWithoutAQueue) {
  queue_ = 0;
  in_each_trace_mode([&] {
    EXPECT_EQ(set(5, kPort), kFailed);
    EXPECT_EQ(printed(), "Invalid param\n");
    Steps expected = adds("5");
    expected.resize(expected.size() - 2);
    EXPECT_EQ(steps(), expected + Steps{"dest config failed: \n error: 40340015\n"});
  });
}

// ---- Destination: removal --------------------------------------------------------------------------------------------

// A session whose destination word, read as a plain number, is `dest`.
Bytes with_plain_dest(uint32_t dest) {
  return SessionRecord{.destination = dest ^ 0x5aa5a55a, .has_destination = 1}.response();
}

TEST_F(SnmpDestination, Of0RemovesTheDestinationThatTheSessionHas) {
  fake.expect_exchange(2001).gives(with_plain_dest(kPort));
  fake.expect_exchange(2000).gives(status_response(0));
  EXPECT_EQ(set(5, 0), kOk);
  EXPECT_TRUE(same_bytes(fake.exchanges.at(0).payload, hex("04 a5 a5 a5")));
  EXPECT_TRUE(same_bytes(fake.exchanges.at(1).payload, hex("00*100 04 02 00 00 5b a5 a5 5a 00 00 00 00")));
}

TEST_F(SnmpDestination, TracesTheInterfaceItRemoves) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).gives(with_plain_dest(kPort));
    fake.expect_exchange(2000).gives(status_response(0));
    EXPECT_EQ(set(16, 0), kOk);
    EXPECT_EQ(steps(), removes("10") + sends_removal());
  });
}

TEST_F(SnmpDestination, RemovesAnInterfaceOfAnyType) {
  fake.expect_exchange(2001).gives(with_plain_dest(0xabc));
  fake.expect_exchange(2000).gives(status_response(0));
  EXPECT_EQ(set(5, 0), kOk);
  EXPECT_TRUE(same_bytes(slice(fake.exchange().payload, 104, 4), net_if(0xabc)));
}

TEST_F(SnmpDestination, KeepsRemovingWhateverTheSessionSaysOfBeingConfigured) {
  for (const uint32_t has_destination : {0u, 1u}) {
    fake.expect_exchange(2001).gives(
        SessionRecord{.destination = kPort ^ 0x5aa5a55a, .has_destination = has_destination}.response());
    fake.expect_exchange(2000).gives(status_response(0));
    EXPECT_EQ(set(5, 0), kOk);
  }
}

TEST_F(SnmpDestination, HasNothingToRemoveWithoutADestination) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).gives(with_plain_dest(0));
    EXPECT_EQ(set(5, 0), kOk);
    EXPECT_EQ(steps(), removes("5") + Steps{"span_snmp_session_dest_set: there is not dest port to remove\n"});
  });
}

TEST_F(SnmpDestination, RemovesNothingWhenTheQueryFails) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).returns(kTransportFailed).gives(with_plain_dest(kPort));
    EXPECT_EQ(set(5, 0), kFailed);
    EXPECT_EQ(steps(), removes("5") + Steps{kQueryFailed});
  });
}

TEST_F(SnmpDestination, RemovesNothingOnAStandby) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).gives(be32(kStandby));
    EXPECT_EQ(set(5, 0), kFailed);
    EXPECT_EQ(steps(), removes("5") + Steps{"span_snmp_session_dest_set: stateless standby\n"});
  });
}

TEST_F(SnmpDestination, RemovesNothingOfASessionThatDoesNotExist) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).gives(response_of(5));
    EXPECT_EQ(set(5, 0), kNoSession);
    EXPECT_EQ(steps(), removes("5") + Steps{"span_snmp_session_dest_set: invalid session\n"});
  });
}

TEST_F(SnmpDestination, RemovesNothingWithoutAQueue) {
  queue_ = 0;
  in_each_trace_mode([&] {
    EXPECT_EQ(set(5, 0), kFailed);
    EXPECT_EQ(printed(), "Invalid param\n");
    Steps expected = removes("5");
    expected.back() = "err(1077149717)\n";
    EXPECT_EQ(steps(), expected);
  });
}

TEST_F(SnmpDestination, PassesTheManagersResultOfARemovalOn) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).gives(with_plain_dest(kPort));
    fake.expect_exchange(2000).gives(status_response(0x40340009));
    EXPECT_EQ(set(5, 0), 0x40340009u);
    EXPECT_EQ(steps(), removes("5") + sends_removal() + (Steps{"syserr2str(0x40340009)", "status 0x40340009\n"}));
  });
}

TEST_F(SnmpDestination, FailsWhenTheExchangeOfARemovalFails) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).gives(with_plain_dest(kPort));
    fake.expect_exchange(2000).returns(5).gives(status_response(9));
    EXPECT_EQ(set(5, 0), kFailed);
    EXPECT_EQ(steps(), removes("5") + sends_removal() + Steps{"dest config failed: \n error: 5\n"});
  });
}

}  // namespace
}  // namespace testkit
