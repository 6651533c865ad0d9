#include "host/shell/existing.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "host/platform/switch.h"
#include "libspan.h"

namespace shell {
namespace {

struct Free {
  void operator()(void* block) const { std::free(block); }
};

// Whether there is a session of that number that may be shown; nothing when the manager does not tell.
std::optional<bool> exists(const span_cli_parms_t& parms, uint32_t number) {
  uint8_t valid = 0;
  uint8_t* record = nullptr;
  void* answer = nullptr;
  const uint32_t status = span_get_session_info(parms.queue, nullptr, nullptr, &number, 0, &valid, &record, &answer);
  const std::unique_ptr<void, Free> response(answer);
  if (status != SPAN_OK) return std::nullopt;
  const auto& [manager_status, session] = *static_cast<const span_session_info_res_payload_t*>(answer);
  if (std::ranges::any_of(manager_status.b, [](uint8_t byte) { return byte != 0; })) return std::nullopt;
  return session.configured != 0 && span_check_is_session_print_allowed(&parms, record) != 0;
}

}  // namespace

std::optional<std::vector<std::string>> existing_sessions(const chassis::Role& role) {
  const host::Glance glance;
  span_cli_parms_t parms{};
  parms.queue = host::switch_queue();
  host::set_display_role(parms.display_ctx, role);
  std::vector<std::string> numbers;
  for (uint32_t number = 1; number <= SPAN_SESSIONS; ++number) {
    const std::optional<bool> found = exists(parms, number);
    if (!found) return std::nullopt;
    if (*found) numbers.push_back(std::to_string(number));
  }
  return numbers;
}

}  // namespace shell
