// Reads of the two VSAN tables: the same tests for both, and what tells them apart.
#include <gtest/gtest.h>

#include "tests/snmp/snmp_test.h"

namespace testkit {
namespace {

using Reader = uint32_t (*)(uint32_t, span_snmp_vsan_entry_t*);
using NextReader = uint32_t (*)(int32_t, span_snmp_vsan_entry_t*);
using Dispatcher = uint32_t (*)(uint32_t, int32_t, span_snmp_vsan_entry_t*);

struct Table {
  std::string prefix;  // of its handlers
  Reader get_curr;
  NextReader get_next;
  Dispatcher get;
  Vsans SessionRecord::*vsans;
  uint32_t SessionRecord::*length;
  size_t offset;  // of the set in the response
  bool traces_next;
};

const Table kSource = {"span_snmp_source_vsan_",
                       span_snmp_source_vsan_get_curr,
                       span_snmp_source_vsan_get_next,
                       span_snmp_source_vsan_get,
                       &SessionRecord::rx_vsans,
                       &SessionRecord::rx_vsans_length,
                       4 + 1136,
                       true};
const Table kFilter = {"span_snmp_vsan_filter_",
                       span_snmp_vsan_filter_get_curr,
                       span_snmp_vsan_filter_get_next,
                       span_snmp_vsan_filter_get,
                       &SessionRecord::filter_vsans,
                       &SessionRecord::filter_length,
                       4 + 104,
                       false};

// Every number there is, in no particular shape.
const Vsans kMany = {{1, 1}, {7, 9}, {100, 131}, {1024, 1024}, {4000, 4095}};

class VsanRead : public SnmpTest, public testing::WithParamInterface<const Table*> {
 protected:
  // A session with these VSANs in the table under test and others in its twin.
  SessionRecord session(const Vsans& vsans) const {
    SessionRecord record{.filter_vsans = {{2222, 2223}}, .rx_vsans = {{3333, 3334}}};
    record.*table_.vsans = vsans;
    return record;
  }

  uint32_t read(uint32_t number) {
    row_ = unwritten<Guarded>();
    return ask(table_.get_curr, number, &row_.entry);
  }

  uint32_t next(int32_t previous) {
    row_ = unwritten<Guarded>();
    return ask(table_.get_next, previous, &row_.entry);
  }

  uint32_t get(uint32_t number, int32_t kind) {
    row_ = unwritten<Guarded>();
    return ask(table_.get, number, kind, &row_.entry);
  }

  static Bytes row_of(uint32_t number, const Vsans& vsans) { return join({host32(number), vsan_bits(vsans)}); }
  Bytes row() const { return bytes_of(row_.entry); }

  Steps asks_for(const std::string& number) const {
    return {table_.prefix + "get_curr: get the session [" + number + "] info\n", kQuery};
  }

  Steps next_traces(const std::string& previous) const {
    return table_.traces_next ? Steps{table_.prefix + "get_next: session [" + previous + "]\n"} : Steps{};
  }

  Steps says(const std::string& text) const { return {table_.prefix + text}; }

  void TearDown() override {
    EXPECT_EQ(row_.guard, 0xEEEEEEEEu);
    SnmpTest::TearDown();
  }

  struct Guarded {
    span_snmp_vsan_entry_t entry;
    uint32_t guard;
  };

