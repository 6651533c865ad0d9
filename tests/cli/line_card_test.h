// Line cards as the commands meet them: the inventory's answers, their counters, and messages on their way.
#ifndef TESTS_CLI_LINE_CARD_TEST_H
#define TESTS_CLI_LINE_CARD_TEST_H

#include <cstdint>
#include <cstdio>
#include <string>

#include "tests/cli/cli_test.h"

namespace testkit {

class LineCardTest : public CliTest {
 protected:
  static constexpr uint32_t kSlots = 232;

  // Software that counts drops, and software that does not.
  static constexpr uint16_t kCounting = 29;
  static constexpr uint16_t kSilent = 33;

  // The inventory's answer about module `module`: a record of 458 bytes for each module up to it.
  static Bytes module_info(uint32_t module, uint16_t software) {
    return Message(module * 458, 0xEE).be16((module - 1) * 458 + 31, software);
  }

  // Options of a receive. The fake's first message has token 0x7001.
  static Bytes options(uint32_t timeout, uint32_t token) {
    return join({host32(1), host32(0), host32(timeout), host32(token), Bytes(24)});
  }

  // A receive in the journal.
  static std::string receive(uint32_t timeout, uint32_t token) {
    return "quill_recv(7, message 0, [" + to_hex(options(timeout, token)) + "])";
  }

  static std::string received(uint32_t timeout, uint32_t token) { return receive(timeout, token) + "\n"; }

  // A counter's answer, decoded.
  static Bytes counter(uint32_t module_index, uint32_t drops) {
    return join({host32(0xEEEEEEEE), host32(module_index), host32(0xEEEEEEEE), host32(drops)});
  }

  static std::string hex_digits(uint32_t number) {
    char digits[9];
    std::snprintf(digits, sizeof digits, "%x", number);
    return digits;
  }

  Script& expect_inventory(uint32_t module) {
    return fake.expect("wren_get_module_info(7, message 0, " + std::to_string(module) + ")");
  }

  void expect_software(uint32_t module, uint16_t software) {
    expect_inventory(module);
    fake.expect("quill_recv").gives(module_info(module, software));
  }

  Command command_;
};

}  // namespace testkit

#endif
