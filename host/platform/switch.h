// The switch behind the platform's functions: who starts it, and what a command came to.
#ifndef HOST_PLATFORM_SWITCH_H
#define HOST_PLATFORM_SWITCH_H

#include <cstdint>
#include <functional>
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

const chassis::Chassis& switch_chassis();

// The message-queue handle to put into command records; never 0.
uint32_t switch_queue();

// What the exchanges since the last reset came to. Handlers of the library return 0 on many refusals; this tells.
enum class Outcome { kDone = 0, kRefused = 1, kUnreachable = 3 };
void reset_outcome();
Outcome outcome();

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

// Present port mode of an interface, as the manager has it.
chassis::PortMode port_mode(uint32_t if_index);

// All that the manager keeps, for tests.
const manager::Config& configuration();

// Operational facts for "show interface brief": whether the interface is a SPAN destination or a source of a session.
bool is_span_destination(uint32_t if_index);

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
