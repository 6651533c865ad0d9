// A mixed load on one manager, for minutes: an operator's commands, wrong ones among them, SNMP reads and writes, and a
// manager that cannot be reached. Each call must come to what the mix gives, and memory and descriptors must stay what
// they were when all was warm.
//
//   span_soak MINUTES                       on a switch in this process
//   span_soak MINUTES RUN-DIR [PID...]      on the processes of a run directory, which are watched, too
#include <malloc.h>
#include <sys/mman.h>
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
#include <system_error>
#include <type_traits>
#include <vector>

#include "host/platform/switch.h"
#include "host/shell/session.h"
#include "libspan.h"

namespace {

using Clock = std::chrono::steady_clock;

// ---- What calls come to ----------------------------------------------------------------------------------------------

enum Kind { kCommands, kReads, kWrites, kCounters, kFailures, kKinds };

struct Tally {
  const char* name;
  double least;  // share of the calls that must come to what the mix gives
  uint64_t calls = 0;
  uint64_t done = 0;   // successes
  uint64_t right = 0;  // successes where the mix gives one, and failures where it gives that
};

// On a busy machine one call in a thousand may run into its time-out. Line cards are stopped every now and then.
constexpr double kNearlyAll = 0.999;
Tally tallies[kKinds] = {
    {"commands", kNearlyAll}, {"SNMP reads", kNearlyAll}, {"SNMP writes", kNearlyAll}, {"counters", 0.25},
    {"failures", 1},
};

void note(Kind kind, const char* what, bool done, bool right) {
  Tally& tally = tallies[kind];
  ++tally.calls;
  tally.done += done ? 1 : 0;
  tally.right += right ? 1 : 0;
  const bool first_ones = tally.calls - tally.right <= 3;
  if (!right && first_ones && kind != kCounters) {
    std::fprintf(stderr, "  %s: %s: %s, against the mix\n", tally.name, what, done ? "done" : "failed");
  }
}

uint64_t sum_of(uint64_t Tally::*figure) {
  uint64_t sum = 0;
  for (const Tally& tally : tallies) sum += tally.*figure;
  return sum;
}

double share(const Tally& tally) {
  return tally.calls == 0 ? 0 : static_cast<double>(tally.right) / static_cast<double>(tally.calls);
}

bool is_as_mixed(const Tally& tally) { return tally.calls != 0 && share(tally) >= tally.least; }

void print(const Tally& tally) {
  std::fprintf(stderr, "%-11s  %9llu calls  %9llu done  %8.4f %% what the mix gives, at least %g %% needed: %s\n",
               tally.name, static_cast<unsigned long long>(tally.calls), static_cast<unsigned long long>(tally.done),
               100 * share(tally), 100 * tally.least, is_as_mixed(tally) ? "enough" : "TOO FEW");
}

// ---- The screen ------------------------------------------------------------------------------------------------------

// What was printed since the last look. Standard output is a file in memory.
std::string take_screen() {
  std::fflush(stdout);
  const off_t length = lseek(STDOUT_FILENO, 0, SEEK_END);
  std::string text(static_cast<size_t>(std::max<off_t>(length, 0)), '\0');
  if (pread(STDOUT_FILENO, text.data(), text.size(), 0) != length || ftruncate(STDOUT_FILENO, 0) != 0 ||
      lseek(STDOUT_FILENO, 0, SEEK_SET) != 0) {
    std::perror("span_soak: standard output");
    std::exit(2);
  }
  return text;
}

bool open_screen() {
  const int screen = memfd_create("screen", MFD_CLOEXEC);
  return screen >= 0 && dup2(screen, STDOUT_FILENO) >= 0 && close(screen) == 0;
}

// ---- Load ------------------------------------------------------------------------------------------------------------

using shell::Status;

struct Line {
  const char* text;
  Status status = Status::kDone;
};

constexpr Line kCommandLines[] = {
    {"configure"},
    {"interface fc1/1-2"},
    {"port mode span-destination"},
    {"exit"},
    {"span session 1"},
    {"destination interface fc1/1"},
    {"source interface fc1/3-4"},
    {"source interface port-channel 1 rx"},
    {"source filter vsan 1-20"},
    {"span session 2"},
    {"destination interface fc1/1", Status::kRefused},
    {"destination interface fc1/2"},
    {"source vsan 1-10"},
    {"source interface fc2/3-4 rx filter vsan 200"},
    {"source interface fc9/77", Status::kUsage},
    {"source interfac", Status::kUsage},
    {"suspend"},
    {"no suspend"},
    {"span max-queued-packets 100"},
    {"end"},
    {"show span session"},
    {"show span session brief"},
    {"show span max-queued-packets"},
    {"show running-config"},
    {"show running-config span"},
    {"show span internal info session 1"},
    {"show span internal event-history msgs"},
    {"show span event-history"},
    {"show interface brief"},
    {"no such command", Status::kUsage},
    {"configure"},
    {"no span max-queued-packets"},
    {"no span session 2"},
    {"no span session 1"},
    {"interface fc1/1-2"},
    {"no port mode"},
    {"end"},
};

constexpr Line kUnreachableLines[] = {
    {"show span session", Status::kUnreachable},
    {"show running-config span", Status::kUnreachable},
    {"configure"},
    {"span session 1", Status::kUnreachable},
    {"source vsan 1-10", Status::kUsage},
    {"end"},
};

void type(shell::Session& session, const Line& line, Kind kind = kCommands) {
  session.complete(line.text);
  const Status status = session.run(line.text).status;
  note(kind, line.text, status == Status::kDone, status == line.status);
}

// SNMP on a manager that can be reached, or on one that cannot: then every call must fail.
class Snmp {
 public:
  explicit Snmp(bool reachable) : reachable_(reachable) {}

