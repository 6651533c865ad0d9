#include "host/agent/assignment.h"

#include <algorithm>
#include <iterator>

#include "host/agent/tables.h"

namespace agent {
namespace {

int any_number(const Value&) { return SNMP_ERR_NOERROR; }

int admin_status(const Value& value) {
  return value.number == 1 || value.number == 2 ? SNMP_ERR_NOERROR : SNMP_ERR_WRONGVALUE;
}

int row_status(const Value& value) {
  const bool known = value.number == kActiveRow || value.number == kCreateAndGo || value.number == kDestroy;
  return known ? SNMP_ERR_NOERROR : SNMP_ERR_WRONGVALUE;
}

int vsan_quarter(const Value& value) {
  return value.octets.size() <= kQuarter ? SNMP_ERR_NOERROR : SNMP_ERR_WRONGLENGTH;
}

// The objects that can be set.
struct Writable {
  oid table;
  oid first_column;
  oid last_column;
  u_char type;
  int (*check)(const Value& value);
};

constexpr Writable kWritables[] = {
    {kSessionTable, kSessionDestination, kSessionDestination, ASN_UNSIGNED, any_number},
    {kSessionTable, kSessionAdminStatus, kSessionAdminStatus, ASN_INTEGER, admin_status},
    {kSessionTable, kSessionRowStatus, kSessionRowStatus, ASN_INTEGER, row_status},
    {kSourceIfTable, kSourceIfRowStatus, kSourceIfRowStatus, ASN_INTEGER, row_status},
    {kSourceVsanTable, kVsanFirstQuarter, kVsanLastQuarter, ASN_OCTET_STR, vsan_quarter},
    {kVsanFilterTable, kVsanFirstQuarter, kVsanLastQuarter, ASN_OCTET_STR, vsan_quarter},
    {kDropsGroup, kDropThreshold, kDropThreshold, ASN_UNSIGNED, any_number},
};

const Writable* find_writable(oid table, oid column) {
  const auto* found = std::ranges::find_if(kWritables, [&](const Writable& writable) {
    return writable.table == table && writable.first_column <= column && column <= writable.last_column;
  });
  return found == std::end(kWritables) ? nullptr : found;
}

// The part of a name that is not in a table's entry is the scalar's.
bool split(const Oid& arcs, Assignment& assignment) {
  const bool scalar = !arcs.empty() && arcs[0] == kDropsGroup;
  const size_t column = scalar ? 1 : 2;
  if (arcs.size() <= column || (!scalar && arcs[1] != 1)) return false;
  assignment.table = arcs[0];
  assignment.column = arcs[column];
  assignment.index = arcs_below(Oid(column + 1), arcs);
  return true;
}

bool can_exist(const Assignment& assignment) {
  if (assignment.table == kDropsGroup) return assignment.index == Oid{0};
  return assignment.table == kSourceIfTable ? source_of(assignment.index).has_value()
                                            : session_of(assignment.index).has_value();
}

}  // namespace

int parse(const Oid& arcs, const Value& value, Assignment& assignment) {
  if (!split(arcs, assignment)) return SNMP_ERR_NOTWRITABLE;
  const Writable* const object = find_writable(assignment.table, assignment.column);
  if (object == nullptr) return SNMP_ERR_NOTWRITABLE;
  if (value.type != object->type) return SNMP_ERR_WRONGTYPE;
  if (const int error = object->check(value); error != SNMP_ERR_NOERROR) return error;
  assignment.value = value;
  return can_exist(assignment) ? SNMP_ERR_NOERROR : SNMP_ERR_NOCREATION;
}

}  // namespace agent
