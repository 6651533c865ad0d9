#include "host/daemon/store.h"

#include <sys/stat.h>

#include <algorithm>

#include "host/manager/vsan_text.h"
#include "tests/daemon/daemon_support.h"

namespace {

using namespace spand;
using namespace daemon_test;
using manager::Config;
using manager::parse_vsans;
using manager::vsan_text;

AuditLine line(const std::string& what, bool permitted = true) {
  AuditLine line = own_line(what);
  line.permitted = permitted;
  return line;
}

void save(Store& store, const Config& from, const Config& to, const std::string& what = "change") {
  const AuditLine one = line(what);
  store.save(from, to, {&one, 1});
}

std::vector<std::string> audit_of(const Directory& state) {
  std::vector<std::string> whats;
  for (const AuditLine& each : read_audit(state.path(), 1'000'000)) whats.push_back(each.what);
  return whats;
}

std::string refusal(const Directory& state) {
  try {
    Store store(state.path());
  } catch (const StateError& error) {
    return error.what();
  }
  return "opened";
}

mode_t mode_of(const std::string& path) {
  struct stat facts {};
  EXPECT_EQ(stat(path.c_str(), &facts), 0) << path;
  return facts.st_mode & 07777;
}

std::vector<std::string> names_in(const Directory& directory) {
  std::vector<std::string> names;
  for (const auto& each : std::filesystem::directory_iterator(directory.path()))
    names.push_back(each.path().filename());
  std::ranges::sort(names);
  return names;
}

class StoreTest : public testing::Test {
 protected:
  std::string database() const { return state_.file("span.db"); }

  void make_state(const Config& config = {}) {
    Store store(state_.path());
    save(store, {}, config, "first");
  }

