// A switch with a module of every kind.
#ifndef TESTS_NODES_LAB_H
#define TESTS_NODES_LAB_H

#include <gtest/gtest.h>

#include <string>

#include "host/chassis/chassis.h"

namespace nodes_test {

constexpr char kLab[] = R"(name = "lab"
vsans = "1-10"
[[module]]
number = 1
name = "card"
software-id = 43
fc-ports = "1-8"
[[module]]
number = 2
name = "silent card"
state = "silent"
software-id = 34
fc-ports = "1-4"
[[module]]
number = 3
name = "card"
state = "powered-down"
[[module]]
number = 4
name = "card"
state = "absent"
[[module]]
number = 5
name = "supervisor"
supervisor = true
software-id = 11
[[module]]
number = 6
name = "supervisor"
supervisor = true
software-id = 11
[[module]]
number = 12
name = "card"
software-id = 163
[[role]]
name = "all"
)";

inline chassis::Chassis parsed(const std::string& toml) {
  std::string error;
  auto chassis = chassis::Chassis::parse(toml, "lab.toml", error);
  EXPECT_TRUE(chassis) << error;
  return chassis.value_or(chassis::Chassis());
}

inline const chassis::Chassis& lab() {
  static const chassis::Chassis kChassis = parsed(kLab);
  return kChassis;
}

}  // namespace nodes_test

#endif
