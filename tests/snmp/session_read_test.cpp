// Reads of the session table.
#include <gtest/gtest.h>

#include "tests/snmp/snmp_test.h"

namespace testkit {
namespace {

// The text field of a row: 256 characters.
Bytes reason(const std::string& characters) { return Message(256).text(0, characters); }

class SessionRead : public SnmpTest {
 protected:
  uint32_t read(uint32_t session, const SessionRecord& record) {
    fake.expect_exchange(2001).gives(record.response());
    return read(session);
  }

  uint32_t read(uint32_t session) {
    row_ = unwritten<span_snmp_session_entry_t>();
    return ask(span_snmp_session_get_curr, session, &row_);
  }

  uint32_t next(int32_t previous) {
    row_ = unwritten<span_snmp_session_entry_t>();
    return ask(span_snmp_session_get_next, previous, &row_);
  }

  uint32_t get(uint32_t session, int32_t kind) {
    row_ = unwritten<span_snmp_session_entry_t>();
    return ask(span_snmp_session_get, session, kind, &row_);
  }

  std::string reason_of(const SessionRecord& record) {
    EXPECT_EQ(read(3, record), kOk);
    return row_.oper_reason;
  }

  span_snmp_session_entry_t row_ = {};
};

// ---- One row ---------------------------------------------------------------------------------------------------------

TEST_F(SessionRead, FillsTheWholeRow) {
  const SessionRecord record{.session = 3, .oper_state = 2, .destination = 0x01020304, .has_destination = 1};
  EXPECT_EQ(read(3, record), kOk);
  EXPECT_TRUE(same_bytes(bytes_of(row_), join({host32(3), host32(0x5ba7a65e), host32(1), host32(2),
                                               reason("Destination is down"), host32(0)})));
}

TEST_F(SessionRead, AsksForTheNumberLessOne) {
  for (uint32_t session = 1; session <= 16; ++session) {
    EXPECT_EQ(read(session, {}), kOk);
    EXPECT_TRUE(same_bytes(fake.exchange().payload, join({{static_cast<uint8_t>(session - 1)}, hex("a5 a5 a5")})));
    EXPECT_EQ(row_.session, session);
  }
}

TEST_F(SessionRead, GivesTheNumberAskedForNotThatOfTheRecord) {
  EXPECT_EQ(read(3, {.session = 9}), kOk);
  EXPECT_EQ(row_.session, 3u);
}

TEST_F(SessionRead, KeepsAskingForNumbersThatNoSessionHas) {
  for (const auto& [session, byte] : Results{{0, 0xff}, {17, 16}, {256, 0xff}, {257, 0}, {0xFFFFFFFF, 0xfe}}) {
    EXPECT_EQ(read(session, {}), kOk);
    EXPECT_EQ(fake.exchange().payload[0], byte);
    EXPECT_EQ(row_.session, session);
  }
}

TEST_F(SessionRead, KeepsTheDestinationInPlainOrder) {
  const Bytes response =
      Message(SessionRecord{}.response().size()).put(0, SessionRecord{.has_destination = 1}.response());
  fake.expect_exchange(2001).gives(Message(response.size()).put(0, response).put(4 + 84, {0x12, 0x34, 0x56, 0x78}));
  EXPECT_EQ(read(3), kOk);
  EXPECT_EQ(row_.destination, 0x12345678u);
}

TEST_F(SessionRead, HasNoDestinationUnlessOneIsConfigured) {
  EXPECT_EQ(read(3, {.destination = 0x1000, .has_destination = 0}), kOk);
  EXPECT_EQ(row_.destination, 0u);
  for (const uint32_t configured : {1u, 2u, 0x100u, 0x10000u, 0x80000000u}) {
    EXPECT_EQ(read(3, {.destination = 0x1000, .has_destination = configured}), kOk);
    EXPECT_EQ(row_.destination, 0x1000u ^ 0x5aa5a55a);
  }
}

TEST_F(SessionRead, TellsTheReasonOfEachState) {
  for (uint32_t state = 0; state < 256; ++state) {
    const std::string expected = state == 0   ? "Session is active"
                                 : state == 2 ? "Destination is down"
                                 : state == 4 ? "There is no destination"
                                              : "There are no active sources";
    EXPECT_EQ(reason_of({.oper_state = static_cast<uint8_t>(state)}), expected) << state;
    EXPECT_EQ(row_.oper_status, state == 0 ? 1u : 2u);
    EXPECT_EQ(row_.admin_status, 1u);
  }
}

TEST_F(SessionRead, TellsSuspensionBeforeAnyOtherReason) {
  for (const uint8_t state : Bytes{1, 2, 3, 4, 5, 255}) {
    for (const uint32_t suspended : {1u, 2u, 0x100u, 0x80000000u}) {
      EXPECT_EQ(reason_of({.oper_state = state, .suspended = suspended}), "Session is admin suspended");
      EXPECT_EQ(row_.oper_status, 2u);
      EXPECT_EQ(row_.admin_status, 2u);
    }
  }
}

TEST_F(SessionRead, KeepsASuspendedSessionActiveWhenItsStateIs0) {
  EXPECT_EQ(reason_of({.oper_state = 0, .suspended = 1}), "Session is active");
  EXPECT_EQ(row_.oper_status, 1u);
  EXPECT_EQ(row_.admin_status, 2u);
}

TEST_F(SessionRead, ClearsTheTextBehindItsEndAndTheTrailingWord) {
  EXPECT_EQ(read(3, {}), kOk);
  EXPECT_TRUE(same_bytes(copy_of(row_.oper_reason, 256), reason("Session is active")));
  EXPECT_EQ(row_.trailing, 0u);
}

TEST_F(SessionRead, ExistsWithAnyConfiguredByteButZero) {
  for (const uint8_t configured : Bytes{1, 2, 128, 255}) EXPECT_EQ(read(3, {.configured = configured}), kOk);
  EXPECT_EQ(read(3, {.configured = 0}), kNoSession);
}

// ---- One row: traces -------------------------------------------------------------------------------------------------

Steps asks_for(const std::string& session) {
  return {"span_snmp_session_get_curr: get the session [" + session + "] info\n", kQuery};
}

TEST_F(SessionRead, TracesAnActiveSession) {
  in_each_trace_mode([&] {
    EXPECT_EQ(read(16, {.destination = 0x5aa5a55a ^ 0xabc, .has_destination = 1}), kOk);
    EXPECT_EQ(steps(), asks_for("10") + (Steps{"span_snmp_session_get_curr: active\n",
                                               "span_snmp_session_get_curr: destination [abc]\n",
                                               "span_snmp_session_get_curr: admin status [1]\n"}));
  });
}

TEST_F(SessionRead, KeepsTheUnbalancedParenthesesOfTheStates) {
  const std::vector<std::pair<SessionRecord, std::string>> states = {
      {{.oper_state = 2, .suspended = 1}, "admin suspended)\n"},
      {{.oper_state = 2}, "inactive as destination is down)\n"},
      {{.oper_state = 4}, "inactive as no destination\n"},
      {{.oper_state = 1}, "inactive as no active sources)\n"},
      {{.oper_state = 3}, "inactive as no active sources)\n"},
  };
  in_each_trace_mode([&] {
    for (const auto& [record, text] : states) {
      EXPECT_EQ(read(3, record), kOk);
      const std::string admin = record.suspended != 0 ? "2" : "1";
      EXPECT_EQ(steps(), asks_for("3") + (Steps{text, "span_snmp_session_get_curr: destination [0]\n",
                                                "span_snmp_session_get_curr: admin status [" + admin + "]\n"}));
    }
  });
}

TEST_F(SessionRead, TracesASuspendedSessionWhoseStateIs0) {
  in_each_trace_mode([&] {
    EXPECT_EQ(read(3, {.suspended = 1}), kOk);
    EXPECT_EQ(steps(), asks_for("3") + (Steps{"span_snmp_session_get_curr: active\n",
                                              "span_snmp_session_get_curr: destination [0]\n",
                                              "span_snmp_session_get_curr: admin status [2]\n"}));
  });
}

// ---- One row: failures -----------------------------------------------------------------------------------------------

TEST_F(SessionRead, FailsWhenTheExchangeFails) {
  in_each_trace_mode([&] {
    for (const uint32_t code : {kTransportFailed, 1u, kStandby}) {
      fake.expect_exchange(2001).returns(code);
      EXPECT_EQ(read(3), kFailed);
      EXPECT_TRUE(all_zero(row_));
      EXPECT_EQ(steps(), asks_for("3") + Steps{kQueryFailed});
    }
  });
}

TEST_F(SessionRead, FreesTheResponseOfAFailedExchange) {
  fake.expect_exchange(2001).returns(kTransportFailed).gives(SessionRecord{}.response());
  EXPECT_EQ(read(3), kFailed);
  EXPECT_TRUE(all_zero(row_));
  EXPECT_EQ(heap::live(), 0u);
}

TEST_F(SessionRead, FailsWithoutAQueue) {
  queue_ = 0;
  in_each_trace_mode([&] {
    EXPECT_EQ(read(3), kFailed);
    EXPECT_EQ(printed(), "Invalid param\n");
    EXPECT_TRUE(all_zero(row_));
    EXPECT_EQ(steps(), (Steps{"span_snmp_session_get_curr: get the session [3] info\n", "err(1077149717)\n"}));
  });
}

TEST_F(SessionRead, FailsOnAStandbyWithoutReadingTheRecord) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).gives(be32(kStandby));
    EXPECT_EQ(read(3), kFailed);
    EXPECT_TRUE(all_zero(row_));
    EXPECT_EQ(steps(), asks_for("3") + Steps{"span_snmp_session_get_curr: stateless standby\n"});
  });
}

