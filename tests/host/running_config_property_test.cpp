// For random configurations: state -> text -> new switch -> same state, same text, unless there is a warning that the
// text cannot say it.
#include <algorithm>
#include <map>
#include <random>

#include "tests/host/running_config_support.h"

namespace shell {
namespace {

constexpr int kShards = 10;
constexpr int kStatesOfAShard = 200;  // those with a warning included

// Commands that an operator may come up with. Many are refused; what the switch takes is the state.
class Commands {
 public:
  explicit Commands(unsigned seed) : random_(seed) {}

  std::vector<std::string> configuration() {
    std::vector<std::string> lines = {"configure"};
    for (int i = number(0, 4); i > 0; --i) add_port_mode(lines);
    if (number(0, 1) == 1) lines.push_back("span max-queued-packets " + std::to_string(number(1, 65535)));
    for (int i = number(0, 3); i > 0; --i) add_session(lines);
    if (number(0, 5) == 0) lines.push_back("no span session " + std::to_string(number(1, 16)));
    if (number(0, 5) == 0) lines.push_back("no span max-queued-packets");
    return lines;
  }

 private:
  int number(int least, int most) { return std::uniform_int_distribution(least, most)(random_); }

  std::string one_of(const std::vector<std::string>& texts) {
    return texts[static_cast<size_t>(number(0, static_cast<int>(texts.size()) - 1))];
  }

  std::string port() {
    const bool first = number(0, 2) != 0;
    return first ? "fc1/" + std::to_string(number(1, 12)) : "fc2/" + std::to_string(number(1, 4));
  }

  std::string vsans() {
    const int from = number(0, 1) == 0 ? number(1, 40) : number(4000, 4093);
    return std::to_string(from) + "-" + std::to_string(std::min(from + number(0, 3), 4095));
  }

  std::string direction() { return one_of({"", " rx", " tx"}); }

  void add_port_mode(std::vector<std::string>& lines) {
    lines.push_back("interface " + port());
    lines.push_back("port mode " + one_of({"span-destination", "tunnel-source", "normal"}));
  }

  // Filters of service traffic are rare: the text cannot say them.
  std::string service_source() {
    const std::string name = one_of({"svc 2/1", "svc 2/2", "port-channel 201", "port-channel 202", "port-channel 203"});
    const std::string types[] = {"", " traffic-type target", " traffic-type mgmt", " traffic-type initiator"};
    const bool svc = name.starts_with("svc");
    return name + direction() + (number(0, 19) == 0 ? " filter vsan " + vsans() : types[svc ? number(0, 3) : 0]);
  }

  std::string source() {
    if (number(0, 2) == 0) return "source interface " + service_source();
    const std::string name = one_of(
        {port(), port(), port(), "fc1/1-8", "port-channel 1", "port-channel 2", "fcip 1-2", "iscsi 1/1", "sup-fc0"});
    return "source interface " + name + direction() + (number(0, 1) == 0 ? "" : " filter vsan " + vsans());
  }

  std::string session_command() {
    switch (number(0, 9)) {
      case 0:
        return "suspend";
      case 1:
        return "source vsan " + vsans();
      case 2:
        return "source filter vsan " + vsans() + direction();
      case 3:
        return "destination interface " + one_of({port(), "rspan-tunnel 1", "rspan-tunnel 2"});
      default:
        return source();
    }
  }

  void add_session(std::vector<std::string>& lines) {
    lines.push_back("span session " + std::to_string(number(1, 16)));
    for (int i = number(0, 8); i > 0; --i) {
      lines.push_back((number(0, 7) == 0 ? "no " : "") + session_command());
    }
  }

  std::mt19937 random_;
};

class RunningConfigProperty : public RunningConfigTest, public testing::WithParamInterface<int> {
 protected:
  // How often the states had what could go wrong.
  void count() {
    const manager::Config& state = host::configuration();
    ++seen_["states"];
    seen_["port modes"] += static_cast<int>(state.port_modes.size());
    seen_["thresholds"] += state.threshold != manager::kDefaultThreshold;
    for (const manager::Session& session : state.sessions) {
      seen_["destinations"] += session.destination != 0;
      seen_["suspended"] += session.suspended;
      seen_["session filters"] += session.filter.any();
      seen_["source VSANs"] += session.source_vsans.any();
      for (const manager::Sources& sources : session.sources) count(sources);
    }
  }

  void count(const manager::Sources& sources) {
    for (const auto& [if_index, filter] : sources) {
      ++seen_[host::switch_chassis().find(if_index)->service_interface != 0 ? "service traffic" : "sources"];
      seen_["source filters"] += filter.any();
    }
  }

  std::map<std::string, int> seen_;
};

TEST_P(RunningConfigProperty, IsItsOwnInverse) {
  for (int i = 0; i < kStatesOfAShard && !HasFailure(); ++i) {
    const int seed = GetParam() * kStatesOfAShard + i;
    SCOPED_TRACE("seed " + std::to_string(seed));
    start();
    for (const std::string& line : Commands(static_cast<unsigned>(seed)).configuration()) {
      EXPECT_NE(run(line), Status::kUsage) << line;
    }
    if (!warnings().empty()) continue;
    count();
    expect_inverse();
  }
  RecordProperty("states", seen_["states"]);
  EXPECT_GT(seen_["states"], 100);
  for (const char* what : {"port modes", "thresholds", "destinations", "suspended", "session filters", "source VSANs",
                           "sources", "service traffic", "source filters"}) {
    EXPECT_GT(seen_[what], 5) << what;
  }
}

INSTANTIATE_TEST_SUITE_P(Shards, RunningConfigProperty, testing::Range(0, kShards));

}  // namespace
}  // namespace shell
