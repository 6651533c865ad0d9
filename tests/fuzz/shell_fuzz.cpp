// The shell: lines that are typed, completed and asked about, and start-up files, on an embedded switch.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>
#include <variant>

#include "host/platform/switch.h"
#include "host/shell/parser.h"
#include "host/shell/session.h"
#include "host/shell/startup.h"
#include "host/shell/values.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/switch.h"

namespace {

// Nothing is to be written to files of this machine.
bool writes_a_file(std::string_view line) {
  const auto parsed = shell::Parser(host::switch_chassis()).parse(line, shell::Mode::kExec);
  const auto* const command = std::get_if<shell::Command>(&parsed);
  if (command == nullptr) return false;
  const auto* const builtin = std::get_if<shell::Builtin>(&command->form->action);
  return builtin != nullptr && *builtin == shell::Builtin::kCopyRunningConfig;
}

// The command's first word, which may be shortened. To parse what begins otherwise would take most of the time.
bool begins_like_copy(std::string_view line) {
  const std::string_view word = shell::Cursor(line).word();
  return !word.empty() && std::string_view("copy").starts_with(word);
}

// A carriage return is a blank as well.
bool any_line_writes(std::string_view lines) {
  while (!lines.empty()) {
    const std::string_view line = lines.substr(0, lines.find('\n'));
    for (size_t at = 0; at < line.size(); ++at) {
      if (begins_like_copy(line.substr(at)) && writes_a_file(line.substr(at))) return true;
    }
    lines.remove_prefix(std::min(line.size() + 1, lines.size()));
  }
  return false;
}

void type(const shell::Operator& who, std::string_view lines) {
  shell::Session session(host::switch_chassis(), who);
  while (!lines.empty() && !session.left()) {
    const std::string_view line = lines.substr(0, lines.find('\n'));
    session.complete(line);
    session.print_help(line);
    session.run(line);
    session.prompt();
    lines.remove_prefix(line.size() < lines.size() ? line.size() + 1 : lines.size());
  }
}

void start_up(const shell::Operator& who, std::string_view lines) {
  const int file = memfd_create("startup", MFD_CLOEXEC);
  if (file < 0 || write(file, lines.data(), lines.size()) != static_cast<ssize_t>(lines.size())) std::abort();
  shell::run_startup(host::switch_chassis(), who, "/proc/self/fd/" + std::to_string(file));
  close(file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const bool typed = input.flip();
  const fuzz::Bytes bytes = input.take(size);
  const std::string lines(bytes.begin(), bytes.end());
  static const chassis::Chassis chassis = fuzz::make_switch();
  host::start_switch(chassis);
  host::set_debug_output(false);
  if (any_line_writes(lines)) return -1;
  const shell::Operator who = {"fuzzer", host::switch_chassis().find_role("operator")};
  if (typed) {
    type(who, lines);
  } else {
    start_up(who, lines);
  }
  return 0;
}
