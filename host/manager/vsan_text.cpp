#include "host/manager/vsan_text.h"

#include <charconv>

#include "feature/span/lib/internal/vsan_set.h"

namespace manager {
namespace {

// Takes a number off the front of the text; kNoVsan when there is none.
uint32_t take_number(std::string_view& text) {
  uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || number >= SPAN_VSANS) return libspan::kNoVsan;
  text.remove_prefix(static_cast<size_t>(end - text.data()));
  return number;
}

bool take(std::string_view& text, char c) {
  if (!text.starts_with(c)) return false;
  text.remove_prefix(1);
  return true;
}

}  // namespace

std::string vsan_text(const Vsans& vsans) {
  libspan::VsanBits bits{};
  for (uint32_t vsan = 0; vsan < SPAN_VSANS; ++vsan) {
    if (vsans.test(vsan)) libspan::add_vsan(bits, vsan);
  }
  char text[libspan::kRangeTextSize];
  return {text, libspan::put_ranges(text, libspan::VsanSet(bits))};
}

std::optional<Vsans> parse_vsans(std::string_view text) {
  Vsans vsans;
  std::string_view rest = text;
  while (!rest.empty()) {
    const uint32_t first = take_number(rest);
    const uint32_t last = take(rest, '-') ? take_number(rest) : first;
    if (first == libspan::kNoVsan || last == libspan::kNoVsan) return std::nullopt;
    for (uint32_t vsan = first; vsan <= last; ++vsan) vsans.set(vsan);
    take(rest, ',');
  }
  return vsan_text(vsans) == text ? std::optional(vsans) : std::nullopt;
}

}  // namespace manager
