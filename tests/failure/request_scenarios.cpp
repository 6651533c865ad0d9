// Session queries and session configuration: the exchanges and the builders of their requests.
#include "tests/failure/scenario.h"

namespace testkit::failure {
namespace {

constexpr uint32_t kExchangeFailed = 0x40340008;
constexpr char kNoQuery[] = "Malloc error in res payload.\n";

Seen get_session_info() {
  const uint32_t session = 2;
  uint8_t valid = 0;
  uint8_t* record = nullptr;
  OutBlock response;
  const uint32_t result = span_get_session_info(kQueue, kWho, kWhere, &session, 0, &valid, &record, response.out());
  return {result, "valid " + std::to_string(valid) + ", response " + response.told()};
}

Seen get_session_info_brief() {
  const uint32_t range[] = {3, 5};
  uint8_t count = 0xEE;
  uint8_t* records = nullptr;
  OutBlock response;
  const uint32_t result = span_get_session_info_brief(kQueue, kWho, kWhere, range, 0, &count, &records, response.out());
  return {result, "count " + std::to_string(count) + ", response " + response.told()};
}

Seen build_session_query() {
  const uint32_t session = 2;
  OutBlock payload;
  uint32_t length = 0;
  const uint32_t result = span_const_get_session_info_req_payload(&session, 0, payload.as<uint8_t>(), &length);
  return {result, "payload " + payload.told() + ", length " + std::to_string(length)};
}

Seen build_brief_query() {
  const uint32_t range[] = {3, 5};
  uint8_t count = 0;
  OutBlock payload;
  uint32_t length = 0;
  const uint32_t result =
      span_const_get_session_info_brief_req_payload(range, 0, &count, payload.as<uint8_t>(), &length);
  return {result,
          "count " + std::to_string(count) + ", payload " + payload.told() + ", length " + std::to_string(length)};
}

// A change whose result the manager tells.
template <class Call>
Seen change(Call call) {
  uint32_t status = kUntouched;
  OutBlock response;
  const uint32_t result = call(&status, response.out());
  return {result, "status " + told(status) + ", response " + response.told()};
}

Seen set_src_config() {
  const uint32_t vsans[] = {1, 10};
  OutBlock response;
  const uint32_t result =
      span_set_src_config(kQueue, kWho, kWhere, 0, 1, 4, 3, vsans, nullptr, nullptr, 0, response.out());
  return {result, "response " + response.told()};
}

// A builder of a change's payload.
template <class Build>
Seen built(Build build) {
  OutBlock payload;
  uint32_t length = kUntouched;
  const uint32_t result = build(payload.as<uint8_t>(), &length);
  return {result, "payload " + payload.told()};
}

constexpr uint8_t kSessions[] = {1, 2};

Outcome changed() { return {.result = kOk, .out = "status 0, response block"}; }

Outcome unsent(std::string text) {
  return {.result = kNoMemory, .printed = std::move(text), .out = "status untouched, response null"};
}

Broken unanswered() { return {{.result = kItsCode, .out = "status untouched, response %?"}}; }

Outcome unbuilt(std::string text) { return {.result = kNoMemory, .printed = std::move(text), .out = "payload null"}; }

Scenarios queries() {
  return {
      {"span_get_session_info",
       get_session_info,
       {.result = kOk, .out = "valid 1, response block"},
       {{.result = kNoMemory, .printed = kNoQuery, .out = "valid 0, response null"}},
       {{{.result = kExchangeFailed, .out = "valid 0, response %?"}}}},
      {"span_get_session_info_brief",
       get_session_info_brief,
       {.result = kOk, .out = "count 3, response block"},
       {{.result = kNoMemory, .printed = kNoQuery, .out = "count 238, response null"}},
       {{{.result = kItsCode, .out = "count 238, response %?"}}}},
      {"span_const_get_session_info_req_payload",
       build_session_query,
       {.result = kOk, .out = "payload block, length 4"},
       {{.result = kNoMemory, .printed = kNoQuery, .out = "payload null, length 4"}}},
      {"span_const_get_session_info_brief_req_payload",
       build_brief_query,
       {.result = kOk, .out = "count 3, payload block, length 7"},
       {{.result = kNoMemory, .printed = kNoQuery, .out = "count 3, payload null, length 7"}}},
  };
}

Scenarios changes() {
  return {
      {"span_set_dest_info",
       [] {
         return change([](uint32_t* status, void** response) {
           return span_set_dest_info(kQueue, kWho, kWhere, 1, 1, kFc1, 0, 0, status, response);
         });
       },
       changed(),
       {unsent("error: status 0x1\n")},
       {unanswered()}},
      {"span_set_src_config",
       set_src_config,
       {.result = kOk, .out = "response block"},
       {{.result = kNoMemory, .printed = "error:[1] status 0x1\n", .out = "response null"}},
       {{{.result = kItsCode, .out = "response %?"}}}},
      {"span_delete_session",
       [] {
         return change([](uint32_t* status, void** response) {
           return span_delete_session(kQueue, kWho, kWhere, 2, kSessions, 1, status, response);
         });
       },
       changed(),
       {unsent("error: status 0x1 \n")},
       {unanswered()}},
      {"span_set_session_state",
       [] {
         return change([](uint32_t* status, void** response) {
           return span_set_session_state(kQueue, kWho, kWhere, 1, 1, status, response);
         });
       },
       changed(),
       {unsent("error:[1] status 0x1 \n")},
       {unanswered()}},
  };
}

Scenarios builders() {
  const Outcome works = {.result = kOk, .out = "payload block"};
  return {
      {"span_const_set_dest_info_payload",
       [] {
         return built([](uint8_t** payload, uint32_t* length) {
           return span_const_set_dest_info_payload(kWho, kWhere, 1, 1, kFc1, 0, payload, length);
         });
       },
       works,
       {unbuilt("error: status 0x1\n")}},
      {"span_const_set_src_config_info_req_payload",
       [] {
         return built([](uint8_t** payload, uint32_t* length) {
           return span_const_set_src_config_info_req_payload(kWho, kWhere, 0, 1, 4, 3, nullptr, nullptr, nullptr,
                                                             payload, length);
         });
       },
       works,
       {unbuilt("error:[1] status 0x1\n")}},
      {"span_const_delete_session_payload",
       [] {
         return built([](uint8_t** payload, uint32_t* length) {
           return span_const_delete_session_payload(kWho, kWhere, 2, kSessions, 1, payload, length);
         });
       },
       works,
       {unbuilt("error: status 0x1 \n")}},
      {"span_const_set_session_state_payload",
       [] {
         return built([](uint8_t** payload, uint32_t* length) {
           return span_const_set_session_state_payload(kWho, kWhere, 1, 1, payload, length);
         });
       },
       works,
       {unbuilt("error:[1] status 0x1 \n")}},
      {"span_encode_cfg_tlv",
       [] {
         uint8_t entry[6];
         const uint32_t value = 5;
         return span_encode_cfg_tlv(entry, 1, 4, &value);
       },
       {.result = kOk}},
  };
}

}  // namespace

Scenarios request_scenarios() { return joined({queries(), changes(), builders()}); }

}  // namespace testkit::failure
