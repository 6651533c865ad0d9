// What tests of the running configuration share: a switch with every kind of interface, and its configuration as text.
#ifndef TESTS_HOST_RUNNING_CONFIG_SUPPORT_H
#define TESTS_HOST_RUNNING_CONFIG_SUPPORT_H

#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "host/manager/config.h"
#include "host/platform/switch.h"
#include "host/shell/record.h"
#include "host/shell/redirect.h"
#include "host/shell/running_config.h"
#include "host/shell/session.h"

namespace shell {

class RunningConfigTest : public testing::Test {
 protected:
  RunningConfigTest() { start(); }

  // The switch anew, as it is before anybody has configured it.
  void start() {
    host::start_switch(description());
    session_.emplace(host::switch_chassis(), Operator{"ann", &host::switch_chassis().roles().front()});
  }

  Status run(const std::string& line) {
    Status status = Status::kDone;
    output_ = capture_.of([&] { status = session_->run(line).status; }).value_or("not captured");
    return status;
  }

  // Runs lines that are all done and print nothing.
  void configure(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
      EXPECT_EQ(run(line), Status::kDone) << line << "\n" << output_;
      EXPECT_EQ(output_, "") << line;
    }
  }

  std::string screen(const std::string& line) {
    EXPECT_EQ(run(line), Status::kDone) << line;
    return output_;
  }

  // What is told beside the text.
  std::vector<std::string> warnings() const {
    const Parser parser(host::switch_chassis());
    const auto parsed = parser.parse("show running-config", Mode::kExec);
    const CommandRecord record({"ann", &host::switch_chassis().roles().front()}, nullptr, std::get<Command>(parsed), 0);
    return unsaid(host::switch_chassis(), *record.get());
  }

  std::string text() { return screen("show running-config"); }
  std::string section() { return screen("show running-config span"); }

  void replay(const std::string& text) {
    std::istringstream lines(text);
    std::vector<std::string> all;
    for (std::string line; std::getline(lines, line);) all.push_back(line);
    configure(all);
  }

  // The text makes a new switch what this one is, and that one has the same text.
  void expect_inverse() {
    const manager::Config state = host::configuration();
    const std::string before = text();
    EXPECT_TRUE(before.ends_with(section() + "end\n")) << before;
    start();
    replay(before);
    EXPECT_TRUE(host::configuration() == state) << before << "--- and again\n" << text();
    EXPECT_EQ(text(), before);
  }

  std::string output_;
  std::optional<Session> session_;

 private:
  static const chassis::Chassis& description() {
    static const chassis::Chassis parsed = [] {
      std::string error;
      auto read = chassis::Chassis::parse(kSwitch, "test.toml", error);
      EXPECT_EQ(error, "");
      return *read;
    }();
    return parsed;
  }

  static constexpr char kSwitch[] = R"(
name = "lab"
vsans = "1-40,4000-4095"
fcip = "1-2"
[[module]]
number = 1
name = "line card"
fc-ports = "1-12"
iscsi-ports = "1-2"
[[module]]
number = 2
name = "line card"
fc-ports = "1-4"
[[module]]
number = 5
name = "supervisor"
supervisor = true
inband = 0
[[port-channel]]
number = 1
members = ["fc1/9-10"]
[[port-channel]]
number = 2
subtype = 1
members = ["fc1/11"]
[[svc]]
module = 2
port = 1
initiator = 201
target = 202
management = 203
[[svc]]
module = 2
port = 2
target = 204
[[rspan-tunnel]]
number = 1
ports = ["fc2/4"]
[[rspan-tunnel]]
number = 2
ports = ["fc2/3"]
[[role]]
name = "operator"
interfaces = "all"
vsans = "all"
)";

  Capture capture_;
};

}  // namespace shell

#endif
