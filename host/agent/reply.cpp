#include "host/agent/reply.h"

namespace agent {
namespace {

void put(netsnmp_variable_list& variable, const Value& value) {
  if (value.type == ASN_OCTET_STR) {
    snmp_set_var_typed_value(&variable, value.type, value.octets.data(), value.octets.size());
  } else {
    snmp_set_var_typed_integer(&variable, value.type, value.number);
  }
}

}  // namespace

Oid name_of(const netsnmp_variable_list& variable) { return {variable.name, variable.name + variable.name_length}; }

// Numbers of 32 bits lie in a long; what is of neither kind has a type only.
Value value_of(const netsnmp_variable_list& variable) {
  switch (variable.type) {
    case ASN_OCTET_STR:
      return octets({reinterpret_cast<const char*>(variable.val.string), variable.val_len});
    case ASN_INTEGER:
    case ASN_UNSIGNED:
      return {variable.type, static_cast<uint32_t>(*variable.val.integer)};
    default:
      return {variable.type};
  }
}

void reply(netsnmp_request_info& request, const Value& value) { put(*request.requestvb, value); }

void reply(netsnmp_request_info& request, const Oid& name, const Value& value) {
  snmp_set_var_objid(request.requestvb, name.data(), name.size());
  put(*request.requestvb, value);
}

void fail(netsnmp_agent_request_info& info, netsnmp_request_info& request, int error) {
  netsnmp_set_request_error(&info, &request, error);
}

}  // namespace agent
