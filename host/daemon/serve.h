// The daemon at its sockets.
#ifndef HOST_DAEMON_SERVE_H
#define HOST_DAEMON_SERVE_H

#include <sys/types.h>

#include <string>

#include "host/chassis/chassis.h"
#include "host/daemon/state.h"

namespace spand {

struct Place {
  std::string run_directory;
  std::string state_directory;
  gid_t group;
  mode_t socket_mode;
  bool standby;
  Unknown unknown;
};

struct Description {
  std::string file;
  std::string toml;
  chassis::Chassis chassis;
};

// Serves until the process is told to end. Throws std::exception when it cannot begin to.
void serve(const Place& place, const Description& description);

}  // namespace spand

#endif
