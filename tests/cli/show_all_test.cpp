// Everything about a session or an interface: the script of show commands, run and removed.
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

namespace fs = std::filesystem;

std::string content_of(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void write_file(const fs::path& path, const std::string& content) { std::ofstream(path, std::ios::binary) << content; }

class ShowAll : public CliTest {
 protected:
  ShowAll() : path_("/tmp/span_show_internal_all." + std::to_string(getpid())), other_(path_ + ".other") { clean(); }
  ~ShowAll() override { clean(); }

  // What the shell finds when it is told to run the script.
  Script& expect_script() {
    return fake.expect("brio_execute_script_file(\"" + path_ + "\")").does([this] {
      script_ = content_of(path_);
      lstat(path_.c_str(), &stat_);
    });
  }

  uint32_t show_session(uint32_t session) {
    Command command;
    return call(span_cli_int_all_session, command.keyword(9).number(session));
  }

  uint32_t show_if(uint32_t if_index) {
    Command command;
    return call(span_cli_int_all_if, command.number(9).interface(if_index));
  }

  // Nothing stands at the script's path, also no link that leads nowhere.
  bool removed() const { return !fs::exists(fs::symlink_status(path_)); }

  void clean() const {
    fs::remove_all(path_);
    fs::remove_all(other_);
  }

  static std::string commands(const std::string& subject) {
    return "show span internal info " + subject +
           "\n"
           "show span internal event-history " +
           subject +
           "\n"
           "show span internal event-history msgs\n"
           "show span internal event-history errors\n";
  }

  const std::string path_;
  const std::string other_;  // another file, for links
  std::string script_;
  struct stat stat_ = {};
};

// ---- The script ------------------------------------------------------------------------------------------------------

TEST_F(ShowAll, OfSession3IsFourCommands) {
  expect_script();
  EXPECT_EQ(show_session(3), 0u);
  EXPECT_EQ(script_,
            "show span internal info session 3\n"
            "show span internal event-history session 3\n"
            "show span internal event-history msgs\n"
            "show span internal event-history errors\n");
  EXPECT_TRUE(removed());
  EXPECT_EQ(fake.calls(), "brio_execute_script_file(\"" + path_ + "\")\n");
  EXPECT_EQ(heap::requests(), 0u);
}

TEST_F(ShowAll, OfAnInterfaceIsFourCommandsWithItsName) {
  expect_script();
  EXPECT_EQ(show_if(kPortChannel), 0u);
  EXPECT_EQ(script_,
            "show span internal info interface port-channel 3\n"
            "show span internal event-history interface port-channel 3\n"
            "show span internal event-history msgs\n"
            "show span internal event-history errors\n");
  EXPECT_TRUE(removed());
  EXPECT_EQ(fake.calls(), "sprintf_if_index(0x4000003)\nbrio_execute_script_file(\"" + path_ + "\")\n");
  EXPECT_EQ(heap::requests(), 0u);
}

TEST_F(ShowAll, TheSessionNumberIsASignedNumberAsTyped) {
  expect_script();
  EXPECT_EQ(show_session(300), 0u);
  EXPECT_EQ(script_, commands("session 300"));
  expect_script();
  EXPECT_EQ(show_session(0x80000000), 0u);
  EXPECT_EQ(script_, commands("session -2147483648"));
}

TEST_F(ShowAll, WithoutASessionTheNumberIs0) {
  const Command command;
  expect_script();
  EXPECT_EQ(call(span_cli_int_all_session, command), 0u);
  EXPECT_EQ(script_, commands("session 0"));
}

TEST_F(ShowAll, TheLongestNameOfAnInterfaceIsWrittenWhole) {
  const std::string name(127, 'n');
  fake.interfaces[kFc1].name = name;
  expect_script();
  EXPECT_EQ(show_if(kFc1), 0u);
  EXPECT_EQ(script_, commands("interface " + name));
}

TEST_F(ShowAll, ANameOfOneCharacterIsOne) {
  fake.interfaces[kFc1].name = "f";
  expect_script();
  EXPECT_EQ(show_if(kFc1), 0u);
  EXPECT_EQ(script_, commands("interface f"));
}

TEST_F(ShowAll, ANameIsNoFormat) {
  fake.interfaces[kFc1].name = "%s%n%d";
  expect_script();
  EXPECT_EQ(show_if(kFc1), 0u);
  EXPECT_EQ(script_, commands("interface %s%n%d"));
}

TEST_F(ShowAll, AnInterfaceWithoutANameHasNoScript) {
  write_file(path_, "older");
  EXPECT_EQ(show_if(kUnknownIf), 0u);
  EXPECT_EQ(content_of(path_), "older");
  EXPECT_EQ(fake.calls(), "sprintf_if_index(0x7f000000)\n");
}

TEST_F(ShowAll, WithoutAnInterfaceAsksForTheNameOf0) {
  const Command command;
  EXPECT_EQ(call(span_cli_int_all_if, command), 0u);
  EXPECT_EQ(fake.calls(), "sprintf_if_index(0)\n");
}

TEST_F(ShowAll, KeepsTheResultOfTheScriptUnread) {
  expect_script().returns(0xFFFFFFFF);
  EXPECT_EQ(show_session(1), 0u);
  EXPECT_TRUE(removed());
}

TEST_F(ShowAll, TheResultIsThatOfTheRemoval) {
  for (const uint32_t session : {1u, 2u}) {
    fake.expect("brio_execute_script_file").does([this] { fs::remove(path_); });
    EXPECT_EQ(show_session(session), 0xFFFFFFFFu);
  }
}

TEST_F(ShowAll, TwoCommandsUseTheSameFileOneAfterTheOther) {
  expect_script();
  EXPECT_EQ(show_if(kFc1), 0u);
  expect_script();
  EXPECT_EQ(show_session(1), 0u);
  EXPECT_EQ(script_, commands("session 1"));
  EXPECT_TRUE(removed());
}

// ---- The file --------------------------------------------------------------------------------------------------------

class ShowAllFile : public ShowAll {
 protected:
  ShowAllFile() : umask_(umask(0)) {}
  ~ShowAllFile() override { umask(umask_); }

 private:
  const mode_t umask_;
};

TEST_F(ShowAllFile, BelongsToItsOwnerAlone) {
  expect_script();
  EXPECT_EQ(show_session(1), 0u);
  EXPECT_EQ(stat_.st_mode, static_cast<mode_t>(S_IFREG | 0600));
  expect_script();
  EXPECT_EQ(show_if(kFc1), 0u);
  EXPECT_EQ(stat_.st_mode, static_cast<mode_t>(S_IFREG | 0600));
}

TEST_F(ShowAllFile, IsNotTheOneThatStoodThereBefore) {
  write_file(path_, std::string(1000, 'x'));
  fs::permissions(path_, fs::perms::all);
  fs::create_hard_link(path_, other_);
  expect_script();
  EXPECT_EQ(show_session(4), 0u);
  EXPECT_EQ(script_, commands("session 4"));
  EXPECT_EQ(stat_.st_mode, static_cast<mode_t>(S_IFREG | 0600));
  EXPECT_EQ(content_of(other_), std::string(1000, 'x'));
  EXPECT_TRUE(removed());
}

TEST_F(ShowAllFile, IsNeverReachedThroughALink) {
  write_file(other_, "mine");
  fs::permissions(other_, fs::perms::all);
  fs::create_symlink(other_, path_);
  expect_script();
  EXPECT_EQ(show_session(4), 0u);
  EXPECT_EQ(script_, commands("session 4"));
  EXPECT_EQ(stat_.st_mode, static_cast<mode_t>(S_IFREG | 0600));
  EXPECT_EQ(content_of(other_), "mine");
  EXPECT_EQ(fs::status(other_).permissions(), fs::perms::all);
  EXPECT_TRUE(removed());
}

TEST_F(ShowAllFile, IsNotCreatedThroughALinkThatLeadsNowhere) {
  fs::create_symlink(other_, path_);
  expect_script();
  EXPECT_EQ(show_if(kFc1), 0u);
  EXPECT_EQ(script_, commands("interface fc1/1"));
  EXPECT_FALSE(fs::exists(other_));
  EXPECT_TRUE(removed());
}

TEST_F(ShowAllFile, ThatCannotBeCreatedIsNotRun) {
  fs::create_directory(path_);
  EXPECT_EQ(show_session(4), 0xFFFFFFFFu);
  EXPECT_EQ(show_if(kFc1), 0xFFFFFFFFu);
  EXPECT_EQ(printed(), "");
  EXPECT_EQ(fake.calls("brio"), "");
  EXPECT_TRUE(fs::is_directory(path_));
}

// While this lives, the process is somebody else than the owner of the files that root has made.
class AsNobody {
 public:
  AsNobody() { EXPECT_EQ(seteuid(65534), 0); }
  ~AsNobody() { EXPECT_EQ(seteuid(0), 0); }
};

TEST_F(ShowAllFile, OfSomebodyElseIsNeitherWrittenNorRun) {
  if (geteuid() != 0) GTEST_SKIP() << "needs the right to become somebody else";
  write_file(path_, "theirs");
  fs::permissions(path_, fs::perms(0666));
  for (const bool link : {false, true}) {
    if (link) fs::rename(path_, other_);
    if (link) fs::create_symlink(other_, path_);
    uint32_t result = 0;
    {
      const AsNobody nobody;
      result = show_session(4);
    }
    EXPECT_EQ(result, 0xFFFFFFFFu);
    EXPECT_EQ(content_of(path_), "theirs");
  }
  EXPECT_EQ(fake.calls(), "");
}

// While this lives, files end at their first `size` bytes.
class FileLimit {
 public:
  explicit FileLimit(rlim_t size) : handler_(signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit now = {size, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &now);
  }
  ~FileLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    signal(SIGXFSZ, handler_);
  }

 private:
  rlimit before_;
  sighandler_t handler_;
};

