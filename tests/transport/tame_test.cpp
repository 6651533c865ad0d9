// Text that others chose.
#include "host/transport/tame.h"

#include <gtest/gtest.h>

namespace {

using transport::tame;

TEST(Tame, LeavesNothingThatAScreenObeys) {
  EXPECT_EQ(tame("oper (console)"), "oper (console)");
  EXPECT_EQ(tame("a\x1b[2Jb\nc\x7f\\d\xff"), "a\\x1b[2Jb\\x0ac\\x7f\\x5cd\\xff");
  EXPECT_EQ(tame(std::string("a\0b", 3)), "a\\x00b");
}

TEST(Tame, EndsWithAWholeCharacter) {
  EXPECT_EQ(tame(std::string(1'000'000, 'x'), 100), std::string(100, 'x'));
  EXPECT_EQ(tame("ab\n", 6), "ab\\x0a");
  for (const size_t most : {2u, 3u, 4u, 5u}) EXPECT_EQ(tame("ab\ncd", most), "ab") << most;
  EXPECT_EQ(tame("abcd", 0), "");
}

}  // namespace
