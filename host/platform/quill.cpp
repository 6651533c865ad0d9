#include "platform/quill.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "host/platform/state.h"

namespace host {
namespace {

constexpr uint32_t kHandleMark = 0x5155494C;
constexpr uint32_t kPreparedAnswer = 0xFFFFFFFF;  // token of a message that nobody was asked with

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

bool is_open(uint32_t queue) { return running() != nullptr && queue == switch_queue(); }

int send(uint32_t address, uint32_t service, uint32_t opcode, std::span<const uint8_t> payload, void* message) {
  uint32_t token = 0;
  if (const int error = running()->link->send(address, service, opcode, payload, token)) return failed(error);
  store(message, {kHandleMark, token, nullptr});
  return 0;
}

int take_answer(uint32_t token, std::vector<uint8_t>& answer) {
  if (token != kPreparedAnswer) return running()->link->receive(token, answer);
  answer = std::exchange(running()->prepared_answer, {});
  return 0;
}

int receive(void* message, uint32_t token) {
  std::vector<uint8_t> answer;
  if (const int error = take_answer(token, answer)) {
    running()->module_error = error;
    return failed(error);
  }
  Handle handle = {kHandleMark, token, nullptr};
  if (!answer.empty()) {
    handle.payload = std::malloc(answer.size());
    if (handle.payload == nullptr) return failed(ENOMEM);
    std::memcpy(handle.payload, answer.data(), answer.size());
  }
  store(message, handle);
  return 0;
}

}  // namespace

void prepare_answer(void* message, std::vector<uint8_t> answer) {
  running()->prepared_answer = std::move(answer);
  store(message, {kHandleMark, kPreparedAnswer, nullptr});
}

}  // namespace host

using namespace host;

int quill_send(uint32_t queue, uint32_t address, uint32_t service, uint32_t opcode, const void* payload,
               uint32_t length, void* message, uint32_t, uint32_t) {
  if (!is_open(queue)) return failed(EBADF);
  if (message == nullptr || (payload == nullptr && length != 0)) return failed(EINVAL);
  const std::span<const uint8_t> bytes = {static_cast<const uint8_t*>(payload), length};
  return guarded([&] { return send(address, service, opcode, bytes, message); }, [] { return failed(ENOMEM); });
}

// The callers' time-outs have no unit that anybody has stated. How long a module may take is told to connect_switch().
int quill_recv(uint32_t queue, void* message, const void* options) {
  if (!is_open(queue)) return failed(EBADF);
  if (message == nullptr || options == nullptr) return failed(EINVAL);
  quill_recv_options_t how;
  std::memcpy(&how, options, sizeof how);
  return guarded([&] { return receive(message, how.token); }, [] { return failed(ENOMEM); });
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
  return static_cast<uint32_t>(is_open(queue) ? running()->transport_error : EBADF);
}
