#include <cerrno>
#include <cstdio>
#include <map>

#include "tests/failure/scenario.h"

namespace testkit::failure {
namespace {

constexpr uint32_t kAllOnes = 0xFFFFFFFF;
constexpr uint32_t kNoModule = 5;

// Calls that have no result: what they tell the operator goes to the screen.
bool tells(const std::string& line) {
  return line.starts_with("tlvu_error_print(") || line.starts_with("brio_print_quill_error_message(");
}

// Calls that have one result for every failure.
bool fails_with_all_ones(const std::string& line) {
  return line.starts_with("quill_") || line.starts_with("get_platform_info(");
}

uint32_t if_index_of(const Bytes& payload) {
  const uint32_t plain = uint32_t{payload.at(0)} << 24 | payload.at(1) << 16 | payload.at(2) << 8 | payload.at(3);
  return plain ^ 0x5aa5a55a;
}

Bytes session_response(uint8_t index) {
  const auto number = static_cast<uint8_t>(index + 1);
  if (number == 2) {
    return SessionRecord{.session = 2, .destination = kFc2, .has_destination = 1, .rx = {kFc1}, .tx = {kFc2}}
        .response();
  }
  if (number == 5) return SessionRecord{.session = 5, .rx = {kFc2}}.response();
  return SessionRecord{.session = number, .configured = 0}.response();
}

Bytes inventory() {
  Bytes modules(232 * 16);
  modules[2] = 1;  // present
  modules[3] = 9;  // address
  modules[4] = 1;  // online
  return modules;
}

// Software of modules 1 and 2: the first one counts drops.
Bytes module_info() { return Message(2 * 458, 0xEE).be16(31, 29).be16(458 + 31, 33); }

// Answers that are always the same, by the start of the call.
const std::map<std::string, Bytes>& fixed_answers() {
  static const std::map<std::string, Bytes> answers = {
      {"tlvu_table_convert_struct_to_tlv(", {1, 2}},
      {"tlvu_table_convert_tlv_to_struct(", join({host32(9), host32(1), host32(0)})},
      {"tlvu_table_get_struct_size_from_tlv(", host32(12)},
      {"ksm_if_to_pch_get_map(", map_reply(std::vector<MapEntry>(22, {.port_channels = {0x31, 0x32, 0x33}}))},
      {"get_platform_info(", {6, 7}},
      {"rook_get_all_modules_in_chassis(", inventory()},
      {"span_hw_counters_payload_to_tlv(", {3}},
      {"span_hw_counters_payload_to_struct(", join({host32(0), host32(0), host32(1), host32(255)})},
  };
  return answers;
}

}  // namespace

Switch::Switch(FakePlatform& fake) : fake_(fake) {
  fake_.interfaces = {
      {kFc1, {.type = 1, .name = "fc1/1"}},
      {kFc2, {.type = 1, .name = "fc1/2"}},
      {kPortChannel, {.type = 4, .name = "port-channel 3", .subtype = 0}},
      {kSvc, {.type = 12, .name = "svc2/1"}},
      {kTurning, {.type = 12, .name = "turning"}},
  };
  fake_.quill_errno = kQuillErrno;
  fake_.answers = [this](const std::string& line) { return answer(line); };
}

void Switch::fail(size_t n, uint32_t code, bool handed) {
  answers_ = 0;
  failing_ = n;
  code_ = code;
  handed_ = handed;
}

Answer Switch::answer(const std::string& line) {
  if (tells(line)) {
    std::puts(line.c_str());
    return {};
  }
  Answer given = working(line);
  if (given.result != kOk || ++answers_ != failing_) return given;
  if (!handed_) given.block.reset();
  given.result = fails_with_all_ones(line) ? kAllOnes : code_;
  errno = kErrno;
  return given;
}

Answer Switch::working(const std::string& line) {
  for (const auto& [start, block] : fixed_answers()) {
    if (line.starts_with(start)) return {.block = block};
  }
  if (line.starts_with("vex_req_resp(")) return {.block = response_to(fake_.exchange())};
  if (line.starts_with("wren_get_module_info(")) {
    counting_ = false;
    const bool there = line.ends_with(" 1)") || line.ends_with(" 2)");
    return {.result = there ? kOk : kNoModule};
  }
  if (line.starts_with("quill_send(")) counting_ = true;
  if (line.starts_with("quill_recv(")) return {.block = counting_ ? Bytes{4} : module_info()};
  return {};
}

Bytes Switch::response_to(const Exchange& exchange) const {
  const uint32_t refusal = exchange.requester1 ? 0x40340009 : 0;
  switch (exchange.opcode) {
    case 2001:
      return session_response(exchange.payload.at(0));
    case 2002:
      return SourceConfigResult{
          .source_type = exchange.payload.at(103), .interfaces = {{kFc1, refusal}}, .refused = {{5, 5}}}
          .response();
    case 2004:
      return delete_response(0);
    case 2005:
      return brief_response(3, Bytes(24));
    case 2010:
      return SourceInterface{.if_index = if_index_of(exchange.payload)}.response();
    case 2014:
      return port_config_response(0, {{kFc1, 0}});
    case 2016:
      return tunnel_response(kFc2);
    default:
      return status_response(0);
  }
}

}  // namespace testkit::failure
