// The drop threshold objects.
#include <gtest/gtest.h>

#include "tests/snmp/snmp_test.h"

namespace testkit {
namespace {

constexpr char kEncode[] = "tlvu_table_convert_struct_to_tlv";
constexpr char kDecode[] = "tlvu_table_convert_tlv_to_struct";
constexpr char kDecodeResponse[] = "tlvu_table_convert_tlv_to_struct(response, 0, span_global_info_payload_t, 0)";

class DropThreshold : public SnmpTest {
 protected:
  // The manager's answer, a record of threshold, operation and result.
  void expect_answer(uint32_t threshold, uint32_t result) {
    fake.expect(kEncode).gives({1, 2, 3});
    fake.expect_exchange(2019).gives({4, 5});
    fake.expect("tlv_array_size_get").returns(0xFFFFFFFF);
    fake.expect(kDecode).gives(join({host32(threshold), host32(0xEEEEEEEE), host32(result)}));
  }

  uint32_t get() { return ask(span_snmp_drop_threshold_get); }
  uint32_t set(uint32_t value) { return ask(span_snmp_drop_threshold_set, value); }

  // Encoding `record` and sending it.
  static Steps encodes(const std::string& record) {
    return {std::string(kEncode) + "(span_global_info_payload_t, [" + record + "], 0, 0, 0)"};
  }

  static Steps sends(const std::string& kind) {
    return {"vex_req_resp(2019, " + kind + ", [3 bytes], null, null, 68, 7, 35)"};
  }

  static Steps decodes() { return {"tlv_array_size_get(response, 1)", kDecodeResponse}; }

