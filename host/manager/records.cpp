#include "host/manager/records.h"

#include "feature/span/lib/internal/vsan_set.h"
#include "feature/span/lib/internal/wire.h"
#include "host/manager/sessions.h"

namespace manager {
namespace {

using chassis::Interface;
using libspan::put;
using libspan::view;

struct VsanBytes {
  uint8_t bits[SPAN_VSAN_BYTES];
};

void put_vsans(uint8_t (&bits)[SPAN_VSAN_BYTES], const Vsans& vsans) {
  for (uint32_t vsan = 0; vsan < SPAN_VSANS; ++vsan) {
    if (vsans.test(vsan)) libspan::add_vsan(bits, vsan);
  }
}

uint32_t length(const auto& list) { return static_cast<uint32_t>(list.size()); }

void put_head(span_session_info_t& record, const Switch& on, const Session& session) {
  record.configured = 1;
  record.oper_state = static_cast<uint8_t>(oper_state(on, session));
  put(record.dest_if_index, session.destination);
  put(record.dest_configured, session.destination != 0);
  put(record.admin_suspended, session.suspended);
  put(record.filter_vsans_len, SPAN_VSAN_BYTES);
  put_vsans(record.filter_vsans, session.filter);
  put(record.rx_vsans_len, SPAN_VSAN_BYTES);
  put_vsans(record.rx_vsans, session.source_vsans);
  put(record.rx_if_count, length(session.sources[SPAN_RX - 1]));
}

void append_list(Bytes& out, const Sources& sources) {
  for (const auto& [if_index, filter] : sources) put(append<span_net_if_t>(out), if_index);
}

// The filter of a port channel that carries SVC traffic lies behind the names of the traffic.
void put_service_detail(span_src_if_info_res_t& record, const Interface& svc, uint32_t if_index, const Vsans& filter) {
  put(record.member_if_index, svc.if_index);
  auto& detail = view<span_service_source_t>(static_cast<void*>(record.detail));
  detail.initiator = svc.service_channels[0] == if_index;
  detail.target = svc.service_channels[1] == if_index;
  detail.mgmt = svc.service_channels[2] == if_index;
  put_vsans(detail.filter_vsans, filter);
}

void put_source(span_src_if_info_res_t& record, const Switch& on, uint8_t direction, uint32_t if_index,
                const Vsans& filter) {
  const Interface* interface = on.chassis.find(if_index);
  const Interface* svc = interface == nullptr ? nullptr : on.chassis.find(interface->service_interface);
  const bool rx = direction == SPAN_RX;
  record.valid = 1;
  (rx ? record.rx_filter : record.tx_filter) = filter.any();
  (rx ? record.rx_traffic_type : record.tx_traffic_type) = svc != nullptr;
  if (svc != nullptr) {
    put_service_detail(record, *svc, if_index, filter);
  } else {
    put_vsans(view<VsanBytes>(static_cast<void*>(record.detail)).bits, filter);
  }
}

}  // namespace

Vsans read_vsans(const uint8_t (&bits)[SPAN_VSAN_BYTES]) {
  const libspan::VsanSet set(bits);
  Vsans vsans;
  for (uint32_t vsan = set.next(0); vsan != libspan::kNoVsan; vsan = set.next(vsan + 1)) vsans.set(vsan);
  return vsans;
}

void append_session(Bytes& out, const Switch& on, uint8_t index) {
  auto& record = append<span_session_info_t>(out);
  record.session_id = index;
  const Session* session = find_session(on.config, index);
  if (session != nullptr) put_head(record, on, *session);
  if (session != nullptr) append_list(out, session->sources[SPAN_RX - 1]);
  put(append<span_be32_t>(out), session == nullptr ? 0 : length(session->sources[SPAN_TX - 1]));
  if (session != nullptr) append_list(out, session->sources[SPAN_TX - 1]);
}

void append_brief(Bytes& out, const Switch& on, uint8_t index) {
  auto& record = append<BriefRecord>(out);
  record.session_id = index;
  const Session* session = find_session(on.config, index);
  if (session == nullptr) return;
  record.configured = 1;
  record.oper_state = static_cast<uint8_t>(oper_state(on, *session));
  put(record.dest_if_index, session->destination);
  put(record.dest_configured, session->destination != 0);
  put(record.admin_suspended, session->suspended);
}

void append_source(Bytes& out, const Switch& on, uint8_t index, uint8_t direction, uint32_t if_index) {
  auto& record = append<span_src_if_info_res_t>(out);
  put(record.if_index, if_index);
  const Session* session = find_session(on.config, index);
  if (session == nullptr || (direction != SPAN_RX && direction != SPAN_TX)) return;
  const Sources& sources = session->sources[direction - 1u];
  const auto source = sources.find(if_index);
  if (source != sources.end()) put_source(record, on, direction, if_index, source->second);
}

void append_source_result(Bytes& out, libspan::SourceType type, const VsanOutcome& outcome,
                          std::span<const Element> elements) {
  auto& record = append<span_set_src_config_res_t>(out);
  record.source_type = static_cast<uint8_t>(type);
  put(record.result, outcome.result);
  put(record.if_count, length(elements));
  put_vsans(record.refused_vsans, outcome.refused);
  for (const Element& element : elements) {
    auto& result = append<span_if_result_t>(out);
    put(result.if_index, element.if_index);
    put(result.result, element.reason);
  }
}

void append_port_results(Bytes& out, uint32_t status, std::span<const Element> elements) {
  auto& response = append<libspan::PortConfigResponse>(out);
  put(response.status, status);
  put(response.count, length(elements));
  for (const Element& element : elements) {
    auto& result = append<libspan::PortConfigResult>(out);
    put(result.if_index, element.if_index);
    put(result.result, element.reason);
  }
}

}  // namespace manager
