#include "platform/quill.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "host/platform/state.h"

namespace host {
namespace {

constexpr uint32_t kHandleMark = 0x5155494C;
constexpr size_t kAnswersKept = 64;

// What lies in the caller's handle. A zeroed one holds nothing.
struct Handle {
  uint32_t mark;
  uint32_t token;
  void* payload;
};
static_assert(sizeof(Handle) <= QUILL_MESSAGE_SIZE);

Handle load(const void* message) {
  Handle handle = {};
  if (message != nullptr) std::memcpy(&handle, message, sizeof handle);
  return handle.mark == kHandleMark ? handle : Handle{};
}

void store(void* message, const Handle& handle) { std::memcpy(message, &handle, sizeof handle); }

int failed(int error) {
  set_transport_error(error);
  return -1;
}

Transport* transport_of(uint32_t queue) {
  return running() != nullptr && queue == switch_queue() ? &running()->transport : nullptr;
}

// No service at all at an address: no module is there.
int missing(const Transport& transport, uint32_t address) {
  const auto at = transport.services.lower_bound({address, 0});
  return at != transport.services.end() && at->first.first == address ? ECONNREFUSED : EHOSTUNREACH;
}

// Answers that nobody received make room, the oldest first.
void keep_answer(Transport& transport, uint32_t token, std::vector<uint8_t> answer) {
  if (transport.answers.size() == kAnswersKept) transport.answers.erase(transport.answers.begin());
  transport.answers[token] = std::move(answer);
}

int deliver(Transport& transport, const Service& service, uint32_t opcode, std::span<const uint8_t> payload,
            void* message) {
  auto answer = service(opcode, payload);
  const uint32_t token = ++transport.last_token;
  if (answer) keep_answer(transport, token, std::move(*answer));
  store(message, {kHandleMark, token, nullptr});
  return 0;
}

// Answers are there as soon as the request is sent: one that is not there will not come.
int receive(Transport& transport, void* message, uint32_t token) {
  const auto answer = transport.answers.find(token);
  if (answer == transport.answers.end()) return failed(ETIMEDOUT);
  Handle handle = {kHandleMark, token, nullptr};
  const std::vector<uint8_t>& bytes = answer->second;
  if (!bytes.empty()) {
    handle.payload = std::malloc(bytes.size());
    if (handle.payload == nullptr) return failed(ENOMEM);
    std::memcpy(handle.payload, bytes.data(), bytes.size());
  }
  store(message, handle);
  transport.answers.erase(answer);
  return 0;
}

}  // namespace
}  // namespace host

using namespace host;

int quill_send(uint32_t queue, uint32_t address, uint32_t service, uint32_t opcode, const void* payload,
               uint32_t length, void* message, uint32_t, uint32_t) {
  Transport* transport = transport_of(queue);
  if (transport == nullptr) return failed(EBADF);
  if (message == nullptr || (payload == nullptr && length != 0)) return failed(EINVAL);
  const auto at = transport->services.find({address, service});
  if (at == transport->services.end()) return failed(missing(*transport, address));
  const std::span<const uint8_t> bytes = {static_cast<const uint8_t*>(payload), length};
  return guarded([&] { return deliver(*transport, at->second, opcode, bytes, message); },
                 [] { return failed(ENOMEM); });
}

int quill_recv(uint32_t queue, void* message, const void* options) {
  Transport* transport = transport_of(queue);
  if (transport == nullptr) return failed(EBADF);
  if (message == nullptr || options == nullptr) return failed(EINVAL);
  quill_recv_options_t how;
  std::memcpy(&how, options, sizeof how);
  return receive(*transport, message, how.token);
}

int quill_drop(uint32_t, void* message) {
  const Handle handle = load(message);
  if (handle.mark == 0) return 0;
  std::free(handle.payload);
  store(message, {});
  return 0;
}

void* quill_payload_get(const void* message) { return load(message).payload; }

uint32_t quill_rr_token_get(const void* message) { return load(message).token; }

uint32_t quill_errno_get(uint32_t queue) {
  const Transport* transport = transport_of(queue);
  return static_cast<uint32_t>(transport != nullptr ? transport->error : EBADF);
}
