// The files of a state: what cannot be one, what goes while it is in use, what a failure leaves behind.
#include "host/daemon/files.h"

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "host/daemon/state.h"
#include "tests/daemon/daemon_support.h"

namespace {

using namespace spand;
using namespace daemon_test;
using manager::Config;
namespace fs = std::filesystem;

std::vector<std::string> names_in(const std::string& directory) {
  std::vector<std::string> names;
  for (const auto& each : fs::directory_iterator(directory)) names.push_back(each.path().filename());
  std::ranges::sort(names);
  return names;
}

// What open_state() and look_into_state() say; both the same.
std::string refusal(const std::string& directory) {
  std::string said = "opened";
  try {
    open_state(directory, lab(), Unknown::kRefuse);
  } catch (const StateUnreadable& error) {
    said = error.what();
  }
  try {
    look_into_state(directory);
  } catch (const StateUnreadable& error) {
    EXPECT_EQ(error.what(), said);
    return said;
  }
  EXPECT_EQ(said, "opened");
  return said;
}

class FilesTest : public testing::Test {
 protected:
  FilesTest() { fs::permissions(state_.path(), fs::perms::owner_all); }

  std::string path(const std::string& name) const { return state_.file(name); }
  State open() const { return open_state(state_.path(), lab(), Unknown::kRefuse); }

  // Another directory, for the state of a second manager.
  std::string second() const {
    const std::string directory = elsewhere_.file("second");
    fs::create_directory(directory);
    fs::permissions(directory, fs::perms::owner_all);
    return directory;
  }

