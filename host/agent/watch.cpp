#include "host/agent/watch.h"

#include <utility>

#include "libspan.h"

namespace agent {
namespace {

const SessionState* find(const SessionStates& sessions, uint32_t session) {
  const auto found = sessions.find(session);
  return found == sessions.end() ? nullptr : &found->second;
}

bool is_active(const SessionState* state) { return state != nullptr && state->active; }

}  // namespace

const SessionState* Watch::known(uint32_t session) const { return sessions_ ? find(*sessions_, session) : nullptr; }

std::vector<Event> Watch::see_sessions(SessionStates now) {
  std::vector<Event> events;
  for (uint32_t session = 1; sessions_ && session <= SPAN_SESSIONS; ++session) {
    const SessionState* const state = find(now, session);
    if (is_active(known(session)) == is_active(state)) continue;
    events.emplace_back(
        SessionChanged{session, state != nullptr ? *state : SessionState{false, "Session was removed"}});
  }
  sessions_ = std::move(now);
  return events;
}

std::vector<Event> Watch::see_threshold(uint32_t now) {
  const auto before = std::exchange(threshold_, now);
  if (!before || *before == now) return {};
  return {ThresholdChanged{now}};
}

std::vector<Event> Watch::see_drops(uint32_t module, uint32_t count, Time at) {
  Drops& drops = drops_.try_emplace(module, Drops{count, {}}).first->second;
  const uint32_t before = std::exchange(drops.count, count);
  if (count > before) {
    const bool rose_before = std::exchange(drops.risen, at).has_value();
    return rose_before ? std::vector<Event>{} : std::vector<Event>{DropsRising{module, count}};
  }
  const bool rested = drops.risen && at - *drops.risen >= kDropsRest;
  if (count < before || rested) drops.risen.reset();
  return {};
}

}  // namespace agent
