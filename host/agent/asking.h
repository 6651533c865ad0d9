// Calls of the library's handlers, and what becomes of them beyond their results: whether the SPAN manager could be
// asked at all, and what it said where a handler keeps it to itself.
#ifndef HOST_AGENT_ASKING_H
#define HOST_AGENT_ASKING_H

#include <chrono>
#include <cstdint>

#include "host/agent/subtree.h"
#include "host/platform/switch.h"
#include "libspan.h"

namespace agent {

// A read. It succeeds, finds nothing, or has failed: the manager was not there, or has no sessions to tell. A get-next
// passes over what cannot be read and tells the end of the table; what its exchanges came to tells the difference.
template <class Call>
Found read(Call call) {
  host::reset_outcome();
  const uint32_t status = call();
  if (host::outcome() != host::Outcome::kDone || status == SPAN_E_SNMP_FAILED) return Found::kFailed;
  return status == SPAN_OK ? Found::kYes : Found::kNo;
}

// The status of a change as the manager told it. A handler calls every refusal of a whole request a failure, or
// doesn't see it.
template <class Call>
uint32_t change(Call call) {
  host::reset_outcome();
  const uint32_t status = call();
  if (host::outcome() == host::Outcome::kUnreachable) return SPAN_E_SNMP_FAILED;
  const bool whole = status == SPAN_OK || status == SPAN_E_SNMP_FAILED;
  return host::outcome() == host::Outcome::kRefused && whole ? host::refusal() : status;
}

// How long the answer to one request takes at most, however often the manager is asked for it.
constexpr std::chrono::seconds kPatience{2};

// That limit: what is asked later fails. A manager that was too slow gets a rest, in which it is not asked at all,
// unless it has to be.
enum class Need { kCanWait, kAtOnce };

class Deadline {
 public:
  explicit Deadline(Need need = Need::kCanWait);
  ~Deadline();
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;
};

}  // namespace agent

#endif
