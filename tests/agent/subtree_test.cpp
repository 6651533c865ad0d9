// Get and get-next over tables of a test's own.
#include "host/agent/subtree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using agent::Found;
using agent::Oid;
using agent::Row;
using agent::Value;

// What the tables below answer with.
std::vector<Oid> rows;
bool failing = false;
bool stuck = false;
int asked = 0;

uint32_t number_of(const Oid& index) { return static_cast<uint32_t>(index.back()); }

Row row_of(const Oid& index) {
  return {agent::integer(number_of(index)), agent::unsigned32(100 + number_of(index)), agent::octets("row")};
}

Found get(const Oid& index, Row& row) {
  ++asked;
  if (failing) return Found::kFailed;
  if (std::ranges::find(rows, index) == rows.end()) return Found::kNo;
  row = row_of(index);
  return Found::kYes;
}

Found next(Oid& index, Row& row) {
  ++asked;
  if (failing) return Found::kFailed;
  if (stuck) {
    row = row_of({1});
    return Found::kYes;
  }
  for (const Oid& each : rows) {
    if (!(index < each)) continue;
    index = each;
    row = row_of(each);
    return Found::kYes;
  }
  return Found::kNo;
}

Found get_scalar(const Oid& index, Row& row) {
  if (index != Oid{0}) return Found::kNo;
  row = {agent::unsigned32(7)};
  return Found::kYes;
}

Found next_scalar(Oid& index, Row& row) {
  if (!index.empty()) return Found::kNo;
  index = {0};
  return get_scalar(index, row);
}

// Two tables with columns 2 to 4, and a scalar, number 3 of its group.
const agent::Table kTables[] = {
    {{1, 1}, 2, 4, get, next}, {{2, 1}, 2, 4, get, next}, {{5}, 3, 3, get_scalar, next_scalar}};

class SubtreeOf : public ::testing::Test {
 protected:
  SubtreeOf() {
    rows = {{1}, {3, 5}};
    failing = stuck = false;
    asked = 0;
  }

  // The name and value behind a name; "-" at the end.
  std::string next(const Oid& from) const {
    Oid name = from;
    Value value;
    const Found found = subtree_.next(name, value);
    if (found != Found::kYes) return found == Found::kNo ? "-" : "failed";
    return agent::text_of(name) + "=" + (value.type == ASN_OCTET_STR ? value.octets : std::to_string(value.number));
  }

  std::string get(const Oid& name) const {
    Value value;
    bool object_exists = false;
    switch (subtree_.get(name, value, object_exists)) {
      case Found::kYes:
        return value.type == ASN_OCTET_STR ? value.octets : std::to_string(value.number);
      case Found::kNo:
        return object_exists ? "no instance" : "no object";
      default:
        return "failed";
    }
  }

  const agent::Subtree subtree_{{1, 3}, kTables};
};

TEST_F(SubtreeOf, TablesIsWalkedColumnByColumn) {
  EXPECT_EQ(next({1, 3}), "1.3.1.1.2.1=1");
  EXPECT_EQ(next({1, 3, 1, 1, 2, 1}), "1.3.1.1.2.3.5=5");
  EXPECT_EQ(next({1, 3, 1, 1, 2, 3, 5}), "1.3.1.1.3.1=101");
  EXPECT_EQ(next({1, 3, 1, 1, 4, 1}), "1.3.1.1.4.3.5=row");
  EXPECT_EQ(next({1, 3, 1, 1, 4, 3, 5}), "1.3.2.1.2.1=1");
  EXPECT_EQ(next({1, 3, 2, 1, 4, 3, 5}), "1.3.5.3.0=7");
  EXPECT_EQ(next({1, 3, 5, 3, 0}), "-");
}

