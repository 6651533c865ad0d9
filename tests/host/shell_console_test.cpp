// Lines played into a session: their sources, their echo, and the words about wrong ones.
#include "host/shell/console.h"

#include <unistd.h>

#include "tests/host/shell_support.h"

namespace shell {
namespace {

class ShellConsole : public ShellTest {
 protected:
  Status play(std::vector<std::string> lines, Echo echo) {
    ListedLines source(std::move(lines));
    return play(source, echo);
  }

  Status play(LineSource& source, Echo echo) {
    Console console(session_, echo);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const Status worst = console.play(source);
    output_ = testing::internal::GetCapturedStdout();
    errors_ = testing::internal::GetCapturedStderr();
    return worst;
  }

  // Plays a file with this text.
  Status play_text(const std::string& text) {
    std::FILE* const file = std::tmpfile();
    std::fwrite(text.data(), 1, text.size(), file);
    std::rewind(file);
    FileLines source(file, "commands");
    const Status worst = play(source, Echo::kNone);
    std::fclose(file);
    return worst;
  }

  Session session_{chassis(), {"ann", role("operator")}};
  std::string output_;
  std::string errors_;
};

TEST_F(ShellConsole, EchoShowsPromptAndLine) {
  EXPECT_EQ(play({"! a comment", "", "configure", "show vsan"}, Echo::kShell), Status::kDone);
  EXPECT_EQ(output_,
            "! a comment\n"
            "\n"
            "lab# configure\n"
            "lab(config)# show vsan\n"
            "21 VSANs\n"
            "  1-20,100\n");
  EXPECT_EQ(errors_, "");
}

TEST_F(ShellConsole, NoEchoShowsOutputOnly) {
  EXPECT_EQ(play({"show vsan"}, Echo::kNone), Status::kDone);
  EXPECT_EQ(output_, "21 VSANs\n  1-20,100\n");
}

TEST_F(ShellConsole, WrongLinesAreShownAboveTheCaret) {
  EXPECT_EQ(play({"show vsam"}, Echo::kNone), Status::kUsage);
  EXPECT_EQ(output_, "");
  EXPECT_EQ(errors_,
            "show vsam\n"
            "     ^ expected span, rspan-tunnel, running-config, interface, vsan or roles\n");
}

TEST_F(ShellConsole, TypedLinesAreNotShownAgain) {
  EXPECT_EQ(play({"show vsam"}, Echo::kTerminal), Status::kUsage);
  EXPECT_EQ(errors_, "          ^ expected span, rspan-tunnel, running-config, interface, vsan or roles\n");
}

// The screen of standard error has not seen the echo.
TEST_F(ShellConsole, EchoedLinesAreShownAgainWhereTheyAreNotSeen) {
  EXPECT_EQ(play({"show vsam"}, Echo::kShell), Status::kUsage);
  EXPECT_EQ(output_, "lab# show vsam\n");
  EXPECT_EQ(errors_,
            "show vsam\n"
            "     ^ expected span, rspan-tunnel, running-config, interface, vsan or roles\n");
}

TEST_F(ShellConsole, CaretMindsTabsAndWideCharacters) {
  play({"\tshow \xc3\xa4 x"}, Echo::kNone);
  EXPECT_EQ(errors_.substr(errors_.find('\n') + 1, 8), "\t     ^ ");
  play({"show vsan \xc3\xa4\xc3\xa4"}, Echo::kNone);
  EXPECT_EQ(errors_.substr(errors_.find('\n') + 1, 12), "          ^ ");
}

TEST_F(ShellConsole, ControlCharactersDoNotReachTheScreen) {
  play({"show \x1b[2J\x07"}, Echo::kShell);
  EXPECT_EQ((output_ + errors_).find('\x1b'), std::string::npos);
  EXPECT_NE(errors_.find("show ?[2J?"), std::string::npos);
}

TEST_F(ShellConsole, GoesOnAfterWrongAndRefusedLines) {
  EXPECT_EQ(play({"configure", "span session 3", "source interface fc1/9", "source vsan 5"}, Echo::kNone),
            Status::kRefused);
  EXPECT_EQ(play({"bogus", "show span session 3 brief"}, Echo::kNone), Status::kUsage);
  EXPECT_NE(output_.find(" 3  "), std::string::npos);
}

TEST_F(ShellConsole, TheWorstStatusWins) {
  host::set_manager_reachable(false);
  EXPECT_EQ(play({"show span session", "bogus", "show vsan"}, Echo::kNone), Status::kUnreachable);
}

TEST_F(ShellConsole, ExitAtTheTopEndsThePlay) {
  EXPECT_EQ(play({"configure", "exit", "exit", "bogus"}, Echo::kNone), Status::kDone);
  EXPECT_TRUE(session_.left());
}

TEST_F(ShellConsole, FilesMayEndTheirLinesInAnyWay) {
  EXPECT_EQ(play_text("configure\r\nend\nshow vsan"), Status::kDone);
  EXPECT_EQ(output_, "21 VSANs\n  1-20,100\n");
  EXPECT_EQ(play_text(""), Status::kDone);
  EXPECT_EQ(play_text("\n\n"), Status::kDone);
}

TEST_F(ShellConsole, LongestLine) {
  EXPECT_EQ(play_text("!" + std::string(4095, 'x') + "\nshow vsan\n"), Status::kDone);
  EXPECT_NE(output_, "");
  EXPECT_EQ(play_text("\n!" + std::string(4096, 'x') + "\nshow vsan\n"), Status::kUsage);
  EXPECT_EQ(output_, "");
  EXPECT_EQ(errors_, "spansh: commands:2: line longer than 4096 characters\n");
  EXPECT_EQ(play_text("!" + std::string(4095, 'x') + "\r\nshow vsan\r\n"), Status::kDone);
  EXPECT_NE(output_, "");
  EXPECT_EQ(play_text("!" + std::string(4096, 'x') + "\r\nshow vsan\r\n"), Status::kUsage);
  EXPECT_EQ(play({"!" + std::string(4095, 'x'), "show vsan"}, Echo::kNone), Status::kDone);
  EXPECT_EQ(play({"!" + std::string(4096, 'x'), "show vsan"}, Echo::kNone), Status::kUsage);
  EXPECT_EQ(errors_, "spansh: -c: line longer than 4096 characters\n");
  EXPECT_EQ(output_, "");
}

TEST_F(ShellConsole, UnreadableFile) {
  std::FILE* const directory = std::fopen("/", "r");
  FileLines source(directory, "commands");
  EXPECT_EQ(play(source, Echo::kNone), Status::kUsage);
  EXPECT_EQ(errors_, "spansh: commands: Is a directory\n");
  std::fclose(directory);
}

TEST_F(ShellConsole, OutputThatCannotBeWrittenEndsThePlay) {
  ListedLines source({"show vsan", "show vsan", "show vsan"});
  Console console(session_, Echo::kNone);
  std::fflush(stdout);
  const int saved = dup(STDOUT_FILENO);
  ASSERT_NE(std::freopen("/dev/full", "w", stdout), nullptr);
  testing::internal::CaptureStderr();
  const Status status = console.play(source);
  const std::string errors = testing::internal::GetCapturedStderr();
  std::clearerr(stdout);
  dup2(saved, STDOUT_FILENO);
  close(saved);
  EXPECT_EQ(status, Status::kUsage);
  EXPECT_EQ(errors, "spansh: standard output: No space left on device\n");
  EXPECT_NE(source.next(""), std::nullopt);
}

}  // namespace
}  // namespace shell
