#include "host/daemon/access.h"

#include <grp.h>

#include <charconv>

namespace spand {

bool Access::may_change(const transport::Peer& peer) const { return peer.is_root_or_of(group_); }

std::optional<gid_t> find_group(const std::string& name) {
  if (const group* const found = getgrnam(name.c_str()); found != nullptr) return found->gr_gid;
  gid_t number = 0;
  const char* const end = name.data() + name.size();
  const auto [rest, error] = std::from_chars(name.data(), end, number);
  const bool valid = error == std::errc() && rest == end && number != static_cast<gid_t>(-1);
  return valid ? std::optional(number) : std::nullopt;
}

}  // namespace spand