TEST_F(SubtreeOf, TablesIsEnteredFromAnywhere) {
  EXPECT_EQ(next({1}), "1.3.1.1.2.1=1");
  EXPECT_EQ(next({1, 2, 9}), "1.3.1.1.2.1=1");
  EXPECT_EQ(next({1, 3, 1}), "1.3.1.1.2.1=1");
  EXPECT_EQ(next({1, 3, 1, 1}), "1.3.1.1.2.1=1");
  EXPECT_EQ(next({1, 3, 1, 1, 1}), "1.3.1.1.2.1=1");
  EXPECT_EQ(next({1, 3, 1, 1, 1, 9}), "1.3.1.1.2.1=1");
  EXPECT_EQ(next({1, 3, 1, 1, 3}), "1.3.1.1.3.1=101");
  EXPECT_EQ(next({1, 3, 1, 1, 3, 1, 0}), "1.3.1.1.3.3.5=105");
  EXPECT_EQ(next({1, 3, 1, 1, 3, 3}), "1.3.1.1.3.3.5=105");
  EXPECT_EQ(next({1, 3, 1, 1, 5}), "1.3.2.1.2.1=1");
  EXPECT_EQ(next({1, 3, 1, 2}), "1.3.2.1.2.1=1");
  EXPECT_EQ(next({1, 3, 4}), "1.3.5.3.0=7");
  EXPECT_EQ(next({1, 3, 5, 3}), "1.3.5.3.0=7");
  EXPECT_EQ(next({1, 3, 5, 4}), "-");
  EXPECT_EQ(next({1, 4}), "-");
  EXPECT_EQ(next({1, 3, 1, 1, 4294967295, 1}), "1.3.2.1.2.1=1");
}

TEST_F(SubtreeOf, TablesWithoutRowsIsPassed) {
  rows.clear();
  EXPECT_EQ(next({1, 3}), "1.3.5.3.0=7");
}

TEST_F(SubtreeOf, TablesAsksForOneRowToShowOne) {
  next({1, 3, 1, 1, 2, 1});
  EXPECT_EQ(asked, 1);
  asked = 0;
  next({1, 3, 1, 1, 2, 3, 5});  // the end of a column, and the first row of the next one
  EXPECT_EQ(asked, 2);
}

TEST_F(SubtreeOf, TablesThatCannotBeReadHasFailed) {
  failing = true;
  EXPECT_EQ(next({1, 3}), "failed");
  EXPECT_EQ(get({1, 3, 1, 1, 2, 1}), "failed");
  EXPECT_EQ(get({1, 3, 1, 1, 9, 1}), "no object");
}

TEST_F(SubtreeOf, TablesNeverGoesBack) {
  stuck = true;
  EXPECT_EQ(next({1, 3, 1, 1, 2, 1}), "failed");
}

TEST_F(SubtreeOf, TablesHasInstances) {
  EXPECT_EQ(get({1, 3, 1, 1, 2, 1}), "1");
  EXPECT_EQ(get({1, 3, 1, 1, 4, 3, 5}), "row");
  EXPECT_EQ(get({1, 3, 5, 3, 0}), "7");
}

TEST_F(SubtreeOf, TablesTellsAMissingInstanceFromAMissingObject) {
  EXPECT_EQ(get({1, 3, 1, 1, 2, 2}), "no instance");
  EXPECT_EQ(get({1, 3, 1, 1, 2}), "no instance");
  EXPECT_EQ(get({1, 3, 1, 1, 2, 1, 0}), "no instance");
  EXPECT_EQ(get({1, 3, 5, 3}), "no instance");
  EXPECT_EQ(get({1, 3, 1, 1, 1, 1}), "no object");
  EXPECT_EQ(get({1, 3, 1, 1, 5, 1}), "no object");
  EXPECT_EQ(get({1, 3, 1, 1}), "no object");
  EXPECT_EQ(get({1, 3, 1}), "no object");
  EXPECT_EQ(get({1, 3, 5, 4, 0}), "no object");
  EXPECT_EQ(get({1, 4}), "no object");
}

}  // namespace
