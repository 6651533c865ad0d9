// The shell's command record, its tokens read by position from the end.
#ifndef LIBSPAN_INTERNAL_COMMAND_H
#define LIBSPAN_INTERNAL_COMMAND_H

#include <cstdint>

#include "libspan.h"

namespace libspan {

// A token that is not there reads as id 0 without a value, a value that is not there as number 0 or null.
class Command {
 public:
  explicit Command(const span_cli_parms_t& parms) : parms_(parms) {}

  bool negated() const { return parms_.negated == 1; }

  uint32_t token_count() const { return parms_.token_count; }

  // The token at a position, 1 being the first one; or null.
  const span_token_t* token(uint32_t position) const {
    const bool there = position >= 1 && position <= token_count() && position <= SPAN_TOKENS;
    return there ? parms_.tokens[position] : nullptr;
  }

  // Of the token `back` places before the last one.
  uint32_t id(uint32_t back) const {
    const span_token_t* const found = from_end(back);
    return found != nullptr ? found->id : 0;
  }

  template <class T>
  const T* value(uint32_t back) const {
    const span_token_t* const found = from_end(back);
    return found != nullptr ? static_cast<const T*>(found->value) : nullptr;
  }

  uint32_t number(uint32_t back) const {
    const uint32_t* const found = value<uint32_t>(back);
    return found != nullptr ? *found : 0;
  }

  // Index of the session that the token names; 0 when it names none.
  uint8_t session_index(uint32_t back) const {
    const uint32_t* const session = value<uint32_t>(back);
    return session != nullptr ? static_cast<uint8_t>(*session - 1) : uint8_t{0};
  }

 private:
  const span_token_t* from_end(uint32_t back) const {
    return back < token_count() ? token(token_count() - back) : nullptr;
  }

  const span_cli_parms_t& parms_;
};

}  // namespace libspan

#endif
