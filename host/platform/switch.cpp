#include "host/platform/switch.h"

#include <cerrno>
#include <stdexcept>

#include "host/platform/state.h"

namespace host {
namespace {

std::unique_ptr<Switch> the_switch;

constexpr uint32_t kQueue = 0x51;

Switch& started() {
  if (the_switch == nullptr) throw std::logic_error("the switch is not started");
  return *the_switch;
}

}  // namespace

Switch* running() { return the_switch.get(); }

void start_switch(chassis::Chassis description) {
  the_switch = std::make_unique<Switch>(std::move(description));
  attach_service(kSupervisorAddress, kModuleInformation,
                 [](uint32_t, std::span<const uint8_t> payload) { return answer_module_information(payload); });
}

const chassis::Chassis& switch_chassis() { return started().chassis; }

uint32_t switch_queue() { return kQueue; }

void reset_outcome() { started().outcome = Outcome::kDone; }

Outcome outcome() { return started().outcome; }

void attach_service(uint32_t address, uint32_t service, Service answer) {
  started().transport.services[{address, service}] = std::move(answer);
}

void set_manager_reachable(bool reachable) { started().reachable = reachable; }

chassis::PortMode port_mode(uint32_t if_index) { return started().manager.port_mode(if_index); }

bool is_span_destination(uint32_t if_index) { return started().manager.is_destination(if_index); }

const chassis::Interface* find_interface(uint32_t if_index) {
  return the_switch == nullptr ? nullptr : the_switch->chassis.find(if_index);
}

void set_transport_error(int error) {
  if (the_switch != nullptr) the_switch->transport.error = error;
  errno = error;
}

}  // namespace host
