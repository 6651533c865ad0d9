// What becomes a notification: what was seen last, compared with what is seen now. Nothing here asks or sends.
#ifndef HOST_AGENT_WATCH_H
#define HOST_AGENT_WATCH_H

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace agent {

using Time = std::chrono::steady_clock::time_point;

struct SessionState {
  bool active;
  std::string reason;  // why it is active or not
};

using SessionStates = std::map<uint32_t, SessionState>;  // by session, those that are configured

struct SessionChanged {
  uint32_t session;
  SessionState state;
};

struct ThresholdChanged {
  uint32_t threshold;
};

struct DropsRising {
  uint32_t module;
  uint32_t count;
};

using Event = std::variant<SessionChanged, ThresholdChanged, DropsRising>;

// What is seen for the first time is learned: it is no change.
class Watch {
 public:
  // How long the counter of a module has to stand still before its rise is worth another notification.
  static constexpr std::chrono::seconds kDropsRest{30};

  // A session that is gone is one that is not active.
  std::vector<Event> see_sessions(SessionStates now);
  std::vector<Event> see_threshold(uint32_t now);

  // A counter that is lower than before started over.
  std::vector<Event> see_drops(uint32_t module, uint32_t count, Time at);

  // What was seen last of a session, null when it was not there.
  const SessionState* known(uint32_t session) const;

 private:
  struct Drops {
    uint32_t count;
    std::optional<Time> risen;  // when they were last seen to rise
  };

  std::optional<SessionStates> sessions_;
  std::optional<uint32_t> threshold_;
  std::map<uint32_t, Drops> drops_;  // by module
};

// Keeps work that may have to wait for others to a tenth of the time: after it has taken long, it rests long.
class Budget {
 public:
  bool allows(Time now) const { return now >= rested_; }
  void spend(Time from, Time to) { rested_ = to + 9 * (to - from); }

 private:
  Time rested_{};
};

}  // namespace agent

#endif
