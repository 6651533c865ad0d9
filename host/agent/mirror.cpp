#include "host/agent/mirror.h"

#include <memory>
#include <utility>
#include <vector>

#include "host/agent/change.h"
#include "host/agent/registration.h"
#include "host/agent/tables.h"

namespace agent {
namespace {

constexpr char kName[] = "portMirrorObjects";

const Subtree& objects() {
  static const Subtree objects(below_mib({kObjectsArc}), mirror_tables());
  return objects;
}

// The change waits in the transaction from one phase to the next.
Change* change_of(netsnmp_agent_request_info& info) {
  return static_cast<Change*>(netsnmp_agent_get_list_data(&info, kName));
}

void keep(netsnmp_agent_request_info& info, std::unique_ptr<Change> change) {
  const auto drop = [](void* kept) { delete static_cast<Change*>(kept); };
  netsnmp_agent_add_list_data(&info, netsnmp_create_data_list(kName, change.release(), drop));
}

void tell(netsnmp_agent_request_info& info, netsnmp_request_info* requests, const Change::Outcome& outcome) {
  if (!outcome) return;
  netsnmp_request_info* request = requests;
  for (size_t i = 0; i < outcome->variable && request->next != nullptr; ++i) request = request->next;
  fail(info, *request, outcome->error);
}

void check(netsnmp_agent_request_info& info, netsnmp_request_info* requests) {
  std::vector<Assignment> assignments;
  for (netsnmp_request_info* request = requests; request != nullptr; request = request->next) {
    const netsnmp_variable_list& variable = *request->requestvb;
    Assignment assignment{};
    const int error = parse(arcs_below(objects().root(), name_of(variable)), value_of(variable), assignment);
    if (error != SNMP_ERR_NOERROR) return fail(info, *request, error);
    assignments.push_back(std::move(assignment));
  }
  keep(info, std::make_unique<Change>(std::move(assignments)));
}

void advance(netsnmp_agent_request_info& info, netsnmp_request_info* requests) {
  if (info.mode == MODE_SET_RESERVE1) return check(info, requests);
  Change* const change = change_of(info);
  if (change == nullptr) return;
  if (info.mode == MODE_SET_RESERVE2) tell(info, requests, change->plan());
  if (info.mode == MODE_SET_ACTION) tell(info, requests, change->apply());
  if (info.mode == MODE_SET_UNDO && !change->undo()) fail(info, *requests, SNMP_ERR_UNDOFAILED);
}

}  // namespace

bool register_mirror() { return register_subtree(kName, objects(), advance); }

}  // namespace agent
