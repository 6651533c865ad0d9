#include "host/nodes/cards.h"

#include <chrono>

namespace nodes {

uint64_t running_time() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

void Cards::set_rates(linecard::CopyRates copies, uint32_t threshold) {
  let_time_pass();
  copies_ = std::move(copies);
  threshold_ = threshold;
}

uint32_t Cards::drops(uint32_t module) {
  let_time_pass();
  return traffic_.drops(module);
}

}  // namespace nodes
