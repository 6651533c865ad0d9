#include "host/shell/running_config.h"

#include <arpa/inet.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>

#include "host/platform/switch.h"
#include "host/shell/redirect.h"
#include "host/shell/saved_file.h"
#include "host/shell/show.h"

namespace shell {
namespace {

using chassis::PortMode;

struct Free {
  void operator()(void* block) const { std::free(block); }
};
template <class T>
using Block = std::unique_ptr<T, Free>;

// Ports that feed a tunnel start in the mode for it.
PortMode first_mode(const chassis::Interface& port) {
  return port.rspan_tunnel != 0 ? PortMode::kTunnelSource : PortMode::kNormal;
}

void print_port_modes(const chassis::Chassis& chassis, host::PortRoles roles) {
  for (const chassis::Interface& interface : chassis.interfaces()) {
    const PortMode mode = roles[interface.if_index].mode;
    if (mode == first_mode(interface)) continue;
    std::printf("interface %s\nport mode %s\n", interface.name.c_str(), port_mode_text(mode));
  }
}

bool print_threshold(const span_cli_parms_t& parms) {
  const span_global_info_payload_t request = {.threshold = 0, .operation = SPAN_GLOBAL_READ, .result = 0};
  span_global_info_payload_t* read = nullptr;
  const uint32_t status = span_global_info(parms.queue, parms.requester1, parms.requester2, &request, &read);
  const Block<span_global_info_payload_t> reply(read);
  if (status != SPAN_OK) return false;
  std::printf("span max-queued-packets %u\n", reply->threshold);
  return true;
}

// ---- What cannot be said --------------------------------------------------------------------------------------------

constexpr struct {
  uint8_t code;
  const char* name;
} kDirections[] = {{SPAN_RX, "rx"}, {SPAN_TX, "tx"}};

uint32_t number_at(const void* field) {
  uint32_t number;
  std::memcpy(&number, field, sizeof number);
  return ntohl(number);
}

// The list of a session's source interfaces in one direction, that of tx standing behind that of rx.
const uint8_t* source_list(const span_session_info_t& session, uint8_t direction) {
  const uint8_t* const rx = session.rx_if_count.b;
  return direction == SPAN_RX ? rx : rx + sizeof(uint32_t) * (1 + number_at(rx));
}

// Whether a port channel that carries service traffic is filtered. Its lines would name other VSANs than its own.
bool is_unsaid(const span_cli_parms_t& parms, uint8_t session_index, uint32_t if_index, uint8_t direction) {
  if (span_check_pch_subtype(if_index, IF_INDEX_PORT_CHANNEL_SERVICE) == 0) return false;
  span_src_if_info_req_t request{};
  std::memcpy(&request.if_index, &if_index, sizeof if_index);
  request.session_index = session_index;
  request.direction = direction;
  void* answer = nullptr;
  const uint32_t status = span_get_src_if_info(parms.queue, parms.requester1, parms.requester2, &request, &answer);
  const Block<span_src_if_info_res_t> source(static_cast<span_src_if_info_res_t*>(answer));
  if (status != SPAN_OK || source->valid != 1) return false;
  return (direction == SPAN_RX ? source->rx_filter : source->tx_filter) != 0;
}

std::string sentence(const chassis::Chassis& chassis, unsigned session, uint32_t if_index, const char* direction) {
  const chassis::Interface& channel = *chassis.find(if_index);
  return "session " + std::to_string(session) + ": the VSAN filter of " +
         chassis.find(channel.service_interface)->name + " (" + channel.name + ") " + direction +
         " cannot be said; its lines are wrong";
}

void add_unsaid(const chassis::Chassis& chassis, const span_cli_parms_t& parms, const span_session_info_t& session,
                std::vector<std::string>& lines) {
  for (const auto& [direction, name] : kDirections) {
    const uint8_t* const list = source_list(session, direction);
    uint32_t if_index = 0;
    for (span_if_list_get_next(list, 0, &if_index); if_index != 0; span_if_list_get_next(list, if_index, &if_index)) {
      if (!is_unsaid(parms, session.session_id, if_index, direction)) continue;
      lines.push_back(sentence(chassis, session.session_id + 1u, if_index, name));
    }
  }
}

}  // namespace

// Why the manager did not tell all of its state.
std::string why_untold() {
  const std::string reason = host::failure();
  return reason.empty() ? "the SPAN manager refused to tell it" : reason;
}

bool print_running_config(const chassis::Chassis& chassis, const span_cli_parms_t& parms) {
  host::reset_outcome();
  const std::optional<host::PortRoles> roles = host::port_roles();
  if (!roles) return false;
  std::printf("! Running configuration of %s\nconfigure\n", chassis.name().c_str());
  print_port_modes(chassis, *roles);
  if (!print_threshold(parms) || span_cli_generate_session_config(&parms) != 0) return false;
  std::puts("end");
  return host::outcome() == host::Outcome::kDone;
}

std::vector<std::string> unsaid(const chassis::Chassis& chassis, const span_cli_parms_t& parms) {
  std::vector<std::string> lines;
  for (uint32_t number = 1; number <= SPAN_SESSIONS; ++number) {
    uint8_t valid = 0;
    uint8_t* record = nullptr;
    void* answer = nullptr;
    const uint32_t status =
        span_get_session_info(parms.queue, parms.requester1, parms.requester2, &number, 0, &valid, &record, &answer);
    const Block<void> response(answer);
    if (status == SPAN_OK) add_unsaid(chassis, parms, *reinterpret_cast<span_session_info_t*>(record), lines);
  }
  return lines;
}

std::string save_running_config(const chassis::Chassis& chassis, const span_cli_parms_t& parms,
                                const std::string& path) {
  SavedFile file(path);
  if (!file.error().empty()) return file.error();
  Redirect redirect(file.file());
  const bool told = print_running_config(chassis, parms);
  if (const int error = redirect.finish(); error != 0) return path + ": " + std::strerror(error);
  if (!told) return path + ": not written; " + why_untold();
  return file.keep() ? "" : file.error();
}

}  // namespace shell
