// What the platform's functions share: the running switch. Only for host/platform.
#ifndef HOST_PLATFORM_STATE_H
#define HOST_PLATFORM_STATE_H

#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "host/linecard/traffic.h"
#include "host/manager/manager.h"
#include "host/platform/switch.h"

namespace host {

// Single messages between the processes of the switch, all of them in this one process. Errors are errno numbers.
struct Transport {
  std::map<std::pair<uint32_t, uint32_t>, Service> services;  // by address and service number
  std::map<uint32_t, std::vector<uint8_t>> answers;           // not yet received, by token
  uint32_t last_token = 0;
  int error = 0;  // the last one
};

struct Switch {
  Switch(chassis::Chassis description, uint64_t now)
      : chassis(std::move(description)), manager(chassis), traffic(now) {}

  const chassis::Chassis chassis;
  manager::Manager manager;
  linecard::Traffic traffic;
  bool reachable = true;
  Outcome outcome = Outcome::kDone;
  Transport transport;
};

// Null before start_switch().
Switch* running();

const chassis::Interface* find_interface(uint32_t if_index);

// Notes a failure of the transport, for quill_errno_get() and errno.
void set_transport_error(int error);

// A request to the manager that comes to nothing: remembered as the outcome, and its status.
constexpr uint32_t kSpanManager = 68;
uint32_t refused(uint32_t status);
uint32_t unreachable(int error);

bool debug_output();

// A line of debug output, behind the name of the module that says it.
void debug_line(const char* module, const char* text);

// Of the processes on the active supervisor.
constexpr uint32_t kSupervisorAddress = 2;

// Attaches the services of the modules.
void attach_modules(const chassis::Chassis& chassis);

// Milliseconds.
uint64_t time_now();

// Brings the traffic of the switch up to now.
void let_time_pass();

// Runs `work`; what it throws (memory is out) becomes the result of `failed`. Nothing thrown leaves a C function.
template <class Work, class Failed>
auto guarded(Work work, Failed failed) noexcept -> decltype(work()) {
  try {
    return work();
  } catch (...) {
    return failed();
  }
}

}  // namespace host

#endif
