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

}  // namespace libspan

#endif
