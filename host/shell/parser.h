// From a typed line to a command, or to what is wrong with it.
#ifndef HOST_SHELL_PARSER_H
#define HOST_SHELL_PARSER_H

#include <string_view>
#include <variant>
#include <vector>

#include "host/shell/grammar.h"
#include "host/shell/values.h"

namespace shell {

struct Token {
  std::array<uint32_t, 3> ids{};
  uint32_t value_type = kNoValue;
  Value value;
};

struct Command {
  const Form* form;
  bool negated;
  std::vector<Token> tokens;  // in the order typed; that of the mode is not among them
};

// What may stand at the end of a line that is being typed.
struct Expectation {
  size_t column;                   // where the last, maybe unfinished word begins
  std::vector<const Word*> words;  // each text once
  bool complete = false;           // the line up to `column` is a command
  bool negated = false;            // its first word is "no"
};

class Parser {
 public:
  explicit Parser(const chassis::Chassis& chassis) : values_(chassis) {}

  // Every word may be shortened as long as it is clear. A command of another mode is told as such.
  std::variant<Command, Problem> parse(std::string_view line, Mode mode) const;

  Expectation expect(std::string_view line, Mode mode) const;

 private:
  ValueReader values_;
};

}  // namespace shell

#endif