  // Rows of the sessions 1 and 2, of which the second has just been suspended. Other operators' may follow.
  void walk() {
    span_snmp_session_entry_t session = {};
    for (const uint32_t previous : {0u, 1u}) {
      const uint32_t status = span_snmp_session_get_next(static_cast<int32_t>(previous), &session);
      read("session", status, session.session == previous + 1 && session.admin_status == previous + 1);
    }
    read_end("behind session 2", span_snmp_session_get_next(2, &session));
    walk_sources();
    read_vsans("source VSANs", span_snmp_source_vsan_get_curr, 2, 0xE0);
    read_vsans("VSAN filter", span_snmp_vsan_filter_get_curr, 1, 0xFF);
    span_snmp_vsan_entry_t vsans = {};
    read_end("behind source VSANs", span_snmp_source_vsan_get_next(2, &vsans));
    read_end("behind VSAN filters", span_snmp_vsan_filter_get_next(2, &vsans));
  }

  // A session from its beginning to its end.
  void set() {
    const uint32_t source = interface("fc1/1");
    const uint32_t destination = interface("fc2/1");
    span_snmp_vsan_modify_req_t request = {0, kSession, 4, {}};
    request.vsans[1] = 0xFF;
    write("create", span_snmp_session_create(kSession));
    write("source", span_snmp_source_if_create(kSession, source, SPAN_RX));
    void* refused = nullptr;
    write("source VSANs", span_snmp_source_vsan_modify(&request, &refused));
    std::free(refused);
    request.operation = 16;
    write("VSAN filter", span_snmp_vsan_filter_modify(&request));
    const uint32_t status = span_snmp_session_dest_set(kSession, source);
    note(kind(kWrites), "a source as destination", status == SPAN_OK, status != SPAN_OK);
    write("destination", span_snmp_session_dest_set(kSession, destination));
    write("suspend", span_snmp_session_admin_status_set(kSession, 2));
    write("threshold", span_snmp_drop_threshold_set(200));
    look(source, destination);
    write("destroy", span_snmp_session_destroy(kSession));
    span_snmp_session_entry_t row = {};
    const uint32_t gone = span_snmp_session_get_curr(kSession, &row);
    note(kind(kReads), "a session that is gone", gone == SPAN_OK,
         reachable_ ? gone == SPAN_E_SNMP_NO_SESSION : gone != SPAN_OK);
  }

 private:
  static constexpr uint32_t kSession = 3;
  static constexpr uint32_t kSourceRows = 7;

  static uint32_t interface(std::string_view name) { return host::switch_chassis().find(name)->if_index; }

  Kind kind(Kind usual) const { return reachable_ ? usual : kFailures; }

  void read(const char* what, uint32_t status, bool row_is_right) {
    const bool done = status == SPAN_OK;
    note(kind(kReads), what, done, reachable_ ? done && row_is_right : !done);
  }

  void read_end(const char* what, uint32_t status) {
    const bool done = status == SPAN_OK;
    note(kind(kReads), what, done, reachable_ ? done || status == SPAN_E_SNMP_NO_SESSION : !done);
  }

  // A row in which the VSANs 8 to 15 are those of these bits.
  template <class Number>
  void read_vsans(const char* what, uint32_t (*handler)(Number, span_snmp_vsan_entry_t*),
                  std::type_identity_t<Number> number, uint8_t bits) {
    span_snmp_vsan_entry_t vsans = {};
    const uint32_t status = handler(number, &vsans);
    read(what, status, vsans.vsans[1] == bits);
  }

