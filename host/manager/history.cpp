#include "host/manager/history.h"

#include "host/manager/reasons.h"
#include "platform/vex.h"

namespace manager {
namespace {

void note_role(std::map<uint32_t, Role>& roles, const Session& session, size_t index) {
  if (session.destination != 0) roles[session.destination].destination_of.set(index);
  for (const auto& [if_index, filter] : session.sources[SPAN_RX - 1]) roles[if_index].rx_of.set(index);
  for (const auto& [if_index, filter] : session.sources[SPAN_TX - 1]) roles[if_index].tx_of.set(index);
}

// Of every interface that has one.
std::map<uint32_t, Role> roles_of(const Config& config) {
  std::map<uint32_t, Role> roles;
  for (const auto& [if_index, mode] : config.port_modes) roles[if_index].mode = mode;
  for (size_t index = 0; index < config.sessions.size(); ++index) note_role(roles, config.sessions[index], index);
  return roles;
}

}  // namespace

Role role_of(const Config& config, uint32_t if_index) {
  Role role;
  role.mode = port_mode(config, if_index);
  for (size_t index = 0; index < config.sessions.size(); ++index) {
    const Session& session = config.sessions[index];
    role.destination_of[index] = session.destination == if_index;
    role.rx_of[index] = session.sources[SPAN_RX - 1].contains(if_index);
    role.tx_of[index] = session.sources[SPAN_TX - 1].contains(if_index);
  }
  return role;
}

void History::note(Request request, const Switch& on) {
  request.number = ++requests_;
  const uint32_t reason = request.status != 0 ? request.status : request.result;
  Tally& tally = by_opcode_[request.status == kUnknownOpcode ? 0 : request.opcode];
  ++(request.status != 0 ? tally.failed : reason != 0 ? tally.refused : tally.done);
  if (reason != 0) ++by_reason_[reason];
  push(messages_, request, kRequestsKept);
  if (reason != 0) push(errors_, request, kRequestsKept);
  if (request.kind == VEX_KIND_CHANGE) note_states(on);
}

void History::note_states(const Switch& on) {
  for (size_t index = 0; index < sessions_.size(); ++index) {
    const Session& session = on.config.sessions[index];
    sessions_[index].note(requests_, session.configured ? SessionState(oper_state(on, session)) : std::nullopt);
  }
  note_roles(on.config);
}

void History::note_roles(const Config& config) {
  const std::map<uint32_t, Role> roles = roles_of(config);
  for (auto& [if_index, log] : interfaces_) {
    if (!roles.contains(if_index)) log.note(requests_, {});
  }
  for (const auto& [if_index, role] : roles) interfaces_[if_index].note(requests_, role);
}

size_t History::changes() const {
  size_t count = 0;
  for (const auto& log : sessions_) count += log.changes().size();
  for (const auto& [if_index, log] : interfaces_) count += log.changes().size();
  return count;
}

}  // namespace manager
