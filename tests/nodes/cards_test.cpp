// Line cards by a clock of the tests.
#include "host/nodes/cards.h"

#include <gtest/gtest.h>

namespace {

using nodes::Cards;

class NodeCards : public testing::Test {
 protected:
  uint64_t now_ = 7'000;
  Cards cards_{[this] { return now_; }};
};

TEST_F(NodeCards, HaveNothingToCountBeforeTheyHearOfRates) {
  now_ += 3'600'000;
  EXPECT_EQ(cards_.drops(1), 0u);
}

// 2,000 copies a second too many, of which 512 may wait.
TEST_F(NodeCards, CountFromTheTimeThatTheyHearOfRates) {
  now_ += 1'000'000;
  cards_.set_rates({{1, 6000}}, 512);
  now_ += 256;
  EXPECT_EQ(cards_.drops(1), 0u);
  now_ += 1000;
  EXPECT_EQ(cards_.drops(1), 2000u);
  EXPECT_EQ(cards_.drops(2), 0u);
}

TEST_F(NodeCards, CountEachTimeAtTheRatesThatItHad) {
  cards_.set_rates({{1, 6000}, {2, 5000}}, 1);
  now_ += 1000;
  cards_.set_rates({{2, 14'000}}, 1);
  now_ += 500;
  EXPECT_EQ(cards_.drops(1), 1999u);
  EXPECT_EQ(cards_.drops(2), 999u + 5000u);
}

TEST_F(NodeCards, ObeyALoweredThreshold) {
  cards_.set_rates({{1, 6000}}, 1024);
  now_ += 512;
  EXPECT_EQ(cards_.drops(1), 0u);
  cards_.set_rates({}, 24);
  now_ += 1;
  EXPECT_EQ(cards_.drops(1), 1000u);
}

}  // namespace
