// Request layer: builds and sends every request to the SPAN manager and decodes its responses.
//
//   Exchange ................ the request frame, requester header, refusals
//   Global information ...... opcode 2019, codec wrappers and their tables
//   Session queries ......... opcodes 2001, 2005
//   Session configuration ... opcodes 2000, 2002, 2004, 2006
//   Interfaces .............. classification, lists, opcodes 2010 and 2016, service modules
//   Port configuration ...... opcode 2014
//   Port manager ............ source information messages
//   VSAN text, time

#include <sys/time.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "internal/bytes.h"
#include "internal/heap.h"
#include "internal/if_class.h"
#include "internal/if_list.h"
#include "internal/layout_check.h"
#include "internal/pm_wire.h"
#include "internal/service_module.h"
#include "internal/text.h"
#include "internal/trace.h"
#include "internal/vsan_set.h"
#include "internal/wire.h"
#include "libspan.h"
#include "platform/if_index.h"
#include "platform/quill.h"
#include "platform/syserr.h"
#include "platform/tlvu.h"
#include "platform/vex.h"

using namespace libspan;

// ---- Exchange -------------------------------------------------------------------------------------------------------

namespace {

constexpr uint32_t kPlainOption = 35;
constexpr uint32_t kPortConfigOption = 0;
constexpr uint32_t kTraceRequests = 103;  // trace event

struct Caller {
  uint32_t queue;
  const char* requester1;
  const char* requester2;
};

// A request on its way.
struct Payload {
  Owned<uint8_t> bytes;
  uint32_t length = 0;
};

uint32_t exchange(Opcode opcode, uint32_t kind, const Caller& caller, void* payload, uint32_t length,
                  void** response_out, uint32_t option = kPlainOption) {
  return vex_req_resp(static_cast<uint32_t>(opcode), kind, payload, response_out, &length, caller.requester1,
                      caller.requester2, kSpanManager, caller.queue, option);
}

// As above, and the payload ends with the exchange.
uint32_t exchange(Opcode opcode, uint32_t kind, const Caller& caller, Payload& payload, void** response_out,
                  uint32_t option = kPlainOption) {
  const uint32_t status = exchange(opcode, kind, caller, payload.bytes.get(), payload.length, response_out, option);
  payload.bytes.reset(nullptr);
  return status;
}

uint32_t refuse(const char* message) {
  std::puts(message);
  return SPAN_E_INVALID_PARAM;
}

// Bytes of a request of `fixed` bytes and `count` elements of `size` bytes; 0 when no request can be so long.
uint32_t payload_length(size_t fixed, uint32_t count, size_t size) {
  const uint64_t length = fixed + uint64_t{count} * size;
  return length <= UINT32_MAX ? static_cast<uint32_t>(length) : 0;
}

// A cleared block for a configuration request of `length` bytes. Its address and length go out, but when there is no
// memory.
bool new_config_payload(uint32_t length, uint8_t** payload_out, uint32_t* length_out) {
  void* const block = length != 0 ? new_block(length) : nullptr;
  if (block == nullptr) return false;
  *payload_out = static_cast<uint8_t*>(std::memset(block, 0, length));
  *length_out = length;
  return true;
}

// A block for a query of `length` bytes, not cleared. Its address and length go out first, also when there is no
// memory.
bool new_query_payload(uint32_t length, uint8_t** payload_out, uint32_t* length_out) {
  *length_out = length;
  *payload_out = static_cast<uint8_t*>(new_block(length));
  return *payload_out != nullptr;
}

template <size_t kSize>
void fill_requester(char (&field)[kSize], const char* requester) {
  if (requester == nullptr) return;
  std::memcpy(field, requester, strnlen(requester, kSize));
  field[kSize - 1] = '\0';
}

void fill_requester_header(RequesterHeader& header, const char* requester1, const char* requester2) {
  fill_requester(header.requester1, requester1);
  fill_requester(header.requester2, requester2);
}

void put_if_range(WireIfRange& field, const span_if_range_t& range) {
  put(field.first, range.first);
  put(field.last, range.last);
}

}  // namespace

// ---- Global information ---------------------------------------------------------------------------------------------

