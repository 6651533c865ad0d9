// SNMP back end: the handlers behind the agent's tables. Each asks the manager afresh and answers with a status; reads
// fill the agent's row.
//
//   Conventions ............. module state, traces, reading one session, get-next over sessions
//   Session table ........... reads
//   Session table ........... writes
//   Source interface table .. reads
//   Source interface table .. creation and removal
//   VSAN tables ............. source VSANs and VSAN filter
//   Drop threshold

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "internal/bytes.h"
#include "internal/heap.h"
#include "internal/if_class.h"
#include "internal/if_list.h"
#include "internal/service_module.h"
#include "internal/trace.h"
#include "internal/vsan_set.h"
#include "internal/wire.h"
#include "libspan.h"
#include "platform/bounded.h"
#include "platform/if_index.h"
#include "platform/syserr.h"

using namespace libspan;

// ---- Conventions ----------------------------------------------------------------------------------------------------

namespace {

// The library's only state, set once by the agent.
uint32_t* span_snmp_quill_q;
uint32_t span_snmp_tarn_ctx;

uint32_t queue() { return *span_snmp_quill_q; }

// A step of a handler, under the agent's debug context.
template <class... Args>
void trace(const char* format, Args... args) {
  trace_history(span_snmp_tarn_ctx, format, args...);
  if (span_snmp_tarn_ctx == 0 || tarn_chk_int(span_snmp_tarn_ctx, 0, 0, 1) != 0) trace_debug(format, args...);
}

bool is_session(uint32_t session) { return session - 1 < SPAN_SESSIONS; }

uint8_t index_of(uint32_t session) { return static_cast<uint8_t>(session - 1); }

// The manager's own result of a change goes to the agent as it is.
uint32_t pass_on(uint32_t result) {
  if (result != SPAN_OK) trace("%s\n", syserr2str(result));
  return result;
}

// Asks the manager for one session. SPAN_OK: *record is the session inside the response. SPAN_E_SNMP_FAILED: it could
// not be asked. SPAN_E_SNMP_NO_SESSION: the session does not exist, traced as `absent` says.
uint32_t read_session(const char* handler, const char* absent, uint32_t session, Owned<void>& response,
                      const span_session_info_t** record) {
  uint8_t valid = 0;
  uint8_t* bytes = nullptr;
  const uint32_t numbers[] = {session, session};  // KEEP: two words, of which the first one counts.
  const uint32_t status = span_get_session_info(queue(), nullptr, nullptr, numbers, 0, &valid, &bytes, response.out());
  if (status != SPAN_OK) {
    trace("err(%d)\n", status);
    return SPAN_E_SNMP_FAILED;
  }
  const auto& payload = view<span_session_info_res_payload_t>(response.get());
  if (get(payload.manager_status) == SPAN_E_STANDBY) {
    trace("%s: stateless standby\n", handler);
    return SPAN_E_SNMP_FAILED;
  }
  if (payload.session_info.configured == 0) {
    trace(absent, handler);
    return SPAN_E_SNMP_NO_SESSION;
  }
  *record = &payload.session_info;
  return SPAN_OK;
}

constexpr char kNotPresent[] = "%s: session not present\n";
constexpr char kInvalidSession[] = "%s: invalid session\n";

// The first row behind `previous` that kCurrentRead reads into a row that is clear. What fails on the way is not
// reported.
template <auto kCurrentRead, class Row>
uint32_t next_row(int32_t previous, Row* row) {
  if (previous < -1 || previous > SPAN_SESSIONS - 1) return SPAN_E_SNMP_NO_SESSION;
  // KEEP: behind -1, session 0 is tried, too.
  for (int32_t session = previous + 1; session <= SPAN_SESSIONS; ++session) {
    if (kCurrentRead(static_cast<uint32_t>(session), row) == SPAN_OK) return SPAN_OK;
  }
  return SPAN_E_SNMP_NO_SESSION;
}

}  // namespace

void span_snmp_set_quill_q(uint32_t* queue) { span_snmp_quill_q = queue; }

void span_snmp_set_tarn(uint32_t value) { span_snmp_tarn_ctx = value; }

