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

constexpr uint8_t kTrafficTypes = 3;
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

// A list of ranges that may grow past the shell's 64, which it has room for by itself.
class PortChannels {
 public:
  const span_if_range_list_t& list() const { return grown_ ? *grown_.get() : room_; }

  // The list, cleared, with room for `count` elements of `size` ranges; null when there is no memory.
  span_if_range_list_t* clear(uint32_t count, uint32_t size) {
    span_if_range_list_t* list = &room_;
    if (count > SPAN_IF_RANGES / size) {
      grown_.reset(static_cast<span_if_range_list_t*>(new_block(sizeof room_, count, size * sizeof(span_if_range_t))));
      list = grown_.get();
    }
    if (list != nullptr) std::memset(list, 0, sizeof room_);
    return list;
  }

 private:
  span_if_range_list_t room_;
  Owned<span_if_range_list_t> grown_;
};

// The port channels of `traffic_type` for the ranges' interfaces. Nothing of `ranges` stays.
inline uint32_t map_to_port_channels(uint32_t queue, const span_if_range_list_t& ranges, uint8_t traffic_type,
                                     PortChannels& mapped) {
  Owned<void> reply;
  const uint32_t status = get_service_module_map(queue, ranges, reply.out());
  if (status != SPAN_OK) return status;
  const auto* const map = static_cast<const ServiceModuleMap*>(reply.get());
  const auto* const entries = static_cast<const ksm_map_entry_t*>(static_cast<const void*>(map + 1));

  span_if_range_list_t* const list = mapped.clear(map->count, kTrafficTypes);
  if (list == nullptr) return SPAN_E_NO_MEMORY;
  span_if_range_t* end = list->ranges;
  for (uint32_t i = 0; i < map->count; ++i) {
    if (entries[i].error != 0) continue;
    for (uint8_t type = 0; type < kTrafficTypes; ++type) {
      const uint32_t port_channel = entries[i].port_channel[type];
      if ((traffic_type == type || traffic_type == kAllTraffic) && port_channel != 0) {
        *end++ = {port_channel, port_channel};
      }
    }
  }
  list->count = static_cast<uint32_t>(end - list->ranges);
  return SPAN_OK;
}

}  // namespace libspan

#endif