  const Table& table_ = *GetParam();
  Guarded row_ = unwritten<Guarded>();
};

INSTANTIATE_TEST_SUITE_P(SourceVsans, VsanRead, testing::Values(&kSource));
INSTANTIATE_TEST_SUITE_P(VsanFilters, VsanRead, testing::Values(&kFilter));

// ---- One row ---------------------------------------------------------------------------------------------------------

TEST_P(VsanRead, FillsTheRowFromItsOwnSet) {
  fake.expect_exchange(2001).gives(session(kMany).response());
  EXPECT_EQ(read(3), kOk);
  EXPECT_TRUE(same_bytes(row(), row_of(3, kMany)));
}

TEST_P(VsanRead, LeavesTheOrderOfTheBitsAlone) {
  fake.expect_exchange(2001).gives(session({{1, 1}}).response());
  EXPECT_EQ(read(3), kOk);
  EXPECT_EQ(row_.entry.vsans[0], 0x40);

  Bytes set(512);
  for (size_t i = 0; i < set.size(); ++i) set[i] = static_cast<uint8_t>(i * 7 + 1);
  fake.expect_exchange(2001).gives(
      Message(SessionRecord{}.response().size()).put(0, SessionRecord{}.response()).put(table_.offset, set));
  EXPECT_EQ(read(3), kOk);
  EXPECT_TRUE(same_bytes(copy_of(row_.entry.vsans, 512), set));
}

TEST_P(VsanRead, FillsARowWithoutVsans) {
  fake.expect_exchange(2001).gives(session({}).response());
  EXPECT_EQ(read(16), kOk);
  EXPECT_TRUE(same_bytes(row(), row_of(16, {})));
}

TEST_P(VsanRead, TakesAsManyBytesAsTheCountSays) {
  const Bytes all = vsan_bits({{0, 4095}});
  for (const uint32_t count : {0u, 1u, 3u, 511u, 512u}) {
    SessionRecord record = session({{0, 4095}});
    record.*table_.length = count;
    fake.expect_exchange(2001).gives(record.response());
    EXPECT_EQ(read(3), kOk);
    EXPECT_TRUE(same_bytes(row(), join({host32(3), slice(all, 0, count), Bytes(512 - count)})));
  }
}

TEST_P(VsanRead, TakesACountBeyondTheRowAs512) {
  for (const uint32_t count : {513u, 514u, 0x10000u, 0x80000000u, 0xFFFFFFFFu}) {
    SessionRecord record = session(kMany);
    record.*table_.length = count;
    fake.expect_exchange(2001).gives(record.response());
    EXPECT_EQ(read(3), kOk);
    EXPECT_TRUE(same_bytes(row(), row_of(3, kMany)));
    EXPECT_EQ(row_.guard, 0xEEEEEEEEu);
  }
}

TEST_P(VsanRead, AsksForTheNumberLessOne) {
  for (uint32_t number = 1; number <= 16; ++number) {
    fake.expect_exchange(2001).gives(session({}).response());
    EXPECT_EQ(read(number), kOk);
    EXPECT_TRUE(same_bytes(fake.exchange().payload, join({{static_cast<uint8_t>(number - 1)}, hex("a5 a5 a5")})));
  }
}

TEST_P(VsanRead, TracesTheQueryAndNothingElse) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).gives(session(kMany).response());
    EXPECT_EQ(read(16), kOk);
    EXPECT_EQ(steps(), asks_for("10"));
  });
}

TEST_P(VsanRead, OfANumberOutsideClearsTheRowAndSaysNothing) {
  in_each_trace_mode([&] {
    for (const uint32_t number : {0u, 17u, 256u, 257u, 0x80000000u, 0xFFFFFFFFu}) {
      EXPECT_EQ(read(number), kWrongSession);
      EXPECT_TRUE(all_zero(row_.entry));
      EXPECT_EQ(steps(), Steps{});
    }
  });
}

TEST_P(VsanRead, FailsWhenTheExchangeFails) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).returns(kTransportFailed).gives(session(kMany).response());
    EXPECT_EQ(read(3), kFailed);
    EXPECT_TRUE(all_zero(row_.entry));
    EXPECT_EQ(steps(), asks_for("3") + Steps{kQueryFailed});
  });
}

TEST_P(VsanRead, FailsOnAStandbyWithoutReadingTheRecord) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).gives(be32(kStandby));
    EXPECT_EQ(read(3), kFailed);
    EXPECT_TRUE(all_zero(row_.entry));
    EXPECT_EQ(steps(), asks_for("3") + says("get_curr: stateless standby\n"));
  });
}

TEST_P(VsanRead, IsNoSessionWhenNotConfigured) {
  in_each_trace_mode([&] {
    SessionRecord record = session(kMany);
    record.configured = 0;
    fake.expect_exchange(2001).gives(record.response());
    EXPECT_EQ(read(3), kNoSession);
    EXPECT_TRUE(all_zero(row_.entry));
    EXPECT_EQ(steps(), asks_for("3") + says("get_curr: invalid session\n"));
  });
}

TEST_P(VsanRead, FailsWithoutAQueue) {
  queue_ = 0;
  in_each_trace_mode([&] {
    EXPECT_EQ(read(3), kFailed);
    EXPECT_EQ(printed(), "Invalid param\n");
    EXPECT_TRUE(all_zero(row_.entry));
    EXPECT_EQ(steps(), (Steps{asks_for("3").front(), "err(1077149717)\n"}));
  });
}