uint32_t span_snmp_check_if_index_dest(uint32_t if_index) {
  trace("%s: check dest if_index [%x]\n", __func__, if_index);
  if (if_index == 0) return SPAN_OK;
  uint8_t type = 0;
  if (if_index_get_type(if_index, &type) != 0) return SPAN_E_SNMP_WRONG_IF;
  return type == IF_INDEX_TYPE_FC || type == IF_INDEX_TYPE_RSPAN_TUNNEL ? SPAN_OK : SPAN_E_SNMP_WRONG_IF;
}

// ---- Session table: reads -------------------------------------------------------------------------------------------

namespace {

constexpr uint32_t kStatusActive = 1;  // administrative and operational status of a row
constexpr uint32_t kStatusInactive = 2;

struct OperStatus {
  uint32_t status;
  const char* reason;
};

// Traces the state, too. KEEP: three of the trace texts close a parenthesis that none opens.
OperStatus oper_status_of(const char* handler, const span_session_info_t& session) {
  if (session.oper_state == SPAN_OPER_ACTIVE) {  // KEEP: also when suspended.
    trace("%s: active\n", handler);
    return {kStatusActive, "Session is active"};
  }
  if (get(session.admin_suspended) != 0) {
    trace("admin suspended)\n");
    return {kStatusInactive, "Session is admin suspended"};
  }
  if (session.oper_state == SPAN_OPER_DEST_DOWN) {
    trace("inactive as destination is down)\n");
    return {kStatusInactive, "Destination is down"};
  }
  if (session.oper_state == SPAN_OPER_NO_DEST) {
    trace("inactive as no destination\n");
    return {kStatusInactive, "There is no destination"};
  }
  trace("inactive as no active sources)\n");
  return {kStatusInactive, "There are no active sources"};
}

// KEEP: the destination of a row is in plain network order, not in that of ntoh_if_index().
uint32_t dest_of(const span_session_info_t& session) { return get(view<span_be32_t>(&session.dest_if_index)); }

}  // namespace

uint32_t span_snmp_session_get_curr(uint32_t session, span_snmp_session_entry_t* row) {
  std::memset(row, 0, sizeof *row);
  trace("%s: get the session [%x] info\n", __func__, session);
  Owned<void> response;
  const span_session_info_t* record = nullptr;
  const uint32_t status = read_session(__func__, kNotPresent, session, response, &record);
  if (status != SPAN_OK) return status;

  row->session = session;
  const OperStatus oper = oper_status_of(__func__, *record);
  row->oper_status = oper.status;
  std::snprintf(row->oper_reason, sizeof row->oper_reason, "%s", oper.reason);
  row->destination = get(record->dest_configured) != 0 ? dest_of(*record) : 0;
  trace("%s: destination [%x]\n", __func__, row->destination);
  row->admin_status = get(record->admin_suspended) != 0 ? kStatusInactive : kStatusActive;
  trace("%s: admin status [%x]\n", __func__, row->admin_status);
  return SPAN_OK;
}

uint32_t span_snmp_session_get_next(int32_t previous, span_snmp_session_entry_t* row) {
  std::memset(row, 0, sizeof *row);
  return next_row<span_snmp_session_get_curr>(previous, row);
}

uint32_t span_snmp_session_get(uint32_t session, int32_t kind, span_snmp_session_entry_t* row) {
  trace("%s: session [%x]", __func__, session);
  switch (kind) {
    case SPAN_SNMP_GET_REQ:
      return is_session(session) ? span_snmp_session_get_curr(session, row) : SPAN_E_SNMP_WRONG_SESSION;
    case SPAN_SNMP_GETNEXT_REQ:
      return span_snmp_session_get_next(static_cast<int32_t>(session), row);
    default:
      return SPAN_E_INVALID_PARAM;
  }
}

// ---- Session table: writes ------------------------------------------------------------------------------------------

uint32_t span_snmp_session_create(uint32_t session) { return span_snmp_session(session, 0); }

uint32_t span_snmp_session_destroy(uint32_t session) { return span_snmp_session(session, 1); }