TEST_F(SessionRead, IsNoSessionWhenNotConfigured) {
  in_each_trace_mode([&] {
    EXPECT_EQ(read(3, {.configured = 0, .oper_state = 2, .destination = 5, .has_destination = 1}), kNoSession);
    EXPECT_TRUE(all_zero(row_));
    EXPECT_EQ(steps(), asks_for("3") + Steps{"span_snmp_session_get_curr: session not present\n"});
  });
}

TEST_F(SessionRead, KeepsReadingBehindAnyOtherStatusOfTheManager) {
  for (const uint32_t status : {1u, 0x4034002au, 0x4034002cu, 0x2b003440u}) {
    fake.expect_exchange(2001).gives(SessionRecord{}.response(status));
    EXPECT_EQ(read(3), kOk);
    EXPECT_STREQ(row_.oper_reason, "Session is active");
  }
}

// ---- Dispatcher ------------------------------------------------------------------------------------------------------

TEST_F(SessionRead, ByGetReadsTheRowNamed) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).gives(SessionRecord{}.response());
    EXPECT_EQ(get(11, kGet), kOk);
    EXPECT_EQ(row_.session, 11u);
    EXPECT_EQ(steps(),
              Steps{"span_snmp_session_get: session [b]"} + asks_for("b") +
                  (Steps{"span_snmp_session_get_curr: active\n", "span_snmp_session_get_curr: destination [0]\n",
                         "span_snmp_session_get_curr: admin status [1]\n"}));
  });
}