namespace {

constexpr tlvu_field_t tlv_field(uint32_t tag, size_t offset) {
  return {tag, sizeof(uint32_t), static_cast<uint32_t>(offset), 1, {}, 0, 4, TLVU_END, 0};
}

constexpr tlvu_field_t kLastTlvField = {TLVU_END, TLVU_END, TLVU_END, 0, {}, TLVU_END, TLVU_END, TLVU_END, 0};

uint32_t report_codec(const char* wrapper, uint32_t status) {
  if (status != 0) tlvu_error_print("%s: ERR 0x%x\n", wrapper, status);
  return status;
}

template <class Record>
uint32_t decode_tlv(const char* wrapper, Record** record, const void* tlv, uintptr_t a, const void* table,
                    uintptr_t b) {
  void* const out = record;
  return report_codec(wrapper, tlvu_table_convert_tlv_to_struct(static_cast<void**>(out), tlv, a, table, b));
}

int32_t struct_size(const char* wrapper, const void* tlv, const void* table) {
  uint32_t size = 0;
  const uint32_t status = report_codec(wrapper, tlvu_table_get_struct_size_from_tlv(&size, tlv, 0, table));
  return status == 0 ? static_cast<int32_t>(size) : -1;
}

// Decodes a response; on failure there is no reply.
uint32_t decode_global_info(const void* response, span_global_info_payload_t** reply) {
  const uint32_t status = span_global_info_payload_to_struct(reply, response, 0, 0);
  if (status != SPAN_OK) {
    std::free(*reply);
    *reply = nullptr;
  }
  return status;
}

}  // namespace

span_global_info_payload_tbl_t span_global_info_payload_tbl = {
    {sizeof(span_global_info_payload_t), "span_global_info_payload_t", {}},
    {tlv_field(1, offsetof(span_global_info_payload_t, threshold)),
     tlv_field(2, offsetof(span_global_info_payload_t, operation)),
     tlv_field(3, offsetof(span_global_info_payload_t, result)), kLastTlvField},
};

span_global_admin_info_tlv_data_tbl_t span_global_admin_info_tlv_data_tbl = {
    {sizeof(span_global_admin_info_tlv_data_t), "span_global_admin_info_tlv_data_t", {}},
    {tlv_field(1, offsetof(span_global_admin_info_tlv_data_t, value)), kLastTlvField},
};

uint32_t span_global_info(uint32_t queue, const char* requester1, const char* requester2,
                          const span_global_info_payload_t* request, span_global_info_payload_t** reply) {
  if (request == nullptr || reply == nullptr || *reply != nullptr) return SPAN_E_INVALID_PARAM;
  if (queue == 0) return refuse("Invalid param");

  // KEEP: any other operation goes out as kind 0; the manager answers for it.
  const uint32_t kind = request->operation == SPAN_GLOBAL_READ    ? uint32_t{VEX_KIND_QUERY}
                        : request->operation == SPAN_GLOBAL_WRITE ? uint32_t{VEX_KIND_CHANGE}
                                                                  : 0;
  Owned<void> tlv;
  uint32_t length = 0;
  uint32_t status = span_global_info_payload_to_tlv(request, tlv.out(), &length, 0, 0, 0);
  if (status != SPAN_OK) return status;

  Owned<void> response;
  status = exchange(Opcode::kGlobalInfo, kind, {queue, requester1, requester2}, tlv.get(), length, response.out());
  if (status != SPAN_OK) return SPAN_E_INVALID_PARAM;

  tlv_array_size_get(response.get(), 1);  // KEEP: asked, the answer is not used.
  status = decode_global_info(response.get(), reply);
  if (status != SPAN_OK) std::printf("%s: global info convert to struct failed \n", __func__);
  return status;
}

uint32_t span_parse_global_info_res_payload(const uint8_t* payload, span_global_info_payload_t** reply) {
  trace(kTraceRequests, "%s:parse response global_info payload \n", __func__);
  if (payload == nullptr || *payload != 0) return SPAN_E_INVALID_PARAM;
  return decode_global_info(payload, reply);
}

uint32_t span_global_info_payload_to_tlv(const void* record, void** tlv, uint32_t* length, uintptr_t a, uintptr_t b,
                                         uintptr_t c) {
  return report_codec(__func__,
                      tlvu_table_convert_struct_to_tlv(tlv, length, &span_global_info_payload_tbl, record, a, b, c));
}

uint32_t span_global_info_payload_to_struct(span_global_info_payload_t** record, const void* tlv, uintptr_t a,
                                            uintptr_t b) {
  return decode_tlv(__func__, record, tlv, a, &span_global_info_payload_tbl, b);
}

int32_t span_global_info_payload_get_struct_sz(const void* tlv) {
  return struct_size(__func__, tlv, &span_global_info_payload_tbl);
}

uint32_t span_global_info_payload_get_tlv_sz(const void* record) {
  return tlvu_table_size(&span_global_info_payload_tbl, record);
}

uint32_t span_global_info_payload_get_field(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e) {
  return tlvu_get_field(a, b, c, d, e, &span_global_info_payload_tbl);
}

uint32_t span_global_info_payload_field_itr_init(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uint16_t e) {
  return tlvu_field_itr_init(a, b, c, &span_global_info_payload_tbl, d, e);
}

uint32_t span_global_info_payload_field_get_next(uintptr_t itr, uintptr_t a) { return tlvu_field_itr_get_next(itr, a); }