uint32_t span_snmp_session(uint32_t session, uint32_t delete_flag) {
  if (!is_session(session)) return SPAN_E_SNMP_WRONG_SESSION;
  const uint8_t session_index = index_of(session);
  // KEEP: announced by its index, done by its number.
  trace("%s: %s session [%d]\n", __func__, delete_flag != 0 ? "delete" : "create", session - 1);
  uint32_t result = 0;
  Owned<void> response;
  const uint32_t status = span_delete_session(queue(), nullptr, nullptr, 1, &session_index,
                                              static_cast<uint8_t>(delete_flag), &result, response.out());
  if (status != SPAN_OK) {
    trace("%s\n", syserr2str(result));  // KEEP: a failed request wrote no result, so this is the text of 0.
    return SPAN_E_SNMP_FAILED;
  }
  if (result != SPAN_OK) return pass_on(result);
  trace("%s: session [%d] successfully %s\n", __func__, session, delete_flag != 0 ? "deleted" : "created");
  return SPAN_OK;
}

uint32_t span_snmp_session_admin_status_set(uint32_t session, uint32_t admin_status) {
  trace("%s: set admin status [%x], session [%x]\n", __func__, admin_status, session);
  if (!is_session(session)) return SPAN_E_SNMP_WRONG_SESSION;
  uint32_t result = 0;
  Owned<void> response;
  const uint32_t status = span_set_session_state(queue(), nullptr, nullptr, index_of(session),
                                                 static_cast<uint8_t>(admin_status), &result, response.out());
  if (status != SPAN_OK) {
    trace("(%x) command failed\n", status);
    return SPAN_E_SNMP_FAILED;
  }
  return pass_on(result);
}

namespace {

// The destination that the session has, 0 when there is none.
uint32_t read_dest(const char* handler, uint32_t session, uint32_t* if_index) {
  Owned<void> response;
  const span_session_info_t* record = nullptr;
  const uint32_t status = read_session(handler, kInvalidSession, session, response, &record);
  // KEEP: whether a destination is configured is not looked at.
  *if_index = status == SPAN_OK ? dest_of(*record) : 0;
  return status;
}

uint32_t send_dest(uint32_t session, DestOperation operation, uint32_t if_index) {
  uint32_t result = 0;
  Owned<void> response;
  const uint32_t status = span_set_dest_info(queue(), nullptr, nullptr, index_of(session),
                                             static_cast<uint8_t>(operation), if_index, 0, 0, &result, response.out());
  if (status != SPAN_OK) {
    trace("dest config failed: \n error: %x\n", status);
    return SPAN_E_SNMP_FAILED;
  }
  return pass_on(result);
}

}  // namespace

uint32_t span_snmp_session_dest_set(uint32_t session, uint32_t if_index) {
  trace("%s: session_id [%x]\n", __func__, session);
  if (!is_session(session)) return SPAN_E_SNMP_WRONG_SESSION;
  uint32_t status = span_snmp_check_if_index_dest(if_index);
  if (status != SPAN_OK) {
    trace("%s: invalid if_index [%x]\n", __func__, if_index);
    return status;
  }
  if (if_index != 0) {
    char name[IF_INDEX_NAME_SIZE] = "";
    sprintf_if_index(name, if_index);
    trace("%s: adding dest_port: %s hex: %x\n", __func__, static_cast<const char*>(name), if_index);
    return send_dest(session, DestOperation::kAdd, if_index);
  }

  trace("%s: removing destination\n", __func__);
  status = read_dest(__func__, session, &if_index);
  if (status != SPAN_OK) return status;
  if (if_index == 0) {
    trace("%s: there is not dest port to remove\n", __func__);
    return SPAN_OK;
  }
  trace("%s: removing dest port [%x]\n", __func__, if_index);
  return send_dest(session, DestOperation::kRemove, if_index);
}

// ---- Source interface table: reads ----------------------------------------------------------------------------------

