// SNMP: the source interface table.
#include "tests/failure/scenario.h"

namespace testkit::failure {
namespace {

constexpr uint32_t kFailed = 0x40340000;
constexpr char kNoQuery[] = "Malloc error in res payload.\n";
constexpr char kNoChange[] = "error:[1] status 0x1\n";

template <class Call>
Seen read(Call call) {
  span_snmp_source_if_entry_t row = {kUntouched, kUntouched, kUntouched};
  const uint32_t result = call(&row);
  return {result, told(row.session) + ", " + told(row.if_index) + ", " + told(row.direction)};
}

std::string row_of(uint32_t session, uint32_t if_index, uint32_t direction) {
  return told(session) + ", " + told(if_index) + ", " + told(direction);
}

// A read of one row succeeds with zeros when the manager cannot be asked.
Scenario read_of_a_row(const char* function, std::function<Seen()> call) {
  return {function,
          std::move(call),
          {.result = kOk, .out = row_of(2, kFc1, 1), .trace = "span_snmp_source_if_get_curr: source is present\n"},
          {{.result = kOk, .printed = kNoQuery, .out = row_of(0, 0, 0), .trace = "err(1)\n"}},
          {{{.result = kOk, .out = row_of(0, 0, 0), .trace = "err(1077149704)\n"}}}};
}

Scenario read_in_session() {
  const std::string failed = "span_snmp_source_if_get_next_in_session: src[0x0] dir[0] ret_val[0x40340000]\n";
  return {"span_snmp_source_if_get_next_in_session",
          [] { return read([](auto* row) { return span_snmp_source_if_get_next_in_session(2, kFc1, 1, row); }); },
          {.result = kOk, .out = row_of(2, kFc2, 2)},
          {{.result = kFailed, .printed = kNoQuery, .out = row_of(2, 0, 0), .trace = failed}},
          {{{.result = kFailed, .out = row_of(2, 0, 0), .trace = failed}}}};
}

// The first row is one of session 2; when that cannot be read, one of session 5.
Scenario walk() {
  const auto found = [](const std::string& row, const char* text) {
    return Outcome{.result = kOk, .printed = text, .out = row};
  };
  const std::string first = row_of(2, kFc1, 1);
  const std::string next = row_of(5, kFc2, 1);
  return {"span_snmp_source_if_get_next",
          [] { return read([](auto* row) { return span_snmp_source_if_get_next(0, 0, 0, row); }); },
          found(first, ""),
          {found(first, kNoQuery), found(next, kNoQuery)},
          {{found(first, "")}, {found(next, "")}}};
}

constexpr char kChanged[] = "span_snmp_source_if: status 0x0 result[0]\n";
constexpr char kNotChanged[] = "span_snmp_source_if: status 0x40340000 result[40340000]\n";

Scenario change_of_a_row(const char* function, std::function<Seen()> call) {
  return {function,
          std::move(call),
          {.result = kOk, .trace = kChanged},
          {{.result = kFailed, .printed = kNoChange, .trace = kNotChanged}},
          {{{.result = kFailed, .trace = kNotChanged}}}};
}

// Adds an interface that turns into one of a service module behind its check, so that it is mapped to port channels:
// so many that their list needs a block.
Seen add_turning_interface() {
  FakePlatform::current().interfaces[kTurning].type_answers = {{.type = 1}};
  return span_snmp_source_if(2, kTurning, 1, 1);
}

Scenario mapped_change() {
  const std::string no_map = "Error in getting information about interfaces\n";
  const std::string begun = "span_snmp_source_if: session 2, add d000000\n";
  return {"span_snmp_source_if",
          add_turning_interface,
          {.result = kOk, .trace = kChanged},
          {{.result = kNoMemory, .printed = no_map, .trace = begun},
           {.result = kNoMemory, .printed = no_map, .trace = begun},
           {.result = kFailed, .printed = kNoChange, .trace = kNotChanged}},
          {{{.result = kItsCode,
             .printed = "Error in getting inforamation for kestrel interfaces\n" + no_map,
             .trace = begun}},
           {{.result = kFailed, .trace = kNotChanged}}}};
}

Scenarios checks() {
  return {
      {"span_snmp_check_if_index", [] { return span_snmp_check_if_index(kFc1); }, {.result = kOk}},
      {"span_snmp_check_if_index_src", [] { return span_snmp_check_if_index_src(kFc1); }, {.result = kOk}},
      {"span_snmp_get_src_config_info_res_if",
       [] {
         return span_snmp_get_src_config_info_res_if(
             SourceConfigResult{.interfaces = {{kFc1, 0x40340009}}}.response().data());
       },
       {.result = 0x40340009}},
  };
}

}  // namespace

Scenarios snmp_source_scenarios() {
  const Scenarios rows = {
      read_of_a_row("span_snmp_source_if_get_curr",
                    [] { return read([](auto* row) { return span_snmp_source_if_get_curr(2, kFc1, 1, row); }); }),
      read_of_a_row("span_snmp_source_if_get",
                    [] { return read([](auto* row) { return span_snmp_source_if_get(2, kFc1, 1, 1, row); }); }),
      read_in_session(),
      walk(),
      change_of_a_row("span_snmp_source_if_create", [] { return span_snmp_source_if_create(2, kFc1, 1); }),
      change_of_a_row("span_snmp_source_if_destroy", [] { return span_snmp_source_if_destroy(2, kFc1, 2); }),
      mapped_change(),
  };
  return joined({rows, checks()});
}

}  // namespace testkit::failure