  void write(const char* what, uint32_t status) {
    note(kind(kWrites), what, status == SPAN_OK, reachable_ == (status == SPAN_OK));
  }

  void walk_sources() {
    span_snmp_source_if_entry_t source = {};
    for (uint32_t rows = 0;; ++rows) {
      const auto [number, if_index, direction] = source;
      const uint32_t status = span_snmp_source_if_get_next(number, if_index, direction, &source);
      const bool row = status == SPAN_OK && source.session <= 2 && rows < kSourceRows;
      const bool end =
          rows == kSourceRows && (status == SPAN_OK ? source.session > 2 : status == SPAN_E_SNMP_NO_SOURCE);
      note(kind(kReads), "source", status == SPAN_OK, reachable_ ? row || end : status != SPAN_OK);
      if (!row) break;
    }
  }

  // What has been written is there.
  void look(uint32_t source, uint32_t destination) {
    span_snmp_session_entry_t session = {};
    const uint32_t status = span_snmp_session_get_curr(kSession, &session);
    read("a new session", status, session.destination == destination && session.admin_status == 2);
    span_snmp_source_if_entry_t row = {};
    const uint32_t found = span_snmp_source_if_get_next(kSession, 0, 0, &row);
    read("its source", found, row.session == kSession && row.if_index == source && row.direction == SPAN_RX);
    read_vsans("its source VSANs", span_snmp_source_vsan_get_next, kSession - 1, 0xFF);
    read_vsans("its VSAN filter", span_snmp_vsan_filter_get_next, kSession - 1, 0xFF);
    const uint32_t threshold = span_snmp_drop_threshold_get();
    note(kind(kReads), "threshold", threshold != 0, threshold == (reachable_ ? 200 : 0));
  }

  bool reachable_;
};

// Everything once while nothing can be reached.
void fail(shell::Session& session, bool embedded) {
  embedded ? host::set_manager_reachable(false) : host::interrupt_switch();
  for (const Line& line : kUnreachableLines) type(session, line, kFailures);
  Snmp(false).walk();
  Snmp(false).set();
  embedded ? host::set_manager_reachable(true) : host::clear_interrupt();
}

// Each module is asked for its counter.
void count(shell::Session& session) {
  take_screen();
  type(session, {"show span drop-counters"});
  const std::string text = take_screen();
  const bool told = text.find("module 1 is: 0x") != text.npos && text.find("module 2 is: 0x") != text.npos;
  note(kCounters, "both modules", told, told);
}

void run_round(const shell::Operator& who, uint64_t number, bool embedded) {
  shell::Session session(host::switch_chassis(), who);
  for (const Line& line : kCommandLines) {
    type(session, line);
    if (std::strcmp(line.text, "suspend") == 0) Snmp(true).walk();
  }
  const std::string text = take_screen();
  const bool shown = text.find("Session 2 (active)") != text.npos && text.find("max-queued-packets 100") != text.npos;
  note(kCommands, "what they show", shown, shown);
  Snmp(true).set();
  if (number % 5 == 0) fail(session, embedded);
  if (number % 20 == 0) count(session);
  take_screen();
}

// ---- Memory and descriptors ------------------------------------------------------------------------------------------

struct Usage {
  size_t memory = SIZE_MAX;       // bytes of its own that are resident
  size_t descriptors = SIZE_MAX;  // open ones
  size_t heap = SIZE_MAX;         // bytes in use; only of this process
};

size_t memory_of(const std::string& process) {
  std::ifstream file("/proc/" + process + "/smaps_rollup");
  for (std::string word; file >> word;) {
    size_t kilobytes = 0;
    if (word == "Anonymous:" && file >> kilobytes) return kilobytes * 1024;
  }
  return 0;
}

size_t descriptors_of(const std::string& process) {
  std::error_code error;
  const std::filesystem::directory_iterator files("/proc/" + process + "/fd", error);
  return error ? 0 : static_cast<size_t>(std::distance(begin(files), end(files)));
}

// A process that has ended uses nothing.
Usage usage_of(const std::string& process) {
  return {memory_of(process), descriptors_of(process), process == "self" ? mallinfo2().uordblks : 0};
}

Usage lower(const Usage& a, const Usage& b) {
  return {std::min(a.memory, b.memory), std::min(a.descriptors, b.descriptors), std::min(a.heap, b.heap)};
}

// What may be more at the end: pages that the allocator keeps, nothing that piles up.
constexpr size_t kMoreMemory = 32u << 10;
constexpr size_t kMoreHeap = 8u << 10;

bool is_flat(const Usage& warm, const Usage& last) {
  return last.memory != 0 && last.descriptors <= warm.descriptors && last.memory <= warm.memory + kMoreMemory &&
         last.heap <= warm.heap + kMoreHeap;
}

void print(const std::string& process, const Usage& usage) {
  std::fprintf(stderr, "  %s: %zu KB, %zu descriptors", process.c_str(), usage.memory / 1024, usage.descriptors);
  if (usage.heap != 0) std::fprintf(stderr, ", heap %zu KB", usage.heap / 1024);
}

// ---- Run -------------------------------------------------------------------------------------------------------------

// Takes the lowest usage in the second quarter of the time, when all is warm, and that in the last one: what is in use
// for a moment only is in neither, and what piles up is in the second. The time begins behind the first rounds, which
// take a slow program long.
class Soak {
 public:
  Soak(std::vector<std::string> processes, double seconds)
      : processes_(std::move(processes)), seconds_(seconds), warm_(processes_.size()), last_(processes_.size()) {}

