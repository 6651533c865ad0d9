// What the switch is asked to do for a SetRequest, one exchange or a few each, and how each of it is taken back.
#ifndef HOST_AGENT_STEPS_H
#define HOST_AGENT_STEPS_H

#include <cstdint>
#include <functional>
#include <optional>

#include "host/agent/set_errors.h"
#include "host/agent/tables.h"

namespace agent {

// The order of steps. What frees something is early where it can be taken back whole, and late where it cannot.
enum class Rank { kCreateSession, kFree, kSet, kAddSource, kRemoveSource, kDestroySession };

// apply() and undo() return a status of the library or the manager. undo() brings back what was before, and may be
// called whether apply() did all, some, or nothing of its work.
struct Step {
  Rank rank;
  At at;
  std::function<uint32_t()> apply;
  std::function<uint32_t()> undo;
  size_t variable = 0;  // of the request
};

using Source = span_snmp_source_if_entry_t;

Step create_session(uint32_t session);
Step set_destination(uint32_t session, uint32_t before, uint32_t if_index);
Step set_admin_status(uint32_t session, uint32_t before, uint32_t admin_status);
Step add_source(const Source& source);
Step change_vsans(oid table, uint32_t session, const VsanBits& before, const VsanBits& vsans);
Step set_threshold(uint32_t before, uint32_t threshold);

// These two look first at what they will remove; nothing when the manager cannot tell.
std::optional<Step> remove_source(const Source& source);
std::optional<Step> destroy_session(uint32_t session);

}  // namespace agent

#endif
