// The source interface table as the agent sees it: get, get-next over the sessions, and the whole table.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>

#include "tests/snmp/snmp_test.h"

namespace testkit {
namespace {

using Row = std::array<uint32_t, 3>;  // session, interface, direction
constexpr Row kNoRow = {0, 0, 0};
constexpr uint32_t kRx = 1;
constexpr uint32_t kTx = 2;

class SourceIfWalk : public SnmpTest {
 protected:
  void SetUp() override {
    SnmpTest::SetUp();
    know(9, 99);
  }

  uint32_t next(uint32_t session, uint32_t if_index, uint32_t direction) {
    row_ = unwritten<span_snmp_source_if_entry_t>();
    return ask(span_snmp_source_if_get_next, session, if_index, direction, &row_);
  }

  uint32_t get(uint32_t session, uint32_t if_index, uint32_t direction, uint32_t kind) {
    row_ = unwritten<span_snmp_source_if_entry_t>();
    return ask(span_snmp_source_if_get, session, if_index, direction, kind, &row_);
  }

  Row row() const { return {row_.session, row_.if_index, row_.direction}; }

  span_snmp_source_if_entry_t row_ = {};
};

// ---- Dispatcher ------------------------------------------------------------------------------------------------------

Steps requests(const std::string& source, const std::string& session, const std::string& direction) {
  return {"span_snmp_source_if_get: requesting source [" + source + "] session [" + session + "] direction [" +
          direction + "]\n"};
}

const Steps kChecks9 = {"span_snmp_check_if_index: check if_index [9]\n", "if_index_get_type(9)"};

TEST_F(SourceIfWalk, GetReadsTheRowNamed) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).gives(SessionRecord{.rx = {9}}.response());
    EXPECT_EQ(get(11, 9, 1, 1), kOk);
    EXPECT_EQ(row(), (Row{11, 9, kRx}));
    EXPECT_EQ(steps(), requests("9", "b", "1") + kChecks9 +
                           (Steps{"GET_REQ", "span_snmp_source_if_get_curr: source [9] session [b] direction [1]\n",
                                  kQuery, "span_snmp_source_if_get_curr: scanning rx\n",
                                  "span_snmp_source_if_get_curr: source is present\n"}));
  });
}

TEST_F(SourceIfWalk, GetReturnsWhatTheReadReturns) {
  fake.expect_exchange(2001).returns(kTransportFailed);
  EXPECT_EQ(get(3, 9, 1, 1), kOk);
  EXPECT_TRUE(all_zero(row_));
  fake.expect_exchange(2001).gives(response_of(3));
  EXPECT_EQ(get(3, 9, 1, 1), kNoSession);
  fake.expect_exchange(2001).gives(SessionRecord{}.response());
  EXPECT_EQ(get(3, 9, 1, 1), kNoSource);
  fake.expect_exchange(2001).gives(SessionRecord{}.response());
  EXPECT_EQ(get(3, 9, 3, 1), kInvalidParam);
  EXPECT_TRUE(all_zero(row_));
}

TEST_F(SourceIfWalk, KeepsCheckingTheInterfaceBeforeTheSession) {
  in_each_trace_mode([&] {
    EXPECT_EQ(get(20, 0xbad, 1, 1), kWrongIf);
    EXPECT_TRUE(untouched(row_));
    EXPECT_EQ(steps(), requests("bad", "14", "1") +
                           (Steps{"span_snmp_check_if_index: check if_index [bad]\n", "if_index_get_type(2989)",
                                  "span_snmp_source_if_get: invalid if_index [bad]\n"}));
  });
}

TEST_F(SourceIfWalk, GetOfANumberOutsideSendsNothing) {
  const std::vector<std::pair<uint32_t, std::string>> numbers = {
      {0, "0"}, {17, "11"}, {20, "14"}, {257, "101"}, {0xFFFFFFFF, "ffffffff"}};
  in_each_trace_mode([&] {
    for (const auto& [session, shown] : numbers) {
      EXPECT_EQ(get(session, 9, 1, 1), kWrongSession);
      EXPECT_TRUE(untouched(row_));
      EXPECT_EQ(steps(), requests("9", shown, "1") + kChecks9 + Steps{"span_snmp_source_if_get: wrong session"});
    }
  });
}

