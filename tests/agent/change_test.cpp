// SetRequests on a switch in this process: made as a whole, or taken back as a whole.
#include "host/agent/change.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <tuple>

#include "tests/agent/smon_support.h"

namespace {

using agent::Assignment;
using agent::Change;
using agent::integer;
using agent::octets;
using agent::Oid;
using agent::unsigned32;
using agent_test::fc;
using agent_test::tunnel;

Assignment row_status(uint32_t session, uint32_t value) {
  return {agent::kSessionTable, agent::kSessionRowStatus, {session}, integer(value)};
}

Assignment destination(uint32_t session, uint32_t if_index) {
  return {agent::kSessionTable, agent::kSessionDestination, {session}, unsigned32(if_index)};
}

Assignment admin_status(uint32_t session, uint32_t value) {
  return {agent::kSessionTable, agent::kSessionAdminStatus, {session}, integer(value)};
}

Assignment source(uint32_t session, uint32_t if_index, uint32_t direction, uint32_t value) {
  return {agent::kSourceIfTable, agent::kSourceIfRowStatus, {session, if_index, direction}, integer(value)};
}

// Quarter 1 to 4.
Assignment vsans(oid table, uint32_t session, oid quarter, const std::string& bits) {
  return {table, quarter, {session}, octets(bits)};
}

Assignment threshold(uint32_t packets) { return {agent::kDropsGroup, agent::kDropThreshold, {0}, unsigned32(packets)}; }

constexpr uint32_t kActive = agent::kActiveRow;
constexpr uint32_t kCreate = agent::kCreateAndGo;
constexpr uint32_t kDestroy = agent::kDestroy;

class SetRequest : public agent_test::SwitchTest {
 protected:
  // As Net-SNMP goes through the phases. 0 = done, otherwise the error; failed_ is the variable's place then.
  int set(std::vector<Assignment> assignments) {
    Change change(std::move(assignments));
    Change::Outcome outcome = change.plan();
    if (!outcome) {
      outcome = change.apply();
      if (outcome && !change.undo()) return SNMP_ERR_UNDOFAILED;
    }
    failed_ = outcome ? outcome->variable : 0;
    return outcome ? outcome->error : SNMP_ERR_NOERROR;
  }

  // Fails, and leaves everything as it was.
  void refuses(int error, size_t variable, std::vector<Assignment> assignments) {
    const manager::Config before = host::configuration();
    EXPECT_EQ(set(std::move(assignments)), error);
    EXPECT_EQ(failed_, variable);
    EXPECT_EQ(host::configuration(), before);
  }

  // VSANs that frames of the ingress source have to be of.
  void add_source_filter(uint32_t number, uint32_t if_index, uint32_t vsan) {
    const span_if_range_list_t ranges = {0, 1, 0, 0, {{if_index, if_index}}};
    const uint32_t range[] = {vsan, vsan};
    void* response = nullptr;
    const uint32_t status =
        span_set_src_config(host::switch_queue(), nullptr, nullptr, static_cast<uint8_t>(number - 1), SPAN_RX, 1, 1,
                            range, nullptr, &ranges, 0, &response);
    std::free(response);
    ASSERT_EQ(status, SPAN_OK);
  }

  static const manager::Session& session(uint32_t number) { return host::configuration().sessions[number - 1]; }

