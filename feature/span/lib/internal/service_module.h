// Service-module interfaces, replaced by the port channels that carry their traffic.
#ifndef LIBSPAN_INTERNAL_SERVICE_MODULE_H
#define LIBSPAN_INTERNAL_SERVICE_MODULE_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "internal/heap.h"
#include "libspan.h"
#include "platform/if_index.h"

namespace libspan {

constexpr uint8_t kAllTraffic = 255;  // traffic type: all three port channels
constexpr uint32_t kServiceModuleMap = 7;

// The reply's head; behind it `count` ksm_map_entry_t.
struct ServiceModuleMap {
  uint32_t unused;
  uint32_t count;
};

constexpr uint32_t if_range_list_size(uint32_t count) {
  return static_cast<uint32_t>(offsetof(span_if_range_list_t, ranges) + count * sizeof(span_if_range_t));
}

// Asks for the map of the ranges' interfaces.
inline uint32_t get_service_module_map(uint32_t queue, const span_if_range_list_t& ranges, void** reply) {
  const size_t pairs_size = size_t{ranges.count} * sizeof(span_if_range_t);
  Owned<uint32_t> request(static_cast<uint32_t*>(new_block(sizeof(uint32_t), ranges.count, sizeof(span_if_range_t))));
  if (!request) return SPAN_E_NO_MEMORY;
  *request.get() = ranges.count;
  std::memcpy(request.get() + 1, ranges.ranges, pairs_size);
  const uint32_t status = ksm_if_to_pch_get_map(queue, kServiceModuleMap, request.get(), reply);
  if (status != SPAN_OK) std::puts("Error in getting inforamation for kestrel interfaces");
  return status;
}

// The port channels of `traffic_type` for the ranges' interfaces, as a new list that has room for all of them and never
// less than the shell's 64 ranges. Nothing of `ranges` stays.
inline uint32_t map_to_port_channels(uint32_t queue, const span_if_range_list_t& ranges, uint8_t traffic_type,
                                     Owned<span_if_range_list_t>& mapped) {
  Owned<void> reply;
  const uint32_t status = get_service_module_map(queue, ranges, reply.out());
  if (status != SPAN_OK) return status;
  const auto* const map = static_cast<const ServiceModuleMap*>(reply.get());
  const auto* const entries = static_cast<const ksm_map_entry_t*>(static_cast<const void*>(map + 1));

  mapped.reset(static_cast<span_if_range_list_t*>(
      new_block(sizeof(span_if_range_list_t), map->count, 3 * sizeof(span_if_range_t))));
  if (!mapped) return SPAN_E_NO_MEMORY;
  std::memset(mapped.get(), 0, sizeof(span_if_range_list_t));
  span_if_range_t* end = mapped->ranges;
  for (uint32_t i = 0; i < map->count; ++i) {
    if (entries[i].error != 0) continue;
    for (uint8_t type = 0; type < 3; ++type) {
      const uint32_t port_channel = entries[i].port_channel[type];
      if ((traffic_type == type || traffic_type == kAllTraffic) && port_channel != 0) {
        *end++ = {port_channel, port_channel};
      }
    }
  }
  mapped->count = static_cast<uint32_t>(end - mapped->ranges);
  return SPAN_OK;
}

}  // namespace libspan

#endif
