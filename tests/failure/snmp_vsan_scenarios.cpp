// SNMP: the source VSAN table and the VSAN filter table.
#include "tests/failure/scenario.h"

namespace testkit::failure {
namespace {

constexpr uint32_t kFailed = 0x40340000;
constexpr uint32_t kWrongVsan = 0x40340046;
constexpr char kNoQuery[] = "Malloc error in res payload.\n";
constexpr char kNoChange[] = "error:[1] status 0x1\n";

std::string told_row(const span_snmp_vsan_entry_t& row) {
  const bool zeros = copy_of(&row, sizeof row) == Bytes(sizeof row);
  return zeros ? "row of zeros" : "session " + std::to_string(row.session);
}

template <class Call>
Seen read(Call call) {
  span_snmp_vsan_entry_t row;
  std::memset(&row, 0xEE, sizeof row);
  const uint32_t result = call(&row);
  return {result, told_row(row)};
}

Scenario current_read(const std::string& table, std::function<Seen()> call) {
  return {table + "_get_curr",
          std::move(call),
          {.result = kOk, .out = "session 2", .trace = table + "_get_curr: get the session [2] info\n"},
          {{.result = kFailed, .printed = kNoQuery, .out = "row of zeros", .trace = "err(1)\n"}},
          {{{.result = kFailed, .out = "row of zeros", .trace = "err(1077149704)\n"}}}};
}

Scenario dispatcher(const std::string& table, std::function<Seen()> call) {
  const std::string failed = table + "_get: return [40340000]";
  return {table + "_get",
          std::move(call),
          {.result = kOk, .out = "session 2", .trace = table + "_get: return [0]"},
          {{.result = kFailed, .printed = kNoQuery, .out = "row of zeros", .trace = failed}},
          {{{.result = kFailed, .out = "row of zeros", .trace = failed}}}};
}

// Session 2 follows 0; when it cannot be read, session 5 does. Whether session 1 can be asked for is all the same.
Scenario walk(const std::string& table, std::function<Seen()> call) {
  const auto found = [](const char* session, const char* text) {
    return Outcome{.result = kOk, .printed = text, .out = session};
  };
  return {table + "_get_next",
          std::move(call),
          found("session 2", ""),
          {found("session 2", kNoQuery), found("session 5", kNoQuery)},
          {{found("session 2", "")}, {found("session 5", "")}}};
}

span_snmp_vsan_modify_req_t modification(uint32_t operation) {
  span_snmp_vsan_modify_req_t request = {.unused = 0, .session = 2, .operation = operation, .vsans = {}};
  request.vsans[0] = 0x40;
  return request;
}

Seen add_source_vsan() {
  const span_snmp_vsan_modify_req_t request = modification(4);
  OutBlock refused;
  const uint32_t result = span_snmp_source_vsan_modify(&request, refused.out());
  return {result, "refused " + refused.told()};
}

Seen add_filter_vsan() {
  const span_snmp_vsan_modify_req_t request = modification(16);
  return span_snmp_vsan_filter_modify(&request);
}

// The manager refuses a VSAN; without memory for the list of refused ones, its response stays behind.
Scenario source_modification() {
  return {"span_snmp_source_vsan_modify",
          add_source_vsan,
          {.result = kWrongVsan,
           .out = "refused block",
           .trace = "span_snmp_source_vsan_modify: return code[status 0x40340046]"},
          {{.result = kFailed,
            .printed = kNoChange,
            .out = "refused null",
            .trace = "vsan src config failed: \n error: 1\n"},
           {.result = kNoMemory,
            .out = "refused null",
            .trace = "(Error) Malloc Failure in ../feature/span/lib/span_snmp[1069] for size 516\n",
            .left = "536 bytes from the response of 2002\n"}},
          {{{.result = kFailed, .out = "refused null", .trace = "vsan src config failed: \n error: %x\n"}}}};
}

Scenario filter_modification() {
  return {"span_snmp_vsan_filter_modify",
          add_filter_vsan,
          {.result = kOk, .trace = "span_snmp_vsan_filter_modify: returned SUCCESS"},
          {{.result = kFailed, .printed = kNoChange, .trace = "vsan src config failed: \n error: 1\n"}},
          {{{.result = kFailed, .trace = "vsan src config failed: \n error: %x\n"}}}};
}

template <auto kCurrent, auto kNext, auto kDispatch>
Scenarios reads(const std::string& table) {
  return {
      current_read(table, [] { return read([](auto* row) { return kCurrent(2, row); }); }),
      walk(table, [] { return read([](auto* row) { return kNext(0, row); }); }),
      dispatcher(table, [] { return read([](auto* row) { return kDispatch(2, 1, row); }); }),
  };
}

}  // namespace

Scenarios snmp_vsan_scenarios() {
  return joined({
      reads<span_snmp_source_vsan_get_curr, span_snmp_source_vsan_get_next, span_snmp_source_vsan_get>(
          "span_snmp_source_vsan"),
      reads<span_snmp_vsan_filter_get_curr, span_snmp_vsan_filter_get_next, span_snmp_vsan_filter_get>(
          "span_snmp_vsan_filter"),
      {source_modification(),
       filter_modification(),
       {"span_snmp_check_vsan_range",
        [] {
          return span_snmp_check_vsan_range(vsan_holder({{1, 2}}).data());
        },
        {.result = kOk}}},
  });
}

}  // namespace testkit::failure
