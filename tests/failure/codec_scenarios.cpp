// Global information and the codec wrappers.
#include "tests/failure/scenario.h"

namespace testkit::failure {
namespace {

constexpr uint32_t kInvalidParam = 0x40340015;

// What a wrapper reports of a failed codec.
std::string codec_error(const std::string& wrapper) { return "tlvu_error_print(\"" + wrapper + ": ERR 0x%x\\n\")\n"; }

Seen global_info() {
  const span_global_info_payload_t request = {.threshold = 0, .operation = 1, .result = 0};
  OutBlock reply;
  const uint32_t result = span_global_info(kQueue, kWho, kWhere, &request, reply.as<span_global_info_payload_t>());
  return {result, "reply " + reply.told()};
}

Seen parse_global_info() {
  const uint8_t payload[] = {0, 1};
  OutBlock reply;
  const uint32_t result = span_parse_global_info_res_payload(payload, reply.as<span_global_info_payload_t>());
  return {result, "reply " + reply.told()};
}

template <auto kWrapper, class Record>
Seen encode() {
  const Record record = {};
  OutBlock tlv;
  uint32_t length = 0;
  const uint32_t result = kWrapper(&record, tlv.out(), &length, 0, 0, 0);
  return {result, "tlv " + tlv.told()};
}

template <auto kWrapper, class Record>
Seen decode() {
  const uint8_t tlv[] = {1, 2};
  OutBlock record;
  const uint32_t result = kWrapper(record.as<Record>(), tlv, 0, 0);
  return {result, "record " + record.told()};
}

template <auto kWrapper>
Seen struct_size() {
  const uint8_t tlv[] = {1, 2};
  return static_cast<uint32_t>(kWrapper(tlv));
}

template <auto kWrapper, class Record>
Seen tlv_size() {
  const Record record = {};
  return kWrapper(&record);
}

// The wrappers of one record hand the codec's result on.
template <class Record, auto kToTlv, auto kToStruct, auto kStructSize, auto kTlvSize, auto kGetField, auto kItrInit,
          auto kGetNext>
Scenarios wrappers(const std::string& set) {
  const Broken passed_on = {{.result = kItsCode}};
  return {
      {set + "to_tlv",
       encode<kToTlv, Record>,
       {.result = kOk, .out = "tlv block"},
       {},
       {{{.result = kItsCode, .printed = codec_error(set + "to_tlv"), .out = "tlv %?"}}}},
      {set + "to_struct",
       decode<kToStruct, Record>,
       {.result = kOk, .out = "record block"},
       {},
       {{{.result = kItsCode, .printed = codec_error(set + "to_struct"), .out = "record %?"}}}},
      {set + "get_struct_sz",
       struct_size<kStructSize>,
       {.result = 12},
       {},
       {{printed(0xFFFFFFFF, codec_error(set + "get_struct_sz"))}}},
      {set + "get_tlv_sz", tlv_size<kTlvSize, Record>, {.result = kOk}, {}, {passed_on}},
      {set + "get_field", [] { return kGetField(1, 2, 3, 4, 5); }, {.result = kOk}, {}, {passed_on}},
      {set + "field_itr_init", [] { return kItrInit(1, 2, 3, 4, 5); }, {.result = kOk}, {}, {passed_on}},
      {set + "field_get_next", [] { return kGetNext(1, 2); }, {.result = kOk}, {}, {passed_on}},
  };
}

}  // namespace

Scenarios codec_scenarios() {
  const Scenarios own = {
      {"span_global_info",
       global_info,
       {.result = kOk, .out = "reply block"},
       {},
       {{{.result = kItsCode, .printed = codec_error("span_global_info_payload_to_tlv"), .out = "reply null"}},
        {{.result = kInvalidParam, .out = "reply null"}},
        {{.result = kOk, .out = "reply block"}},  // the size of the response: asked for, not used
        {{.result = kItsCode,
          .printed = codec_error("span_global_info_payload_to_struct") +
                     "span_global_info: global info convert to struct failed \n",
          .out = "reply null"}}}},
      {"span_parse_global_info_res_payload",
       parse_global_info,
       {.result = kOk, .out = "reply block"},
       {},
       {{{.result = kItsCode, .printed = codec_error("span_global_info_payload_to_struct"), .out = "reply null"}}}},
  };
  return joined({
      own,
      wrappers<span_global_info_payload_t, span_global_info_payload_to_tlv, span_global_info_payload_to_struct,
               span_global_info_payload_get_struct_sz, span_global_info_payload_get_tlv_sz,
               span_global_info_payload_get_field, span_global_info_payload_field_itr_init,
               span_global_info_payload_field_get_next>("span_global_info_payload_"),
      wrappers<span_global_admin_info_tlv_data_t, span_global_admin_info_tlv_data_to_tlv,
               span_global_admin_info_tlv_data_to_struct, span_global_admin_info_tlv_data_get_struct_sz,
               span_global_admin_info_tlv_data_get_tlv_sz, span_global_admin_info_tlv_data_get_field,
               span_global_admin_info_tlv_data_field_itr_init, span_global_admin_info_tlv_data_field_get_next>(
          "span_global_admin_info_tlv_data_"),
  });
}

}  // namespace testkit::failure
