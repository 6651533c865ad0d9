// Source information of the port manager. What is decoded is released here, members first.
#include "tests/failure/scenario.h"
#include "tests/msg/port_manager_test.h"

namespace testkit::failure {
namespace {

const Bytes& if_body() {
  static const Bytes body = counted({PortEntry{.vsans = {{1, 2}}}.whole(), PortEntry{}.whole()});
  return body;
}

const Bytes& pch_body() {
  static const Bytes body =
      counted({PchEntry{.validity = 2, .members = {kFc1}}.bytes(), PchEntry{.validity = 2, .members = {kFc2}}.bytes()});
  return body;
}

const Bytes& vsan_body_of_two() {
  static const Bytes body = vsan_body({{8, 9}}, {{.vsan = 8, .members = {{}}}, {.vsan = 9, .members = {{}}}});
  return body;
}

std::string told_array(const void* array) { return array != nullptr ? "block" : "null"; }

template <class Record>
void release(Record* records, size_t count) {
  for (size_t i = 0; records != nullptr && i < count; ++i) std::free(records[i].members);
  std::free(records);
}

Seen port_info() {
  const Bytes message = join({message_head(3), vsan_body_of_two()});
  span_pm_port_info_t* info = nullptr;
  const uint32_t result = span_parse_pm_span_get_port_info(&info, message.data(), 0);
  if (info == nullptr) return {result, "info null"};
  const Seen seen = {result, "info block, entries " + told_array(info->body.vsans.entries)};
  release(info->body.vsans.entries, 2);
  std::free(info);
  return seen;
}

Seen src_info_if() {
  span_pm_src_info_if_t out = {};
  const uint32_t result = span_parse_pm_src_info_if(&out, if_body().data());
  const Seen seen = {result, "count " + std::to_string(out.count) + ", records " + told_array(out.ifs)};
  std::free(out.ifs);
  return seen;
}

Seen src_info_pch() {
  span_pm_src_info_pch_t out = {};
  const uint32_t result = span_parse_pm_src_info_pch(&out, pch_body().data());
  const Seen seen = {result, "count " + std::to_string(out.count) + ", records " + told_array(out.pchs)};
  release(out.pchs, 2);
  return seen;
}

Seen src_info_vsan() {
  span_pm_src_info_vsan_t out = {};
  const uint32_t result = span_parse_pm_src_info_vsan(&out, vsan_body_of_two().data());
  const Seen seen = {result, "records " + told_array(out.entries)};
  release(out.entries, 2);
  return seen;
}

}  // namespace

Scenarios port_manager_scenarios() {
  const Outcome no_entries = {.result = kNoMemory, .out = "info block, entries null"};
  const Outcome no_pchs = {.result = kNoMemory, .out = "count 2, records null"};
  const Outcome no_vsans = {.result = kNoMemory, .out = "records null"};
  return {
      {"span_parse_pm_span_get_port_info",
       port_info,
       {.result = kOk, .out = "info block, entries block"},
       {{.result = kNoMemory, .out = "info null"}, no_entries, no_entries, no_entries}},
      {"span_parse_pm_src_info_if",
       src_info_if,
       {.result = kOk, .out = "count 2, records block"},
       {{.result = kNoMemory, .out = "count 2, records null"}}},
      {"span_parse_pm_src_info_pch",
       src_info_pch,
       {.result = kOk, .out = "count 2, records block"},
       {no_pchs, no_pchs, no_pchs}},
      {"span_parse_pm_src_info_vsan",
       src_info_vsan,
       {.result = kOk, .out = "records block"},
       {no_vsans, no_vsans, no_vsans}},
  };
}

}  // namespace testkit::failure
