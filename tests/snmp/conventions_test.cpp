// What all SNMP handlers share: the two variables of the agent, traces, kinds of read, and the destination check.
#include <gtest/gtest.h>

#include <functional>

#include "tests/snmp/snmp_test.h"

namespace testkit {
namespace {

// ---- The queue handle ------------------------------------------------------------------------------------------------

class QueueHandle : public SnmpTest {
 protected:
  span_snmp_session_entry_t row_ = {};
};

TEST_F(QueueHandle, IsReadAtEachRequest) {
  for (const uint32_t queue : {7u, 9u, 0x10001u}) {
    queue_ = queue;
    fake.expect_exchange(2001).gives(SessionRecord{}.response());
    EXPECT_EQ(ask(span_snmp_session_get_curr, 1, &row_), kOk);
    EXPECT_EQ(fake.exchange().queue, queue);
  }
}

TEST_F(QueueHandle, IsReadAgainForTheSecondRequestOfAHandler) {
  fake.expect_exchange(2001).gives(SessionRecord{.destination = 5}.response()).does([&] { queue_ = 9; });
  fake.expect_exchange(2000).gives(status_response(0));
  EXPECT_EQ(ask(span_snmp_session_dest_set, 1, 0), kOk);
  EXPECT_EQ(fake.exchanges.at(0).queue, 7u);
  EXPECT_EQ(fake.exchanges.at(1).queue, 9u);
}

TEST_F(QueueHandle, IsThatOfTheLastPointerInstalled) {
  uint32_t other = 0x55;
  span_snmp_set_quill_q(&other);
  fake.expect_exchange(2001).gives(SessionRecord{}.response());
  EXPECT_EQ(ask(span_snmp_session_get_curr, 1, &row_), kOk);
  EXPECT_EQ(fake.exchange().queue, 0x55u);
}

TEST_F(QueueHandle, IsNotReadByItsSetter) {
  run([] { span_snmp_set_quill_q(nullptr); });
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(QueueHandle, IsNotReadWithoutARequest) {
  span_snmp_set_quill_q(nullptr);
  know(5, 1, "fc1/5");
  span_snmp_source_if_entry_t source = {};
  EXPECT_EQ(ask(span_snmp_session_create, 17), kWrongSession);
  EXPECT_EQ(ask(span_snmp_session_get, 17, kGet, &row_), kWrongSession);
  EXPECT_EQ(ask(span_snmp_session_get_next, 16, &row_), kNoSession);
  EXPECT_EQ(ask(span_snmp_source_if_get_next, 17, 0, 0, &source), kNoSource);
  EXPECT_EQ(ask(span_snmp_check_if_index, 5), kOk);
  EXPECT_EQ(ask(span_snmp_check_if_index_dest, 5), kOk);
  EXPECT_EQ(ask(span_snmp_check_if_index_src, 5), kOk);
  EXPECT_EQ(ask(span_snmp_session_drop_threshold_set, 1, 2), kOk);
}

TEST_F(QueueHandle, OfZeroSendsNoQuery) {
  queue_ = 0;
  EXPECT_EQ(ask(span_snmp_session_get_curr, 1, &row_), kFailed);
  EXPECT_EQ(printed(), "Invalid param\n");
  EXPECT_EQ(fake.calls("vex"), "");
}

// ---- Traces ----------------------------------------------------------------------------------------------------------

class Tracing : public SnmpTest {
 protected:
  uint32_t check(uint32_t if_index = 0) { return ask(span_snmp_check_if_index_dest, if_index); }
};

TEST_F(Tracing, RecordsTheContextAndTheText) {
  check();
  ASSERT_EQ(fake.traces.size(), 1u);
  EXPECT_EQ(fake.traces[0].facility, 0x730000u);
  EXPECT_EQ(fake.traces[0].event, kContext);
  EXPECT_EQ(fake.traces[0].text, "span_snmp_check_if_index_dest: check dest if_index [0]\n");
  EXPECT_EQ(fake.traces[0].length, 55u + 5u);
}

TEST_F(Tracing, AsksForDebugOutputOfTheContext) {
  check();
  EXPECT_EQ(fake.calls(),
            "tarn_hist_event_subtype_check(0x730000, 0x510067)\n"
            "tarn_hist_event(0x730000, 60, 0x510067, \"span_snmp_check_if_index_dest: check dest if_index [0]\\n\")\n"
            "tarn_chk_int(0x510067, 0, 0, 1)\n");
}

TEST_F(Tracing, PrintsWhenDebugOutputIsOn) {
  fake.debug_on = true;
  check();
  EXPECT_EQ(fake.calls(),
            "tarn_hist_event_subtype_check(0x730000, 0x510067)\n"
            "tarn_hist_event(0x730000, 60, 0x510067, \"span_snmp_check_if_index_dest: check dest if_index [0]\\n\")\n"
            "tarn_chk_int(0x510067, 0, 0, 1)\n"
            "murmur(1, tarn_dbg_modname, 0, \"span_snmp_check_if_index_dest: check dest if_index [0]\\n\")\n");
}

TEST_F(Tracing, OfContext0PrintsWithoutAsking) {
  span_snmp_set_tarn(0);
  check();
  EXPECT_EQ(fake.calls(),
            "tarn_hist_event_subtype_check(0x730000, 0)\n"
            "tarn_hist_event(0x730000, 60, 0, \"span_snmp_check_if_index_dest: check dest if_index [0]\\n\")\n"
            "murmur(1, tarn_dbg_modname, 0, \"span_snmp_check_if_index_dest: check dest if_index [0]\\n\")\n");
}

TEST_F(Tracing, PrintsWithoutAHistory) {
  fake.history_on = false;
  fake.debug_on = true;
  check();
  EXPECT_EQ(fake.calls(),
            "tarn_hist_event_subtype_check(0x730000, 0x510067)\n"
            "tarn_chk_int(0x510067, 0, 0, 1)\n"
            "murmur(1, tarn_dbg_modname, 0, \"span_snmp_check_if_index_dest: check dest if_index [0]\\n\")\n");
}

TEST_F(Tracing, FollowsTheContextFromCallToCall) {
  for (const uint32_t context : {1u, 0u, 0xFFFFFFFFu, 103u}) {
    span_snmp_set_tarn(context);
    check();
    EXPECT_EQ(fake.traces.back().event, context);
  }
}

TEST_F(Tracing, IsNotDoneByTheSetters) {
  run([&] {
    span_snmp_set_tarn(1);
    span_snmp_set_tarn(0);
    span_snmp_set_quill_q(&queue_);
  });
  EXPECT_EQ(fake.calls(), "");
}

// One call of each handler, with what the manager answers.
struct Call {
  const char* name;
  std::function<uint32_t()> call;
  std::function<void(FakePlatform&)> script;
  uint32_t result;
};

span_snmp_vsan_modify_req_t modification(uint32_t operation) {
  span_snmp_vsan_modify_req_t req = {};
  req.session = 1;
  req.operation = operation;
  return req;
}

void answer_query(FakePlatform& fake) {
  fake.expect_exchange(2001).gives(SessionRecord{.destination = 9, .rx = {5}}.response());
}

void answer_removal(FakePlatform& fake) {
  answer_query(fake);
  fake.expect_exchange(2000).gives(status_response(4));
}

void answer_threshold(FakePlatform& fake) {
  fake.expect("tlvu_table_convert_struct_to_tlv").gives({1});
  fake.expect_exchange(2019).gives({2});
  fake.expect("tlv_array_size_get");
  fake.expect("tlvu_table_convert_tlv_to_struct").gives(join({host32(6), host32(0), host32(6)}));
}

template <uint32_t kOpcode>
void answer_change(FakePlatform& fake) {
  fake.expect_exchange(kOpcode).gives(kOpcode == 2004 ? delete_response(4) : status_response(4));
}

void answer_source(FakePlatform& fake) {
  fake.expect_exchange(2002).gives(SourceConfigResult{.result = 4, .interfaces = {{5, 4}}}.response());
}

span_snmp_session_entry_t session_row;
span_snmp_source_if_entry_t source_row;
span_snmp_vsan_entry_t vsan_row;
const span_snmp_vsan_modify_req_t kAddVsans = modification(4);
const span_snmp_vsan_modify_req_t kAddFilter = modification(16);

const Call kCalls[] = {
    {"session get", [] { return span_snmp_session_get(1, kGet, &session_row); }, answer_query, kOk},
    {"session get-next", [] { return span_snmp_session_get(0, kGetNext, &session_row); }, answer_query, kOk},
    {"create", [] { return span_snmp_session_create(1); }, answer_change<2004>, 4},
    {"destroy", [] { return span_snmp_session_destroy(1); }, answer_change<2004>, 4},
    {"destination", [] { return span_snmp_session_dest_set(1, 5); }, answer_change<2000>, 4},
    {"no destination", [] { return span_snmp_session_dest_set(1, 0); }, answer_removal, 4},
    {"admin status", [] { return span_snmp_session_admin_status_set(1, 1); }, answer_change<2006>, 4},
    {"source get", [] { return span_snmp_source_if_get(1, 5, 1, 1, &source_row); }, answer_query, kOk},
    {"source get-next", [] { return span_snmp_source_if_get(1, 0, 0, 2, &source_row); }, answer_query, kOk},
    {"add source", [] { return span_snmp_source_if_create(1, 5, 1); }, answer_source, 4},
    {"remove source", [] { return span_snmp_source_if_destroy(1, 5, 2); }, answer_source, 4},
    {"vsan get", [] { return span_snmp_source_vsan_get(1, kGet, &vsan_row); }, answer_query, kOk},
    {"vsan get-next", [] { return span_snmp_source_vsan_get(0, kGetNext, &vsan_row); }, answer_query, kOk},
    {"vsan modify", [] { return span_snmp_source_vsan_modify(&kAddVsans, nullptr); }, answer_source, 4},
    {"filter get", [] { return span_snmp_vsan_filter_get(1, kGet, &vsan_row); }, answer_query, kOk},
    {"filter get-next", [] { return span_snmp_vsan_filter_get(0, kGetNext, &vsan_row); }, answer_query, kOk},
    {"filter modify", [] { return span_snmp_vsan_filter_modify(&kAddFilter); }, answer_source, 4},
    {"threshold get", span_snmp_drop_threshold_get, answer_threshold, 6},
    {"threshold set", [] { return span_snmp_drop_threshold_set(9); }, answer_threshold, 6},
};

auto lines_of(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }

TEST_F(Tracing, NeverChangesAResult) {
  know(5, 1, "fc1/5");
  for (const Call& call : kCalls) {
    SCOPED_TRACE(call.name);
    for (const bool history : {false, true}) {
      for (const bool debug : {false, true}) {
        for (const uint32_t context : {0u, kContext}) {
          trace_as({"", context, history, debug});
          call.script(fake);
          EXPECT_EQ(run(call.call), call.result);
        }
      }
    }
  }
}

TEST_F(Tracing, IsSilentInEveryHandlerWhenNobodyWantsIt) {
  know(5, 1, "fc1/5");
  trace_as({"off", kContext, false, false});
  for (const Call& call : kCalls) {
    SCOPED_TRACE(call.name);
    forget_steps();
    call.script(fake);
    EXPECT_EQ(run(call.call), call.result);
    EXPECT_NE(fake.calls("tarn_hist_event_subtype_check(0x730000, 0x510067)"), "");
  }
  EXPECT_EQ(fake.calls("tarn_hist_event("), "");
  EXPECT_EQ(fake.calls("murmur"), "");
  EXPECT_EQ(lines_of(fake.calls("tarn_hist_event_subtype_check")), lines_of(fake.calls("tarn_chk_int")));
}

TEST_F(Tracing, OfContext0NeverAsksInAnyHandler) {
  know(5, 1, "fc1/5");
  trace_as({"context 0", 0, true, false});
  for (const Call& call : kCalls) {
    SCOPED_TRACE(call.name);
    call.script(fake);
    EXPECT_EQ(run(call.call), call.result);
  }
  EXPECT_EQ(fake.calls("tarn_chk_int"), "");
}

TEST_F(Tracing, PassesNullRequestersInEveryHandler) {
  know(5, 1, "fc1/5");
  for (const Call& call : kCalls) {
    call.script(fake);
    run(call.call);
  }
  EXPECT_EQ(fake.exchanges.size(), 20u);
  for (const Exchange& exchange : fake.exchanges) {
    EXPECT_EQ(exchange.requester1, std::nullopt);
    EXPECT_EQ(exchange.requester2, std::nullopt);
    EXPECT_EQ(exchange.service, 68u);
    EXPECT_EQ(exchange.queue, 7u);
    EXPECT_EQ(exchange.option, 35u);
  }
}

// ---- Kinds of read ---------------------------------------------------------------------------------------------------

class KindOfRead : public SnmpTest {
 protected:
  static constexpr int32_t kNoKinds[] = {0, 3, 4, -1, 0x101, 0x102, INT32_MAX, INT32_MIN};
};

TEST_F(KindOfRead, OtherThanTwoLeavesTheRowAndSendsNothing) {
  const auto session = unwritten<span_snmp_session_entry_t>();
  const auto source = unwritten<span_snmp_source_if_entry_t>();
  const auto vsans = unwritten<span_snmp_vsan_entry_t>();
  auto session_out = session;
  auto source_out = source;
  auto vsans_out = vsans;
  for (const int32_t kind : kNoKinds) {
    for (const uint32_t number : {0u, 1u, 16u, 17u}) {
      EXPECT_EQ(ask(span_snmp_session_get, number, kind, &session_out), kInvalidParam);
      EXPECT_EQ(ask(span_snmp_source_if_get, number, 5, 1, static_cast<uint32_t>(kind), &source_out), kInvalidParam);
      EXPECT_EQ(ask(span_snmp_source_vsan_get, number, kind, &vsans_out), kInvalidParam);
      EXPECT_EQ(ask(span_snmp_vsan_filter_get, number, kind, &vsans_out), kInvalidParam);
    }
  }
  EXPECT_TRUE(untouched(session_out));
  EXPECT_TRUE(untouched(source_out));
  EXPECT_TRUE(untouched(vsans_out));
  EXPECT_EQ(fake.calls("vex"), "");
  EXPECT_EQ(fake.calls("if_index"), "");
}

// ---- The destination check -------------------------------------------------------------------------------------------

using CheckDestination = Tracing;

TEST_F(CheckDestination, Accepts0WithoutAskingForAType) {
  in_each_trace_mode([&] {
    EXPECT_EQ(check(0), kOk);
    EXPECT_EQ(steps(), (Steps{"span_snmp_check_if_index_dest: check dest if_index [0]\n"}));
  });
}

TEST_F(CheckDestination, AcceptsOnlyTypes1And15) {
  for (uint32_t type = 0; type < 256; ++type) {
    know(0x1000, type);
    EXPECT_EQ(check(0x1000), type == 1 || type == 15 ? kOk : kWrongIf) << type;
  }
}

TEST_F(CheckDestination, RefusesAnInterfaceThatNobodyKnows) { EXPECT_EQ(check(0x1000), kWrongIf); }

TEST_F(CheckDestination, SaysWhatItAsksBeforeTheAnswer) {
  for (const uint32_t type : {1u, 4u, 15u}) {
    know(0xfedcba98, type);
    in_each_trace_mode([&] {
      check(0xfedcba98);
      EXPECT_EQ(steps(), (Steps{"span_snmp_check_if_index_dest: check dest if_index [fedcba98]\n",
                                "if_index_get_type(0xfedcba98)"}));
    });
  }
}

}  // namespace
}  // namespace testkit