  static constexpr char kRead[] = "00 00 00 00 01 00 00 00 00 00 00 00";
  static constexpr char kWrite[] = "78 56 34 12 00 00 00 00 00 00 00 00";
  static constexpr uint32_t kValue = 0x12345678;
  const Steps gets_ = {"span_snmp_drop_threshold_get: get drop threshold \n"};
  const Steps sets_ = {"span_snmp_drop_threshold_set: drop threshold [12345678]\n"};
};

// ---- Get -------------------------------------------------------------------------------------------------------------

TEST_F(DropThreshold, IsTheValueThatTheManagerTells) {
  for (const uint32_t threshold : {0u, 1u, 15u, 0x80000000u, 0xFFFFFFFFu}) {
    expect_answer(threshold, 0);
    EXPECT_EQ(get(), threshold);
  }
}

TEST_F(DropThreshold, IsAskedForAsARead) {
  in_each_trace_mode([&] {
    expect_answer(9, 0);
    EXPECT_EQ(get(), 9u);
    EXPECT_TRUE(same_bytes(fake.exchange().payload, {1, 2, 3}));
    EXPECT_EQ(steps(), gets_ + encodes(kRead) + sends("1") + decodes());
  });
}

TEST_F(DropThreshold, IsReadWhateverItsResult) {
  expect_answer(9, 0x40340009);
  EXPECT_EQ(get(), 9u);
}

TEST_F(DropThreshold, Is0WhenItCannotBeEncoded) {
  in_each_trace_mode([&] {
    fake.expect(kEncode).returns(9).gives({1});
    fake.expect("tlvu_error_print");
    EXPECT_EQ(get(), 0u);
    EXPECT_EQ(steps(), gets_ + encodes(kRead) +
                           (Steps{"tlvu_error_print(\"span_global_info_payload_to_tlv: ERR 0x9\\n\")",
                                  "drop threshold failed: \n error: 9\n"}));
  });
}

TEST_F(DropThreshold, Is0WhenTheExchangeFails) {
  in_each_trace_mode([&] {
    fake.expect(kEncode).gives({1, 2, 3});
    fake.expect_exchange(2019).returns(kTransportFailed).gives({4, 5});
    EXPECT_EQ(get(), 0u);
    EXPECT_EQ(steps(), gets_ + encodes(kRead) + sends("1") + Steps{"drop threshold failed: \n error: 40340015\n"});
  });
}

TEST_F(DropThreshold, Is0WhenItCannotBeDecoded) {
  in_each_trace_mode([&] {
    fake.expect(kEncode).gives({1, 2, 3});
    fake.expect_exchange(2019).gives({4, 5});
    fake.expect("tlv_array_size_get");
    fake.expect(kDecode).returns(0xabc).gives(host32(9));
    fake.expect("tlvu_error_print");
    EXPECT_EQ(get(), 0u);
    EXPECT_EQ(printed(), "span_global_info: global info convert to struct failed \n");
    EXPECT_EQ(steps(), gets_ + encodes(kRead) + sends("1") + decodes() +
                           (Steps{"tlvu_error_print(\"span_global_info_payload_to_struct: ERR 0xabc\\n\")",
                                  "drop threshold failed: \n error: abc\n"}));
  });
}

TEST_F(DropThreshold, Is0WithoutAQueue) {
  queue_ = 0;
  in_each_trace_mode([&] {
    EXPECT_EQ(get(), 0u);
    EXPECT_EQ(printed(), "Invalid param\n");
    EXPECT_EQ(steps(), gets_ + Steps{"drop threshold failed: \n error: 40340015\n"});
  });
}

// ---- Set -------------------------------------------------------------------------------------------------------------

TEST_F(DropThreshold, IsSentAsItStands) {
  for (const uint32_t value : {0u, 1u, 15u, 0x80000000u, 0xFFFFFFFFu}) {
    forget_steps();
    expect_answer(0, 0);
    EXPECT_EQ(set(value), kOk);
    EXPECT_EQ(steps().at(1), encodes(to_hex(join({host32(value), host32(0), host32(0)}))).front());
    EXPECT_EQ(fake.exchange().kind, 3u);
  }
}

TEST_F(DropThreshold, IsSetAsAWrite) {
  in_each_trace_mode([&] {
    expect_answer(0, 0);
    EXPECT_EQ(set(kValue), kOk);
    EXPECT_TRUE(same_bytes(fake.exchange().payload, {1, 2, 3}));
    EXPECT_EQ(steps(), sets_ + encodes(kWrite) + sends("3") + decodes());
  });
}

TEST_F(DropThreshold, KeepsTellingTheTextOf0WhenTheManagerRefuses) {
  fake.status_texts[0] = "SUCCESS";
  in_each_trace_mode([&] {
    expect_answer(kValue, 0x40340009);
    EXPECT_EQ(set(kValue), 0x40340009u);
    EXPECT_EQ(steps(), sets_ + encodes(kWrite) + sends("3") + decodes() + (Steps{"syserr2str(0)", "SUCCESS\n"}));
  });
}

TEST_F(DropThreshold, IsNotSetWhenItCannotBeEncoded) {
  in_each_trace_mode([&] {
    fake.expect(kEncode).returns(9);
    fake.expect("tlvu_error_print");
    EXPECT_EQ(set(kValue), kFailed);
    EXPECT_EQ(steps(), sets_ + encodes(kWrite) +
                           (Steps{"tlvu_error_print(\"span_global_info_payload_to_tlv: ERR 0x9\\n\")",
                                  "drop threshold failed: \n error: 9\n"}));
  });
}

TEST_F(DropThreshold, IsNotSetWhenTheExchangeFails) {
  in_each_trace_mode([&] {
    fake.expect(kEncode).gives({1, 2, 3});
    fake.expect_exchange(2019).returns(5).gives({4, 5});
    EXPECT_EQ(set(kValue), kFailed);
    EXPECT_EQ(steps(), sets_ + encodes(kWrite) + sends("3") + Steps{"drop threshold failed: \n error: 40340015\n"});
  });
}

TEST_F(DropThreshold, IsNotSetWhenTheAnswerCannotBeDecoded) {
  in_each_trace_mode([&] {
    fake.expect(kEncode).gives({1, 2, 3});
    fake.expect_exchange(2019).gives({4, 5});
    fake.expect("tlv_array_size_get");
    fake.expect(kDecode).returns(0xabc);
    fake.expect("tlvu_error_print");
    EXPECT_EQ(set(kValue), kFailed);
    EXPECT_EQ(printed(), "span_global_info: global info convert to struct failed \n");
    EXPECT_EQ(steps(), sets_ + encodes(kWrite) + sends("3") + decodes() +
                           (Steps{"tlvu_error_print(\"span_global_info_payload_to_struct: ERR 0xabc\\n\")",
                                  "drop threshold failed: \n error: abc\n"}));
  });
}

TEST_F(DropThreshold, IsNotSetWithoutAQueue) {
  queue_ = 0;
  in_each_trace_mode([&] {
    EXPECT_EQ(set(kValue), kFailed);
    EXPECT_EQ(printed(), "Invalid param\n");
    EXPECT_EQ(steps(), sets_ + Steps{"drop threshold failed: \n error: 40340015\n"});
  });
}

// ---- Of a session ----------------------------------------------------------------------------------------------------

TEST_F(DropThreshold, KeepsHavingNoEffectForASession) {
  for (const uint32_t session : {0u, 1u, 16u, 17u, 0xFFFFFFFFu}) {
    for (const uint32_t value : {0u, 1u, 0xFFFFFFFFu}) {
      EXPECT_EQ(ask(span_snmp_session_drop_threshold_set, session, value), kOk);
    }
  }
  EXPECT_EQ(fake.calls(), "");
}

}  // namespace
}  // namespace testkit
