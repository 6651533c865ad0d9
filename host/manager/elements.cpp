#include "host/manager/elements.h"

#include <algorithm>
#include <set>

#include "feature/span/lib/internal/bytes.h"
#include "host/manager/reasons.h"

namespace manager {
namespace {

using chassis::Interface;

// The range as one element: its reason is 0 when both ends are known and nothing but one kind of interface on one
// module lies between them.
Element checked(const chassis::Chassis& chassis, uint32_t first, uint32_t last) {
  const Interface* begin = chassis.find(first);
  const Interface* end = chassis.find(last);
  if (begin == nullptr) return {first, kUnknownInterface};
  if (end == nullptr) return {last, kUnknownInterface};
  if (begin->type != end->type || chassis::module_of(first) != chassis::module_of(last)) return {first, kMixedRange};
  return {first, last < first ? kReversedRange : 0};
}

}  // namespace

std::vector<Element> expand(const chassis::Chassis& chassis, std::span<const libspan::WireIfRange> ranges) {
  const auto& interfaces = chassis.interfaces();
  std::vector<Element> elements;
  std::set<uint32_t> seen;
  for (const libspan::WireIfRange& range : ranges) {
    const uint32_t last = libspan::get(range.last);
    const Element begin = checked(chassis, libspan::get(range.first), last);
    if (begin.reason != 0) {
      elements.push_back(begin);
      continue;
    }
    auto at = std::ranges::lower_bound(interfaces, begin.if_index, {}, &Interface::if_index);
    for (; at != interfaces.end() && at->if_index <= last; ++at) {
      if (seen.insert(at->if_index).second) elements.push_back({at->if_index});
    }
  }
  return elements;
}

uint32_t first_reason(std::span<const Element> elements) {
  const auto refused = std::ranges::find_if(elements, [](const Element& element) { return element.reason != 0; });
  return refused == elements.end() ? 0 : refused->reason;
}

}  // namespace manager
