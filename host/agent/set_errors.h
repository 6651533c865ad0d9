// What a change that the library or the SPAN manager refuses comes to in SNMP. docs/snmp.md shows the same table.
#ifndef HOST_AGENT_SET_ERRORS_H
#define HOST_AGENT_SET_ERRORS_H

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "host/agent/reply.h"
#include "host/manager/reasons.h"
#include "libspan.h"

namespace agent {

// The error depends on where the refused thing stands: in the value that is set, or in the index of a row that is to be
// created or destroyed.
struct SetError {
  uint32_t status;
  int of_value;
  int of_index;
};

constexpr int kWrongValue = SNMP_ERR_WRONGVALUE;
constexpr int kNoCreation = SNMP_ERR_NOCREATION;
constexpr int kInconsistentValue = SNMP_ERR_INCONSISTENTVALUE;
constexpr int kInconsistentName = SNMP_ERR_INCONSISTENTNAME;
constexpr int kUnavailable = SNMP_ERR_RESOURCEUNAVAILABLE;

constexpr SetError kSetErrors[] = {
    {SPAN_E_NO_MEMORY, kUnavailable, kUnavailable},
    {SPAN_E_SNMP_FAILED, kUnavailable, kUnavailable},
    {SPAN_E_SNMP_NO_SESSION, kInconsistentName, kInconsistentName},
    {SPAN_E_SNMP_NO_SOURCE, kInconsistentName, kInconsistentName},
    {SPAN_E_EXCHANGE, kUnavailable, kUnavailable},
    {SPAN_E_INVALID_PARAM, kWrongValue, kNoCreation},
    {SPAN_E_STANDBY, kUnavailable, kUnavailable},
    {manager::kSessionNotConfigured, kInconsistentName, kInconsistentName},
    {manager::kNotSourceVsans, kInconsistentValue, kInconsistentName},
    {SPAN_E_SNMP_WRONG_SESSION, kNoCreation, kNoCreation},
    {SPAN_E_SNMP_WRONG_IF, kWrongValue, kNoCreation},
    {SPAN_E_SNMP_WRONG_VSAN, kWrongValue, kNoCreation},
    {SPAN_E_SNMP_WRONG_SOURCE, kWrongValue, kNoCreation},
    {manager::kWrongDirection, kWrongValue, kNoCreation},
    {manager::kNoSuchSession, kNoCreation, kNoCreation},
    {manager::kBadThreshold, kWrongValue, kNoCreation},
    {manager::kUnknownInterface, kWrongValue, kNoCreation},
    {manager::kMemberOfPortChannel, kInconsistentValue, kInconsistentName},
    {manager::kIsDestination, kInconsistentValue, kInconsistentName},
    {manager::kIsSource, kInconsistentValue, kInconsistentName},
    {manager::kCannotBeSource, kWrongValue, kNoCreation},
    {manager::kCannotBeDestination, kWrongValue, kNoCreation},
    {manager::kPortModeNotNormal, kInconsistentValue, kInconsistentName},
    {manager::kNotActiveInband, kInconsistentValue, kInconsistentName},
    {manager::kNoServiceChannel, kInconsistentValue, kInconsistentName},
    {manager::kDestinationInUse, kInconsistentValue, kInconsistentName},
    {manager::kNotDestination, kInconsistentValue, kInconsistentName},
    {manager::kNotSource, kInconsistentValue, kInconsistentName},
    {manager::kTooManySources, kUnavailable, kUnavailable},
    {manager::kNoSuchVsan, kWrongValue, kNoCreation},
    {manager::kNotInFilter, kInconsistentValue, kInconsistentName},
    {manager::kTooManySourceVsans, kUnavailable, kUnavailable},
    {manager::kNotPermitted, SNMP_ERR_AUTHORIZATIONERROR, SNMP_ERR_AUTHORIZATIONERROR},
    {manager::kNotSaved, SNMP_ERR_COMMITFAILED, SNMP_ERR_COMMITFAILED},
};

enum class At { kValue, kIndex };

// genErr for a status that no change of the agent's should come to.
constexpr int set_error(uint32_t status, At at) {
  const auto* found = std::ranges::find(kSetErrors, status, &SetError::status);
  if (found == std::end(kSetErrors)) return SNMP_ERR_GENERR;
  return at == At::kValue ? found->of_value : found->of_index;
}

}  // namespace agent

#endif
