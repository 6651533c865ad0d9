#include "host/manager/sessions.h"

#include <algorithm>
#include <utility>

#include "host/manager/reasons.h"

namespace manager {
namespace {

using chassis::Interface;
using chassis::PortMode;

// Tunnels carry mirrored frames away as they are; a port has to be in the mode for it.
bool destination_works(const Switch& on, uint32_t if_index) {
  const Interface* interface = on.chassis.find(if_index);
  if (interface == nullptr || !interface->up) return false;
  return interface->type == chassis::IfType::kRspanTunnel ||
         port_mode(on.config, if_index) == PortMode::kSpanDestination;
}

// Whether frames that pass one filter can pass the other.
bool overlap(const Vsans& a, const Vsans& b) { return a.none() || b.none() || (a & b).any(); }

bool has_active_source(const Switch& on, const Session& session) {
  const Vsans& filter = session.filter;
  if (session.source_vsans.any() && overlap(session.source_vsans, filter)) return true;
  return std::ranges::any_of(session.sources, [&](const Sources& sources) {
    return std::ranges::any_of(sources, [&](const auto& source) {
      const Interface* interface = on.chassis.find(source.first);
      return interface != nullptr && interface->up && overlap(source.second, filter);
    });
  });
}

uint32_t destination_refusal(const Switch& on, const Session& session, uint32_t if_index) {
  const Interface* interface = on.chassis.find(if_index);
  if (interface == nullptr) return kUnknownInterface;
  if (interface->type != chassis::IfType::kFc && interface->type != chassis::IfType::kRspanTunnel) {
    return kCannotBeDestination;
  }
  if (interface->port_channel != 0) return kMemberOfPortChannel;
  if (is_source(on.config, if_index)) return kIsSource;
  if (session.destination != if_index && is_destination(on.config, if_index)) return kDestinationInUse;
  return 0;
}

uint32_t port_mode_refusal(const Switch& on, uint32_t if_index, PortMode mode) {
  const Interface* interface = on.chassis.find(if_index);
  if (interface == nullptr) return kUnknownInterface;
  if (interface->type != chassis::IfType::kFc) return kHasNoPortMode;
  if (mode == PortMode::kNormal) return 0;
  if (interface->port_channel != 0) return kMemberOfPortChannel;
  return is_source(on.config, if_index) ? kIsSource : 0;
}

}  // namespace

const Session* find_session(const Config& config, uint8_t index) {
  return index < config.sessions.size() && config.sessions[index].configured ? &config.sessions[index] : nullptr;
}

Session* find_session(Config& config, uint8_t index) {
  return const_cast<Session*>(find_session(std::as_const(config), index));
}

uint32_t create_session(Config& config, uint8_t index) {
  if (index >= config.sessions.size()) return kNoSuchSession;
  config.sessions[index].configured = true;
  return 0;
}

uint32_t delete_session(Config& config, uint8_t index) {
  if (index >= config.sessions.size()) return kNoSuchSession;
  config.sessions[index] = Session{};
  return 0;
}

uint32_t set_destination(Switch& on, Session& session, uint32_t if_index) {
  const uint32_t reason = destination_refusal(on, session, if_index);
  if (reason == 0) session.destination = if_index;
  return reason;
}

uint32_t remove_destination(Session& session, uint32_t if_index) {
  if (session.destination == 0 || session.destination != if_index) return kNotDestination;
  session.destination = 0;
  return 0;
}

uint32_t set_port_mode(Switch& on, uint32_t if_index, PortMode mode) {
  const uint32_t reason = port_mode_refusal(on, if_index, mode);
  if (reason != 0) return reason;
  if (mode == PortMode::kNormal) {
    on.config.port_modes.erase(if_index);
  } else {
    on.config.port_modes[if_index] = mode;
  }
  return 0;
}

PortMode port_mode(const Config& config, uint32_t if_index) {
  const auto found = config.port_modes.find(if_index);
  return found == config.port_modes.end() ? PortMode::kNormal : found->second;
}

bool is_destination(const Config& config, uint32_t if_index) {
  return if_index != 0 &&
         std::ranges::any_of(config.sessions, [=](const Session& session) { return session.destination == if_index; });
}

bool is_source(const Config& config, uint32_t if_index) {
  return std::ranges::any_of(config.sessions, [=](const Session& session) {
    return session.sources[0].contains(if_index) || session.sources[1].contains(if_index);
  });
}

OperState oper_state(const Switch& on, const Session& session) {
  if (session.suspended) return OperState::kSuspended;
  if (session.destination == 0) return OperState::kNoDestination;
  if (!destination_works(on, session.destination)) return OperState::kDestinationDown;
  return has_active_source(on, session) ? OperState::kActive : OperState::kNoActiveSources;
}

}  // namespace manager
