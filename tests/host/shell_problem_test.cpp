// What a wrong line is told, and where: column, text, and the mode that it was meant for.
#include "tests/host/shell_support.h"

namespace shell {
namespace {

class ShellProblems : public ShellTest {
 protected:
  // "column: text", or "fine" for a command.
  std::string check(std::string_view line, Mode mode) {
    const std::variant<Command, Problem> parsed = parser_.parse(line, mode);
    const Problem* const problem = std::get_if<Problem>(&parsed);
    return problem == nullptr ? "fine" : std::to_string(problem->column) + ": " + problem->text;
  }

  Mode meant_mode(std::string_view line, Mode mode) { return std::get<Problem>(parser_.parse(line, mode)).mode; }

  const Parser parser_{chassis()};
};

TEST_F(ShellProblems, UnknownFirstWord) {
  EXPECT_EQ(check("bogus", Mode::kExec), "0: expected configure, show, copy, test, debug, no, help, exit or end");
  EXPECT_EQ(check("  bogus", Mode::kInterface),
            "2: expected configure, span, no, interface, port, show, copy, test, debug, help, exit or end");
}

TEST_F(ShellProblems, UnknownLaterWord) {
  EXPECT_EQ(check("show bogus", Mode::kExec),
            "5: expected span, rspan-tunnel, running-config, interface, vsan or roles");
  EXPECT_EQ(check("show span session brief now", Mode::kExec), "24: expected the end of the line");
  EXPECT_EQ(check("source interface fc1/1 both", Mode::kSpan),
            "23: expected rx, tx, traffic-type, filter or the end of the line");
  EXPECT_EQ(check("port mode loud", Mode::kInterface), "10: expected span-destination, tunnel-source or normal");
}

TEST_F(ShellProblems, MissingWord) {
  EXPECT_EQ(check("span", Mode::kConfig), "5: expected session or max-queued-packets");
  EXPECT_EQ(check("span session  ", Mode::kConfig), "13: expected session number (1 to 16)");
  EXPECT_EQ(check("no", Mode::kExec), "3: expected debug");
  EXPECT_EQ(check("source vsan", Mode::kSpan), "12: expected VSAN or range of VSANs (0 to 4095)");
}

TEST_F(ShellProblems, AmbiguousWord) {
  EXPECT_EQ(check("s", Mode::kSpan), "0: this may be span, source, suspend or show");
  EXPECT_EQ(check("e", Mode::kExec), "0: this may be exit or end");
}

TEST_F(ShellProblems, WrongSessions) {
  for (const char* wrong : {"0", "17", "4294967299", "x"}) {
    EXPECT_EQ(check(std::string("span session ") + wrong, Mode::kConfig), "13: a session number is 1 to 16");
    EXPECT_EQ(check(std::string("no span session ") + wrong, Mode::kConfig), "16: a session number is 1 to 16");
    EXPECT_EQ(check(std::string("show span session ") + wrong, Mode::kExec),
              "18: expected session number (1 to 16), brief or the end of the line");
  }
}

TEST_F(ShellProblems, WrongVsansAndInterfaces) {
  EXPECT_EQ(check("source vsan 4096", Mode::kSpan), "12: a VSAN is 0 to 4095");
  EXPECT_EQ(check("source filter vsan 10-5", Mode::kSpan), "22: the range ends before it begins");
  EXPECT_EQ(check("source interface fc1/1 filter vsan 4096", Mode::kSpan), "35: a VSAN is 0 to 4095");
  EXPECT_EQ(check("destination interface fc9/99", Mode::kSpan), "22: there is no interface fc9/99");
  EXPECT_EQ(check("interface fc1/1-fc2/3", Mode::kConfig), "16: a range stays on one module and one type of interface");
}

TEST_F(ShellProblems, TextBehindAValue) {
  EXPECT_EQ(check("source interface fc1/1rx", Mode::kSpan), "22: expected a blank or the end of the line");
  EXPECT_EQ(check("source vsan 1,2", Mode::kSpan), "13: expected a blank or the end of the line");
  EXPECT_EQ(check("destination interface fc1/1-2", Mode::kSpan), "27: expected a blank or the end of the line");
}

TEST_F(ShellProblems, CommandsOfAnotherModeAreToldAsSuch) {
  EXPECT_EQ(check("span session 1", Mode::kExec), "0: this is a command of the mode behind \"configure\"");
  EXPECT_EQ(check("suspend", Mode::kConfig), "0: this is a command of the mode behind \"span session SESSION\"");
  EXPECT_EQ(check("no port mode", Mode::kExec), "3: this is a command of the mode behind \"interface INTERFACES\"");
}

TEST_F(ShellProblems, CommandsWithoutANoForm) {
  EXPECT_EQ(check("no configure", Mode::kExec), "3: expected debug");
  EXPECT_EQ(check("no interface fc1/1", Mode::kConfig), "3: expected span or debug");
}

TEST_F(ShellProblems, ModeThatAWrongLineWasMeantFor) {
  EXPECT_EQ(meant_mode("span session 17", Mode::kSpan), Mode::kConfig);
  EXPECT_EQ(meant_mode("interface fc9/99", Mode::kSpan), Mode::kConfig);
  EXPECT_EQ(meant_mode("source vsan x", Mode::kSpan), Mode::kSpan);
  EXPECT_EQ(meant_mode("show span x", Mode::kSpan), Mode::kEvery);
  EXPECT_EQ(meant_mode("bogus", Mode::kSpan), Mode::kEvery);
}

TEST_F(ShellProblems, BytesThatNobodyTypes) {
  EXPECT_EQ(check(std::string("show\0span", 9), Mode::kExec).substr(0, 12), "0: expected ");
  EXPECT_EQ(check("\xff\xfe", Mode::kExec).substr(0, 12), "0: expected ");
  EXPECT_EQ(check(std::string(100000, 'x'), Mode::kExec).substr(0, 12), "0: expected ");
}

}  // namespace
}  // namespace shell
