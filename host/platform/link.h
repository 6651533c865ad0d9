// How the platform's functions reach the other processes of the switch: in this process, or by their sockets. Only for
// host/platform.
#ifndef HOST_PLATFORM_LINK_H
#define HOST_PLATFORM_LINK_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "host/manager/manager.h"
#include "host/platform/switch.h"

namespace host {

struct ManagerRequest {
  uint32_t opcode;
  uint32_t kind;
  std::span<const uint8_t> payload;
  const char* requester1;  // may be null
  const char* requester2;  // may be null
};

// All functions return 0 or an errno number: ECONNREFUSED when the other end does not run, EHOSTUNREACH when there is
// no such place, ETIMEDOUT, ECONNRESET when it is not known whether a request was carried out, EINTR.
class Link {
 public:
  virtual ~Link() = default;

  virtual int exchange(const ManagerRequest& request, manager::Reply& reply) = 0;
  virtual int dump(std::string_view function, std::span<const uint8_t> record, manager::Dump& dump) = 0;
  virtual int port_roles(PortRoles& roles) = 0;

  // A single message to a service at an address, and its answer. An answer is received once.
  virtual int send(uint32_t address, uint32_t service, uint32_t opcode, std::span<const uint8_t> payload,
                   uint32_t& token) = 0;
  virtual int receive(uint32_t token, std::vector<uint8_t>& answer) = 0;

  // A new command begins: services that let the one before wait in vain are waited for again.
  virtual void begin_command() {}

  // Whether there was another switch in its place when it was looked for last. Nothing is asked of that one.
  virtual bool is_replaced() const { return false; }

  // From now on all waits end then; with nothing, each one has its own time again.
  virtual void hurry(std::optional<std::chrono::steady_clock::time_point> /*end*/) {}
};

}  // namespace host

#endif
