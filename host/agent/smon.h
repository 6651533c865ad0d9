// The standard view of port mirroring beside PORT-MIRROR-MIB: port copies and the capabilities of ports, read-only, as
// SMON-MIB (RFC 2613) has them. docs/smon.md tells its limits.
#ifndef HOST_AGENT_SMON_H
#define HOST_AGENT_SMON_H

#include "host/agent/subtree.h"

namespace agent {

// portCopyTable, indexed by source and destination, and dataSourceCapsTable, indexed by an object identifier: that of a
// port's ifIndex.
const Subtree& smon_objects();

// The group of rmon's that smonCapabilities is in. The others of it are not served.
const Subtree& probe_config();

// False when Net-SNMP does not take them.
bool register_smon();

}  // namespace agent

#endif
