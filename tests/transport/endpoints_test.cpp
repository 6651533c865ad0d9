// Where the sockets are.
#include "host/transport/endpoints.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using namespace transport;

class RunDirectory : public testing::Test {
 protected:
  RunDirectory() {
    unsetenv("SPAN_RUN_DIR");
    unsetenv("XDG_RUNTIME_DIR");
  }
  ~RunDirectory() override {
    unsetenv("SPAN_RUN_DIR");
    unsetenv("XDG_RUNTIME_DIR");
  }
};

TEST_F(RunDirectory, IsTheSystemsWhenNothingIsSaid) { EXPECT_EQ(default_run_directory(), "/run/span"); }

TEST_F(RunDirectory, IsInThatOfTheUser) {
  setenv("XDG_RUNTIME_DIR", "/run/user/7", 1);
  EXPECT_EQ(default_run_directory(), "/run/user/7/span");
}

TEST_F(RunDirectory, IsTheOneThatIsNamedFirstOfAll) {
  setenv("XDG_RUNTIME_DIR", "/run/user/7", 1);
  setenv("SPAN_RUN_DIR", "/lab", 1);
  EXPECT_EQ(default_run_directory(), "/lab");
}

TEST_F(RunDirectory, IsNotWhatAnEmptyVariableSays) {
  setenv("XDG_RUNTIME_DIR", "", 1);
  setenv("SPAN_RUN_DIR", "", 1);
  EXPECT_EQ(default_run_directory(), "/run/span");
}

TEST(Endpoints, AreSocketsOfTheRunDirectory) {
  EXPECT_EQ(manager_socket("/lab"), "/lab/manager.sock");
  EXPECT_EQ(standby_socket("/lab/"), "/lab/standby.sock");
  EXPECT_EQ(node_socket("/lab", 0x102), "/lab/node-102.sock");
  EXPECT_EQ(node_socket("/lab", 2), "/lab/node-2.sock");
  EXPECT_EQ(node_socket("/lab", 0xfeed), "/lab/node-feed.sock");
}

TEST(Endpoints, AreNamedByARunDirectory) {
  EXPECT_EQ(endpoint("/lab").run_directory, "/lab");
  EXPECT_EQ(endpoint("/lab").manager, "/lab/manager.sock");
}

TEST(Endpoints, AreNamedByASocketOfAManager) {
  EXPECT_EQ(endpoint("/lab/standby.sock").run_directory, "/lab");
  EXPECT_EQ(endpoint("/lab/standby.sock").manager, "/lab/standby.sock");
  EXPECT_EQ(endpoint("other.sock").run_directory, ".");
  EXPECT_EQ(endpoint("other.sock").manager, "other.sock");
}

}  // namespace
