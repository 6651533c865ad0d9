// All sessions at a glance, by one exchange with the SPAN manager.
#ifndef HOST_AGENT_BRIEF_H
#define HOST_AGENT_BRIEF_H

#include <cstdint>
#include <optional>
#include <vector>

namespace agent {

struct BriefSession {
  uint32_t session;      // 1 to 16
  uint32_t destination;  // 0 = none
  bool active;
  bool operator==(const BriefSession&) const = default;
};

// The sessions that are configured, ascending; nothing when the manager could not be asked.
std::optional<std::vector<BriefSession>> read_brief();

}  // namespace agent

#endif
