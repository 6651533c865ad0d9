// A mixed load on one manager, for minutes: an operator's commands, wrong ones among them, SNMP reads and writes, and a
// manager that cannot be reached. Afterwards memory and descriptors must be what they were when it was warm.
//
//   span_soak MINUTES                       on a switch in this process
//   span_soak MINUTES RUN-DIR [PID...]      on the processes of a run directory, which are watched, too
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/platform/switch.h"
#include "host/shell/session.h"
#include "libspan.h"

namespace {

using Clock = std::chrono::steady_clock;

// ---- Figures ---------------------------------------------------------------------------------------------------------

struct Usage {
  size_t resident = 0;     // bytes
  size_t descriptors = 0;  // open ones
  size_t heap = 0;         // bytes in use; only of this process
};

size_t resident_of(const std::string& process) {
  std::ifstream file("/proc/" + process + "/statm");
  size_t size = 0;
  size_t pages = 0;
  file >> size >> pages;
  return pages * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

size_t descriptors_of(const std::string& process) {
  const std::filesystem::directory_iterator files("/proc/" + process + "/fd");
  return static_cast<size_t>(std::distance(begin(files), end(files)));
}

Usage usage_of(const std::string& process) {
  const bool own = process == "self";
  return {resident_of(process), descriptors_of(process), own ? mallinfo2().uordblks : 0};
}

// What may be more at the end: pages that the allocator keeps, nothing that piles up.
constexpr size_t kMoreResident = 4u << 20;
constexpr size_t kMoreHeap = 64u << 10;

bool is_flat(const Usage& warm, const Usage& now) {
  return now.descriptors <= warm.descriptors && now.resident <= warm.resident + kMoreResident &&
         now.heap <= warm.heap + kMoreHeap;
}

void print(const std::string& process, const Usage& usage) {
  std::fprintf(stderr, "  %s: %.1f MB, %zu descriptors", process.c_str(), static_cast<double>(usage.resident) / 1048576,
               usage.descriptors);
  if (usage.heap != 0) std::fprintf(stderr, ", heap %zu KB", usage.heap / 1024);
}

// ---- Load ------------------------------------------------------------------------------------------------------------

uint64_t calls = 0;

constexpr std::string_view kCommands[] = {
    "configure",
    "interface fc1/1-2",
    "port mode span-destination",
    "exit",
    "span session 1",
    "destination interface fc1/1",
    "source interface fc1/3-4",
    "source interface port-channel 1 rx",
    "source filter vsan 1-20",
    "span session 2",
    "destination interface fc1/1",
    "destination interface fc1/2",
    "source vsan 1-10",
    "source interface fc2/3-4 rx filter vsan 200",
    "source interface fc9/77",
    "source interfac",
    "suspend",
    "no suspend",
    "span max-queued-packets 100",
    "end",
    "show span session",
    "show span session brief",
    "show span max-queued-packets",
    "show running-config",
    "show running-config span",
    "show span internal info session 1",
    "show span internal event-history msgs",
    "show span event-history",
    "show interface brief",
    "no such command",
    "configure",
    "no span max-queued-packets",
    "no span session 2",
    "no span session 1",
    "interface fc1/1-2",
    "no port mode",
    "end",
};

// Once in a while: each module is asked for its counter.
constexpr std::string_view kCounters = "show span drop-counters";

void type(shell::Session& session, std::string_view line) {
  session.complete(line);
  session.run(line);
  ++calls;
}

void walk() {
  span_snmp_session_entry_t session = {};
  for (uint32_t at = 0; ++calls, span_snmp_session_get_next(static_cast<int32_t>(at), &session) == SPAN_OK;) {
    if (session.session <= at) break;
    at = session.session;
  }
  span_snmp_source_if_entry_t source = {};
  for (int rows = 0; rows < 64; ++rows, ++calls) {
    const auto [number, if_index, direction] = source;
    if (span_snmp_source_if_get_next(number, if_index, direction, &source) != SPAN_OK || source.session == 0) break;
  }
  span_snmp_vsan_entry_t vsans;
  for (int32_t number = 0; number < 3; ++number, calls += 2) {
    span_snmp_source_vsan_get_next(number, &vsans);
    span_snmp_vsan_filter_get_next(number, &vsans);
  }
}

void set() {
  const uint32_t port = host::switch_chassis().interfaces().front().if_index;
  span_snmp_vsan_modify_req_t request = {0, 3, 4, {}};
  request.vsans[1] = 0xFF;
  span_snmp_session_create(3);
  span_snmp_source_if_create(3, port, SPAN_RX);
  void* refused = nullptr;
  span_snmp_source_vsan_modify(&request, &refused);
  std::free(refused);
  request.operation = 16;
  span_snmp_vsan_filter_modify(&request);
  span_snmp_session_dest_set(3, port);
  span_snmp_session_admin_status_set(3, 2);
  span_snmp_drop_threshold_set(200);
  span_snmp_drop_threshold_get();
  span_snmp_session_destroy(3);
  calls += 9;
}

// Everything once while nothing can be reached.
void fail(shell::Session& session, bool embedded) {
  embedded ? host::set_manager_reachable(false) : host::interrupt_switch();
  for (const std::string_view line :
       {"show span session", "show running-config span", "configure", "span session 1", "source vsan 1-10", "end"}) {
    type(session, line);
  }
  walk();
  set();
  embedded ? host::set_manager_reachable(true) : host::clear_interrupt();
}

void run_round(const shell::Operator& who, uint64_t number, bool embedded) {
  shell::Session session(host::switch_chassis(), who);
  for (const std::string_view line : kCommands) {
    type(session, line);
    if (line == "suspend") walk();
  }
  set();
  if (number % 5 == 0) fail(session, embedded);
  if (number % 20 == 0) type(session, kCounters);
}

// ---- Run -------------------------------------------------------------------------------------------------------------

class Soak {
 public:
  Soak(std::vector<std::string> processes, double seconds)
      : processes_(std::move(processes)), seconds_(seconds), warm_until_(std::clamp(seconds / 4, 2.0, 60.0)) {}

  bool run(const shell::Operator& who, bool embedded) {
    double next = 0;
    for (uint64_t number = 0; elapsed() < seconds_; ++number) {
      run_round(who, number, embedded);
      if (warm_.empty() && elapsed() >= warm_until_) warm_ = take();
      if (elapsed() < next) continue;
      report(number + 1, take());
      next = elapsed() + std::max(1.0, seconds_ / 20);
    }
    return judge();
  }

 private:
  double elapsed() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }

  std::vector<Usage> take() const {
    std::vector<Usage> usages;
    for (const std::string& process : processes_) usages.push_back(usage_of(process));
    return usages;
  }

  void report(uint64_t rounds, const std::vector<Usage>& usages) const {
    std::fprintf(stderr, "%5.0f s %7llu rounds %9llu calls", elapsed(), static_cast<unsigned long long>(rounds),
                 static_cast<unsigned long long>(calls));
    for (size_t i = 0; i < usages.size(); ++i) print(processes_[i], usages[i]);
    std::fputc('\n', stderr);
  }

  bool judge() const {
    const std::vector<Usage> now = take();
    bool flat = !warm_.empty();
    for (size_t i = 0; i < processes_.size() && flat; ++i) {
      std::fputs("warm", stderr);
      print(processes_[i], warm_[i]);
      std::fputs("\nend ", stderr);
      print(processes_[i], now[i]);
      std::fputs(is_flat(warm_[i], now[i]) ? "  flat\n" : "  GROWN\n", stderr);
    }
    for (size_t i = 0; i < processes_.size() && flat; ++i) flat = is_flat(warm_[i], now[i]);
    return flat;
  }

  std::vector<std::string> processes_;
  double seconds_;
  double warm_until_;
  Clock::time_point start_ = Clock::now();
  std::vector<Usage> warm_{};
};

// Why there is no switch; empty when there is one.
std::string open_switch(const char* run_directory) {
  if (run_directory != nullptr) return host::connect_switch(run_directory, "span_soak");
  std::string error;
  std::optional<chassis::Chassis> description = chassis::Chassis::load(chassis::default_description(), error);
  if (description) host::start_switch(std::move(*description));
  return error;
}

}  // namespace

int main(int argc, char** argv) {
  const double minutes = argc > 1 ? std::strtod(argv[1], nullptr) : 0;
  const char* const run_directory = argc > 2 ? argv[2] : nullptr;
  if (minutes <= 0) {
    std::fputs("usage: span_soak MINUTES [RUN-DIR [PID...]]\n", stderr);
    return 2;
  }
  if (const std::string error = open_switch(run_directory); !error.empty()) {
    std::fprintf(stderr, "span_soak: %s\n", error.c_str());
    return 2;
  }
  if (std::freopen("/dev/null", "w", stdout) == nullptr) return 2;

  uint32_t queue = host::switch_queue();
  span_snmp_set_quill_q(&queue);
  std::vector<std::string> processes = {"self"};
  if (argc > 3) processes.insert(processes.end(), argv + 3, argv + argc);
  const shell::Operator who = {"soak", &host::switch_chassis().roles().front()};
  const bool flat = Soak(std::move(processes), 60 * minutes).run(who, run_directory == nullptr);
  std::fputs(flat ? "memory and descriptors are flat\n" : "memory or descriptors have grown\n", stderr);
  return flat ? 0 : 1;
}
