// The switch inside this process: its manager, its line cards and the services of its modules.
#include <cerrno>
#include <chrono>
#include <map>
#include <stdexcept>

#include "host/linecard/counter_service.h"
#include "host/linecard/modules.h"
#include "host/linecard/traffic.h"
#include "host/platform/state.h"
#include "platform/vex.h"

namespace host {
namespace {

constexpr size_t kAnswersKept = 64;

uint64_t running_time() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

Clock& clock() {
  static Clock read = running_time;
  return read;
}

// Address of a module's processes.
constexpr uint32_t address_of(const chassis::Module& module) { return uint32_t{module.number} << 8 | 2; }

class Embedded : public Link {
 public:
  explicit Embedded(const chassis::Chassis& chassis);

  int exchange(const ManagerRequest& request, manager::Reply& reply) override;
  int dump(std::string_view function, std::span<const uint8_t> record, manager::Dump& dump) override;
  int port_roles(PortRoles& roles) override;
  int send(uint32_t address, uint32_t service, uint32_t opcode, std::span<const uint8_t> payload,
           uint32_t& token) override;
  int receive(uint32_t token, std::vector<uint8_t>& answer) override;

  void attach(uint32_t address, uint32_t service, Service answer);
  void set_reachable(bool reachable) { reachable_ = reachable; }
  const manager::Config& configuration() const { return manager_.config(); }

 private:
  void let_time_pass() { traffic_.pass(clock()(), manager_.state()); }
  void attach_line_card(const chassis::Module& module);
  int missing(uint32_t address) const;

  const chassis::Chassis& chassis_;
  manager::Manager manager_;
  linecard::Traffic traffic_;
  bool reachable_ = true;
  std::map<std::pair<uint32_t, uint32_t>, Service> services_;  // by address and service number
  std::map<uint32_t, std::vector<uint8_t>> answers_;           // not yet received, by token
  uint32_t last_token_ = 0;
};

Embedded::Embedded(const chassis::Chassis& chassis) : chassis_(chassis), manager_(chassis), traffic_(clock()()) {
  attach(kSupervisorAddress, linecard::kInformationService,
         [&chassis](uint32_t opcode, auto payload) { return linecard::module_information(chassis, opcode, payload); });
  for (const chassis::Module& each : chassis.modules()) {
    if (each.runs() && !each.supervisor) attach_line_card(each);
  }
}

void Embedded::attach(uint32_t address, uint32_t service, Service answer) {
  services_[{address, service}] = std::move(answer);
}

void Embedded::attach_line_card(const chassis::Module& module) {
  const bool silent = module.state == chassis::ModuleState::kSilent;
  const auto answer = [this, silent, number = module.number](uint32_t opcode,
                                                             linecard::Payload payload) -> linecard::Answer {
    if (silent) return std::nullopt;
    let_time_pass();
    return linecard::drop_counter(number, traffic_.drops(number), opcode, payload);
  };
  attach(address_of(module), linecard::kCounterService, answer);
}

int Embedded::exchange(const ManagerRequest& request, manager::Reply& reply) {
  if (!reachable_) return ECONNREFUSED;
  if (request.kind == VEX_KIND_CHANGE) let_time_pass();
  reply = manager_.handle(request.opcode, request.kind, request.payload);
  return 0;
}

int Embedded::dump(std::string_view function, std::span<const uint8_t> record, manager::Dump& dump) {
  if (!reachable_) return ECONNREFUSED;
  dump = manager_.dump(function, record);
  return 0;
}

int Embedded::port_roles(PortRoles& roles) {
  if (!reachable_) return ECONNREFUSED;
  for (const chassis::Interface& each : chassis_.interfaces()) {
    const PortRole role = {manager_.port_mode(each.if_index), manager_.is_destination(each.if_index)};
    if (role.mode != chassis::PortMode::kNormal || role.destination) roles[each.if_index] = role;
  }
  return 0;
}

// No service at all at an address: no module is there.
int Embedded::missing(uint32_t address) const {
  const auto at = services_.lower_bound({address, 0});
  return at != services_.end() && at->first.first == address ? ECONNREFUSED : EHOSTUNREACH;
}

// Answers that nobody received make room, the oldest first.
int Embedded::send(uint32_t address, uint32_t service, uint32_t opcode, std::span<const uint8_t> payload,
                   uint32_t& token) {
  const auto at = services_.find({address, service});
  if (at == services_.end()) return missing(address);
  auto answer = at->second(opcode, payload);
  token = ++last_token_;
  if (!answer) return 0;
  if (answers_.size() == kAnswersKept) answers_.erase(answers_.begin());
  answers_[token] = std::move(*answer);
  return 0;
}

// Answers are there as soon as the request is sent: one that is not there will not come.
int Embedded::receive(uint32_t token, std::vector<uint8_t>& answer) {
  const auto at = answers_.find(token);
  if (at == answers_.end()) return ETIMEDOUT;
  answer = std::move(at->second);
  answers_.erase(at);
  return 0;
}

Embedded& embedded() {
  auto* const link = running() != nullptr ? dynamic_cast<Embedded*>(running()->link.get()) : nullptr;
  if (link == nullptr) throw std::logic_error("the switch is not started in this process");
  return *link;
}

}  // namespace

void start_switch(chassis::Chassis description) {
  auto next = std::make_unique<Switch>(std::move(description));
  next->link = std::make_unique<Embedded>(next->chassis);
  run_switch(std::move(next));
}

const manager::Config& configuration() { return embedded().configuration(); }

void attach_service(uint32_t address, uint32_t service, Service answer) {
  embedded().attach(address, service, std::move(answer));
}

void set_manager_reachable(bool reachable) { embedded().set_reachable(reachable); }

void set_clock(Clock read) { clock() = read ? std::move(read) : running_time; }

}  // namespace host
