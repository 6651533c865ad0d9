// Wire form of the line cards' counter service, for both of its ends: tables for the TLV codec.
#ifndef HOST_LINECARD_COUNTER_SERVICE_H
#define HOST_LINECARD_COUNTER_SERVICE_H

#include <cstddef>

#include "platform/hw_counters.h"
#include "platform/tlvu.h"

namespace linecard {

constexpr tlvu_field_t counter_field(uint32_t tag, size_t offset) {
  return {tag, sizeof(uint32_t), static_cast<uint32_t>(offset), 1, {}, 0, 4, TLVU_END, 0};
}

constexpr tlvu_field_t kLastField = {TLVU_END, TLVU_END, TLVU_END, 0, {}, TLVU_END, TLVU_END, TLVU_END, 0};

template <size_t kFields>
struct CounterTable {
  tlvu_table_header_t header;
  tlvu_field_t fields[kFields];
};

constexpr uint32_t kCounterService = 935;
constexpr uint32_t kCounterOpcode = 2020;

constexpr uint16_t kModuleIndexTag = 2;
constexpr uint16_t kDropCounterTag = 4;

constexpr CounterTable<4> kCounterRequestTable = {
    {sizeof(span_hw_counters_request_t), "span_hw_counters_request_t", {}},
    {counter_field(1, offsetof(span_hw_counters_request_t, word0)),
     counter_field(kModuleIndexTag, offsetof(span_hw_counters_request_t, module_index)),
     counter_field(3, offsetof(span_hw_counters_request_t, word2)), kLastField}};

constexpr CounterTable<5> kCounterResultTable = {
    {sizeof(span_hw_counters_result_t), "span_hw_counters_result_t", {}},
    {counter_field(1, offsetof(span_hw_counters_result_t, word0)),
     counter_field(kModuleIndexTag, offsetof(span_hw_counters_result_t, module_index)),
     counter_field(3, offsetof(span_hw_counters_result_t, word2)),
     counter_field(kDropCounterTag, offsetof(span_hw_counters_result_t, drop_counter)), kLastField}};

}  // namespace linecard

#endif
