// Modules of the switch at their sockets.
#ifndef HOST_NODES_SERVE_H
#define HOST_NODES_SERVE_H

#include <sys/types.h>

#include <optional>
#include <string>

#include "host/nodes/selection.h"
#include "host/nodes/watch.h"
#include "host/transport/endpoints.h"

namespace nodes {

constexpr char kProgram[] = "span-linecard";

// A line on standard error. What of it others chose cannot make it look like something else.
void say(const std::string& text);

// The switch as its manager has told it.
struct Description {
  std::string toml;
  chassis::Chassis chassis;
};

struct Place {
  transport::Endpoint endpoint;
  std::optional<mode_t> socket_mode;  // that of the manager's socket when left out
};

// Serves until `end` is raised. Throws std::exception when it cannot begin to.
void serve(const Place& place, const Description& description, const Selection& selection, transport::Channel manager,
           transport::Interrupt& end);

}  // namespace nodes

#endif
