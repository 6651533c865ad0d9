// Port information: VSANs and their members.
#include <cstring>

#include "tests/msg/port_manager_test.h"

namespace testkit {
namespace {

class PortVsans : public PortManagerTest {
 protected:
  // Decodes a message of VSANs that has `entries`.
  uint32_t decode_vsans(const Vsans& vsans, const std::vector<VsanEntry>& entries) {
    vsan_entries_ = entries.size();
    return decode(join({message_head(3), vsan_body(vsans, entries)}));
  }

  const span_pm_src_info_vsan_t& body() const { return info_->body.vsans; }

  // A record up to its pointer, the same where a pointer has 4 and where it has 8 bytes.
  static testing::AssertionResult is_vsan(const span_pm_src_vsan_t& record, uint32_t vsan, uint8_t flag,
                                          uint32_t members) {
    return same_bytes(copy_of(&record, 12), join({host32(vsan), {flag, 0, 0, 0}, host32(members)}));
  }

  testing::AssertionResult holds(const Vsans& vsans) const {
    return same_bytes(copy_of(&body(), 516), join({host32(512), vsan_bits(vsans)}));
  }
};

// ---- Records ---------------------------------------------------------------------------------------------------------

TEST_F(PortVsans, HaveARecordForEachMember) {
  const PortEntry first = {.if_index = kFc1, .vsans = {{1, 3}}};
  const PortEntry second = {.if_index = kFc2, .is_pch = 1, .if_pch = kPlainPch, .vsans = {{0, 4095}}};
  EXPECT_EQ(decode_vsans({{10, 10}}, {{.vsan = 10, .members = {first, second}}}), 0u);
  EXPECT_TRUE(holds({{10, 10}}));
  ASSERT_TRUE(is_vsan(body().entries[0], 10, 1, 2));
  EXPECT_TRUE(is_port(body().entries[0].members[0], first));
  EXPECT_TRUE(is_port(body().entries[0].members[1], second));
  EXPECT_EQ(heap::requests(), 3u);
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(PortVsans, AMemberIsValidWhateverItSays) {
  for (const uint8_t is_valid : Bytes{0, 1, 2, 255}) {
    PortEntry member = {.if_index = kFc2, .is_valid = is_valid, .vsans = {{8, 8}}};
    EXPECT_EQ(decode_vsans({{1, 1}}, {{.vsan = 1, .members = {member, member}}}), 0u);
    member.is_valid = 1;
    EXPECT_TRUE(is_port(body().entries[0].members[0], member)) << int{is_valid};
    EXPECT_TRUE(is_port(body().entries[0].members[1], member)) << int{is_valid};
    release();
  }
}

TEST_F(PortVsans, AMemberKeepsAnyPortChannelThatItNames) {
  for (const uint32_t if_pch : {kPlainPch, kServicePch, kFc1, 0x7f000000u}) {
    for (const uint8_t is_pch : Bytes{0, 1, 2, 255}) {
      const PortEntry member = {.is_pch = is_pch, .if_pch = if_pch};
      EXPECT_EQ(decode_vsans({{1, 1}}, {{.vsan = 1, .members = {member}}}), 0u);
      EXPECT_TRUE(is_port(body().entries[0].members[0], member));
      release();
    }
  }
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(PortVsans, HaveAnEntryForEachBitOfTheSet) {
  std::vector<VsanEntry> entries;
  for (const uint32_t vsan : {0u, 1u, 31u, 32u, 4095u}) {
    entries.push_back({.vsan = vsan, .members = {{.if_index = vsan, .vsans = {{vsan, vsan}}}}});
  }
  EXPECT_EQ(decode_vsans({{0, 1}, {31, 32}, {4095, 4095}}, entries), 0u);
  EXPECT_TRUE(holds({{0, 1}, {31, 32}, {4095, 4095}}));
  for (size_t i = 0; i < entries.size(); ++i) {
    ASSERT_TRUE(is_vsan(body().entries[i], entries[i].vsan, 1, 1));
    EXPECT_TRUE(is_port(body().entries[i].members[0], entries[i].members[0]));
  }
}

TEST_F(PortVsans, All4096OfThemAreDecoded) {
  Bytes message = join({message_head(3), vsan_body({{0, 4095}}, {})});
  for (uint32_t vsan = 0; vsan < 4096; ++vsan) {
    const Bytes entry = VsanEntry{.vsan = vsan, .flag = 0}.bytes();
    message.insert(message.end(), entry.begin(), entry.end());
  }
  vsan_entries_ = 4096;
  EXPECT_EQ(decode(message), 0u);
  EXPECT_TRUE(holds({{0, 4095}}));
  for (uint32_t vsan = 0; vsan < 4096; ++vsan) EXPECT_TRUE(is_vsan(body().entries[vsan], vsan, 0, 0));
  EXPECT_EQ(heap::requests(), 2u);
}

TEST_F(PortVsans, TheNumberIsThatOfTheEntry) {
  EXPECT_EQ(decode_vsans({{5, 6}}, {{.vsan = 0x01020304, .flag = 0}, {.vsan = 0xFFFFFFFF, .flag = 0}}), 0u);
  EXPECT_TRUE(is_vsan(body().entries[0], 0x01020304, 0, 0));
  EXPECT_TRUE(is_vsan(body().entries[1], 0xFFFFFFFF, 0, 0));
}

TEST_F(PortVsans, WhatFollowsTheLastOneIsNoEntry) {
  const Bytes entry = VsanEntry{.vsan = 7, .members = {{.if_index = kFc1}}}.bytes();
  vsan_entries_ = 1;
  EXPECT_EQ(decode(join({message_head(3), vsan_body({{7, 7}}, {}), entry, entry})), 0u);
  ASSERT_TRUE(is_vsan(body().entries[0], 7, 1, 1));
  EXPECT_EQ(heap::requests(), 3u);
}

TEST_F(PortVsans, WithoutTheFlagAnEntryTakes9BytesAndHasNoMembers) {
  Message unflagged(9);
  unflagged.be32(0, 3).be32(5, 0x7FFFFFFF);
  const PortEntry member = {.if_index = kFc2};
  const Bytes flagged = VsanEntry{.vsan = 4, .members = {member}}.bytes();
  vsan_entries_ = 3;
  EXPECT_EQ(decode(join({message_head(3), vsan_body({{3, 5}}, {}), unflagged, flagged, unflagged})), 0u);
  EXPECT_TRUE(is_vsan(body().entries[0], 3, 0, 0));
  EXPECT_EQ(body().entries[0].members, nullptr);
  ASSERT_TRUE(is_vsan(body().entries[1], 4, 1, 1));
  EXPECT_TRUE(is_port(body().entries[1].members[0], member));
  EXPECT_TRUE(is_vsan(body().entries[2], 3, 0, 0));
  EXPECT_EQ(heap::requests(), 3u);
}

TEST_F(PortVsans, AnyNonzeroFlagBringsMembers) {
  for (const uint8_t flag : Bytes{1, 2, 0x80, 255}) {
    EXPECT_EQ(decode_vsans({{9, 9}}, {{.vsan = 9, .flag = flag, .members = {{.if_index = kFc1}}}}), 0u);
    ASSERT_TRUE(is_vsan(body().entries[0], 9, flag, 1)) << int{flag};
    EXPECT_TRUE(is_port(body().entries[0].members[0], {.if_index = kFc1}));
    release();
  }
}

TEST_F(PortVsans, AFlagMayHaveNoMembers) {
  EXPECT_EQ(decode_vsans({{9, 10}}, {{.vsan = 9}, {.vsan = 10, .members = {{.if_index = kFc1}}}}), 0u);
  EXPECT_TRUE(is_vsan(body().entries[0], 9, 1, 0));
  EXPECT_EQ(body().entries[0].members, nullptr);
  ASSERT_TRUE(is_vsan(body().entries[1], 10, 1, 1));
  EXPECT_TRUE(is_port(body().entries[1].members[0], {.if_index = kFc1}));
}

TEST_F(PortVsans, ACountOfMembersBelow1MeansNone) {
  for (const uint32_t count : {0x80000000u, 0xFFFFFFFFu}) {
    vsan_entries_ = 1;
    EXPECT_EQ(decode(join({message_head(3), vsan_body({{9, 9}}, {}), be32(9), {1}, be32(count)})), 0u);
    EXPECT_TRUE(is_vsan(body().entries[0], 9, 1, count));
    EXPECT_EQ(body().entries[0].members, nullptr);
    release();
  }
}

TEST_F(PortVsans, AnEmptySetHasNoRecords) {
  EXPECT_EQ(decode_vsans({}, {}), 0u);
  EXPECT_TRUE(holds({}));
  EXPECT_EQ(body().entries, nullptr);
  EXPECT_EQ(heap::requests(), 1u);
}

TEST_F(PortVsans, TheirBodyIsDecodedByItself) {
  span_pm_src_info_vsan_t out;
  std::memset(&out, 0xEE, sizeof out);
  const PortEntry member = {.if_index = kFc2, .vsans = {{7, 7}}};
  EXPECT_EQ(decode(span_parse_pm_src_info_vsan, &out, vsan_body({{7, 7}}, {{.vsan = 7, .members = {member}}})), 0u);
  EXPECT_TRUE(same_bytes(copy_of(&out, 516), join({host32(512), vsan_bits({{7, 7}})})));
  ASSERT_TRUE(is_vsan(out.entries[0], 7, 1, 1));
  EXPECT_TRUE(is_port(out.entries[0].members[0], member));
  release_array(out.entries, 1);
  EXPECT_EQ(decode(span_parse_pm_src_info_vsan, &out, vsan_body({}, {})), 0u);
  EXPECT_EQ(out.entries, nullptr);
}

TEST_F(PortVsans, TraceNothing) {
  fake.debug_on = true;
  EXPECT_EQ(decode_vsans({{1, 1}}, {{.vsan = 1, .members = {{.if_index = kFc1}}}}), 0u);
  EXPECT_EQ(fake.calls(), "");
}

// ---- Memory ----------------------------------------------------------------------------------------------------------

class PortVsanMemory : public PortVsans {
 protected:
  // Asks for the outer record, the array, and the members of the first and the last entry.
  uint32_t decode_three() {
    return decode_vsans({{1, 3}}, {{.vsan = 1, .members = {{.if_index = kFc1}, {.if_index = kFc2}}},
                                   {.vsan = 2},
                                   {.vsan = 3, .members = {{.if_index = kFc2}}}});
  }
};

TEST_F(PortVsanMemory, IsAskedForOnceForEachArray) {
  EXPECT_EQ(decode_three(), 0u);
  EXPECT_EQ(heap::requests(), 4u);
  EXPECT_EQ(heap::live(), 4u);
}

TEST_F(PortVsanMemory, ThatIsMissingLeavesTheSetAndNoRecords) {
  for (const size_t n : {2u, 3u, 4u}) {
    heap::begin();
    heap::fail_nth(n);
    EXPECT_EQ(decode_three(), 1u) << n;
    ASSERT_NE(info_, nullptr);
    EXPECT_EQ(info_->kind, 3);
    EXPECT_TRUE(holds({{1, 3}}));
    EXPECT_EQ(body().entries, nullptr);
    EXPECT_EQ(heap::live(), 1u) << n;
    release();
  }
}

TEST_F(PortVsanMemory, ThatIsMissingForTheMessageLeavesNothing) {
  heap::fail_nth(1);
  EXPECT_EQ(decode_three(), 1u);
  EXPECT_EQ(info_, nullptr);
}

TEST_F(PortVsanMemory, ACountThatNoMemoryHoldsIsAFailedAllocation) {
  heap::fail_nth(3);
  EXPECT_EQ(decode(join({message_head(3), vsan_body({{9, 9}}, {}), be32(9), {1}, be32(0x7FFFFFFF)})), 1u);
  EXPECT_EQ(body().entries, nullptr);
  EXPECT_EQ(heap::live(), 1u);
}

}  // namespace
}  // namespace testkit
