#include "platform/if_index.h"

#include <arpa/inet.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/platform/state.h"
#include "host/platform/status.h"

using namespace host;

int if_index_get_type(uint32_t if_index, uint8_t* type) {
  const chassis::Interface* interface = find_interface(if_index);
  if (interface == nullptr || type == nullptr) return -1;
  *type = static_cast<uint8_t>(interface->type);
  return 0;
}

int if_index_port_channel_get_subtype(uint32_t if_index, uint8_t* subtype) {
  const chassis::Interface* interface = find_interface(if_index);
  if (interface == nullptr || subtype == nullptr || interface->type != chassis::IfType::kPortChannel) return -1;
  *subtype = interface->subtype;
  return 0;
}

uint32_t if_index_inband_get_active_sup_priority_hi(void) {
  return running() != nullptr ? running()->chassis.inband() : 0;
}

uint32_t hton_if_index(uint32_t if_index) { return htonl(if_index); }

uint32_t ntoh_if_index(uint32_t if_index) { return ntohl(if_index); }

// An interface that the chassis does not have is named by its number.
int sprintf_if_index(char* text, uint32_t if_index) {
  if (text == nullptr) return -1;
  const chassis::Interface* interface = find_interface(if_index);
  return interface != nullptr ? std::snprintf(text, IF_INDEX_NAME_SIZE, "%s", interface->name.c_str())
                              : std::snprintf(text, IF_INDEX_NAME_SIZE, "0x%08x", if_index);
}

// ---- Service-module map ----------------------------------------------------------------------------------------------

namespace {

struct IfRange {
  uint32_t first, last;
};

std::vector<IfRange> load_ranges(const void* request) {
  uint32_t count;
  std::memcpy(&count, request, sizeof count);
  std::vector<IfRange> ranges(count);
  if (count != 0) std::memcpy(ranges.data(), static_cast<const uint8_t*>(request) + 4, count * sizeof(IfRange));
  return ranges;
}

// An entry for each service-module interface of the range, or one that tells that there is none.
void append_entries(std::vector<ksm_map_entry_t>& entries, const IfRange& range) {
  const size_t before = entries.size();
  for (const chassis::Interface& each : running()->chassis.interfaces()) {
    if (each.type != chassis::IfType::kSvc || each.if_index < range.first || each.if_index > range.last) continue;
    const auto& channel = each.service_channels;
    entries.push_back({0, 0, {channel[0], channel[1], channel[2]}});
  }
  if (entries.size() == before) entries.push_back({kNotServiceInterface, 0, {}});
}

uint32_t map_ranges(const void* request, void** reply) {
  std::vector<ksm_map_entry_t> entries;
  for (const IfRange& range : load_ranges(request)) append_entries(entries, range);
  const size_t bytes = entries.size() * sizeof(ksm_map_entry_t);
  const uint32_t head[2] = {0, static_cast<uint32_t>(entries.size())};
  auto* block = static_cast<uint8_t*>(std::malloc(sizeof head + bytes));
  if (block == nullptr) return kNoMemory;
  std::memcpy(block, head, sizeof head);
  if (bytes != 0) std::memcpy(block + sizeof head, entries.data(), bytes);
  *reply = block;
  return 0;
}

}  // namespace

uint32_t ksm_if_to_pch_get_map(uint32_t queue, uint32_t seven, const void* request, void** reply) {
  if (request == nullptr || reply == nullptr || seven != 7 || queue != switch_queue()) return kBadMapRequest;
  if (running() == nullptr) return kNotStarted;
  return guarded([&] { return map_ranges(request, reply); }, [] { return kNoMemory; });
}
