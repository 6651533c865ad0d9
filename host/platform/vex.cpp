#include "platform/vex.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/platform/state.h"
#include "host/platform/status.h"

namespace host {
namespace {

const char* text_of(const char* requester) { return requester != nullptr ? requester : ""; }

void trace(const ManagerRequest& request, const manager::Reply& reply) {
  if (!debug_output()) return;
  const uint32_t code = reply.status != 0 ? reply.status : reply.result;
  const Status* known = find_status(code);
  char text[512];
  std::snprintf(text, sizeof text, "opcode %u kind %u, %zu bytes from [%s] [%s]: 0x%x %s, %zu bytes", request.opcode,
                request.kind, request.payload.size(), text_of(request.requester1), text_of(request.requester2), code,
                known ? known->name : "", reply.response.size());
  debug_line("vex", text);
}

uint32_t hand_over(const manager::Reply& reply, void** response) {
  if (reply.result != 0) refused(reply.result);
  if (reply.status != 0) return unhandled(reply.status);
  if (reply.response.empty()) return unreachable(EPROTO);
  *response = std::malloc(reply.response.size());
  if (*response == nullptr) return unreachable(ENOMEM);
  std::memcpy(*response, reply.response.data(), reply.response.size());
  return 0;
}

uint32_t exchange(const ManagerRequest& request, void** response) {
  manager::Reply reply;
  if (const int error = running()->link->exchange(request, reply)) return unreachable(error);
  trace(request, reply);
  return hand_over(reply, response);
}

}  // namespace
}  // namespace host

uint32_t vex_req_resp(uint32_t opcode, uint32_t kind, void* payload, void** response, uint32_t* length,
                      const char* requester1, const char* requester2, uint32_t service, uint32_t queue,
                      uint32_t /*option*/) {
  using namespace host;
  if (response == nullptr || length == nullptr || (payload == nullptr && *length != 0)) return unreachable(EINVAL);
  if (queue != switch_queue()) return unreachable(EBADF);
  if (running() == nullptr || service != kSpanManager) return unreachable(ECONNREFUSED);
  const ManagerRequest request = {
      opcode, kind, {static_cast<const uint8_t*>(payload), *length}, requester1, requester2};
  return guarded([&] { return exchange(request, response); }, [] { return unreachable(ENOMEM); });
}
