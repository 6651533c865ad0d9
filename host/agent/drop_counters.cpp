#include "host/agent/drop_counters.h"

#include "host/platform/switch.h"
#include "platform/hw_counters.h"

namespace agent {
namespace {

constexpr uint32_t kCounterService = 935;
constexpr uint32_t kCounterOpcode = 2020;

bool may_count(const chassis::Module& module) { return module.runs() && !module.supervisor; }

// The module behind `previous` in the round, nothing when there is none at all.
std::optional<uint32_t> module_behind(uint32_t previous) {
  std::optional<uint32_t> first;
  for (const chassis::Module& each : host::switch_chassis().modules()) {
    if (!may_count(each)) continue;
    if (each.number > previous) return each.number;
    if (!first) first = each.number;
  }
  return first;
}

}  // namespace

DropCounters::~DropCounters() { quill_drop(host::switch_queue(), message_); }

std::optional<DropCounter> DropCounters::next() {
  const auto counter = take_answer();
  asked_ = ask_next_module();
  return counter;
}

std::optional<DropCounter> DropCounters::take_answer() {
  if (!asked_) return std::nullopt;
  const uint32_t queue = host::switch_queue();
  quill_recv_options_t options = {};
  options.wait = 1;
  options.token = quill_rr_token_get(message_);
  quill_drop(queue, message_);
  if (quill_recv(queue, message_, &options) != 0) return std::nullopt;
  const void* const payload = quill_payload_get(message_);
  void* result = nullptr;
  const bool decoded = payload != nullptr && span_hw_counters_payload_to_struct(&result, payload, 0, 0) == 0;
  quill_drop(queue, message_);
  if (!decoded || result == nullptr) return std::nullopt;
  return DropCounter{module_, static_cast<const span_hw_counters_result_t*>(result)->drop_counter};
}

bool DropCounters::ask_next_module() {
  const auto module = module_behind(module_);
  if (!module) return false;
  module_ = *module;
  const span_hw_counters_request_t request = {.word0 = 0, .module_index = module_ - 1, .word2 = 1};
  void* payload = nullptr;
  uint32_t consumed = 0;
  uint32_t length = 0;
  if (span_hw_counters_payload_to_tlv(&request, &payload, &consumed, 0, &length, 0) != 0) return false;
  return quill_send(host::switch_queue(), module_ << 8 | 2, kCounterService, kCounterOpcode, payload, length, message_,
                    0, 0) == 0;
}

}  // namespace agent