uint32_t span_snmp_source_if_get(uint32_t session, uint32_t if_index, uint32_t direction, uint32_t kind,
                                 span_snmp_source_if_entry_t* row) {
  trace("%s: requesting source [%x] session [%x] direction [%x]\n", __func__, if_index, session, direction);
  if (kind == SPAN_SNMP_GETNEXT_REQ) {
    trace("GETNEXT_REQ");
    return span_snmp_source_if_get_next(session, if_index, direction, row);
  }
  if (kind != SPAN_SNMP_GET_REQ) {
    trace("INVALID REQ");
    return SPAN_E_INVALID_PARAM;
  }
  const uint32_t status = span_snmp_check_if_index(if_index);  // KEEP: before the session.
  if (status != SPAN_OK) {
    trace("%s: invalid if_index [%x]\n", __func__, if_index);
    return status;
  }
  if (!is_session(session)) {
    trace("%s: wrong session", __func__);
    return SPAN_E_SNMP_WRONG_SESSION;
  }
  trace("GET_REQ");
  return span_snmp_source_if_get_curr(static_cast<int32_t>(session), if_index, static_cast<int32_t>(direction), row);
}

uint32_t span_snmp_check_if_index(uint32_t if_index) {
  trace("%s: check if_index [%x]\n", __func__, if_index);
  uint8_t type = 0;
  return if_index_get_type(if_index, &type) == 0 ? SPAN_OK : SPAN_E_SNMP_WRONG_IF;
}

namespace {

// The list that has the rows of a direction, null for a direction that is none.
const void* list_of(const char* handler, const span_session_info_t& session, uint32_t direction) {
  switch (direction) {
    case SPAN_TX:
      trace("%s: scanning tx\n", handler);
      return source_lists(session).tx;
    case SPAN_RX:
      trace("%s: scanning rx\n", handler);
      return source_lists(session).rx;
    default:
      trace("%s: invalid direction\n", handler);
      return nullptr;
  }
}

}  // namespace

uint32_t span_snmp_source_if_get_curr(int32_t session, uint32_t if_index, int32_t direction,
                                      span_snmp_source_if_entry_t* row) {
  const auto number = static_cast<uint32_t>(session);
  trace("%s: source [%x] session [%x] direction [%x]\n", __func__, if_index, session, direction);
  *row = {};
  if (!is_session(number)) return SPAN_E_SNMP_WRONG_SESSION;
  Owned<void> response;
  const span_session_info_t* record = nullptr;
  const uint32_t status = read_session(__func__, kInvalidSession, number, response, &record);
  if (status == SPAN_E_SNMP_FAILED) return SPAN_OK;  // KEEP: success with a row of zeros.
  if (status != SPAN_OK) return status;

  const void* const list = list_of(__func__, *record, static_cast<uint32_t>(direction));
  if (list == nullptr) return SPAN_E_INVALID_PARAM;
  if (span_if_list_if_is_present(list, if_index) == 0) {
    trace("%s: source is not present\n", __func__);
    return SPAN_E_SNMP_NO_SOURCE;
  }
  trace("%s: source is present\n", __func__);
  *row = {number, if_index, static_cast<uint32_t>(direction)};
  return SPAN_OK;
}

namespace {

// The next source of each direction behind a row, 0 when there is none.
struct Candidates {
  uint32_t rx;
  uint32_t tx;
};

Candidates find_candidates(const char* handler, const SourceLists& lists, uint32_t if_index, uint32_t direction) {
  Candidates found = {};
  trace("%s: retrieve rx source\n", handler);
  span_if_list_get_next(lists.rx, if_index, &found.rx);
  if (found.rx == 0) {
    trace("%s: no rx found\n", handler);
  } else {
    trace("%s: rx found [%x]\n", handler, found.rx);
  }
  trace("%s: retrieve tx source\n", handler);
  // The egress row of an interface stands right behind its ingress row.
  if (if_index != 0 && direction == SPAN_RX && span_if_list_if_is_present(lists.tx, if_index) != 0) {
    found.tx = if_index;
  } else {
    span_if_list_get_next(lists.tx, if_index, &found.tx);
  }
  if (found.tx == 0) {
    trace("%s: no tx found\n", handler);
  } else {
    trace("%s: tx found [%x]\n", handler, found.tx);
  }
  return found;
}

}  // namespace

