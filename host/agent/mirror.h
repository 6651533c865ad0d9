// PORT-MIRROR-MIB in Net-SNMP.
#ifndef HOST_AGENT_MIRROR_H
#define HOST_AGENT_MIRROR_H

namespace agent {

// Registers what is below portMirrorObjects, as one subtree: all variables of a SetRequest come together then, whatever
// tables they are of. False when Net-SNMP does not take it.
bool register_mirror();

}  // namespace agent

#endif
