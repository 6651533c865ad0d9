// Reads of the source interface table: one row, and the next row of a session.
#include <gtest/gtest.h>

#include <array>

#include "tests/snmp/snmp_test.h"

extern "C" {
decltype(span_get_session_info) __real_span_get_session_info, __wrap_span_get_session_info;
}

namespace testkit {
namespace {

// The session words of queries, when they are asked for.
std::vector<std::array<uint32_t, 2>>* session_words = nullptr;

using Row = std::array<uint32_t, 3>;  // session, interface, direction
constexpr uint32_t kRx = 1;
constexpr uint32_t kTx = 2;

class SourceIfRead : public SnmpTest {
 protected:
  void SetUp() override {
    SnmpTest::SetUp();
    know(9, 99);
  }

  uint32_t current(int32_t session, uint32_t if_index, int32_t direction) {
    row_ = unwritten<span_snmp_source_if_entry_t>();
    return ask(span_snmp_source_if_get_curr, session, if_index, direction, &row_);
  }

  uint32_t next_in_session(int32_t session, uint32_t if_index, uint32_t direction) {
    row_ = unwritten<span_snmp_source_if_entry_t>();
    return ask(span_snmp_source_if_get_next_in_session, session, if_index, direction, &row_);
  }

  void expect_session(const SessionRecord& record) { fake.expect_exchange(2001).gives(record.response()); }

  Row row() const { return {row_.session, row_.if_index, row_.direction}; }

