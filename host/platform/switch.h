// The switch behind the platform's functions: who starts it, and what a command came to.
#ifndef HOST_PLATFORM_SWITCH_H
#define HOST_PLATFORM_SWITCH_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/chassis/chassis.h"

namespace manager {
struct Config;
}

namespace host {

// Starts the switch with an embedded manager. The platform's functions work from here on. Called again, it starts over:
// what belonged to the switch before, roles included, is gone.
void start_switch(chassis::Chassis description);

// Connects to the processes of a running switch instead; `name` is that of a run directory or of a manager's socket,
// and nothing stands for the usual run directory. The description of the switch is the manager's. Returns one line that
// tells why it failed, empty = done. The processes may come and go afterwards: what cannot reach them fails, and they
// are found again by themselves.
struct Waits {
  uint32_t request_ms = 5000;  // for the manager
  uint32_t message_ms = 1000;  // for the services of a module
};
std::string connect_switch(const std::string& name, const std::string& program, const Waits& waits = {});

// Whether one of these two has been done.
bool has_switch();

// Whether the manager that was found last has another switch than the one that was connected to. What is asked fails
// then, until that one is back or connected to anew.
bool switch_is_replaced();

// Ends what is waited for, and everything that would wait, until it is cleared. interrupt_switch() may be called from a
// signal handler.
void interrupt_switch() noexcept;
void clear_interrupt();

// A look at the switch between two commands, while the operator types. As long as it lives, nothing that is asked is
// told as debug output, all of it together waits for half a second at most, and in the end there is no outcome.
class Glance {
 public:
  Glance();
  ~Glance();
  Glance(const Glance&) = delete;
  Glance& operator=(const Glance&) = delete;

 private:
  bool debug_output_;  // as it was before
};

const chassis::Chassis& switch_chassis();

// The message-queue handle to put into command records; never 0.
uint32_t switch_queue();

// What the exchanges since the last reset came to. Handlers of the library return 0 on many refusals; this tells.
enum class Outcome { kDone = 0, kRefused = 1, kUnreachable = 3 };
void reset_outcome();
Outcome outcome();

// The manager's status of the first refusal since the last reset, 0 when there was none.
uint32_t refusal();

// Why an exchange since the last reset came to nothing, in words: the manager could not be reached, or refused to
// handle the request. Empty when all came to something. The other one is empty as well when the operator has been told
// already, be it by the library; and it tells, too, why modules did not answer, where the library has no words for it.
std::string failure();
std::string untold_failure();

// Permissions of the operator. Fills the display context of a command record, 8 words; the context
// stays valid as long as the chassis.
void set_display_role(uintptr_t (&display_ctx)[8], const chassis::Role& role);

// Debug output (murmur) goes to standard error when on; it is off at the start.
void set_debug_output(bool on);

// Event history, newest last: event number and text.
struct HistoryEvent {
  uint32_t event;
  std::string text;
};
std::vector<HistoryEvent> event_history();
std::string event_history_text();  // a line for each event

// Runs one line as a shell command, for brio_execute_script_file(). Set by the shell.
void set_script_runner(std::function<void(std::string_view line)> run);

// What the interfaces are to the manager: those that are not in the normal mode, and destinations of sessions. One
// exchange; nothing when the manager cannot be reached, which is the outcome then.
struct PortRole {
  chassis::PortMode mode = chassis::PortMode::kNormal;
  bool destination = false;
};
using PortRoles = std::map<uint32_t, PortRole>;  // by if_index
std::optional<PortRoles> port_roles();

// All that the manager keeps, for tests. Only of an embedded switch.
const manager::Config& configuration();

// A process of the switch that answers single messages (quill), at an address and a service number. It gives the
// answer's payload, or nothing when it does not answer. Ends with the switch.
using Service = std::function<std::optional<std::vector<uint8_t>>(uint32_t opcode, std::span<const uint8_t> payload)>;
void attach_service(uint32_t address, uint32_t service, Service answer);

// The switch's clock, in milliseconds from wherever. Tests set it, before start_switch(); without a function it is the
// real one.
using Clock = std::function<uint64_t()>;
void set_clock(Clock read);

// Tests: makes every exchange fail, as if the manager were away.
void set_manager_reachable(bool reachable);

}  // namespace host

#endif
