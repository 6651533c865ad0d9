#include "host/agent/oids.h"

#include <charconv>
#include <utility>

namespace agent {
namespace {

constexpr size_t kMaxBase = 64;  // what is left of MAX_OID_LEN is for the MIB and its indexes

Oid& base() {
  static Oid base = *parse_oid(kDefaultBase);
  return base;
}

}  // namespace

std::optional<Oid> parse_oid(std::string_view text) {
  if (text.starts_with('.')) text.remove_prefix(1);
  Oid name;
  const char* next = text.data();
  const char* const end = next + text.size();
  for (;;) {
    uint32_t arc = 0;
    const auto [stop, error] = std::from_chars(next, end, arc);
    if (error != std::errc() || name.size() == kMaxBase) return std::nullopt;
    name.push_back(arc);
    if (stop == end) break;
    if (*stop != '.') return std::nullopt;
    next = stop + 1;
  }
  const bool valid = name.size() >= 2 && name[0] <= 2 && (name[0] == 2 || name[1] < 40);
  return valid ? std::optional(std::move(name)) : std::nullopt;
}

std::string text_of(const Oid& name) {
  std::string text;
  for (const oid arc : name) {
    if (!text.empty()) text += '.';
    text += std::to_string(arc);
  }
  return text;
}

void set_base(Oid name) { base() = std::move(name); }

Oid joined(Oid name, const Oid& more) {
  name.insert(name.end(), more.begin(), more.end());
  return name;
}

Oid below_mib(const Oid& arcs) { return joined(joined(base(), {1}), arcs); }

Oid column_of(oid table, oid column, const Oid& index) {
  return joined(below_mib({kObjectsArc, table, 1, column}), index);
}

Oid scalar_of(oid group, oid scalar) { return below_mib({kObjectsArc, group, scalar, 0}); }

Oid notification(oid number) { return below_mib({kNotificationsArc, number}); }

}  // namespace agent
