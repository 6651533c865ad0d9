// Values of commands, read from the line that the operator typed.
#ifndef HOST_SHELL_VALUES_H
#define HOST_SHELL_VALUES_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/chassis/chassis.h"
#include "host/shell/grammar.h"

namespace shell {

using VsanRange = std::array<uint32_t, 2>;

// A token's value, in the form that handlers read.
using Value = std::variant<std::monostate, uint32_t, VsanRange, span_if_range_list_t, std::string>;

// The address that goes into a token; null for a keyword without a value.
const void* address(const Value& value);

// "a, b or c"
std::string join(const std::vector<std::string>& names);

// What is wrong with a line, and where.
struct Problem {
  size_t column = 0;
  std::string text;
  Mode mode = Mode::kEvery;  // the mode whose command this was meant to be, kEvery where that is open
};

// A place in a line.
class Cursor {
 public:
  explicit Cursor(std::string_view line, size_t column = 0) : line_(line), column_(column) {}

  size_t column() const { return column_; }
  bool at_end() const { return column_ == line_.size(); }
  bool at_boundary() const { return at_end() || is_blank(line_[column_]); }
  char peek() const { return at_end() ? '\0' : line_[column_]; }

  // The text up to the next blank.
  std::string_view word() const;

  void skip_blanks();
  void skip(size_t count) { column_ += count; }

  // Takes one character, after blanks where there are some. Nothing moves when another one stands there.
  bool take(char wanted);

  // Takes the characters that `belongs` accepts.
  template <class Belongs>
  std::string_view take_while(Belongs belongs) {
    const size_t start = column_;
    while (!at_end() && belongs(line_[column_])) ++column_;
    return line_.substr(start, column_ - start);
  }

  static bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
  static bool is_digit(char c) { return c >= '0' && c <= '9'; }
  static bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

 private:
  std::string_view line_;
  size_t column_;
};

// Reads values of one switch. Each reader leaves the cursor behind the value, or returns nothing and says why.
class ValueReader {
 public:
  explicit ValueReader(const chassis::Chassis& chassis);

  std::optional<Value> read(Kind kind, Cursor& at, Problem& problem) const;

 private:
  const chassis::Interface* read_interface(Cursor& at, Problem& problem) const;
  const chassis::Interface* read_range_end(const chassis::Interface& first, Cursor& at, Problem& problem) const;
  std::optional<span_if_range_t> read_range(Cursor& at, Problem& problem) const;
  std::optional<Value> read_ranges(Cursor& at, Problem& problem) const;
  std::vector<std::string> meant_by(std::string_view stem) const;
  const chassis::Interface* find(const std::string& stem, const std::string& number) const;

  const chassis::Chassis& chassis_;
  std::vector<std::string> stems_;  // what stands before the numbers of interface names
};

}  // namespace shell

#endif