TEST_F(SessionRead, ByGetReturnsTheFailureOfTheRead) {
  fake.expect_exchange(2001).gives(be32(kStandby));
  EXPECT_EQ(get(3, kGet), kFailed);
  EXPECT_TRUE(all_zero(row_));
  EXPECT_EQ(fake.calls("vex"), std::string(kQuery) + "\n");
  fake.expect_exchange(2001).gives(SessionRecord{.configured = 0}.response());
  EXPECT_EQ(get(3, kGet), kNoSession);
  EXPECT_TRUE(all_zero(row_));
}

TEST_F(SessionRead, ByGetOfANumberOutsideLeavesTheRowAndSendsNothing) {
  const Results numbers = {{0, 0}, {17, 0x11}, {256, 0x100}, {257, 0x101}, {0xFFFFFFFF, 0xffffffff}};
  in_each_trace_mode([&] {
    for (const auto& [session, shown] : numbers) {
      EXPECT_EQ(get(session, kGet), kWrongSession);
      EXPECT_TRUE(untouched(row_));
      char text[64];
      std::snprintf(text, sizeof text, "span_snmp_session_get: session [%x]", shown);
      EXPECT_EQ(steps(), Steps{text});
    }
  });
}

TEST_F(SessionRead, ByGetNextReadsTheRowBehind) {
  sessions[5] = {.oper_state = 4};
  in_each_trace_mode([&] {
    expect_reads(4, 5);
    EXPECT_EQ(get(3, kGetNext), kOk);
    EXPECT_EQ(row_.session, 5u);
    EXPECT_EQ(steps(), Steps{"span_snmp_session_get: session [3]"} + asks_for("4") +
                           Steps{"span_snmp_session_get_curr: session not present\n"} + asks_for("5") +
                           (Steps{"inactive as no destination\n", "span_snmp_session_get_curr: destination [0]\n",
                                  "span_snmp_session_get_curr: admin status [1]\n"}));
  });
}