TEST_F(SourceIfWalk, GetNextChecksNoInterface) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).gives(SessionRecord{.tx = {0xbae}}.response());
    EXPECT_EQ(get(3, 0xbad, 1, 2), kOk);
    EXPECT_EQ(row(), (Row{3, 0xbae, kTx}));
    const std::string in_session = "span_snmp_source_if_get_next_in_session: ";
    EXPECT_EQ(
        steps(),
        requests("bad", "3", "1") +
            (Steps{"GETNEXT_REQ", "span_snmp_source_if_get_next: source [bad] session [3] direction [1]\n",
                   in_session + "source [bad] session [3] direction [1]\n", kQuery, in_session + "retrieve rx source\n",
                   in_session + "no rx found\n", in_session + "retrieve tx source\n", in_session + "tx found [bae]\n",
                   in_session + "src[0xbae] dir[2] ret_val[0x0]\n"}));
  });
}

TEST_F(SourceIfWalk, AnyOtherKindIsInvalid) {
  in_each_trace_mode([&] {
    for (const uint32_t kind : {0u, 3u, 0x101u, 0xFFFFFFFFu}) {
      EXPECT_EQ(get(3, 9, 1, kind), kInvalidParam);
      EXPECT_TRUE(untouched(row_));
      EXPECT_EQ(steps(), requests("9", "3", "1") + Steps{"INVALID REQ"});
    }
  });
}

// ---- Get-next over the sessions --------------------------------------------------------------------------------------

TEST_F(SourceIfWalk, Session0StartsAtTheFirstRowWhateverElseIsGiven) {
  sessions[2] = {.rx = {7}, .tx = {5}};
  for (const uint32_t if_index : {0u, 5u, 0xFFFFFFFFu}) {
    for (const uint32_t direction : {0u, 1u, 2u}) {
      expect_reads(1, 2);
      EXPECT_EQ(next(0, if_index, direction), kOk);
      EXPECT_EQ(row(), (Row{2, 5, kTx}));
      EXPECT_EQ(asked(), indexes(1, 2));
    }
  }
}

TEST_F(SourceIfWalk, TracesTheSearchThroughTheSessions) {
  sessions[1] = {.rx = {4}};
  sessions[2] = {.rx = {5}};
  const std::string name = "span_snmp_source_if_get_next_in_session: ";
  in_each_trace_mode([&] {
    expect_reads(1, 1);
    EXPECT_EQ(next(0, 9, 2), kOk);
    EXPECT_EQ(steps(), (Steps{"span_snmp_source_if_get_next: source [9] session [0] direction [2]\n",
                              name + "source [0] session [1] direction [0]\n", kQuery, name + "retrieve rx source\n",
                              name + "rx found [4]\n", name + "retrieve tx source\n", name + "no tx found\n",
                              name + "src[0x4] dir[1] ret_val[0x0]\n"}));
    expect_reads(1, 2);
    EXPECT_EQ(next(1, 4, 1), kOk);
    EXPECT_EQ(row(), (Row{2, 5, kRx}));
    EXPECT_EQ(steps(),
              (Steps{"span_snmp_source_if_get_next: source [4] session [1] direction [1]\n",
                     name + "source [4] session [1] direction [1]\n", kQuery, name + "retrieve rx source\n",
                     name + "no rx found\n", name + "retrieve tx source\n", name + "no tx found\n",
                     name + "src[0x0] dir[0] ret_val[0x40340004]\n", name + "source [0] session [2] direction [0]\n",
                     kQuery, name + "retrieve rx source\n", name + "rx found [5]\n", name + "retrieve tx source\n",
                     name + "no tx found\n", name + "src[0x5] dir[1] ret_val[0x0]\n"}));
  });
}