  bool run(const shell::Operator& who, bool embedded) {
    double next = 0;
    for (uint64_t number = 0; number <= kFirstRounds || elapsed() < seconds_; ++number) {
      if (number == kFirstRounds) start_ = Clock::now();
      run_round(who, number, embedded);
      if (number < kFirstRounds) continue;
      look();
      if (elapsed() < next) continue;
      report(number + 1);
      next = elapsed() + std::max(1.0, seconds_ / 20);
    }
    return judge();
  }

 private:
  static constexpr uint64_t kFirstRounds = 100;

  double elapsed() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }

  void look() {
    if (elapsed() < next_look_) return;
    next_look_ = elapsed() + 0.05;
    const double part = elapsed() / seconds_;
    if (part >= 0.25 && part < 0.5) take(warm_, calls_when_warm_);
    if (part >= 0.75) take(last_, calls_at_last_);
  }

  void take(std::vector<Usage>& lowest, uint64_t& calls) const {
    if (calls == 0) calls = sum_of(&Tally::calls);
    for (size_t i = 0; i < processes_.size(); ++i) lowest[i] = lower(lowest[i], usage_of(processes_[i]));
  }

  void report(uint64_t rounds) const {
    std::fprintf(stderr, "%5.0f s %7llu rounds %9llu calls %9llu done", elapsed(),
                 static_cast<unsigned long long>(rounds), static_cast<unsigned long long>(sum_of(&Tally::calls)),
                 static_cast<unsigned long long>(sum_of(&Tally::done)));
    for (const std::string& process : processes_) print(process, usage_of(process));
    std::fputc('\n', stderr);
  }

  bool judge() const {
    bool right = true;
    for (const Tally& tally : tallies) {
      print(tally);
      right = right && is_as_mixed(tally);
    }
    if (calls_when_warm_ == 0 || calls_at_last_ == 0) {
      std::fputs("too short to tell whether memory grows\n", stderr);
      return false;
    }
    for (size_t i = 0; i < processes_.size(); ++i) right = judge(i) && right;
    const double between = static_cast<double>(calls_at_last_ - calls_when_warm_);
    std::fprintf(stderr, "a leak shows from %.2g bytes a call, in the heap of this process from %.2g\n",
                 static_cast<double>(kMoreMemory) / between, static_cast<double>(kMoreHeap) / between);
    return right;
  }

  bool judge(size_t process) const {
    std::fputs("warm", stderr);
    print(processes_[process], warm_[process]);
    std::fputs("\nlast", stderr);
    print(processes_[process], last_[process]);
    const bool flat = is_flat(warm_[process], last_[process]);
    std::fputs(flat ? "  flat\n" : last_[process].memory == 0 ? "  GONE\n" : "  GROWN\n", stderr);
    return flat;
  }

  std::vector<std::string> processes_;
  double seconds_;
  Clock::time_point start_ = Clock::now();
  double next_look_ = 0;
  std::vector<Usage> warm_;
  std::vector<Usage> last_;
  uint64_t calls_when_warm_ = 0;
  uint64_t calls_at_last_ = 0;
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
  if (!open_screen()) return 2;

  uint32_t queue = host::switch_queue();
  span_snmp_set_quill_q(&queue);
  std::vector<std::string> processes = {"self"};
  if (argc > 3) processes.insert(processes.end(), argv + 3, argv + argc);
  const shell::Operator who = {"soak", &host::switch_chassis().roles().front()};
  return Soak(std::move(processes), 60 * minutes).run(who, run_directory == nullptr) ? 0 : 1;
}
