#include "host/shell/session.h"

#include <algorithm>
#include <cstdio>

#include "host/platform/switch.h"
#include "host/shell/running_config.h"
#include "host/shell/say.h"
#include "host/shell/show.h"

namespace shell {
namespace {

std::string_view without_blanks(std::string_view line) {
  while (!line.empty() && Cursor::is_blank(line.front())) line.remove_prefix(1);
  while (!line.empty() && Cursor::is_blank(line.back())) line.remove_suffix(1);
  return line;
}

const char* suffix(Mode mode) {
  switch (mode) {
    case Mode::kConfig:
      return "(config)";
    case Mode::kSpan:
      return "(config-span)";
    case Mode::kInterface:
      return "(config-if)";
    case Mode::kExec:
    case Mode::kEvery:
      break;
  }
  return "";
}

Status worse(Status a, Status b) { return std::max(a, b); }

// The library turns down traffic types of other interfaces by itself, with result 0.
bool is_turned_down(const chassis::Chassis& chassis, const Command& command, Handler handler) {
  if (handler != span_cli_set_src_config_if_dir_traffic_type) return false;
  const auto& sources = std::get<span_if_range_list_t>(command.tokens.front().value);
  return chassis.find(sources.ranges[0].first)->type != chassis::IfType::kSvc;
}

Status status_of(uint32_t result, host::Outcome outcome) {
  if (outcome == host::Outcome::kUnreachable) return Status::kUnreachable;
  return result != 0 || outcome == host::Outcome::kRefused ? Status::kRefused : Status::kDone;
}

}  // namespace

bool is_comment(std::string_view line) {
  const std::string_view text = without_blanks(line);
  return text.empty() || text.front() == '!' || text.front() == '#';
}

Session::Session(const chassis::Chassis& chassis, Operator who)
    : chassis_(chassis), who_(std::move(who)), parser_(chassis), completer_(chassis, *who_.role, parser_) {}

std::string Session::prompt() const { return chassis_.name() + suffix(mode_) + "# "; }

Reply Session::run(std::string_view line) {
  if (is_comment(line)) return {};
  if (const std::string_view text = without_blanks(line); text.back() == '?') {
    const size_t typed = static_cast<size_t>(text.data() - line.data()) + text.size() - 1;
    if (print_help(line.substr(0, typed))) return {};
    line = line.substr(0, typed);
  }
  const std::variant<Command, Problem> parsed = parser_.parse(line, mode_);
  if (const Command* command = std::get_if<Command>(&parsed)) {
    host::reset_outcome();
    const Status status = execute(*command);
    return {status, std::nullopt, host::untold_failure()};
  }
  const Problem& problem = std::get<Problem>(parsed);
  if (problem.mode != Mode::kEvery) mode_ = problem.mode;
  return {Status::kUsage, problem};
}

// A command of an outer mode leaves the inner one, also when it fails: what follows must not meet another session.
Status Session::execute(const Command& command) {
  const Form& form = *command.form;
  if (form.mode != Mode::kEvery) mode_ = form.mode;
  const Handler* const handler = std::get_if<Handler>(&form.action);
  const Status status = handler != nullptr ? call(*handler, command) : perform(std::get<Builtin>(form.action), command);
  if (status == Status::kDone && !command.negated && form.opens != Mode::kEvery) open(command);
  return status;
}

void Session::open(const Command& command) {
  mode_ = command.form->opens;
  if (!command.tokens.empty()) context_ = command.tokens.front();
}

// Handlers return 0 on many refusals; the switch knows better.
Status Session::call(Handler handler, const Command& command) {
  const Mode mode = command.form->mode;
  const Token* const context = mode == Mode::kSpan || mode == Mode::kInterface ? &*context_ : nullptr;
  Status worst = is_turned_down(chassis_, command, handler) ? Status::kRefused : Status::kDone;
  for (size_t run = 0; run < count_runs(command); ++run) {
    const CommandRecord record(who_, context, command, run);
    host::reset_outcome();
    const uint32_t result = handler(record.get());
    worst = worse(worst, status_of(result, host::outcome()));
  }
  return worst;
}

Status Session::perform(Builtin builtin, const Command& command) {
  switch (builtin) {
    case Builtin::kNothing:
      break;
    case Builtin::kExit:
      left_ = mode_ == Mode::kExec;
      mode_ = parent(mode_);
      break;
    case Builtin::kEnd:
      mode_ = Mode::kExec;
      break;
    case Builtin::kHelp:
      list_commands();
      break;
    case Builtin::kDebug:
      host::set_debug_output(!command.negated);
      break;
    case Builtin::kShowInterfaces:
      return show_interfaces(chassis_, *who_.role) ? Status::kDone : status_of(1, host::outcome());
    case Builtin::kShowVsans:
      show_vsans(chassis_, *who_.role);
      break;
    case Builtin::kShowRoles:
      show_roles(chassis_, *who_.role);
      break;
    case Builtin::kShowEvents:
      show_events();
      break;
    case Builtin::kShowRunningConfig:
      return show_running_config(command);
    case Builtin::kCopyRunningConfig:
      return copy_running_config(command);
  }
  return Status::kDone;
}

Status Session::show_running_config(const Command& command) const {
  const CommandRecord record(who_, nullptr, command, 0);
  const bool told = print_running_config(chassis_, *record.get());
  return told ? Status::kDone : status_of(1, host::outcome());
}

Status Session::copy_running_config(const Command& command) const {
  const CommandRecord record(who_, nullptr, command, 0);
  const std::string& path = std::get<std::string>(command.tokens.back().value);
  const std::string error = save_running_config(chassis_, *record.get(), path);
  if (!error.empty()) {
    say(error);
    const Status status = status_of(0, host::outcome());
    return status != Status::kDone ? status : Status::kUsage;
  }
  const std::string from = path + ": ";
  for (const std::string& line : unsaid(chassis_, *record.get())) say(from + line);
  return Status::kDone;
}

void Session::list_commands() const {
  for (const Form& form : forms()) {
    if (!form.hidden && is_visible(form, mode_)) std::printf("  %s\n", usage(form).c_str());
  }
}

bool Session::print_help(std::string_view line) const {
  const Expectation expected = parser_.expect(line, mode_);
  const std::vector<const Word*> words = Completer::fitting_words(line, expected);
  const bool may_end = expected.complete && expected.column == line.size();
  for (const Word* word : words) {
    std::printf("  %-18.*s %.*s\n", static_cast<int>(word->text.size()), word->text.data(),
                static_cast<int>(word->help.size()), word->help.data());
  }
  if (may_end) std::printf("  %-18s %s\n", "<enter>", "Run the command");
  return may_end || !words.empty();
}

}  // namespace shell
