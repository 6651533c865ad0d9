// What travels between the library and the SPAN manager: opcodes, codes and layouts.
//
// Numbers are big-endian and interface indexes in the order of hton_if_index(), unless a field's type says otherwise.
// A response carries no length. Its counts are trusted here, once for all: the manager is a process of the same
// system, and the platform hands over only what it sent. The manager knows the length of a request and checks it.
#ifndef LIBSPAN_INTERNAL_WIRE_H
#define LIBSPAN_INTERNAL_WIRE_H

#include <cstddef>
#include <cstdint>

#include "libspan.h"

namespace libspan {

constexpr uint32_t kSpanManager = 68;  // service number

enum class Opcode : uint32_t {
  kSetDestInfo = 2000,
  kSessionInfo = 2001,
  kSetSrcConfig = 2002,
  kDeleteSession = 2004,
  kSessionInfoBrief = 2005,
  kSetSessionState = 2006,
  kSrcIfInfo = 2010,
  kPortConfig = 2014,
  kRspanTunnel = 2016,
  kGlobalInfo = 2019,
};

// Operations of SetDestRequest.
enum class DestOperation : uint8_t { kAdd = 1, kRemove = 2 };

// Operations of SetSrcConfigRequest. Each command has its own pair.
enum class SrcOperation : uint8_t {
  kAddIf = 1,           // interfaces; with VSANs, these are added to the interfaces' filter
  kRemoveIfFilter = 2,  // takes VSANs out of the interfaces' filter
  kAdd = 4,             // VSANs, or interfaces
  kRemove = 8,          // VSANs, or interfaces
  kAddFilter = 16,      // session filter VSANs
  kRemoveFilter = 32,
};

// Source types of SetSrcConfigRequest and its result.
enum class SourceType : uint8_t {
  kInterface = 1,
  kPortChannel = 2,
  kVsan = 3,
  kSourceFilter = 5,
  kSessionFilter = 6,
  kInband = 7,  // interface of platform type IF_INDEX_TYPE_INBAND
};

enum class SessionAction : uint8_t { kCreate = 1, kDelete = 2 };
enum class SessionState : uint8_t { kSuspend = 1, kResume = 2 };

constexpr uint8_t kCfgTlvPortMode = 1;  // type of a configuration entry with a value of 32 bits

// ---- Requests -------------------------------------------------------------------------------------------------------

// Who asks. The first bytes of every configuration request.
struct RequesterHeader {
  char requester1[60];
  char requester2[40];
};
static_assert(offsetof(RequesterHeader, requester2) == 60);
static_assert(sizeof(RequesterHeader) == 100 && alignof(RequesterHeader) == 1);

struct SessionInfoRequest {
  uint8_t session_index;
  uint8_t unused[3];
};
static_assert(sizeof(SessionInfoRequest) == 4 && alignof(SessionInfoRequest) == 1);

// Behind it `count` session indexes, one byte each.
struct BriefSessionInfoRequest {
  uint8_t all_flag;  // 1 = every session
  uint8_t count;
  uint8_t unused[2];
};
static_assert(sizeof(BriefSessionInfoRequest) == 4 && alignof(BriefSessionInfoRequest) == 1);

struct SetDestRequest {
  RequesterHeader requester;
  uint8_t session_index;
  uint8_t operation;
  uint8_t zero[2];
  span_net_if_t dest_if_index;
  span_be32_t value;
};
static_assert(offsetof(SetDestRequest, session_index) == 100);
static_assert(offsetof(SetDestRequest, operation) == 101);
static_assert(offsetof(SetDestRequest, dest_if_index) == 104);
static_assert(offsetof(SetDestRequest, value) == 108);
static_assert(sizeof(SetDestRequest) == 112 && alignof(SetDestRequest) == 1);

struct WireIfRange {
  span_net_if_t first;
  span_net_if_t last;
};
static_assert(sizeof(WireIfRange) == 8 && alignof(WireIfRange) == 1);

// Behind it `range_count` WireIfRange.
struct SetSrcConfigRequest {
  RequesterHeader requester;
  uint8_t session_index;
  uint8_t direction;
  uint8_t operation;
  uint8_t source_type;
  span_host32_t vsans_len;  // KEEP: host order, the one number of the protocol that is.
  uint8_t vsans[SPAN_VSAN_BYTES];
  span_be32_t range_count;
};
static_assert(offsetof(SetSrcConfigRequest, session_index) == 100);
static_assert(offsetof(SetSrcConfigRequest, direction) == 101);
static_assert(offsetof(SetSrcConfigRequest, operation) == 102);
static_assert(offsetof(SetSrcConfigRequest, source_type) == 103);
static_assert(offsetof(SetSrcConfigRequest, vsans_len) == 104);
static_assert(offsetof(SetSrcConfigRequest, vsans) == 108);
static_assert(offsetof(SetSrcConfigRequest, range_count) == 620);
static_assert(sizeof(SetSrcConfigRequest) == 624 && alignof(SetSrcConfigRequest) == 1);

// Creates sessions, too. Behind it `count` session indexes, one byte each.
struct DeleteSessionRequest {
  RequesterHeader requester;
  uint8_t action;
  uint8_t count;
};
static_assert(offsetof(DeleteSessionRequest, action) == 100);
static_assert(offsetof(DeleteSessionRequest, count) == 101);
static_assert(sizeof(DeleteSessionRequest) == 102 && alignof(DeleteSessionRequest) == 1);

struct SetSessionStateRequest {
  RequesterHeader requester;
  uint8_t state;
  uint8_t session_index;
};
static_assert(offsetof(SetSessionStateRequest, state) == 100);
static_assert(offsetof(SetSessionStateRequest, session_index) == 101);
static_assert(sizeof(SetSessionStateRequest) == 102 && alignof(SetSessionStateRequest) == 1);

// Behind it `range_count` WireIfRange, then one configuration entry: type, length, value.
struct PortConfigRequest {
  RequesterHeader requester;
  span_be16_t range_count;
};
static_assert(offsetof(PortConfigRequest, range_count) == 100);
static_assert(sizeof(PortConfigRequest) == 102 && alignof(PortConfigRequest) == 1);

struct RspanTunnelRequest {
  span_be32_t port;  // a plain number, not in the order of hton_if_index()
  uint8_t zero[4];
};
static_assert(sizeof(RspanTunnelRequest) == 8 && alignof(RspanTunnelRequest) == 1);

// ---- Responses ------------------------------------------------------------------------------------------------------

// Of SetDestRequest and SetSessionStateRequest.
struct StatusResponse {
  uint8_t unused[4];
  span_be32_t result;
};
static_assert(offsetof(StatusResponse, result) == 4);
static_assert(sizeof(StatusResponse) == 8 && alignof(StatusResponse) == 1);

struct DeleteSessionResponse {
  span_be32_t result;
};
static_assert(sizeof(DeleteSessionResponse) == 4 && alignof(DeleteSessionResponse) == 1);

// Behind it the records.
struct BriefSessionInfoResponse {
  uint8_t count;
  uint8_t unused[7];
};
static_assert(sizeof(BriefSessionInfoResponse) == 8 && alignof(BriefSessionInfoResponse) == 1);

struct RspanTunnelResponse {
  uint8_t unused[8];
  span_be32_t tunnel;
};
static_assert(offsetof(RspanTunnelResponse, tunnel) == 8);
static_assert(sizeof(RspanTunnelResponse) == 12 && alignof(RspanTunnelResponse) == 1);

// Behind it `count` PortConfigResult.
struct PortConfigResponse {
  span_be32_t status;
  span_be32_t count;
};
static_assert(offsetof(PortConfigResponse, count) == 4);
static_assert(sizeof(PortConfigResponse) == 8 && alignof(PortConfigResponse) == 1);

struct PortConfigResult {
  span_be32_t if_index;  // a plain number, not in the order of hton_if_index()
  span_be32_t result;
};
static_assert(sizeof(PortConfigResult) == 8 && alignof(PortConfigResult) == 1);

// ---- Port information message ----------------------------------------------------------------------------------------

// Its body starts behind the head.
struct PmHead {
  uint8_t unused1[4];
  uint8_t kind;
  uint8_t unused2[4];
};
static_assert(offsetof(PmHead, kind) == 4 && sizeof(PmHead) == 9);

struct PmIf {
  span_net_if_t if_index;
  uint8_t is_valid;
  uint8_t is_pch;
  span_net_if_t if_pch;
  uint8_t unused[12];
};
static_assert(offsetof(PmIf, is_valid) == 4 && offsetof(PmIf, is_pch) == 5 && offsetof(PmIf, if_pch) == 6);
static_assert(sizeof(PmIf) == 22 && alignof(PmIf) == 1);

// Behind a PmIf that is valid.
struct PmIfVsans {
  uint8_t unused[4];
  uint8_t vsans[SPAN_VSAN_BYTES];
};
static_assert(offsetof(PmIfVsans, vsans) == 4 && sizeof(PmIfVsans) == 516 && alignof(PmIfVsans) == 1);

// Behind a valid one `member_count` interfaces.
struct PmPch {
  span_net_if_t if_index;
  uint8_t validity;
  uint8_t unused[4];
  uint8_t vsans[SPAN_VSAN_BYTES];
  span_be32_t member_count;
};
static_assert(offsetof(PmPch, validity) == 4 && offsetof(PmPch, vsans) == 9 && offsetof(PmPch, member_count) == 521);
static_assert(sizeof(PmPch) == 525 && alignof(PmPch) == 1);

// Behind it a PmVsan for each member of `vsans`.
struct PmVsanBody {
  uint8_t unused[4];
  uint8_t vsans[SPAN_VSAN_BYTES];
};
static_assert(offsetof(PmVsanBody, vsans) == 4 && sizeof(PmVsanBody) == 516 && alignof(PmVsanBody) == 1);

// Behind it `member_count` interfaces, always with their VSANs. Without the flag there are none, whatever is counted.
struct PmVsan {
  span_be32_t vsan;
  uint8_t flag;
  span_be32_t member_count;
};
static_assert(offsetof(PmVsan, flag) == 4 && offsetof(PmVsan, member_count) == 5);
static_assert(sizeof(PmVsan) == 9 && alignof(PmVsan) == 1);

// ---- Line cards ------------------------------------------------------------------------------------------------------

constexpr uint32_t kCounterService = 935;
constexpr uint32_t kCounterOpcode = 2020;

// One module in the reply to the module information request.
struct ModuleInfo {
  uint8_t unused1[31];
  span_be16_t software_id;
  uint8_t unused2[425];
};
static_assert(offsetof(ModuleInfo, software_id) == 31 && sizeof(ModuleInfo) == 458 && alignof(ModuleInfo) == 1);

// ---- Debug dumps -----------------------------------------------------------------------------------------------------

// Argument of "span_debug_dump" and of "fu_fsm_dump_fsm_log".
struct DumpRecord {
  uint8_t object;  // what kind of thing is dumped
  uint8_t zero[3];
  span_host32_t number;  // which one; a session's index is its first byte, an interface is in network order
};
static_assert(offsetof(DumpRecord, number) == 4 && sizeof(DumpRecord) == 8 && alignof(DumpRecord) == 1);

// ---- Layouts of libspan.h -------------------------------------------------------------------------------------------

static_assert(offsetof(span_session_info_t, dest_if_index) == 84);
static_assert(offsetof(span_session_info_t, dest_configured) == 88);
static_assert(offsetof(span_session_info_t, admin_suspended) == 92);
static_assert(offsetof(span_session_info_t, filter_vsans_len) == 100);
static_assert(offsetof(span_session_info_t, filter_vsans) == 104);
static_assert(offsetof(span_session_info_t, rx_vsans_len) == 1132);
static_assert(offsetof(span_session_info_t, rx_vsans) == 1136);
static_assert(offsetof(span_session_info_t, rx_if_count) == 1648);
static_assert(sizeof(span_session_info_t) == 1652 && alignof(span_session_info_t) == 1);
static_assert(offsetof(span_session_info_res_payload_t, session_info) == 4);

static_assert(offsetof(span_src_if_info_req_t, session_index) == 4);
static_assert(offsetof(span_src_if_info_req_t, direction) == 5);
static_assert(sizeof(span_src_if_info_req_t) == 8 && alignof(span_src_if_info_req_t) == 1);

static_assert(offsetof(span_src_if_info_res_t, valid) == 4);
static_assert(offsetof(span_src_if_info_res_t, rx_filter) == 14);
static_assert(offsetof(span_src_if_info_res_t, tx_filter) == 15);
static_assert(offsetof(span_src_if_info_res_t, rx_traffic_type) == 16);
static_assert(offsetof(span_src_if_info_res_t, tx_traffic_type) == 17);
static_assert(offsetof(span_src_if_info_res_t, member_if_index) == 18);
static_assert(offsetof(span_src_if_info_res_t, detail) == 22);
static_assert(sizeof(span_src_if_info_res_t) == 542 && alignof(span_src_if_info_res_t) == 1);
static_assert(offsetof(span_service_source_t, mgmt) == 1);
static_assert(offsetof(span_service_source_t, initiator) == 2);
static_assert(offsetof(span_service_source_t, filter_vsans) == 8);
static_assert(sizeof(span_service_source_t) == 520 && alignof(span_service_source_t) == 1);
static_assert(offsetof(span_traffic_names_t, target) == 4);
static_assert(offsetof(span_traffic_names_t, mgmt) == 5);
static_assert(offsetof(span_traffic_names_t, initiator) == 6);

static_assert(offsetof(span_set_src_config_res_t, source_type) == 1);
static_assert(offsetof(span_set_src_config_res_t, result) == 4);
static_assert(offsetof(span_set_src_config_res_t, if_count) == 8);
static_assert(offsetof(span_set_src_config_res_t, refused_vsans) == 16);
static_assert(sizeof(span_set_src_config_res_t) == 528 && alignof(span_set_src_config_res_t) == 1);
static_assert(sizeof(span_if_result_t) == 8 && alignof(span_if_result_t) == 1);

static_assert(offsetof(span_cfg_tlv_t, value) == 2);
static_assert(sizeof(span_cfg_tlv_t) == 6 && alignof(span_cfg_tlv_t) == 1);

// ---- Records of the host process ------------------------------------------------------------------------------------

static_assert(offsetof(span_vsan_holder_t, bits) == 4 && sizeof(span_vsan_holder_t) == 516);
static_assert(offsetof(span_if_range_list_t, count) == 4);
static_assert(offsetof(span_if_range_list_t, ranges) == 16 && sizeof(span_if_range_list_t) == 528);
static_assert(sizeof(span_global_info_payload_t) == 12 && sizeof(span_global_admin_info_tlv_data_t) == 4);
static_assert(sizeof(tlvu_field_t) == 48);
static_assert(offsetof(span_token_t, value_type) == 4 && offsetof(span_token_t, value) == 16);
static_assert(offsetof(span_cli_parms_t, negated) == 12);
static_assert(offsetof(span_cli_parms_t, skip) == 36);
static_assert(offsetof(span_cli_parms_t, queue) == 40);
static_assert(offsetof(span_cli_parms_t, requester1) == 776);
static_assert(offsetof(span_cli_parms_t, requester2) == 840);
static_assert(sizeof(void*) != 4 ||
              (offsetof(span_cli_parms_t, tokens) == 900 && offsetof(span_cli_parms_t, display_ctx) == 1212));
static_assert(sizeof(void*) != 4 || sizeof(tlvu_table_header_t) == 16);
static_assert(offsetof(span_snmp_session_entry_t, oper_reason) == 16 && sizeof(span_snmp_session_entry_t) == 276);
static_assert(sizeof(span_snmp_source_if_entry_t) == 12 && sizeof(span_snmp_vsan_entry_t) == 516);
static_assert(offsetof(span_snmp_vsan_modify_req_t, vsans) == 12 && sizeof(span_snmp_vsan_modify_req_t) == 524);
static_assert(offsetof(span_pm_src_if_t, if_pch) == 8 && offsetof(span_pm_src_if_t, vsans) == 16);
static_assert(sizeof(span_pm_src_if_t) == 528);
static_assert(sizeof(void*) != 4 || (sizeof(span_pm_src_pch_t) == 16 && sizeof(span_pm_src_vsan_t) == 16));
static_assert(sizeof(void*) != 4 || (offsetof(span_pm_port_info_t, body) == 4 && sizeof(span_pm_port_info_t) == 524));

}  // namespace libspan

#endif