  Directory state_;
  Directory elsewhere_;
};

// ---- What cannot be a state -----------------------------------------------------------------------------------------

TEST_F(FilesTest, DatabaseBehindASymbolicLinkIsRefused) {
  open();
  const std::string link = second() + "/span.db";
  fs::create_symlink(path("span.db"), link);
  EXPECT_EQ(refusal(second()), link + ": is a symbolic link");
  EXPECT_EQ(refusal(state_.path()), "opened");
}

TEST_F(FilesTest, DatabaseOfTwoNamesIsRefusedByBoth) {
  open();
  const std::string link = second() + "/span.db";
  fs::create_hard_link(path("span.db"), link);
  EXPECT_EQ(refusal(second()), link + ": is a hard link: the file has other names");
  EXPECT_EQ(refusal(state_.path()), path("span.db") + ": is a hard link: the file has other names");
}

TEST_F(FilesTest, WhatIsNoFileIsRefused) {
  for (const char* const name : {"lock", "span.db", "span.db-wal", "span.db-shm"}) {
    ASSERT_EQ(mkfifo(path(name).c_str(), 0600), 0);
    EXPECT_EQ(refusal(state_.path()), path(name) + ": is not a regular file");
    fs::remove(path(name));
    fs::create_symlink("/dev/null", path(name));
    EXPECT_EQ(refusal(state_.path()), path(name) + ": is a symbolic link");
    fs::remove(path(name));
  }
}

// Such as root's copy of a database in the directory of the user who serves.
TEST_F(FilesTest, FileThatMayNotBeWrittenIsRefused) {
  constexpr uid_t kUser = 54400;
  open();
  fs::permissions(path("span.db"), fs::perms::owner_read);
  const bool root = geteuid() == 0;
  if (root) {
    for (const std::string& each : {state_.path(), path("lock")}) ASSERT_EQ(chown(each.c_str(), kUser, kUser), 0);
    ASSERT_EQ(seteuid(kUser), 0);
  }
  const std::string said = refusal(state_.path());
  ASSERT_EQ(seteuid(root ? 0 : geteuid()), 0);
  EXPECT_EQ(said, path("span.db") + ": Permission denied");
}

TEST_F(FilesTest, JournalWithoutItsDatabaseIsRefused) {
  write(path("span.db-wal"), "x");
  EXPECT_EQ(refusal(state_.path()),
            path("span.db") + ": is gone, but its journal " + path("span.db-wal") + " is still there");
}

TEST_F(FilesTest, LookTellsOfADirectoryThatOthersMayWriteTo) {
  open();
  fs::permissions(state_.path(), fs::perms::owner_all | fs::perms::group_all);
  EXPECT_THROW(look_into_state(state_.path()), std::runtime_error);
}

TEST_F(FilesTest, LookFindsNoStateWhereThereIsNoDirectory) {
  EXPECT_EQ(look_into_state("/nonexistent/state"), std::nullopt);
  EXPECT_THROW(look_into_state("/dev/null/state"), std::runtime_error);
}

TEST_F(FilesTest, LinkToTheDirectoryIsNoObstacle) {
  const std::string link = elsewhere_.file("link");
  fs::create_directory_symlink(state_.path(), link);
  const State state = open();
  EXPECT_THROW(open_state(link, lab(), Unknown::kRefuse), StateInUse);
}

// ---- What goes while it is in use -----------------------------------------------------------------------------------

TEST_F(FilesTest, ChangeIsRefusedWhenAFileIsGone) {
  for (const char* const name : {"lock", "span.db", "span.db-wal"}) {
    State state = open();
    Config next = state.config;
    next.sessions[2].configured = !next.sessions[2].configured;
    fs::rename(path(name), path("aside"));
    try {
      state.store->save(state.config, next, {});
      ADD_FAILURE() << name;
    } catch (const DatabaseError& error) {
      EXPECT_EQ(error.what(), path(name) + ": was removed or replaced while in use");
    }
    EXPECT_THROW(state.store->note(own_line("lost")), DatabaseError) << name;
    EXPECT_EQ(state.store->load(), state.config);
    fs::rename(path("aside"), path(name));
    state.store->save(state.config, next, {});
    EXPECT_EQ(read_config(state_.path()), next);
  }
}

TEST_F(FilesTest, ChangeIsRefusedWhenAFileIsAnother) {
  State state = open();
  fs::copy_file(path("span.db"), path("copy"));
  fs::rename(path("copy"), path("span.db"));
  const std::string before = contents(path("span.db"));
  EXPECT_THROW(state.store->save(state.config, {}, {}), DatabaseError);
  state.store.reset();
  EXPECT_EQ(contents(path("span.db")), before);
}

TEST_F(FilesTest, ChangeIsRefusedWhenTheDirectoryIsGone) {
  State state = open();
  fs::rename(state_.path(), elsewhere_.file("moved"));
  EXPECT_THROW(state.store->save(state.config, {}, {}), DatabaseError);
  fs::rename(elsewhere_.file("moved"), state_.path());
  EXPECT_NO_THROW(state.store->save(state.config, {}, {}));
}

// ---- Roles ----------------------------------------------------------------------------------------------------------

TEST_F(FilesTest, TakingOverIsNotedUntilItIsNot) {
  EXPECT_FALSE(was_taken_over(state_.path()));
  for (const bool taken_over : {false, true, true, false, false}) {
    note_taken_over(state_.path(), taken_over);
    EXPECT_EQ(was_taken_over(state_.path()), taken_over);
  }
  EXPECT_EQ(names_in(state_.path()), (std::vector<std::string>{}));
  EXPECT_FALSE(was_taken_over("/nonexistent/state"));
  EXPECT_THROW(note_taken_over("/nonexistent/state", true), StateError);
}

// ---- What a failure leaves behind -----------------------------------------------------------------------------------

TEST_F(FilesTest, FirstStartOnAFullDiskLeavesNothingOrAState) {
  size_t nothing = 0;
  size_t whole = 0;
  for (rlim_t room = 0; room <= 100'000 && whole < 2; room += 4096) {
    try {
      const FullDisk full(room);
      open();
      ++whole;
    } catch (const StateUnreadable& error) {
      ADD_FAILURE() << error.what();
    } catch (const StateError& error) {
      EXPECT_TRUE(std::string(error.what()).starts_with(path("span.db"))) << error.what();
    }
    const auto names = names_in(state_.path());
    nothing += names.empty();
    if (!names.empty()) {
      EXPECT_EQ(names, (std::vector<std::string>{"lock", "span.db"})) << room;
      EXPECT_NO_THROW(look_into_state(state_.path())) << room;
    }
  }
  EXPECT_GT(nothing, 0u);
  EXPECT_EQ(whole, 2u);
}

TEST_F(FilesTest, LockOnNothingGoes) {
  auto lock = std::make_unique<StateLock>(state_.path());
  EXPECT_THROW(StateLock(state_.path()), StateInUse);
  EXPECT_EQ(names_in(state_.path()), (std::vector<std::string>{"lock"}));
  lock.reset();
  EXPECT_EQ(names_in(state_.path()), (std::vector<std::string>{}));
}

TEST_F(FilesTest, LockOfAnotherOneStays) {
  auto lock = std::make_unique<StateLock>(state_.path());
  fs::remove(path("lock"));
  const StateLock other(state_.path());
  lock.reset();
  EXPECT_EQ(names_in(state_.path()), (std::vector<std::string>{"lock"}));
  EXPECT_TRUE(other.file().is_there());
}

// Each one that lets go takes the file away, which another one may have opened just then.
TEST_F(FilesTest, LockHasOneHolderAtATime) {
  std::atomic<int> holders = 0;
  std::atomic<int> held = 0;
  std::atomic<int> too_many = 0;
  const auto take_and_let_go = [&] {
    for (int i = 0; i < 3000; ++i) {
      try {
        const StateLock lock(state_.path());
        too_many += ++holders > 1;
        ++held;
        std::this_thread::yield();
        --holders;
      } catch (const StateInUse&) {
      }
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) threads.emplace_back(take_and_let_go);
  for (std::thread& each : threads) each.join();
  EXPECT_GT(held, 0);
  EXPECT_EQ(too_many, 0);
}

}  // namespace
