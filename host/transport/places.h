// The places of a server: who has one, and what is told of those who find none.
#ifndef HOST_TRANSPORT_PLACES_H
#define HOST_TRANSPORT_PLACES_H

#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "host/transport/connection.h"
#include "host/transport/server.h"

namespace transport {

using ConnectionPtr = std::shared_ptr<Connection>;

class Places {
 public:
  Places(const Limits& limits, Admission admission) : limits_(limits), admission_(std::move(admission)) {}

  bool take(const ConnectionPtr& client);  // false: it was sent away
  void leave(const ConnectionPtr& client) { clients_.erase(client); }
  std::set<ConnectionPtr> vacate() { return std::exchange(clients_, {}); }

  size_t taken() const { return clients_.size(); }

 private:
  using Clock = std::chrono::steady_clock;

  const char* why_none(const Connection& client) const;
  void send_away(Connection& client, const char* reason);

  const Limits limits_;
  const Admission admission_;
  std::set<ConnectionPtr> clients_{};
  std::map<std::string, Clock::time_point> told_{};  // reasons, and when they went to the log
};

}  // namespace transport

#endif
