// The base of the tests of command handlers: a switch with some interfaces, and requests compared as whole bytes.
#ifndef TESTS_CLI_CLI_TEST_H
#define TESTS_CLI_CLI_TEST_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "feature/span/lib/libspan.h"
#include "tests/support/command.h"
#include "tests/support/libspan_test.h"

namespace testkit {

// Interfaces of the switch, their types and names. 0x5aa5a55a is added bit by bit when one travels.
inline constexpr uint32_t kFc1 = 0x01000000;           // 5b a5 a5 5a
inline constexpr uint32_t kFc2 = 0x01001000;           // 5b a5 b5 5a
inline constexpr uint32_t kPortChannel = 0x04000003;   // 5e a5 a5 59, subtype 0
inline constexpr uint32_t kPortChannel1 = 0x04000010;  // subtype 1
inline constexpr uint32_t kPortChannel2 = 0x04000020;  // 5e a5 a5 7a, subtype 2
inline constexpr uint32_t kInband = 0x06000000;        // 5c a5 a5 5a
inline constexpr uint32_t kSvc = 0x0c000000;           // 56 a5 a5 5a
inline constexpr uint32_t kUnknownIf = 0x7f000000;     // 25 a5 a5 5a

class CliTest : public LibspanTest {
 protected:
  using Handler = uint32_t(const span_cli_parms_t*);

  CliTest() {
    fake.interfaces = {
        {kFc1, {.type = 1, .name = "fc1/1", .subtype = {}}},
        {kFc2, {.type = 1, .name = "fc1/2", .subtype = {}}},
        {kPortChannel, {.type = 4, .name = "port-channel 3", .subtype = 0}},
        {kPortChannel1, {.type = 4, .name = "port-channel 16", .subtype = 1}},
        {kPortChannel2, {.type = 4, .name = "port-channel 32", .subtype = 2}},
        {kInband, {.type = 6, .name = "sup-fc0", .subtype = {}}},
        {kSvc, {.type = 12, .name = "svc2/1", .subtype = {}}},
    };
  }

  // What a handler returns; its text waits for printed().
  uint32_t call(Handler* handler, const Command& command) {
    return run([&] { return handler(command); });
  }

  // Whether the last request is this, in hex, behind the requester header of "operator" and "vty 1".
  testing::AssertionResult sent(const std::string& rest) const {
    const std::string header = "6f 70 65 72 61 74 6f 72 00*52 76 74 79 20 31 00*35 ";
    return same_bytes(fake.exchange().payload, hex(header + rest));
  }
};

}  // namespace testkit

#endif
