// What a line that is being typed may become.
#ifndef HOST_SHELL_COMPLETION_H
#define HOST_SHELL_COMPLETION_H

#include <string>
#include <string_view>
#include <vector>

#include "host/chassis/chassis.h"
#include "host/shell/parser.h"

namespace shell {

struct Completion {
  size_t column;                        // where the unfinished word begins
  std::vector<std::string> candidates;  // all begin with what stands there
};

// The beginning that all candidates share.
std::string common_prefix(const std::vector<std::string>& candidates);

class Completer {
 public:
  Completer(const chassis::Chassis& chassis, const chassis::Role& role, const Parser& parser)
      : chassis_(chassis), role_(role), parser_(parser), values_(chassis) {}

  // Keywords, and the sessions, interfaces and VSANs that there are and that the operator may see. Where a session may
  // be a new one, or the manager does not tell them, it is every session number.
  Completion complete(std::string_view line, Mode mode) const;

  // The expected words that the end of the line may be: keywords that begin so, and values.
  static std::vector<const Word*> fitting_words(std::string_view line, const Expectation& expected);

 private:
  std::vector<std::string> values(Kind kind) const;
  bool complete_range(std::string_view line, Completion& completion) const;

  const chassis::Chassis& chassis_;
  const chassis::Role& role_;
  const Parser& parser_;
  const ValueReader values_;
};

}  // namespace shell

#endif