TEST_F(SessionRead, ByAnyOtherKindIsInvalid) {
  in_each_trace_mode([&] {
    for (const int32_t kind : {0, 3, -1}) {
      EXPECT_EQ(get(3, kind), kInvalidParam);
      EXPECT_TRUE(untouched(row_));
      EXPECT_EQ(steps(), Steps{"span_snmp_session_get: session [3]"});
    }
  });
}

// ---- Get-next --------------------------------------------------------------------------------------------------------

TEST_F(SessionRead, ByGetNextOutsideSendsNothingAndClearsTheRow) {
  in_each_trace_mode([&] {
    for (const int32_t previous : {-2, 16, 17, INT32_MIN, INT32_MAX}) {
      EXPECT_EQ(next(previous), kNoSession);
      EXPECT_TRUE(all_zero(row_));
      EXPECT_EQ(steps(), Steps{});
    }
  });
}

TEST_F(SessionRead, ByGetNextFindsTheOnlySession) {
  sessions[5] = {};
  expect_reads(1, 5);
  EXPECT_EQ(next(0), kOk);
  EXPECT_EQ(row_.session, 5u);
  EXPECT_EQ(asked(), indexes(1, 5));
}

TEST_F(SessionRead, KeepsTryingSession0BehindMinus1) {
  sessions[1] = {};
  expect_reads(0, 1);
  EXPECT_EQ(next(-1), kOk);
  EXPECT_EQ(row_.session, 1u);
  EXPECT_EQ(asked(), hex("ff 00"));
}

TEST_F(SessionRead, KeepsTheRowOfSession0WhenTheManagerHasOne) {
  sessions[0] = {.oper_state = 4};
  expect_reads(0, 0);
  EXPECT_EQ(next(-1), kOk);
  EXPECT_EQ(row_.session, 0u);
  EXPECT_STREQ(row_.oper_reason, "There is no destination");
}

TEST_F(SessionRead, ByGetNextAsksAtMost17Times) {
  expect_reads(0, 16);
  EXPECT_EQ(next(-1), kNoSession);
  EXPECT_TRUE(all_zero(row_));
  EXPECT_EQ(asked(), hex("ff 00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f"));
}

TEST_F(SessionRead, ByGetNextTracesNothingOfItsOwn) {
  in_each_trace_mode([&] {
    expect_reads(15, 16);
    EXPECT_EQ(next(14), kNoSession);
    EXPECT_EQ(steps(), asks_for("f") + Steps{"span_snmp_session_get_curr: session not present\n"} + asks_for("10") +
                           Steps{"span_snmp_session_get_curr: session not present\n"});
  });
}

TEST_F(SessionRead, ByGetNextOnAStandbyIsTheEndOfTheTable) {
  fake.expect_exchange(2001).gives(be32(kStandby)).times(16);
  EXPECT_EQ(next(0), kNoSession);
  EXPECT_TRUE(all_zero(row_));
  EXPECT_EQ(asked(), indexes(1, 16));
}

TEST_F(SessionRead, ByGetNextWithoutAManagerIsTheEndOfTheTable) {
  fake.expect_exchange(2001).returns(kTransportFailed).gives({1, 2, 3}).times(16);
  EXPECT_EQ(next(0), kNoSession);
  EXPECT_TRUE(all_zero(row_));
  EXPECT_EQ(heap::live(), 0u);
}

