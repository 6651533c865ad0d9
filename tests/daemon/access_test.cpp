// Who may do what, and where.
#include "host/daemon/access.h"

#include <sys/stat.h>

#include <asio/io_context.hpp>

#include "host/daemon/audit.h"
#include "host/daemon/directories.h"
#include "host/transport/server.h"
#include "tests/daemon/daemon_support.h"

namespace {

using daemon_test::Directory;
using spand::Access;
using spand::find_group;

transport::Peer peer(uid_t uid, gid_t gid, std::vector<gid_t> groups = {}) {
  return {uid, gid, 1, std::move(groups), "test"};
}

TEST(Access, IsForRootAndTheGroup) {
  const Access access(100);
  EXPECT_TRUE(access.may_change(peer(0, 0)));
  EXPECT_TRUE(access.may_change(peer(0, 7, {8})));
  EXPECT_TRUE(access.may_change(peer(1000, 100)));
  EXPECT_TRUE(access.may_change(peer(1000, 7, {8, 100, 9})));
  EXPECT_FALSE(access.may_change(peer(1000, 1000)));
  EXPECT_FALSE(access.may_change(peer(100, 7, {8, 9})));
  EXPECT_FALSE(access.may_change(peer(1, 0, {0})));
}

TEST(Access, GroupOfRootIsNoWayAroundIt) {
  EXPECT_FALSE(Access(0).may_change(peer(1000, 1000)));
  EXPECT_TRUE(Access(0).may_change(peer(1000, 0)));
}

TEST(Group, IsFoundByNameOrNumber) {
  EXPECT_EQ(find_group("root"), gid_t{0});
  EXPECT_EQ(find_group("54321"), gid_t{54321});
  for (const char* const wrong : {"", "no such group", "-1", "12x", "4294967295", "4294967296", " 5"}) {
    EXPECT_EQ(find_group(wrong), std::nullopt) << wrong;
  }
}

// ---- Text of others -------------------------------------------------------------------------------------------------

TEST(Tame, LeavesNothingThatAScreenObeys) {
  EXPECT_EQ(spand::tame("oper (console)"), "oper (console)");
  EXPECT_EQ(spand::tame("a\x1b[2Jb\nc\x7f\\d\xff"), "a\\x1b[2Jb\\x0ac\\x7f\\x5cd\\xff");
  EXPECT_EQ(spand::tame(std::string("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(spand::tame(std::string(1'000'000, 'x')), std::string(100, 'x'));
  EXPECT_EQ(spand::tame(std::string(98, 'x') + "\n"), std::string(98, 'x'));
}

TEST(AuditTable, HasAColumnForEachThing) {
  const std::vector<spand::AuditLine> lines = {
      {"2026-01-02T03:04:05.678Z", "oper", "console", 1000, "oper1", 4711, "spansh", 2004, "create session 1", 0, true},
      {"2026-01-02T03:04:06.000Z", "", "", 1001, "", 12, "x", 2004, "delete session 1", 0x40340160, false}};
  EXPECT_EQ(spand::audit_table(lines),
            "TIME                      USER   PID   PROGRAM  REQUESTER1  REQUESTER2  CHANGE            RESULT\n"
            "2026-01-02T03:04:05.678Z  oper1  4711  spansh   oper        console     create session 1  done\n"
            "2026-01-02T03:04:06.000Z  1001   12    x        -           -           delete session 1  changes are not "
            "permitted to this user\n");
  EXPECT_EQ(spand::audit_table({}), "");
}

TEST(AuditTable, NoColumnLooksLikeTwo) {
  spand::AuditLine line = {.when = "now\x1b[2J",
                           .requester1 = "root  console",
                           .requester2 = " ",
                           .user = "a b\n",
                           .program = "spansh  root",
                           .what = "state of a\tb created"};
  const std::string table = spand::audit_table({line});
  EXPECT_EQ(table.substr(table.find('\n') + 1),
            "now\\x1b[2J  a\\x20b\\x0a  0    spansh\\x20\\x20root  root\\x20\\x20console  \\x20        "
            "state of a\\x09b created  done\n");
}

// ---- Directories ----------------------------------------------------------------------------------------------------

mode_t mode_of(const std::string& path) {
  struct stat facts {};
  EXPECT_EQ(stat(path.c_str(), &facts), 0) << path;
  return facts.st_mode & 07777;
}

TEST(StateDirectory, IsCreatedForItsOwnerAlone) {
  Directory base;
  const std::string path = base.file("a/b");
  spand::prepare_state_directory(path);
  EXPECT_EQ(mode_of(path), 0700u);
  spand::prepare_state_directory(path);
}

TEST(StateDirectory, IsRefusedWhenOthersMayWriteThere) {
  Directory base;
  for (const mode_t mode : {0770u, 0702u, 01777u}) {
    ASSERT_EQ(chmod(base.path().c_str(), mode), 0);
    EXPECT_THROW(spand::prepare_state_directory(base.path()), std::runtime_error) << mode;
  }
}

TEST(StateDirectory, IsRefusedWhenItBelongsToAnotherUser) {
  if (geteuid() == 0) {
    Directory base;
    ASSERT_EQ(chown(base.path().c_str(), 1, 1), 0);
    EXPECT_THROW(spand::prepare_state_directory(base.path()), std::runtime_error);
  } else {
    EXPECT_THROW(spand::prepare_state_directory("/etc"), std::runtime_error);
  }
}

TEST(StateDirectory, IsRefusedWhenItIsNone) {
  Directory base;
  daemon_test::write(base.file("file"), "");
  EXPECT_THROW(spand::prepare_state_directory(base.file("file")), std::runtime_error);
  EXPECT_THROW(spand::prepare_state_directory(base.file("file/below")), std::runtime_error);
}

TEST(StateDirectory, DefaultFollowsTheEnvironment) {
  setenv("STATE_DIRECTORY", "/var/lib/a:/var/lib/b", 1);
  EXPECT_EQ(spand::default_state_directory(), "/var/lib/a");
  unsetenv("STATE_DIRECTORY");
  setenv("XDG_STATE_HOME", "/home/x/state", 1);
  EXPECT_EQ(spand::default_state_directory(), geteuid() == 0 ? "/var/lib/span" : "/home/x/state/span");
  unsetenv("XDG_STATE_HOME");
  setenv("HOME", "/home/x", 1);
  EXPECT_EQ(spand::default_state_directory(), geteuid() == 0 ? "/var/lib/span" : "/home/x/.local/state/span");
}

TEST(RunDirectory, HasTheModeThatTheSocketNeeds) {
  Directory base;
  spand::prepare_run_directory(base.file("group"), 0660, getegid());
  EXPECT_EQ(mode_of(base.file("group")), 0750u);
  spand::prepare_run_directory(base.file("all"), 0666, getegid());
  EXPECT_EQ(mode_of(base.file("all")), 0755u);
}

// What is there is opened further, not closed: others may use it, too.
TEST(RunDirectory, IsOpenedForMoreWhenItIsThere) {
  Directory base;
  const std::string path = base.file("run");
  spand::prepare_run_directory(path, 0660, getegid());
  spand::prepare_run_directory(path, 0666, getegid());
  EXPECT_EQ(mode_of(path), 0755u);
  spand::prepare_run_directory(path, 0660, getegid());
  EXPECT_EQ(mode_of(path), 0755u);
}

// As when spand was killed before it could give it its mode.
TEST(RunDirectory, IsFinishedWhenItWasLeftHalfMade) {
  Directory base;
  ASSERT_EQ(mkdir(base.file("run").c_str(), 0700), 0);
  const gid_t group = geteuid() == 0 ? 54321 : getegid();
  spand::prepare_run_directory(base.file("run"), 0660, group);
  EXPECT_EQ(mode_of(base.file("run")), 0750u);
  struct stat facts {};
  ASSERT_EQ(stat(base.file("run").c_str(), &facts), 0);
  EXPECT_EQ(facts.st_gid, group);
}

TEST(RunDirectory, IsOpenedWithSocketsInIt) {
  Directory base;
  asio::io_context io;
  const transport::Server server(io, base.file("node-2.sock"), 0600, {}, {});
  spand::prepare_run_directory(base.path(), 0666, getegid());
  EXPECT_EQ(mode_of(base.path()), 0755u);
}

TEST(RunDirectory, KeepsItsModeWithAnythingElseInIt) {
  Directory base;
  daemon_test::write(base.file("secret"), "");
  testing::internal::CaptureStderr();
  spand::prepare_run_directory(base.path(), 0666, getegid());
  EXPECT_EQ(
      testing::internal::GetCapturedStderr(),
      "spand: " + base.path() + ": its mode 0700 keeps out some of those for whom the socket has the mode 0666\n");
  EXPECT_EQ(mode_of(base.path()), 0700u);
  testing::internal::CaptureStderr();
  spand::prepare_run_directory(base.path(), 0600, getegid());
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(RunDirectory, IsRefusedWhenEverybodyMayWriteThere) {
  Directory base;
  ASSERT_EQ(chmod(base.path().c_str(), 01777), 0);
  EXPECT_THROW(spand::prepare_run_directory(base.path(), 0660, getegid()), std::runtime_error);
}

}  // namespace
