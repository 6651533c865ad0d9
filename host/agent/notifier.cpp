#include "host/agent/notifier.h"

#include <utility>

#include "host/agent/asking.h"
#include "host/agent/brief.h"
#include "host/agent/oids.h"
#include "host/agent/reply.h"
#include "host/agent/tables.h"

namespace agent {
namespace {

constexpr uint32_t kOperActive = 1;  // portMirrorSessionOperStatus
constexpr uint32_t kOperInactive = 2;

// ---- Sending --------------------------------------------------------------------------------------------------------

struct Variable {
  Oid name;
  Value value;
};

struct Notification {
  oid number;
  std::vector<Variable> variables;
};

Notification notification_of(const SessionChanged& event) {
  const auto& [active, reason] = event.state;
  return {
      active ? kSessionActiveNotification : kSessionInactiveNotification,
      {{column_of(kSessionTable, kSessionOperStatus, {event.session}), integer(active ? kOperActive : kOperInactive)},
       {column_of(kSessionTable, kSessionReason, {event.session}), octets(reason)}}};
}

Notification notification_of(const ThresholdChanged& event) {
  return {kThresholdChangedNotification, {{scalar_of(kDropsGroup, kDropThreshold), unsigned32(event.threshold)}}};
}

Notification notification_of(const DropsRising& event) {
  return {kDropsRisingNotification,
          {{scalar_of(kDropsGroup, kDropModule), unsigned32(event.module)},
           {scalar_of(kDropsGroup, kDropCount), {ASN_COUNTER, event.count}}}};
}

// Net-SNMP copies both the name and the value.
void append(netsnmp_variable_list*& list, const Oid& name, u_char type, const void* value, size_t size) {
  snmp_varlist_add_variable(&list, name.data(), name.size(), type, value, size);
}

void append(netsnmp_variable_list*& list, const Variable& variable) {
  const auto& [name, value] = variable;
  const bool text = value.type == ASN_OCTET_STR;
  const void* const bytes = text ? static_cast<const void*>(value.octets.data()) : &value.number;
  append(list, name, value.type, bytes, text ? value.octets.size() : sizeof value.number);
}

}  // namespace

// Net-SNMP puts sysUpTime in front.
void send_notification(const Event& event) {
  const Notification sent = std::visit([](const auto& each) { return notification_of(each); }, event);
  const Oid kind = notification(sent.number);
  netsnmp_variable_list* list = nullptr;
  append(list, {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0}, ASN_OBJECT_ID, kind.data(), kind.size() * sizeof(oid));
  for (const Variable& each : sent.variables) append(list, each);
  send_v2trap(list);
  snmp_free_varbind(list);
}

// ---- Looking --------------------------------------------------------------------------------------------------------

namespace {

// The state of a session that has changed is read from the table, with its reason.
Found add_state(SessionStates& states, const SessionState* known, const BriefSession& session) {
  if (known != nullptr && known->active == session.active) {
    states[session.session] = *known;
    return Found::kYes;
  }
  span_snmp_session_entry_t row = {};
  const Found found = read_session(session.session, row);
  if (found == Found::kYes) states[session.session] = {row.oper_status == kOperActive, row.oper_reason};
  return found;
}

// Nothing when the manager could not be asked.
std::optional<SessionStates> read_states(const Watch& watch) {
  const auto sessions = read_brief();
  if (!sessions) return std::nullopt;
  SessionStates states;
  for (const BriefSession& each : *sessions) {
    if (add_state(states, watch.known(each.session), each) == Found::kFailed) return std::nullopt;
  }
  return states;
}

}  // namespace

void Notifier::poll() {
  within(manager_, &Notifier::look_at_manager);
  within(modules_, &Notifier::look_at_modules);
}

void Notifier::within(Budget& budget, void (Notifier::*look)()) {
  const Time from = clock_();
  if (!budget.allows(from)) return;
  const Deadline deadline;
  (this->*look)();
  budget.spend(from, clock_());
}

// A manager that cannot tell its sessions is not waited for once more. A threshold that could not be read is 0.
void Notifier::look_at_manager() {
  auto states = read_states(watch_);
  if (!states) return;
  tell(watch_.see_sessions(std::move(*states)));
  uint32_t threshold = 0;
  if (read_threshold(threshold) == Found::kYes && threshold != 0) tell(watch_.see_threshold(threshold));
}

// One module at a time: a silent one costs the agent one wait.
void Notifier::look_at_modules() {
  host::reset_outcome();
  const auto counter = drop_counters_.next();
  if (counter) tell(watch_.see_drops(counter->module, counter->count, clock_()));
}

void Notifier::tell(const std::vector<Event>& events) const {
  for (const Event& each : events) send_(each);
}

}  // namespace agent
