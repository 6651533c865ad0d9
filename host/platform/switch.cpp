#include "host/platform/switch.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "host/platform/state.h"
#include "host/platform/status.h"
#include "platform/syserr.h"

namespace host {
namespace {

std::unique_ptr<Switch> the_switch;

constexpr uint32_t kQueue = 0x51;
constexpr std::chrono::milliseconds kGlance(500);

Switch& started() {
  if (the_switch == nullptr) throw std::logic_error("the switch is not started");
  return *the_switch;
}

}  // namespace

Switch* running() { return the_switch.get(); }

void run_switch(std::unique_ptr<Switch> next) { the_switch = std::move(next); }

bool has_switch() { return running() != nullptr; }

bool switch_is_replaced() { return started().link->is_replaced(); }

const chassis::Chassis& switch_chassis() { return started().chassis; }

uint32_t switch_queue() { return kQueue; }

void reset_outcome() {
  Switch& here = started();
  here.outcome = Outcome::kDone;
  here.refusal = 0;
  here.unhandled = 0;
  here.failure_told = false;
  here.module_error = 0;
  here.link->begin_command();
}

Glance::Glance() : debug_output_(debug_output()) {
  clear_interrupt();  // that of the last command
  set_debug_output(false);
  started().link->hurry(std::chrono::steady_clock::now() + kGlance);
}

Glance::~Glance() {
  started().link->hurry(std::nullopt);
  set_debug_output(debug_output_);
  reset_outcome();
}

Outcome outcome() { return started().outcome; }

uint32_t refusal() { return started().refusal; }

std::string failure() {
  Switch& here = started();
  const bool away = here.outcome == Outcome::kUnreachable;
  if (!away && here.unhandled == 0) return "";
  here.failure_told = true;
  if (!away) return syserr2str(here.unhandled);
  return std::string("SPAN manager: ") + transport_error_text(static_cast<uint32_t>(here.transport_error));
}

std::string untold_failure() {
  Switch& here = started();
  const std::string of_manager = here.failure_told ? "" : failure();
  if (!of_manager.empty() || here.module_error == 0) return of_manager;
  return std::string("modules: ") + transport_error_text(static_cast<uint32_t>(std::exchange(here.module_error, 0)));
}

std::optional<PortRoles> port_roles() {
  PortRoles roles;
  const int error = started().link->port_roles(roles);
  if (error == 0) return roles;
  error == EAGAIN ? unhandled(manager::kStandby) : unreachable(error);
  return std::nullopt;
}

const chassis::Interface* find_interface(uint32_t if_index) {
  return the_switch == nullptr ? nullptr : the_switch->chassis.find(if_index);
}

// Counts unless something worse happened before.
uint32_t refused(uint32_t status) {
  if (the_switch == nullptr) return status;
  the_switch->outcome = std::max(the_switch->outcome, Outcome::kRefused);
  if (the_switch->refusal == 0) the_switch->refusal = status;
  return status;
}

uint32_t unhandled(uint32_t status) {
  if (the_switch != nullptr) the_switch->unhandled = status;
  return refused(status);
}

uint32_t unreachable(int error) {
  set_transport_error(error);
  if (the_switch != nullptr) the_switch->outcome = Outcome::kUnreachable;
  return kTransportFailed;
}

void set_transport_error(int error) {
  if (the_switch != nullptr) the_switch->transport_error = error;
  errno = error;
}

}  // namespace host
