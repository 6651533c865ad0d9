#include "host/agent/brief.h"

#include <cstdlib>
#include <memory>
#include <span>

#include "feature/span/lib/internal/bytes.h"
#include "host/agent/asking.h"
#include "host/manager/records.h"

namespace agent {
namespace {

struct Free {
  void operator()(void* block) const { std::free(block); }
};

BriefSession brief_of(const manager::BriefRecord& record) {
  const bool has_destination = libspan::get(record.dest_configured) != 0;
  return {record.session_id + 1u, has_destination ? libspan::get(record.dest_if_index) : 0,
          record.oper_state == SPAN_OPER_ACTIVE};
}

}  // namespace

// The answer carries no length: its count is trusted, as the library trusts that of every answer.
std::optional<std::vector<BriefSession>> read_brief() {
  constexpr uint32_t kRange[2] = {1, SPAN_SESSIONS};
  uint8_t count = 0;
  uint8_t* records = nullptr;
  void* response = nullptr;
  const Found found = read([&] {
    return span_get_session_info_brief(host::switch_queue(), nullptr, nullptr, kRange, 1, &count, &records, &response);
  });
  const std::unique_ptr<void, Free> owner(response);
  if (found != Found::kYes) return std::nullopt;
  std::vector<BriefSession> sessions;
  for (const manager::BriefRecord& each : std::span(&libspan::view<manager::BriefRecord>(records), count)) {
    if (each.configured != 0 && each.session_id < SPAN_SESSIONS) sessions.push_back(brief_of(each));
  }
  return sessions;
}

}  // namespace agent