// ---- Dispatcher ------------------------------------------------------------------------------------------------------

TEST_P(VsanRead, ByGetReadsTheRowNamed) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).gives(session(kMany).response());
    EXPECT_EQ(get(11, kGet), kOk);
    EXPECT_TRUE(same_bytes(row(), row_of(11, kMany)));
    EXPECT_EQ(steps(), says("get: requested session [b]") + asks_for("b") + says("get: return [0]"));
  });
}

TEST_P(VsanRead, ByGetLeavesTheRangeToTheRead) {
  in_each_trace_mode([&] {
    for (const uint32_t number : {0u, 17u}) {
      EXPECT_EQ(get(number, kGet), kWrongSession);
      EXPECT_TRUE(all_zero(row_.entry));
      EXPECT_EQ(steps(), says(number == 0 ? "get: requested session [0]" : "get: requested session [11]") +
                             says("get: return [40340044]"));
    }
  });
}

TEST_P(VsanRead, ByGetTracesTheFailureItReturns) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).gives(be32(kStandby));
    EXPECT_EQ(get(3, kGet), kFailed);
    EXPECT_EQ(steps(), says("get: requested session [3]") + asks_for("3") + says("get_curr: stateless standby\n") +
                           says("get: return [40340000]"));
  });
}

TEST_P(VsanRead, ByGetNextReadsTheRowBehind) {
  sessions[5] = session(kMany);
  in_each_trace_mode([&] {
    expect_reads(4, 5);
    EXPECT_EQ(get(3, kGetNext), kOk);
    EXPECT_TRUE(same_bytes(row(), row_of(5, kMany)));
    EXPECT_EQ(steps(), says("get: requested session [3]") + next_traces("3") + asks_for("4") +
                           says("get_curr: invalid session\n") + asks_for("5") + says("get: return [0]"));
  });
}

TEST_P(VsanRead, ByAnyOtherKindLeavesTheRow) {
  in_each_trace_mode([&] {
    for (const int32_t kind : {0, 3, -1, 0x101}) {
      EXPECT_EQ(get(3, kind), kInvalidParam);
      EXPECT_TRUE(untouched(row_));
      EXPECT_EQ(steps(), says("get: requested session [3]") + says("get: return [40340015]"));
    }
  });
}

// ---- Get-next --------------------------------------------------------------------------------------------------------

TEST_P(VsanRead, ByGetNextOutsideSendsNothingAndClearsTheRow) {
  const std::vector<std::pair<int32_t, std::string>> starts = {
      {-2, "fffffffe"}, {16, "10"}, {17, "11"}, {INT32_MIN, "80000000"}, {INT32_MAX, "7fffffff"}};
  in_each_trace_mode([&] {
    for (const auto& [previous, shown] : starts) {
      EXPECT_EQ(next(previous), kNoSession);
      EXPECT_TRUE(all_zero(row_.entry));
      EXPECT_EQ(steps(), next_traces(shown));
    }
  });
}

TEST_P(VsanRead, ByGetNextClearsTheRowBeforeItTraces) {
  size_t traces = 0;
  fake.at_trace = [&] {
    ++traces;
    EXPECT_TRUE(all_zero(row_.entry));
  };
  EXPECT_EQ(next(16), kNoSession);
  EXPECT_EQ(traces, table_.traces_next ? 1u : 0u);
}

TEST_P(VsanRead, KeepsAcceptingMinus1WhichNoSessionFollowsAt0) {
  sessions[1] = session(kMany);
  in_each_trace_mode([&] {
    expect_reads(1, 1);
    EXPECT_EQ(next(-1), kOk);
    EXPECT_TRUE(same_bytes(row(), row_of(1, kMany)));
    EXPECT_EQ(asked(), hex("00"));
    EXPECT_EQ(steps(), next_traces("ffffffff") + asks_for("1"));
  });
}

TEST_P(VsanRead, ByGetNextOnAStandbyIsTheEndOfTheTable) {
  fake.expect_exchange(2001).gives(be32(kStandby)).times(16);
  EXPECT_EQ(next(-1), kNoSession);
  EXPECT_TRUE(all_zero(row_.entry));
  EXPECT_EQ(asked(), indexes(1, 16));
}

