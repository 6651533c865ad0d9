// Port information: port channels and their members.
#include "tests/msg/port_manager_test.h"

namespace testkit {
namespace {

class PortChannels : public PortManagerTest {
 protected:
  static Bytes message(const std::vector<Bytes>& entries) { return join({message_head(2), counted(entries)}); }

  const span_pm_src_info_pch_t& body() const { return info_->body.port_channels; }

  // A record up to its pointer, the same where a pointer has 4 and where it has 8 bytes.
  static testing::AssertionResult is_pch(const span_pm_src_pch_t& record, uint32_t if_index, uint8_t validity,
                                         uint32_t members) {
    return same_bytes(copy_of(&record, 12), join({host32(if_index), {validity, 0, 0, 0}, host32(members)}));
  }

  // The journal of one trace event 103, without debug output.
  static std::string traced(const std::string& text) {
    return "tarn_hist_event_subtype_check(0x730000, 103)\n"
           "tarn_hist_event(0x730000, " +
           std::to_string(text.size() + 6) + ", 103, \"" + text +
           "\\n\")\n"
           "tarn_chk_int(103, 0, 0, 1)\n";
  }

  static std::string traced_invalid(const std::string& text) {
    return "tarn_hist_event_subtype_check(0x730000, 0)\n"
           "tarn_hist_event(0x730000, " +
           std::to_string(text.size() + 6) + ", 0, \"" + text +
           "\\n\")\n"
           "murmur(1, tarn_dbg_modname, 0, \"" +
           text + "\\n\")\n";
  }
};

// ---- Records ---------------------------------------------------------------------------------------------------------

TEST_F(PortChannels, HaveARecordForEachMember) {
  const Vsans vsans = {{1, 3}, {7, 7}};
  EXPECT_EQ(decode(message({PchEntry{.if_index = kPlainPch, .vsans = vsans, .members = {kFc1, kFc2}}.bytes()})), 0u);
  ASSERT_EQ(body().count, 1u);
  const span_pm_src_pch_t& pch = body().pchs[0];
  ASSERT_TRUE(is_pch(pch, kPlainPch, 1, 2));
  EXPECT_TRUE(is_port(pch.members[0], {.if_index = kFc1, .is_pch = 1, .if_pch = kPlainPch, .vsans = vsans}));
  EXPECT_TRUE(is_port(pch.members[1], {.if_index = kFc2, .is_pch = 1, .if_pch = kPlainPch, .vsans = vsans}));
  EXPECT_EQ(heap::requests(), 3u);
}

TEST_F(PortChannels, FollowEachOtherBehindTheirMembers) {
  EXPECT_EQ(decode(message({PchEntry{.vsans = {{1, 1}}, .members = {kFc1}}.bytes(),
                            PchEntry{.if_index = kServicePch, .validity = 2, .vsans = {{2, 2}}}.bytes(),
                            PchEntry{.vsans = {{3, 3}}, .members = {kFc2, kFc1, kFc2}}.bytes()})),
            0u);
  ASSERT_EQ(body().count, 3u);
  ASSERT_TRUE(is_pch(body().pchs[0], kPlainPch, 1, 1));
  EXPECT_TRUE(
      is_port(body().pchs[0].members[0], {.if_index = kFc1, .is_pch = 1, .if_pch = kPlainPch, .vsans = {{1, 1}}}));
  EXPECT_TRUE(is_pch(body().pchs[1], kServicePch, 2, 0));
  EXPECT_EQ(body().pchs[1].members, nullptr);
  ASSERT_TRUE(is_pch(body().pchs[2], kPlainPch, 1, 3));
  EXPECT_TRUE(
      is_port(body().pchs[2].members[2], {.if_index = kFc2, .is_pch = 1, .if_pch = kPlainPch, .vsans = {{3, 3}}}));
}

TEST_F(PortChannels, TheSubtypeIsAskedForOnlyOfAValidityOf1) {
  for (const uint8_t validity : Bytes{2, 3, 0x81, 255}) {
    EXPECT_EQ(decode(message({PchEntry{.if_index = kServicePch, .validity = validity}.bytes()})), 0u);
    EXPECT_TRUE(is_pch(body().pchs[0], kServicePch, validity, 0)) << int{validity};
    release();
  }
  EXPECT_EQ(fake.calls(), "");
  EXPECT_EQ(decode(message({PchEntry{.validity = 1}.bytes()})), 0u);
  EXPECT_TRUE(is_pch(body().pchs[0], kPlainPch, 1, 0));
  EXPECT_EQ(fake.calls(),
            "if_index_get_type(0x4000003)\n"
            "if_index_port_channel_get_subtype(0x4000003)\n");
}

TEST_F(PortChannels, AValidOneThatIsNotOfSubtype0BecomesInvalid) {
  for (const uint32_t if_index : {kOtherPch, kServicePch, kFc1, 0x7f000000u, 0u}) {
    EXPECT_EQ(decode(message({PchEntry{.if_index = if_index, .validity = 1}.bytes()})), 0u);
    EXPECT_TRUE(is_pch(body().pchs[0], if_index, 0, 0)) << if_index;
    EXPECT_EQ(body().pchs[0].members, nullptr);
    release();
  }
}

TEST_F(PortChannels, AnInvalidOneKeepsItsInterfaceAndHasNoMembers) {
  EXPECT_EQ(decode(message({PchEntry{.validity = 0, .vsans = {{1, 9}}}.bytes()})), 0u);
  ASSERT_EQ(body().count, 1u);
  EXPECT_TRUE(is_pch(body().pchs[0], kPlainPch, 0, 0));
  EXPECT_EQ(body().pchs[0].members, nullptr);
  EXPECT_EQ(heap::requests(), 2u);
}

TEST_F(PortChannels, KeepsAStepOf525BytesOverAnInvalidOneWhateverMembersItHas) {
  // The two members are the first 8 bytes of what is read as the next entry: its interface, validity and VSANs.
  const Bytes invalid = PchEntry{.validity = 0, .members = {kFc2, 0x5aa5a55a ^ 0x02000000}}.bytes();
  Message rest(517);
  rest.be32(513, 1).net_if(517, kFc1);
  EXPECT_EQ(decode(join({message_head(2), counted(2, {invalid, rest})})), 0u);
  ASSERT_EQ(body().count, 2u);
  EXPECT_TRUE(is_pch(body().pchs[0], kPlainPch, 0, 0));
  ASSERT_TRUE(is_pch(body().pchs[1], kFc2, 2, 1));
  EXPECT_TRUE(is_port(body().pchs[1].members[0], {.if_index = kFc1, .is_pch = 1, .if_pch = kFc2}));
}

TEST_F(PortChannels, WithoutOneHoldTheCountAlone) {
  for (const uint32_t count : {0u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(decode(join({message_head(2), counted(count, {})})), 0u);
    EXPECT_EQ(body().count, count);
    EXPECT_EQ(body().pchs, nullptr);
    release();
  }
}

TEST_F(PortChannels, ACountOfMembersBelow1MeansNone) {
  for (const uint32_t count : {0x80000000u, 0xFFFFFFFFu}) {
    Message entry(0);
    entry.put(0, PchEntry{}.bytes()).be32(521, count);
    EXPECT_EQ(decode(message({entry})), 0u);
    EXPECT_TRUE(is_pch(body().pchs[0], kPlainPch, 1, count));
    EXPECT_EQ(body().pchs[0].members, nullptr);
    release();
  }
}

TEST_F(PortChannels, TheirBodyIsDecodedByItself) {
  span_pm_src_info_pch_t out = {77, reinterpret_cast<span_pm_src_pch_t*>(&out)};
  EXPECT_EQ(decode(span_parse_pm_src_info_pch, &out, counted({PchEntry{.members = {kFc1}}.bytes()})), 0u);
  ASSERT_EQ(out.count, 1u);
  EXPECT_TRUE(is_pch(out.pchs[0], kPlainPch, 1, 1));
  release_array(out.pchs, 1);
  EXPECT_EQ(decode(span_parse_pm_src_info_pch, &out, counted(0, {})), 0u);
  EXPECT_EQ(out.count, 0u);
  EXPECT_EQ(out.pchs, nullptr);
}

// ---- Traces ----------------------------------------------------------------------------------------------------------

TEST_F(PortChannels, EachMemberIsTraced) {
  EXPECT_EQ(decode(message({PchEntry{.vsans = {{1, 3}, {7, 7}, {4095, 4095}}, .members = {kFc1, kFc2}}.bytes()})), 0u);
  EXPECT_EQ(fake.calls(),
            "if_index_get_type(0x4000003)\n"
            "if_index_port_channel_get_subtype(0x4000003)\n" +
                traced("span_parse_pm_src_info_pch: pch[4000003] if[1000000] is_valid[1] is_pch[1] if_pch[4000003], "
                       "vsans: 1-3,7,4095") +
                traced("span_parse_pm_src_info_pch: pch[4000003] if[1001000] is_valid[1] is_pch[1] if_pch[4000003], "
                       "vsans: 1-3,7,4095"));
}

TEST_F(PortChannels, AMemberWithoutVsansIsTracedWithNone) {
  EXPECT_EQ(decode(message({PchEntry{.if_index = kServicePch, .validity = 9, .members = {0}}.bytes()})), 0u);
  EXPECT_EQ(fake.calls(), traced("span_parse_pm_src_info_pch: pch[4000020] if[0] is_valid[1] is_pch[1] "
                                 "if_pch[4000020], vsans: "));
}

TEST_F(PortChannels, AMemberIsDebugOutputWhenThatIsOn) {
  fake.debug_on = true;
  EXPECT_EQ(decode(message({PchEntry{.vsans = {{5, 6}}, .members = {kFc1}}.bytes()})), 0u);
  EXPECT_EQ(fake.calls("murmur"),
            "murmur(1, tarn_dbg_modname, 0, \"span_parse_pm_src_info_pch: pch[4000003] if[1000000] is_valid[1] "
            "is_pch[1] if_pch[4000003], vsans: 5-6\\n\")\n");
}

TEST_F(PortChannels, ALongTraceIsCutInTheHistoryAlone) {
  fake.debug_on = true;
  Vsans vsans;
  std::string text =
      "span_parse_pm_src_info_pch: pch[4000003] if[1000000] is_valid[1] is_pch[1] if_pch[4000003], vsans: ";
  for (uint32_t vsan = 0; vsan < 4095; vsan += 3) {
    vsans.push_back({vsan, vsan + 1});
    text += (vsan == 0 ? "" : ",") + std::to_string(vsan) + "-" + std::to_string(vsan + 1);
  }
  vsans.push_back({4095, 4095});
  text += ",4095";
  EXPECT_EQ(decode(message({PchEntry{.vsans = vsans, .members = {kFc1}}.bytes()})), 0u);
  EXPECT_EQ(fake.traces.back().text, text.substr(0, 511));
  EXPECT_EQ(fake.traces.back().length, 516u);
  EXPECT_EQ(fake.calls("murmur"), "murmur(1, tarn_dbg_modname, 0, \"" + text + "\\n\")\n");
}

TEST_F(PortChannels, KeepsTheDebugOutputOfAnInvalidOneUnconditional) {
  EXPECT_EQ(decode(message({PchEntry{.validity = 0}.bytes()})), 0u);
  EXPECT_EQ(fake.calls(), traced_invalid("span_parse_pm_src_info_pch: invalid pch[4000003]"));
}

TEST_F(PortChannels, AnInvalidOneIsTracedBehindItsSubtype) {
  fake.debug_on = true;
  EXPECT_EQ(decode(message({PchEntry{.if_index = kServicePch}.bytes(), PchEntry{.if_index = kFc1}.bytes()})), 0u);
  EXPECT_EQ(fake.calls(),
            "if_index_get_type(0x4000020)\n"
            "if_index_port_channel_get_subtype(0x4000020)\n" +
                traced_invalid("span_parse_pm_src_info_pch: invalid pch[4000020]") + "if_index_get_type(0x1000000)\n" +
                traced_invalid("span_parse_pm_src_info_pch: invalid pch[1000000]"));
}

TEST_F(PortChannels, WithoutAHistoryAnInvalidOneIsStillDebugOutput) {
  fake.history_on = false;
  EXPECT_EQ(decode(message({PchEntry{.validity = 0}.bytes()})), 0u);
  EXPECT_EQ(fake.calls(),
            "tarn_hist_event_subtype_check(0x730000, 0)\n"
            "murmur(1, tarn_dbg_modname, 0, \"span_parse_pm_src_info_pch: invalid pch[4000003]\\n\")\n");
}

// ---- Memory ----------------------------------------------------------------------------------------------------------

class PortChannelMemory : public PortChannels {
 protected:
  // Asks for the outer record, the array, and the members of the first and the last entry.
  static Bytes three() {
    return message(
        {PchEntry{.members = {kFc1, kFc2}}.bytes(), PchEntry{}.bytes(), PchEntry{.members = {kFc2}}.bytes()});
  }
};

TEST_F(PortChannelMemory, IsAskedForOnceForEachArray) {
  EXPECT_EQ(decode(three()), 0u);
  EXPECT_EQ(heap::requests(), 4u);
  EXPECT_EQ(heap::live(), 4u);
}

TEST_F(PortChannelMemory, ThatIsMissingLeavesTheCountAndNoRecords) {
  for (const size_t n : {2u, 3u, 4u}) {
    heap::begin();
    heap::fail_nth(n);
    EXPECT_EQ(decode(three()), 1u) << n;
    ASSERT_NE(info_, nullptr);
    EXPECT_EQ(info_->kind, 2);
    EXPECT_EQ(body().count, 3u);
    EXPECT_EQ(body().pchs, nullptr);
    EXPECT_EQ(heap::live(), 1u) << n;
    release();
  }
}

TEST_F(PortChannelMemory, OfAllMembersBeforeTheOnesThatFindNoneIsReleased) {
  const Bytes entry = PchEntry{.members = {kFc1}}.bytes();
  heap::fail_nth(5);
  EXPECT_EQ(decode(message({entry, entry, entry})), 1u);
  EXPECT_EQ(body().pchs, nullptr);
  EXPECT_EQ(heap::live(), 1u);
}

TEST_F(PortChannelMemory, ThatIsMissingForTheMessageLeavesNothing) {
  heap::fail_nth(1);
  EXPECT_EQ(decode(three()), 1u);
  EXPECT_EQ(info_, nullptr);
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(PortChannelMemory, ThatIsMissingForMembersEndsTheTraces) {
  heap::fail_nth(4);
  EXPECT_EQ(decode(three()), 1u);
  EXPECT_EQ(fake.traces.size(), 2u);
}

TEST_F(PortChannelMemory, ACountThatNoMemoryHoldsIsAFailedAllocation) {
  heap::fail_nth(2);
  EXPECT_EQ(decode(join({message_head(2), counted(0x7FFFFFFF, {})})), 1u);
  EXPECT_EQ(body().count, 0x7FFFFFFFu);
  EXPECT_EQ(body().pchs, nullptr);
  release();

  heap::begin();
  heap::fail_nth(3);
  Message entry(0);
  entry.put(0, PchEntry{}.bytes()).be32(521, 0x7FFFFFFF);
  EXPECT_EQ(decode(message({entry})), 1u);
  EXPECT_EQ(body().pchs, nullptr);
  EXPECT_EQ(heap::live(), 1u);
}

}  // namespace
}  // namespace testkit