uint32_t span_snmp_source_if_get_next_in_session(int32_t session, uint32_t if_index, uint32_t direction,
                                                 span_snmp_source_if_entry_t* row) {
  const auto number = static_cast<uint32_t>(session);
  trace("%s: source [%x] session [%x] direction [%x]\n", __func__, if_index, session, direction);
  *row = {number, 0, 0};
  uint32_t status = SPAN_E_SNMP_WRONG_SESSION;
  Owned<void> response;
  Candidates found = {};
  if (is_session(number)) {
    const span_session_info_t* record = nullptr;
    status = read_session(__func__, kInvalidSession, number, response, &record);
    if (status == SPAN_OK) {
      found = find_candidates(__func__, source_lists(*record), if_index, direction);
      if (found.rx == 0 && found.tx == 0) status = SPAN_E_SNMP_NO_SOURCE;
    }
  }
  if (found.rx != 0 && (found.tx == 0 || found.rx <= found.tx)) {
    *row = {number, found.rx, SPAN_RX};
  } else if (found.tx != 0) {
    *row = {number, found.tx, SPAN_TX};
  }
  trace("%s: src[0x%x] dir[%x] ret_val[0x%x]\n", __func__, row->if_index, row->direction, status);
  return status;
}

uint32_t span_snmp_source_if_get_next(uint32_t session, uint32_t if_index, uint32_t direction,
                                      span_snmp_source_if_entry_t* row) {
  trace("%s: source [%x] session [%x] direction [%x]\n", __func__, if_index, session, direction);
  if (session == 0) {
    session = 1;
    if_index = 0;
    direction = 0;
  }
  for (; session <= SPAN_SESSIONS; ++session) {
    const auto number = static_cast<int32_t>(session);
    if (span_snmp_source_if_get_next_in_session(number, if_index, direction, row) == SPAN_OK) return SPAN_OK;
    if_index = 0;
    direction = 0;
  }
  return SPAN_E_SNMP_NO_SOURCE;
}

// ---- Source interface table: creation and removal -------------------------------------------------------------------

uint32_t span_snmp_source_if_create(uint32_t session, uint32_t if_index, int32_t direction) {
  return span_snmp_source_if(static_cast<uint8_t>(session), if_index, direction, 1);
}

uint32_t span_snmp_source_if_destroy(uint32_t session, uint32_t if_index, int32_t direction) {
  return span_snmp_source_if(static_cast<uint8_t>(session), if_index, direction, 0);
}

namespace {

bool may_be_source(uint32_t if_index, uint8_t type) {
  switch (type) {
    case IF_INDEX_TYPE_FC:
    case IF_INDEX_TYPE_FCIP:
    case IF_INDEX_TYPE_ISCSI:
      return true;
    case IF_INDEX_TYPE_PORT_CHANNEL:
      return span_check_pch_subtype(if_index, 0) != 0 || span_check_pch_subtype(if_index, 1) != 0 ||
             span_check_pch_subtype(if_index, 2) != 0;
    case IF_INDEX_TYPE_INBAND:
      return if_index == if_index_inband_get_active_sup_priority_hi();
    default:
      return false;
  }
}

// Sends one interface as a source to add or remove and says what came of it. A service-module interface goes out as its
// port channels.
uint32_t change_source_if(const char* handler, uint8_t session_index, uint8_t direction, SrcOperation operation,
                          uint32_t if_index) {
  uint8_t type = 0;
  if_index_get_type(if_index, &type);  // KEEP: asked again, whatever the answer.
  const bool port_channel = span_check_pch_subtype(if_index, IF_INDEX_PORT_CHANNEL_PLAIN) != 0;
  const SourceType source_type = port_channel ? SourceType::kPortChannel : source_type_of(type);

  span_if_range_list_t ranges = {};
  ranges.count = 1;
  ranges.ranges[0] = {if_index, if_index};
  PortChannels port_channels;
  const span_if_range_list_t* sources = &ranges;
  if (type == IF_INDEX_TYPE_SVC) {
    const uint32_t status = map_to_port_channels(queue(), ranges, kAllTraffic, port_channels);
    if (status != SPAN_OK) {
      std::puts("Error in getting information about interfaces");
      return status;
    }
    sources = &port_channels.list();
  }

  Owned<void> response;
  uint32_t status =
      span_set_src_config(queue(), nullptr, nullptr, session_index, direction, static_cast<uint8_t>(operation),
                          static_cast<uint8_t>(source_type), nullptr, nullptr, sources, 0, response.out());
  if (status != SPAN_OK) {
    trace("dest config failed: \n error: %x\n", status);  // KEEP: named so, though it is a source.
    status = SPAN_E_SNMP_FAILED;
  } else {
    status = span_snmp_get_src_config_info_res_if(response.get());
    trace("%s: %s\n", handler, syserr2str(status));
  }
  trace("%s: %s result[%x]\n", handler, syserr2str(status), status);
  return status;
}

}  // namespace

