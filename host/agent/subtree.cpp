#include "host/agent/subtree.h"

#include <algorithm>
#include <utility>

namespace agent {
namespace {

// A place in the columns of a table: of the instances behind (column, index).
struct Position {
  oid column;
  Oid index;
};

// Where to go on in a table behind `name`; columns that are not readable are passed.
Position position_behind(const Table& table, const Oid& entry, const Oid& name) {
  if (!is_below(entry, name)) return {name < entry ? table.first_column : table.last_column + 1, {}};
  Oid rest = arcs_below(entry, name);
  if (rest.empty() || rest.front() < table.first_column) return {table.first_column, {}};
  const oid column = rest.front();
  rest.erase(rest.begin());
  return {column, std::move(rest)};
}

}  // namespace

bool is_below(const Oid& root, const Oid& name) {
  return name.size() >= root.size() && std::equal(root.begin(), root.end(), name.begin());
}

Oid arcs_below(const Oid& root, const Oid& name) {
  return {name.begin() + static_cast<Oid::difference_type>(root.size()), name.end()};
}

Found Subtree::get(const Oid& name, Value& value, bool& object_exists) const {
  object_exists = false;
  for (const Table& table : tables_) {
    const Oid entry = joined(root_, table.place);
    if (!is_below(entry, name) || name.size() == entry.size()) continue;
    const oid column = name[entry.size()];
    if (column < table.first_column || column > table.last_column) continue;
    object_exists = true;
    Row row;
    const Found found = table.get(arcs_below(joined(entry, {column}), name), row);
    if (found == Found::kYes) value = row.at(column - table.first_column);
    return found;
  }
  return Found::kNo;
}

// Column by column, as the names go.
Found Subtree::next_in(const Table& table, Oid& name, Value& value) const {
  const Oid entry = joined(root_, table.place);
  for (Position at = position_behind(table, entry, name); at.column <= table.last_column; at = {at.column + 1, {}}) {
    Row row;
    const Oid asked = at.index;
    const Found found = table.next(at.index, row);
    if (found == Found::kNo) continue;
    if (found == Found::kFailed || !(asked < at.index)) return Found::kFailed;
    name = joined(joined(entry, {at.column}), at.index);
    value = row.at(at.column - table.first_column);
    return Found::kYes;
  }
  return Found::kNo;
}

Found Subtree::next(Oid& name, Value& value) const {
  for (const Table& table : tables_) {
    const Found found = next_in(table, name, value);
    if (found != Found::kNo) return found;
  }
  return Found::kNo;
}

void answer_get(const Subtree& subtree, netsnmp_agent_request_info& info, netsnmp_request_info& request) {
  Value value;
  bool object_exists = false;
  switch (subtree.get(name_of(*request.requestvb), value, object_exists)) {
    case Found::kYes:
      return reply(request, value);
    case Found::kNo:
      return fail(info, request, object_exists ? SNMP_NOSUCHINSTANCE : SNMP_NOSUCHOBJECT);
    case Found::kFailed:
      return fail(info, request, SNMP_ERR_GENERR);
  }
}

// Net-SNMP goes on to the next subtree when a variable is left as it is.
void answer_next(const Subtree& subtree, netsnmp_agent_request_info& info, netsnmp_request_info& request) {
  Oid name = name_of(*request.requestvb);
  Value value;
  bool object_exists = false;
  Found found = Found::kNo;
  if (request.inclusive != 0) found = subtree.get(name, value, object_exists);
  if (found == Found::kNo) found = subtree.next(name, value);
  if (found == Found::kYes) reply(request, name, value);
  if (found == Found::kFailed) fail(info, request, SNMP_ERR_GENERR);
}

}  // namespace agent