  Directory state_;
};

// ---- What is saved --------------------------------------------------------------------------------------------------

TEST_F(StoreTest, NewOneHasNoConfiguration) {
  EXPECT_EQ(Store(state_.path()).load(), std::nullopt);
  EXPECT_EQ(read_config(state_.path()), std::nullopt);
}

TEST_F(StoreTest, TheDefaultsAreAConfiguration) {
  make_state();
  EXPECT_EQ(Store(state_.path()).load(), Config{});
}

class RandomConfig : public testing::TestWithParam<uint32_t> {};

TEST_P(RandomConfig, ComesBackAsItWasSaved) {
  Directory state;
  Dice dice(GetParam());
  Config now;
  for (int i = 0; i < 4; ++i) {
    const Config next = dice.config();
    {
      Store store(state.path());
      save(store, now, next);
    }
    now = next;
    EXPECT_EQ(Store(state.path()).load(), now);
    EXPECT_EQ(read_config(state.path()), now);
  }
}

TEST_P(RandomConfig, OneSessionMoreOrLessComesBackToo) {
  Directory state;
  Dice dice(GetParam());
  Store store(state.path());
  Config now = dice.config();
  save(store, {}, now);
  for (int i = 0; i < 20; ++i) {
    const Config other = dice.config();
    Config next = now;
    const uint32_t index = dice.below(16);
    next.sessions[index] = other.sessions[index];
    if (dice.one_in(4)) next.port_modes = other.port_modes;
    if (dice.one_in(4)) next.threshold = other.threshold;
    save(store, now, next);
    now = next;
    ASSERT_EQ(store.load(), now);
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomConfig, testing::Range(1u, 13u));

TEST_F(StoreTest, DestinationsMayChangePlaces) {
  Config from;
  for (auto& session : from.sessions) session.configured = true;
  from.sessions[2].destination = fc(1, 1);
  from.sessions[7].destination = fc(1, 2);
  make_state(from);
  Config to = from;
  std::swap(to.sessions[2].destination, to.sessions[7].destination);
  Store store(state_.path());
  save(store, from, to);
  EXPECT_EQ(store.load(), to);
}

TEST_F(StoreTest, EverythingIsForItsOwnerAlone) {
  Store store(state_.path());
  save(store, {}, {});
  for (const char* const name : {"lock", "span.db", "span.db-wal", "span.db-shm"}) {
    EXPECT_EQ(mode_of(state_.file(name)), 0600u) << name;
  }
}

TEST(VsanText, IsReadBackInItsOneFormOnly) {
  EXPECT_EQ(parse_vsans(""), manager::Vsans{});
  EXPECT_EQ(vsan_text(*parse_vsans("0-4095")), "0-4095");
  EXPECT_EQ(vsan_text(*parse_vsans("1,3-4,4095")), "1,3-4,4095");
  for (const char* const wrong :
       {",", "1,", "-", "1-", "4096", "5-3", "1-2-3", "1,,2", "2,1", "1,2", "x", "1 ", "01", "99999999999"}) {
    EXPECT_EQ(parse_vsans(wrong), std::nullopt) << wrong;
  }
}

// ---- The audit ------------------------------------------------------------------------------------------------------

TEST_F(StoreTest, AuditTellsAllThatItWasTold) {
  Store store(state_.path());
  AuditLine told{"",         "oper", "console", 1000, "oper1", 4711, "spansh", 2002, "session 1: source fc1/1",
                 0x40340124, false};
  store.save({}, {}, {&told, 1});
  auto kept = read_audit(state_.path(), 10);
  ASSERT_EQ(kept.size(), 1u);
  EXPECT_EQ(kept[0].when.size(), std::string("2026-11-21T07:03:52.585Z").size());
  EXPECT_TRUE(kept[0].when.ends_with("Z"));
  told.when = kept[0].when;
  EXPECT_EQ(kept[0], told);
}

TEST_F(StoreTest, LastLinesComeOldestFirst) {
  Store store(state_.path());
  for (const char* const what : {"a", "b", "c"}) save(store, {}, {}, what);
  store.note(line("d"));
  const auto last = read_audit(state_.path(), 2);
  ASSERT_EQ(last.size(), 2u);
  EXPECT_EQ(last[0].what, "c");
  EXPECT_EQ(last[1].what, "d");
}

TEST_F(StoreTest, OldestLinesGo) {
  {
    Store store(state_.path(), {.permitted = 3, .refused = 2});
    for (const char* const what : {"a", "b", "c", "d"}) save(store, {}, {}, what);
  }
  Store store(state_.path(), {.permitted = 3, .refused = 2});
  save(store, {}, {}, "e");
  EXPECT_EQ(audit_of(state_), (std::vector<std::string>{"c", "d", "e"}));
}

TEST_F(StoreTest, SeveralGoWhenTheLimitHasComeDown) {
  {
    Store store(state_.path());
    for (const char* const what : {"a", "b", "c", "d"}) save(store, {}, {}, what);
  }
  Store store(state_.path(), {.permitted = 2, .refused = 2});
  save(store, {}, {}, "e");
  EXPECT_EQ(audit_of(state_), (std::vector<std::string>{"d", "e"}));
}

TEST_F(StoreTest, WhatWasNotPermittedCrowdsOutNothingElse) {
  Store store(state_.path(), {.permitted = 3, .refused = 2});
  save(store, {}, {}, "done");
  for (const char* const what : {"x", "y", "z"}) store.note(line(what, false));
  EXPECT_EQ(audit_of(state_), (std::vector<std::string>{"done", "y", "z"}));
}

// ---- Failures -------------------------------------------------------------------------------------------------------

TEST_F(StoreTest, FullDiskLeavesAllAsItWas) {
  const Config first = Dice(5).config();
  const Config second = Dice(6).config();
  make_state(first);
  Store store(state_.path());
  {
    const FullDisk full(4096);
    EXPECT_THROW(save(store, first, second, "lost"), DatabaseError);
    EXPECT_EQ(store.load(), first);
    EXPECT_THROW(store.note(line("lost too")), DatabaseError);
  }
  EXPECT_EQ(audit_of(state_), (std::vector<std::string>{"first"}));
  save(store, first, second, "saved");
  EXPECT_EQ(store.load(), second);
  EXPECT_EQ(audit_of(state_), (std::vector<std::string>{"first", "saved"}));
}

TEST_F(StoreTest, DiskThatFillsUpOnTheWayLeavesAllAsItWas) {
  Config now = Dice(7).config();
  make_state(now);
  const rlim_t before = 40'000;
  size_t failed = 0;
  Store store(state_.path());
  for (rlim_t room = before; room < before + 400'000; room += 20'000) {
    const Config next = Dice(static_cast<uint32_t>(room)).config();
    const FullDisk full(room);
    try {
      save(store, now, next);
      now = next;
    } catch (const DatabaseError&) {
      ++failed;
    }
    ASSERT_EQ(store.load(), now);
  }
  EXPECT_GT(failed, 0u);
}

TEST_F(StoreTest, SomebodyElsesLockOnTheDatabaseFailsTheChange) {
  make_state();
  Store store(state_.path());
  Database other(database(), Database::Access::kWrite);
  other.run("BEGIN IMMEDIATE");
  EXPECT_THROW(save(store, {}, Dice(1).config()), DatabaseError);
  other.run("ROLLBACK");
  EXPECT_NO_THROW(save(store, {}, Dice(1).config()));
}

TEST_F(StoreTest, SomebodyWhoReadsHoldsNobodyUp) {
  make_state();
  Store store(state_.path());
  Database other(database(), Database::Access::kRead);
  other.run("BEGIN");
  EXPECT_EQ(other.number("SELECT count(*) FROM audit"), 1);
  save(store, {}, Dice(1).config());
  EXPECT_EQ(other.number("SELECT count(*) FROM audit"), 1);
}

TEST_F(StoreTest, SecondManagerIsRefused) {
  make_state();
  Store store(state_.path());
  EXPECT_THROW(Store(state_.path()), StateInUse);
  EXPECT_EQ(refusal(state_),
            state_.path() + ": is in use by another SPAN manager, process " + std::to_string(getpid()));
}

// ---- States that are none -------------------------------------------------------------------------------------------

// Refused with that text, and left as it is.
void expect_refused(const Directory& state, const std::string& why) {
  const std::string path = state.file("span.db");
  const std::string before = contents(path);
  const std::string text = refusal(state);
  EXPECT_TRUE(text.starts_with(path + ": ")) << text;
  EXPECT_NE(text.find(why), std::string::npos) << text;
  EXPECT_EQ(text.find('\n'), std::string::npos) << text;
  EXPECT_EQ(contents(path), before);
  EXPECT_THROW(read_config(state.path()), StateError);
}

TEST_F(StoreTest, NewerVersionIsRefused) {
  make_state();
  Database(database(), Database::Access::kWrite).run("PRAGMA user_version = 2");
  expect_refused(state_, "is of version 2, this program knows version 1 only");
}

TEST_F(StoreTest, DatabaseOfAnotherProgramIsRefused) {
  make_state();
  Database(database(), Database::Access::kWrite).run("PRAGMA application_id = 7");
  expect_refused(state_, "is not the state of a SPAN manager");
}

TEST_F(StoreTest, FileThatIsNoDatabaseIsRefused) {
  write(database(), std::string(8192, 'x'));
  expect_refused(state_, "file is not a database");
}

TEST_F(StoreTest, EmptyFileIsRefused) {
  write(database(), "");
  expect_refused(state_, "is damaged: it is empty");
}

TEST_F(StoreTest, CutDatabaseIsRefused) {
  make_state(Dice(3).config());
  std::filesystem::resize_file(database(), std::filesystem::file_size(database()) / 2);
  expect_refused(state_, "");
}

TEST_F(StoreTest, OverwrittenPagesAreRefused) {
  make_state(Dice(3).config());
  const std::string whole = contents(database());
  for (size_t page = 1; page < 9; ++page) {
    std::string damaged = whole;
    damaged.replace(page * 4096, 64, 64, '\xA5');
    write(database(), damaged);
    EXPECT_NE(refusal(state_), "opened") << page;
  }
}

TEST_F(StoreTest, ImpossibleValuesAreRefused) {
  for (const char* const sql : {"INSERT INTO source VALUES (9, 1, 1, '')", "UPDATE session SET number = 17",
                                "UPDATE session SET suspended = 2", "UPDATE session SET destination = -1",
                                "UPDATE source SET direction = 3", "UPDATE source SET interface = 4294967296",
                                "UPDATE setting SET value = -1", "INSERT INTO port_mode VALUES (5, 3)",
                                "UPDATE session SET filter_vsans = '5-3'", "UPDATE source SET filter_vsans = 'x'"}) {
    Directory state;
    Config config;
    config.sessions[3].configured = true;
    config.sessions[3].sources[0][fc(1, 1)] = {};
    {
      Store store(state.path());
      save(store, {}, config);
    }
    Database(state.file("span.db"), Database::Access::kWrite)
        .run(("PRAGMA ignore_check_constraints = ON;" + std::string(sql)).c_str());
    EXPECT_THROW(Store(state.path()).load(), StateError) << sql;
    EXPECT_THROW(read_config(state.path()), StateError) << sql;
  }
}

// Otherwise it would be taken for a new one, and written over.
TEST_F(StoreTest, SettingThatIsGoneIsRefused) {
  for (const char* const more : {"audit; DELETE FROM port_mode", "audit; DELETE FROM source; DELETE FROM session",
                                 "source; DELETE FROM session; DELETE FROM port_mode"}) {
    Directory state;
    Config config = Dice(3).config();
    config.port_modes[fc(1, 1)] = chassis::PortMode::kTunnelSource;
    {
      Store store(state.path());
      save(store, {}, config);
    }
    Database(state.file("span.db"), Database::Access::kWrite)
        .run(("DELETE FROM setting; DELETE FROM " + std::string(more)).c_str());
    expect_refused(state, "is damaged: its setting is gone");
  }
}

TEST_F(StoreTest, TablesThatAreOthersAreRefused) {
  for (const char* const sql :
       {"DROP TABLE audit", "DROP TABLE source", "DROP INDEX audit_by_permission", "ALTER TABLE audit DROP COLUMN user",
        "CREATE TRIGGER t AFTER INSERT ON audit BEGIN DELETE FROM audit; END", "CREATE TABLE more (x)"}) {
    Directory state;
    {
      Store store(state.path());
      save(store, {}, Dice(3).config());
    }
    Database(state.file("span.db"), Database::Access::kWrite).run(sql);
    expect_refused(state, "is damaged: its tables are not those of a SPAN manager");
  }
}

TEST_F(StoreTest, StatisticsOfTheDatabaseAreNoDamage) {
  make_state();
  Database(database(), Database::Access::kWrite).run("ANALYZE; VACUUM;");
  EXPECT_EQ(refusal(state_), "opened");
}

TEST_F(StoreTest, DraftThatWasLeftBehindIsNoObstacle) {
  write(state_.file("span.db.new"), "half");
  write(state_.file("span.db.new-journal"), "half");
  make_state();
  EXPECT_EQ(names_in(state_), (std::vector<std::string>{"lock", "span.db"}));
}

TEST_F(StoreTest, LookingInChangesNothing) {
  make_state(Dice(9).config());
  const auto names = names_in(state_);
  const std::string before = contents(database());
  read_config(state_.path());
  read_audit(state_.path(), 5);
  EXPECT_EQ(names_in(state_), names);
  EXPECT_EQ(contents(database()), before);
}

TEST_F(StoreTest, LookingInSeesWhatIsSavedMeanwhile) {
  Store store(state_.path());
  Config now;
  for (uint32_t i = 0; i < 5; ++i) {
    const Config next = Dice(i).config();
    save(store, now, next);
    now = next;
    EXPECT_EQ(read_config(state_.path()), now);
  }
  EXPECT_EQ(audit_of(state_).size(), 5u);
}

TEST(ReadState, FindsNoneWhereThereIsNoDirectory) {
  EXPECT_EQ(read_config("/nonexistent/state"), std::nullopt);
  EXPECT_THROW(read_audit("/nonexistent/state", 5), StateError);
}

TEST(Database, PathsMayHaveAnyCharacter) {
  Directory directory;
  const std::string odd = directory.file("100% sure? #1");
  std::filesystem::create_directory(odd);
  {
    Store store(odd);
    save(store, {}, {});
  }
  EXPECT_EQ(read_config(odd), Config{});
}

}  // namespace
