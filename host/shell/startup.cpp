#include "host/shell/startup.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>

#include "host/platform/switch.h"
#include "host/shell/console.h"
#include "host/shell/redirect.h"
#include "host/shell/say.h"

namespace shell {
namespace {

std::string without_blanks(const std::string& line) {
  const size_t first = line.find_first_not_of(" \t");
  return first == std::string::npos ? "" : line.substr(first, line.find_last_not_of(" \t\r") - first + 1);
}

// What a command printed, on one line and without rules.
std::string in_one_line(const std::string& output) {
  std::istringstream lines(output);
  std::string text;
  for (std::string line; std::getline(lines, line);) {
    if (line.find_first_not_of("= ") == std::string::npos) continue;
    text += (text.empty() ? "" : "; ") + line;
  }
  return text;
}

std::string reason_of(const Reply& reply, const std::string& output) {
  if (reply.problem) return reply.problem->text;
  std::string told = in_one_line(output);
  if (!told.empty() && !reply.failure.empty()) told += "; ";
  told += reply.failure;
  return told.empty() ? "refused" : told;
}

class Player {
 public:
  Player(const chassis::Chassis& chassis, const Operator& who, const std::string& name)
      : session_(chassis, who), name_(name) {}

  // The worst status; nothing when standard output cannot be written.
  std::optional<Status> play(FileLines& lines);

 private:
  void run(const std::string& line, size_t number);

  Session session_;
  const std::string& name_;
  Status worst_ = Status::kDone;
  bool broken_ = false;
};

std::optional<Status> Player::play(FileLines& lines) {
  host::set_script_runner([&](std::string_view line) { run(std::string(line), lines.number()); });
  while (!session_.left() && !broken_) {
    const std::optional<std::string> line = lines.next(session_.prompt());
    if (!line) break;
    run(*line, lines.number());
    broken_ = !flush_output();
  }
  host::set_script_runner(nullptr);
  return broken_ ? std::nullopt : std::optional(worst_);
}

void Player::run(const std::string& line, size_t number) {
  Reply reply;
  Capture capture;
  bool ran = false;
  const auto work = [&] {
    reply = session_.run(line);
    ran = true;
  };
  const std::string output = capture.of(work).value_or("");
  if (!ran) work();  // without a place for its output, that goes to the screen as it comes
  worst_ = std::max(worst_, reply.status);
  if (reply.status == Status::kDone) {
    std::fputs(output.c_str(), stdout);
    return;
  }
  const std::string where = name_ + ":" + std::to_string(number) + ": ";
  say(where + printable(without_blanks(line)) + ": " + reason_of(reply, output));
}

}  // namespace

std::optional<Status> run_startup(const chassis::Chassis& chassis, const Operator& who, const std::string& name) {
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::fopen(name.c_str(), "re"), &std::fclose);
  if (file == nullptr) {
    say(name + ": " + std::strerror(errno));
    return std::nullopt;
  }
  FileLines lines(file.get(), name);
  const std::optional<Status> worst = Player(chassis, who, name).play(lines);
  if (lines.error().empty()) return worst;
  say(lines.error());
  return std::nullopt;
}

}  // namespace shell
