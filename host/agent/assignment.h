// A variable of a SetRequest: which object is to have which value, and whether that could ever be.
#ifndef HOST_AGENT_ASSIGNMENT_H
#define HOST_AGENT_ASSIGNMENT_H

#include "host/agent/reply.h"

namespace agent {

struct Assignment {
  oid table;
  oid column;
  Oid index;
  Value value;

  auto row() const { return std::make_pair(table, index); }
  bool operator==(const Assignment&) const = default;
};

// What a RowStatus may be set to: rows are active from the start.
enum : uint32_t { kActiveRow = 1, kCreateAndGo = 4, kDestroy = 6 };

// Takes a name below portMirrorObjects apart. Returns SNMP_ERR_NOERROR or why the name cannot be set, the value is none
// of the object's, or there is no such row in any circumstances.
int parse(const Oid& arcs, const Value& value, Assignment& assignment);

}  // namespace agent

#endif
