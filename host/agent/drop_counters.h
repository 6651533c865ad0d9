// The drop counters of the line cards, one after the other.
#ifndef HOST_AGENT_DROP_COUNTERS_H
#define HOST_AGENT_DROP_COUNTERS_H

#include <cstddef>
#include <cstdint>
#include <optional>

#include "platform/quill.h"

namespace agent {

struct DropCounter {
  uint32_t module;
  uint32_t count;  // packets
};

// Goes round the modules. A module is asked with one call, and its answer is taken with the next: one that answers has
// done so by then, one that does not costs one wait.
class DropCounters {
 public:
  DropCounters() = default;
  ~DropCounters();
  DropCounters(const DropCounters&) = delete;
  DropCounters& operator=(const DropCounters&) = delete;

  // The counter of the module that the call before has asked, nothing when it has none or did not answer.
  std::optional<DropCounter> next();

 private:
  std::optional<DropCounter> take_answer();
  bool ask_next_module();

  uint32_t module_ = 0;  // that was asked last
  bool asked_ = false;   // it may have answered
  alignas(8) uint8_t message_[QUILL_MESSAGE_SIZE] = {};
};

}  // namespace agent

#endif
