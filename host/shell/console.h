// Plays lines into a session: where they come from, their echo, and what is said about wrong ones.
#ifndef HOST_SHELL_CONSOLE_H
#define HOST_SHELL_CONSOLE_H

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "host/shell/session.h"

namespace shell {

class LineSource {
 public:
  virtual ~LineSource() = default;

  // The next line without its end; nothing at the end of the source.
  virtual std::optional<std::string> next(const std::string& prompt) = 0;

  // Why the source ended, empty when it came to its end.
  virtual std::string error() const { return ""; }
};

// Lines of a file that the caller opened and closes.
class FileLines : public LineSource {
 public:
  FileLines(std::FILE* file, std::string name) : file_(file), name_(std::move(name)) {}

  std::optional<std::string> next(const std::string& prompt) override;
  std::string error() const override { return error_; }

  // Of the line that was taken last, from 1.
  size_t number() const { return number_; }

 private:
  std::FILE* file_;
  std::string name_;
  std::string error_;
  size_t number_ = 0;
};

// Lines of command-line arguments.
class ListedLines : public LineSource {
 public:
  explicit ListedLines(std::vector<std::string> lines) : lines_(std::move(lines)) {}

  std::optional<std::string> next(const std::string& prompt) override;
  std::string error() const override { return error_; }

 private:
  std::vector<std::string> lines_;
  std::string error_;
  size_t next_ = 0;
};

// Who shows the lines that are played.
enum class Echo {
  kNone,
  kShell,     // the shell, behind its prompt
  kTerminal,  // they are typed
};

class Console {
 public:
  Console(Session& session, Echo echo) : session_(session), echo_(echo) {}

  // Plays all lines, past refused and wrong ones, until one leaves the shell. Returns the worst status, scripts that a
  // line runs included. Ends with kUsage when the source fails or nothing can be written any more.
  Status play(LineSource& source);

  // Runs one line and tells what is wrong with it.
  void run(const std::string& line);

 private:
  void show(const std::string& line) const;
  void report(const Problem& problem, const std::string& line, const std::string& prompt) const;

  Session& session_;
  Echo echo_;
  Status worst_ = Status::kDone;
};

}  // namespace shell

#endif
