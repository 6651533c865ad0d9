#include "host/agent/tables.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace agent {
namespace {

constexpr uint32_t kMaxNumber = 0xFFFFFFFF;
constexpr uint32_t kActive = 1;  // RowStatus: there is no other row

// What a get-next is asked for that is behind all rows.
bool behind_sessions(const Oid& index) { return !index.empty() && index.front() >= SPAN_SESSIONS; }

uint32_t previous_session(const Oid& index) { return index.empty() ? 0 : static_cast<uint32_t>(index.front()); }

// A get and a get-next of a table that is indexed by the session.
template <class Entry, uint32_t (*kHandler)(uint32_t, int32_t, Entry*), Row (*kRowOf)(const Entry&)>
Found get_of_session(const Oid& index, Row& row) {
  const auto session = session_of(index);
  if (!session) return Found::kNo;
  Entry entry = {};
  const Found found = read([&] { return kHandler(*session, SPAN_SNMP_GET_REQ, &entry); });
  if (found == Found::kYes) row = kRowOf(entry);
  return found;
}

template <class Entry, uint32_t (*kHandler)(uint32_t, int32_t, Entry*), Row (*kRowOf)(const Entry&)>
Found next_of_session(Oid& index, Row& row) {
  if (behind_sessions(index)) return Found::kNo;
  Entry entry = {};
  const Found found = read([&] { return kHandler(previous_session(index), SPAN_SNMP_GETNEXT_REQ, &entry); });
  if (found != Found::kYes) return found;
  index = {entry.session};
  row = kRowOf(entry);
  return found;
}

// ---- Sessions -------------------------------------------------------------------------------------------------------

Row session_row(const span_snmp_session_entry_t& entry) {
  return {unsigned32(entry.destination), integer(entry.admin_status), integer(entry.oper_status),
          octets(entry.oper_reason), integer(kActive)};
}

template <class Entry, uint32_t (*kHandler)(uint32_t, int32_t, Entry*), Row (*kRowOf)(const Entry&)>
Table session_table(oid number, oid first_column, oid last_column) {
  return {{number, 1},
          first_column,
          last_column,
          get_of_session<Entry, kHandler, kRowOf>,
          next_of_session<Entry, kHandler, kRowOf>};
}

// ---- Source interfaces ----------------------------------------------------------------------------------------------

Found get_source(const Oid& index, Row& row) {
  const auto source = source_of(index);
  if (!source) return Found::kNo;
  const Found found = read_source(*source);
  if (found == Found::kYes) row = {integer(kActive)};
  return found;
}

// The place in the table that an index of any length stands right behind. The handler takes a whole index: one without
// a direction stands behind the interface before it.
span_snmp_source_if_entry_t place_of(const Oid& index) {
  const auto arc = [&](size_t i) { return index.size() > i ? static_cast<uint32_t>(index[i]) : 0; };
  const span_snmp_source_if_entry_t place = {arc(0), arc(1), std::min(arc(2), uint32_t{SPAN_TX})};
  if (place.if_index == 0) return {place.session, 0, 0};
  return place.direction == 0 ? span_snmp_source_if_entry_t{place.session, place.if_index - 1, SPAN_TX} : place;
}

Found next_source(Oid& index, Row& row) {
  if (!index.empty() && index.front() > SPAN_SESSIONS) return Found::kNo;
  const span_snmp_source_if_entry_t place = place_of(index);
  span_snmp_source_if_entry_t entry = {};
  const Found found = read([&] {
    return span_snmp_source_if_get(place.session, place.if_index, place.direction, SPAN_SNMP_GETNEXT_REQ, &entry);
  });
  if (found != Found::kYes) return found;
  index = {entry.session, entry.if_index, entry.direction};
  row = {integer(kActive)};
  return found;
}

// ---- VSANs ----------------------------------------------------------------------------------------------------------

// Octets of 0 at the end are left away.
Value quarter_of(const uint8_t* octets_of_quarter) {
  std::string bits(octets_of_quarter, octets_of_quarter + kQuarter);
  bits.resize(bits.find_last_not_of('\0') + 1);
  return octets(std::move(bits));
}

Row vsan_row(const span_snmp_vsan_entry_t& entry) {
  Row row;
  for (size_t at = 0; at < SPAN_VSAN_BYTES; at += kQuarter) row.push_back(quarter_of(entry.vsans + at));
  return row;
}

// ---- The drop threshold ---------------------------------------------------------------------------------------------

Found get_threshold(const Oid& index, Row& row) {
  if (index != Oid{0}) return Found::kNo;
  uint32_t threshold = 0;
  const Found found = read_threshold(threshold);
  if (found == Found::kYes) row = {unsigned32(threshold)};
  return found;
}

Found next_threshold(Oid& index, Row& row) {
  if (!index.empty()) return Found::kNo;
  index = {0};
  return get_threshold(index, row);
}

}  // namespace

