// A small switch for what the host decodes.
#ifndef TESTS_FUZZ_SWITCH_H
#define TESTS_FUZZ_SWITCH_H

#include <cstdlib>
#include <string>
#include <utility>

#include "host/chassis/chassis.h"

namespace fuzz {

constexpr char kSwitch[] = R"(
name = "lab"
vsans = "1-20,100"
fcip = "1-2"

[[module]]
number = 1
name = "line card"
fc-ports = "1-12"
iscsi-ports = "1-3"

[[module]]
number = 2
name = "line card"
fc-ports = "1-4"

[[module]]
number = 5
name = "supervisor"
supervisor = true
inband = 0

[[port-channel]]
number = 3
members = ["fc1/9-10"]

[[svc]]
module = 2
port = 1
initiator = 201
target = 202
management = 203

[[role]]
name = "operator"
interfaces = "all"
vsans = "all"
)";

inline chassis::Chassis make_switch() {
  std::string error;
  auto description = chassis::Chassis::parse(kSwitch, "switch", error);
  if (!description) std::abort();
  return std::move(*description);
}

}  // namespace fuzz

#endif
