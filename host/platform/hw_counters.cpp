#include "platform/hw_counters.h"

#include <cstdlib>
#include <memory>

#include "host/linecard/counter_service.h"

namespace host {
namespace {

struct Free {
  void operator()(void* block) const { std::free(block); }
};
using Block = std::unique_ptr<void, Free>;

// The codec's own storage: what was handed out last, until the next call.
Block encoded_request;
Block decoded_result;

bool has_counter(const void* payload) {
  uint32_t value = 0;
  return tlvu_get_field(reinterpret_cast<uintptr_t>(payload), linecard::kDropCounterTag,
                        reinterpret_cast<uintptr_t>(&value), sizeof value, 0, &linecard::kCounterResultTable) == 0;
}

}  // namespace
}  // namespace host

using namespace host;

int span_hw_counters_payload_to_tlv(const void* request, void** payload, uint32_t* consumed, uint32_t, uint32_t* length,
                                    uint32_t) {
  if (payload == nullptr || length == nullptr) return -1;
  void* block = nullptr;
  if (tlvu_table_convert_struct_to_tlv(&block, length, &linecard::kCounterRequestTable, request, 0, 0, 0) != 0)
    return -1;
  encoded_request.reset(block);
  if (consumed != nullptr) *consumed = sizeof(span_hw_counters_request_t);
  *payload = block;
  return 0;
}

// An answer without a counter is one without a result.
int span_hw_counters_payload_to_struct(void** result, const void* payload, uint32_t, uint32_t) {
  if (result == nullptr) return -1;
  *result = nullptr;
  void* block = nullptr;
  if (tlvu_table_convert_tlv_to_struct(&block, payload, 0, &linecard::kCounterResultTable, 0) != 0) return -1;
  decoded_result.reset(block);
  if (has_counter(payload)) *result = block;
  return 0;
}
