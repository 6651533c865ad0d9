// One operator at the switch: the mode that he is in, and his commands, one after the other.
#ifndef HOST_SHELL_SESSION_H
#define HOST_SHELL_SESSION_H

#include <optional>
#include <string>
#include <string_view>

#include "host/shell/completion.h"
#include "host/shell/parser.h"
#include "host/shell/record.h"

namespace shell {

// What a command came to; the numbers are exit statuses, the higher one the worse.
enum class Status { kDone = 0, kRefused = 1, kUsage = 2, kUnreachable = 3 };

struct Reply {
  Status status = Status::kDone;
  std::optional<Problem> problem{};  // of a wrong command
  std::string failure{};             // of the switch, where nobody has told it yet
};

class Session {
 public:
  Session(const chassis::Chassis& chassis, Operator who);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Runs one line: a command, a comment, or the beginning of a command and "?". Output goes to standard output.
  Reply run(std::string_view line);

  // "switch(config)# "
  std::string prompt() const;

  // The operator said exit.
  bool left() const { return left_; }

  // What may follow the end of a line.
  Completion complete(std::string_view line) const { return completer_.complete(line, mode_); }

  // Prints it with its help texts. Returns false when nothing may.
  bool print_help(std::string_view line) const;

 private:
  Status execute(const Command& command);
  Status perform(Builtin builtin, const Command& command);
  Status call(Handler handler, const Command& command);
  Status show_running_config(const Command& command) const;
  Status copy_running_config(const Command& command) const;
  void open(const Command& command);
  void list_commands() const;

  const chassis::Chassis& chassis_;
  Operator who_;
  Parser parser_;
  Completer completer_;
  Mode mode_ = Mode::kExec;
  std::optional<Token> context_;  // the mode's session number or interfaces
  bool left_ = false;
};

// Comments and empty lines: nothing to run.
bool is_comment(std::string_view line);

}  // namespace shell

#endif