uint32_t span_global_admin_info_tlv_data_to_tlv(const void* record, void** tlv, uint32_t* length, uintptr_t a,
                                                uintptr_t b, uintptr_t c) {
  return report_codec(
      __func__, tlvu_table_convert_struct_to_tlv(tlv, length, &span_global_admin_info_tlv_data_tbl, record, a, b, c));
}

uint32_t span_global_admin_info_tlv_data_to_struct(span_global_admin_info_tlv_data_t** record, const void* tlv,
                                                   uintptr_t a, uintptr_t b) {
  return decode_tlv(__func__, record, tlv, a, &span_global_admin_info_tlv_data_tbl, b);
}

int32_t span_global_admin_info_tlv_data_get_struct_sz(const void* tlv) {
  return struct_size(__func__, tlv, &span_global_admin_info_tlv_data_tbl);
}

uint32_t span_global_admin_info_tlv_data_get_tlv_sz(const void* record) {
  return tlvu_table_size(&span_global_admin_info_tlv_data_tbl, record);
}

uint32_t span_global_admin_info_tlv_data_get_field(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e) {
  return tlvu_get_field(a, b, c, d, e, &span_global_admin_info_tlv_data_tbl);
}

uint32_t span_global_admin_info_tlv_data_field_itr_init(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d,
                                                        uint16_t e) {
  return tlvu_field_itr_init(a, b, c, &span_global_admin_info_tlv_data_tbl, d, e);
}

uint32_t span_global_admin_info_tlv_data_field_get_next(uintptr_t itr, uintptr_t a) {
  return tlvu_field_itr_get_next(itr, a);
}

// ---- Session queries ------------------------------------------------------------------------------------------------

uint32_t span_get_session_info(uint32_t queue, const char* requester1, const char* requester2, const uint32_t* session,
                               uint8_t all_flag, uint8_t* valid, uint8_t** record, void** response_out) {
  if (queue == 0) return refuse("Invalid param");
  Payload payload;
  uint32_t status = span_const_get_session_info_req_payload(session, all_flag, payload.bytes.out(), &payload.length);
  if (status != SPAN_OK) return status;
  status = exchange(Opcode::kSessionInfo, VEX_KIND_QUERY, {queue, requester1, requester2}, payload, response_out);
  if (status != SPAN_OK) return SPAN_E_EXCHANGE;
  *valid = 1;
  *record = static_cast<uint8_t*>(*response_out) + offsetof(span_session_info_res_payload_t, session_info);
  return SPAN_OK;
}

uint32_t span_get_session_info_brief(uint32_t queue, const char* requester1, const char* requester2,
                                     const uint32_t* range, uint8_t all_flag, uint8_t* count, uint8_t** records,
                                     void** response_out) {
  if (queue == 0) return refuse("Invalid param");
  Payload payload;
  uint8_t requested = 0;
  uint32_t status =
      span_const_get_session_info_brief_req_payload(range, all_flag, &requested, payload.bytes.out(), &payload.length);
  if (status != SPAN_OK) return status;
  status = exchange(Opcode::kSessionInfoBrief, VEX_KIND_QUERY, {queue, requester1, requester2}, payload, response_out);
  if (status != SPAN_OK) return status;
  *count = view<BriefSessionInfoResponse>(*response_out).count;
  *records = static_cast<uint8_t*>(*response_out) + sizeof(BriefSessionInfoResponse);
  return SPAN_OK;
}

uint32_t span_const_get_session_info_req_payload(const uint32_t* session, uint8_t, uint8_t** payload,
                                                 uint32_t* length) {
  if (!new_query_payload(sizeof(SessionInfoRequest), payload, length)) {
    std::puts("Malloc error in res payload.");
    return SPAN_E_NO_MEMORY;
  }
  // KEEP: the other three bytes are not written; the manager ignores them.
  view<SessionInfoRequest>(*payload).session_index = static_cast<uint8_t>(*session - 1);
  return SPAN_OK;
}

uint32_t span_const_get_session_info_brief_req_payload(const uint32_t* range, uint8_t all_flag, uint8_t* count,
                                                       uint8_t** payload, uint32_t* length) {
  const uint8_t sessions = all_flag == 1 ? uint8_t{0} : static_cast<uint8_t>(range[1] - range[0] + 1);
  *count = sessions;
  if (!new_query_payload(uint32_t{sizeof(BriefSessionInfoRequest)} + sessions, payload, length)) {
    std::puts("Malloc error in res payload.");
    return SPAN_E_NO_MEMORY;
  }
  FillCursor cursor(*payload);
  auto& request = *cursor.take<BriefSessionInfoRequest>();
  request.all_flag = all_flag;  // KEEP: the two bytes behind the count are not written.
  request.count = sessions;
  for (uint32_t i = 0; i < sessions; ++i) *cursor.take<uint8_t>() = static_cast<uint8_t>(range[0] - 1 + i);
  return SPAN_OK;
}

