// One request at a time: its length and counts are checked against the bytes that came, then the rules decide, then
// the answer is built. A request that is not what its opcode says gets a status and no answer.
#include "host/manager/manager.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "feature/span/lib/internal/bytes.h"
#include "feature/span/lib/internal/wire.h"
#include "host/manager/config.h"
#include "host/manager/dump.h"
#include "host/manager/elements.h"
#include "host/manager/history.h"
#include "host/manager/reasons.h"
#include "host/manager/records.h"
#include "host/manager/sessions.h"
#include "host/manager/sources.h"
#include "host/tlv/tlv.h"
#include "platform/vex.h"

namespace manager {
namespace {

using chassis::PortMode;
using libspan::get;
using libspan::Opcode;
using libspan::put;
using Payload = std::span<const uint8_t>;

Reply no_answer(uint32_t status) { return {status, {}, status}; }

Reply answer(Bytes response, uint32_t result = 0) { return {0, std::move(response), result}; }

// The layout that a payload starts with, or null when it is too short for it.
template <libspan::Layout T>
const T* head(Payload payload) {
  return payload.size() < sizeof(T) ? nullptr : &libspan::view<T>(payload.data());
}

// The `count` elements behind the first `offset` bytes, or nothing when they are not all that is left.
template <libspan::Layout T>
std::optional<std::span<const T>> tail(Payload payload, size_t offset, uint64_t count) {
  if (payload.size() - offset != count * sizeof(T)) return std::nullopt;
  if (count == 0) return std::span<const T>{};
  return std::span(&libspan::view<T>(payload.data() + offset), count);
}

template <libspan::Layout T>
const T* whole(Payload payload) {
  return payload.size() == sizeof(T) ? head<T>(payload) : nullptr;
}

// ---- Queries --------------------------------------------------------------------------------------------------------

Reply session_info(Switch& on, Payload payload) {
  const auto* request = whole<libspan::SessionInfoRequest>(payload);
  if (request == nullptr) return no_answer(kMalformed);
  Bytes response;
  put(append<span_be32_t>(response), 0);  // manager_status: this manager is no standby
  append_session(response, on, request->session_index);
  return answer(std::move(response));
}

Reply session_info_brief(Switch& on, Payload payload) {
  const auto* request = head<libspan::BriefSessionInfoRequest>(payload);
  if (request == nullptr) return no_answer(kMalformed);
  const auto indexes = tail<uint8_t>(payload, sizeof *request, request->count);
  if (!indexes) return no_answer(kMalformed);
  const bool all = request->all_flag == 1;
  const uint8_t count = all ? uint8_t{SPAN_SESSIONS} : request->count;
  Bytes response;
  append<libspan::BriefSessionInfoResponse>(response).count = count;
  for (uint8_t i = 0; i < count; ++i) append_brief(response, on, all ? i : (*indexes)[i]);
  return answer(std::move(response));
}

Reply source_info(Switch& on, Payload payload) {
  const auto* request = whole<span_src_if_info_req_t>(payload);
  if (request == nullptr) return no_answer(kMalformed);
  Bytes response;
  append_source(response, on, request->session_index, request->direction, get(request->if_index));
  return answer(std::move(response));
}

Reply rspan_tunnel(Switch& on, Payload payload) {
  const auto* request = whole<libspan::RspanTunnelRequest>(payload);
  if (request == nullptr) return no_answer(kMalformed);
  const uint32_t port = get(request->port);
  const chassis::Interface* interface = on.chassis.find(port);
  const bool open = interface != nullptr && port_mode(on.config, port) == PortMode::kTunnelSource;
  Bytes response;
  put(append<libspan::RspanTunnelResponse>(response).tunnel, open ? interface->rspan_tunnel : 0);
  return answer(std::move(response));
}

// ---- Changes --------------------------------------------------------------------------------------------------------

Reply status_answer(uint32_t result) {
  Bytes response;
  put(append<libspan::StatusResponse>(response).result, result);
  return answer(std::move(response), result);
}

uint32_t change_destination(Switch& on, const libspan::SetDestRequest& request) {
  Session* session = find_session(on.config, request.session_index);
  if (session == nullptr) return kSessionNotConfigured;
  const uint32_t if_index = get(request.dest_if_index);
  switch (libspan::DestOperation{request.operation}) {
    case libspan::DestOperation::kAdd:
      return set_destination(on, *session, if_index);
    case libspan::DestOperation::kRemove:
      return remove_destination(*session, if_index);
  }
  return kUnknownOperation;
}

Reply set_dest_info(Switch& on, Payload payload) {
  const auto* request = whole<libspan::SetDestRequest>(payload);
  return request == nullptr ? no_answer(kMalformed) : status_answer(change_destination(on, *request));
}

uint32_t change_state(Switch& on, const libspan::SetSessionStateRequest& request) {
  Session* session = find_session(on.config, request.session_index);
  if (session == nullptr) return kSessionNotConfigured;
  const libspan::SessionState state{request.state};
  const bool suspend = state == libspan::SessionState::kSuspend;
  if (!suspend && state != libspan::SessionState::kResume) return kUnknownOperation;
  session->suspended = suspend;
  return 0;
}

Reply set_session_state(Switch& on, Payload payload) {
  const auto* request = whole<libspan::SetSessionStateRequest>(payload);
  return request == nullptr ? no_answer(kMalformed) : status_answer(change_state(on, *request));
}

uint32_t create_or_delete(Config& config, libspan::SessionAction action, std::span<const uint8_t> indexes) {
  const bool create = action == libspan::SessionAction::kCreate;
  if (!create && action != libspan::SessionAction::kDelete) return kUnknownOperation;
  uint32_t result = 0;
  for (const uint8_t index : indexes) {
    const uint32_t reason = create ? create_session(config, index) : delete_session(config, index);
    if (result == 0) result = reason;
  }
  return result;
}

Reply delete_session_request(Switch& on, Payload payload) {
  const auto* request = head<libspan::DeleteSessionRequest>(payload);
  if (request == nullptr) return no_answer(kMalformed);
  const auto indexes = tail<uint8_t>(payload, sizeof *request, request->count);
  if (!indexes) return no_answer(kMalformed);
  const uint32_t result = create_or_delete(on.config, libspan::SessionAction{request->action}, *indexes);
  Bytes response;
  put(append<libspan::DeleteSessionResponse>(response).result, result);
  return answer(std::move(response), result);
}

// ---- Changes of many interfaces or VSANs ----------------------------------------------------------------------------

using Ranges = std::span<const libspan::WireIfRange>;

// Why no interface of the request can be told of.
uint32_t ranges_refusal(Ranges ranges) {
  if (ranges.empty()) return kNoInterfaces;
  return ranges.size() > kMaxRanges ? kTooManyRanges : 0;
}

std::vector<Element> change_interfaces(Switch& on, Session* session, const SourceChange& change, Ranges ranges) {
  std::vector<Element> elements = expand(on.chassis, ranges);
  for (Element& element : elements) {
    if (element.reason != 0) continue;
    element.reason = session == nullptr ? kSessionNotConfigured : change_source(on, *session, change, element.if_index);
  }
  return elements;
}

// The VSANs of a filter that keep it from its interfaces.
Vsans unusable_filter(const Switch& on, const SourceChange& change, std::span<const Element> elements) {
  const bool refused =
      std::ranges::any_of(elements, [](const Element& element) { return element.reason == kNoSuchVsan; });
  return refused ? unusable_vsans(on, change) : Vsans{};
}

Reply source_answer(libspan::SourceType type, const VsanOutcome& outcome, std::span<const Element> elements) {
  Bytes response;
  append_source_result(response, type, outcome, elements);
  return answer(std::move(response), outcome.result != 0 ? outcome.result : first_reason(elements));
}

// A reason is told once: by the interfaces where there are some, else by the overall result.
Reply change_sources(Switch& on, uint8_t index, const SourceChange& change, Ranges ranges) {
  if (const uint32_t reason = refusal(change); reason != 0) return source_answer(change.type, {reason, {}}, {});
  Session* session = find_session(on.config, index);
  if (change.names_interfaces()) {
    const uint32_t reason = ranges_refusal(ranges);
    if (reason != 0) return source_answer(change.type, {reason, {}}, {});
    const auto elements = change_interfaces(on, session, change, ranges);
    return source_answer(change.type, {0, unusable_filter(on, change, elements)}, elements);
  }
  if (session == nullptr) return source_answer(change.type, {kSessionNotConfigured, {}}, {});
  return source_answer(change.type, change_vsans(on, *session, change), {});
}

Reply set_src_config(Switch& on, Payload payload) {
  const auto* request = head<libspan::SetSrcConfigRequest>(payload);
  if (request == nullptr || get(request->vsans_len) != SPAN_VSAN_BYTES) return no_answer(kMalformed);
  const auto ranges = tail<libspan::WireIfRange>(payload, sizeof *request, get(request->range_count));
  if (!ranges) return no_answer(kMalformed);
  const SourceChange change{.type = libspan::SourceType{request->source_type},
                            .operation = libspan::SrcOperation{request->operation},
                            .direction = request->direction,
                            .vsans = read_vsans(request->vsans)};
  return change_sources(on, request->session_index, change, *ranges);
}

uint32_t port_config_refusal(const span_cfg_tlv_t& entry, Ranges ranges) {
  if (entry.type != libspan::kCfgTlvPortMode) return kUnknownEntry;
  if (get(entry.value) > static_cast<uint32_t>(PortMode::kTunnelSource)) return kUnknownPortMode;
  return ranges_refusal(ranges);
}

Reply configure_ports(Switch& on, const span_cfg_tlv_t& entry, Ranges ranges) {
  const uint32_t status = port_config_refusal(entry, ranges);
  std::vector<Element> elements;
  if (status == 0) elements = expand(on.chassis, ranges);
  for (Element& element : elements) {
    if (element.reason == 0) element.reason = set_port_mode(on, element.if_index, PortMode{get(entry.value)});
  }
  Bytes response;
  append_port_results(response, status, elements);
  return answer(std::move(response), status != 0 ? status : first_reason(elements));
}

Reply port_config(Switch& on, Payload payload) {
  const auto* request = head<libspan::PortConfigRequest>(payload);
  if (request == nullptr || payload.size() < sizeof *request + sizeof(span_cfg_tlv_t)) return no_answer(kMalformed);
  const Payload body = payload.first(payload.size() - sizeof(span_cfg_tlv_t));
  const auto ranges = tail<libspan::WireIfRange>(body, sizeof *request, get(request->range_count));
  const auto& entry = libspan::view<span_cfg_tlv_t>(payload.data() + body.size());
  if (!ranges || entry.length != sizeof entry.value) return no_answer(kMalformed);
  return configure_ports(on, entry, *ranges);
}

// ---- Global information ---------------------------------------------------------------------------------------------

namespace global {

constexpr uint16_t kThreshold = 1;
constexpr uint16_t kOperation = 2;
constexpr uint16_t kResult = 3;
constexpr uint32_t kWrite = 0;
constexpr uint32_t kRead = 1;
constexpr uint32_t kReset = 0xFFFFFFFF;  // as a threshold: the default

std::optional<uint32_t> field(std::span<const tlv::Field> fields, uint16_t tag) {
  const auto found = std::ranges::find(fields, tag, &tlv::Field::tag);
  return found == fields.end() ? std::nullopt : std::optional(found->value);
}

uint32_t set_threshold(Config& config, uint32_t value) {
  const uint32_t threshold = value == kReset ? kDefaultThreshold : value;
  if (threshold < kMinThreshold || threshold > kMaxThreshold) return kBadThreshold;
  config.threshold = threshold;
  return 0;
}

}  // namespace global

Reply global_info(Switch& on, uint32_t kind, Payload payload) {
  const auto fields = tlv::decode(payload);
  if (!fields) return no_answer(kMalformed);
  const auto operation = global::field(*fields, global::kOperation);
  const auto threshold = global::field(*fields, global::kThreshold);
  if (!operation || !threshold) return no_answer(kMalformed);
  if (*operation != global::kRead && *operation != global::kWrite) return no_answer(kUnknownOperation);
  const bool write = *operation == global::kWrite;
  if (kind != (write ? VEX_KIND_CHANGE : VEX_KIND_QUERY)) return no_answer(kWrongKind);
  const uint32_t result = write ? global::set_threshold(on.config, *threshold) : 0;
  return answer(
      tlv::encode(std::to_array<tlv::Field>(
          {{global::kThreshold, on.config.threshold}, {global::kOperation, *operation}, {global::kResult, result}})),
      result);
}

// ---- Dispatch -------------------------------------------------------------------------------------------------------

struct Route {
  Opcode opcode;
  uint32_t kind;
  Reply (*answer)(Switch& on, Payload payload);
};

constexpr Route kRoutes[] = {
    {Opcode::kSetDestInfo, VEX_KIND_CHANGE, set_dest_info},
    {Opcode::kSessionInfo, VEX_KIND_QUERY, session_info},
    {Opcode::kSetSrcConfig, VEX_KIND_CHANGE, set_src_config},
    {Opcode::kDeleteSession, VEX_KIND_CHANGE, delete_session_request},
    {Opcode::kSessionInfoBrief, VEX_KIND_QUERY, session_info_brief},
    {Opcode::kSetSessionState, VEX_KIND_CHANGE, set_session_state},
    {Opcode::kSrcIfInfo, VEX_KIND_QUERY, source_info},
    {Opcode::kPortConfig, VEX_KIND_CHANGE, port_config},
    {Opcode::kRspanTunnel, VEX_KIND_QUERY, rspan_tunnel},
};

Reply route(Switch& on, uint32_t opcode, uint32_t kind, Payload payload) {
  if (Opcode{opcode} == Opcode::kGlobalInfo) return global_info(on, kind, payload);
  const auto* found = std::ranges::find(kRoutes, Opcode{opcode}, &Route::opcode);
  if (found == std::end(kRoutes)) return no_answer(kUnknownOpcode);
  return found->kind == kind ? found->answer(on, payload) : no_answer(kWrongKind);
}

Reply kept_change(Switch& on, uint32_t opcode, Payload payload, const Keep& keep) {
  Config before = on.config;
  try {
    Reply reply = route(on, opcode, VEX_KIND_CHANGE, payload);
    if (keep(before, on.config, reply)) return reply;
  } catch (...) {
    std::swap(on.config, before);
    throw;
  }
  std::swap(on.config, before);
  return no_answer(kNotSaved);
}

// Ports that feed a tunnel are in the mode for it from the start.
Config first_config(const chassis::Chassis& chassis) {
  Config config;
  for (const chassis::Interface& interface : chassis.interfaces()) {
    if (interface.rspan_tunnel != 0) config.port_modes[interface.if_index] = PortMode::kTunnelSource;
  }
  return config;
}

}  // namespace

struct Manager::State {
  State(const chassis::Chassis& chassis, Config config) : on{chassis, std::move(config)}, history(on) {}