  span_snmp_source_if_entry_t row_ = {};
};

// ---- The interface check ---------------------------------------------------------------------------------------------

TEST_F(SourceIfRead, AcceptsEveryInterfaceThatIsKnown) {
  for (uint32_t type = 0; type < 256; ++type) {
    know(9, type);
    EXPECT_EQ(ask(span_snmp_check_if_index, 9), kOk);
  }
  EXPECT_EQ(ask(span_snmp_check_if_index, 10), kWrongIf);
}

TEST_F(SourceIfRead, AcceptsInterface0WhenThePlatformKnowsIt) {
  EXPECT_EQ(ask(span_snmp_check_if_index, 0), kWrongIf);
  know(0, 1);
  EXPECT_EQ(ask(span_snmp_check_if_index, 0), kOk);
}

TEST_F(SourceIfRead, TracesTheInterfaceItChecks) {
  in_each_trace_mode([&] {
    for (const uint32_t if_index : {9u, 10u}) {
      ask(span_snmp_check_if_index, if_index);
      EXPECT_EQ(steps(),
                (Steps{std::string("span_snmp_check_if_index: check if_index [") + (if_index == 9 ? "9" : "a") + "]\n",
                       "if_index_get_type(" + std::to_string(if_index) + ")"}));
    }
  });
}

// ---- One row ---------------------------------------------------------------------------------------------------------

Steps reads(const std::string& source, const std::string& session, const std::string& direction) {
  return {
      "span_snmp_source_if_get_curr: source [" + source + "] session [" + session + "] direction [" + direction + "]\n",
      kQuery};
}

TEST_F(SourceIfRead, FindsAnIngressRow) {
  in_each_trace_mode([&] {
    expect_session({.rx = {5, 0xabc}, .tx = {7}});
    EXPECT_EQ(current(16, 0xabc, 1), kOk);
    EXPECT_EQ(row(), (Row{16, 0xabc, kRx}));
    EXPECT_EQ(steps(), reads("abc", "10", "1") + (Steps{"span_snmp_source_if_get_curr: scanning rx\n",
                                                        "span_snmp_source_if_get_curr: source is present\n"}));
  });
}

TEST_F(SourceIfRead, FindsAnEgressRow) {
  in_each_trace_mode([&] {
    expect_session({.rx = {5, 9}, .tx = {7, 0xF0000001}});
    EXPECT_EQ(current(3, 0xF0000001, 2), kOk);
    EXPECT_EQ(row(), (Row{3, 0xF0000001, kTx}));
    EXPECT_EQ(steps(), reads("f0000001", "3", "2") + (Steps{"span_snmp_source_if_get_curr: scanning tx\n",
                                                            "span_snmp_source_if_get_curr: source is present\n"}));
  });
}

TEST_F(SourceIfRead, DoesNotFindARowOfTheOtherDirection) {
  in_each_trace_mode([&] {
    expect_session({.rx = {5}, .tx = {7}});
    EXPECT_EQ(current(3, 7, 1), kNoSource);
    EXPECT_TRUE(all_zero(row_));
    EXPECT_EQ(steps(), reads("7", "3", "1") + (Steps{"span_snmp_source_if_get_curr: scanning rx\n",
                                                     "span_snmp_source_if_get_curr: source is not present\n"}));
    expect_session({.rx = {5}, .tx = {7}});
    EXPECT_EQ(current(3, 5, 2), kNoSource);
    EXPECT_TRUE(all_zero(row_));
    EXPECT_EQ(steps(), reads("5", "3", "2") + (Steps{"span_snmp_source_if_get_curr: scanning tx\n",
                                                     "span_snmp_source_if_get_curr: source is not present\n"}));
  });
}

TEST_F(SourceIfRead, FindsNothingInEmptyLists) {
  for (const int32_t direction : {1, 2}) {
    for (const uint32_t if_index : {0u, 5u}) {
      expect_session({});
      EXPECT_EQ(current(3, if_index, direction), kNoSource);
      EXPECT_TRUE(all_zero(row_));
    }
  }
}

TEST_F(SourceIfRead, FindsTheEgressListBehindAnEmptyIngressList) {
  expect_session({.tx = {5, 7}});
  EXPECT_EQ(current(3, 7, 2), kOk);
  EXPECT_EQ(row(), (Row{3, 7, kTx}));
}

TEST_F(SourceIfRead, HasTheSessionInTwoWords) {
  std::vector<std::array<uint32_t, 2>> words;
  session_words = &words;
  expect_session({.rx = {5}});
  EXPECT_EQ(current(3, 5, 1), kOk);
  expect_session({.rx = {5}});
  EXPECT_EQ(next_in_session(4, 0, 0), kOk);
  session_words = nullptr;
  EXPECT_EQ(words, (std::vector<std::array<uint32_t, 2>>{{3, 3}, {4, 4}}));
}

TEST_F(SourceIfRead, AsksForTheNumberLessOne) {
  for (int32_t session = 1; session <= 16; ++session) {
    expect_session({.rx = {5}});
    EXPECT_EQ(current(session, 5, 1), kOk);
    EXPECT_TRUE(same_bytes(fake.exchange().payload, join({{static_cast<uint8_t>(session - 1)}, hex("a5 a5 a5")})));
  }
}

TEST_F(SourceIfRead, OfANumberOutsideSendsNothing) {
  const std::vector<std::pair<int32_t, std::string>> numbers = {
      {0, "0"}, {17, "11"}, {257, "101"}, {-1, "ffffffff"}, {INT32_MIN, "80000000"}};
  in_each_trace_mode([&] {
    for (const auto& [session, shown] : numbers) {
      EXPECT_EQ(current(session, 9, 3), kWrongSession);
      EXPECT_TRUE(all_zero(row_));
      EXPECT_EQ(steps(), Steps{reads("9", shown, "3").front()});
    }
  });
}

TEST_F(SourceIfRead, KeepsSucceedingWithoutARowWhenTheExchangeFails) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).returns(kTransportFailed).gives(SessionRecord{.rx = {5}}.response());
    EXPECT_EQ(current(3, 5, 1), kOk);
    EXPECT_TRUE(all_zero(row_));
    EXPECT_EQ(steps(), reads("5", "3", "1") + Steps{kQueryFailed});
  });
}

TEST_F(SourceIfRead, KeepsSucceedingWithoutARowOnAStandby) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).gives(be32(kStandby));
    EXPECT_EQ(current(3, 5, 1), kOk);
    EXPECT_TRUE(all_zero(row_));
    EXPECT_EQ(steps(), reads("5", "3", "1") + Steps{"span_snmp_source_if_get_curr: stateless standby\n"});
  });
}

TEST_F(SourceIfRead, KeepsSucceedingWithoutARowWithoutAQueue) {
  queue_ = 0;
  EXPECT_EQ(current(3, 5, 1), kOk);
  EXPECT_EQ(printed(), "Invalid param\n");
  EXPECT_TRUE(all_zero(row_));
  EXPECT_EQ(steps(), (Steps{reads("5", "3", "1").front(), "err(1077149717)\n"}));
}

TEST_F(SourceIfRead, ChecksTheSessionBeforeTheDirection) {
  in_each_trace_mode([&] {
    for (const int32_t direction : {1, 2, 3}) {
      fake.expect_exchange(2001).gives(response_of(3));
      EXPECT_EQ(current(3, 5, direction), kNoSession);
      EXPECT_TRUE(all_zero(row_));
      EXPECT_EQ(steps(),
                reads("5", "3", std::to_string(direction)) + Steps{"span_snmp_source_if_get_curr: invalid session\n"});
    }
  });
}

