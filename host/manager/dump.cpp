#include "host/manager/dump.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <iterator>

#include "feature/span/lib/internal/bytes.h"
#include "host/manager/dump_ids.h"
#include "host/manager/reasons.h"
#include "host/manager/self_test.h"

namespace manager {
namespace {

using chassis::Interface;
using chassis::PortMode;
using libspan::get;

// The manager as its debug functions see it.
struct View {
  const Switch& on;
  const History& history;
};

// ---- Records --------------------------------------------------------------------------------------------------------

struct ObjectRecord {
  uint8_t object;
  uint8_t unused[3];
  union {
    uint8_t session_index;
    span_net_if_t if_index;
    span_host32_t number;
  };
};
static_assert(offsetof(ObjectRecord, if_index) == 4);
static_assert(sizeof(ObjectRecord) == 8 && alignof(ObjectRecord) == 1);

struct ListRecord {
  span_be32_t keyword;
};
static_assert(sizeof(ListRecord) == 4);

struct MemoryRecord {
  span_host32_t word0;
  span_host32_t mode;  // 0 = in full, 1 = short
  span_host32_t word2;
  span_host32_t word3;
};
static_assert(offsetof(MemoryRecord, mode) == 4);
static_assert(sizeof(MemoryRecord) == 16);

// ---- Text -----------------------------------------------------------------------------------------------------------

[[gnu::format(printf, 2, 3)]] void print(std::string& out, const char* format, ...) {
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  out += text;
}

void print_row(std::string& out, const char* what, std::string_view value) {
  print(out, "  %-16s", what);
  out += value;
  out += '\n';
}

void print_element(std::string& out, std::string_view element, std::string_view rest = {}) {
  out += "    ";
  out += element;
  if (!rest.empty()) out += ", ";
  out += rest;
  out += '\n';
}

Dump failed(uint32_t status) { return {status, {}}; }

Dump done(std::string text) { return {0, std::move(text)}; }

const char* name_of(SessionState state) {
  if (!state) return "not configured";
  switch (*state) {
    case OperState::kActive:
      return "active";
    case OperState::kSuspended:
      return "suspended";
    case OperState::kDestinationDown:
      return "destination down";
    case OperState::kNoActiveSources:
      return "no active sources";
    case OperState::kNoDestination:
      return "no destination";
  }
  return "";
}

const char* name_of(PortMode mode) {
  switch (mode) {
    case PortMode::kNormal:
      return "normal";
    case PortMode::kSpanDestination:
      return "span-destination";
    case PortMode::kTunnelSource:
      return "tunnel-source";
  }
  return "";
}

std::string name_of(const Switch& on, uint32_t if_index) {
  const Interface* interface = on.chassis.find(if_index);
  return interface != nullptr ? interface->name : "none";
}

// "1-10,20"; `base` is the number of the first element.
template <size_t kSize>
std::string ranges(const std::bitset<kSize>& set, size_t base = 0) {
  std::string text;
  for (size_t first = 0; first < kSize; ++first) {
    if (!set[first]) continue;
    size_t last = first;
    while (last + 1 < kSize && set[last + 1]) ++last;
    print(text, "%s%zu", text.empty() ? "" : ",", first + base);
    if (last > first) print(text, "-%zu", last + base);
    first = last;
  }
  return text.empty() ? "none" : text;
}

std::string sessions(const SessionSet& set) { return ranges(set, 1); }

std::string describe(const Role& role) {
  std::string text = name_of(role.mode);
  const auto add = [&text](const char* what, const SessionSet& set) {
    if (set.any()) text.append(what).append(sessions(set));
  };
  add(", destination of ", role.destination_of);
  add(", rx source of ", role.rx_of);
  add(", tx source of ", role.tx_of);
  return text;
}

const char* text_of(uint32_t reason) {
  if (reason == 0) return "done";
  const auto* known = std::ranges::find(kReasons, reason, &Reason::code);
  return known != std::end(kReasons) ? known->text : "";
}

// ---- State ----------------------------------------------------------------------------------------------------------

SessionState state_of(const Switch& on, const Session& session) {
  return session.configured ? SessionState(oper_state(on, session)) : std::nullopt;
}

void print_sources(std::string& out, const Switch& on, uint8_t direction, const Sources& sources) {
  print_row(out, direction == SPAN_RX ? "rx sources" : "tx sources", std::to_string(sources.size()));
  for (const auto& [if_index, filter] : sources) {
    print_element(out, name_of(on, if_index), filter.any() ? std::string("filter vsans ").append(ranges(filter)) : "");
  }
}

Dump dump_session(const View& view, uint8_t index) {
  if (index >= SPAN_SESSIONS) return failed(kNoSuchSession);
  const Session& session = view.on.config.sessions[index];
  std::string out;
  print(out, "Session %d\n", index + 1);
  print_row(out, "state", name_of(state_of(view.on, session)));
  if (!session.configured) return done(out);
  print_row(out, "destination", name_of(view.on, session.destination));
  print_row(out, "filter vsans", ranges(session.filter));
  print_row(out, "source vsans", ranges(session.source_vsans));
  print_sources(out, view.on, SPAN_RX, session.sources[SPAN_RX - 1]);
  print_sources(out, view.on, SPAN_TX, session.sources[SPAN_TX - 1]);
  return done(out);
}

Dump dump_interface(const View& view, uint32_t if_index) {
  const Interface* interface = view.on.chassis.find(if_index);
  if (interface == nullptr) return failed(kUnknownInterface);
  const Role role = role_of(view.on.config, if_index);
  std::string out;
  print(out, "Interface %s\n", interface->name.c_str());
  print_row(out, "link", interface->up ? "up" : "down");
  print_row(out, "port mode", name_of(role.mode));
  if (interface->port_channel != 0) print_row(out, "member of", name_of(view.on, interface->port_channel));
  print_row(out, "destination of", sessions(role.destination_of));
  print_row(out, "rx source of", sessions(role.rx_of));
  print_row(out, "tx source of", sessions(role.tx_of));
  return done(out);
}

Dump dump_global(const View& view) {
  const Config& config = view.on.config;
  std::string out;
  print(out, "SPAN manager of %s\n", view.on.chassis.name().c_str());
  print_row(out, "drop threshold", std::to_string(config.threshold));
  print_row(out, "requests", std::to_string(view.history.requests()));
  print_row(out, "port modes", std::to_string(config.port_modes.size()));
  for (const auto& [if_index, mode] : config.port_modes) {
    print_element(out, name_of(view.on, if_index), name_of(mode));
  }
  print_row(out, "sessions", std::to_string(std::ranges::count(config.sessions, true, &Session::configured)));
  for (size_t index = 0; index < config.sessions.size(); ++index) {
    const Session& session = config.sessions[index];
    if (session.configured) print_element(out, std::to_string(index + 1), name_of(state_of(view.on, session)));
  }
  return done(out);
}

Dump run_test(const View& view, uint32_t number) {
  const SelfTest* test = find_self_test(number);
  if (test == nullptr) return failed(kNoSuchTest);
  const std::vector<std::string> faults = test->faults(view.on);
  std::string out;
  print(out, "Test %u, %s: %s\n", number, test->subject, faults.empty() ? "passed" : "failed");
  for (const std::string& fault : faults) print_element(out, fault);
  return done(out);
}

Dump debug_dump(const View& view, std::span<const uint8_t> bytes) {
  const auto& record = libspan::view<ObjectRecord>(bytes.data());
  switch (record.object) {
    case kTestObject:
      return run_test(view, get(record.number));
    case kSessionObject:
      return dump_session(view, record.session_index);
    case kInterfaceObject:
      return dump_interface(view, get(record.if_index));
    case kNoKeyword:
    case kGlobalKeyword:
      return dump_global(view);
    default:
      return failed(kNoSuchObject);
  }
}

// ---- Event logs -----------------------------------------------------------------------------------------------------

void print_changes(std::string& out, const auto& changes, auto describe_state) {
  print(out, "  %-9s State\n", "Request");
  for (const auto& change : changes) {
    print(out, "  %7llu   ", static_cast<unsigned long long>(change.request));
    out += describe_state(change.to);
    out += '\n';
  }
}

Dump log_session(const View& view, uint8_t index) {
  if (index >= SPAN_SESSIONS) return failed(kNoSuchSession);
  std::string out;
  print(out, "Session %d\n", index + 1);
  print_changes(out, view.history.session(index).changes(), [](SessionState state) { return name_of(state); });
  return done(out);
}

Dump log_interface(const View& view, uint32_t if_index) {
  const Interface* interface = view.on.chassis.find(if_index);
  if (interface == nullptr) return failed(kUnknownInterface);
  const auto log = view.history.interfaces().find(if_index);
  std::string out;
  print(out, "Interface %s\n", interface->name.c_str());
  const std::deque<Change<Role>> none;
  print_changes(out, log != view.history.interfaces().end() ? log->second.changes() : none, describe);
  return done(out);
}

Dump dump_log(const View& view, std::span<const uint8_t> bytes) {
  const auto& record = libspan::view<ObjectRecord>(bytes.data());
  switch (record.object) {
    case kSessionObject:
      return log_session(view, record.session_index);
    case kInterfaceObject:
      return log_interface(view, get(record.if_index));
    default:
      return failed(kNoSuchObject);
  }
}

// ---- Requests -------------------------------------------------------------------------------------------------------

std::string dump_requests(const std::deque<Request>& requests) {
  std::string out;
  print(out, "  %-9s %-7s %-5s %-6s %s\n", "Request", "Opcode", "Kind", "Bytes", "Result");
  for (const Request& each : requests) {
    const uint32_t reason = each.status != 0 ? each.status : each.result;
    print(out, "  %7llu   %-7u %-5u %-6zu %s\n", static_cast<unsigned long long>(each.number), each.opcode, each.kind,
          each.length, text_of(reason));
  }
  return out;
}

std::string dump_statistics(const History& history) {
  std::string out;
  print(out, "  %-8s %9s %9s %9s\n", "Opcode", "Done", "Refused", "Failed");
  for (const auto& [opcode, tally] : history.by_opcode()) {
    const std::string name = opcode == 0 ? "unknown" : std::to_string(opcode);
    print(out, "  %-8s %9llu %9llu %9llu\n", name.c_str(), static_cast<unsigned long long>(tally.done),
          static_cast<unsigned long long>(tally.refused), static_cast<unsigned long long>(tally.failed));
  }
  print(out, "  %-10s %7s  %s\n", "Result", "Count", "Text");
  for (const auto& [reason, count] : history.by_reason()) {
    print(out, "  0x%08x %7llu  %s\n", reason, static_cast<unsigned long long>(count), text_of(reason));
  }
  return out;
}

Dump dump_events(const View& view, std::span<const uint8_t> bytes) {
  switch (get(libspan::view<ListRecord>(bytes.data()).keyword)) {
    case kNoKeyword:
    case kStatsKeyword:
      return done(dump_statistics(view.history));
    case kMsgsKeyword:
      return done(dump_requests(view.history.messages()));
    case kErrorsKeyword:
      return done(dump_requests(view.history.errors()));
    default:
      return failed(kNoSuchObject);
  }
}

// ---- Memory ---------------------------------------------------------------------------------------------------------

// What the manager keeps of one kind: how many, and how big each is without what the allocator adds.
struct Holding {
  const char* what;
  size_t count;
  size_t size;
};

std::vector<Holding> holdings(const View& view) {
  const Config& config = view.on.config;
  const History& history = view.history;
  size_t sources = 0;
  for (const Session& session : config.sessions) sources += session.sources[0].size() + session.sources[1].size();
  return {
      {"sessions", config.sessions.size(), sizeof(Session)},
      {"source interfaces", sources, sizeof(Sources::value_type)},
      {"port modes", config.port_modes.size(), sizeof(decltype(config.port_modes)::value_type)},
      {"requests", history.messages().size() + history.errors().size(), sizeof(Request)},
      {"state changes", history.changes(), sizeof(Change<Role>)},
      {"counters of opcodes", history.by_opcode().size(), sizeof(std::pair<const uint32_t, Tally>)},
      {"counters of results", history.by_reason().size(), sizeof(std::pair<const uint32_t, uint64_t>)},
  };
}

Dump dump_memory(const View& view, std::span<const uint8_t> bytes) {
  const uint32_t mode = get(libspan::view<MemoryRecord>(bytes.data()).mode);
  if (mode > 1) return failed(kNoSuchObject);
  std::string out;
  if (mode == 0) print(out, "  %-20s %7s %7s %9s\n", "Kind", "Count", "Size", "Bytes");
  size_t total = 0;
  for (const Holding& each : holdings(view)) {
    total += each.count * each.size;
    if (mode == 0) print(out, "  %-20s %7zu %7zu %9zu\n", each.what, each.count, each.size, each.count * each.size);
  }
  print(out, "SPAN manager: %zu bytes in use\n", total);
  return done(out);
}

// ---- Dispatch -------------------------------------------------------------------------------------------------------

struct Function {
  std::string_view name;
  size_t length;  // of its record
  Dump (*run)(const View& view, std::span<const uint8_t> record);
};

constexpr Function kFunctions[] = {
    {"span_debug_dump", sizeof(ObjectRecord), debug_dump},
    {"fu_fsm_dump_fsm_log", sizeof(ObjectRecord), dump_log},
    {"fu_fsm_tca_dump", sizeof(ListRecord), dump_events},
    {"mtrack_dump_memstats", sizeof(MemoryRecord), dump_memory},
};

}  // namespace

Dump run_dump(const Switch& on, const History& history, std::string_view function, std::span<const uint8_t> record) {
  const auto* const found = std::ranges::find(kFunctions, function, &Function::name);
  if (found == std::end(kFunctions)) return failed(kNoSuchDump);
  return record.size() == found->length ? found->run({on, history}, record) : failed(kMalformed);
}

}  // namespace manager
