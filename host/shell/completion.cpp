#include "host/shell/completion.h"

#include <algorithm>

#include "host/manager/dump_ids.h"
#include "host/shell/existing.h"
#include "host/shell/show.h"

namespace shell {
namespace {

// In a list of interfaces only what stands behind the last comma is unfinished.
size_t last_of_list(std::string_view line, size_t column) {
  const size_t comma = line.rfind(',');
  if (comma == std::string_view::npos || comma < column) return column;
  const size_t name = line.find_first_not_of(' ', comma + 1);
  return name == std::string_view::npos ? line.size() : name;
}

// The port's number at the end of a name.
std::string_view port_of(std::string_view name) { return name.substr(name.find_last_not_of("0123456789") + 1); }

}  // namespace

std::string common_prefix(const std::vector<std::string>& candidates) {
  if (candidates.empty()) return "";
  std::string prefix = candidates.front();
  for (const std::string& candidate : candidates) {
    prefix.erase(std::ranges::mismatch(prefix, candidate).in1, prefix.end());
  }
  return prefix;
}

std::vector<const Word*> Completer::fitting_words(std::string_view line, const Expectation& expected) {
  const std::string_view typed = line.substr(expected.column);
  std::vector<const Word*> words;
  for (const Word* word : expected.words) {
    if (word->kind != Kind::kKeyword || word->text.starts_with(typed)) words.push_back(word);
  }
  return words;
}

std::vector<std::string> Completer::values(Kind kind) const {
  std::vector<std::string> values;
  switch (kind) {
    case Kind::kKeyword:
    case Kind::kPackets:
    case Kind::kFile:
      break;
    case Kind::kTest:
      for (uint32_t test = 0; test <= manager::kLastTest; ++test) values.push_back(std::to_string(test));
      break;
    case Kind::kExistingSession:
      if (const auto sessions = existing_sessions(role_)) return *sessions;
      [[fallthrough]];
    case Kind::kSession:
      for (int session = 1; session <= SPAN_SESSIONS; ++session) values.push_back(std::to_string(session));
      break;
    case Kind::kVsanRange:
      for (size_t vsan = 0; vsan < SPAN_VSANS; ++vsan) {
        if (chassis_.vsans()[vsan] && role_.vsans[vsan]) values.push_back(std::to_string(vsan));
      }
      break;
    case Kind::kInterface:
    case Kind::kInterfaceRanges:
      for (const chassis::Interface& interface : chassis_.interfaces()) {
        if (may_see(role_, interface)) values.push_back(interface.name);
      }
      break;
  }
  return values;
}

// Behind the hyphen of a range: where it may end, as a port alone or, once a letter is typed, as a whole name. False
// when the line does not end in a range.
bool Completer::complete_range(std::string_view line, Completion& completion) const {
  Cursor at(line, completion.column);
  Problem ignored;
  const std::optional<Value> first = values_.read(Kind::kInterface, at, ignored);
  if (!first || !at.take('-')) return false;
  at.skip_blanks();
  completion.column = at.column();
  const std::string_view typed = line.substr(at.column());
  const bool whole = !typed.empty() && Cursor::is_letter(typed.front());
  const chassis::Interface& from = *chassis_.find(std::get<uint32_t>(*first));
  for (const chassis::Interface& each : chassis_.interfaces()) {
    const bool fits = each.type == from.type &&
                      chassis::module_of(each.if_index) == chassis::module_of(from.if_index) &&
                      each.if_index > from.if_index && may_see(role_, each);
    const std::string_view text = whole ? std::string_view(each.name) : port_of(each.name);
    if (fits && text.starts_with(typed)) completion.candidates.emplace_back(text);
  }
  return true;
}

Completion Completer::complete(std::string_view line, Mode mode) const {
  const Expectation expected = parser_.expect(line, mode);
  Completion completion{expected.column, {}};
  for (const Word* word : fitting_words(line, expected)) {
    if (word->kind == Kind::kKeyword) {
      completion.candidates.emplace_back(word->text);
      continue;
    }
    if (word->kind == Kind::kInterfaceRanges) {
      completion.column = last_of_list(line, expected.column);
      if (complete_range(line, completion)) continue;
    }
    const std::string_view typed = line.substr(completion.column);
    const bool exists = word->kind == Kind::kSession && expected.negated;
    std::ranges::copy_if(values(exists ? Kind::kExistingSession : word->kind),
                         std::back_inserter(completion.candidates),
                         [=](const std::string& value) { return value.starts_with(typed); });
  }
  return completion;
}

}  // namespace shell
