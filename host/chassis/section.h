// Tables of a description file, read with errors that tell where. Only for the reader.
#ifndef HOST_CHASSIS_SECTION_H
#define HOST_CHASSIS_SECTION_H

// The parser asserts things of its input that a wrong file does not keep, and reports them as errors right behind.
#define TOML_ASSERT(expression) static_assert(true)
#include <toml++/toml.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace chassis {

using Position = toml::source_position;

// What the editor of a file did wrong, and where. Thrown, ends the reading.
struct Mistake {
  Position at;
  std::string text;
};

inline Position where(const toml::node& node) { return node.source().begin; }

inline bool is_control(char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; }

inline std::string one_line(std::string text) {
  std::replace_if(text.begin(), text.end(), is_control, '?');
  return text;
}

// Text of the file inside a message.
inline std::string quoted(std::string_view text) {
  std::string quote = "'";
  quote += text;
  quote += '\'';
  return one_line(std::move(quote));
}

// ---- Numbers and ranges ----------------------------------------------------------------------------------------------

struct Limits {
  uint32_t low, high;
};

// `what` is the thing numbered, as messages call it.
inline uint32_t within(const Limits& limits, int64_t number, std::string_view what, Position at) {
  if (number >= limits.low && number <= limits.high) return static_cast<uint32_t>(number);
  throw Mistake{at, std::string(what) + " " + std::to_string(number) + " is out of range, " +
                        std::to_string(limits.low) + " to " + std::to_string(limits.high)};
}

inline std::optional<int64_t> to_number(std::string_view text) {
  int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || stop != end || number < 0) return std::nullopt;
  return number;
}

inline std::pair<uint32_t, uint32_t> to_range(std::string_view text, const Limits& limits, std::string_view what,
                                              Position at) {
  const size_t dash = text.find('-');
  const auto first = to_number(text.substr(0, dash));
  const auto last = dash == std::string_view::npos ? first : to_number(text.substr(dash + 1));
  if (!first || !last) throw Mistake{at, quoted(text) + " is not a number or a range such as \"1-24\""};
  if (*first > *last) throw Mistake{at, "the range " + quoted(text) + " runs backwards"};
  return {within(limits, *first, what, at), within(limits, *last, what, at)};
}

inline std::string_view trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(' ');
  return first == std::string_view::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// Numbers in a node: an integer, or a text of ranges.
inline std::set<uint32_t> to_numbers(const toml::node& node, const Limits& limits, std::string_view what) {
  if (const auto* one = node.as_integer()) return {within(limits, one->get(), what, where(node))};
  const auto* text = node.as_string();
  if (text == nullptr) throw Mistake{where(node), "expected a number or a text of ranges such as \"1-24,30\""};
  std::set<uint32_t> out;
  std::string_view rest = text->get();
  for (size_t comma = 0;; rest.remove_prefix(comma + 1)) {
    comma = rest.find(',');
    const auto [first, last] = to_range(trimmed(rest.substr(0, comma)), limits, what, where(node));
    for (uint32_t number = first; number <= last; ++number) {
      if (out.insert(number).second) continue;
      throw Mistake{where(node), std::string(what) + " " + std::to_string(number) + " is listed twice"};
    }
    if (comma == std::string_view::npos) return out;
  }
}

// ---- Tables ----------------------------------------------------------------------------------------------------------

// A table whose keys are known.
class Section {
 public:
  Section(const toml::table& table, std::string label, std::initializer_list<std::string_view> keys)
      : table_(table), label_(std::move(label)) {
    for (const auto& [key, value] : table_) {
      if (std::find(keys.begin(), keys.end(), key.str()) != keys.end()) continue;
      std::string known;
      for (const std::string_view each : keys) known += (known.empty() ? "" : ", ") + std::string(each);
      throw Mistake{key.source().begin, "unknown key " + quoted(key.str()) + " in " + label_ + "; known: " + known};
    }
  }

  Position at() const { return where(table_); }

  const toml::node* find(std::string_view key) const { return table_.get(key); }

  const toml::node& need(std::string_view key) const {
    if (const toml::node* node = find(key)) return *node;
    throw Mistake{at(), label_ + " needs the key " + quoted(key)};
  }

  uint32_t number(std::string_view key, const Limits& limits) const {
    const toml::node& node = need(key);
    if (const auto* value = node.as_integer()) return within(limits, value->get(), quoted(key), where(node));
    throw Mistake{where(node), quoted(key) + " must be a number"};
  }

  uint32_t number(std::string_view key, const Limits& limits, uint32_t otherwise) const {
    return find(key) == nullptr ? otherwise : number(key, limits);
  }

  bool flag(std::string_view key) const {
    const toml::node* node = find(key);
    if (node == nullptr) return false;
    if (const auto* value = node->as_boolean()) return value->get();
    throw Mistake{where(*node), quoted(key) + " must be true or false"};
  }

  std::string text(std::string_view key) const {
    constexpr size_t kLength = 64;
    const toml::node& node = need(key);
    const auto* value = node.as_string();
    if (value == nullptr) throw Mistake{where(node), quoted(key) + " must be a text"};
    const std::string& text = value->get();
    if (!text.empty() && text.size() <= kLength && std::none_of(text.begin(), text.end(), is_control)) return text;
    throw Mistake{where(node), quoted(key) + " must be 1 to " + std::to_string(kLength) + " printable characters"};
  }

 private:
  const toml::table& table_;
  std::string label_;
};

// The entries [[key]] of the file; none when the key is not there.
inline std::vector<const toml::table*> entries(const toml::table& root, std::string_view key) {
  std::vector<const toml::table*> out;
  const toml::node* node = root.get(key);
  if (node == nullptr) return out;
  const std::string shape = quoted(key) + " must be entries, each under a line [[" + std::string(key) + "]]";
  if (!node->is_array()) throw Mistake{where(*node), shape};
  for (const toml::node& entry : *node->as_array()) {
    if (!entry.is_table()) throw Mistake{where(entry), shape};
    out.push_back(entry.as_table());
  }
  return out;
}

}  // namespace chassis

#endif
