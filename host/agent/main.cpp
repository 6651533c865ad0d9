// span-agent: port mirroring in SNMP, as a subagent of snmpd.
#include <CLI/CLI.hpp>
#include <bitset>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "host/agent/asking.h"
#include "host/agent/master.h"
#include "host/agent/mirror.h"
#include "host/agent/notifier.h"
#include "host/agent/smon.h"
#include "host/agent/watch.h"
#include "host/platform/switch.h"
#include "host/shell/say.h"
#include "host/shell/startup.h"
#include "host/shell/switch_options.h"
#include "host/transport/descriptors.h"
#include "libspan.h"

namespace agent {
namespace {

using shell::Status;

constexpr char kExitStatus[] =
    "Runs until SIGTERM or SIGINT. Exit status:\n"
    "  0  ended as it was told to\n"
    "  1  the switch is another one now, or refused a command of the start-up file\n"
    "  2  a wrong option or file, or objects that cannot be registered\n"
    "  3  the SPAN manager was lost in the midst of the start-up file";

constexpr uint32_t kShortestPeriod = 100;
constexpr uint32_t kLongestPeriod = 3'600'000;
constexpr uint32_t kSearchPeriod = 500;
constexpr uint32_t kTraceEvent = 1;  // of the library's traces

// Nothing waits longer than an answer may take; a module has had the time of a look to answer.
constexpr auto kLongestWait = static_cast<uint32_t>(std::chrono::milliseconds(kPatience).count());
constexpr host::Waits kWaits = {kLongestWait, 200};

struct Options {
  shell::SwitchOptions which{kWaits, kLongestWait};
  std::string startup;
  std::string socket;
  std::string base{kDefaultBase};
  uint32_t period_ms = 1000;
};

std::string base_problem(const std::string& text) {
  return parse_oid(text) ? "" : text + " is no object identifier that a MIB could lie at";
}

void declare(CLI::App& app, Options& options) {
  options.which.declare(app);
  app.add_option("--startup", options.startup, "Configure the switch from a file first")->option_text("FILE");
  app.add_option("--agentx", options.socket, "AgentX socket of snmpd; Net-SNMP's usual one when left out")
      ->option_text("SOCKET")
      ->check(shell::given);
  app.add_option("--base", options.base, "Where PORT-MIRROR-MIB lies; " + options.base + " when left out")
      ->option_text("OID")
      ->check(base_problem);
  app.add_option("--poll", options.period_ms,
                 "Look for what is worth a notification every so often; 1000 when left out")
      ->option_text("MS")
      ->check(CLI::Range(kShortestPeriod, kLongestPeriod));
  app.set_version_flag("--version", "span-agent " SPAN_VERSION);
  app.footer(kExitStatus);
}

Status configure(const std::string& startup) {
  if (startup.empty()) return Status::kDone;
  const chassis::Role role{"", true, {}, std::bitset<SPAN_VSANS>().set()};
  return shell::run_startup(host::switch_chassis(), {"span-agent", &role}, startup).value_or(Status::kUsage);
}

Status failed(const std::string& text) {
  shell::say(text);
  return Status::kUsage;
}

// All that is known here is of the switch before. A process that is started anew knows the other one.
Status replaced() {
  shell::say("the SPAN manager is back, with another switch: ending; start again to serve that one");
  return Status::kRefused;
}

// The switch is that of this process, or known as soon as the manager is there to tell it.
class Search {
 public:
  explicit Search(const Options& options) : options_(options) {}

  // What the process has to end with; kDone also while the manager is away.
  Status look() {
    if (host::has_switch()) return host::switch_is_replaced() ? replaced() : Status::kDone;
    const Time from = Clock::now();
    if (!budget_.allows(from)) return Status::kDone;
    std::string problem;
    const Status status = options_.which.open("span-agent", problem);
    budget_.spend(from, Clock::now());
    if (status == Status::kUsage) return failed(problem);
    if (status == Status::kDone) return found();
    if (told_.insert(problem).second) shell::say(problem + "; waiting for the SPAN manager");
    return Status::kDone;
  }

 private:
  using Clock = Time::clock;

  Status found() const {
    if (!told_.empty()) shell::say("the SPAN manager is there");
    return configure(options_.startup);
  }

  const Options& options_;
  Budget budget_;
  std::set<std::string> told_;  // why it is away
};

Status run(const Options& options) {
  uint32_t queue = host::switch_queue();
  span_snmp_set_quill_q(&queue);
  span_snmp_set_tarn(kTraceEvent);
  set_base(*parse_oid(options.base));
  if (!open_master(options.socket, shell::say)) return failed("Net-SNMP cannot be started");
  Search search(options);
  Status status = search.look();
  if (status != Status::kDone) return status;
  if (!register_mirror() || !register_smon()) return failed("objects cannot be registered");
  Notifier notifier;
  join_master();
  repeat(kSearchPeriod, [&] {
    status = search.look();
    if (status != Status::kDone) stop_serving();
  });
  // Without a master nobody would hear what is found: it is found when the master is back.
  repeat(options.period_ms, [&] {
    if (has_master() && host::has_switch()) notifier.poll();
  });
  serve();
  leave_master();
  return status;
}

}  // namespace
}  // namespace agent

int main(int argc, char** argv) {
  transport::hold_standard_files();
  std::signal(SIGPIPE, SIG_IGN);
  shell::set_speaker("span-agent");
  CLI::App app{"Port mirroring in SNMP: a subagent of snmpd.", "span-agent"};
  agent::Options options;
  agent::declare(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const bool told = app.exit(error) == 0 && shell::flush_output();
    return static_cast<int>(told ? shell::Status::kDone : shell::Status::kUsage);
  }
  return static_cast<int>(agent::run(options));
}
