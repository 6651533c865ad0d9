#include "host/shell/console.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/platform/switch.h"
#include "host/shell/say.h"

namespace shell {
namespace {

constexpr size_t kMaxLine = 4096;

std::string too_long(const std::string& where) {
  return where + ": line longer than " + std::to_string(kMaxLine) + " characters";
}

// Blanks as wide as the first `column` characters of the line.
std::string padding(const std::string& line, size_t column) {
  std::string blanks;
  for (size_t i = 0; i < column; ++i) {
    const char c = i < line.size() ? line[i] : ' ';
    const bool continues = (static_cast<unsigned char>(c) & 0xC0) == 0x80;  // inside a character of UTF-8
    if (!continues) blanks += c == '\t' ? '\t' : ' ';
  }
  return blanks;
}

// Standard output and standard error show on one screen, or lie in one file.
bool outputs_are_one() {
  struct stat out {
  }, error{};
  if (fstat(STDOUT_FILENO, &out) != 0 || fstat(STDERR_FILENO, &error) != 0) return false;
  return out.st_dev == error.st_dev && out.st_ino == error.st_ino;
}

}  // namespace

std::optional<std::string> FileLines::next(const std::string&) {
  std::string line;
  ++number_;
  int c = std::getc(file_);
  const bool at_end = c == EOF;
  constexpr size_t kRoom = kMaxLine + 1;  // a carriage return at the end does not count
  for (; c != EOF && c != '\n' && line.size() <= kRoom; c = std::getc(file_)) line += static_cast<char>(c);
  if (line.ends_with('\r')) line.pop_back();
  if (std::ferror(file_) != 0) {
    error_ = name_ + ": " + std::strerror(errno);
  } else if (line.size() > kMaxLine) {
    error_ = too_long(name_ + ":" + std::to_string(number_));
  }
  return at_end || !error_.empty() ? std::nullopt : std::optional(line);
}

std::optional<std::string> ListedLines::next(const std::string&) {
  if (next_ == lines_.size()) return std::nullopt;
  const std::string& line = lines_[next_++];
  if (line.size() <= kMaxLine) return line;
  error_ = too_long("-c");
  return std::nullopt;
}

Status Console::play(LineSource& source) {
  while (!session_.left()) {
    const std::optional<std::string> line = source.next(session_.prompt());
    if (!line) break;
    if (echo_ == Echo::kShell) show(*line);
    host::clear_interrupt();
    run(*line);
    if (!flush_output()) return std::max(worst_, Status::kUsage);
  }
  if (source.error().empty()) return worst_;
  say(source.error());
  return std::max(worst_, Status::kUsage);
}

void Console::run(const std::string& line) {
  const std::string prompt = session_.prompt();
  const Reply reply = session_.run(line);
  if (reply.problem) report(*reply.problem, line, prompt);
  if (!reply.failure.empty()) say(reply.failure);
  worst_ = std::max(worst_, reply.status);
}

// Comments stand without a prompt: nobody typed them.
void Console::show(const std::string& line) const {
  const std::string prompt = is_comment(line) ? "" : session_.prompt();
  std::printf("%s%s\n", prompt.c_str(), printable(line).c_str());
}

void Console::report(const Problem& problem, const std::string& line, const std::string& prompt) const {
  std::fflush(stdout);
  const bool shown = echo_ == Echo::kTerminal || (echo_ == Echo::kShell && outputs_are_one());
  if (!shown) std::fprintf(stderr, "%s\n", printable(line).c_str());
  const std::string indent(shown ? prompt.size() : 0, ' ');
  std::fprintf(stderr, "%s%s^ %s\n", indent.c_str(), padding(line, problem.column).c_str(), problem.text.c_str());
}

}  // namespace shell
