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

struct Request {
  uint32_t opcode, kind;
  std::span<const uint8_t> payload;
  uint32_t service, queue;
};

void trace(const Request& request, const manager::Reply& reply, const char* requester1, const char* requester2) {
  if (!debug_output()) return;
  const uint32_t code = reply.status != 0 ? reply.status : reply.result;
  const Status* known = find_status(code);
  char text[512];
  std::snprintf(text, sizeof text, "opcode %u kind %u, %zu bytes from [%s] [%s]: 0x%x %s, %zu bytes", request.opcode,
                request.kind, request.payload.size(), requester1 ? requester1 : "", requester2 ? requester2 : "", code,
                known ? known->name : "", reply.response.size());
  debug_line("vex", text);
}

uint32_t hand_over(const manager::Reply& reply, void** response) {
  if (reply.result != 0) refused(reply.result);
  if (reply.status != 0) return refused(reply.status);
  if (reply.response.empty()) return unreachable(EPROTO);
  *response = std::malloc(reply.response.size());
  if (*response == nullptr) return unreachable(ENOMEM);
  std::memcpy(*response, reply.response.data(), reply.response.size());
  return 0;
}

// Why the request cannot reach the manager, 0 when it can.
int obstacle(const Request& request) {
  if (request.queue != switch_queue()) return EBADF;
  const Switch* here = running();
  return here != nullptr && here->reachable && request.service == kSpanManager ? 0 : ECONNREFUSED;
}

}  // namespace
}  // namespace host

uint32_t vex_req_resp(uint32_t opcode, uint32_t kind, void* payload, void** response, uint32_t* length,
                      const char* requester1, const char* requester2, uint32_t service, uint32_t queue,
                      uint32_t /*option*/) {
  using namespace host;
  if (response == nullptr || length == nullptr || (payload == nullptr && *length != 0)) return unreachable(EINVAL);
  const Request request = {opcode, kind, {static_cast<const uint8_t*>(payload), *length}, service, queue};
  if (const int error = obstacle(request)) return unreachable(error);
  const auto exchange = [&] {
    if (kind == VEX_KIND_CHANGE) let_time_pass();
    const manager::Reply reply = running()->manager.handle(opcode, kind, request.payload);
    trace(request, reply, requester1, requester2);
    return hand_over(reply, response);
  };
  return guarded(exchange, [] { return unreachable(ENOMEM); });
}
