// span-rows: the SNMP tables of port mirroring as an agent would serve them, read with the library's handlers.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <bitset>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "host/platform/switch.h"
#include "host/rows/walk.h"
#include "host/shell/say.h"
#include "host/shell/startup.h"
#include "host/shell/switch_options.h"
#include "host/transport/descriptors.h"
#include "platform/if_index.h"

namespace rows {
namespace {

using shell::Status;

constexpr char kExitStatus[] =
    "Exit status:\n"
    "  0  all rows are shown\n"
    "  1  the switch refused something\n"
    "  2  a wrong option or file, or a table that does not end\n"
    "  3  the SPAN manager could not be reached";

std::string name_of(uint32_t if_index) {
  char name[IF_INDEX_NAME_SIZE] = "-";
  if (if_index != 0) sprintf_if_index(name, if_index);
  return name;
}

// ---- Tables ---------------------------------------------------------------------------------------------------------

End show_sessions() {
  std::puts("session  destination       admin  oper  reason");
  return walk<span_snmp_session_entry_t>(
      [](uint32_t previous, auto& row) { return span_snmp_session_get(previous, SPAN_SNMP_GETNEXT_REQ, &row); },
      [](const auto& row) { return row.session; },
      [](const auto& row) {
        std::printf("%-7u  %-16s  %-5u  %-4u  %s\n", row.session, name_of(row.destination).c_str(), row.admin_status,
                    row.oper_status, row.oper_reason);
      });
}

End show_source_interfaces() {
  std::puts("session  interface         direction");
  return walk<span_snmp_source_if_entry_t>(
      [](const auto& previous, auto& row) {
        const auto [session, if_index, direction] = previous;
        return span_snmp_source_if_get(session, if_index, direction, SPAN_SNMP_GETNEXT_REQ, &row);
      },
      [](const auto& row) { return std::make_tuple(row.session, row.if_index, row.direction); },
      [](const auto& row) {
        std::printf("%-7u  %-16s  %u\n", row.session, name_of(row.if_index).c_str(), row.direction);
      });
}

template <uint32_t (*get)(uint32_t, int32_t, span_snmp_vsan_entry_t*)>
End show_vsans() {
  std::puts("session  VSANs");
  return walk<span_snmp_vsan_entry_t>(
      [](uint32_t previous, auto& row) { return get(previous, SPAN_SNMP_GETNEXT_REQ, &row); },
      [](const auto& row) { return row.session; },
      [](const auto& row) {
        span_vsan_holder_t holder = {SPAN_VSAN_BYTES, {}};
        std::memcpy(holder.bits, row.vsans, sizeof holder.bits);
        std::printf("%-7u  ", row.session);
        if (span_vsan_bitset_sprintf(&holder) == 0) std::putchar('-');
        std::putchar('\n');
      });
}

End show_drop_threshold() {
  std::printf("packets  %u\n", span_snmp_drop_threshold_get());
  return End::kOfTable;
}

struct Table {
  const char* name;
  End (*show)();
};

constexpr Table kTables[] = {
    {"sessions", show_sessions},
    {"source-interfaces", show_source_interfaces},
    {"source-vsans", show_vsans<span_snmp_source_vsan_get>},
    {"vsan-filter", show_vsans<span_snmp_vsan_filter_get>},
    {"drop-threshold", show_drop_threshold},
};

Status show(const Table& table) {
  host::reset_outcome();
  std::printf("[%s]\n", table.name);
  if (table.show() == End::kStuck) {
    shell::say(std::string(table.name) + ": the table does not end");
    return Status::kUsage;
  }
  if (host::outcome() == host::Outcome::kDone) return Status::kDone;
  const std::string reason = host::failure();
  shell::say(std::string(table.name) + ": " + (reason.empty() ? "the SPAN manager refused to tell it" : reason));
  return host::outcome() == host::Outcome::kUnreachable ? Status::kUnreachable : Status::kRefused;
}

// ---- Program --------------------------------------------------------------------------------------------------------

struct Options {
  shell::SwitchOptions which;
  std::string startup;
  std::string table;
};

void declare(CLI::App& app, Options& options) {
  std::vector<std::string> names;
  for (const Table& table : kTables) names.emplace_back(table.name);
  options.which.declare(app);
  app.add_option("--startup", options.startup, "Configure the switch from a file first")->option_text("FILE");
  app.add_option("--table", options.table, "Show one table: " + CLI::detail::join(names, ", "))
      ->option_text("NAME")
      ->check(CLI::IsMember(names));
  app.footer(kExitStatus);
}

// Nothing when the start-up file cannot be read.
std::optional<Status> configure(const std::string& startup) {
  const chassis::Role role{"", true, {}, std::bitset<4096>().set()};
  return startup.empty() ? Status::kDone : shell::run_startup(host::switch_chassis(), {"span-rows", &role}, startup);
}

Status run(const Options& options) {
  if (const Status status = options.which.open("span-rows"); status != Status::kDone) return status;
  const std::optional<Status> configured = configure(options.startup);
  if (!configured) return Status::kUsage;
  uint32_t queue = host::switch_queue();
  span_snmp_set_quill_q(&queue);
  Status worst = *configured;
  for (const Table& table : kTables) {
    if (options.table.empty() || options.table == table.name) worst = std::max(worst, show(table));
  }
  return shell::flush_output() ? worst : std::max(worst, Status::kUsage);
}

}  // namespace
}  // namespace rows

int main(int argc, char** argv) {
  transport::hold_standard_files();
  std::signal(SIGPIPE, SIG_IGN);
  shell::set_speaker("span-rows");
  CLI::App app{"The SNMP tables of port mirroring, each walked with get-next.", "span-rows"};
  rows::Options options;
  rows::declare(app, options);
  const auto end = shell::parse(app, argc, argv);
  return static_cast<int>(end ? *end : rows::run(options));
}
