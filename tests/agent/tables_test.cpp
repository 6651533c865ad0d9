// The tables of port mirroring, read from a switch in this process.
#include "host/agent/tables.h"

#include <gtest/gtest.h>

#include "tests/agent/smon_support.h"

namespace {

using agent::Found;
using agent::Oid;
using agent_test::fc;
using agent_test::port_channel;

class MirrorTables : public agent_test::SwitchTest {
 protected:
  std::string walk() const { return agent_test::walk(subtree_); }

  // The name behind a name, without what all begin with.
  std::string next(const Oid& from) const {
    Oid name = agent::joined(subtree_.root(), from);
    agent::Value value;
    const Found found = subtree_.next(name, value);
    if (found != Found::kYes) return found == Found::kNo ? "-" : "failed";
    return agent::text_of(agent::arcs_below(subtree_.root(), name));
  }

  std::string get(const Oid& from) const {
    agent::Value value;
    bool object_exists = false;
    const Found found = subtree_.get(agent::joined(subtree_.root(), from), value, object_exists);
    if (found == Found::kYes) return agent_test::text_of(value);
    return found == Found::kFailed ? "failed" : object_exists ? "no instance" : "no object";
  }

  void add_vsans(uint32_t session, uint32_t operation, std::initializer_list<uint32_t> vsans) {
    span_snmp_vsan_modify_req_t request = {0, session, operation, {}};
    for (const uint32_t vsan : vsans) request.vsans[vsan / 8] |= static_cast<uint8_t>(0x80 >> vsan % 8);
    const uint32_t status =
        operation == 4 ? span_snmp_source_vsan_modify(&request, nullptr) : span_snmp_vsan_filter_modify(&request);
    ASSERT_EQ(status, SPAN_OK);
  }

  const agent::Subtree subtree_{agent::below_mib({agent::kObjectsArc}), agent::mirror_tables()};
};

TEST_F(MirrorTables, OfASwitchThatNobodyConfiguredShowTheThreshold) { EXPECT_EQ(walk(), "5.1.0 = 1024\n"); }

TEST_F(MirrorTables, ShowSessionsWithAllThatTheyHave) {
  make_session(3, fc(1, 1), {fc(1, 3), port_channel(1)}, {fc(1, 3)});
  make_session(16, 0, {}, {});
  suspend(16);
  add_vsans(3, 4, {1, 9, 1000});
  add_vsans(16, 16, {7});
  EXPECT_EQ(walk(), R"(1.1.2.3 = 16842753
1.1.2.16 = 0
1.1.3.3 = 1
1.1.3.16 = 2
1.1.4.3 = 1
1.1.4.16 = 2
1.1.5.3 = 53657373696f6e20697320616374697665
1.1.5.16 = 53657373696f6e2069732061646d696e2073757370656e646564
1.1.6.3 = 1
1.1.6.16 = 1
2.1.3.3.16842755.1 = 1
2.1.3.3.16842755.2 = 1
2.1.3.3.67108865.1 = 1
3.1.1.3 = 4040)" + std::string(2 * 123, '0') +
                        R"(80
3.1.1.16 = 
3.1.2.3 = 
3.1.2.16 = 
3.1.3.3 = 
3.1.3.16 = 
3.1.4.3 = 
3.1.4.16 = 
4.1.1.3 = 
4.1.1.16 = 01
4.1.2.3 = 
4.1.2.16 = 
4.1.3.3 = 
4.1.3.16 = 
4.1.4.3 = 
4.1.4.16 = 
5.1.0 = 1024
)");
}

TEST_F(MirrorTables, AnswerForASession) {
  make_session(3, fc(1, 1), {}, {});
  EXPECT_EQ(get({1, 1, 2, 3}), "16842753");
  EXPECT_EQ(get({3, 1, 4, 3}), "");
  for (const Oid& index : std::initializer_list<Oid>{{}, {0}, {4}, {17}, {259}, {4294967295}, {3, 0}, {3, 3}}) {
    EXPECT_EQ(get(agent::joined({1, 1, 2}, index)), "no instance") << agent::text_of(index);
    EXPECT_EQ(get(agent::joined({3, 1, 1}, index)), "no instance") << agent::text_of(index);
    EXPECT_EQ(get(agent::joined({4, 1, 1}, index)), "no instance") << agent::text_of(index);
  }
  EXPECT_EQ(get({1, 1, 1, 3}), "no object");
}

