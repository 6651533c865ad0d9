// Modifications of the two VSAN tables, and the check of the VSANs.
#include <gtest/gtest.h>

#include "tests/snmp/snmp_test.h"

namespace testkit {
namespace {

constexpr char kSend[] = "vex_req_resp(2002, 3, [624 bytes], null, null, 68, 7, 35)";

// ---- The check -------------------------------------------------------------------------------------------------------

class CheckVsans : public SnmpTest {
 protected:
  uint32_t check(const Vsans& vsans) {
    const Bytes holder = vsan_holder(vsans);
    return run([&] { return span_snmp_check_vsan_range(holder.data()); });
  }

  static Steps requests(const std::string& vsans) { return {" Requested vsans are " + vsans + "\n"}; }

  // Pairs of VSANs from 1000 on, each with its comma 10 characters long.
  static std::string pairs(uint32_t count, Vsans* vsans) {
    std::string text;
    for (uint32_t vsan = 1000; count > 0; vsan += 3, --count) {
      vsans->push_back({vsan, vsan + 1});
      text += (text.empty() ? "" : ",") + std::to_string(vsan) + "-" + std::to_string(vsan + 1);
    }
    return text;
  }
};

TEST_F(CheckVsans, PassesAnEmptySetInSilence) {
  in_each_trace_mode([&] {
    EXPECT_EQ(check({}), kOk);
    EXPECT_EQ(steps(), Steps{});
  });
}

TEST_F(CheckVsans, AcceptsEveryVsanFrom1To4093) {
  for (uint32_t vsan = 0; vsan < 4096; ++vsan) {
    EXPECT_EQ(check({{vsan, vsan}}), vsan >= 1 && vsan <= 4093 ? kOk : kWrongVsan) << vsan;
  }
  EXPECT_EQ(check({{1, 4093}}), kOk);
}

TEST_F(CheckVsans, RefusesASetWithOneOfThree) {
  for (const uint32_t vsan : {0u, 4094u, 4095u}) EXPECT_EQ(check({{5, 6}, {vsan, vsan}}), kWrongVsan);
  EXPECT_EQ(check({{0, 4095}}), kWrongVsan);
}

TEST_F(CheckVsans, TracesTheRanges) {
  in_each_trace_mode([&] {
    EXPECT_EQ(check({{1, 1}, {4093, 4093}}), kOk);
    EXPECT_EQ(steps(), requests("1,4093"));
    EXPECT_EQ(check({{1, 1}, {4093, 4094}}), kWrongVsan);
    EXPECT_EQ(steps(), requests("1,4093-4094"));
    EXPECT_EQ(check({{0, 0}}), kWrongVsan);
    EXPECT_EQ(steps(), requests("0"));
    EXPECT_EQ(check({{0, 4095}}), kWrongVsan);
    EXPECT_EQ(steps(), requests("0-4095"));
    EXPECT_EQ(check({{2, 3}, {7, 7}, {10, 12}, {99, 100}, {999, 1000}}), kOk);
    EXPECT_EQ(steps(), requests("2-3,7,10-12,99-100,999-1000"));
  });
}

TEST_F(CheckVsans, DoesNotReadTheLengthWord) {
  for (const uint32_t length : {0u, 1u, 0xFFFFFFFFu}) {
    const Bytes holder = join({host32(length), vsan_bits({{4000, 4000}})});
    EXPECT_EQ(run([&] { return span_snmp_check_vsan_range(holder.data()); }), kOk);
    EXPECT_EQ(steps(), requests("4000"));
  }
}

TEST_F(CheckVsans, RecordsALongTextUpTo511CharactersAndPrintsItWhole) {
  fake.debug_on = true;
  Vsans vsans;
  const std::string text = pairs(100, &vsans);
  ASSERT_EQ(text.size(), 999u);
  EXPECT_EQ(check(vsans), kOk);
  const std::string whole = " Requested vsans are " + text + "\n";
  ASSERT_EQ(fake.traces.size(), 1u);
  EXPECT_EQ(fake.traces[0].text, whole.substr(0, 511));
  EXPECT_EQ(fake.traces[0].length, 516u);
  EXPECT_EQ(fake.calls("murmur"), "murmur(1, tarn_dbg_modname, 0, \" Requested vsans are " + text + "\\n\")\n");
}

TEST_F(CheckVsans, CutsTheTextAt1023Characters) {
  span_snmp_set_tarn(0);
  for (const uint32_t count : {102u, 103u, 200u}) {
    fake.traces.clear();
    const std::string before = fake.calls("murmur");
    Vsans vsans;
    const std::string text = pairs(count, &vsans);
    EXPECT_EQ(check(vsans), kOk);
    EXPECT_EQ(fake.calls("murmur").substr(before.size()),
              "murmur(1, tarn_dbg_modname, 0, \" Requested vsans are " + text.substr(0, 1023) + "\\n\")\n");
  }
}

TEST_F(CheckVsans, ShowsATextOf1023CharactersWhole) {
  span_snmp_set_tarn(0);
  Vsans vsans = {{1, 2}};
  std::string text = "1-2," + pairs(101, &vsans);
  vsans.push_back({2000, 2000});
  text += ",2000";
  ASSERT_EQ(text.size(), 1018u);
  vsans.push_back({3000, 3000});
  text += ",3000";
  ASSERT_EQ(text.size(), 1023u);
  EXPECT_EQ(check(vsans), kOk);
  EXPECT_EQ(fake.calls("murmur"), "murmur(1, tarn_dbg_modname, 0, \" Requested vsans are " + text + "\\n\")\n");
}

TEST_F(CheckVsans, HasRoomForTheLongestText) {
  Vsans pairs_of_all;
  for (uint32_t vsan = 0; vsan < 4095; vsan += 3) pairs_of_all.push_back({vsan, vsan + 1});
  EXPECT_EQ(check(pairs_of_all), kWrongVsan);
  pairs_of_all.erase(pairs_of_all.begin());
  EXPECT_EQ(check(pairs_of_all), kOk);
}

// ---- Both tables -----------------------------------------------------------------------------------------------------

struct Table {
  std::string handler;
  uint32_t (*modify)(const span_snmp_vsan_modify_req_t*, void**);
  uint32_t add;
  uint32_t remove;
  uint8_t direction;
  uint8_t source_type;
  uint32_t others_add;  // operation of the other table
  bool source;
};

uint32_t modify_filter(const span_snmp_vsan_modify_req_t* req, void**) { return span_snmp_vsan_filter_modify(req); }

const Table kSource = {"span_snmp_source_vsan_modify: ", span_snmp_source_vsan_modify, 4, 8, 1, 3, 16, true};
const Table kFilter = {"span_snmp_vsan_filter_modify: ", modify_filter, 16, 32, 3, 6, 4, false};

class VsanModify : public CheckVsans, public testing::WithParamInterface<const Table*> {
 protected:
  uint32_t modify(uint32_t session, uint32_t operation, const Vsans& vsans, void** refused = nullptr) {
    span_snmp_vsan_modify_req_t req{0xEEEEEEEE, session, operation, {}};
    std::memcpy(req.vsans, vsan_bits(vsans).data(), sizeof req.vsans);
    const Bytes before = bytes_of(req);
    const uint32_t result = ask(table_.modify, &req, refused);
    EXPECT_TRUE(same_bytes(bytes_of(req), before));
    return result;
  }

