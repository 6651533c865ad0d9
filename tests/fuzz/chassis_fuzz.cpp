// The description of a switch, any text.
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "host/chassis/chassis.h"
#include "tests/fuzz/input.h"

// What is accepted can be walked; what is not, is told in one line.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string error;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::optional<chassis::Chassis> description = chassis::Chassis::parse(text, "chassis.toml", error);
  if (description.has_value() != error.empty() || error.find('\n') != std::string::npos) std::abort();
  if (!description) return 0;
  for (const chassis::Interface& interface : description->interfaces()) {
    if (description->find(interface.if_index) != &interface || description->find(interface.name) == nullptr) {
      std::abort();
    }
    for (const uint32_t member : interface.members) {
      if (description->find(member) == nullptr) std::abort();
    }
  }
  return 0;
}
