#include "host/agent/smon.h"

#include <utility>
#include <vector>

#include "host/agent/asking.h"
#include "host/agent/brief.h"
#include "host/agent/registration.h"
#include "libspan.h"

namespace agent {
namespace {

// ---- portCopyTable --------------------------------------------------------------------------------------------------

enum : oid { kPortCopyDirection = 4, kPortCopyStatus = 5 };  // those of its columns that are served

enum : uint32_t { kActive = 1, kNotInService = 2 };  // RowStatus

using Place = std::pair<uint64_t, uint64_t>;  // source and destination, wider than an interface index

// What a session copies from a source interface to its destination, which is of this session alone. The direction,
// SPAN_RX to SPAN_BOTH, has the numbers of portCopyDirection.
struct PortCopy {
  Place place;
  BriefSession session{};
  uint32_t direction = 0;
};

Row row_of(const PortCopy& copy) {
  return {integer(copy.direction), integer(copy.session.active ? kActive : kNotInService)};
}

// The row of a session's sources behind an interface and a direction.
Found next_source(uint32_t session, uint64_t if_index, uint32_t direction, span_snmp_source_if_entry_t& source) {
  return read([&] {
    return span_snmp_source_if_get_next_in_session(static_cast<int32_t>(session), static_cast<uint32_t>(if_index),
                                                   direction, &source);
  });
}

// The first copy of a session at or behind a place. Behind the egress row of an interface comes the next interface.
Found first_copy(const BriefSession& session, const Place& at, PortCopy& copy) {
  const uint64_t from = at.first + (session.destination < at.second ? 1 : 0);
  span_snmp_source_if_entry_t source = {};
  const Found found = next_source(session.session, from == 0 ? 0 : from - 1, SPAN_TX, source);
  copy = {{source.if_index, session.destination}, session, source.direction};
  return found;
}

// Behind the ingress row of an interface comes its egress row, when it has one.
Found add_egress(PortCopy& copy) {
  if (copy.direction != SPAN_RX) return Found::kYes;
  span_snmp_source_if_entry_t source = {};
  const Found found = next_source(copy.session.session, copy.place.first, SPAN_RX, source);
  if (found == Found::kYes && source.if_index == copy.place.first) copy.direction = SPAN_BOTH;
  return found == Found::kFailed ? found : Found::kYes;
}

// The first copy of all at or behind a place: each session is asked for its own first one, and no session is walked.
Found find_copy(const std::vector<BriefSession>& sessions, const Place& at, PortCopy& first) {
  Found any = Found::kNo;
  for (const BriefSession& each : sessions) {
    if (each.destination == 0) continue;
    PortCopy copy;
    const Found found = first_copy(each, at, copy);
    if (found == Found::kFailed) return found;
    if (found == Found::kNo || (any == Found::kYes && first.place < copy.place)) continue;
    first = copy;
    any = Found::kYes;
  }
  return any == Found::kYes ? add_egress(first) : any;
}

Found get_copy(const Oid& index, Row& row) {
  if (index.size() != 2) return Found::kNo;
  auto sessions = read_brief();
  if (!sessions) return Found::kFailed;
  std::erase_if(*sessions, [&](const BriefSession& each) { return each.destination != index[1]; });
  PortCopy copy;
  const Found found = find_copy(*sessions, {index[0], index[1]}, copy);
  if (found != Found::kYes) return found;
  row = row_of(copy);
  return copy.place.first == index[0] ? Found::kYes : Found::kNo;
}

Found next_copy(Oid& index, Row& row) {
  const auto sessions = read_brief();
  if (!sessions) return Found::kFailed;
  const auto arc = [&](size_t i) { return index.size() > i ? uint64_t{index[i]} : 0; };
  PortCopy copy;
  const Found found = find_copy(*sessions, {arc(0), arc(1) + 1}, copy);
  if (found != Found::kYes) return found;
  index = {static_cast<oid>(copy.place.first), static_cast<oid>(copy.place.second)};
  row = row_of(copy);
  return Found::kYes;
}

// ---- dataSourceCapsTable --------------------------------------------------------------------------------------------

enum : oid { kDataSourceRmonCaps = 2, kDataSourceCopyCaps = 3, kDataSourceCapsIfIndex = 4 };  // its columns

// Bits of dataSourceCopyCaps.
constexpr uint8_t kCopySourcePort = 0x80;
constexpr uint8_t kCopyDestPort = 0x40;
constexpr uint8_t kCopySrcTxTraffic = 0x20;
constexpr uint8_t kCopySrcRxTraffic = 0x10;

std::string bits(uint8_t octet) { return std::string(1, static_cast<char>(octet)); }

// What the type of an interface allows; none at all when it is none of the data sources.
uint8_t copy_caps(uint32_t if_index) {
  uint8_t caps = 0;
  if (span_snmp_check_if_index_src(if_index) == SPAN_OK)
    caps |= kCopySourcePort | kCopySrcTxTraffic | kCopySrcRxTraffic;
  if (span_snmp_check_if_index_dest(if_index) == SPAN_OK) caps |= kCopyDestPort;
  return caps;
}

// Statistics of RMON's are not kept.
Row caps_row(uint32_t if_index, uint8_t caps) { return {octets(bits(0)), octets(bits(caps)), integer(if_index)}; }

// A data source is named by the object ifIndex of its port.
const Oid& if_index_object() {
  static const Oid name = {1, 3, 6, 1, 2, 1, 2, 2, 1, 1};
  return name;
}

Found get_caps(const Oid& index, Row& row) {
  if (index.size() != if_index_object().size() + 1 || !is_below(if_index_object(), index)) return Found::kNo;
  const chassis::Interface* const interface = host::switch_chassis().find(static_cast<uint32_t>(index.back()));
  const uint8_t caps = interface == nullptr ? uint8_t{0} : copy_caps(interface->if_index);
  if (caps == 0) return Found::kNo;
  row = caps_row(interface->if_index, caps);
  return Found::kYes;
}

Found next_caps(Oid& index, Row& row) {
  for (const chassis::Interface& each : host::switch_chassis().interfaces()) {
    Oid name = joined(if_index_object(), {each.if_index});
    if (!(index < name)) continue;
    const uint8_t caps = copy_caps(each.if_index);
    if (caps == 0) continue;
    index = std::move(name);
    row = caps_row(each.if_index, caps);
    return Found::kYes;
  }
  return Found::kNo;
}

// ---- smonCapabilities -----------------------------------------------------------------------------------------------

enum : oid { kSmonCapabilities = 15 };  // of probeConfig

// Of its bits, dataSource and portCopy.
constexpr uint8_t kCapabilities = 0x28;

Found get_capabilities(const Oid& index, Row& row) {
  if (index != Oid{0}) return Found::kNo;
  row = {octets(bits(kCapabilities))};
  return Found::kYes;
}

Found next_capabilities(Oid& index, Row& row) {
  if (!index.empty()) return Found::kNo;
  index = {0};
  return get_capabilities(index, row);
}

}  // namespace

const Subtree& smon_objects() {
  static const Table tables[] = {
      {{1, 1, 1}, kDataSourceRmonCaps, kDataSourceCapsIfIndex, get_caps, next_caps},
      {{3, 1, 1}, kPortCopyDirection, kPortCopyStatus, get_copy, next_copy},
  };
  static const Subtree objects({1, 3, 6, 1, 2, 1, 16, 22, 1}, tables);
  return objects;
}

const Subtree& probe_config() {
  static const Table tables[] = {{{}, kSmonCapabilities, kSmonCapabilities, get_capabilities, next_capabilities}};
  static const Subtree objects({1, 3, 6, 1, 2, 1, 16, 19}, tables);
  return objects;
}

bool register_smon() {
  return register_subtree("smonMIBObjects", smon_objects()) && register_subtree("probeConfig", probe_config());
}

}  // namespace agent
