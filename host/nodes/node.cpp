#include "host/nodes/node.h"

#include <cerrno>
#include <utility>

#include "host/linecard/counter_service.h"

namespace nodes {
namespace {

using transport::Message;
using transport::Peer;
using transport::Responder;
using transport::Type;

void fail(const Responder& answer, int error, const std::string& text) {
  answer(Type::kFailed, transport::encode(transport::Failed{static_cast<uint32_t>(error), text}));
}

void answer_message(const Services& services, const Message& message, const Responder& answer) {
  if (message.type != Type::kSend) return fail(answer, EOPNOTSUPP, "no message for a module");
  const auto sent = transport::decode<transport::Send>(message.body);
  if (!sent) return fail(answer, EPROTO, "malformed message");
  const auto service = services.find(sent->service);
  if (service == services.end()) {
    return fail(answer, ECONNREFUSED, "there is no service " + std::to_string(sent->service) + " here");
  }
  if (auto result = service->second(sent->opcode, sent->payload)) answer(Type::kAnswer, std::move(*result));
}

}  // namespace

transport::Handler node(Services services) {
  return [services = std::move(services)](const Peer& /*peer*/, const Message& message, const Responder& answer) {
    answer_message(services, message, answer);
  };
}

transport::Handler silent_node() {
  return [](const Peer& /*peer*/, const Message& /*message*/, const Responder& /*answer*/) {};
}

transport::Handler supervisor(const chassis::Chassis& chassis) {
  return node({{linecard::kInformationService, [&chassis](uint32_t opcode, linecard::Payload payload) {
                  return linecard::module_information(chassis, opcode, payload);
                }}});
}

transport::Handler line_card(Cards& cards, const chassis::Module& module) {
  if (module.state == chassis::ModuleState::kSilent) return silent_node();
  return node(
      {{linecard::kCounterService, [&cards, number = module.number](uint32_t opcode, linecard::Payload payload) {
          return linecard::drop_counter(number, cards.drops(number), opcode, payload);
        }}});
}

}  // namespace nodes
