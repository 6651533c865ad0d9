// Subtrees in Net-SNMP.
#ifndef HOST_AGENT_REGISTRATION_H
#define HOST_AGENT_REGISTRATION_H

#include "host/agent/subtree.h"

namespace agent {

// A phase of a set, with all variables of a request that lie in the subtree.
using Setter = void (*)(netsnmp_agent_request_info& info, netsnmp_request_info* requests);

// Answers what is asked below the subtree's root from here on, each request within a Deadline; with errors until there
// is a switch. Without a setter nothing can be written. `subtree` stays. False when Net-SNMP does not take it, such as
// when something else is there.
bool register_subtree(const char* name, const Subtree& subtree, Setter set = nullptr);

}  // namespace agent

#endif