  void expect_change(uint32_t result = 0, const Vsans& refused = {}) {
    fake.expect_exchange(2002).gives(
        SourceConfigResult{.source_type = table_.source_type, .result = result, .refused = refused}.response());
  }

  Bytes request(uint8_t index, uint32_t operation, const Vsans& vsans) const {
    return join({Bytes(100),
                 {index, table_.direction, static_cast<uint8_t>(operation), table_.source_type},
                 hex("00 02 00 00"),
                 vsan_bits(vsans),
                 hex("00 00 00 00")});
  }

  Steps announces(const std::string& session, const std::string& operation) const {
    return {table_.handler + "for session [" + session + "], op [" + operation + "]"};
  }

  std::string add() const { return table_.source ? "4" : "10"; }

  // The last steps when the manager's overall result is 0.
  Steps succeeds() const {
    return table_.source ? Steps{"syserr2str(0)", table_.handler + "return code[status 0x0]"}
                         : Steps{table_.handler + "returned SUCCESS"};
  }

  const Table& table_ = *GetParam();
};

INSTANTIATE_TEST_SUITE_P(SourceVsans, VsanModify, testing::Values(&kSource));
INSTANTIATE_TEST_SUITE_P(VsanFilters, VsanModify, testing::Values(&kFilter));

TEST_P(VsanModify, SendsTheSetAsItStands) {
  const Vsans vsans = {{1, 10}, {77, 77}, {4093, 4093}};
  expect_change();
  EXPECT_EQ(modify(3, table_.add, vsans), kOk);
  EXPECT_TRUE(same_bytes(fake.exchange().payload, request(2, table_.add, vsans)));
  expect_change();
  EXPECT_EQ(modify(16, table_.remove, vsans), kOk);
  EXPECT_TRUE(same_bytes(fake.exchange().payload, request(15, table_.remove, vsans)));
}

TEST_P(VsanModify, SendsAnEmptySet) {
  in_each_trace_mode([&] {
    expect_change();
    EXPECT_EQ(modify(16, table_.add, {}), kOk);
    EXPECT_TRUE(same_bytes(fake.exchange().payload, request(15, table_.add, {})));
    EXPECT_EQ(steps(), announces("10", add()) + Steps{kSend} + succeeds());
  });
}

TEST_P(VsanModify, TracesTheSetAndTheOutcome) {
  in_each_trace_mode([&] {
    expect_change();
    EXPECT_EQ(modify(3, table_.add, {{1, 1}, {4093, 4093}}), kOk);
    EXPECT_EQ(steps(), announces("3", add()) + requests("1,4093") + Steps{kSend} + succeeds());
  });
}

TEST_P(VsanModify, KeepsOnlyTheLowByteOfTheSession) {
  const std::vector<std::tuple<uint32_t, std::string, uint8_t>> numbers = {
      {0x101, "101", uint8_t{0}}, {0x110, "110", uint8_t{15}}, {0xFFFFFF03, "ffffff03", uint8_t{2}}};
  in_each_trace_mode([&] {
    for (const auto& [session, shown, index] : numbers) {
      expect_change();
      EXPECT_EQ(modify(session, table_.add, {}), kOk);
      EXPECT_EQ(fake.exchange().payload.at(100), index);
      EXPECT_EQ(steps(), announces(shown, add()) + Steps{kSend} + succeeds());
    }
  });
}

TEST_P(VsanModify, RefusesSessionsOutside) {
  const std::vector<std::pair<uint32_t, std::string>> numbers = {
      {0, "0"}, {17, "11"}, {0x100, "100"}, {0x111, "111"}, {0xFFFFFFFF, "ffffffff"}};
  in_each_trace_mode([&] {
    for (const auto& [session, shown] : numbers) {
      EXPECT_EQ(modify(session, table_.add, {{0, 0}}), kWrongSession);
      EXPECT_EQ(steps(), announces(shown, add()) + Steps{table_.handler + "wrong session"});
    }
  });
}

TEST_P(VsanModify, ComparesTheWholeOperation) {
  for (const uint32_t operation : {0u, 1u, 2u, 12u, 48u, 64u, table_.others_add, 2 * table_.others_add,
                                   0x100 | table_.add, 0x80000000 | table_.remove, 0xFFFFFFFFu}) {
    EXPECT_EQ(modify(3, operation, {{1, 1}}), kInvalidParam) << operation;
  }
  EXPECT_EQ(fake.exchanges.size(), 0u);
}

TEST_P(VsanModify, ChecksTheOperationBeforeTheSession) {
  in_each_trace_mode([&] {
    EXPECT_EQ(modify(17, 0xabc, {{0, 0}}), kInvalidParam);
    EXPECT_EQ(steps(), announces("11", "abc") + Steps{table_.handler + "wrong operation code"});
  });
}

TEST_P(VsanModify, SendsNothingForVsansThatMayNotBeConfigured) {
  in_each_trace_mode([&] {
    for (const uint32_t vsan : {0u, 4094u, 4095u}) {
      for (const uint32_t operation : {table_.add, table_.remove}) {
        EXPECT_EQ(modify(3, operation, {{vsan, vsan}}), kWrongVsan);
        char shown[16];
        std::snprintf(shown, sizeof shown, "%x", operation);
        EXPECT_EQ(steps(), announces("3", shown) + requests(std::to_string(vsan)) +
                               Steps{"config rejected: \n error: 40340046\n"});
      }
    }
  });
}

TEST_P(VsanModify, PassesTheManagersResultOn) {
  in_each_trace_mode([&] {
    expect_change(0x40340009);
    EXPECT_EQ(modify(3, table_.add, {{5, 5}}), 0x40340009u);
    Steps expected =
        announces("3", add()) + requests("5") + (Steps{kSend, "syserr2str(0x40340009)", "status 0x40340009\n"});
    if (table_.source) {
      expected = expected + (Steps{"syserr2str(0x40340009)", table_.handler + "return code[status 0x40340009]"});
    }
    EXPECT_EQ(steps(), expected);
  });
}

TEST_P(VsanModify, FailsWhenTheExchangeFails) {
  in_each_trace_mode([&] {
    for (const auto& [code, shown] : std::map<uint32_t, std::string>{{kTransportFailed, "ffffffff"}, {5, "5"}}) {
      fake.expect_exchange(2002).returns(code).gives(SourceConfigResult{.refused = {{5, 5}}}.response());
      EXPECT_EQ(modify(3, table_.add, {{5, 5}}), kFailed);
      EXPECT_EQ(steps(), announces("3", add()) + requests("5") +
                             (Steps{kSend, "vsan src config failed: \n error: " + shown + "\n"}));
    }
  });
}

TEST_P(VsanModify, SendsWithoutAQueue) {
  queue_ = 0;
  expect_change();
  EXPECT_EQ(modify(3, table_.add, {{5, 5}}), kOk);
  EXPECT_EQ(fake.exchange().queue, 0u);
}

// ---- Refused VSANs ---------------------------------------------------------------------------------------------------

class RefusedVsans : public VsanModify {
 protected:
  uint32_t add_vsan(uint32_t session = 3, uint32_t operation = 4) {
    return modify(session, operation, {{5, 9}}, &refused_);
  }