TEST_F(SessionRead, ByGetNextSkipsWhatFailsOnTheWay) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).returns(kTransportFailed);
    fake.expect_exchange(2001).gives(be32(kStandby));
    fake.expect_exchange(2001).gives(SessionRecord{.configured = 0}.response());
    fake.expect_exchange(2001).gives(SessionRecord{.suspended = 1}.response());
    EXPECT_EQ(next(8), kOk);
    EXPECT_EQ(row_.session, 12u);
    EXPECT_EQ(steps(),
              asks_for("9") + Steps{kQueryFailed} + asks_for("a") +
                  Steps{"span_snmp_session_get_curr: stateless standby\n"} + asks_for("b") +
                  Steps{"span_snmp_session_get_curr: session not present\n"} + asks_for("c") +
                  (Steps{"span_snmp_session_get_curr: active\n", "span_snmp_session_get_curr: destination [0]\n",
                         "span_snmp_session_get_curr: admin status [2]\n"}));
  });
}

// ---- The whole table -------------------------------------------------------------------------------------------------

class SessionTable : public SessionRead {
 protected:
  void SetUp() override {
    SessionRead::SetUp();
    sessions[1] = {.destination = 0x5aa5a55a ^ 0x1000000, .has_destination = 1};
    sessions[2] = {.oper_state = 2, .destination = 0x5aa5a55a ^ 0x1001000, .has_destination = 1, .suspended = 1};
    sessions[9] = {.oper_state = 4};
    sessions[15] = {.oper_state = 1, .destination = 0x5aa5a55a ^ 0xf0000001, .has_destination = 1};
    sessions[16] = {.oper_state = 2, .destination = 0x5aa5a55a ^ 0x1, .has_destination = 1};
  }

  // Every row there is.
  const std::map<uint32_t, Bytes> table_ = {
      {1, join({host32(1), host32(0x1000000), host32(1), host32(1), reason("Session is active"), host32(0)})},
      {2, join({host32(2), host32(0x1001000), host32(2), host32(2), reason("Session is admin suspended"), host32(0)})},
      {9, join({host32(9), host32(0), host32(1), host32(2), reason("There is no destination"), host32(0)})},
      {15,
       join({host32(15), host32(0xf0000001), host32(1), host32(2), reason("There are no active sources"), host32(0)})},
      {16, join({host32(16), host32(1), host32(1), host32(2), reason("Destination is down"), host32(0)})},
  };
};

TEST_F(SessionTable, GivesEachRowByGet) {
  for (uint32_t session = 1; session <= 16; ++session) {
    expect_reads(session, session);
    const bool present = table_.count(session) != 0;
    EXPECT_EQ(get(session, kGet), present ? kOk : kNoSession);
    EXPECT_TRUE(same_bytes(bytes_of(row_), present ? table_.at(session) : Bytes(sizeof row_)));
  }
}

TEST_F(SessionTable, GivesTheNextRowFromAnyStart) {
  for (int32_t start = -3; start <= 18; ++start) {
    SCOPED_TRACE(start);
    const auto row = start < -1 ? table_.end() : table_.upper_bound(static_cast<uint32_t>(std::max(start, 0)));
    const bool sends = start >= -1 && start <= 15;
    const auto first = static_cast<uint32_t>(start + 1);
    const uint32_t last = row == table_.end() ? 16 : row->first;
    if (sends) expect_reads(first, last);
    EXPECT_EQ(get(static_cast<uint32_t>(start), kGetNext), row == table_.end() ? kNoSession : kOk);
    EXPECT_TRUE(same_bytes(bytes_of(row_), row == table_.end() ? Bytes(sizeof row_) : row->second));
    EXPECT_EQ(asked(), sends ? indexes(first, last) : Bytes{});
  }
}

TEST_F(SessionTable, IsWalkedFromEndToEnd) {
  uint32_t at = 0;
  for (const auto& [session, row] : table_) {
    expect_reads(at + 1, session);
    EXPECT_EQ(get(at, kGetNext), kOk);
    EXPECT_TRUE(same_bytes(bytes_of(row_), row));
    at = row_.session;
  }
  EXPECT_EQ(at, 16u);
  EXPECT_EQ(get(at, kGetNext), kNoSession);
  EXPECT_EQ(asked(), indexes(1, 16));
}

TEST_F(SessionTable, OfNoSessionEndsAtOnce) {
  sessions.clear();
  expect_reads(1, 16);
  EXPECT_EQ(get(0, kGetNext), kNoSession);
  EXPECT_TRUE(all_zero(row_));
}

}  // namespace
}  // namespace testkit
