// What happens when the n-th allocation of a handler fails, for every n that it has.
#include <gtest/gtest.h>

#include <functional>

#include "tests/snmp/snmp_test.h"

namespace testkit {
namespace {

constexpr uint32_t kPort = 0x1000000;
constexpr char kNoQuery[] = "Malloc error in res payload.\n";

span_snmp_session_entry_t session_row;
span_snmp_source_if_entry_t source_row;
span_snmp_vsan_entry_t vsan_row;
void* refused;

// The allocation that fails; what the manager is asked before and behind it, by opcode; what comes of it.
struct Failure {
  size_t n;
  std::vector<uint32_t> opcodes;
  uint32_t result;
  std::string output;
  std::string trace;  // the last one
  std::string left_behind = {};
};

struct Handler {
  const char* name;
  std::function<uint32_t()> call;
  uint32_t result;
  std::vector<uint32_t> opcodes;
  std::vector<Failure> failures;
};

span_snmp_vsan_modify_req_t modification(uint32_t operation) {
  span_snmp_vsan_modify_req_t req = {};
  req.session = 3;
  req.operation = operation;
  return req;
}

const span_snmp_vsan_modify_req_t kAddVsans = modification(4);
const span_snmp_vsan_modify_req_t kAddFilter = modification(16);

Failure no_query(uint32_t result) { return {1, {}, result, kNoQuery, "err(1)\n"}; }

Failure no_vsan_request() {
  return {1, {}, kFailed, "error:[1] status 0x1\n", "vsan src config failed: \n error: 1\n"};
}

Failure no_source_request() {
  return {1, {}, kFailed, "error:[1] status 0x1\n", "span_snmp_source_if: status 0x40340000 result[40340000]\n"};
}

const std::vector<Handler> kHandlers = {
    {"session read", [] { return span_snmp_session_get_curr(3, &session_row); }, kOk, {2001}, {no_query(kFailed)}},
    {"source read",
     [] { return span_snmp_source_if_get_curr(3, kPort, 1, &source_row); },
     kOk,
     {2001},
     {no_query(kOk)}},
    {"next source of a session",
     [] { return span_snmp_source_if_get_next_in_session(3, 0, 0, &source_row); },
     kOk,
     {2001},
     {{1, {}, kFailed, kNoQuery, "span_snmp_source_if_get_next_in_session: src[0x0] dir[0] ret_val[0x40340000]\n"}}},
    {"source VSAN read", [] { return span_snmp_source_vsan_get_curr(3, &vsan_row); }, kOk, {2001}, {no_query(kFailed)}},
    {"filter VSAN read", [] { return span_snmp_vsan_filter_get_curr(3, &vsan_row); }, kOk, {2001}, {no_query(kFailed)}},
    {"create",
     [] { return span_snmp_session_create(3); },
     kOk,
     {2004},
     {{1, {}, kFailed, "error: status 0x1 \n", "status 0x0\n"}}},
    {"admin status",
     [] { return span_snmp_session_admin_status_set(3, 1); },
     kOk,
     {2006},
     {{1, {}, kFailed, "error:[1] status 0x1 \n", "(1) command failed\n"}}},
    {"destination",
     [] { return span_snmp_session_dest_set(3, kPort); },
     kOk,
     {2000},
     {{1, {}, kFailed, "error: status 0x1\n", "dest config failed: \n error: 1\n"}}},
    {"no destination",
     [] { return span_snmp_session_dest_set(3, 0); },
     kOk,
     {2001, 2000},
     {no_query(kFailed), {2, {2001}, kFailed, "error: status 0x1\n", "dest config failed: \n error: 1\n"}}},
    {"add source", [] { return span_snmp_source_if_create(3, kPort, 1); }, kOk, {2002}, {no_source_request()}},
    {"remove source", [] { return span_snmp_source_if_destroy(3, kPort, 2); }, kOk, {2002}, {no_source_request()}},
    {"VSANs, nobody asks for the refused ones",
     [] { return span_snmp_source_vsan_modify(&kAddVsans, nullptr); },
     kWrongVsan,
     {2002},
     {no_vsan_request()}},
    {"VSANs",
     [] { return span_snmp_source_vsan_modify(&kAddVsans, &refused); },
     kWrongVsan,
     {2002},
     {no_vsan_request(),
      {2,
       {2002},
       kNoMemory,
       "",
       "(Error) Malloc Failure in ../feature/span/lib/span_snmp[1069] for size 516\n",
       "528 bytes from the response of 2002\n"}}},
    {"filter VSANs", [] { return span_snmp_vsan_filter_modify(&kAddFilter); }, kOk, {2002}, {no_vsan_request()}},
};

class Allocation : public SnmpTest {
 protected:
  void SetUp() override {
    SnmpTest::SetUp();
    know(kPort, 1, "fc1/1");
  }

  // The manager's answers; it refuses a VSAN.
  void expect_requests(const std::vector<uint32_t>& opcodes) {
    for (const uint32_t opcode : opcodes) {
      Script& script = fake.expect_exchange(opcode);
      if (opcode == 2001) script.gives(SessionRecord{.destination = 5, .rx = {kPort}}.response());
      if (opcode == 2002) script.gives(SourceConfigResult{.refused = {{5, 5}}}.response());
      if (opcode == 2004) script.gives(delete_response(0));
      if (opcode == 2000 || opcode == 2006) script.gives(status_response(0));
    }
  }

