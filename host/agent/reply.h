// Values of objects, and how they get into a request of Net-SNMP's.
#ifndef HOST_AGENT_REPLY_H
#define HOST_AGENT_REPLY_H

#include "host/agent/oids.h"
// Net-SNMP wants its own headers in this order.
#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <cstdint>
#include <string>

namespace agent {

struct Value {
  u_char type = ASN_NULL;
  uint32_t number = 0;   // of every type but ASN_OCTET_STR
  std::string octets{};  // of ASN_OCTET_STR

  bool operator==(const Value&) const = default;
};

inline Value integer(uint32_t number) { return {ASN_INTEGER, number}; }
inline Value unsigned32(uint32_t number) { return {ASN_UNSIGNED, number}; }
inline Value octets(std::string octets) { return {ASN_OCTET_STR, 0, std::move(octets)}; }

// A variable of a request: its name, and the value that a set gives it.
Oid name_of(const netsnmp_variable_list& variable);
Value value_of(const netsnmp_variable_list& variable);

// Answers with a value, under the name that is asked for or another one.
void reply(netsnmp_request_info& request, const Value& value);
void reply(netsnmp_request_info& request, const Oid& name, const Value& value);

// Answers with an error, SNMP_ERR_GENERR for example, or with SNMP_NOSUCHOBJECT or SNMP_NOSUCHINSTANCE.
void fail(netsnmp_agent_request_info& info, netsnmp_request_info& request, int error);

}  // namespace agent

#endif
