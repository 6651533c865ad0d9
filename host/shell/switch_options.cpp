#include "host/shell/switch_options.h"

#include <cstdlib>
#include <filesystem>

#include "host/platform/switch.h"
#include "host/shell/say.h"

namespace shell {
namespace {

constexpr uint32_t kLongestWait = 600'000;

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

Status failed(const std::string& error, Status status) {
  say(error);
  return status;
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
                 "Milliseconds to wait for a process; left out, 5000 for the manager, 1000 for others")
      ->option_text("MS")
      ->check(CLI::Range(uint32_t{1}, kLongestWait));
}

// What is said on the command line goes before what is said in the environment.
Status SwitchOptions::open(const std::string& program) const {
  if (connect_option_->count() != 0) return connect(name_, program);
  const std::string name = from_environment();
  const bool own = embedded_ || chassis_option_->count() != 0;
  return own || name.empty() ? start() : connect(name, program);
}

Status SwitchOptions::start() const {
  std::string error;
  std::optional<chassis::Chassis> description = chassis::Chassis::load(chassis_, error);
  if (!description) return failed(error, Status::kUsage);
  host::start_switch(std::move(*description));
  return Status::kDone;
}

Status SwitchOptions::connect(const std::string& name, const std::string& program) const {
  if (is_plain_file(name)) return failed(name + ": neither a run directory nor a socket", Status::kUsage);
  host::Waits waits;
  if (timeout_ != 0) waits = {timeout_, timeout_};
  const std::string error = host::connect_switch(name, program, waits);
  return error.empty() ? Status::kDone : failed(error, Status::kUnreachable);
}

}  // namespace shell
