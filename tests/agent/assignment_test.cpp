// Variables of SetRequests: what can never be set is told before anything is asked.
#include "host/agent/assignment.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "host/agent/tables.h"

namespace {

using agent::integer;
using agent::octets;
using agent::Oid;
using agent::unsigned32;

int parse(const Oid& name, const agent::Value& value) {
  agent::Assignment assignment{};
  return agent::parse(name, value, assignment);
}

TEST(Assignment, IsTakenApart) {
  agent::Assignment assignment{};
  EXPECT_EQ(agent::parse({2, 1, 3, 4, 77, 2}, integer(6), assignment), SNMP_ERR_NOERROR);
  EXPECT_EQ(assignment, (agent::Assignment{agent::kSourceIfTable, agent::kSourceIfRowStatus, {4, 77, 2}, integer(6)}));
  EXPECT_EQ(agent::parse({5, 1, 0}, unsigned32(7), assignment), SNMP_ERR_NOERROR);
  EXPECT_EQ(assignment, (agent::Assignment{agent::kDropsGroup, agent::kDropThreshold, {0}, unsigned32(7)}));
}

TEST(Assignment, OfWhatIsOnlyReadOrIsNotThereIsNotWritable) {
  for (const Oid& name : std::initializer_list<Oid>{{},
                                                    {1},
                                                    {1, 1},
                                                    {1, 1, 1, 3},
                                                    {1, 1, 4, 3},
                                                    {1, 1, 5, 3},
                                                    {1, 1, 7, 3},
                                                    {1, 2, 2, 3},
                                                    {2, 1, 1, 3, 77, 1},
                                                    {3, 1, 0, 3},
                                                    {3, 1, 5, 3},
                                                    {5},
                                                    {5, 2, 0},
                                                    {5, 3, 0},
                                                    {6, 1, 0}}) {
    EXPECT_EQ(parse(name, integer(1)), SNMP_ERR_NOTWRITABLE) << agent::text_of(name);
  }
}

TEST(Assignment, HasTheTypeOfItsObject) {
  EXPECT_EQ(parse({1, 1, 2, 3}, unsigned32(5)), SNMP_ERR_NOERROR);
  EXPECT_EQ(parse({1, 1, 2, 3}, integer(5)), SNMP_ERR_WRONGTYPE);
  EXPECT_EQ(parse({1, 1, 3, 3}, integer(1)), SNMP_ERR_NOERROR);
  EXPECT_EQ(parse({1, 1, 3, 3}, unsigned32(1)), SNMP_ERR_WRONGTYPE);
  EXPECT_EQ(parse({1, 1, 6, 3}, octets("\4")), SNMP_ERR_WRONGTYPE);
  EXPECT_EQ(parse({2, 1, 3, 3, 77, 1}, unsigned32(4)), SNMP_ERR_WRONGTYPE);
  EXPECT_EQ(parse({3, 1, 1, 3}, integer(0)), SNMP_ERR_WRONGTYPE);
  EXPECT_EQ(parse({4, 1, 4, 3}, agent::Value{ASN_IPADDRESS}), SNMP_ERR_WRONGTYPE);
  EXPECT_EQ(parse({5, 1, 0}, integer(5)), SNMP_ERR_WRONGTYPE);
}

TEST(Assignment, OfVsansHasAQuarterOfThem) {
  for (const oid table : {agent::kSourceVsanTable, agent::kVsanFilterTable}) {
    EXPECT_EQ(parse({table, 1, 1, 3}, octets("")), SNMP_ERR_NOERROR);
    EXPECT_EQ(parse({table, 1, 4, 3}, octets(std::string(128, '\1'))), SNMP_ERR_NOERROR);
    EXPECT_EQ(parse({table, 1, 1, 3}, octets(std::string(129, '\0'))), SNMP_ERR_WRONGLENGTH);
  }
}

TEST(Assignment, OfARowStatusCreatesDestroysOrLeavesActive) {
  for (const uint32_t good : {1u, 4u, 6u}) {
    EXPECT_EQ(parse({1, 1, 6, 3}, integer(good)), SNMP_ERR_NOERROR);
    EXPECT_EQ(parse({2, 1, 3, 3, 77, 1}, integer(good)), SNMP_ERR_NOERROR);
  }
  for (const uint32_t bad : {0u, 2u, 3u, 5u, 7u, 0xFFFFFFFFu}) {
    EXPECT_EQ(parse({1, 1, 6, 3}, integer(bad)), SNMP_ERR_WRONGVALUE);
    EXPECT_EQ(parse({2, 1, 3, 3, 77, 1}, integer(bad)), SNMP_ERR_WRONGVALUE);
  }
}

TEST(Assignment, OfAnAdministrativeStatusIsOneOfTwo) {
  EXPECT_EQ(parse({1, 1, 3, 3}, integer(2)), SNMP_ERR_NOERROR);
  for (const uint32_t bad : {0u, 3u, 257u}) EXPECT_EQ(parse({1, 1, 3, 3}, integer(bad)), SNMP_ERR_WRONGVALUE);
}

TEST(Assignment, IsOfARowThatCouldBe) {
  for (const Oid& index : std::initializer_list<Oid>{{}, {0}, {17}, {257}, {3, 1}}) {
    EXPECT_EQ(parse(agent::joined({1, 1, 6}, index), integer(4)), SNMP_ERR_NOCREATION) << agent::text_of(index);
    EXPECT_EQ(parse(agent::joined({3, 1, 1}, index), octets("")), SNMP_ERR_NOCREATION) << agent::text_of(index);
  }
  for (const Oid& index : std::initializer_list<Oid>{{3}, {3, 77}, {3, 0, 1}, {3, 77, 3}, {17, 77, 1}, {3, 77, 1, 0}}) {
    EXPECT_EQ(parse(agent::joined({2, 1, 3}, index), integer(4)), SNMP_ERR_NOCREATION) << agent::text_of(index);
  }
  EXPECT_EQ(parse({5, 1}, unsigned32(5)), SNMP_ERR_NOCREATION);
  EXPECT_EQ(parse({5, 1, 1}, unsigned32(5)), SNMP_ERR_NOCREATION);
  EXPECT_EQ(parse({5, 1, 0, 0}, unsigned32(5)), SNMP_ERR_NOCREATION);
}

}  // namespace
