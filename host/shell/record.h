// The command record that handlers of the library take.
#ifndef HOST_SHELL_RECORD_H
#define HOST_SHELL_RECORD_H

#include <string>
#include <vector>

#include "host/chassis/chassis.h"
#include "host/shell/parser.h"
#include "libspan.h"

namespace shell {

// Who types.
struct Operator {
  std::string user;
  const chassis::Role* role;
};

// The record of one run of a command. Its tokens point into the command and the context, which outlive it.
class CommandRecord {
 public:
  // `context` is the token of the mode, null where there is none. A command whose last word stands for several tokens
  // has as many runs; `run` counts from 0.
  CommandRecord(const Operator& who, const Token* context, const Command& command, size_t run);
  CommandRecord(const CommandRecord&) = delete;
  CommandRecord& operator=(const CommandRecord&) = delete;

  const span_cli_parms_t* get() const { return &parms_; }

 private:
  std::vector<span_token_t> tokens_;
  span_cli_parms_t parms_{};
};

// How many runs a command has: 1, but for several traffic types written together.
size_t count_runs(const Command& command);

}  // namespace shell

#endif