TEST_F(MirrorTables, AnswerForASource) {
  make_session(3, 0, {fc(1, 3)}, {});
  EXPECT_EQ(get({2, 1, 3, 3, fc(1, 3), 1}), "1");
  for (const Oid& index : std::initializer_list<Oid>{{},
                                                     {3},
                                                     {3, fc(1, 3)},
                                                     {3, fc(1, 3), 0},
                                                     {3, fc(1, 3), 2},
                                                     {3, fc(1, 3), 3},
                                                     {3, fc(1, 3), 257},
                                                     {3, fc(1, 3), 1, 1},
                                                     {3, 0, 1},
                                                     {3, 99, 1},
                                                     {0, fc(1, 3), 1},
                                                     {17, fc(1, 3), 1},
                                                     {259, fc(1, 3), 1}}) {
    EXPECT_EQ(get(agent::joined({2, 1, 3}, index)), "no instance") << agent::text_of(index);
  }
}

TEST_F(MirrorTables, GoOnBehindAnySession) {
  make_session(3, 0, {}, {});
  make_session(5, 0, {}, {});
  EXPECT_EQ(next({1, 1, 2}), "1.1.2.3");
  EXPECT_EQ(next({1, 1, 2, 0}), "1.1.2.3");
  EXPECT_EQ(next({1, 1, 2, 2, 9}), "1.1.2.3");
  EXPECT_EQ(next({1, 1, 2, 3}), "1.1.2.5");
  EXPECT_EQ(next({1, 1, 2, 3, 0}), "1.1.2.5");
  for (const oid session : {5ul, 15ul, 16ul, 17ul, 2147483647ul, 4294967295ul}) {
    EXPECT_EQ(next({1, 1, 2, session}), "1.1.3.3") << session;
  }
}

TEST_F(MirrorTables, GoOnBehindAnySource) {
  const oid a = fc(1, 3);
  const oid b = fc(2, 7);
  make_session(3, 0, {fc(1, 3)}, {fc(1, 3), fc(2, 7)});
  make_session(5, 0, {fc(1, 3)}, {});
  const auto row = [](oid session, oid if_index, oid direction) {
    return agent::text_of({2, 1, 3, session, if_index, direction});
  };
  EXPECT_EQ(next({2, 1, 3}), row(3, a, 1));
  EXPECT_EQ(next({2, 1, 3, 0, 4294967295, 9}), row(3, a, 1));
  EXPECT_EQ(next({2, 1, 3, 3}), row(3, a, 1));
  EXPECT_EQ(next({2, 1, 3, 3, 0, 9}), row(3, a, 1));
  EXPECT_EQ(next({2, 1, 3, 3, a - 1, 7}), row(3, a, 1));
  EXPECT_EQ(next({2, 1, 3, 3, a}), row(3, a, 1));
  EXPECT_EQ(next({2, 1, 3, 3, a, 0}), row(3, a, 1));
  EXPECT_EQ(next({2, 1, 3, 3, a, 0, 5}), row(3, a, 1));
  EXPECT_EQ(next({2, 1, 3, 3, a, 1}), row(3, a, 2));
  EXPECT_EQ(next({2, 1, 3, 3, a, 1, 5}), row(3, a, 2));
  EXPECT_EQ(next({2, 1, 3, 3, a, 2}), row(3, b, 2));
  EXPECT_EQ(next({2, 1, 3, 3, a, 4294967295}), row(3, b, 2));
  EXPECT_EQ(next({2, 1, 3, 3, b}), row(3, b, 2));
  EXPECT_EQ(next({2, 1, 3, 3, b, 1}), row(3, b, 2));
  EXPECT_EQ(next({2, 1, 3, 3, b, 2}), row(5, a, 1));
  EXPECT_EQ(next({2, 1, 3, 3, 4294967295, 2}), row(5, a, 1));
  for (const oid session : {16ul, 17ul, 257ul, 4294967295ul}) EXPECT_EQ(next({2, 1, 3, session}), "3.1.1.3");
}

TEST_F(MirrorTables, FailWhenTheManagerIsAway) {
  make_session(3, 0, {fc(1, 3)}, {});
  host::set_manager_reachable(false);
  EXPECT_EQ(walk(), "failed\n");
  for (const Oid& name :
       std::initializer_list<Oid>{{1, 1, 2, 3}, {2, 1, 3, 3, fc(1, 3), 1}, {3, 1, 1, 3}, {4, 1, 1, 3}, {5, 1, 0}}) {
    EXPECT_EQ(get(name), "failed") << agent::text_of(name);
  }
  for (const oid table : {1, 2, 3, 4, 5}) EXPECT_EQ(next({table}), "failed") << table;
  EXPECT_EQ(get({1, 1, 2, 17}), "no instance") << "nobody has to be asked for it";
  EXPECT_EQ(get({2, 1, 3, 3, 99, 1}), "no instance") << "nobody has to be asked for it";
}

}  // namespace
