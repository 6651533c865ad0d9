// spand: the SPAN manager as a daemon, and what its operators ask of it.
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "host/daemon/access.h"
#include "host/daemon/directories.h"
#include "host/daemon/fit.h"
#include "host/daemon/say.h"
#include "host/daemon/serve.h"
#include "host/transport/channel.h"
#include "host/transport/descriptors.h"
#include "host/transport/endpoints.h"
#include "platform/syserr.h"

namespace spand {
namespace {

constexpr char kFooter[] =
    "SIGTERM and SIGINT end it. Exit status:\n"
    "  0  done\n"
    "  1  refused: it cannot serve, or not take over; the state does not fit the switch\n"
    "  2  a wrong option, a description or a state that cannot be read\n"
    "  3  there is no standby manager to take over";

constexpr transport::Milliseconds kTakeOverPatience{30'000};

constexpr uint64_t kAuditLines = 20;

enum ExitStatus { kDone = 0, kRefused = 1, kUsage = 2, kNobody = 3 };

struct Options {
  std::string chassis = chassis::default_description();
  std::string run_directory = transport::default_run_directory();
  std::string state_directory = default_state_directory();
  std::string group;
  std::string socket_mode = "0660";
  std::string audit_lines;
  bool standby = false;
  bool forget_unknown = false;
  bool take_over = false;
  bool check = false;
  bool audit = false;
};

std::string given(const std::string& name) { return name.empty() ? "a name is expected" : ""; }

std::string is_socket_mode(const std::string& text) {
  const bool octal = text.size() >= 3 && text.size() <= 4 && text.find_first_not_of("01234567") == std::string::npos;
  const mode_t mode = octal ? static_cast<mode_t>(std::stoul(text, nullptr, 8)) : 0;
  return (mode & ~mode_t{0666}) == 0 && (mode & 0600) == 0600 ? "" : "not a mode from 0600 to 0666";
}

std::string is_group(const std::string& name) { return find_group(name) ? "" : "there is no group " + name; }

std::string is_line_count(const std::string& text) {
  const bool digits = text.size() <= 9 && text.find_first_not_of("0123456789") == std::string::npos;
  return digits ? "" : "not a number of lines";
}

// Without what it excludes, which would fill the help.
CLI::Option* add_flag(CLI::App& app, const char* name, bool& flag, const char* text) {
  return app.add_flag(name, flag, text)->option_text(" ");
}

void declare_service(CLI::App& app, Options& options) {
  app.add_option("--chassis", options.chassis, "Description of the switch")->option_text("FILE")->check(given);
  app.add_option("--run-dir", options.run_directory,
                 "Where the sockets are: SPAN_RUN_DIR, XDG_RUNTIME_DIR/span or /run/span")
      ->option_text("DIR")
      ->check(given);
  app.add_option("--state", options.state_directory,
                 "Where the state is kept: STATE_DIRECTORY, /var/lib/span (root) or ~/.local/state/span")
      ->option_text("DIR")
      ->check(given);
  app.add_option("--group", options.group, "Who may change the switch, beside root; this process's group when left out")
      ->option_text("NAME|GID")
      ->check(is_group);
  app.add_option("--socket-mode", options.socket_mode, "0660; with 0666 everybody may ask, if not change")
      ->option_text("MODE")
      ->check(is_socket_mode);
  add_flag(app, "--standby", options.standby, "Wait as a stateless standby until told to take over");
  add_flag(app, "--forget-unknown", options.forget_unknown,
           "Forget the part of the state that does not fit the switch");
}

void declare_questions(CLI::App& app, Options& options) {
  auto* const take_over = add_flag(app, "--take-over", options.take_over, "Tell the standby manager to take over");
  auto* const check =
      add_flag(app, "--check", options.check, "Tell whether the state fits the switch; changes nothing");
  auto* const audit = app.add_option("--audit", options.audit_lines, "Show the last changes, 20 when N is left out");
  audit->option_text("[N]")->expected(0, 1)->check(is_line_count);
  take_over->excludes(check)->excludes(audit);
  check->excludes(audit);
  for (auto* const question : {take_over, check, audit}) {
    question->excludes("--standby")->excludes("--forget-unknown");
  }
  app.set_version_flag("--version", "spand " SPAN_VERSION);
  app.footer(kFooter);
}

struct WrongDescription : std::runtime_error {
  using std::runtime_error::runtime_error;
};

Description read_description(const std::string& path) {
  std::string error;
  auto toml = chassis::read_description(path, error);
  auto description = toml ? chassis::Chassis::parse(*toml, path, error) : std::nullopt;
  if (!description) throw WrongDescription(error);
  return {path, *std::move(toml), *std::move(description)};
}

// ---- Questions ------------------------------------------------------------------------------------------------------

int take_over(const Options& options) {
  const std::string socket = transport::standby_socket(options.run_directory);
  transport::Channel channel(socket, "spand --take-over");
  transport::Message answer{};
  const int error = channel.call(transport::Type::kTakeOver, {}, answer, kTakeOverPatience);
  if (const auto failed = transport::decode<transport::Failed>(answer.body);
      error != 0 && answer.type == transport::Type::kFailed && failed) {
    say(failed->text);
    return kRefused;
  }
  if (error != 0) {
    say(socket + ": " + std::strerror(error));
    return error == ENOENT || error == ECONNREFUSED ? kNobody : kRefused;
  }
  const auto reply = transport::decode<transport::Reply>(answer.body);
  if (reply && reply->status == 0) return kDone;
  say(reply ? syserr2str(reply->status) : "the answer makes no sense");
  return kRefused;
}

size_t sessions_of(const manager::Config& config) {
  return static_cast<size_t>(std::ranges::count(config.sessions, true, &manager::Session::configured));
}

int check(const Options& options, const Description& description) {
  const chassis::Chassis& chassis = description.chassis;
  std::printf("switch %s: %zu modules, %zu interfaces, %zu VSANs\n", chassis.name().c_str(), chassis.modules().size(),
              chassis.interfaces().size(), chassis.vsans().count());
  const auto config = look_into_state(options.state_directory);
  if (!config) {
    std::printf("state %s: none yet\n", options.state_directory.c_str());
    return kDone;
  }
  std::printf("state %s: %zu sessions, %zu port modes, drop threshold %u\n", options.state_directory.c_str(),
              sessions_of(*config), config->port_modes.size(), config->threshold);
  const Fit possible = fit(chassis, *config);
  for (const std::string& misfit : possible.misfits) std::printf("does not fit: %s\n", misfit.c_str());
  return possible.misfits.empty() ? kDone : kRefused;
}

int show_audit(const Options& options) {
  const uint64_t lines = options.audit_lines.empty() ? kAuditLines : std::stoul(options.audit_lines);
  std::fputs(audit_table(read_audit(options.state_directory, lines)).c_str(), stdout);
  return kDone;
}

// ---- The daemon -----------------------------------------------------------------------------------------------------

int serve(const Options& options, const Description& description) {
  serve({.run_directory = options.run_directory,
         .state_directory = options.state_directory,
         .group = options.group.empty() ? getegid() : find_group(options.group).value_or(getegid()),
         .socket_mode = static_cast<mode_t>(std::stoul(options.socket_mode, nullptr, 8)),
         .standby = options.standby,
         .unknown = options.forget_unknown ? Unknown::kForget : Unknown::kRefuse},
        description);
  return kDone;
}

int run(const Options& options) {
  if (options.take_over) return take_over(options);
  if (options.audit) return show_audit(options);
  const Description description = read_description(options.chassis);
  return options.check ? check(options, description) : serve(options, description);
}

// What is told of a failure is the same whatever was asked for.
int run_or_tell(const Options& options) {
  try {
    return run(options);
  } catch (const StateMisfit& error) {
    say_misfits(error);
    say("start it with --forget-unknown to forget these");
  } catch (const StateUnreadable& error) {
    say(error.what());
    return kUsage;
  } catch (const WrongDescription& error) {
    say(error.what());
    return kUsage;
  } catch (const std::exception& error) {
    say(error.what());
  }
  return kRefused;
}

}  // namespace
}  // namespace spand

int main(int argc, char** argv) {
  umask(S_IRWXG | S_IRWXO);
  std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is a disk that is full
  transport::hold_standard_files();
  spand::Options options;
  CLI::App app("The SPAN manager as a daemon", "spand");
  declare_service(app, options);
  declare_questions(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? spand::kDone : spand::kUsage;
  }
  options.audit = app.count("--audit") != 0;
  return spand::run_or_tell(options);
}
