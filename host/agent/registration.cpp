#include "host/agent/registration.h"

#include <exception>
#include <memory>
#include <vector>

#include "host/agent/asking.h"

namespace agent {
namespace {

constexpr int kMasterPatience = 5;  // seconds; longer than a deadline

struct Served {
  const Subtree& subtree;
  Setter set;
};

void answer(const Served& served, netsnmp_agent_request_info& info, netsnmp_request_info* requests) {
  if (info.mode != MODE_GET && info.mode != MODE_GETNEXT) return served.set(info, requests);
  const auto answer_one = info.mode == MODE_GET ? answer_get : answer_next;
  for (netsnmp_request_info* request = requests; request != nullptr; request = request->next) {
    if (request->processed == 0) answer_one(served.subtree, info, *request);
  }
}

// What a manager that is away comes to. A set is refused before anything else is done for it.
void refuse(netsnmp_agent_request_info& info, netsnmp_request_info* requests) {
  const bool read = info.mode == MODE_GET || info.mode == MODE_GETNEXT;
  if (!read && info.mode != MODE_SET_RESERVE1) return;
  for (netsnmp_request_info* request = requests; request != nullptr; request = request->next) {
    if (request->processed == 0) fail(info, *request, read ? SNMP_ERR_GENERR : SNMP_ERR_RESOURCEUNAVAILABLE);
  }
}

// Nothing thrown goes into Net-SNMP. What can be thrown is that memory is out. What a slow manager has done of a change
// is taken back now or never.
int handle(netsnmp_mib_handler* handler, netsnmp_handler_registration*, netsnmp_agent_request_info* info,
           netsnmp_request_info* requests) {
  if (!host::has_switch()) {
    refuse(*info, requests);
    return SNMP_ERR_NOERROR;
  }
  const Deadline deadline(info->mode == MODE_SET_UNDO ? Need::kAtOnce : Need::kCanWait);
  try {
    answer(*static_cast<const Served*>(handler->myvoid), *info, requests);
  } catch (const std::exception&) {
    fail(*info, *requests, info->mode == MODE_SET_UNDO ? SNMP_ERR_UNDOFAILED : SNMP_ERR_GENERR);
  }
  return SNMP_ERR_NOERROR;
}

// For as long as the process lives, as registrations do.
Served* keep(const Served& served) {
  static std::vector<std::unique_ptr<Served>> all;
  return all.emplace_back(std::make_unique<Served>(served)).get();
}

}  // namespace

bool register_subtree(const char* name, const Subtree& subtree, Setter set) {
  const Oid& root = subtree.root();
  netsnmp_handler_registration* const registration = netsnmp_create_handler_registration(
      name, handle, root.data(), root.size(), set != nullptr ? HANDLER_CAN_RWRITE : HANDLER_CAN_RONLY);
  if (registration == nullptr) return false;
  registration->handler->myvoid = keep({subtree, set});
  registration->timeout = kMasterPatience;
  return netsnmp_register_handler(registration) == MIB_REGISTERED_OK;
}

}  // namespace agent