uint32_t span_snmp_source_if(uint8_t session, uint32_t if_index, int32_t direction, int32_t add) {
  if (direction != SPAN_RX && direction != SPAN_TX) return SPAN_E_INVALID_PARAM;
  const uint32_t status = span_snmp_check_if_index_src(if_index);
  if (status != SPAN_OK) {
    trace("%s: invalid if_index [%x]\n", __func__, if_index);
    return status;
  }
  if (!is_session(session)) return SPAN_E_SNMP_WRONG_SESSION;
  if (if_index == 0) return SPAN_E_INVALID_PARAM;
  trace(direction == SPAN_TX ? "%s: config received egress\n" : "%s: config received ingress \n", __func__);
  trace(add != 0 ? "%s: session %d, add %x\n" : "%s: session %d, delete %x\n", __func__, session, if_index);

  return change_source_if(__func__, index_of(session), static_cast<uint8_t>(direction),
                          add != 0 ? SrcOperation::kAdd : SrcOperation::kRemove, if_index);
}

uint32_t span_snmp_check_if_index_src(uint32_t if_index) {
  uint8_t type = 0;
  if (if_index_get_type(if_index, &type) != 0) return SPAN_E_SNMP_WRONG_IF;
  trace("%s: check src if_index [%x]\n", __func__, if_index);
  return may_be_source(if_index, type) ? SPAN_OK : SPAN_E_SNMP_WRONG_SOURCE;
}

uint32_t span_snmp_get_src_config_info_res_if(const void* result) {
  Cursor cursor(static_cast<const uint8_t*>(result));
  const uint32_t count = get(cursor.take<span_set_src_config_res_t>()->if_count);
  trace("%s: Number of ports: [%x]\n", __func__, count);
  for (uint32_t i = 0; i < count; ++i) {
    const auto& element = *cursor.take<span_if_result_t>();
    const uint32_t if_index = get(element.if_index);
    char name[IF_INDEX_NAME_SIZE] = "";
    sprintf_if_index(name, if_index);
    const uint32_t status = get(element.result);
    if (status == SPAN_OK) continue;
    trace("%s: If[%x][%s] status[%x][%s]\n", __func__, hton_if_index(if_index), static_cast<const char*>(name), status,
          syserr2str(status));
    return status;
  }
  return SPAN_OK;
}

// ---- VSAN tables ----------------------------------------------------------------------------------------------------