  static void free_refused() {
    std::free(refused);
    refused = nullptr;
  }
};

TEST_F(Allocation, IsDoneAsOftenAsItCanFail) {
  for (const Handler& handler : kHandlers) {
    SCOPED_TRACE(handler.name);
    const size_t before = heap::requests();
    expect_requests(handler.opcodes);
    EXPECT_EQ(run(handler.call), handler.result);
    EXPECT_EQ(heap::requests() - before, handler.failures.size());
    free_refused();
    EXPECT_EQ(heap::live(), 0u);
  }
}

TEST_F(Allocation, EndsEachHandlerWhenItFails) {
  for (const Handler& handler : kHandlers) {
    SCOPED_TRACE(handler.name);
    for (const Failure& failure : handler.failures) {
      in_each_trace_mode([&] {
        heap::fail_nth(failure.n);
        expect_requests(failure.opcodes);
        EXPECT_EQ(run(handler.call), failure.result);
        EXPECT_EQ(printed(), failure.output);
        EXPECT_EQ(steps().back(), failure.trace);
        EXPECT_EQ(refused, nullptr);
        EXPECT_EQ(heap::sweep(), failure.left_behind);
      });
    }
  }
}

TEST_F(Allocation, LeavesARowOfZerosWhenItFails) {
  session_row = unwritten<span_snmp_session_entry_t>();
  heap::fail_nth(1);
  EXPECT_EQ(ask(span_snmp_session_get, 3, kGet, &session_row), kFailed);
  EXPECT_TRUE(all_zero(session_row));

  know(kPort, 1);
  source_row = unwritten<span_snmp_source_if_entry_t>();
  heap::fail_nth(1);
  EXPECT_EQ(ask(span_snmp_source_if_get, 3, kPort, 1, 1, &source_row), kOk);
  EXPECT_TRUE(all_zero(source_row));

  for (const auto get : {span_snmp_source_vsan_get, span_snmp_vsan_filter_get}) {
    vsan_row = unwritten<span_snmp_vsan_entry_t>();
    heap::fail_nth(1);
    EXPECT_EQ(ask(get, 3, kGet, &vsan_row), kFailed);
    EXPECT_TRUE(all_zero(vsan_row));
  }
  EXPECT_EQ(printed(), std::string(kNoQuery) + kNoQuery + kNoQuery + kNoQuery);
}

// A walk has one allocation for each session that it tries.
TEST_F(Allocation, SkipsASessionOfAWalkWhenItFails) {
  sessions[4] = {.rx = {kPort}};
  sessions[7] = {.rx = {kPort + 1}};
  const std::function<uint32_t()> walks[] = {
      [] { return span_snmp_session_get_next(0, &session_row) == kOk ? session_row.session : 0; },
      [] { return span_snmp_source_vsan_get_next(0, &vsan_row) == kOk ? vsan_row.session : 0; },
      [] { return span_snmp_vsan_filter_get_next(0, &vsan_row) == kOk ? vsan_row.session : 0; },
      [] { return span_snmp_source_if_get_next(0, 0, 0, &source_row) == kOk ? source_row.session : 0; },
  };
  for (const auto& walk : walks) {
    for (uint32_t n = 1; n <= 4; ++n) {
      const uint32_t found = n == 4 ? 7 : 4;
      heap::fail_nth(n);
      expect_reads(1, n - 1);
      expect_reads(n + 1, found);
      EXPECT_EQ(run(walk), found);
      EXPECT_EQ(printed(), kNoQuery);
    }
  }
}

TEST_F(Allocation, NeverEndsAWalk) {
  fake.expect_exchange(2001).gives(response_of(1)).times(15);
  heap::fail_nth(16);
  EXPECT_EQ(ask(span_snmp_session_get_next, 0, &session_row), kNoSession);
  EXPECT_TRUE(all_zero(session_row));
  fake.expect_exchange(2001).gives(response_of(1)).times(15);
  heap::fail_nth(1);
  EXPECT_EQ(ask(span_snmp_source_if_get_next, 0, 0, 0, &source_row), kNoSource);
  EXPECT_EQ(printed(), std::string(kNoQuery) + kNoQuery);
}

TEST_F(Allocation, IsNotDoneForTheDropThreshold) {
  const size_t before = heap::requests();
  for (int i = 0; i < 2; ++i) {
    fake.expect("tlvu_table_convert_struct_to_tlv").gives({1});
    fake.expect_exchange(2019).gives({2});
    fake.expect("tlv_array_size_get");
    fake.expect("tlvu_table_convert_tlv_to_struct").gives(Bytes(12));
  }
  EXPECT_EQ(ask(span_snmp_drop_threshold_get), 0u);
  EXPECT_EQ(ask(span_snmp_drop_threshold_set, 5), kOk);
  EXPECT_EQ(heap::requests(), before);
}

}  // namespace
}  // namespace testkit
