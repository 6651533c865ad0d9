// The commands about the drop threshold, tunnels and the inside of the manager, at a running switch.
#include "tests/host/running_config_support.h"

namespace shell {
namespace {

class ShellDiagnostics : public RunningConfigTest {};

TEST_F(ShellDiagnostics, DropThreshold) {
  EXPECT_EQ(screen("show span max-queued-packets"), "Max-Queued-Packets for SPAN sessions: 1024\n");
  configure({"configure", "span max-queued-packets 65535"});
  EXPECT_EQ(screen("show span max-queued-packets"), "Max-Queued-Packets for SPAN sessions: 65535\n");
  configure({"no span max-queued-packets 7"});
  EXPECT_EQ(screen("show span max-queued-packets"), "Max-Queued-Packets for SPAN sessions: 1024\n");
  configure({"span max-queued-packets 1", "no span max-queued-packets"});
  EXPECT_EQ(host::configuration().threshold, manager::kDefaultThreshold);
}

TEST_F(ShellDiagnostics, WrongThresholdsChangeNothing) {
  configure({"configure", "span max-queued-packets 7"});
  for (const char* wrong : {"0", "65536", "4294967295", "-1", "x", ""}) {
    EXPECT_EQ(run(std::string("span max-queued-packets ") + wrong), Status::kUsage) << wrong;
  }
  EXPECT_EQ(host::configuration().threshold, 7u);
}

TEST_F(ShellDiagnostics, ThresholdOfAManagerThatIsAway) {
  host::set_manager_reachable(false);
  EXPECT_EQ(run("show span max-queued-packets"), Status::kUnreachable);
  EXPECT_EQ(output_, "command show drop-threshold failed: 1077149717\n");
}

TEST_F(ShellDiagnostics, TunnelsOfPorts) {
  EXPECT_EQ(screen("show rspan-tunnel interface fc2/4"), "    Rspan tunnel is rspan-tunnel 1\n");
  EXPECT_EQ(screen("show rspan-tunnel interface fc1/1"), "");
  configure({"configure", "interface fc2/4", "port mode normal"});
  EXPECT_EQ(screen("show rspan-tunnel interface fc2/4"), "");
  host::set_manager_reachable(false);
  EXPECT_EQ(run("show rspan-tunnel interface fc2/4"), Status::kUnreachable);
}

// The library leaves its line open; the prompt must not stand on it.
TEST_F(ShellDiagnostics, Test0IsALine) { EXPECT_EQ(screen("test span 0"), "span_cli_test: testing\n"); }

TEST_F(ShellDiagnostics, WrongTests) {
  EXPECT_EQ(run("test span 6"), Status::kUsage);
  EXPECT_EQ(run("test span -1"), Status::kUsage);
}

// Four commands, in the words of the grammar.
TEST_F(ShellDiagnostics, AllRunsItsScriptAsCommands) {
  std::vector<std::string> lines;
  host::set_script_runner([&](std::string_view line) {
    lines.emplace_back(line);
    EXPECT_NE(session_->run(line).status, Status::kUsage) << line;
  });
  run("show span internal all session 3");
  EXPECT_EQ(lines, (std::vector<std::string>{
                       "show span internal info session 3", "show span internal event-history session 3",
                       "show span internal event-history msgs", "show span internal event-history errors"}));
  lines.clear();
  run("show span internal all interface port-channel 1");
  EXPECT_EQ(lines, (std::vector<std::string>{"show span internal info interface port-channel 1",
                                             "show span internal event-history interface port-channel 1",
                                             "show span internal event-history msgs",
                                             "show span internal event-history errors"}));
  host::set_script_runner(nullptr);
}

TEST_F(ShellDiagnostics, DropCountersOfTheLineCards) {
  const std::string text = screen("show span drop-counters");
  EXPECT_NE(text.find("Cannot get info about module 3\n"), std::string::npos) << text;
}

}  // namespace
}  // namespace shell
