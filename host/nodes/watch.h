// What the line cards hear from the SPAN manager, which comes and goes.
#ifndef HOST_NODES_WATCH_H
#define HOST_NODES_WATCH_H

#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "host/transport/channel.h"

namespace nodes {

using transport::Milliseconds;

// Takes a line for the log.
using Say = std::function<void(const std::string& text)>;

// Pauses between tries, each twice as long as the one before it.
class BackOff {
 public:
  explicit BackOff(const transport::Interrupt& end) : end_(end) {}

  bool wait(Milliseconds limit);  // false = interrupted
  void start_over() { pause_ = kFirst; }

 private:
  static constexpr Milliseconds kFirst{50};
  static constexpr Milliseconds kLongest{500};

  const transport::Interrupt& end_;
  Milliseconds pause_ = kFirst;
};

// Waits until the manager greets, with one line to the log when it does not at once: 0 or an errno number. Waiting does
// not help against all of them.
int await_manager(transport::Channel& manager, const transport::Interrupt& end, Milliseconds patience, const Say& say,
                  transport::Welcome& welcome);

// Hears of rates in a thread of its own, for as long as it lives. One line goes to the log when the manager is lost,
// and one when it is back.
class Watch {
 public:
  // Both are called in that thread.
  struct Listener {
    std::function<void(transport::Rates rates)> rates;
    Say say;
  };

  // `chassis` is the description of the switch that the manager has told. Raises `end` at its own end; the channel has
  // to obey it.
  Watch(transport::Channel manager, std::string chassis, transport::Interrupt& end, Listener listener);
  ~Watch();
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

 private:
  void run();
  int hear();
  void lose(int error);
  void find_again();

  transport::Channel manager_;
  const std::string chassis_;
  transport::Interrupt& end_;
  const Listener listener_;
  uint64_t generation_ = 0;
  bool lost_ = false;
  std::thread thread_;
};

}  // namespace nodes

#endif
