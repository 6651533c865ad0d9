// Whether a configuration is possible on a switch: the description may have been edited since it was made.
#ifndef HOST_DAEMON_FIT_H
#define HOST_DAEMON_FIT_H

#include <string>
#include <vector>

#include "host/manager/config.h"

namespace spand {

struct Fit {
  manager::Config config;            // what is possible of it
  std::vector<std::string> misfits;  // what is not, a line for each
};

// Asks the manager's own rules. What is left of the configuration never mirrors more than the whole of it: a source
// whose filter has no VSAN left goes, and a session is suspended then.
Fit fit(const chassis::Chassis& chassis, const manager::Config& config);

}  // namespace spand

#endif
