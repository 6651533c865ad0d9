#include "tests/support/command.h"

#include <cstring>

namespace testkit {
namespace {

constexpr uint8_t kUnread = 0xEE;
constexpr uint32_t kOtherValueType = 0x40100002;

}  // namespace

Command::Command() {
  std::memset(&parms_, kUnread, sizeof parms_);
  parms_.token_count = 0;
  negated(0).skip(0).queue(kQueue).requesters("operator", "vty 1");
}

Command& Command::keyword(uint32_t id) { return add(id, kOtherValueType, nullptr); }

Command& Command::number(uint32_t value, uint32_t id) { return token(id, 0x40100001, host32(value)); }

Command& Command::interface(uint32_t if_index, uint32_t id) { return token(id, kOtherValueType, host32(if_index)); }

Command& Command::vsans(uint32_t first, uint32_t last, uint32_t id) {
  return token(id, kOtherValueType, join({host32(first), host32(last)}));
}

Command& Command::interfaces(const Ranges& ranges, uint32_t id) {
  return token(id, kOtherValueType, range_list(ranges));
}

Command& Command::token(uint32_t id, uint32_t value_type, const Bytes& value) {
  return add(id, value_type, values_.emplace_back(value).data());
}

Command& Command::add(uint32_t id, uint32_t value_type, const void* value) {
  tokens_.push_back({id, value_type, {0xEEEEEEEE, 0xEEEEEEEE}, value});
  parms_.tokens[++parms_.token_count] = &tokens_.back();
  return *this;
}

Command& Command::negated(uint32_t value) {
  parms_.negated = value;
  return *this;
}

Command& Command::skip(uint32_t value) {
  parms_.skip = value;
  return *this;
}

Command& Command::queue(uint32_t value) {
  parms_.queue = value;
  return *this;
}

Command& Command::requesters(const std::string& first, const std::string& second) {
  std::strncpy(parms_.requester1, first.c_str(), sizeof parms_.requester1 - 1);
  std::strncpy(parms_.requester2, second.c_str(), sizeof parms_.requester2 - 1);
  parms_.requester1[sizeof parms_.requester1 - 1] = '\0';
  parms_.requester2[sizeof parms_.requester2 - 1] = '\0';
  return *this;
}

}  // namespace testkit
