// SNMP: module state, the session table, the drop threshold.
#include "tests/failure/scenario.h"

namespace testkit::failure {
namespace {

constexpr uint32_t kFailed = 0x40340000;
constexpr char kNoQuery[] = "Malloc error in res payload.\n";

// A session query without memory for it, and one whose exchange failed.
constexpr char kErrMemory[] = "err(1)\n";
constexpr char kErrExchange[] = "err(1077149704)\n";

std::string told_row(const span_snmp_session_entry_t& row) {
  const bool zeros = copy_of(&row, sizeof row) == Bytes(sizeof row);
  return zeros ? "row of zeros" : "session " + std::to_string(row.session);
}

template <class Call>
Seen read(Call call) {
  span_snmp_session_entry_t row;
  std::memset(&row, 0xEE, sizeof row);
  const uint32_t result = call(&row);
  return {result, told_row(row)};
}

// A read of session 2 alone.
Scenario read_of_session_2(const char* function, std::function<Seen()> call) {
  return {function,
          std::move(call),
          {.result = kOk, .out = "session 2", .trace = "span_snmp_session_get_curr: admin status [1]\n"},
          {{.result = kFailed, .printed = kNoQuery, .out = "row of zeros", .trace = kErrMemory}},
          {{{.result = kFailed, .out = "row of zeros", .trace = kErrExchange}}}};
}

// Session 2 follows 0; when it cannot be read, session 5 does. Whether session 1 can be asked for is all the same.
Scenario walk() {
  const auto found = [](const char* session, const char* text) {
    return Outcome{.result = kOk, .printed = text, .out = session};
  };
  return {"span_snmp_session_get_next",
          [] { return read([](auto* row) { return span_snmp_session_get_next(0, row); }); },
          found("session 2", ""),
          {found("session 2", kNoQuery), found("session 5", kNoQuery)},
          {{found("session 2", "")}, {found("session 5", "")}}};
}

// Creation or removal of session 3. A request that was not answered has written no result.
Scenario existence(const char* function, std::function<Seen()> call, const std::string& done) {
  return {function,
          std::move(call),
          {.result = kOk, .trace = "span_snmp_session: session [3] successfully " + done + "\n"},
          {{.result = kFailed, .printed = "error: status 0x1 \n", .trace = "status 0x0\n"}},
          {{{.result = kFailed, .trace = "status 0x0\n"}}}};
}

// Takes the destination away, which is asked for first.
Scenario removed_destination() {
  return {"span_snmp_session_dest_set",
          [] { return span_snmp_session_dest_set(2, 0); },
          {.result = kOk},
          {{.result = kFailed, .printed = kNoQuery, .trace = kErrMemory},
           {.result = kFailed, .printed = "error: status 0x1\n", .trace = "dest config failed: \n error: 1\n"}},
          {{{.result = kFailed, .trace = kErrExchange}},
           {{.result = kFailed, .trace = "dest config failed: \n error: %x\n"}}}};
}

Scenarios writes() {
  return {
      existence(
          "span_snmp_session_create", [] { return span_snmp_session_create(3); }, "created"),
      existence(
          "span_snmp_session_destroy", [] { return span_snmp_session_destroy(3); }, "deleted"),
      existence(
          "span_snmp_session", [] { return span_snmp_session(3, 1); }, "deleted"),
      removed_destination(),
      {"span_snmp_session_admin_status_set",
       [] { return span_snmp_session_admin_status_set(3, 1); },
       {.result = kOk},
       {{.result = kFailed, .printed = "error:[1] status 0x1 \n", .trace = "(1) command failed\n"}},
       {{{.result = kFailed, .trace = "(%x) command failed\n"}}}},
  };
}

Scenarios conventions() {
  static uint32_t queue = kQueue;
  return {
      {"span_snmp_set_quill_q",
       [] {
         span_snmp_set_quill_q(&queue);
         return kOk;
       },
       {.result = kOk}},
      {"span_snmp_set_tarn",
       [] {
         span_snmp_set_tarn(0x510067);
         return kOk;
       },
       {.result = kOk}},
      {"span_snmp_check_if_index_dest", [] { return span_snmp_check_if_index_dest(kFc1); }, {.result = kOk}},
  };
}

// The codec, the exchange, the size of the response that nobody uses, the codec again.
Scenario threshold(const char* function, std::function<Seen()> call, uint32_t works, uint32_t fails) {
  const std::string failed = "drop threshold failed: \n error: ";
  const auto codec_error = [](const std::string& wrapper) {
    return "tlvu_error_print(\"span_global_info_payload_" + wrapper + ": ERR 0x%x\\n\")\n";
  };
  return {function,
          std::move(call),
          {.result = works},
          {},
          {{{.result = fails, .printed = codec_error("to_tlv"), .trace = failed + "%x\n"}},
           {{.result = fails, .trace = failed + "40340015\n"}},
           {{.result = works}},
           {{.result = fails,
             .printed = codec_error("to_struct") + "span_global_info: global info convert to struct failed \n",
             .trace = failed + "%x\n"}}}};
}

Scenarios thresholds() {
  return {
      threshold(
          "span_snmp_drop_threshold_get", [] { return span_snmp_drop_threshold_get(); }, 9, 0),
      threshold(
          "span_snmp_drop_threshold_set", [] { return span_snmp_drop_threshold_set(9); }, kOk, kFailed),
      {"span_snmp_session_drop_threshold_set",
       [] { return span_snmp_session_drop_threshold_set(3, 9); },
       {.result = kOk}},
  };
}

}  // namespace

Scenarios snmp_session_scenarios() {
  const Scenarios reads = {
      read_of_session_2("span_snmp_session_get_curr",
                        [] { return read([](auto* row) { return span_snmp_session_get_curr(2, row); }); }),
      read_of_session_2("span_snmp_session_get",
                        [] { return read([](auto* row) { return span_snmp_session_get(2, 1, row); }); }),
      walk(),
  };
  return joined({conventions(), reads, writes(), thresholds()});
}

}  // namespace testkit::failure
