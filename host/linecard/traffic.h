// The traffic of the simulated switch and what becomes of its copies. docs/linecards.md describes the model.
#ifndef HOST_LINECARD_TRAFFIC_H
#define HOST_LINECARD_TRAFFIC_H

#include <cstdint>
#include <map>

#include "host/manager/config.h"

namespace linecard {

// Copies that a line card sends away in a second. What is more than that has to wait.
constexpr uint64_t kCopiesPerSecond = 4000;

// Copies that arise in a second, by the module that the frames pass.
using CopyRates = std::map<uint32_t, uint64_t>;
CopyRates copy_rates(const manager::Switch& on);

// The queues of copies on the line cards. Times are milliseconds.
class Traffic {
 public:
  explicit Traffic(uint64_t now) : now_(now) {}

  // Lets the time up to `now` pass, in which copies arise at these rates and `threshold` packets of them may wait on a
  // module. Wanted before each change of either.
  void pass(uint64_t now, const CopyRates& rates, uint32_t threshold);

  // The same by the sessions as they are.
  void pass(uint64_t now, const manager::Switch& on) { pass(now, copy_rates(on), on.config.threshold); }

  // Packets. A counter of 32 bits, it starts over at 0.
  uint32_t drops(uint32_t module) const;

 private:
  // In thousandths of a packet, so that every millisecond counts.
  struct Card {
    uint64_t queued = 0;
    uint64_t dropped = 0;

    void pass(uint64_t milliseconds, uint64_t rate, uint64_t limit);
    void drop_beyond(uint64_t limit);
  };

  uint64_t now_;
  std::map<uint32_t, Card> cards_;  // by module, those that have copied something
};

}  // namespace linecard

#endif
