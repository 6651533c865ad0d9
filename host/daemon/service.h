// What the daemon does with a message. It knows no sockets.
#ifndef HOST_DAEMON_SERVICE_H
#define HOST_DAEMON_SERVICE_H

#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "host/daemon/access.h"
#include "host/daemon/state.h"
#include "host/daemon/watchers.h"
#include "host/manager/manager.h"
#include "host/transport/message.h"
#include "host/transport/server.h"

namespace spand {

// Gives the state to a standby that is to become the active manager, and whatever else belongs to that; throws when
// it cannot be.
using TakeOver = std::function<State()>;

class Service {
 public:
  Service(const chassis::Chassis& chassis, Access access, State state);
  Service(const chassis::Chassis& chassis, Access access, TakeOver take_over);  // a standby

  // Every message is answered, if not always at once.
  void handle(const transport::Peer& peer, const transport::Message& message,
              const transport::Responder& answer) noexcept;

  bool is_active() const { return active_.has_value(); }

  Watchers& watchers() { return watchers_; }

 private:
  struct Active {
    Active(const chassis::Chassis& chassis, State&& state)
        : store(std::move(state.store)), manager(chassis, std::move(state.config)) {}

    std::unique_ptr<Store> store;
    manager::Manager manager;
  };

  void dispatch(const transport::Peer& peer, const transport::Message& message, const transport::Responder& answer);
  void request(const transport::Peer& peer, const transport::Message& message, const transport::Responder& answer);
  void dump(const transport::Message& message, const transport::Responder& answer) const;
  void roles(const transport::Message& message, const transport::Responder& answer) const;
  void watch(const transport::Message& message, const transport::Responder& answer);
  void take_over(const transport::Peer& peer, const transport::Message& message, const transport::Responder& answer);

  manager::Reply change(AuditLine line, const transport::Request& request);
  manager::Reply refuse(AuditLine line);
  void become_active(State state);
  uint32_t try_to_become_active(const transport::Peer& peer);
  template <class Work>
  bool saved(Work work);

  const chassis::Chassis& chassis_;
  Access access_;
  TakeOver take_over_;
  std::optional<Active> active_;
  Watchers watchers_;
  bool saving_ = true;  // false: the last attempt to save something has failed
};

}  // namespace spand

#endif
