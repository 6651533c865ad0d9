// span-linecard: modules of the switch as a process.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <optional>

#include "host/nodes/serve.h"
#include "host/transport/descriptors.h"

namespace nodes {
namespace {

constexpr char kFooter[] =
    "SIGTERM and SIGINT end it. Exit status:\n"
    "  0  done\n"
    "  1  the modules cannot be served: another process does, or their sockets cannot be made\n"
    "  2  a wrong option, or a module that is not there or has nothing to serve\n"
    "  3  the SPAN manager could not be reached";

enum ExitStatus { kDone = 0, kNotServed = 1, kUsage = 2, kUnreachable = 3 };

constexpr uint32_t kLastModule = 232;
constexpr Milliseconds kForEver = std::chrono::hours(24 * 365);

struct Options {
  std::string run_directory;
  std::string connect;
  std::vector<uint32_t> modules;
  bool supervisor = false;
  std::optional<uint32_t> wait_seconds;
  std::string socket_mode;
};

std::string given(const std::string& name) { return name.empty() ? "a name is expected" : ""; }

std::string is_socket_mode(const std::string& text) {
  const bool octal = text.size() >= 3 && text.size() <= 4 && text.find_first_not_of("01234567") == std::string::npos;
  const auto mode = octal ? std::stoul(text, nullptr, 8) : 0;
  return (mode & ~0666ul) == 0 && (mode & 0600) == 0600 ? "" : "not a mode from 0600 to 0666";
}

void declare(CLI::App& app, Options& options) {
  CLI::Option* const run_directory =
      app.add_option("--run-dir", options.run_directory,
                     "Where the sockets are; left out, SPAN_RUN_DIR, or span in XDG_RUNTIME_DIR, or /run/span");
  run_directory->option_text("DIR")->check(given);
  app.add_option("--connect", options.connect, "The same, or the socket of a SPAN manager there")
      ->option_text("NAME")
      ->check(given)
      ->excludes(run_directory);
  app.add_option("--module", options.modules, "Serve these modules only; all that run when left out")
      ->option_text("N ...")
      ->check(CLI::Range(1u, kLastModule));
  app.add_flag("--supervisor", options.supervisor, "Serve the module information of the active supervisor");
  app.add_option("--wait", options.wait_seconds, "How long to wait for the SPAN manager; for ever when left out")
      ->option_text("SECONDS")
      ->check(CLI::Range(0u, 1'000'000u));
  app.add_option("--socket-mode", options.socket_mode, "That of the SPAN manager's socket when left out")
      ->option_text("MODE")
      ->check(is_socket_mode);
  app.set_version_flag("--version", std::string(kProgram) + " " SPAN_VERSION);
  app.footer(kFooter);
}

// Raised when the process is told to end.
transport::Interrupt& end() {
  static transport::Interrupt raised;
  return raised;
}

void await_signals() {
  end();
  for (const int number : {SIGHUP, SIGPIPE}) std::signal(number, SIG_IGN);
  for (const int number : {SIGINT, SIGTERM}) std::signal(number, [](int) { end().raise(); });
}

Place place_of(const Options& options) {
  Place place;
  const std::string name = options.connect.empty() ? options.run_directory : options.connect;
  place.endpoint = transport::endpoint(name.empty() ? transport::default_run_directory() : name);
  if (!options.socket_mode.empty())
    place.socket_mode = static_cast<mode_t>(std::stoul(options.socket_mode, nullptr, 8));
  return place;
}

struct Unreachable : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Nothing when the process was told to end before.
std::optional<Description> ask_for_description(transport::Channel& manager, const std::string& socket,
                                               Milliseconds patience) {
  transport::Welcome welcome;
  const auto say_of_socket = [&socket](const std::string& text) { say(socket + ": " + text); };
  const int error = await_manager(manager, end(), patience, say_of_socket, welcome);
  if (error == EINTR) return std::nullopt;
  if (error != 0) throw Unreachable(socket + ": " + std::strerror(error));
  if (welcome.role != transport::Role::kActive) throw Unreachable(socket + ": this is not the active SPAN manager");
  std::string mistake;
  auto chassis = chassis::Chassis::parse(welcome.chassis, welcome.chassis_name, mistake);
  if (!chassis) throw Unreachable(socket + ": the SPAN manager describes no switch: " + mistake);
  return Description{welcome.chassis, std::move(*chassis)};
}

ExitStatus run(const Options& options) {
  const Place place = place_of(options);
  transport::Channel manager(place.endpoint.manager, kProgram, &end());
  const Milliseconds patience = options.wait_seconds ? std::chrono::seconds(*options.wait_seconds) : kForEver;
  const auto description = ask_for_description(manager, place.endpoint.manager, patience);
  if (!description) return kDone;
  const Wanted wanted = {{options.modules.begin(), options.modules.end()}, options.supervisor};
  serve(place, *description, select(description->chassis, wanted), std::move(manager), end());
  return kDone;
}

ExitStatus guarded_run(const Options& options) {
  try {
    return run(options);
  } catch (const Unreachable& error) {
    say(error.what());
    return kUnreachable;
  } catch (const std::invalid_argument& error) {
    say(error.what());
    return kUsage;
  } catch (const std::exception& error) {
    say(error.what());
    return kNotServed;
  }
}

}  // namespace
}  // namespace nodes

int main(int argc, char** argv) {
  transport::hold_standard_files();
  nodes::await_signals();
  CLI::App app("Modules of a switch with port mirroring, as a process.", nodes::kProgram);
  nodes::Options options;
  nodes::declare(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? nodes::kDone : nodes::kUsage;
  }
  return nodes::guarded_run(options);
}