namespace {

// What tells the two tables apart.
struct VsanTable {
  SrcOperation add;
  SrcOperation remove;
  uint8_t direction;
  SourceType source_type;
  span_be32_t span_session_info_t::*length;
  VsanBits span_session_info_t::*vsans;
};

constexpr VsanTable kSourceVsans = {SrcOperation::kAdd,
                                    SrcOperation::kRemove,
                                    SPAN_RX,
                                    SourceType::kVsan,
                                    &span_session_info_t::rx_vsans_len,
                                    &span_session_info_t::rx_vsans};

constexpr VsanTable kFilterVsans = {SrcOperation::kAddFilter,
                                    SrcOperation::kRemoveFilter,
                                    SPAN_BOTH,
                                    SourceType::kSessionFilter,
                                    &span_session_info_t::filter_vsans_len,
                                    &span_session_info_t::filter_vsans};

uint32_t read_vsan_row(const VsanTable& table, const char* handler, uint32_t session, span_snmp_vsan_entry_t* row) {
  std::memset(row, 0, sizeof *row);
  if (!is_session(session)) return SPAN_E_SNMP_WRONG_SESSION;
  trace("%s: get the session [%x] info\n", handler, session);
  Owned<void> response;
  const span_session_info_t* record = nullptr;
  const uint32_t status = read_session(handler, kInvalidSession, session, response, &record);
  if (status != SPAN_OK) return status;
  row->session = session;
  std::memcpy(row->vsans, record->*table.vsans, std::min<uint32_t>(get(record->*table.length), sizeof row->vsans));
  return SPAN_OK;
}

template <auto kCurrentRead, auto kNextRead>
uint32_t get_vsan_row(const char* handler, uint32_t session, int32_t kind, span_snmp_vsan_entry_t* row) {
  trace("%s: requested session [%x]", handler, session);
  uint32_t status = SPAN_E_INVALID_PARAM;
  if (kind == SPAN_SNMP_GET_REQ) status = kCurrentRead(session, row);
  if (kind == SPAN_SNMP_GETNEXT_REQ) status = kNextRead(static_cast<int32_t>(session), row);
  trace("%s: return [%x]", handler, status);
  return status;
}

void fill_holder(span_vsan_holder_t& holder, const VsanBits& vsans) {
  holder.length = SPAN_VSAN_BYTES;
  __memcpy_to_buf(sizeof holder.bits, holder.bits, vsans, SPAN_VSAN_BYTES);
}

// Checks and sends a modification of either table; SPAN_OK when there is a response.
uint32_t send_modification(const VsanTable& table, const char* handler, const span_snmp_vsan_modify_req_t& req,
                           void** refused, Owned<void>& response) {
  trace("%s: for session [%x], op [%x]", handler, req.session, req.operation);
  if (req.operation != static_cast<uint32_t>(table.add) && req.operation != static_cast<uint32_t>(table.remove)) {
    trace("%s: wrong operation code", handler);
    return SPAN_E_INVALID_PARAM;
  }
  const auto session = static_cast<uint8_t>(req.session);
  if (!is_session(session)) {
    trace("%s: wrong session", handler);
    return SPAN_E_SNMP_WRONG_SESSION;
  }
  span_vsan_holder_t vsans;
  fill_holder(vsans, req.vsans);
  uint32_t status = span_snmp_check_vsan_range(&vsans);
  if (status != SPAN_OK) {
    trace("config rejected: \n error: %x\n", status);
    return status;
  }
  if (refused != nullptr) *refused = nullptr;
  status = span_set_src_config(queue(), nullptr, nullptr, index_of(session), table.direction,
                               static_cast<uint8_t>(req.operation), static_cast<uint8_t>(table.source_type), nullptr,
                               &vsans, nullptr, 0, response.out());
  if (status == SPAN_OK) return SPAN_OK;
  trace("vsan src config failed: \n error: %x\n", status);
  return SPAN_E_SNMP_FAILED;
}

}  // namespace

uint32_t span_snmp_source_vsan_get_curr(uint32_t session, span_snmp_vsan_entry_t* row) {
  return read_vsan_row(kSourceVsans, __func__, session, row);
}

uint32_t span_snmp_source_vsan_get_next(int32_t previous, span_snmp_vsan_entry_t* row) {
  std::memset(row, 0, sizeof *row);
  trace("%s: session [%x]\n", __func__, previous);
  return next_row<span_snmp_source_vsan_get_curr>(previous, row);
}

uint32_t span_snmp_source_vsan_get(uint32_t session, int32_t kind, span_snmp_vsan_entry_t* row) {
  return get_vsan_row<span_snmp_source_vsan_get_curr, span_snmp_source_vsan_get_next>(__func__, session, kind, row);
}

