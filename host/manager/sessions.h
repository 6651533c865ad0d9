// Rules for sessions, destinations and port modes. Functions that change something return 0, or the reason why they
// changed nothing.
#ifndef HOST_MANAGER_SESSIONS_H
#define HOST_MANAGER_SESSIONS_H

#include <cstdint>

#include "host/manager/config.h"

namespace manager {

enum class OperState : uint8_t {
  kActive = SPAN_OPER_ACTIVE,
  kSuspended = 1,
  kDestinationDown = SPAN_OPER_DEST_DOWN,
  kNoActiveSources = 3,
  kNoDestination = SPAN_OPER_NO_DEST,
};

// The configured session of that index, or null.
Session* find_session(Config& config, uint8_t index);
const Session* find_session(const Config& config, uint8_t index);

// Both are done as well when there is nothing left to do.
uint32_t create_session(Config& config, uint8_t index);
uint32_t delete_session(Config& config, uint8_t index);

// Replaces the destination that the session may have.
uint32_t set_destination(Switch& on, Session& session, uint32_t if_index);
uint32_t remove_destination(Session& session, uint32_t if_index);
uint32_t set_port_mode(Switch& on, uint32_t if_index, chassis::PortMode mode);

chassis::PortMode port_mode(const Config& config, uint32_t if_index);
bool is_destination(const Config& config, uint32_t if_index);
bool is_source(const Config& config, uint32_t if_index);

OperState oper_state(const Switch& on, const Session& session);

}  // namespace manager

#endif