// ---- Session configuration ------------------------------------------------------------------------------------------

uint32_t span_set_dest_info(uint32_t queue, const char* requester1, const char* requester2, uint8_t session_index,
                            uint8_t operation, uint32_t destination, uint32_t value, uint32_t, uint32_t* status_out,
                            void** response_out) {
  if (queue == 0) return refuse("Invalid param");
  span_is_rspan_tunnel_if(destination);  // KEEP: asked, the answer is not used.
  Payload payload;
  uint32_t status = span_const_set_dest_info_payload(requester1, requester2, session_index, operation, destination,
                                                     value, payload.bytes.out(), &payload.length);
  if (status != SPAN_OK) return status;
  status = exchange(Opcode::kSetDestInfo, VEX_KIND_CHANGE, {queue, requester1, requester2}, payload, response_out);
  if (status == SPAN_OK) *status_out = get(view<StatusResponse>(*response_out).result);
  return status;
}

uint32_t span_set_src_config(uint32_t queue, const char* requester1, const char* requester2, uint8_t session_index,
                             uint8_t direction, uint8_t operation, uint8_t source_type, const uint32_t* vsan_range,
                             const void* bitmap, const void* if_ranges, uint32_t, void** response_out) {
  Payload payload;
  const uint32_t status = span_const_set_src_config_info_req_payload(requester1, requester2, session_index, direction,
                                                                     operation, source_type, vsan_range, bitmap,
                                                                     if_ranges, payload.bytes.out(), &payload.length);
  if (status != SPAN_OK) return status;
  return exchange(Opcode::kSetSrcConfig, VEX_KIND_CHANGE, {queue, requester1, requester2}, payload, response_out);
}

uint32_t span_delete_session(uint32_t queue, const char* requester1, const char* requester2, uint8_t count,
                             const uint8_t* indexes, uint8_t flag, uint32_t* status_out, void** response_out) {
  if (queue == 0) return refuse("Invalid param");
  Payload payload;
  uint32_t status = span_const_delete_session_payload(requester1, requester2, count, indexes, flag, payload.bytes.out(),
                                                      &payload.length);
  if (status != SPAN_OK) return status;
  span_print_time();
  status = exchange(Opcode::kDeleteSession, VEX_KIND_CHANGE, {queue, requester1, requester2}, payload, response_out);
  span_print_time();
  if (status == SPAN_OK) *status_out = get(view<DeleteSessionResponse>(*response_out).result);
  return status;
}

uint32_t span_set_session_state(uint32_t queue, const char* requester1, const char* requester2, uint8_t session_index,
                                uint8_t flag, uint32_t* status_out, void** response_out) {
  if (queue == 0) return refuse("error: Invalid param");
  Payload payload;
  uint32_t status = span_const_set_session_state_payload(requester1, requester2, session_index, flag,
                                                         payload.bytes.out(), &payload.length);
  if (status != SPAN_OK) return status;
  span_print_time();
  status = exchange(Opcode::kSetSessionState, VEX_KIND_CHANGE, {queue, requester1, requester2}, payload, response_out);
  span_print_time();
  if (status == SPAN_OK) *status_out = get(view<StatusResponse>(*response_out).result);
  return status;
}

uint32_t span_const_set_dest_info_payload(const char* requester1, const char* requester2, uint8_t session_index,
                                          uint8_t operation, uint32_t destination, uint32_t value, uint8_t** payload,
                                          uint32_t* length) {
  if (!new_config_payload(sizeof(SetDestRequest), payload, length)) {
    std::printf("error: %s\n", syserr2str(SPAN_E_NO_MEMORY));
    return SPAN_E_NO_MEMORY;
  }
  auto& request = view<SetDestRequest>(*payload);
  fill_requester_header(request.requester, requester1, requester2);
  request.session_index = session_index;
  request.operation = operation;
  put(request.dest_if_index, destination);
  put(request.value, value);
  return SPAN_OK;
}