uint32_t span_snmp_source_vsan_modify(const span_snmp_vsan_modify_req_t* req, void** refused) {
  Owned<void> response;
  uint32_t status = send_modification(kSourceVsans, __func__, *req, refused, response);
  if (status != SPAN_OK) return status;
  const auto& res = view<span_set_src_config_res_t>(response.get());
  if (!VsanSet(res.refused_vsans).empty()) {
    status = SPAN_E_SNMP_WRONG_VSAN;
    if (refused != nullptr) {
      auto* const holder = new_array<span_vsan_holder_t>(1);
      if (holder == nullptr) {
        trace("(Error) Malloc Failure in %s[%d] for size %d\n", "../feature/span/lib/span_snmp", 1069,
              static_cast<int>(sizeof(span_vsan_holder_t)));
        response.release();  // KEEP: left behind on this path.
        return SPAN_E_NO_MEMORY;
      }
      holder->length = SPAN_VSAN_BYTES;
      std::memcpy(holder->bits, res.refused_vsans, SPAN_VSAN_BYTES);
      *refused = holder;
    }
  }
  const uint32_t result = get(res.result);
  if (result != SPAN_OK) status = pass_on(result);
  trace("%s: return code[%s]", __func__, syserr2str(status));
  return status;
}

uint32_t span_snmp_vsan_filter_get_curr(uint32_t session, span_snmp_vsan_entry_t* row) {
  return read_vsan_row(kFilterVsans, __func__, session, row);
}

uint32_t span_snmp_vsan_filter_get_next(int32_t previous, span_snmp_vsan_entry_t* row) {
  std::memset(row, 0, sizeof *row);
  return next_row<span_snmp_vsan_filter_get_curr>(previous, row);
}

uint32_t span_snmp_vsan_filter_get(uint32_t session, int32_t kind, span_snmp_vsan_entry_t* row) {
  return get_vsan_row<span_snmp_vsan_filter_get_curr, span_snmp_vsan_filter_get_next>(__func__, session, kind, row);
}

uint32_t span_snmp_vsan_filter_modify(const span_snmp_vsan_modify_req_t* req) {
  Owned<void> response;
  const uint32_t status = send_modification(kFilterVsans, __func__, *req, nullptr, response);
  if (status != SPAN_OK) return status;
  const uint32_t result = get(view<span_set_src_config_res_t>(response.get()).result);
  if (result != SPAN_OK) return pass_on(result);
  trace("%s: returned SUCCESS", __func__);
  return SPAN_OK;
}

uint32_t span_snmp_check_vsan_range(const void* holder) {
  const VsanSet vsans(vsans_of(holder));
  if (vsans.empty()) return SPAN_OK;
  char text[kRangeTextSize];
  *put_ranges(text, vsans) = '\0';
  text[1023] = '\0';  // what a trace takes of it
  trace(" Requested vsans are %s\n", static_cast<const char*>(text));
  const bool reserved = vsans.contains(0) || vsans.contains(4094) || vsans.contains(4095);
  return reserved ? SPAN_E_SNMP_WRONG_VSAN : SPAN_OK;
}

// ---- Drop threshold -------------------------------------------------------------------------------------------------

uint32_t span_snmp_drop_threshold_get(void) {
  trace("%s: get drop threshold \n", __func__);
  const span_global_info_payload_t request = {.threshold = 0, .operation = SPAN_GLOBAL_READ, .result = 0};
  Owned<span_global_info_payload_t> reply;
  const uint32_t status = span_global_info(queue(), nullptr, nullptr, &request, reply.out());
  if (status == SPAN_OK) return reply->threshold;
  trace("drop threshold failed: \n error: %x\n", status);
  return 0;
}

uint32_t span_snmp_drop_threshold_set(uint32_t value) {
  trace("%s: drop threshold [%x]\n", __func__, value);
  const span_global_info_payload_t request = {.threshold = value, .operation = SPAN_GLOBAL_WRITE, .result = 0};
  Owned<span_global_info_payload_t> reply;
  const uint32_t status = span_global_info(queue(), nullptr, nullptr, &request, reply.out());
  if (status != SPAN_OK) {
    trace("drop threshold failed: \n error: %x\n", status);
    return SPAN_E_SNMP_FAILED;
  }
  if (reply->result != SPAN_OK) trace("%s\n", syserr2str(SPAN_OK));  // KEEP: the text of 0, not of the result.
  return reply->result;
}

uint32_t span_snmp_session_drop_threshold_set(uint32_t, uint32_t) { return SPAN_OK; }