TEST_F(SourceIfRead, RefusesOtherDirectionsOfASessionThatExists) {
  const std::vector<std::pair<int32_t, std::string>> directions = {{0, "0"}, {3, "3"}, {257, "101"}, {-1, "ffffffff"}};
  in_each_trace_mode([&] {
    for (const auto& [direction, shown] : directions) {
      expect_session({.rx = {5}, .tx = {5}});
      EXPECT_EQ(current(3, 5, direction), kInvalidParam);
      EXPECT_TRUE(all_zero(row_));
      EXPECT_EQ(steps(), reads("5", "3", shown) + Steps{"span_snmp_source_if_get_curr: invalid direction\n"});
    }
  });
}

// ---- The next row of a session ---------------------------------------------------------------------------------------

std::string starts_at(const std::string& source, const std::string& session, const std::string& direction) {
  return "span_snmp_source_if_get_next_in_session: source [" + source + "] session [" + session + "] direction [" +
         direction + "]\n";
}

// The search in both lists, "" when nothing is found.
Steps searches(const std::string& rx, const std::string& tx) {
  const std::string name = "span_snmp_source_if_get_next_in_session: ";
  return {name + "retrieve rx source\n", name + (rx.empty() ? "no rx found\n" : "rx found [" + rx + "]\n"),
          name + "retrieve tx source\n", name + (tx.empty() ? "no tx found\n" : "tx found [" + tx + "]\n")};
}

Steps ends_with(const std::string& source, const std::string& direction, const std::string& status) {
  return {"span_snmp_source_if_get_next_in_session: src[0x" + source + "] dir[" + direction + "] ret_val[0x" + status +
          "]\n"};
}

TEST_F(SourceIfRead, StartsWithTheSmallestInterface) {
  in_each_trace_mode([&] {
    expect_session({.rx = {0xb, 0xd}, .tx = {0xa, 0xc}});
    EXPECT_EQ(next_in_session(16, 0, 0), kOk);
    EXPECT_EQ(row(), (Row{16, 0xa, kTx}));
    EXPECT_EQ(steps(), (Steps{starts_at("0", "10", "0"), kQuery}) + searches("b", "a") + ends_with("a", "2", "0"));
  });
}

TEST_F(SourceIfRead, GivesIngressBeforeEgressOfAnInterface) {
  in_each_trace_mode([&] {
    expect_session({.rx = {5, 9}, .tx = {5, 7}});
    EXPECT_EQ(next_in_session(3, 0, 0), kOk);
    EXPECT_EQ(row(), (Row{3, 5, kRx}));
    EXPECT_EQ(steps(), (Steps{starts_at("0", "3", "0"), kQuery}) + searches("5", "5") + ends_with("5", "1", "0"));
    expect_session({.rx = {5, 9}, .tx = {5, 7}});
    EXPECT_EQ(next_in_session(3, 5, 1), kOk);
    EXPECT_EQ(row(), (Row{3, 5, kTx}));
    EXPECT_EQ(steps(), (Steps{starts_at("5", "3", "1"), kQuery}) + searches("9", "5") + ends_with("5", "2", "0"));
  });
}

TEST_F(SourceIfRead, GivesTheRowsOfOneDirectionAlone) {
  in_each_trace_mode([&] {
    expect_session({.rx = {5}});
    EXPECT_EQ(next_in_session(3, 0, 0), kOk);
    EXPECT_EQ(row(), (Row{3, 5, kRx}));
    EXPECT_EQ(steps(), (Steps{starts_at("0", "3", "0"), kQuery}) + searches("5", "") + ends_with("5", "1", "0"));
    expect_session({.tx = {5}});
    EXPECT_EQ(next_in_session(3, 0, 0), kOk);
    EXPECT_EQ(row(), (Row{3, 5, kTx}));
    EXPECT_EQ(steps(), (Steps{starts_at("0", "3", "0"), kQuery}) + searches("", "5") + ends_with("5", "2", "0"));
  });
}

TEST_F(SourceIfRead, EndsASessionWithoutAFurtherRow) {
  in_each_trace_mode([&] {
    expect_session({.rx = {5}, .tx = {0xa}});
    EXPECT_EQ(next_in_session(3, 0xa, 2), kNoSource);
    EXPECT_EQ(row(), (Row{3, 0, 0}));
    EXPECT_EQ(steps(), (Steps{starts_at("a", "3", "2"), kQuery}) + searches("", "") + ends_with("0", "0", "40340004"));
  });
}