uint32_t span_const_set_src_config_info_req_payload(const char* requester1, const char* requester2,
                                                    uint8_t session_index, uint8_t direction, uint8_t operation,
                                                    uint8_t source_type, const uint32_t* vsan_range, const void* bitmap,
                                                    const void* if_ranges, uint8_t** payload, uint32_t* length) {
  const auto* const list = static_cast<const span_if_range_list_t*>(if_ranges);
  const uint32_t range_count = list != nullptr ? list->count : 0;
  const uint32_t size = payload_length(sizeof(SetSrcConfigRequest), range_count, sizeof(WireIfRange));
  if (!new_config_payload(size, payload, length)) {
    std::printf("error:[%x] %s\n", SPAN_E_NO_MEMORY, syserr2str(SPAN_E_NO_MEMORY));
    return SPAN_E_NO_MEMORY;
  }
  FillCursor cursor(*payload);
  auto& request = *cursor.take<SetSrcConfigRequest>();
  fill_requester_header(request.requester, requester1, requester2);
  request.session_index = session_index;
  request.direction = direction;
  request.operation = operation;
  request.source_type = source_type;
  put(request.vsans_len, SPAN_VSAN_BYTES);
  if (bitmap != nullptr) {
    std::memcpy(request.vsans, vsans_of(bitmap), SPAN_VSAN_BYTES);
  } else if (vsan_range != nullptr) {
    add_vsan_range(request.vsans, vsan_range[0], vsan_range[1]);
  }
  put(request.range_count, range_count);
  for (uint32_t i = 0; i < range_count; ++i) put_if_range(*cursor.take<WireIfRange>(), list->ranges[i]);
  return SPAN_OK;
}

uint32_t span_const_delete_session_payload(const char* requester1, const char* requester2, uint8_t count,
                                           const uint8_t* indexes, uint8_t flag, uint8_t** payload, uint32_t* length) {
  if (!new_config_payload(uint32_t{sizeof(DeleteSessionRequest)} + count, payload, length)) {
    std::printf("error: %s \n", syserr2str(SPAN_E_NO_MEMORY));
    return SPAN_E_NO_MEMORY;
  }
  FillCursor cursor(*payload);
  auto& request = *cursor.take<DeleteSessionRequest>();
  fill_requester_header(request.requester, requester1, requester2);
  request.action = static_cast<uint8_t>(flag == 1 ? SessionAction::kDelete : SessionAction::kCreate);
  request.count = count;
  std::copy_n(indexes, count, cursor.at());
  return SPAN_OK;
}

uint32_t span_const_set_session_state_payload(const char* requester1, const char* requester2, uint8_t session_index,
                                              uint8_t flag, uint8_t** payload, uint32_t* length) {
  if (!new_config_payload(sizeof(SetSessionStateRequest), payload, length)) {
    std::printf("error:[%x] %s \n", SPAN_E_NO_MEMORY, syserr2str(SPAN_E_NO_MEMORY));
    return SPAN_E_NO_MEMORY;
  }
  auto& request = view<SetSessionStateRequest>(*payload);
  fill_requester_header(request.requester, requester1, requester2);
  request.state = static_cast<uint8_t>(flag == 1 ? SessionState::kResume : SessionState::kSuspend);
  request.session_index = session_index;
  return SPAN_OK;
}

uint32_t span_encode_cfg_tlv(uint8_t* entry, uint8_t type, uint8_t length, const uint32_t* value) {
  auto& tlv = view<span_cfg_tlv_t>(entry);
  tlv.type = type;
  tlv.length = length;
  if (type != kCfgTlvPortMode) {
    std::printf("%s: Type not handled - %d\n", __func__, type);
    return SPAN_E_TLV_TYPE;
  }
  put(tlv.value, *value);
  return SPAN_OK;
}

// ---- Interfaces -----------------------------------------------------------------------------------------------------

int span_is_iscsi_if(uint32_t if_index) { return if_type(if_index) == IF_INDEX_TYPE_ISCSI; }

int span_is_fcip_if(uint32_t if_index) { return if_type(if_index) == IF_INDEX_TYPE_FCIP; }

int span_is_rspan_tunnel_if(uint32_t if_index) { return if_type(if_index) == IF_INDEX_TYPE_RSPAN_TUNNEL; }

int span_check_pch_subtype(uint32_t if_index, uint32_t subtype) {
  if (if_index == 0 || if_type(if_index) != IF_INDEX_TYPE_PORT_CHANNEL) return 0;
  uint8_t actual = 0;
  return if_index_port_channel_get_subtype(if_index, &actual) == 0 && actual == subtype;
}

void span_if_list_get_next(const void* list, uint32_t current, uint32_t* next) {
  *next = 0;
  Cursor cursor(static_cast<const uint8_t*>(list));
  for (const span_net_if_t& entry : take_if_list(cursor)) {
    const uint32_t if_index = get(entry);
    if (current == 0 || if_index > current) {
      *next = if_index;
      return;
    }
  }
}

int span_if_list_if_is_present(const void* list, uint32_t if_index) {
  Cursor cursor(static_cast<const uint8_t*>(list));
  return std::ranges::any_of(take_if_list(cursor), [&](span_net_if_t entry) { return get(entry) == if_index; });
}

uint32_t span_get_src_if_info(uint32_t queue, const char* requester1, const char* requester2, void* request,
                              void** response_out) {
  if (queue == 0) return refuse("Invalid param");
  put(view<span_src_if_info_req_t>(request).if_index, get(view<span_host32_t>(request)));
  return exchange(Opcode::kSrcIfInfo, VEX_KIND_QUERY, {queue, requester1, requester2}, request,
                  sizeof(span_src_if_info_req_t), response_out);
}

