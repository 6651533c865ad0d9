// What the manager tells, as it travels.
#ifndef HOST_MANAGER_RECORDS_H
#define HOST_MANAGER_RECORDS_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "feature/span/lib/internal/bytes.h"
#include "host/manager/config.h"
#include "host/manager/elements.h"
#include "host/manager/sources.h"

namespace manager {

using Bytes = std::vector<uint8_t>;

// A session in the answer to the brief session query.
struct BriefRecord {
  uint8_t session_id;  // session number - 1
  uint8_t configured;  // 0: every other field is 0
  uint8_t oper_state;
  uint8_t unused;
  span_net_if_t dest_if_index;
  span_be32_t dest_configured;
  span_be32_t admin_suspended;
};
static_assert(offsetof(BriefRecord, dest_if_index) == 4);
static_assert(sizeof(BriefRecord) == 16 && alignof(BriefRecord) == 1);

// Appends a T of zeros. The reference is good until the next append.
template <libspan::Layout T>
T& append(Bytes& out) {
  out.resize(out.size() + sizeof(T));
  return libspan::view<T>(static_cast<void*>(out.data() + out.size() - sizeof(T)));
}

Vsans read_vsans(const uint8_t (&bits)[SPAN_VSAN_BYTES]);

void append_session(Bytes& out, const Switch& on, uint8_t index);
void append_brief(Bytes& out, const Switch& on, uint8_t index);
void append_source(Bytes& out, const Switch& on, uint8_t index, uint8_t direction, uint32_t if_index);
void append_source_result(Bytes& out, libspan::SourceType type, const VsanOutcome& outcome,
                          std::span<const Element> elements);
void append_port_results(Bytes& out, uint32_t status, std::span<const Element> elements);

}  // namespace manager

#endif
