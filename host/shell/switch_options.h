// Which switch a program is for: one inside its process, or one of processes.
#ifndef HOST_SHELL_SWITCH_OPTIONS_H
#define HOST_SHELL_SWITCH_OPTIONS_H

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "host/platform/switch.h"
#include "host/shell/session.h"

namespace shell {

class SwitchOptions {
 public:
  // `waits` are those without --timeout, which says `longest_wait` at most.
  explicit SwitchOptions(const host::Waits& waits = {}, uint32_t longest_wait = kLongestWait)
      : waits_(waits), longest_wait_(longest_wait) {}

  void declare(CLI::App& app);

  // Starts the switch in this process or connects to it, as the program `program`. Tells why it could not.
  Status open(const std::string& program) const;

  // The same, but leaves the telling to the caller.
  Status open(const std::string& program, std::string& problem) const;

 private:
  static constexpr uint32_t kLongestWait = 600'000;

  host::Waits waits_;
  uint32_t longest_wait_;
  std::string chassis_;
  std::string name_;  // of a run directory or a manager's socket
  uint32_t timeout_ = 0;
  bool embedded_ = false;
  CLI::Option* chassis_option_ = nullptr;
  CLI::Option* connect_option_ = nullptr;

  Status start(std::string& problem) const;
  Status connect(const std::string& name, const std::string& program, std::string& problem) const;
};

// Reads the command line. What it returns is the program's end: help was wanted, or something is wrong; both are told.
std::optional<Status> parse(CLI::App& app, int argc, char** argv);

// An empty name is a slip, most often of a variable that is not set. What is wrong with a name, empty = nothing.
std::string given(const std::string& name);

}  // namespace shell

#endif
