// Interfaces, their queries, service modules, port configuration; VSAN text and time.
#include "tests/failure/scenario.h"

namespace testkit::failure {
namespace {

constexpr char kMapFailed[] = "Error in getting inforamation for kestrel interfaces\n";

Seen src_if_info() {
  Bytes request = join({host32(kFc1), {1, 1, 0, 0}});
  OutBlock response;
  const uint32_t result = span_get_src_if_info(kQueue, kWho, kWhere, request.data(), response.out());
  return {result, "response " + response.told()};
}

Seen rspan_tunnel() {
  uint32_t tunnel = kUntouched;
  const uint32_t result = span_get_rspan_tunnel_config(kQueue, kFc1, &tunnel);
  return {result, "tunnel " + told(tunnel)};
}

// With more port channels than the shell's list has room for.
Seen convert() {
  const Bytes given = range_list(Ranges(90, {kSvc, kSvc}));
  Bytes list = given;
  const uint32_t result = span_convert_ks_intf_to_ipch(kQueue, list.data(), -1);
  return {result, list == given ? "list untouched" : "list of " + std::to_string(list.at(4))};
}

Seen port_config() {
  const uint32_t ranges[] = {kFc1, kFc1};
  const uint32_t mode = 5;
  uint32_t count = kUntouched;
  OutBlock results;
  const uint32_t result =
      span_vex_set_port_config(kQueue, kWho, kWhere, 1, ranges, 1, 4, &mode, &count, results.as<uint32_t>());
  return {result, "count " + told(count) + ", results " + results.told()};
}

Seen parse_port_config() {
  const Bytes response = port_config_response(0, {{kFc1, 0}});
  uint32_t count = kUntouched;
  OutBlock results;
  const uint32_t result = span_parse_set_port_config_res_payload(response.data(), &count, results.as<uint32_t>());
  return {result, "count " + told(count) + ", results " + results.told()};
}

Seen next_in_list() {
  const Bytes list = join({be32(2), net_if(5), net_if(9)});
  uint32_t next = kUntouched;
  span_if_list_get_next(list.data(), 5, &next);
  return {kOk, "next " + told(next)};
}

Scenarios classification() {
  return {
      {"span_is_iscsi_if", [] { return Seen(span_is_iscsi_if(kFc1)); }, {.result = 0}},
      {"span_is_fcip_if", [] { return Seen(span_is_fcip_if(kFc1)); }, {.result = 0}},
      {"span_is_rspan_tunnel_if", [] { return Seen(span_is_rspan_tunnel_if(kFc1)); }, {.result = 0}},
      {"span_check_pch_subtype", [] { return Seen(span_check_pch_subtype(kPortChannel, 0)); }, {.result = 1}},
      {"span_if_list_get_next", next_in_list, {.result = kOk, .out = "next 9"}},
      {"span_if_list_if_is_present",
       [] {
         return Seen(span_if_list_if_is_present(join({be32(1), net_if(5)}).data(), 5));
       },
       {.result = 1}},
  };
}

Scenarios queries() {
  const Outcome silent = {.result = kNoMemory, .out = "list untouched"};
  return {
      {"span_get_src_if_info",
       src_if_info,
       {.result = kOk, .out = "response block"},
       {},
       {{{.result = kItsCode, .out = "response %?"}}}},
      {"span_get_rspan_tunnel_config",
       rspan_tunnel,
       {.result = kOk, .out = "tunnel " + std::to_string(kFc2)},
       {},
       {{{.result = kItsCode, .out = "tunnel 0"}}}},
      {"span_convert_ks_intf_to_ipch",
       convert,
       {.result = kOk, .out = "list of 66"},
       {silent, silent},
       {{{.result = kItsCode, .printed = kMapFailed, .out = "list untouched"}}}},
  };
}

Scenarios port_configuration() {
  const std::string no_request = "span_vex_set_port_config: malloc failure, size(116)\n";
  return {
      {"span_vex_set_port_config",
       port_config,
       {.result = kOk, .out = "count 1, results block"},
       {{.result = kNoMemory, .printed = no_request, .out = "count 0, results null"},
        {.result = kNoMemory, .out = "count 0, results null"}},
       {{{.result = kItsCode, .out = "count 0, results null"}}}},
      {"span_parse_set_port_config_res_payload",
       parse_port_config,
       {.result = kOk, .out = "count 1, results block"},
       {{.result = kNoMemory, .out = "count untouched, results null"}}},
      {"span_snmp_set_port_config",
       [] { return span_snmp_set_port_config(kQueue, kWho, kWhere, kFc1, 5); },
       {.result = kOk},
       {printed(kNoMemory, "error: malloc failure - size(6)\n"), printed(kNoMemory, no_request), {kNoMemory}},
       {{.outcome = {.result = kItsCode}, .all_ones = Outcome{.result = kQuillErrno}}}},
  };
}

Scenarios vsan_text_and_time() {
  return {
      {"span_vsan_bitset_sprintf",
       [] {
         return Seen(span_vsan_bitset_sprintf(vsan_holder({{1, 3}}).data()));
       },
       printed(3, "1-3")},
      {"span_print_time", [] { return Seen(span_print_time()); }, {.result = 0}},
  };
}

}  // namespace

Scenarios interface_scenarios() {
  return joined({classification(), queries(), port_configuration(), vsan_text_and_time()});
}

}  // namespace testkit::failure
