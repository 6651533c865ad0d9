// Line cards that count in real time, by what the manager tells now and then.
#ifndef HOST_NODES_CARDS_H
#define HOST_NODES_CARDS_H

#include <cstdint>
#include <functional>

#include "host/linecard/traffic.h"

namespace nodes {

// Milliseconds from wherever.
using Clock = std::function<uint64_t()>;
uint64_t running_time();

// Counters start at 0. For one thread.
class Cards {
 public:
  explicit Cards(Clock clock = running_time) : clock_(std::move(clock)), traffic_(clock_()) {}

  // From now on, until others are told.
  void set_rates(linecard::CopyRates copies, uint32_t threshold);

  uint32_t drops(uint32_t module);

 private:
  void let_time_pass() { traffic_.pass(clock_(), copies_, threshold_); }

  Clock clock_;
  linecard::Traffic traffic_;
  linecard::CopyRates copies_;
  uint32_t threshold_ = 0;
};

}  // namespace nodes

#endif
