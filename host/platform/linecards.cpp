// The modules of the switch, as services of the message transport.
#include <chrono>

#include "host/linecard/counter_service.h"
#include "host/linecard/modules.h"
#include "host/platform/state.h"

namespace host {
namespace {

// Address of a module's processes.
constexpr uint32_t address_of(const chassis::Module& module) { return uint32_t{module.number} << 8 | 2; }

uint64_t running_time() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

Clock& clock() {
  static Clock read = running_time;
  return read;
}

void attach_line_card(const chassis::Module& module) {
  const bool silent = module.state == chassis::ModuleState::kSilent;
  const auto answer = [silent, number = module.number](uint32_t opcode, linecard::Payload payload) -> linecard::Answer {
    if (silent) return std::nullopt;
    let_time_pass();
    return linecard::drop_counter(number, running()->traffic.drops(number), opcode, payload);
  };
  attach_service(address_of(module), linecard::kCounterService, answer);
}

}  // namespace

void set_clock(Clock read) { clock() = read ? std::move(read) : running_time; }

uint64_t time_now() { return clock()(); }

void let_time_pass() { running()->traffic.pass(time_now(), running()->manager.state()); }

void attach_modules(const chassis::Chassis& chassis) {
  attach_service(kSupervisorAddress, linecard::kInformationService, [&chassis](uint32_t opcode, auto payload) {
    return linecard::module_information(chassis, opcode, payload);
  });
  for (const chassis::Module& each : chassis.modules()) {
    if (each.runs() && !each.supervisor) attach_line_card(each);
  }
}

}  // namespace host
