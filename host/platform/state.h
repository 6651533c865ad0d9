// What the platform's functions share: the running switch. Only for host/platform.
#ifndef HOST_PLATFORM_STATE_H
#define HOST_PLATFORM_STATE_H

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "host/platform/link.h"
#include "host/platform/switch.h"

namespace host {

struct Switch {
  explicit Switch(chassis::Chassis description) : chassis(std::move(description)) {}

  const chassis::Chassis chassis;
  std::unique_ptr<Link> link;  // may refer to the chassis
  Outcome outcome = Outcome::kDone;
  uint32_t refusal = 0;       // the first status of a refusal, since the last reset of the outcome
  int transport_error = 0;    // the last one, an errno number
  uint32_t unhandled = 0;     // status of a request that the manager did not handle
  bool failure_told = false;  // to the operator; both since the last reset of the outcome
  int module_error = 0;       // of a message to a module, when the library does not say why it came to nothing
  std::vector<uint8_t> prepared_answer{};
};

// Null before start_switch().
Switch* running();

// The switch from here on, in the place of the one before.
void run_switch(std::unique_ptr<Switch> next);

const chassis::Interface* find_interface(uint32_t if_index);

// Notes a failure of the transport, for quill_errno_get() and errno.
void set_transport_error(int error);

// What an errno number of the transport means to an operator.
const char* transport_error_text(uint32_t error);

// A request to the manager that comes to nothing: remembered as the outcome, and its status.
constexpr uint32_t kSpanManager = 68;
uint32_t refused(uint32_t status);
uint32_t unhandled(uint32_t status);  // as a whole
uint32_t unreachable(int error);

bool debug_output();

// A line of debug output, behind the name of the module that says it.
void debug_line(const char* module, const char* text);

// Of the processes on the active supervisor.
constexpr uint32_t kSupervisorAddress = 2;

// Makes `message` the handle of one whose answer is there already. It is the next one to be received.
void prepare_answer(void* message, std::vector<uint8_t> answer);

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