TEST_P(VsanRead, ByGetNextWithoutAManagerIsTheEndOfTheTable) {
  fake.expect_exchange(2001).returns(5).gives({1}).times(16);
  EXPECT_EQ(next(0), kNoSession);
  EXPECT_TRUE(all_zero(row_.entry));
  EXPECT_EQ(heap::live(), 0u);
}

TEST_P(VsanRead, ByGetNextSkipsWhatFailsOnTheWay) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2001).returns(kTransportFailed);
    fake.expect_exchange(2001).gives(be32(kStandby));
    fake.expect_exchange(2001).gives(response_of(3));
    fake.expect_exchange(2001).gives(session(kMany).response());
    EXPECT_EQ(next(8), kOk);
    EXPECT_TRUE(same_bytes(row(), row_of(12, kMany)));
    EXPECT_EQ(steps(), next_traces("8") + asks_for("9") + Steps{kQueryFailed} + asks_for("a") +
                           says("get_curr: stateless standby\n") + asks_for("b") + says("get_curr: invalid session\n") +
                           asks_for("c"));
  });
}

// ---- The whole table -------------------------------------------------------------------------------------------------

class VsanTable : public VsanRead {
 protected:
  void SetUp() override {
    VsanRead::SetUp();
    for (const auto& [number, vsans] : rows_) sessions[number] = session(vsans);
  }

  // Every row there is.
  const std::map<uint32_t, Vsans> rows_ = {
      {1, {{1, 10}}}, {2, {}}, {9, kMany}, {15, {{0, 4095}}}, {16, {{4095, 4095}}}};
};

INSTANTIATE_TEST_SUITE_P(SourceVsans, VsanTable, testing::Values(&kSource));
INSTANTIATE_TEST_SUITE_P(VsanFilters, VsanTable, testing::Values(&kFilter));

TEST_P(VsanTable, GivesEachRowByGet) {
  for (uint32_t number = 1; number <= 16; ++number) {
    expect_reads(number, number);
    const bool present = rows_.count(number) != 0;
    EXPECT_EQ(get(number, kGet), present ? kOk : kNoSession);
    EXPECT_TRUE(same_bytes(row(), present ? row_of(number, rows_.at(number)) : Bytes(516)));
  }
}

TEST_P(VsanTable, GivesTheNextRowFromAnyStart) {
  for (int32_t start = -3; start <= 18; ++start) {
    SCOPED_TRACE(start);
    const auto found = start < -1 ? rows_.end() : rows_.upper_bound(static_cast<uint32_t>(std::max(start, 0)));
    const bool sends = start >= -1 && start <= 15;
    const auto first = static_cast<uint32_t>(std::max(start, 0) + 1);
    const uint32_t last = found == rows_.end() ? 16 : found->first;
    if (sends) expect_reads(first, last);
    EXPECT_EQ(get(static_cast<uint32_t>(start), kGetNext), found == rows_.end() ? kNoSession : kOk);
    EXPECT_TRUE(same_bytes(row(), found == rows_.end() ? Bytes(516) : row_of(found->first, found->second)));
    EXPECT_EQ(asked(), sends ? indexes(first, last) : Bytes{});
  }
}

TEST_P(VsanTable, IsWalkedFromEndToEnd) {
  uint32_t at = 0;
  for (const auto& [number, vsans] : rows_) {
    expect_reads(at + 1, number);
    EXPECT_EQ(get(at, kGetNext), kOk);
    EXPECT_TRUE(same_bytes(row(), row_of(number, vsans)));
    at = row_.entry.session;
  }
  EXPECT_EQ(get(at, kGetNext), kNoSession);
  EXPECT_EQ(asked(), indexes(1, 16));
}

TEST_P(VsanTable, EndsBehindItsLastRow) {
  sessions.clear();
  sessions[2] = session({{2, 2}});
  sessions[9] = session({{9, 9}});
  expect_reads(1, 2);
  EXPECT_EQ(next(0), kOk);
  EXPECT_TRUE(same_bytes(row(), row_of(2, {{2, 2}})));
  expect_reads(3, 9);
  EXPECT_EQ(next(2), kOk);
  EXPECT_TRUE(same_bytes(row(), row_of(9, {{9, 9}})));
  expect_reads(10, 16);
  EXPECT_EQ(next(9), kNoSession);
  EXPECT_TRUE(all_zero(row_.entry));
}

}  // namespace
}  // namespace testkit
