#include "host/shell/record.h"

#include <algorithm>

#include "host/platform/switch.h"

namespace shell {
namespace {

constexpr char kProgram[] = "spansh";

template <size_t kSize>
void put_text(char (&field)[kSize], const std::string& text) {
  text.copy(field, kSize - 1);  // the record is zeroed: the text ends
}

span_token_t to_record(const Token& token, size_t run) {
  const uint32_t id = token.ids[run] != kNoToken ? token.ids[run] : token.ids[0];
  return {.id = id, .value_type = token.value_type, .unused = {}, .value = address(token.value)};
}

}  // namespace

CommandRecord::CommandRecord(const Operator& who, const Token* context, const Command& command, size_t run) {
  if (context != nullptr) tokens_.push_back(to_record(*context, 0));
  for (const Token& token : command.tokens) tokens_.push_back(to_record(token, run));
  parms_.token_count = static_cast<uint8_t>(tokens_.size());
  for (size_t i = 0; i < tokens_.size(); ++i) parms_.tokens[i + 1] = &tokens_[i];
  parms_.negated = command.negated;
  parms_.queue = host::switch_queue();
  put_text(parms_.requester1, who.user);
  put_text(parms_.requester2, kProgram);
  host::set_display_role(parms_.display_ctx, *who.role);
}

size_t count_runs(const Command& command) {
  if (command.tokens.empty()) return 1;
  const auto& ids = command.tokens.back().ids;
  return static_cast<size_t>(std::ranges::count_if(ids, [](uint32_t id) { return id != kNoToken; }));
}

}  // namespace shell
