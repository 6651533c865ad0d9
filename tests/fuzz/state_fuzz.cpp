// The manager's state on disk: any rows in its tables, as if nobody had checked them, and the switch that they are for.
#include <cstdlib>
#include <iterator>
#include <optional>
#include <string>

#include "host/daemon/fit.h"
#include "host/daemon/tables.h"
#include "host/manager/manager.h"
#include "host/manager/vsan_text.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/switch.h"

namespace {

using fuzz::Input;
using spand::Database;
using spand::Query;

void require(bool holds) {
  if (!holds) std::abort();
}

// The tables without their rules: a column takes anything.
constexpr char kTables[] = R"(
CREATE TABLE setting (name, value);
CREATE TABLE port_mode (interface, mode);
CREATE TABLE session (number, suspended, destination, source_vsans, filter_vsans);
CREATE TABLE source (session, direction, interface, filter_vsans);
)";

int64_t any_number(Input& input) {
  if (!input.rarely()) return input.byte();
  const int64_t high = input.word();
  return static_cast<int64_t>(static_cast<uint64_t>(high) << 32 | input.word());
}

int64_t any_if_index(Input& input) {
  static const chassis::Chassis chassis = fuzz::make_switch();
  const auto& all = chassis.interfaces();
  return input.rarely() ? any_number(input) : all[input.below(static_cast<uint32_t>(all.size()))].if_index;
}

// Mostly VSANs, some of which the switch has.
std::string any_vsans(Input& input) {
  if (input.flip()) return input.text(60);
  manager::Vsans vsans;
  for (uint32_t count = input.below(6); count > 0; --count) vsans.set(input.below(input.flip() ? 110 : SPAN_VSANS));
  return manager::vsan_text(vsans);
}

void add_port_mode(Database& database, Input& input) {
  const int64_t interface = any_if_index(input);
  const int64_t mode = any_number(input) % 4;
  Query(database, "INSERT INTO port_mode VALUES (?, ?)").with(interface, mode).run();
}

void add_session(Database& database, Input& input) {
  const int64_t number = any_number(input) % 18;
  const bool suspended = input.flip();
  const int64_t destination = input.flip() ? any_if_index(input) : 0;
  const std::string sources = any_vsans(input);
  const std::string filter = any_vsans(input);
  Query(database, "INSERT INTO session VALUES (?, ?, ?, ?, ?)")
      .with(number, suspended, destination, sources, filter)
      .run();
}

void add_source(Database& database, Input& input) {
  const int64_t number = any_number(input) % 18;
  const int64_t direction = any_number(input) % 4;
  const int64_t interface = any_if_index(input);
  const std::string filter = any_vsans(input);
  Query(database, "INSERT INTO source VALUES (?, ?, ?, ?)").with(number, direction, interface, filter).run();
}

constexpr void (*kRows[])(Database& database, Input& input) = {add_port_mode, add_session, add_source, add_source};

std::optional<manager::Config> read(Database& database) {
  try {
    return spand::read_tables(database);
  } catch (const spand::DatabaseError&) {
    return std::nullopt;
  }
}

// What is left of a state fits, and a manager can tell it.
void use(const manager::Config& config) {
  static const chassis::Chassis chassis = fuzz::make_switch();
  const spand::Fit first = spand::fit(chassis, config);
  const spand::Fit second = spand::fit(chassis, first.config);
  require(second.misfits.empty() && second.config == first.config);
  constexpr uint32_t kBrief = 2005;
  constexpr uint32_t kQuery = 1;
  constexpr uint8_t kAll[] = {1, 0, 0, 0};
  require(manager::Manager(chassis, first.config).handle(kBrief, kQuery, kAll).status == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const std::string text(data, data + size);
  if (const auto vsans = manager::parse_vsans(text)) require(manager::vsan_text(*vsans) == text);
  Database database(":memory:", Database::Access::kWrite);
  database.run(kTables);
  Query(database, "INSERT INTO setting VALUES ('drop threshold', ?)").with(input.word()).run();
  while (!input.empty()) kRows[input.below(std::size(kRows))](database, input);
  if (const auto config = read(database)) use(*config);
  return 0;
}
