#include "host/shell/parser.h"

#include <algorithm>

namespace shell {
namespace {

// A form that fits the line so far.
struct Path {
  const Form* form;
  bool negated;
  int next;  // slot; -1: "no" comes first
  std::vector<Token> tokens;
};

// A word that may come next on a path.
struct Choice {
  const Path* path;
  const Word* word;
  int slot;

  bool offered() const { return !word->hidden && !path->form->hidden; }
};

using Choices = std::vector<Choice>;

uint32_t value_type(const Word& word) {
  switch (word.kind) {
    case Kind::kKeyword:
      return word.number ? uint32_t{SPAN_VALUE_NUMBER} : uint32_t{kNoValue};
    case Kind::kSession:
    case Kind::kExistingSession:
    case Kind::kPackets:
    case Kind::kTest:
      return SPAN_VALUE_NUMBER;
    case Kind::kInterface:
      return kInterfaceValue;
    case Kind::kInterfaceRanges:
      return kInterfaceRangesValue;
    case Kind::kVsanRange:
      return kVsanRangeValue;
    case Kind::kFile:
      return kTextValue;
  }
  return kNoValue;
}

void add_choices(const Path& path, Choices& choices) {
  if (path.next < 0) {
    choices.push_back({&path, &kNoWord, -1});
    return;
  }
  const std::span<const Slot> slots = path.form->slots();
  for (size_t i = static_cast<size_t>(path.next); i < slots.size(); ++i) {
    for (const Word& word : slots[i].words) choices.push_back({&path, &word, static_cast<int>(i)});
    if (!slots[i].optional) return;
  }
}

bool is_complete(const Path& path) {
  const auto is_optional = [](const Slot& slot) { return slot.optional; };
  return path.next >= 0 && std::ranges::all_of(path.form->slots().subspan(static_cast<size_t>(path.next)), is_optional);
}

Path advance(const Choice& choice, const Value& value) {
  Path path = *choice.path;
  path.next = choice.slot + 1;
  const Word& word = *choice.word;
  if (word.tokens[0] != kNoToken) path.tokens.push_back({word.tokens, value_type(word), value});
  return path;
}

// Keywords that `typed` is in full; if there are none, those that it is short for.
Choices fitting_keywords(const Choices& all, std::string_view typed) {
  Choices exact, longer;
  for (const Choice& choice : all) {
    if (choice.word->kind != Kind::kKeyword || !choice.word->text.starts_with(typed)) continue;
    if (choice.word->text.size() == typed.size()) {
      exact.push_back(choice);
    } else if (!choice.word->hidden) {
      longer.push_back(choice);
    }
  }
  return exact.empty() ? longer : exact;
}

// The words on offer, each text once.
std::vector<const Word*> offered_words(const Choices& choices) {
  std::vector<const Word*> words;
  for (const Choice& choice : choices) {
    const auto same_text = [&](const Word* word) { return word->text == choice.word->text; };
    if (choice.offered() && std::ranges::none_of(words, same_text)) words.push_back(choice.word);
  }
  return words;
}

std::vector<std::string> names_of(const std::vector<const Word*>& words) {
  std::vector<std::string> names;
  for (const Word* word : words) names.emplace_back(word->kind == Kind::kKeyword ? word->text : word->help);
  return names;
}

// All forms that fit a line, walked word by word.
class Walk {
 public:
  Walk(const ValueReader& values, std::string_view line, Mode mode);

  bool at_end() const { return at_.at_end(); }

  // Takes the next word or value, or tells what is wrong with it and stays.
  std::optional<Problem> step();

  // The command that the whole line is.
  std::variant<Command, Problem> finish() const;

  Expectation expectation() const;

 private:
  Choices choices() const;
  std::optional<Problem> take_keyword(const Choices& fitting, size_t length);
  std::optional<Problem> take_value(const Choices& all);
  void keep(const Choices& chosen, const Value& value);
  bool may_end() const { return std::ranges::any_of(paths_, is_complete); }
  Problem problem(size_t column, std::string text) const;
  Problem unexpected(const Choices& all) const;

