// Who may change the switch: root, and the members of one group.
#ifndef HOST_DAEMON_ACCESS_H
#define HOST_DAEMON_ACCESS_H

#include <sys/types.h>

#include <optional>
#include <string>

#include "host/transport/server.h"

namespace spand {

class Access {
 public:
  explicit Access(gid_t group) : group_(group) {}

  bool may_change(const transport::Peer& peer) const;

 private:
  gid_t group_;
};

// Of that name or number; nothing when there is no such group. Numbers need none.
std::optional<gid_t> find_group(const std::string& name);

}  // namespace spand

#endif