std::span<const Table> mirror_tables() {
  static const Table tables[] = {
      session_table<span_snmp_session_entry_t, span_snmp_session_get, session_row>(kSessionTable, kSessionDestination,
                                                                                   kSessionRowStatus),
      {{kSourceIfTable, 1}, kSourceIfRowStatus, kSourceIfRowStatus, get_source, next_source},
      session_table<span_snmp_vsan_entry_t, span_snmp_source_vsan_get, vsan_row>(kSourceVsanTable, kVsanFirstQuarter,
                                                                                 kVsanLastQuarter),
      session_table<span_snmp_vsan_entry_t, span_snmp_vsan_filter_get, vsan_row>(kVsanFilterTable, kVsanFirstQuarter,
                                                                                 kVsanLastQuarter),
      {{kDropsGroup}, kDropThreshold, kDropThreshold, get_threshold, next_threshold},
  };
  return tables;
}

std::optional<uint32_t> session_of(const Oid& index) {
  const bool fits = index.size() == 1 && index[0] >= 1 && index[0] <= SPAN_SESSIONS;
  return fits ? std::optional(static_cast<uint32_t>(index[0])) : std::nullopt;
}

std::optional<span_snmp_source_if_entry_t> source_of(const Oid& index) {
  const bool fits = index.size() == 3 && index[0] >= 1 && index[0] <= SPAN_SESSIONS && index[1] >= 1 &&
                    index[1] <= kMaxNumber && (index[2] == SPAN_RX || index[2] == SPAN_TX);
  if (!fits) return std::nullopt;
  return span_snmp_source_if_entry_t{static_cast<uint32_t>(index[0]), static_cast<uint32_t>(index[1]),
                                     static_cast<uint32_t>(index[2])};
}

Found read_session(uint32_t session, span_snmp_session_entry_t& row) {
  return read([&] { return span_snmp_session_get(session, SPAN_SNMP_GET_REQ, &row); });
}

// A success with a row of zeros is a manager that could not be asked.
Found read_source(const span_snmp_source_if_entry_t& source) {
  span_snmp_source_if_entry_t row = {};
  const Found found = read([&] {
    return span_snmp_source_if_get(source.session, source.if_index, source.direction, SPAN_SNMP_GET_REQ, &row);
  });
  return found == Found::kYes && row.session == 0 ? Found::kFailed : found;
}

// The handler has no status: a threshold that could not be read is 0.
Found read_threshold(uint32_t& threshold) {
  return read([&] {
    threshold = span_snmp_drop_threshold_get();
    return SPAN_OK;
  });
}

Found read_vsans(oid table, uint32_t session, VsanBits& vsans) {
  const auto get = table == kSourceVsanTable ? span_snmp_source_vsan_get : span_snmp_vsan_filter_get;
  span_snmp_vsan_entry_t row = {};
  const Found found = read([&] { return get(session, SPAN_SNMP_GET_REQ, &row); });
  std::memcpy(vsans.data(), row.vsans, vsans.size());
  return found;
}

}  // namespace agent
