// spansh: the operator's shell of a switch, in this process or made of processes.
#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>

#include "host/platform/switch.h"
#include "host/shell/console.h"
#include "host/shell/line_editor.h"
#include "host/shell/say.h"
#include "host/shell/startup.h"
#include "host/shell/switch_options.h"
#include "host/transport/descriptors.h"

namespace shell {
namespace {

constexpr char kExitStatus[] =
    "Commands come from FILE, from -c, or from standard input; a wrong or refused one does not keep\n"
    "the next ones from running. Without a terminal the exit status is that of the worst command, those\n"
    "of the start-up file included:\n"
    "  0  all done\n"
    "  1  the switch refused something\n"
    "  2  a wrong command, option or file, or output that could not be written\n"
    "  3  the SPAN manager could not be reached";

struct Options {
  std::vector<std::string> commands;
  SwitchOptions which;
  std::string role;
  std::string startup;
  std::string file;
  bool echo = false;
};

void declare(CLI::App& app, Options& options) {
  CLI::Option* const commands =
      app.add_option("-c", options.commands, "Run a command; may be repeated, all run in turn");
  commands->option_text("COMMAND")->allow_extra_args(false);
  app.add_option("FILE", options.file, "Play a file of commands, each shown with its output")
      ->option_text(" ")
      ->check(given)
      ->excludes(commands);
  options.which.declare(app);
  app.add_option("--startup", options.startup,
                 "Configure the switch from a file first; what fails is told with its line")
      ->option_text("FILE")
      ->check(given);
  app.add_option("--role", options.role, "Role of the operator; the first one of the description when left out")
      ->option_text("NAME")
      ->check(given);
  app.add_flag("--echo", options.echo, "Show each command, behind its prompt");
  app.set_version_flag("--version", "spansh " SPAN_VERSION);
  app.footer(kExitStatus);
}

std::string user_name() {
  const passwd* const user = getpwuid(geteuid());
  return user != nullptr ? user->pw_name : "uid " + std::to_string(geteuid());
}

// Null when there is no such role, or none at all.
const chassis::Role* choose_role(const chassis::Chassis& chassis, const std::string& name) {
  if (!name.empty()) return chassis.find_role(name);
  return chassis.roles().empty() ? nullptr : &chassis.roles().front();
}

std::string no_role(const chassis::Chassis& chassis, const std::string& name) {
  if (chassis.roles().empty()) return chassis.name() + " has no operator roles";
  std::string names;
  for (const chassis::Role& role : chassis.roles()) names += (names.empty() ? "" : ", ") + role.name;
  return "there is no role " + name + "; roles: " + names;
}

int exit_status(Status status) { return static_cast<int>(status); }

// Commands are typed, and shown as they are.
bool is_typed(const Options& options) {
  return options.file.empty() && options.commands.empty() && isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0;
}

Status play(Session& session, const Options& options, LineSource& source, Echo echo) {
  Console console(session, options.echo && echo == Echo::kNone ? Echo::kShell : echo);
  host::set_script_runner([&](std::string_view line) { console.run(std::string(line)); });
  const Status worst = console.play(source);
  host::set_script_runner(nullptr);
  return worst;
}

Status play_file(Session& session, const Options& options) {
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::fopen(options.file.c_str(), "re"), &std::fclose);
  if (file == nullptr) {
    say(options.file + ": " + std::strerror(errno));
    return Status::kUsage;
  }
  FileLines lines(file.get(), options.file);
  return play(session, options, lines, Echo::kShell);
}

Status play_all(Session& session, const Options& options) {
  if (!options.file.empty()) return play_file(session, options);
  if (!options.commands.empty()) {
    ListedLines lines(options.commands);
    return play(session, options, lines, Echo::kNone);
  }
  if (is_typed(options)) {
    // Ctrl-C is a key of the editor; while a command runs, it ends what that waits for.
    std::signal(SIGINT, [](int) { host::interrupt_switch(); });
    LineEditor editor(session);
    play(session, options, editor, Echo::kTerminal);
    return Status::kDone;
  }
  FileLines lines(stdin, "standard input");
  return play(session, options, lines, Echo::kNone);
}

// The switch as the start-up file has it, then the commands.
Status run_switch(const Operator& who, const Options& options) {
  std::optional<Status> startup = Status::kDone;
  if (!options.startup.empty()) startup = run_startup(host::switch_chassis(), who, options.startup);
  if (!startup) return Status::kUsage;
  Session session(host::switch_chassis(), who);
  const Status worst = play_all(session, options);
  return is_typed(options) ? worst : std::max(*startup, worst);
}

int run(const Options& options) {
  if (const Status status = options.which.open("spansh"); status != Status::kDone) return exit_status(status);
  const chassis::Role* const role = choose_role(host::switch_chassis(), options.role);
  if (role == nullptr) {
    say(no_role(host::switch_chassis(), options.role));
    return exit_status(Status::kUsage);
  }
  return exit_status(run_switch({user_name(), role}, options));
}

}  // namespace
}  // namespace shell

int main(int argc, char** argv) {
  transport::hold_standard_files();
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  std::setlocale(LC_CTYPE, "");
  CLI::App app{"The operator's shell of a switch with port mirroring.", "spansh"};
  shell::Options options;
  shell::declare(app, options);
  if (const auto end = shell::parse(app, argc, argv)) return shell::exit_status(*end);
  return shell::run(options);
}
