#include "host/shell/switch_options.h"

#include <cstdlib>
#include <filesystem>

#include "host/shell/say.h"

namespace shell {
namespace {

// A variable that is set to nothing counts as not set.
std::string from_environment() {
  const char* const name = std::getenv("SPAN_CONNECT");
  return name != nullptr ? name : "";
}

// --connect without a name stands for the usual directory; with an empty one it must not.
void check_names(int argc, char** argv) {
  const std::string option = "--connect";
  for (int i = 1; i < argc; ++i) {
    const bool empty_next = argv[i] == option && i + 1 < argc && *argv[i + 1] == '\0';
    if (empty_next || argv[i] == option + '=') throw CLI::ValidationError(option, "a name is expected");
  }
}

// A file of commands is easily taken for the name behind --connect.
bool is_plain_file(const std::string& name) {
  std::error_code ignored;
  return std::filesystem::is_regular_file(name, ignored);
}

}  // namespace

std::string given(const std::string& name) { return name.empty() ? "a name is expected" : ""; }

std::optional<Status> parse(CLI::App& app, int argc, char** argv) {
  try {
    check_names(argc, argv);
    app.parse(argc, argv);
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    const bool told = app.exit(error) == 0 && flush_output();
    return told ? Status::kDone : Status::kUsage;
  }
}

void SwitchOptions::declare(CLI::App& app) {
  chassis_ = chassis::default_description();
  chassis_option_ = app.add_option("--chassis", chassis_, "Description of the switch, for one in this process");
  chassis_option_->option_text("FILE")->check(given);
  connect_option_ =
      app.add_option("--connect", name_, "Use the switch of processes in this run directory, or behind this socket");
  connect_option_->option_text("[NAME]")->expected(0, 1)->excludes(chassis_option_);
  CLI::Option* const embedded =
      app.add_flag("--embedded", embedded_, "Have a switch in this process, also where SPAN_CONNECT names one");
  embedded->option_text(" ")->excludes(connect_option_);
  app.add_option("--timeout", timeout_,
                 "Milliseconds to wait for a process, at most " + std::to_string(longest_wait_) + "; left out, " +
                     std::to_string(waits_.request_ms) + " for the manager, " + std::to_string(waits_.message_ms) +
                     " for others")
      ->option_text("MS")
      ->check(CLI::Range(uint32_t{1}, longest_wait_));
}

Status SwitchOptions::open(const std::string& program) const {
  std::string problem;
  const Status status = open(program, problem);
  if (status != Status::kDone) say(problem);
  return status;
}

// What is said on the command line goes before what is said in the environment.
Status SwitchOptions::open(const std::string& program, std::string& problem) const {
  if (connect_option_->count() != 0) return connect(name_, program, problem);
  const std::string name = from_environment();
  const bool own = embedded_ || chassis_option_->count() != 0;
  return own || name.empty() ? start(problem) : connect(name, program, problem);
}

Status SwitchOptions::start(std::string& problem) const {
  std::optional<chassis::Chassis> description = chassis::Chassis::load(chassis_, problem);
  if (!description) return Status::kUsage;
  host::start_switch(std::move(*description));
  return Status::kDone;
}

Status SwitchOptions::connect(const std::string& name, const std::string& program, std::string& problem) const {
  if (is_plain_file(name)) {
    problem = name + ": neither a run directory nor a socket";
    return Status::kUsage;
  }
  problem = host::connect_switch(name, program, timeout_ != 0 ? host::Waits{timeout_, timeout_} : waits_);
  return problem.empty() ? Status::kDone : Status::kUnreachable;
}

}  // namespace shell