  size_t failed_ = 0;
};

// ---- Rows -----------------------------------------------------------------------------------------------------------

TEST_F(SetRequest, CreatesAndDestroysASession) {
  EXPECT_EQ(set({row_status(3, kCreate)}), SNMP_ERR_NOERROR);
  EXPECT_TRUE(session(3).configured);
  EXPECT_EQ(set({row_status(3, kActive)}), SNMP_ERR_NOERROR);
  EXPECT_TRUE(session(3).configured);
  EXPECT_EQ(set({row_status(3, kDestroy)}), SNMP_ERR_NOERROR);
  EXPECT_FALSE(session(3).configured);
  EXPECT_EQ(set({row_status(3, kDestroy)}), SNMP_ERR_NOERROR) << "it is gone, as it is to be";
}

TEST_F(SetRequest, CreatesASessionOnceOnly) {
  make_session(3, 0, {}, {});
  refuses(SNMP_ERR_INCONSISTENTVALUE, 0, {row_status(3, kCreate)});
  refuses(SNMP_ERR_INCONSISTENTVALUE, 0, {row_status(4, kActive)});
}

TEST_F(SetRequest, CreatesAndDestroysASource) {
  make_session(3, 0, {}, {});
  EXPECT_EQ(set({source(3, fc(1, 3), 2, kCreate)}), SNMP_ERR_NOERROR);
  EXPECT_TRUE(session(3).sources[1].contains(fc(1, 3)));
  EXPECT_EQ(set({source(3, fc(1, 3), 2, kActive)}), SNMP_ERR_NOERROR);
  refuses(SNMP_ERR_INCONSISTENTVALUE, 0, {source(3, fc(1, 3), 2, kCreate)});
  refuses(SNMP_ERR_INCONSISTENTVALUE, 0, {source(3, fc(1, 3), 1, kActive)});
  EXPECT_EQ(set({source(3, fc(1, 3), 2, kDestroy)}), SNMP_ERR_NOERROR);
  EXPECT_TRUE(session(3).sources[1].empty());
  EXPECT_EQ(set({source(3, fc(1, 3), 2, kDestroy)}), SNMP_ERR_NOERROR);
}

TEST_F(SetRequest, NeedsTheSession) {
  refuses(SNMP_ERR_INCONSISTENTNAME, 0, {destination(3, fc(1, 1))});
  refuses(SNMP_ERR_INCONSISTENTNAME, 0, {admin_status(3, 2)});
  refuses(SNMP_ERR_INCONSISTENTNAME, 0, {source(3, fc(1, 3), 1, kCreate)});
  refuses(SNMP_ERR_INCONSISTENTNAME, 0, {vsans(agent::kSourceVsanTable, 3, 1, "\x40")});
  refuses(SNMP_ERR_INCONSISTENTNAME, 1, {threshold(5), vsans(agent::kVsanFilterTable, 3, 1, "\x40")});
}

// ---- Values ---------------------------------------------------------------------------------------------------------

TEST_F(SetRequest, SetsAndRemovesADestination) {
  make_session(3, 0, {}, {});
  EXPECT_EQ(set({destination(3, fc(1, 1))}), SNMP_ERR_NOERROR);
  EXPECT_EQ(session(3).destination, fc(1, 1));
  EXPECT_EQ(set({destination(3, tunnel(1))}), SNMP_ERR_NOERROR);
  EXPECT_EQ(session(3).destination, tunnel(1));
  EXPECT_EQ(set({destination(3, 0)}), SNMP_ERR_NOERROR);
  EXPECT_EQ(session(3).destination, 0u);
}

TEST_F(SetRequest, SuspendsAndResumes) {
  make_session(3, 0, {}, {});
  EXPECT_EQ(set({admin_status(3, 2)}), SNMP_ERR_NOERROR);
  EXPECT_TRUE(session(3).suspended);
  EXPECT_EQ(set({admin_status(3, 1)}), SNMP_ERR_NOERROR);
  EXPECT_FALSE(session(3).suspended);
}

TEST_F(SetRequest, PutsVsansInThePlaceOfThoseBefore) {
  make_session(3, 0, {}, {});
  const auto numbers = [](const manager::Vsans& set) {
    std::string text;
    for (size_t vsan = 0; vsan < set.size(); ++vsan) text += set.test(vsan) ? std::to_string(vsan) + " " : "";
    return text;
  };
  for (const oid table : {agent::kSourceVsanTable, agent::kVsanFilterTable}) {
    const manager::Vsans& now = table == agent::kSourceVsanTable ? session(3).source_vsans : session(3).filter;
    EXPECT_EQ(set({vsans(table, 3, 1, {"\x40\0\0\x01", 4})}), SNMP_ERR_NOERROR);
    EXPECT_EQ(numbers(now), "1 31 ");
    EXPECT_EQ(set({vsans(table, 3, 1, "\x60")}), SNMP_ERR_NOERROR);
    EXPECT_EQ(numbers(now), "1 2 ");
    EXPECT_EQ(set({vsans(table, 3, 2, "")}), SNMP_ERR_NOERROR) << "another quarter";
    EXPECT_EQ(numbers(now), "1 2 ");
    EXPECT_EQ(set({vsans(table, 3, 1, "")}), SNMP_ERR_NOERROR);
    EXPECT_EQ(numbers(now), "");
  }
}

TEST_F(SetRequest, NeverLiftsAFilterToChangeIt) {
  const manager::Vsans& filter = session(3).filter;
  ASSERT_EQ(set({row_status(3, kCreate), vsans(agent::kVsanFilterTable, 3, 1, "\x40")}), SNMP_ERR_NOERROR);
  bool lifted = false;
  agent_test::watch_link().before_exchange = [&] { lifted = lifted || filter.none(); };
  EXPECT_EQ(set({vsans(agent::kVsanFilterTable, 3, 1, "\x20")}), SNMP_ERR_NOERROR);
  EXPECT_TRUE(filter.test(2));
  EXPECT_FALSE(lifted);
}

TEST_F(SetRequest, SetsTheThreshold) {
  EXPECT_EQ(set({threshold(77)}), SNMP_ERR_NOERROR);
  EXPECT_EQ(host::configuration().threshold, 77u);
  EXPECT_EQ(set({threshold(0xFFFFFFFF)}), SNMP_ERR_NOERROR);
  EXPECT_EQ(host::configuration().threshold, manager::kDefaultThreshold);
}

TEST_F(SetRequest, GetsTheErrorOfWhatTheManagerSays) {
  make_session(3, fc(1, 1), {fc(1, 3)}, {});
  make_session(4, 0, {}, {});
  refuses(SNMP_ERR_WRONGVALUE, 0, {destination(4, 99)});
  refuses(SNMP_ERR_WRONGVALUE, 0, {destination(4, agent_test::fcip(1))});
  refuses(SNMP_ERR_INCONSISTENTVALUE, 0, {destination(4, fc(1, 1))});
  refuses(SNMP_ERR_INCONSISTENTVALUE, 0, {destination(4, fc(1, 3))});
  refuses(SNMP_ERR_NOCREATION, 0, {source(4, 99, 1, kCreate)});
  refuses(SNMP_ERR_NOCREATION, 0, {source(4, tunnel(1), 1, kCreate)});
  refuses(SNMP_ERR_INCONSISTENTNAME, 0, {source(4, fc(1, 1), 1, kCreate)});
  refuses(SNMP_ERR_WRONGVALUE, 0, {vsans(agent::kSourceVsanTable, 4, 1, "\x80")});
  refuses(SNMP_ERR_WRONGVALUE, 0, {threshold(0)});
  refuses(SNMP_ERR_WRONGVALUE, 0, {threshold(65536)});
}

// ---- Several variables ------------------------------------------------------------------------------------------------

TEST_F(SetRequest, TakesVariablesInAnyOrder) {
  std::vector<Assignment> assignments = {admin_status(3, 2), destination(3, fc(1, 1)), row_status(3, kCreate),
                                         source(3, fc(1, 3), 1, kCreate), vsans(agent::kVsanFilterTable, 3, 1, "\x40")};
  const auto by_place = [](const Assignment& a, const Assignment& b) {
    return std::tie(a.table, a.column) < std::tie(b.table, b.column);
  };
  std::ranges::sort(assignments, by_place);
  do {
    ASSERT_EQ(set(assignments), SNMP_ERR_NOERROR);
    ASSERT_TRUE(session(3).suspended && session(3).destination == fc(1, 1) && session(3).filter.test(1) &&
                session(3).sources[0].contains(fc(1, 3)));
    ASSERT_EQ(set({row_status(3, kDestroy)}), SNMP_ERR_NOERROR);
  } while (std::ranges::next_permutation(assignments, by_place).found);
}

TEST_F(SetRequest, FreesADestinationBeforeItIsTaken) {
  make_session(3, fc(1, 1), {}, {});
  make_session(4, 0, {}, {});
  EXPECT_EQ(set({destination(4, fc(1, 1)), destination(3, 0)}), SNMP_ERR_NOERROR);
  EXPECT_EQ(session(4).destination, fc(1, 1));
}

TEST_F(SetRequest, PutsAllQuartersTogether) {
  make_session(3, 0, {}, {});
  EXPECT_EQ(set({vsans(agent::kSourceVsanTable, 3, 1, "\x40"), vsans(agent::kSourceVsanTable, 3, 2, ""),
                 vsans(agent::kSourceVsanTable, 3, 4, "")}),
            SNMP_ERR_NOERROR);
  EXPECT_EQ(session(3).source_vsans.count(), 1u);
}

TEST_F(SetRequest, DoesNotContradictItself) {
  make_session(3, 0, {}, {});
  refuses(SNMP_ERR_INCONSISTENTVALUE, 0, {threshold(5), threshold(6)});
  refuses(SNMP_ERR_INCONSISTENTVALUE, 1, {row_status(3, kDestroy), destination(3, fc(1, 1))});
  refuses(SNMP_ERR_INCONSISTENTVALUE, 0, {source(3, fc(1, 3), 1, kCreate), row_status(3, kDestroy)});
}

// ---- Taking back ----------------------------------------------------------------------------------------------------

TEST_F(SetRequest, ThatIsRefusedLeavesNothingBehind) {
  make_session(3, fc(1, 1), {fc(1, 3)}, {fc(1, 3)});
  refuses(SNMP_ERR_INCONSISTENTVALUE, 0, {destination(4, fc(1, 1)), row_status(4, kCreate)});
  refuses(SNMP_ERR_INCONSISTENTNAME, 5,
          {row_status(4, kCreate), admin_status(3, 2), destination(3, 0), threshold(9), source(3, fc(1, 5), 1, kCreate),
           source(4, fc(1, 3) - 2, 1, kCreate), source(3, fc(1, 3), 2, kDestroy)});
}

TEST_F(SetRequest, TakesBackTheVsansThatWereNotRefused) {
  make_session(3, 0, {}, {});
  ASSERT_EQ(set({vsans(agent::kSourceVsanTable, 3, 1, "\x20")}), SNMP_ERR_NOERROR);
  // VSAN 1 is there, VSAN 1001 is not.
  refuses(SNMP_ERR_WRONGVALUE, 0, {vsans(agent::kSourceVsanTable, 3, 1, "\x40" + std::string(124, '\0') + "\x40")});
  refuses(SNMP_ERR_WRONGVALUE, 0, {vsans(agent::kVsanFilterTable, 3, 1, "\x40" + std::string(124, '\0') + "\x40")});
}

// The last step of a plan fails, after the session is gone.
TEST_F(SetRequest, BringsASessionBack) {
  make_session(3, fc(1, 1), {fc(1, 3), fc(1, 5)}, {fc(1, 3)});
  suspend(3);
  ASSERT_EQ(set({vsans(agent::kSourceVsanTable, 3, 1, "\x40"), vsans(agent::kVsanFilterTable, 3, 1, "\x60")}), 0);
  const manager::Config before = host::configuration();
  Change change({row_status(3, kDestroy)});
  ASSERT_EQ(change.plan(), std::nullopt);
  ASSERT_EQ(change.apply(), std::nullopt);
  EXPECT_FALSE(session(3).configured);
  EXPECT_TRUE(change.undo());
  EXPECT_EQ(host::configuration(), before);
}

TEST_F(SetRequest, BringsASourceBack) {
  make_session(3, 0, {fc(1, 3)}, {});
  const manager::Config before = host::configuration();
  Change change({source(3, fc(1, 3), 1, kDestroy)});
  ASSERT_EQ(change.plan(), std::nullopt);
  ASSERT_EQ(change.apply(), std::nullopt);
  EXPECT_TRUE(session(3).sources[0].empty());
  EXPECT_TRUE(change.undo());
  EXPECT_EQ(host::configuration(), before);
}

// The filter of a source is in none of the tables.
TEST_F(SetRequest, TellsThatASourceComesBackWithoutItsFilter) {
  make_session(3, 0, {fc(1, 3)}, {});
  add_source_filter(3, fc(1, 3), 7);
  ASSERT_TRUE(session(3).sources[0].at(fc(1, 3)).test(7));
  for (const Assignment& each : {source(3, fc(1, 3), 1, kDestroy), row_status(3, kDestroy)}) {
    Change change({each});
    ASSERT_EQ(change.plan(), std::nullopt);
    ASSERT_EQ(change.apply(), std::nullopt);
    EXPECT_FALSE(change.undo());
    EXPECT_TRUE(session(3).sources[0].contains(fc(1, 3)));
    add_source_filter(3, fc(1, 3), 7);
  }
}

TEST_F(SetRequest, ThatWasNotMadeIsTakenBack) {
  make_session(3, fc(1, 1), {fc(1, 3)}, {});
  add_source_filter(3, fc(1, 3), 7);
  const manager::Config before = host::configuration();
  for (const Assignment& each : {row_status(4, kCreate), row_status(3, kDestroy), destination(3, 0), admin_status(3, 2),
                                 source(3, fc(1, 5), 1, kCreate), source(3, fc(1, 3), 1, kDestroy), threshold(5),
                                 vsans(agent::kSourceVsanTable, 3, 1, "\x40")}) {
    Change change({each});
    ASSERT_EQ(change.plan(), std::nullopt);
    host::set_manager_reachable(false);
    EXPECT_EQ(change.apply(), (Change::Failure{0, SNMP_ERR_RESOURCEUNAVAILABLE}));
    host::set_manager_reachable(true);
    EXPECT_TRUE(change.undo());
    EXPECT_EQ(host::configuration(), before);
  }
}

TEST_F(SetRequest, CannotBeTakenBackWithoutTheManager) {
  make_session(3, fc(1, 1), {fc(1, 3)}, {});
  for (const Assignment& each : {row_status(4, kCreate), row_status(3, kDestroy), destination(3, 0), admin_status(3, 2),
                                 source(3, fc(1, 5), 1, kCreate), source(3, fc(1, 3), 1, kDestroy), threshold(5),
                                 vsans(agent::kSourceVsanTable, 3, 1, "\x40")}) {
    Change change({each});
    ASSERT_EQ(change.plan(), std::nullopt);
    ASSERT_EQ(change.apply(), std::nullopt);
    host::set_manager_reachable(false);
    EXPECT_FALSE(change.undo());
    host::set_manager_reachable(true);
    ASSERT_EQ(set({row_status(3, kDestroy), row_status(4, kDestroy)}), SNMP_ERR_NOERROR);
    make_session(3, fc(1, 1), {fc(1, 3)}, {});
  }
}

TEST_F(SetRequest, NeedsTheManager) {
  make_session(3, fc(1, 1), {fc(1, 3)}, {});
  host::set_manager_reachable(false);
  for (const Assignment& each :
       {row_status(3, kActive), row_status(4, kCreate), row_status(3, kDestroy), destination(3, 0), admin_status(3, 2),
        source(3, fc(1, 5), 1, kCreate), source(3, fc(1, 3), 1, kDestroy), threshold(5),
        vsans(agent::kSourceVsanTable, 3, 1, "\x40"), vsans(agent::kVsanFilterTable, 3, 1, "\x40")}) {
    EXPECT_EQ(set({each}), SNMP_ERR_RESOURCEUNAVAILABLE) << each.table << "." << each.column;
  }
}

}  // namespace
