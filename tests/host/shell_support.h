// What tests of the shell share: a small switch, and commands in words.
#ifndef TESTS_HOST_SHELL_SUPPORT_H
#define TESTS_HOST_SHELL_SUPPORT_H

#include <gtest/gtest.h>

#include <string>

#include "host/platform/switch.h"
#include "host/shell/parser.h"
#include "host/shell/record.h"

namespace shell {

// The operator of these tests may see all, the guest the first four ports and VSANs 1 to 5.
constexpr char kTestSwitch[] = R"(
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
fc-ports = "1-130"

[[module]]
number = 5
name = "supervisor"
supervisor = true
inband = 0

[[port-channel]]
number = 3
members = ["fc1/9-10"]

[[port-channel]]
number = 4
members = ["fc1/11"]

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

[[role]]
name = "guest"
interfaces = ["fc1/1-4"]
vsans = "1-5"
)";

// Starts the switch afresh for each test.
class ShellTest : public testing::Test {
 protected:
  ShellTest() {
    std::string error;
    std::optional<chassis::Chassis> description = chassis::Chassis::parse(kTestSwitch, "test.toml", error);
    EXPECT_EQ(error, "");
    host::start_switch(std::move(*description));
    host::set_debug_output(false);
  }

  const chassis::Chassis& chassis() const { return host::switch_chassis(); }
  const chassis::Role* role(const char* name) const { return chassis().find_role(name); }

  std::string name(uint32_t if_index) const {
    const chassis::Interface* interface = chassis().find(if_index);
    return interface != nullptr ? interface->name : "?";
  }

  std::string describe(const span_if_range_list_t& list) const {
    std::string text;
    for (uint32_t i = 0; i < list.count; ++i) {
      if (i > 0) text += ", ";
      text += name(list.ranges[i].first) + ".." + name(list.ranges[i].last);
    }
    return text;
  }

  // "id:value": a number, an interface, a list of ranges, a range of VSANs, or - for none.
  std::string describe(const span_token_t& token) const {
    std::string text = std::to_string(token.id) + ":";
    switch (token.value_type) {
      case kNoValue:
        return text + (token.value == nullptr ? "-" : "value without a type");
      case SPAN_VALUE_NUMBER:
        return text + std::to_string(*static_cast<const uint32_t*>(token.value));
      case kInterfaceValue:
        return text + name(*static_cast<const uint32_t*>(token.value));
      case kInterfaceRangesValue:
        return text + describe(*static_cast<const span_if_range_list_t*>(token.value));
      case kVsanRangeValue: {
        const uint32_t* const vsans = static_cast<const uint32_t*>(token.value);
        return text + std::to_string(vsans[0]) + "-" + std::to_string(vsans[1]);
      }
      case kTextValue:
        return text + static_cast<const char*>(token.value);
      default:
        return text + "unknown type";
    }
  }

  // The tokens of a record, from the first to the last.
  std::string describe(const span_cli_parms_t& record) const {
    std::string text;
    for (uint8_t i = 1; i <= record.token_count; ++i) {
      if (i > 1) text += " | ";
      text += describe(*record.tokens[i]);
    }
    return text;
  }
};

}  // namespace shell

#endif