TEST_F(ShowAllFile, ThatCannotBeWrittenWholeIsNotRun) {
  for (const rlim_t size : {0u, 34u, 100u}) {
    const uint32_t result = [&] {
      const FileLimit limit(size);
      return show_session(4);
    }();
    EXPECT_EQ(result, 0u);
    EXPECT_TRUE(removed());
  }
  EXPECT_EQ(fake.calls(), "");
}

// A shell without standard input gives its place to the next file that is opened.
TEST_F(ShowAllFile, MayHaveDescriptor0) {
  expect_script();
  Command command;
  command.number(4);
  const int input = dup(STDIN_FILENO);
  EXPECT_EQ(run([&] {
              close(STDIN_FILENO);
              const uint32_t result = span_cli_int_all_session(command);
              dup2(input, STDIN_FILENO);
              return result;
            }),
            0u);
  close(input);
  EXPECT_EQ(script_, commands("session 4"));
}

TEST_F(ShowAllFile, ThatFailsWhenItIsClosedIsNotRun) {
  fake.close_result = -1;
  EXPECT_EQ(show_session(4), 0u);
  EXPECT_EQ(show_if(kFc1), 0u);
  EXPECT_EQ(fake.calls("brio"), "");
  EXPECT_TRUE(removed());
}

}  // namespace
}  // namespace testkit
