#include "host/shell/values.h"

#include <algorithm>
#include <charconv>

#include "host/manager/config.h"
#include "host/manager/dump_ids.h"

namespace shell {
namespace {

constexpr char kNotAnInterface[] = "expected an interface name, like fc1/1 or port-channel 3";

// What stands before the number of an interface name, without its blank.
std::string_view stem_of(std::string_view name) {
  const size_t number = name.find_first_of("0123456789");
  return name.substr(0, name.find_last_not_of(' ', number - 1) + 1);
}

// The number that all of `digits` are, if it is at most `limit`.
std::optional<uint32_t> to_number(std::string_view digits, uint32_t limit) {
  uint32_t number = 0;
  const char* const end = digits.data() + digits.size();
  const auto [rest, error] = std::from_chars(digits.data(), end, number);
  if (error != std::errc{} || rest != end || number > limit) return std::nullopt;
  return number;
}

std::nullopt_t refuse(Problem& problem, size_t column, std::string text) {
  problem = {.column = column, .text = std::move(text)};
  return std::nullopt;
}

std::nullptr_t no_interface(Problem& problem, size_t column, std::string text) {
  refuse(problem, column, std::move(text));
  return nullptr;
}

// A whole word. `what` begins the sentence about a wrong one.
std::optional<Value> read_number(Cursor& at, Problem& problem, const char* what, uint32_t least, uint32_t most) {
  const std::optional<uint32_t> number = to_number(at.word(), most);
  if (!number || *number < least) {
    return refuse(problem, at.column(), what + std::to_string(least) + " to " + std::to_string(most));
  }
  at.skip(at.word().size());
  return *number;
}

std::optional<Value> read_file(Cursor& at, Problem& problem) {
  const std::string name(at.word());
  if (name.empty()) return refuse(problem, at.column(), "expected the name of a file");
  at.skip(name.size());
  return name;
}

std::optional<uint32_t> read_vsan(Cursor& at, Problem& problem) {
  const size_t column = at.column();
  const std::optional<uint32_t> vsan = to_number(at.take_while(Cursor::is_digit), SPAN_VSANS - 1);
  if (!vsan) return refuse(problem, column, "a VSAN is 0 to 4095");
  return vsan;
}

std::optional<Value> read_vsans(Cursor& at, Problem& problem) {
  const std::optional<uint32_t> first = read_vsan(at, problem);
  if (!first) return std::nullopt;
  if (!at.take('-')) return VsanRange{*first, *first};
  at.skip_blanks();
  const size_t column = at.column();
  const std::optional<uint32_t> last = read_vsan(at, problem);
  if (!last) return std::nullopt;
  if (*last < *first) return refuse(problem, column, "the range ends before it begins");
  return VsanRange{*first, *last};
}

}  // namespace

const void* address(const Value& value) {
  return std::visit(
      []<class T>(const T& alternative) -> const void* {
        if constexpr (std::is_same_v<T, std::monostate>) return nullptr;
        if constexpr (std::is_same_v<T, std::string>) return alternative.c_str();
        return &alternative;
      },
      value);
}

std::string join(const std::vector<std::string>& names) {
  std::string text;
  for (size_t i = 0; i < names.size(); ++i) {
    if (i > 0) text += i + 1 == names.size() ? " or " : ", ";
    text += names[i];
  }
  return text;
}

// ---- Cursor ---------------------------------------------------------------------------------------------------------

std::string_view Cursor::word() const {
  Cursor ahead = *this;
  return ahead.take_while([](char c) { return !is_blank(c); });
}

void Cursor::skip_blanks() { take_while(is_blank); }

bool Cursor::take(char wanted) {
  Cursor ahead = *this;
  ahead.skip_blanks();
  if (ahead.peek() != wanted) return false;
  ahead.skip(1);
  *this = ahead;
  return true;
}

// ---- Interfaces -----------------------------------------------------------------------------------------------------

ValueReader::ValueReader(const chassis::Chassis& chassis) : chassis_(chassis) {
  for (const chassis::Interface& interface : chassis.interfaces()) {
    const std::string_view stem = stem_of(interface.name);
    if (std::ranges::find(stems_, stem) == stems_.end()) stems_.emplace_back(stem);
  }
}

std::optional<Value> ValueReader::read(Kind kind, Cursor& at, Problem& problem) const {
  switch (kind) {
    case Kind::kSession:
    case Kind::kExistingSession:
      return read_number(at, problem, "a session number is ", 1, SPAN_SESSIONS);
    case Kind::kPackets:
      return read_number(at, problem, "a number of packets is ", manager::kMinThreshold, manager::kMaxThreshold);
    case Kind::kTest:
      return read_number(at, problem, "a test is ", 0, manager::kLastTest);
    case Kind::kFile:
      return read_file(at, problem);
    case Kind::kVsanRange:
      return read_vsans(at, problem);
    case Kind::kInterfaceRanges:
      return read_ranges(at, problem);
    case Kind::kInterface:
      if (const chassis::Interface* interface = read_interface(at, problem)) return interface->if_index;
      return std::nullopt;
    case Kind::kKeyword:
      break;
  }
  return std::nullopt;
}

// The stem may be shortened as long as it is clear: "po 3" is "port-channel 3".
std::vector<std::string> ValueReader::meant_by(std::string_view stem) const {
  if (std::ranges::find(stems_, stem) != stems_.end()) return {std::string(stem)};
  std::vector<std::string> meant;
  std::ranges::copy_if(stems_, std::back_inserter(meant), [=](auto& candidate) { return candidate.starts_with(stem); });
  return meant;
}

const chassis::Interface* ValueReader::find(const std::string& stem, const std::string& number) const {
  const chassis::Interface* const joined = chassis_.find(stem + number);
  return joined != nullptr ? joined : chassis_.find(stem + ' ' + number);
}

const chassis::Interface* ValueReader::read_interface(Cursor& at, Problem& problem) const {
  const Cursor start = at;
  if (!Cursor::is_letter(at.peek())) return no_interface(problem, start.column(), kNotAnInterface);
  const std::string_view stem = at.take_while([](char c) { return Cursor::is_letter(c) || c == '-'; });
  at.skip_blanks();
  const std::string_view number = at.take_while([](char c) { return Cursor::is_digit(c) || c == '/'; });
  if (number.empty()) return no_interface(problem, start.column(), kNotAnInterface);
  const std::vector<std::string> meant = meant_by(stem);
  if (meant.size() > 1) return no_interface(problem, start.column(), "this may be " + join(meant));
  const chassis::Interface* const found = meant.empty() ? nullptr : find(meant.front(), std::string(number));
  if (found != nullptr) return found;
  const std::string_view typed(stem.data(), static_cast<size_t>(number.end() - stem.begin()));
  return no_interface(problem, start.column(), "there is no interface " + std::string(typed));
}

// Behind the hyphen: the port alone, or a whole name.
const chassis::Interface* ValueReader::read_range_end(const chassis::Interface& first, Cursor& at,
                                                      Problem& problem) const {
  const size_t column = at.column();
  const std::string_view port = at.take_while(Cursor::is_digit);
  if (port.empty()) return read_interface(at, problem);
  const std::string name = first.name.substr(0, first.name.find_last_not_of("0123456789") + 1) + std::string(port);
  const chassis::Interface* const last = chassis_.find(name);
  return last != nullptr ? last : no_interface(problem, column, "there is no interface " + name);
}

std::optional<span_if_range_t> ValueReader::read_range(Cursor& at, Problem& problem) const {
  const chassis::Interface* const first = read_interface(at, problem);
  if (first == nullptr) return std::nullopt;
  if (!at.take('-')) return span_if_range_t{first->if_index, first->if_index};
  at.skip_blanks();
  const size_t column = at.column();
  const chassis::Interface* const last = read_range_end(*first, at, problem);
  if (last == nullptr) return std::nullopt;
  if (last->type != first->type || chassis::module_of(last->if_index) != chassis::module_of(first->if_index)) {
    return refuse(problem, column, "a range stays on one module and one type of interface");
  }
  if (last->if_index < first->if_index) return refuse(problem, column, "the range ends before it begins");
  return span_if_range_t{first->if_index, last->if_index};
}

std::optional<Value> ValueReader::read_ranges(Cursor& at, Problem& problem) const {
  span_if_range_list_t list{};
  do {
    at.skip_blanks();
    if (list.count == SPAN_IF_RANGES) return refuse(problem, at.column(), "a list has at most 64 ranges");
    const std::optional<span_if_range_t> range = read_range(at, problem);
    if (!range) return std::nullopt;
    list.ranges[list.count++] = *range;
  } while (at.take(','));
  return list;
}

}  // namespace shell
