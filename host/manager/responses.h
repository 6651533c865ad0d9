// What comes back from a manager, before somebody reads it who trusts its counts.
#ifndef HOST_MANAGER_RESPONSES_H
#define HOST_MANAGER_RESPONSES_H

#include <cstdint>
#include <span>

namespace manager {

// Whether these are the bytes of one response to such a request, neither less nor more than its counts say.
bool is_whole(uint32_t opcode, std::span<const uint8_t> response);

}  // namespace manager

#endif
