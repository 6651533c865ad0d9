// The processes at one address of the switch: services that answer single messages.
#ifndef HOST_NODES_NODE_H
#define HOST_NODES_NODE_H

#include <cstdint>
#include <functional>
#include <map>

#include "host/linecard/modules.h"
#include "host/nodes/cards.h"
#include "host/transport/server.h"

namespace nodes {

// What does not make sense to a service is not answered, as on a switch. A service that is not there fails at once.
using Service = std::function<linecard::Answer(uint32_t opcode, linecard::Payload payload)>;
using Services = std::map<uint32_t, Service>;  // by number
transport::Handler node(Services services);

// Lets everybody wait.
transport::Handler silent_node();

// Both refer to their first argument.
transport::Handler supervisor(const chassis::Chassis& chassis);
transport::Handler line_card(Cards& cards, const chassis::Module& module);

}  // namespace nodes

#endif