uint32_t span_get_rspan_tunnel_config(uint32_t queue, uint32_t port, uint32_t* tunnel) {
  *tunnel = 0;
  if (queue == 0) return refuse("Invalid param");
  RspanTunnelRequest request = {};
  put(request.port, port);
  Owned<void> response;
  const uint32_t status = exchange(Opcode::kRspanTunnel, VEX_KIND_QUERY, {queue, nullptr, nullptr}, &request,
                                   sizeof request, response.out());
  if (status == SPAN_OK) *tunnel = get(view<RspanTunnelResponse>(response.get()).tunnel);
  return status;
}

uint32_t span_convert_ks_intf_to_ipch(uint32_t queue, void* if_ranges, signed char traffic_type) {
  auto* const list = static_cast<span_if_range_list_t*>(if_ranges);
  PortChannels mapped;
  const uint32_t status = map_to_port_channels(queue, *list, static_cast<uint8_t>(traffic_type), mapped);
  if (status != SPAN_OK) return status;
  std::memcpy(if_ranges, &mapped.list(), std::max<size_t>(sizeof *list, if_range_list_size(mapped.list().count)));
  return SPAN_OK;
}

// ---- Port configuration ---------------------------------------------------------------------------------------------

namespace {

// Of a port configuration request, `size` bytes.
void fill_port_config_requesters(uint8_t* payload, size_t size, const char* requester1, const char* requester2) {
  auto& header = view<RequesterHeader>(payload);
  fill_requester(header.requester1, requester1);
  if (requester2 == nullptr) return;
  // KEEP: the length of the first string decides for the second: behind a short one, it goes out whole.
  const size_t length1 = requester1 != nullptr ? std::strlen(requester1) : 0;
  if (length1 >= sizeof header.requester2) {
    fill_requester(header.requester2, requester2);
  } else {
    constexpr size_t kAt = offsetof(RequesterHeader, requester2);
    std::memcpy(payload + kAt, requester2, std::min(std::strlen(requester2) + 1, size - kAt));
  }
}

}  // namespace

uint32_t span_vex_set_port_config(uint32_t queue, const char* requester1, const char* requester2, uint32_t count,
                                  const uint32_t* ranges, uint8_t tlv_type, uint8_t tlv_length,
                                  const uint32_t* tlv_value, uint32_t* count_out, uint32_t** results) {
  if (results == nullptr || count_out == nullptr || ranges == nullptr || count == 0) return SPAN_E_BAD_ARGUMENT;
  *results = nullptr;
  *count_out = 0;

  const size_t entry_size = offsetof(span_cfg_tlv_t, value) + tlv_length;
  Payload payload;
  const uint32_t size = payload_length(sizeof(PortConfigRequest) + entry_size, count, sizeof(WireIfRange));
  if (!new_config_payload(size, payload.bytes.out(), &payload.length)) {
    std::printf("%s: malloc failure, size(%d)\n", __func__, size);
    return SPAN_E_NO_MEMORY;
  }
  fill_port_config_requesters(payload.bytes.get(), payload.length, requester1, requester2);
  FillCursor cursor(payload.bytes.get());
  put(cursor.take<PortConfigRequest>()->range_count, static_cast<uint16_t>(count));
  for (uint32_t i = 0; i < count; ++i) put_if_range(*cursor.take<WireIfRange>(), {ranges[2 * i], ranges[2 * i + 1]});

  span_cfg_tlv_t entry;
  uint32_t status = span_encode_cfg_tlv(&entry.type, tlv_type, tlv_length, tlv_value);
  if (status != SPAN_OK) {
    std::printf("%s: err(%d) in pm_encode_tlv\n", __func__, status);
    return status;
  }
  std::memcpy(cursor.at(), &entry, std::min(entry_size, sizeof entry));

  Owned<void> response;
  status = exchange(Opcode::kPortConfig, VEX_KIND_CHANGE, {queue, requester1, requester2}, payload, response.out(),
                    kPortConfigOption);
  if (status != SPAN_OK) return status;
  return span_parse_set_port_config_res_payload(response.get(), count_out, results);
}

uint32_t span_parse_set_port_config_res_payload(const void* response, uint32_t* count_out, uint32_t** results) {
  *results = nullptr;
  if (response == nullptr) return SPAN_E_NO_RESPONSE;
  Cursor cursor(static_cast<const uint8_t*>(response));
  const auto& head = *cursor.take<PortConfigResponse>();
  const uint32_t count = get(head.count);
  auto* const pairs = static_cast<uint32_t*>(new_block(0, count, sizeof(PortConfigResult)));
  if (pairs == nullptr) return SPAN_E_NO_MEMORY;
  for (uint32_t i = 0; i < count; ++i) {
    const auto& result = *cursor.take<PortConfigResult>();
    pairs[2 * i] = get(result.if_index);
    pairs[2 * i + 1] = get(result.result);
  }
  *count_out = count;
  *results = pairs;
  return get(head.status);
}

