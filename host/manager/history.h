// What happened in the manager: the requests and what they changed. Every list is bounded, the oldest entry goes first.
#ifndef HOST_MANAGER_HISTORY_H
#define HOST_MANAGER_HISTORY_H

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>

#include "host/manager/config.h"
#include "host/manager/sessions.h"

namespace manager {

constexpr size_t kRequestsKept = 64;
constexpr size_t kChangesKept = 32;  // of one session or interface

template <class Entry>
void push(std::deque<Entry>& list, Entry entry, size_t limit) {
  if (list.size() == limit) list.pop_front();
  list.push_back(std::move(entry));
}

// A session that is configured has a state.
using SessionState = std::optional<OperState>;

using SessionSet = std::bitset<SPAN_SESSIONS>;

// What an interface is to the sessions.
struct Role {
  chassis::PortMode mode = chassis::PortMode::kNormal;
  SessionSet destination_of;
  SessionSet rx_of;
  SessionSet tx_of;

  bool operator==(const Role&) const = default;
};

Role role_of(const Config& config, uint32_t if_index);

struct Request {
  uint64_t number;  // counted from 1
  uint32_t opcode;
  uint32_t kind;
  size_t length;
  uint32_t status;  // why there was no answer
  uint32_t result;  // what the answer told
};

template <class State>
struct Change {
  uint64_t request;  // its number, 0 = so it was from the start
  State to;
};

// The states of one thing, which starts out in the default one.
template <class State>
class Log {
 public:
  void note(uint64_t request, const State& state) {
    if (state != present()) push(changes_, {request, state}, kChangesKept);
  }

  State present() const { return changes_.empty() ? State{} : changes_.back().to; }
  const std::deque<Change<State>>& changes() const { return changes_; }

 private:
  std::deque<Change<State>> changes_;
};

// How often requests of one opcode came to what.
struct Tally {
  uint64_t done = 0;
  uint64_t refused = 0;
  uint64_t failed = 0;  // without an answer
};

class History {
 public:
  explicit History(const Switch& on) { note_states(on); }

  // A request that has been answered, and the state after it.
  void note(Request request, const Switch& on);

  uint64_t requests() const { return requests_; }
  const std::deque<Request>& messages() const { return messages_; }
  const std::deque<Request>& errors() const { return errors_; }
  const std::map<uint32_t, Tally>& by_opcode() const { return by_opcode_; }  // unknown ones together, under 0
  const std::map<uint32_t, uint64_t>& by_reason() const { return by_reason_; }
  const Log<SessionState>& session(uint8_t index) const { return sessions_[index]; }
  const std::map<uint32_t, Log<Role>>& interfaces() const { return interfaces_; }  // those that ever had a role
  size_t changes() const;                                                          // that are kept

 private:
  void note_states(const Switch& on);
  void note_roles(const Config& config);

  uint64_t requests_ = 0;
  std::deque<Request> messages_;
  std::deque<Request> errors_;
  std::map<uint32_t, Tally> by_opcode_;
  std::map<uint32_t, uint64_t> by_reason_;
  std::array<Log<SessionState>, SPAN_SESSIONS> sessions_;
  std::map<uint32_t, Log<Role>> interfaces_;
};

}  // namespace manager

#endif