TEST_F(SourceIfRead, SkipsBothRowsOfAnInterfaceForAnyDirectionBut1) {
  for (const uint32_t direction : {0u, 2u, 3u, 0x101u, 0xFFFFFFFFu}) {
    expect_session({.rx = {5, 9}, .tx = {5, 7}});
    EXPECT_EQ(next_in_session(3, 5, direction), kOk);
    EXPECT_EQ(row(), (Row{3, 7, kTx}));
  }
}

TEST_F(SourceIfRead, GivesTheEgressRowAlsoBehindAnIngressRowThatIsNotThere) {
  expect_session({.rx = {9}, .tx = {5}});
  EXPECT_EQ(next_in_session(3, 5, 1), kOk);
  EXPECT_EQ(row(), (Row{3, 5, kTx}));
}

TEST_F(SourceIfRead, StartsAtTheFirstRowForInterface0InAnyDirection) {
  for (const uint32_t direction : {0u, 1u, 2u, 3u}) {
    expect_session({.rx = {5}, .tx = {5}});
    EXPECT_EQ(next_in_session(3, 0, direction), kOk);
    EXPECT_EQ(row(), (Row{3, 5, kRx}));
  }
}

TEST_F(SourceIfRead, TakesInterface0ForTheStartAlsoWhenAListHoldsIt) {
  expect_session({.tx = {5, 0}});
  EXPECT_EQ(next_in_session(3, 0, 1), kOk);
  EXPECT_EQ(row(), (Row{3, 5, kTx}));
}

TEST_F(SourceIfRead, KeepsTheOrderOfAListThatIsNotSorted) {
  expect_session({.rx = {8, 6, 7}});
  EXPECT_EQ(next_in_session(3, 0, 0), kOk);
  EXPECT_EQ(row(), (Row{3, 8, kRx}));
  expect_session({.rx = {8, 6, 7}});
  EXPECT_EQ(next_in_session(3, 5, 2), kOk);
  EXPECT_EQ(row(), (Row{3, 8, kRx}));
  expect_session({.rx = {8, 6, 7}});
  EXPECT_EQ(next_in_session(3, 8, 2), kNoSource);
}

TEST_F(SourceIfRead, EndsWithTheCodeOfWhatFailed) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).returns(kTransportFailed).gives(SessionRecord{.rx = {5}}.response());
    EXPECT_EQ(next_in_session(3, 0, 0), kFailed);
    EXPECT_EQ(row(), (Row{3, 0, 0}));
    EXPECT_EQ(steps(), (Steps{starts_at("0", "3", "0"), kQuery, kQueryFailed}) + ends_with("0", "0", "40340000"));

    fake.expect_exchange(2001).gives(be32(kStandby));
    EXPECT_EQ(next_in_session(3, 0, 0), kFailed);
    EXPECT_EQ(row(), (Row{3, 0, 0}));
    EXPECT_EQ(steps(), (Steps{starts_at("0", "3", "0"), kQuery,
                              "span_snmp_source_if_get_next_in_session: stateless standby\n"}) +
                           ends_with("0", "0", "40340000"));

    fake.expect_exchange(2001).gives(response_of(3));
    EXPECT_EQ(next_in_session(3, 0, 0), kNoSession);
    EXPECT_EQ(row(), (Row{3, 0, 0}));
    EXPECT_EQ(steps(),
              (Steps{starts_at("0", "3", "0"), kQuery, "span_snmp_source_if_get_next_in_session: invalid session\n"}) +
                  ends_with("0", "0", "40340002"));
  });
}

TEST_F(SourceIfRead, HasNoNextRowOfANumberOutside) {
  const std::vector<std::pair<int32_t, std::string>> numbers = {
      {0, "0"}, {17, "11"}, {257, "101"}, {-1, "ffffffff"}, {INT32_MIN, "80000000"}};
  in_each_trace_mode([&] {
    for (const auto& [session, shown] : numbers) {
      EXPECT_EQ(next_in_session(session, 5, 1), kWrongSession);
      EXPECT_EQ(row(), (Row{static_cast<uint32_t>(session), 0, 0}));
      EXPECT_EQ(steps(), Steps{starts_at("5", shown, "1")} + ends_with("0", "0", "40340044"));
    }
  });
}

}  // namespace
}  // namespace testkit

uint32_t __wrap_span_get_session_info(uint32_t queue, const char* requester1, const char* requester2,
                                      const uint32_t* session, uint8_t all_flag, uint8_t* valid, uint8_t** record,
                                      void** response_out) {
  if (testkit::session_words != nullptr) testkit::session_words->push_back({session[0], session[1]});
  return __real_span_get_session_info(queue, requester1, requester2, session, all_flag, valid, record, response_out);
}
