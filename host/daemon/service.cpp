#include "host/daemon/service.h"

#include <cerrno>
#include <utility>

#include "host/daemon/say.h"
#include "host/manager/reasons.h"
#include "host/manager/sessions.h"
#include "host/manager/words.h"
#include "platform/vex.h"

namespace spand {
namespace {

using manager::Reply;
using transport::Bytes;
using transport::encode;
using transport::Message;
using transport::Peer;
using transport::Responder;
using transport::Type;

constexpr char kIsStandby[] = "SPAN manager is a stateless standby";

// Nothing that a client says is worth an end of the daemon.
struct Malformed : std::runtime_error {
  Malformed() : std::runtime_error("malformed message") {}
};

template <class T>
T decoded(const Message& message) {
  auto body = transport::decode<T>(message.body);
  if (!body) throw Malformed();
  return *std::move(body);
}

void check_empty(const Message& message) {
  if (!message.body.empty()) throw Malformed();
}

void fail(const Responder& answer, int error, const std::string& text) {
  answer(Type::kFailed, encode(transport::Failed{static_cast<uint32_t>(error), text}));
}

void answer_reply(const Responder& answer, Reply reply) {
  answer(Type::kReply, encode(transport::Reply{reply.status, reply.result, std::move(reply.response)}));
}

Reply no_answer(uint32_t status) { return {status, {}, status}; }

AuditLine line_about(const Peer& peer, const chassis::Chassis& chassis, const transport::Request& request) {
  AuditLine line = line_of(peer);
  line.requester1 = tame(request.requester1.value_or(""));
  line.requester2 = tame(request.requester2.value_or(""));
  line.opcode = request.opcode;
  line.what = manager::describe(chassis, request.opcode, request.payload);
  return line;
}

transport::RoleList roles_of(const manager::Config& config) {
  std::map<uint32_t, transport::PortRole> roles;
  for (const auto& [if_index, mode] : config.port_modes) roles[if_index].mode = static_cast<uint32_t>(mode);
  for (const manager::Session& session : config.sessions) {
    if (session.destination != 0) roles[session.destination].destination = true;
  }
  transport::RoleList list;
  for (auto& [if_index, role] : roles) {
    role.if_index = if_index;
    list.ports.push_back(role);
  }
  return list;
}

}  // namespace

Service::Service(const chassis::Chassis& chassis, Access access, State state) : chassis_(chassis), access_(access) {
  become_active(std::move(state));
}

Service::Service(const chassis::Chassis& chassis, Access access, TakeOver take_over)
    : chassis_(chassis), access_(access), take_over_(std::move(take_over)) {}

void Service::handle(const Peer& peer, const Message& message, const Responder& answer) noexcept {
  try {
    try {
      dispatch(peer, message, answer);
    } catch (const Malformed& error) {
      fail(answer, EPROTO, error.what());
    } catch (const std::bad_alloc&) {
      fail(answer, ENOMEM, "out of memory");
    } catch (const std::exception& error) {
      fail(answer, EIO, error.what());
    }
  } catch (...) {  // not even that could be said
  }
}

void Service::dispatch(const Peer& peer, const Message& message, const Responder& answer) {
  switch (message.type) {
    case Type::kRequest:
      return request(peer, message, answer);
    case Type::kDump:
      return dump(message, answer);
    case Type::kTakeOver:
      return take_over(peer, message, answer);
    case Type::kRoles:
      return roles(message, answer);
    case Type::kWatch:
      return watch(message, answer);
    default:
      return fail(answer, EOPNOTSUPP, "no message for a SPAN manager");
  }
}

void Service::request(const Peer& peer, const Message& message, const Responder& answer) {
  const auto asked = decoded<transport::Request>(message);
  if (!is_active()) return answer_reply(answer, manager::standby_reply(asked.opcode));
  manager::Manager& manager = active_->manager;
  if (asked.kind != VEX_KIND_CHANGE)
    return answer_reply(answer, manager.handle(asked.opcode, asked.kind, asked.payload));
  AuditLine line = line_about(peer, chassis_, asked);
  if (!access_.may_change(peer)) return answer_reply(answer, refuse(std::move(line)));
  answer_reply(answer, change(std::move(line), asked));
  watchers_.set_rates(linecard::copy_rates(manager.state()), manager.config().threshold);
}

// On disk before it is answered, or undone.
Reply Service::change(AuditLine line, const transport::Request& request) {
  const auto keep = [&](const manager::Config& from, const manager::Config& to, const Reply& reply) {
    line.result = reply.status != 0 ? reply.status : reply.result;
    return saved([&] { active_->store->save(from, to, {&line, 1}); });
  };
  return active_->manager.handle(request.opcode, request.kind, request.payload, keep);
}

Reply Service::refuse(AuditLine line) {
  line.result = manager::kNotPermitted;
  line.permitted = false;
  saved([&] { active_->store->note(line); });
  return no_answer(manager::kNotPermitted);
}

// One line in the log when saving begins to fail, and one when it works again.
template <class Work>
bool Service::saved(Work work) {
  try {
    work();
    if (!std::exchange(saving_, true)) say("changes are saved again");
    return true;
  } catch (const DatabaseError& error) {
    if (std::exchange(saving_, false)) say(std::string("changes cannot be saved, and are refused: ") + error.what());
    return false;
  }
}

void Service::dump(const Message& message, const Responder& answer) const {
  const auto asked = decoded<transport::DumpRequest>(message);
  const manager::Dump dump =
      is_active() ? active_->manager.dump(asked.function, asked.record) : manager::Dump{manager::kStandby, {}};
  answer(Type::kDumped, encode(transport::Dumped{dump.status, dump.text}));
}

void Service::roles(const Message& message, const Responder& answer) const {
  check_empty(message);
  if (!is_active()) return fail(answer, EAGAIN, kIsStandby);
  answer(Type::kRoleList, encode(roles_of(active_->manager.config())));
}

void Service::watch(const Message& message, const Responder& answer) {
  const auto asked = decoded<transport::Watch>(message);
  if (!is_active()) return fail(answer, EAGAIN, kIsStandby);
  watchers_.add(asked.generation, answer, std::chrono::steady_clock::now());
}

// The one that is active already has nothing to do.
void Service::take_over(const Peer& peer, const Message& message, const Responder& answer) {
  check_empty(message);
  if (!access_.may_change(peer)) {
    AuditLine line = line_of(peer);
    line.what = "take over";
    return answer_reply(answer, is_active() ? refuse(std::move(line)) : no_answer(manager::kNotPermitted));
  }
  const uint32_t status = is_active() ? 0 : try_to_become_active(peer);
  answer_reply(answer, {status, {}, status});
}

uint32_t Service::try_to_become_active(const Peer& peer) {
  try {
    become_active(take_over_());
  } catch (const StateInUse&) {
    return manager::kStillActive;
  }
  AuditLine line = line_of(peer);
  line.what = "take over";
  const manager::Config& config = active_->manager.config();
  saved([&] { active_->store->save(config, config, {&line, 1}); });
  return 0;
}

void Service::become_active(State state) {
  active_.emplace(chassis_, std::move(state));
  watchers_.set_rates(linecard::copy_rates(active_->manager.state()), active_->manager.config().threshold);
}

}  // namespace spand
