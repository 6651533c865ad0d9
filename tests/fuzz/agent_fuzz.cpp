// The SNMP agent on an embedded switch: names of any arcs that are read, and requests that set anything.
#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "host/agent/change.h"
#include "host/agent/smon.h"
#include "host/agent/tables.h"
#include "host/platform/switch.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/switch.h"

namespace {

using agent::Found;
using agent::Oid;
using agent::Subtree;
using agent::Value;
using fuzz::Input;

void require(bool holds) {
  if (!holds) std::abort();
}

const Subtree& mirror() {
  static const Subtree objects(agent::below_mib({agent::kObjectsArc}), agent::mirror_tables());
  return objects;
}

// ---- Names ----------------------------------------------------------------------------------------------------------

oid any_interface(Input& input) {
  const auto& all = host::switch_chassis().interfaces();
  return all[input.below(static_cast<uint32_t>(all.size()))].if_index;
}

// An arc that an index, a column or a table could have.
oid any_arc(Input& input) {
  switch (input.below(8)) {
    case 0:
      return any_interface(input);
    case 1:
      return any_interface(input) + 1;
    case 2:
      return input.word();
    default:
      return input.below(19);
  }
}

Oid any_arcs(Input& input, size_t most) {
  Oid arcs(input.below(static_cast<uint32_t>(most) + 1));
  std::ranges::generate(arcs, [&] { return any_arc(input); });
  return arcs;
}

// An instance of one of the tables, mostly.
Oid any_object(Input& input) {
  if (input.rarely()) return any_arcs(input, 6);
  const oid table = 1 + input.below(5);
  if (table == agent::kDropsGroup) return {table, agent::kDropThreshold, 0};
  Oid object = {table, 1, 1 + input.below(6), 1 + input.below(4)};
  if (table == agent::kSourceIfTable)
    object = {table, 1, agent::kSourceIfRowStatus, object.back(), any_interface(input), 1 + input.below(2)};
  return object;
}

// ---- Reading --------------------------------------------------------------------------------------------------------

std::optional<Value> get(const Subtree& subtree, const Oid& name) {
  Value value;
  bool object_exists = false;
  const Found found = subtree.get(name, value, object_exists);
  require(found != Found::kFailed && (found != Found::kYes || object_exists));
  return found == Found::kYes ? std::optional(value) : std::nullopt;
}

// What is behind a name: it is there, and between the two there is nothing.
void read(const Subtree& subtree, const Oid& name, const Oid& between) {
  get(subtree, name);
  Oid next = name;
  Value value;
  const Found found = subtree.next(next, value);
  require(found != Found::kFailed);
  if (found == Found::kNo) return;
  require(name < next && agent::is_below(subtree.root(), next));
  require(get(subtree, next) == value);
  if (!(name < between && between < next)) return;
  require(!get(subtree, between));
  Oid again = between;
  require(subtree.next(again, value) == Found::kYes && again == next);
}

// A port copy that there may be, a data source, or the names around them.
Oid any_standard_object(Input& input) {
  if (input.flip()) return {3, 1, 1, 3 + input.below(4), any_interface(input), any_interface(input)};
  return {1, 1, 1, 1 + input.below(5), 1, 3, 6, 1, 2, 1, 2, 2, 1, 1, any_interface(input)};
}

// An instance that there is, or a name close to one.
Oid near_instance(Input& input, const Subtree& subtree) {
  const bool standard = &subtree == &agent::smon_objects();
  Oid name = agent::joined(subtree.root(), standard ? any_standard_object(input) : any_object(input));
  Value value;
  for (uint32_t steps = input.below(8); steps > 0 && subtree.next(name, value) == Found::kYes; --steps) {
  }
  if (input.flip()) name.resize(name.size() - input.below(3));
  if (input.flip()) name = agent::joined(std::move(name), any_arcs(input, 4));
  return name;
}

void read_any(Input& input) {
  const Subtree* const subtrees[] = {&mirror(), &agent::smon_objects(), &agent::probe_config()};
  const Subtree& subtree = *subtrees[input.below(std::size(subtrees))];
  const Oid name = input.rarely() ? any_arcs(input, 8) : near_instance(input, subtree);
  Oid between = agent::joined(name, any_arcs(input, 3));
  if (input.flip() && !between.empty() && between.back() < UINT32_MAX) ++between.back();
  read(subtree, name, between);
}

std::string everything() {
  std::string all;
  Oid name = mirror().root();
  Value value;
  while (mirror().next(name, value) == Found::kYes) {
    all += agent::text_of(name) + ' ' + std::to_string(value.number) + ' ' + value.octets + '\n';
  }
  return all;
}

// ---- Setting --------------------------------------------------------------------------------------------------------

// A set of VSANs, mostly such as the switch has.
std::string any_vsans(Input& input) {
  const fuzz::Bytes bytes = input.rarely() ? input.take(input.below(200)) : input.take(input.below(4));
  return {bytes.begin(), bytes.end()};
}

Value any_value(Input& input, const Oid& object) {
  if (input.rarely()) return {static_cast<u_char>(input.byte()), input.number(), input.text(10)};
  const oid table = object.empty() ? 0 : object.front();
  const oid column = object.size() > 2 ? object[2] : 0;
  if (table == agent::kDropsGroup) return agent::unsigned32(input.number());
  if (table == agent::kSessionTable && column == agent::kSessionDestination) {
    return agent::unsigned32(input.flip() ? 0 : static_cast<uint32_t>(any_interface(input)));
  }
  const bool vsans = table == agent::kSourceVsanTable || table == agent::kVsanFilterTable;
  return vsans ? agent::octets(any_vsans(input)) : agent::integer(input.flip() ? 4 : input.below(8));
}

// What is refused leaves nothing behind, and what is done can be taken back. Takes and returns all that the switch
// shows.
std::string set_any(Input& input, std::string before) {
  std::vector<agent::Assignment> assignments;
  for (uint32_t count = 1 + input.below(5); count > 0; --count) {
    const Oid object = any_object(input);
    agent::Assignment assignment{};
    if (agent::parse(object, any_value(input, object), assignment) != SNMP_ERR_NOERROR) continue;
    assignments.push_back(std::move(assignment));
  }
  agent::Change change(std::move(assignments));
  const bool planned = !change.plan();
  if (planned) {
    if (!change.apply() && !input.rarely()) return everything();
    require(change.undo());
  }
  require(everything() == before);
  return before;
}

// ---- The switch -----------------------------------------------------------------------------------------------------

// What of it is refused does not matter.
void configure(Input& input) {
  for (uint32_t session = 1; session <= 3; ++session) {
    span_snmp_session_create(session);
    span_snmp_session_dest_set(session, static_cast<uint32_t>(any_interface(input)));
    for (uint32_t sources = input.below(4); sources > 0; --sources) {
      const auto source = static_cast<uint32_t>(any_interface(input));
      span_snmp_source_if_create(session, source, input.flip() ? SPAN_RX : SPAN_TX);
    }
  }
}

void start_switch() {
  static const chassis::Chassis chassis = fuzz::make_switch();
  static uint32_t queue;
  host::start_switch(chassis);
  host::set_debug_output(false);
  queue = host::switch_queue();
  span_snmp_set_quill_q(&queue);
  span_snmp_set_tarn(1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  start_switch();
  configure(input);
  std::string shown = everything();
  for (int steps = 0; steps < 40 && !input.empty(); ++steps) {
    if (input.flip()) {
      shown = set_any(input, std::move(shown));
    } else {
      read_any(input);
    }
  }
  return 0;
}