uint32_t span_snmp_set_port_config(uint32_t queue, const char* requester1, const char* requester2, uint32_t if_index,
                                   uint32_t value) {
  Owned<span_cfg_tlv_t> entry(new_array<span_cfg_tlv_t>(1));
  if (!entry) {
    std::printf("error: malloc failure - size(%d)\n", static_cast<int>(sizeof(span_cfg_tlv_t)));
    return SPAN_E_NO_MEMORY;
  }
  entry->type = kCfgTlvPortMode;
  entry->length = sizeof value;
  const uint32_t range[] = {if_index, if_index};
  uint32_t count = 0;
  Owned<uint32_t> results;
  const uint32_t status = span_vex_set_port_config(queue, requester1, requester2, 1, range, entry->type, entry->length,
                                                   &value, &count, results.out());
  if (status == VEX_TRANSPORT_FAILED) return quill_errno_get(queue);
  if (status == SPAN_OK && count != 0) return results.get()[1];
  return status;
}

// ---- Port manager ---------------------------------------------------------------------------------------------------

namespace {

// A cleared array, or null.
template <class T>
T* new_clear_array(uint32_t count) {
  T* const array = new_array<T>(count);
  if (array != nullptr) std::memset(array, 0, count * sizeof(T));
  return array;
}

// Counts are numbers with a sign: below 1 there is nothing.
bool counts_any(uint32_t count) { return static_cast<int32_t>(count) >= 1; }

void set_vsans(span_pm_src_if_t& record, const VsanBits& vsans) {
  record.vsans_length = SPAN_VSAN_BYTES;
  std::memcpy(record.vsans, vsans, SPAN_VSAN_BYTES);
}

// The head of an interface entry, the same in every kind of body.
void set_if(span_pm_src_if_t& record, const PmIf& entry) {
  record.if_index = get(entry.if_index);
  record.is_valid = entry.is_valid;
  record.is_pch = entry.is_pch;
  record.if_pch = get(entry.if_pch);
  record.vsans_length = SPAN_VSAN_BYTES;
}

bool is_plain_port_channel(uint32_t if_index) {
  return span_check_pch_subtype(if_index, IF_INDEX_PORT_CHANNEL_PLAIN) != 0;
}

// Releases what an array of records points to, then the array.
template <class Record>
void release_records(Record*& records, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) std::free(records[i].members);
  std::free(records);
  records = nullptr;
}

void trace_pch_member(const char* function, const span_pm_src_if_t& member) {
  char vsans[kRangeTextSize];
  *put_ranges(vsans, VsanSet(member.vsans)) = '\0';
  trace(kTraceRequests, "%s: pch[%x] if[%x] is_valid[%x] is_pch[%x] if_pch[%x], vsans: %s\n", function, member.if_pch,
        member.if_index, member.is_valid, member.is_pch, member.if_pch, static_cast<const char*>(vsans));
}

// The members of a port channel; false when there is no memory for them.
bool take_pch_members(const char* function, Cursor& cursor, span_pm_src_pch_t& record, const VsanBits& vsans) {
  if (!counts_any(record.member_count)) return true;
  record.members = new_clear_array<span_pm_src_if_t>(record.member_count);
  if (record.members == nullptr) return false;
  for (uint32_t i = 0; i < record.member_count; ++i) {
    span_pm_src_if_t& member = record.members[i];
    member.if_index = get(*cursor.take<span_net_if_t>());
    member.is_valid = 1;
    member.is_pch = 1;
    member.if_pch = record.if_index;
    set_vsans(member, vsans);
    trace_pch_member(function, member);
  }
  return true;
}

// The members of a VSAN; false when there is no memory for them.
bool take_vsan_members(Cursor& cursor, span_pm_src_vsan_t& record) {
  if (!counts_any(record.member_count)) return true;
  record.members = new_clear_array<span_pm_src_if_t>(record.member_count);
  if (record.members == nullptr) return false;
  for (uint32_t i = 0; i < record.member_count; ++i) {
    set_if(record.members[i], *cursor.take<PmIf>());
    record.members[i].is_valid = 1;
    set_vsans(record.members[i], cursor.take<PmIfVsans>()->vsans);
  }
  return true;
}

}  // namespace

