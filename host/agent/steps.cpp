#include "host/agent/steps.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

namespace agent {
namespace {

uint32_t add(const Source& source) {
  const auto direction = static_cast<int32_t>(source.direction);
  return change([&] { return span_snmp_source_if_create(source.session, source.if_index, direction); });
}

uint32_t remove(const Source& source) {
  const auto direction = static_cast<int32_t>(source.direction);
  return change([&] { return span_snmp_source_if_destroy(source.session, source.if_index, direction); });
}

uint32_t set_status(uint32_t session, uint32_t admin_status) {
  return change([&] { return span_snmp_session_admin_status_set(session, admin_status); });
}

uint32_t set_dest(uint32_t session, uint32_t if_index) {
  return change([&] { return span_snmp_session_dest_set(session, if_index); });
}

uint32_t create(uint32_t session) {
  return change([&] { return span_snmp_session_create(session); });
}

uint32_t destroy(uint32_t session) {
  return change([&] { return span_snmp_session_destroy(session); });
}

uint32_t set_thresh(uint32_t threshold) {
  return change([&] { return span_snmp_drop_threshold_set(threshold); });
}

// ---- Bringing something about, whatever is the case now -------------------------------------------------------------

// Nothing is asked for that is the case already: who may not change anything can take back what was refused.
uint32_t put_source(const Source& source, bool wanted) {
  const Found found = read_source(source);
  if (found == Found::kFailed) return SPAN_E_SNMP_FAILED;
  if ((found == Found::kYes) == wanted) return SPAN_OK;
  return wanted ? add(source) : remove(source);
}

uint32_t put_no_session(uint32_t session) {
  span_snmp_session_entry_t row = {};
  const Found found = read_session(session, row);
  if (found == Found::kFailed) return SPAN_E_SNMP_FAILED;
  return found == Found::kNo ? SPAN_OK : destroy(session);
}

uint32_t put_status(uint32_t session, uint32_t admin_status) {
  span_snmp_session_entry_t row = {};
  if (read_session(session, row) != Found::kYes) return SPAN_E_SNMP_FAILED;
  return row.admin_status == admin_status ? SPAN_OK : set_status(session, admin_status);
}

uint32_t put_dest(uint32_t session, uint32_t if_index) {
  span_snmp_session_entry_t row = {};
  if (read_session(session, row) != Found::kYes) return SPAN_E_SNMP_FAILED;
  return row.destination == if_index ? SPAN_OK : set_dest(session, if_index);
}

uint32_t put_threshold(uint32_t threshold) {
  uint32_t now = 0;
  if (read_threshold(now) != Found::kYes) return SPAN_E_SNMP_FAILED;
  return now == threshold ? SPAN_OK : set_thresh(threshold);
}

// ---- VSANs ----------------------------------------------------------------------------------------------------------

struct VsanOperations {
  uint32_t add;
  uint32_t remove;
};

constexpr VsanOperations kSourceVsans = {4, 8};
constexpr VsanOperations kFilterVsans = {16, 32};

VsanBits without(const VsanBits& vsans, const VsanBits& others) {
  VsanBits rest;
  std::ranges::transform(vsans, others, rest.begin(),
                         [](uint8_t a, uint8_t b) { return static_cast<uint8_t>(a & ~b); });
  return rest;
}

uint32_t modify(oid table, uint32_t session, uint32_t operation, const VsanBits& vsans) {
  if (vsans == VsanBits{}) return SPAN_OK;
  span_snmp_vsan_modify_req_t request = {0, session, operation, {}};
  std::memcpy(request.vsans, vsans.data(), vsans.size());
  return change([&] {
    return table == kSourceVsanTable ? span_snmp_source_vsan_modify(&request, nullptr)
                                     : span_snmp_vsan_filter_modify(&request);
  });
}

// Of source VSANs, what goes makes room for what comes: a session may have so many. A filter must not be empty between
// the two, since then the session would mirror everything.
uint32_t replace_vsans(oid table, uint32_t session, const VsanBits& before, const VsanBits& vsans) {
  const bool sources = table == kSourceVsanTable;
  const VsanOperations& operations = sources ? kSourceVsans : kFilterVsans;
  const auto add = [&] { return modify(table, session, operations.add, without(vsans, before)); };
  const auto remove = [&] { return modify(table, session, operations.remove, without(before, vsans)); };
  const uint32_t status = sources ? remove() : add();
  if (status != SPAN_OK) return status;
  return sources ? add() : remove();
}

// Whatever the set is now.
uint32_t put_vsans(oid table, uint32_t session, const VsanBits& vsans) {
  VsanBits now;
  if (read_vsans(table, session, now) != Found::kYes) return SPAN_E_SNMP_FAILED;
  return replace_vsans(table, session, now, vsans);
}

// ---- What a session has ---------------------------------------------------------------------------------------------

// A source may have more than its row says: VSANs that it is filtered by, kinds of traffic. Nothing when the manager
// cannot tell.
std::optional<bool> has_detail(const Source& source) {
  span_src_if_info_req_t request = {};
  std::memcpy(&request.if_index, &source.if_index, sizeof request.if_index);
  request.session_index = static_cast<uint8_t>(source.session - 1);
  request.direction = static_cast<uint8_t>(source.direction);
  void* response = nullptr;
  const Found found =
      read([&] { return span_get_src_if_info(host::switch_queue(), nullptr, nullptr, &request, &response); });
  const std::unique_ptr<void, decltype(&std::free)> owner(response, &std::free);
  if (found != Found::kYes) return std::nullopt;
  const auto& info = *static_cast<const span_src_if_info_res_t*>(response);
  const bool rx = source.direction == SPAN_RX;
  return (rx ? info.rx_filter : info.tx_filter) != 0 || (rx ? info.rx_traffic_type : info.tx_traffic_type) != 0;
}

// A session with all that it has.
struct Snapshot {
  span_snmp_session_entry_t row = {};
  std::vector<Source> sources{};
  VsanBits source_vsans{};
  VsanBits filter{};
  bool details = false;  // a source has more than its row
};

bool read_sources(Snapshot& snapshot) {
  const uint32_t session = snapshot.row.session;
  for (Source at = {session, 0, 0};;) {
    Source next = {};
    const Found found = read(
        [&] { return span_snmp_source_if_get(at.session, at.if_index, at.direction, SPAN_SNMP_GETNEXT_REQ, &next); });
    const bool behind = std::pair(at.if_index, at.direction) < std::pair(next.if_index, next.direction);
    if (found == Found::kFailed) return false;
    if (found == Found::kNo || next.session != session || !behind) return true;
    const auto detail = has_detail(next);
    if (!detail) return false;
    snapshot.details = snapshot.details || *detail;
    snapshot.sources.push_back(next);
    at = next;
  }
}

std::optional<Snapshot> take_snapshot(uint32_t session) {
  Snapshot snapshot;
  const bool whole = read_session(session, snapshot.row) == Found::kYes && read_sources(snapshot) &&
                     read_vsans(kSourceVsanTable, session, snapshot.source_vsans) == Found::kYes &&
                     read_vsans(kVsanFilterTable, session, snapshot.filter) == Found::kYes;
  return whole ? std::optional(std::move(snapshot)) : std::nullopt;
}

uint32_t worst(std::initializer_list<uint32_t> statuses) { return std::max(statuses); }

// Brings a session back. What its sources had beside their rows is lost, and that is told.
uint32_t restore(const Snapshot& snapshot) {
  const uint32_t session = snapshot.row.session;
  span_snmp_session_entry_t row = {};
  const Found found = read_session(session, row);
  if (found != Found::kNo) return found == Found::kYes ? SPAN_OK : SPAN_E_SNMP_FAILED;
  uint32_t status = create(session);
  if (status != SPAN_OK) return status;
  status = worst({put_status(session, snapshot.row.admin_status), put_dest(session, snapshot.row.destination),
                  put_vsans(kSourceVsanTable, session, snapshot.source_vsans),
                  put_vsans(kVsanFilterTable, session, snapshot.filter)});
  for (const Source& source : snapshot.sources) status = worst({status, put_source(source, true)});
  return snapshot.details ? worst({status, SPAN_E_SNMP_NO_SOURCE}) : status;
}

}  // namespace

// ---- Steps ----------------------------------------------------------------------------------------------------------

Step create_session(uint32_t session) {
  return {Rank::kCreateSession, At::kIndex, [=] { return create(session); }, [=] { return put_no_session(session); }};
}

Step set_destination(uint32_t session, uint32_t before, uint32_t if_index) {
  return {if_index == 0 ? Rank::kFree : Rank::kSet, At::kValue, [=] { return set_dest(session, if_index); },
          [=] { return put_dest(session, before); }};
}

Step set_admin_status(uint32_t session, uint32_t before, uint32_t admin_status) {
  return {Rank::kSet, At::kValue, [=] { return set_status(session, admin_status); },
          [=] { return put_status(session, before); }};
}

Step add_source(const Source& source) {
  return {Rank::kAddSource, At::kIndex, [=] { return add(source); }, [=] { return put_source(source, false); }};
}

Step change_vsans(oid table, uint32_t session, const VsanBits& before, const VsanBits& vsans) {
  return {Rank::kSet, At::kValue, [=] { return replace_vsans(table, session, before, vsans); },
          [=] { return put_vsans(table, session, before); }};
}

Step set_threshold(uint32_t before, uint32_t threshold) {
  return {Rank::kSet, At::kValue, [=] { return set_thresh(threshold); }, [=] { return put_threshold(before); }};
}

std::optional<Step> remove_source(const Source& source) {
  const auto detail = has_detail(source);
  if (!detail) return std::nullopt;
  const auto undo = [source, lost = *detail] {
    const bool there = read_source(source) == Found::kYes;
    const uint32_t status = put_source(source, true);
    return status == SPAN_OK && lost && !there ? SPAN_E_SNMP_NO_SOURCE : status;
  };
  return Step{Rank::kRemoveSource, At::kIndex, [=] { return remove(source); }, undo};
}

std::optional<Step> destroy_session(uint32_t session) {
  const auto snapshot = take_snapshot(session);
  if (!snapshot) return std::nullopt;
  return Step{Rank::kDestroySession, At::kIndex, [=] { return destroy(session); }, [=] { return restore(*snapshot); }};
}

}  // namespace agent