  Switch on;
  History history;
};

Manager::Manager(const chassis::Chassis& chassis) : Manager(chassis, first_config(chassis)) {}

Manager::Manager(const chassis::Chassis& chassis, Config config)
    : state_(std::make_unique<State>(chassis, std::move(config))) {}

Manager::~Manager() = default;

Reply Manager::handle(uint32_t opcode, uint32_t kind, std::span<const uint8_t> payload, const Keep& keep) {
  const bool to_keep = keep && kind == VEX_KIND_CHANGE;
  Reply reply = to_keep ? kept_change(state_->on, opcode, payload, keep) : route(state_->on, opcode, kind, payload);
  state_->history.note({0, opcode, kind, payload.size(), reply.status, reply.result}, state_->on);
  return reply;
}

Dump Manager::dump(std::string_view function, std::span<const uint8_t> record) const {
  return run_dump(state_->on, state_->history, function, record);
}

const Config& Manager::config() const { return state_->on.config; }

const Switch& Manager::state() const { return state_->on; }

PortMode Manager::port_mode(uint32_t if_index) const { return manager::port_mode(state_->on.config, if_index); }

bool Manager::is_destination(uint32_t if_index) const { return manager::is_destination(state_->on.config, if_index); }

Reply standby_reply(uint32_t opcode) {
  if (Opcode{opcode} != Opcode::kSessionInfo) return no_answer(kStandby);
  Bytes response(sizeof(span_session_info_res_payload_t) + sizeof(span_be32_t));
  put(libspan::view<span_be32_t>(static_cast<void*>(response.data())), kStandby);
  return {0, std::move(response), kStandby};
}

}  // namespace manager