  Bytes take_refused() {
    const Bytes holder = copy_of(refused_, 516);
    std::free(refused_);
    refused_ = nullptr;
    return holder;
  }

  void expect_no_touch() { EXPECT_EQ(refused_, &mark_); }

  int mark_ = 0;
  void* refused_ = &mark_;
};

INSTANTIATE_TEST_SUITE_P(SourceVsans, RefusedVsans, testing::Values(&kSource));

TEST_P(RefusedVsans, GoToTheCaller) {
  in_each_trace_mode([&] {
    expect_change(0, {{5, 6}, {4095, 4095}});
    EXPECT_EQ(add_vsan(), kWrongVsan);
    EXPECT_EQ(heap::live(), 1u);
    EXPECT_TRUE(same_bytes(take_refused(), join({hex("00 02 00 00"), vsan_bits({{5, 6}, {4095, 4095}})})));
    EXPECT_EQ(steps(), announces("3", "4") + requests("5-9") +
                           (Steps{kSend, "syserr2str(0x40340046)", table_.handler + "return code[status 0x40340046]"}));
  });
}

TEST_P(RefusedVsans, AreSeenInEachBit) {
  for (uint32_t vsan = 0; vsan < 4096; vsan += 65) {
    expect_change(0, {{vsan, vsan}});
    EXPECT_EQ(add_vsan(), kWrongVsan);
    EXPECT_TRUE(same_bytes(take_refused(), vsan_holder({{vsan, vsan}})));
  }
}

TEST_P(RefusedVsans, GiveWayToTheManagersResultAndStay) {
  in_each_trace_mode([&] {
    expect_change(0x4034003b, {{7, 7}});
    EXPECT_EQ(add_vsan(), 0x4034003bu);
    EXPECT_TRUE(same_bytes(take_refused(), vsan_holder({{7, 7}})));
    EXPECT_EQ(steps(), announces("3", "4") + requests("5-9") +
                           (Steps{kSend, "syserr2str(0x4034003b)", "status 0x4034003b\n", "syserr2str(0x4034003b)",
                                  table_.handler + "return code[status 0x4034003b]"}));
  });
}

TEST_P(RefusedVsans, NeedNoPlaceToGo) {
  in_each_trace_mode([&] {
    const size_t before = heap::requests();
    expect_change(0, {{5, 6}});
    EXPECT_EQ(modify(3, 4, {{5, 9}}), kWrongVsan);
    EXPECT_EQ(heap::requests() - before, 1u);
    EXPECT_EQ(steps(), announces("3", "4") + requests("5-9") +
                           (Steps{kSend, "syserr2str(0x40340046)", table_.handler + "return code[status 0x40340046]"}));
  });
}

TEST_P(RefusedVsans, AreNullWhenThereAreNone) {
  expect_change();
  EXPECT_EQ(add_vsan(), kOk);
  EXPECT_EQ(refused_, nullptr);
  refused_ = &mark_;
  expect_change(0x40340009);
  EXPECT_EQ(add_vsan(), 0x40340009u);
  EXPECT_EQ(refused_, nullptr);
}

TEST_P(RefusedVsans, AreNullWhenTheExchangeFails) {
  fake.expect_exchange(2002).returns(kTransportFailed).gives(SourceConfigResult{.refused = {{5, 5}}}.response());
  EXPECT_EQ(add_vsan(), kFailed);
  EXPECT_EQ(refused_, nullptr);
}

TEST_P(RefusedVsans, AreUntouchedWhenNothingIsSent) {
  EXPECT_EQ(add_vsan(3, 16), kInvalidParam);
  expect_no_touch();
  EXPECT_EQ(add_vsan(17), kWrongSession);
  expect_no_touch();
  EXPECT_EQ(modify(3, 4, {{4094, 4094}}, &refused_), kWrongVsan);
  expect_no_touch();
}

TEST_P(RefusedVsans, KeepsTheResponseWhenTheirOwnBlockFails) {
  in_each_trace_mode([&] {
    heap::fail_nth(2);
    expect_change(0x40340009, {{5, 6}});
    EXPECT_EQ(add_vsan(), kNoMemory);
    EXPECT_EQ(refused_, nullptr);
    EXPECT_EQ(heap::sweep(), "528 bytes from the response of 2002\n");
    EXPECT_EQ(steps(),
              announces("3", "4") + requests("5-9") +
                  (Steps{kSend, "(Error) Malloc Failure in ../feature/span/lib/span_snmp[1069] for size 516\n"}));
  });
}

using FilterModify = VsanModify;
INSTANTIATE_TEST_SUITE_P(VsanFilters, FilterModify, testing::Values(&kFilter));

TEST_P(FilterModify, KeepsLookingPastRefusedVsans) {
  expect_change(0, {{5, 6}});
  EXPECT_EQ(modify(3, 16, {{5, 9}}), kOk);
  EXPECT_EQ(heap::live(), 0u);
}

}  // namespace
}  // namespace testkit
