// The switch as processes: the SPAN manager and the services of its modules, each behind a socket.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <set>

#include "host/linecard/modules.h"
#include "host/manager/responses.h"
#include "host/platform/state.h"
#include "host/transport/channel.h"
#include "host/transport/endpoints.h"

namespace host {
namespace {

using Clock = std::chrono::steady_clock;
using transport::Message;
using transport::Milliseconds;
using transport::Type;

constexpr size_t kAnswersAwaited = 64;

// Made with the first connection, for good: a signal handler may come at any time.
std::atomic<transport::Interrupt*> the_interrupt = nullptr;

transport::Interrupt* interrupt() {
  static transport::Interrupt raised;
  the_interrupt = &raised;
  return &raised;
}

std::optional<std::string> optional_text(const char* text) {
  return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

// A service at an address.
using Place = std::pair<uint32_t, uint32_t>;

class Remote : public Link {
 public:
  Remote(transport::Endpoint endpoint, std::string program, const Waits& waits)
      : endpoint_(std::move(endpoint)),
        program_(std::move(program)),
        waits_(waits),
        manager_(channel(endpoint_.manager)) {}

  // Who is there. The switch that is described now is the one from here on.
  int connect(transport::Welcome& welcome);

  int exchange(const ManagerRequest& request, manager::Reply& reply) override;
  int dump(std::string_view function, std::span<const uint8_t> record, manager::Dump& dump) override;
  int port_roles(PortRoles& roles) override;
  int send(uint32_t address, uint32_t service, uint32_t opcode, std::span<const uint8_t> payload,
           uint32_t& token) override;
  int receive(uint32_t token, std::vector<uint8_t>& answer) override;
  void begin_command() override { silent_.clear(); }
  bool is_replaced() const override { return replaced_; }
  void hurry(std::optional<Clock::time_point> end) override { end_ = end; }

 private:
  // A message that waits for its answer.
  struct Awaited {
    Place place;
    uint32_t id;
    std::vector<uint8_t> request;
  };

  transport::Channel channel(const std::string& path) const { return {path, program_, interrupt()}; }
  transport::Channel& node(uint32_t address);
  Milliseconds request_wait() const { return wait_of(waits_.request_ms); }
  Milliseconds message_wait() const { return wait_of(waits_.message_ms); }
  Milliseconds wait_of(uint32_t milliseconds) const;

  int check_switch();
  template <class Answer>
  int ask(Type type, transport::Bytes body, Type expected, std::optional<Answer>& answer);
  int of_module(const Place& place, int error);

  const transport::Endpoint endpoint_;
  const std::string program_;
  const Waits waits_;
  transport::Channel manager_;
  std::string description_;                       // of the switch
  bool replaced_ = false;                         // by another one, as far as is known
  std::map<uint32_t, transport::Channel> nodes_;  // by address
  std::map<uint32_t, Awaited> awaited_;           // by token
  uint32_t last_token_ = 0;
  std::optional<Clock::time_point> end_;  // of all waits, when they have to hurry

  // Those that let a message wait in vain. A scan of the chassis asks some of them for each of its slots; it waits
  // once.
  std::set<Place> silent_;
};

transport::Channel& Remote::node(uint32_t address) {
  const auto at = nodes_.find(address);
  if (at != nodes_.end()) return at->second;
  return nodes_.emplace(address, channel(transport::node_socket(endpoint_.run_directory, address))).first->second;
}

Milliseconds Remote::wait_of(uint32_t milliseconds) const {
  const Milliseconds usual(milliseconds);
  return end_ ? std::clamp(std::chrono::ceil<Milliseconds>(*end_ - Clock::now()), Milliseconds(0), usual) : usual;
}

// ---- The manager -----------------------------------------------------------------------------------------------------

int Remote::connect(transport::Welcome& welcome) {
  const int error = manager_.welcome(welcome, request_wait());
  description_ = welcome.chassis;
  return error;
}

// A manager that was started anew may have another switch. Interfaces would be taken for others there.
int Remote::check_switch() {
  transport::Welcome welcome;
  if (const int error = manager_.welcome(welcome, request_wait())) return error;
  replaced_ = welcome.chassis != description_;
  return replaced_ ? ESTALE : 0;
}

// A socket that is not there belongs to a manager that does not run.
template <class Answer>
int Remote::ask(Type type, transport::Bytes body, Type expected, std::optional<Answer>& answer) {
  Message message = {expected};
  int error = check_switch();
  if (error == 0) error = manager_.call(type, std::move(body), message, request_wait());
  if (error != 0) return error == ENOENT ? ECONNREFUSED : error;
  if (message.type == expected) answer = transport::decode<Answer>(message.body);
  return answer ? 0 : EPROTO;
}

// The library believes the counts of a response. They come from another process, so they are checked.
int Remote::exchange(const ManagerRequest& request, manager::Reply& reply) {
  const transport::Request body = {request.opcode,
                                   request.kind,
                                   optional_text(request.requester1),
                                   optional_text(request.requester2),
                                   {request.payload.begin(), request.payload.end()}};
  std::optional<transport::Reply> answer;
  if (const int error = ask(Type::kRequest, transport::encode(body), Type::kReply, answer)) return error;
  if (answer->status == 0 && !manager::is_whole(request.opcode, answer->response)) return EPROTO;
  reply = {answer->status, std::move(answer->response), answer->result};
  return 0;
}

int Remote::dump(std::string_view function, std::span<const uint8_t> record, manager::Dump& dump) {
  const transport::DumpRequest body = {std::string(function), {record.begin(), record.end()}};
  std::optional<transport::Dumped> answer;
  if (const int error = ask(Type::kDump, transport::encode(body), Type::kDumped, answer)) return error;
  dump = {answer->status, std::move(answer->text)};
  return 0;
}

int Remote::port_roles(PortRoles& roles) {
  std::optional<transport::RoleList> answer;
  if (const int error = ask(Type::kRoles, {}, Type::kRoleList, answer)) return error;
  for (const transport::PortRole& each : answer->ports) {
    if (each.mode > static_cast<uint32_t>(chassis::PortMode::kTunnelSource)) return EPROTO;
    roles[each.if_index] = {static_cast<chassis::PortMode>(each.mode), each.destination};
  }
  return 0;
}

// ---- Modules ---------------------------------------------------------------------------------------------------------

// A module without a socket is not there.
int Remote::of_module(const Place& place, int error) {
  if (error == ETIMEDOUT) silent_.insert(place);
  return error == ENOENT ? EHOSTUNREACH : error;
}

// Messages whose answer nobody received make room, the oldest first.
int Remote::send(uint32_t address, uint32_t service, uint32_t opcode, std::span<const uint8_t> payload,
                 uint32_t& token) {
  const Place place = {address, service};
  if (silent_.contains(place)) return ETIMEDOUT;
  const transport::Send body = {service, opcode, {payload.begin(), payload.end()}};
  uint32_t id = 0;
  const int error = node(address).send(Type::kSend, transport::encode(body), id, message_wait());
  if (error != 0) return of_module(place, error);
  if (awaited_.size() == kAnswersAwaited) {
    const auto oldest = awaited_.begin();
    node(oldest->second.place.first).abandon(oldest->second.id);
    awaited_.erase(oldest);
  }
  token = ++last_token_;
  awaited_[token] = {place, id, {payload.begin(), payload.end()}};
  return 0;
}

int Remote::receive(uint32_t token, std::vector<uint8_t>& answer) {
  const auto at = awaited_.find(token);
  if (at == awaited_.end()) return ETIMEDOUT;
  const Awaited awaited = std::move(at->second);
  awaited_.erase(at);
  Message message = {Type::kAnswer};
  transport::Channel& module = node(awaited.place.first);
  if (const int error = module.receive(awaited.id, message, message_wait())) {
    module.abandon(awaited.id);
    return of_module(awaited.place, error);
  }
  const bool whole = linecard::is_whole(awaited.place.second, awaited.request, message.body);
  if (message.type != Type::kAnswer || !whole) return EPROTO;
  answer = std::move(message.body);
  return 0;
}

// ---- Connecting ------------------------------------------------------------------------------------------------------

// Why there is no welcome, in one line.
std::string not_welcome(const transport::Endpoint& endpoint, int error) {
  const std::string manager = "the SPAN manager of " + endpoint.run_directory;
  const std::string file = endpoint.manager.substr(endpoint.manager.rfind('/') + 1);
  const std::string how = " (" + file + ": " + std::strerror(error) + ")";
  switch (error) {
    case EACCES:
    case EPERM:
      return "you may not use " + manager + how;
    case EPROTO:
      return manager + " speaks another version" + how;
    case ETIMEDOUT:
      return manager + " does not answer" + how;
    case EBUSY:
      return manager + " has too many clients" + how;
    default:
      return "no SPAN manager serves " + endpoint.run_directory + how;
  }
}

}  // namespace

std::string connect_switch(const std::string& name, const std::string& program, const Waits& waits) {
  const transport::Endpoint endpoint = transport::endpoint(name.empty() ? transport::default_run_directory() : name);
  auto link = std::make_unique<Remote>(endpoint, program, waits);
  transport::Welcome welcome;
  if (const int error = link->connect(welcome)) return not_welcome(endpoint, error);
  if (welcome.role == transport::Role::kNode) return endpoint.manager + ": this is no SPAN manager";
  std::string error;
  std::optional<chassis::Chassis> description = chassis::Chassis::parse(welcome.chassis, welcome.chassis_name, error);
  if (!description) return "the SPAN manager of " + endpoint.run_directory + " describes no switch: " + error;
  auto next = std::make_unique<Switch>(std::move(*description));
  next->link = std::move(link);
  run_switch(std::move(next));
  return "";
}

void interrupt_switch() noexcept {
  if (transport::Interrupt* const raised = the_interrupt) raised->raise();
}

void clear_interrupt() {
  if (transport::Interrupt* const raised = the_interrupt) raised->clear();
}

}  // namespace host
