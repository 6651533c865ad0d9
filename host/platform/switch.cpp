#include "host/platform/switch.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>

#include "host/platform/state.h"
#include "host/platform/status.h"

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
  the_switch = std::make_unique<Switch>(std::move(description), time_now());
  attach_modules(the_switch->chassis);
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

const manager::Config& configuration() { return started().manager.config(); }

bool is_span_destination(uint32_t if_index) { return started().manager.is_destination(if_index); }

const chassis::Interface* find_interface(uint32_t if_index) {
  return the_switch == nullptr ? nullptr : the_switch->chassis.find(if_index);
}

// Counts unless something worse happened before.
uint32_t refused(uint32_t status) {
  if (the_switch != nullptr) the_switch->outcome = std::max(the_switch->outcome, Outcome::kRefused);
  return status;
}

uint32_t unreachable(int error) {
  set_transport_error(error);
  if (the_switch != nullptr) the_switch->outcome = Outcome::kUnreachable;
  return kTransportFailed;
}

void set_transport_error(int error) {
  if (the_switch != nullptr) the_switch->transport.error = error;
  errno = error;
}

}  // namespace host