TEST_F(SourceIfWalk, OfNumbersBeyond16LeavesTheRow) {
  const std::vector<std::pair<uint32_t, std::string>> numbers = {
      {17, "11"}, {257, "101"}, {0x80000000, "80000000"}, {0xFFFFFFFE, "fffffffe"}, {0xFFFFFFFF, "ffffffff"}};
  in_each_trace_mode([&] {
    for (const auto& [session, shown] : numbers) {
      EXPECT_EQ(next(session, 5, 1), kNoSource);
      EXPECT_TRUE(untouched(row_));
      EXPECT_EQ(steps(), Steps{"span_snmp_source_if_get_next: source [5] session [" + shown + "] direction [1]\n"});
    }
  });
}

TEST_F(SourceIfWalk, KeepsTheLastSessionInTheRowAtTheEnd) {
  expect_reads(1, 16);
  EXPECT_EQ(next(1, 0, 0), kNoSource);
  EXPECT_EQ(row(), (Row{16, 0, 0}));
}

TEST_F(SourceIfWalk, TriesAllSessionsOfAStandby) {
  fake.expect_exchange(2001).gives(be32(kStandby)).times(16);
  EXPECT_EQ(next(0, 0, 0), kNoSource);
  EXPECT_EQ(row(), (Row{16, 0, 0}));
  EXPECT_EQ(asked(), indexes(1, 16));
}

TEST_F(SourceIfWalk, TriesAllSessionsWithoutAManager) {
  fake.expect_exchange(2001).returns(kTransportFailed).gives({1, 2}).times(14);
  EXPECT_EQ(next(3, 5, 1), kNoSource);
  EXPECT_EQ(row(), (Row{16, 0, 0}));
  EXPECT_EQ(asked(), indexes(3, 16));
  EXPECT_EQ(heap::live(), 0u);
}

TEST_F(SourceIfWalk, TriesAllSessionsWithoutAQueue) {
  queue_ = 0;
  EXPECT_EQ(next(0, 0, 0), kNoSource);
  std::string expected;
  for (int i = 0; i < 16; ++i) expected += "Invalid param\n";
  EXPECT_EQ(printed(), expected);
  EXPECT_EQ(fake.calls("vex"), "");
}

TEST_F(SourceIfWalk, SkipsWhatFailsOnTheWay) {
  fake.expect_exchange(2001).returns(5);
  fake.expect_exchange(2001).gives(be32(kStandby));
  fake.expect_exchange(2001).gives(response_of(3));
  fake.expect_exchange(2001).gives(SessionRecord{}.response());
  fake.expect_exchange(2001).gives(SessionRecord{.rx = {2}}.response());
  EXPECT_EQ(next(1, 5, 1), kOk);
  EXPECT_EQ(row(), (Row{5, 2, kRx}));
}

TEST_F(SourceIfWalk, GoesFromIngressToEgressOfTheSameInterface) {
  fake.expect_exchange(2001).gives(SessionRecord{.rx = {9}, .tx = {9}}.response());
  EXPECT_EQ(next(3, 9, 1), kOk);
  EXPECT_EQ(row(), (Row{3, 9, kTx}));
}

// ---- The whole table -------------------------------------------------------------------------------------------------

class SourceIfTable : public SourceIfWalk {
 protected:
  void SetUp() override {
    SourceIfWalk::SetUp();
    sessions[1] = {.rx = {5, 9}, .tx = {5, 7}};
    sessions[2] = {};
    sessions[4] = {.tx = {0x100, 0x10001, 0x1000000, 0xF0000001}};
    sessions[9] = {.rx = {1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF}};
    sessions[15] = {.rx = {7, 8}, .tx = {8}};
    sessions[16] = {.rx = {9}, .tx = {3, 9}};
  }

