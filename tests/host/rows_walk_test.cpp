// A walk ends, whatever the handlers answer.
#include "host/rows/walk.h"

#include <gtest/gtest.h>

#include <vector>

namespace rows {
namespace {

struct Row {
  uint32_t session;
};

class Walk : public testing::Test {
 protected:
  // Walks a table whose row behind `previous` is what `row_behind` gives; 0xFF is its end.
  template <class RowBehind>
  End walk(RowBehind row_behind) {
    return rows::walk<Row>(
        [&](uint32_t previous, Row& row) {
          row.session = row_behind(previous);
          return row.session == 0xFF ? 0x40340002u : 0u;
        },
        [](const Row& row) { return row.session; }, [&](const Row& row) { seen_.push_back(row.session); });
  }

  std::vector<uint32_t> seen_;
};

TEST_F(Walk, ShowsRowsUpToTheEnd) {
  EXPECT_EQ(walk([](uint32_t previous) { return previous < 6 ? previous + 3 : 0xFF; }), End::kOfTable);
  EXPECT_EQ(seen_, (std::vector<uint32_t>{3, 6}));
}

TEST_F(Walk, EmptyTable) {
  EXPECT_EQ(walk([](uint32_t) { return 0xFFu; }), End::kOfTable);
  EXPECT_TRUE(seen_.empty());
}

TEST_F(Walk, SuccessWithoutARow) {
  EXPECT_EQ(walk([](uint32_t) { return 0u; }), End::kStuck);
  EXPECT_TRUE(seen_.empty());
}

TEST_F(Walk, TheSameRowAgain) {
  EXPECT_EQ(walk([](uint32_t) { return 4u; }), End::kStuck);
  EXPECT_EQ(seen_, std::vector<uint32_t>{4});
}

TEST_F(Walk, RowsThatGoBack) {
  EXPECT_EQ(walk([](uint32_t previous) { return previous == 0 ? 5u : previous - 1; }), End::kStuck);
  EXPECT_EQ(seen_, std::vector<uint32_t>{5});
}

}  // namespace
}  // namespace rows
