// Line cards that wait for other rates of copies than those they know.
#ifndef HOST_DAEMON_WATCHERS_H
#define HOST_DAEMON_WATCHERS_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>

#include "host/linecard/traffic.h"
#include "host/transport/server.h"

namespace spand {

class Watchers {
 public:
  using Time = std::chrono::steady_clock::time_point;

  Watchers();

  // Everybody is answered when they are others.
  void set_rates(linecard::CopyRates copies, uint32_t threshold);

  // Answered at once when it knows another generation of rates, or else a second later.
  void add(uint64_t generation, transport::Responder answer, Time now);

  std::optional<Time> next_due() const;
  void answer_due(Time now);
  void answer_all();

 private:
  struct Watcher {
    Time due;
    transport::Responder answer;
  };
  void answer_first();

  transport::Rates rates_;
  std::deque<Watcher> waiting_;  // ascending by time
};

}  // namespace spand

#endif