uint32_t span_parse_pm_span_get_port_info(span_pm_port_info_t** out, const void* message, uint32_t) {
  *out = new_clear_array<span_pm_port_info_t>(1);
  if (*out == nullptr) return SPAN_E_NO_MEMORY;
  Cursor cursor(static_cast<const uint8_t*>(message));
  (*out)->kind = cursor.take<PmHead>()->kind;
  switch ((*out)->kind) {
    case SPAN_PM_INTERFACES:
      return span_parse_pm_src_info_if(&(*out)->body, cursor.at());
    case SPAN_PM_PORT_CHANNELS:
      return span_parse_pm_src_info_pch(&(*out)->body, cursor.at());
    case SPAN_PM_VSANS:
      return span_parse_pm_src_info_vsan(&(*out)->body, cursor.at());
    default:
      return SPAN_OK;
  }
}

uint32_t span_parse_pm_src_info_if(void* body_out, const void* body) {
  auto& out = *static_cast<span_pm_src_info_if_t*>(body_out);
  Cursor cursor(static_cast<const uint8_t*>(body));
  out = {get(*cursor.take<span_be32_t>()), nullptr};
  if (!counts_any(out.count)) return SPAN_OK;
  out.ifs = new_clear_array<span_pm_src_if_t>(out.count);
  if (out.ifs == nullptr) return SPAN_E_NO_MEMORY;
  for (uint32_t i = 0; i < out.count; ++i) {
    span_pm_src_if_t& record = out.ifs[i];
    set_if(record, *cursor.take<PmIf>());
    if (record.is_pch == 1 && record.is_valid == 1 && !is_plain_port_channel(record.if_pch)) {
      record.is_pch = 0;
      record.if_pch = 0;
    }
    if (record.is_valid == 1) set_vsans(record, cursor.take<PmIfVsans>()->vsans);
  }
  return SPAN_OK;
}

uint32_t span_parse_pm_src_info_pch(void* body_out, const void* body) {
  auto& out = *static_cast<span_pm_src_info_pch_t*>(body_out);
  Cursor cursor(static_cast<const uint8_t*>(body));
  out = {get(*cursor.take<span_be32_t>()), nullptr};
  if (!counts_any(out.count)) return SPAN_OK;
  out.pchs = new_clear_array<span_pm_src_pch_t>(out.count);
  if (out.pchs == nullptr) return SPAN_E_NO_MEMORY;
  for (uint32_t i = 0; i < out.count; ++i) {
    span_pm_src_pch_t& record = out.pchs[i];
    const auto& entry = *cursor.take<PmPch>();
    record.if_index = get(entry.if_index);
    record.validity = entry.validity == 1 && !is_plain_port_channel(record.if_index) ? uint8_t{0} : entry.validity;
    if (record.validity == 0) {
      // KEEP: the debug print is not asked for, and the members that the entry may have are not stepped over.
      trace_history(0, "%s: invalid pch[%x]\n", __func__, record.if_index);
      trace_debug("%s: invalid pch[%x]\n", __func__, record.if_index);
      continue;
    }
    record.member_count = get(entry.member_count);
    if (!take_pch_members(__func__, cursor, record, entry.vsans)) {
      release_records(out.pchs, i);
      return SPAN_E_NO_MEMORY;
    }
  }
  return SPAN_OK;
}

uint32_t span_parse_pm_src_info_vsan(void* body_out, const void* body) {
  auto& out = *static_cast<span_pm_src_info_vsan_t*>(body_out);
  Cursor cursor(static_cast<const uint8_t*>(body));
  out.vsans_length = SPAN_VSAN_BYTES;
  std::memcpy(out.vsans, cursor.take<PmVsanBody>()->vsans, SPAN_VSAN_BYTES);
  out.entries = nullptr;
  const uint32_t count = VsanSet(out.vsans).count();
  if (count == 0) return SPAN_OK;
  out.entries = new_clear_array<span_pm_src_vsan_t>(count);
  if (out.entries == nullptr) return SPAN_E_NO_MEMORY;
  for (uint32_t i = 0; i < count; ++i) {
    span_pm_src_vsan_t& record = out.entries[i];
    const auto& entry = *cursor.take<PmVsan>();
    record.vsan = get(entry.vsan);
    record.flag = entry.flag;
    if (record.flag == 0) continue;
    record.member_count = get(entry.member_count);
    if (!take_vsan_members(cursor, record)) {
      release_records(out.entries, i);
      return SPAN_E_NO_MEMORY;
    }
  }
  return SPAN_OK;
}

// ---- VSAN text, time ------------------------------------------------------------------------------------------------

int span_vsan_bitset_sprintf(const void* holder) {
  char text[kRangeTextSize];
  const size_t length = static_cast<size_t>(put_ranges(text, VsanSet(vsans_of(holder))) - text);
  std::fwrite(text, 1, length, stdout);
  return static_cast<int>(length);
}

int span_print_time(void) {
  timeval now;
  return gettimeofday(&now, nullptr);
}
