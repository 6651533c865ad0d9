// Notifications of PORT-MIRROR-MIB: what happened since the switch was looked at before. docs/notifications.md
#ifndef HOST_AGENT_NOTIFIER_H
#define HOST_AGENT_NOTIFIER_H

#include <functional>
#include <utility>
#include <vector>

#include "host/agent/drop_counters.h"
#include "host/agent/watch.h"

namespace agent {

// Sends one to whom snmpd is told to.
void send_notification(const Event& event);

class Notifier {
 public:
  using Send = std::function<void(const Event&)>;
  using Clock = std::function<Time()>;

  explicit Notifier(Send send = send_notification, Clock clock = std::chrono::steady_clock::now)
      : send_(std::move(send)), clock_(std::move(clock)) {}

  // Looks at the switch and sends what has changed. The first look only learns; what cannot be looked at has not
  // changed.
  void poll();

 private:
  void within(Budget& budget, void (Notifier::*look)());
  void look_at_manager();
  void look_at_modules();
  void tell(const std::vector<Event>& events) const;

  const Send send_;
  const Clock clock_;
  Watch watch_;
  DropCounters drop_counters_;
  Budget manager_;
  Budget modules_;
};

}  // namespace agent

#endif