  const ValueReader* values_;
  Cursor at_;
  std::vector<Path> paths_;  // never empty
};

Walk::Walk(const ValueReader& values, std::string_view line, Mode mode) : values_(&values), at_(line) {
  at_.skip_blanks();
  for (const Form& form : forms()) {
    if (!is_visible(form, mode)) continue;
    if (form.no != No::kOnly) paths_.push_back({&form, false, 0, {}});
    if (form.no != No::kNever) paths_.push_back({&form, true, -1, {}});
  }
}

Choices Walk::choices() const {
  Choices choices;
  for (const Path& path : paths_) add_choices(path, choices);
  return choices;
}

void Walk::keep(const Choices& chosen, const Value& value) {
  std::vector<Path> paths;
  for (const Choice& choice : chosen) {
    const std::optional<uint32_t>& number = choice.word->number;
    paths.push_back(advance(choice, number ? Value{*number} : value));
  }
  paths_ = std::move(paths);
  at_.skip_blanks();
}

Problem Walk::problem(size_t column, std::string text) const {
  const Mode mode = paths_.front().form->mode;
  const bool agreed = std::ranges::all_of(paths_, [=](const Path& path) { return path.form->mode == mode; });
  return {column, std::move(text), agreed ? mode : Mode::kEvery};
}

Problem Walk::unexpected(const Choices& all) const {
  std::vector<std::string> names = names_of(offered_words(all));
  if (may_end()) names.emplace_back("the end of the line");
  return problem(at_.column(), "expected " + join(names));
}

std::optional<Problem> Walk::take_keyword(const Choices& fitting, size_t length) {
  if (const auto words = offered_words(fitting); words.size() > 1) {
    return problem(at_.column(), "this may be " + join(names_of(words)));
  }
  at_.skip(length);
  keep(fitting, {});
  return std::nullopt;
}

std::optional<Problem> Walk::take_value(const Choices& all) {
  Choices chosen;
  std::ranges::copy_if(all, std::back_inserter(chosen), [](const Choice& c) { return c.word->kind != Kind::kKeyword; });
  if (chosen.empty()) return unexpected(all);
  Cursor ahead = at_;
  Problem wrong;
  const std::optional<Value> value = values_->read(chosen.front().word->kind, ahead, wrong);
  if (!value) {
    const bool alone = chosen.size() == all.size() && !may_end();
    return alone || wrong.column != at_.column() ? problem(wrong.column, wrong.text) : unexpected(all);
  }
  if (!ahead.at_boundary()) return problem(ahead.column(), "expected a blank or the end of the line");
  at_ = ahead;
  keep(chosen, *value);
  return std::nullopt;
}

std::optional<Problem> Walk::step() {
  const Choices all = choices();
  const std::string_view typed = at_.word();
  const Choices fitting = fitting_keywords(all, typed);
  return fitting.empty() ? take_value(all) : take_keyword(fitting, typed.size());
}

std::variant<Command, Problem> Walk::finish() const {
  const auto path = std::ranges::find_if(paths_, is_complete);
  if (path != paths_.end()) return Command{path->form, path->negated, path->tokens};
  Problem missing = unexpected(choices());
  ++missing.column;
  return missing;
}

Expectation Walk::expectation() const {
  const bool negated = std::ranges::all_of(paths_, &Path::negated);
  return {at_.column(), offered_words(choices()), may_end(), negated};
}

std::string_view without_trailing_blanks(std::string_view line) {
  while (!line.empty() && Cursor::is_blank(line.back())) line.remove_suffix(1);
  return line;
}

std::variant<Command, Problem> walk_through(Walk walk) {
  while (!walk.at_end()) {
    if (std::optional<Problem> problem = walk.step()) return *problem;
  }
  return walk.finish();
}

// How to get to a mode.
std::string way_to(Mode mode) {
  const auto opener = std::ranges::find(forms(), mode, &Form::opens);
  return '"' + plain_usage(*opener) + '"';
}

}  // namespace

std::variant<Command, Problem> Parser::parse(std::string_view line, Mode mode) const {
  line = without_trailing_blanks(line);
  std::variant<Command, Problem> parsed = walk_through(Walk(values_, line, mode));
  Problem* const problem = std::get_if<Problem>(&parsed);
  if (problem == nullptr || problem->mode != Mode::kEvery) return parsed;
  for (const Mode other : {Mode::kConfig, Mode::kSpan, Mode::kInterface}) {
    if (std::holds_alternative<Problem>(walk_through(Walk(values_, line, other)))) continue;
    problem->text = "this is a command of the mode behind " + way_to(other);
    break;
  }
  return parsed;
}

Expectation Parser::expect(std::string_view line, Mode mode) const {
  Walk walk(values_, line, mode);
  while (!walk.at_end()) {
    Walk ahead = walk;
    if (ahead.step() || (ahead.at_end() && !Cursor::is_blank(line.back()))) break;
    walk = std::move(ahead);
  }
  return walk.expectation();
}

}  // namespace shell