  // Every row there is, in order.
  const std::vector<Row> table_ = {
      {1, 5, kRx},          {1, 5, kTx},          {1, 7, kTx},          {1, 9, kRx},  {4, 0x100, kTx},
      {4, 0x10001, kTx},    {4, 0x1000000, kTx},  {4, 0xF0000001, kTx}, {9, 1, kRx},  {9, 0x7FFFFFFF, kRx},
      {9, 0x80000000, kRx}, {9, 0xFFFFFFFF, kRx}, {15, 7, kRx},         {15, 8, kRx}, {15, 8, kTx},
      {16, 3, kTx},         {16, 9, kRx},         {16, 9, kTx},
  };

  // The row behind a start: direction 1 stands between the two rows of its interface, any other one behind both.
  Row behind(uint32_t session, uint32_t if_index, uint32_t direction) const {
    if (session == 0) return table_.front();
    const uint32_t place = if_index != 0 && direction != kRx ? kTx : direction;
    const Row start = {session, if_index, if_index == 0 ? 0 : place};
    const auto found = std::upper_bound(table_.begin(), table_.end(), start);
    return found == table_.end() ? kNoRow : *found;
  }

  // All interfaces of the table, their neighbours, and the ends of the range.
  std::set<uint32_t> starts() const {
    std::set<uint32_t> all = {0, 0xFFFFFFFF};
    for (const Row& row : table_) all.insert({row[1] - 1, row[1], row[1] + 1});
    return all;
  }
};

TEST_F(SourceIfTable, IsWalkedFromEndToEnd) {
  Row at = {1, 0, 0};
  for (const Row& row : table_) {
    expect_reads(at[0], row[0]);
    EXPECT_EQ(get(at[0], at[1], at[2], 2), kOk);
    EXPECT_EQ(this->row(), row);
    at = this->row();
  }
  expect_reads(16, 16);
  EXPECT_EQ(get(at[0], at[1], at[2], 2), kNoSource);
  EXPECT_EQ(row(), (Row{16, 0, 0}));
}

TEST_F(SourceIfTable, IsWalkedFromSession0) {
  expect_reads(1, 1);
  EXPECT_EQ(get(0, 0, 0, 2), kOk);
  EXPECT_EQ(row(), table_.front());
}

TEST_F(SourceIfTable, GivesEachRowByGetAndNoOther) {
  for (const uint32_t if_index : starts()) know(if_index, 1);
  for (uint32_t session = 1; session <= 16; ++session) {
    for (const uint32_t if_index : starts()) {
      for (const uint32_t direction : {kRx, kTx}) {
        const Row wanted = {session, if_index, direction};
        const bool present = std::find(table_.begin(), table_.end(), wanted) != table_.end();
        expect_reads(session, session);
        EXPECT_EQ(get(session, if_index, direction, 1), present                   ? kOk
                                                        : sessions.count(session) ? kNoSource
                                                                                  : kNoSession);
        EXPECT_EQ(row(), present ? wanted : kNoRow);
      }
    }
  }
}

TEST_F(SourceIfTable, GivesTheNextRowFromAnyStart) {
  for (uint32_t session = 0; session <= 17; ++session) {
    for (const uint32_t if_index : starts()) {
      for (const uint32_t direction : {0u, 1u, 2u, 3u}) {
        SCOPED_TRACE(testing::Message() << session << " " << if_index << " " << direction);
        const Row expected = behind(session, if_index, direction);
        const uint32_t first = session == 0 ? 1 : session;
        const uint32_t last = expected == kNoRow ? 16 : expected[0];
        expect_reads(first, last);
        EXPECT_EQ(next(session, if_index, direction), expected == kNoRow ? kNoSource : kOk);
        if (session == 17) {
          EXPECT_TRUE(untouched(row_));
        } else {
          EXPECT_EQ(row(), expected == kNoRow ? (Row{16, 0, 0}) : expected);
        }
        EXPECT_EQ(asked(), indexes(first, last));
      }
    }
  }
}

TEST_F(SourceIfTable, EndsAtOnceWithoutSessions) {
  sessions.clear();
  expect_reads(1, 16);
  EXPECT_EQ(get(0, 0, 0, 2), kNoSource);
  EXPECT_EQ(row(), (Row{16, 0, 0}));
}

}  // namespace
}  // namespace testkit
