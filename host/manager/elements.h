// The interfaces that a request names.
#ifndef HOST_MANAGER_ELEMENTS_H
#define HOST_MANAGER_ELEMENTS_H

#include <cstdint>
#include <span>
#include <vector>

#include "feature/span/lib/internal/wire.h"
#include "host/chassis/chassis.h"

namespace manager {

// An interface of a request and what became of it.
struct Element {
  uint32_t if_index;
  uint32_t reason = 0;  // 0 = done, or not refused so far
};

// Every interface of the ranges, once, in the order of the request. A range that is refused yields one element, the
// end that tells why.
std::vector<Element> expand(const chassis::Chassis& chassis, std::span<const libspan::WireIfRange> ranges);

// The first reason among the elements, or 0.
uint32_t first_reason(std::span<const Element> elements);

}  // namespace manager

#endif
