// What the platform's functions share: the running switch. Only for host/platform.
#ifndef HOST_PLATFORM_STATE_H
#define HOST_PLATFORM_STATE_H

#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

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
  explicit Switch(chassis::Chassis description) : chassis(std::move(description)), manager(chassis) {}

  const chassis::Chassis chassis;
  manager::Manager manager;
  bool reachable = true;
  Outcome outcome = Outcome::kDone;
  Transport transport;
};

// Null before start_switch().
Switch* running();

const chassis::Interface* find_interface(uint32_t if_index);

// Notes a failure of the transport, for quill_errno_get() and errno.
void set_transport_error(int error);

bool debug_output();

// A line of debug output, behind the name of the module that says it.
void debug_line(const char* module, const char* text);

// The process of the supervisor that knows the modules.
constexpr uint32_t kSupervisorAddress = 2;
constexpr uint32_t kModuleInformation = 100;
std::optional<std::vector<uint8_t>> answer_module_information(std::span<const uint8_t> payload);

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
