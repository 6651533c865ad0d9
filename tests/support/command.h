// A parsed command as the shell hands it to a handler. Bytes that a handler has no business with are 0xEE, so that a
// token read beyond the list is no valid pointer.
#ifndef TESTS_SUPPORT_COMMAND_H
#define TESTS_SUPPORT_COMMAND_H

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "feature/span/lib/libspan.h"
#include "tests/support/messages.h"

namespace testkit {

class Command {
 public:
  static constexpr uint32_t kQueue = 7;
  static constexpr uint32_t kPlain = 0x99;  // an id that no handler tests

  Command();
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;

  // Tokens, in the order of the command.
  Command& keyword(uint32_t id);                          // no value
  Command& number(uint32_t value, uint32_t id = kPlain);  // value type "number"
  Command& interface(uint32_t if_index, uint32_t id = kPlain);
  Command& vsans(uint32_t first, uint32_t last, uint32_t id = kPlain);
  Command& interfaces(const Ranges& ranges, uint32_t id = SPAN_TOKEN_IF_RANGES);
  Command& token(uint32_t id, uint32_t value_type, const Bytes& value);

  // The "no" form; any other value than 1 is the plain one.
  Command& negated(uint32_t value = 1);
  Command& skip(uint32_t value);
  Command& queue(uint32_t value);
  Command& requesters(const std::string& first, const std::string& second);

  span_cli_parms_t* parms() { return &parms_; }
  operator const span_cli_parms_t*() const { return &parms_; }

  // The value of token `position`, 1 being the first.
  const void* value(size_t position) const { return tokens_.at(position - 1).value; }

 private:
  Command& add(uint32_t id, uint32_t value_type, const void* value);

  span_cli_parms_t parms_;
  std::deque<span_token_t> tokens_;
  std::deque<Bytes> values_;
};

}  // namespace testkit

#endif
