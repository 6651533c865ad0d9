// Port information: the message, its kinds, and interfaces.
#include "tests/msg/port_manager_test.h"

namespace testkit {
namespace {

class PortInfo : public PortManagerTest {
 protected:
  // The record as it would be if only its kind were set.
  static Bytes only_kind(uint8_t kind) { return join({{kind}, Bytes(sizeof(span_pm_port_info_t) - 1)}); }

  Bytes whole_record() const { return copy_of(info_, sizeof *info_); }

  const span_pm_src_info_if_t& body() const { return info_->body.interfaces; }
};

// ---- Kinds -----------------------------------------------------------------------------------------------------------

TEST_F(PortInfo, OfAnUnknownKindHoldsTheKindAlone) {
  for (const uint8_t kind : Bytes{0, 4, 5, 128, 255}) {
    EXPECT_EQ(decode(message_head(kind)), 0u);
    ASSERT_NE(info_, nullptr);
    EXPECT_TRUE(same_bytes(whole_record(), only_kind(kind)));
    EXPECT_EQ(heap::requests(), 1u);
    release();
    heap::begin();
  }
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(PortInfo, IsOneBlockOf524BytesWhereAPointerHas4) {
  EXPECT_EQ(decode(message_head(4)), 0u);
  info_ = nullptr;
  const size_t size = sizeof(void*) == 4 ? 524 : sizeof(span_pm_port_info_t);
  EXPECT_EQ(heap::sweep(), std::to_string(size) + " bytes from the code under test\n");
}

TEST_F(PortInfo, WithoutMemoryIsNull) {
  for (const uint8_t kind : Bytes{1, 2, 3, 4}) {
    span_pm_port_info_t before = {};
    info_ = &before;
    heap::fail_nth(1);
    EXPECT_EQ(decode(message_head(kind)), 1u);
    EXPECT_EQ(info_, nullptr);
  }
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(PortInfo, EachKindHasItsBodyBehindByte9) {
  EXPECT_EQ(decode(join({message_head(1), counted({PortEntry{.if_index = kFc2}.whole()})})), 0u);
  EXPECT_EQ(info_->kind, 1);
  ASSERT_EQ(body().count, 1u);
  EXPECT_EQ(body().ifs[0].if_index, kFc2);
  release();

  EXPECT_EQ(decode(join({message_head(2), counted({PchEntry{.if_index = kServicePch, .validity = 2}.bytes()})})), 0u);
  EXPECT_EQ(info_->kind, 2);
  ASSERT_EQ(info_->body.port_channels.count, 1u);
  EXPECT_EQ(info_->body.port_channels.pchs[0].if_index, kServicePch);
  release();

  vsan_entries_ = 1;
  EXPECT_EQ(decode(join({message_head(3), vsan_body({{7, 7}}, {{.vsan = 7, .flag = 0}})})), 0u);
  EXPECT_EQ(info_->kind, 3);
  ASSERT_NE(info_->body.vsans.entries, nullptr);
  EXPECT_EQ(info_->body.vsans.entries[0].vsan, 7u);
}

TEST_F(PortInfo, TheBodyOfTheRecordStartsAt4WhereAPointerHas4) {
  EXPECT_EQ(decode(join({message_head(3), vsan_body({}, {})})), 0u);
  const Bytes record = whole_record();
  EXPECT_TRUE(same_bytes(slice(record, 0, sizeof(void*)), join({{3}, Bytes(sizeof(void*) - 1)})));
  EXPECT_TRUE(same_bytes(slice(record, sizeof(void*), 4), host32(512)));
}

// ---- Interfaces ------------------------------------------------------------------------------------------------------

TEST_F(PortInfo, OfInterfacesHasARecordForEach) {
  const PortEntry first = {.if_index = kFc1, .vsans = {{1, 3}, {4095, 4095}}};
  const PortEntry second = {.if_index = kFc2, .is_pch = 1, .if_pch = kPlainPch, .vsans = {{0, 0}}};
  EXPECT_EQ(decode(join({message_head(1), counted({first.whole(), second.whole()})})), 0u);
  ASSERT_EQ(body().count, 2u);
  EXPECT_TRUE(is_port(body().ifs[0], first));
  EXPECT_TRUE(is_port(body().ifs[1], second));
  EXPECT_EQ(heap::requests(), 2u);
  EXPECT_EQ(fake.calls(),
            "if_index_get_type(0x4000003)\n"
            "if_index_port_channel_get_subtype(0x4000003)\n");
}

TEST_F(PortInfo, AnInterfaceThatIsNotValidTakes22BytesAndHasNoVsans) {
  const PortEntry last = {.if_index = kFc2, .vsans = {{9, 9}}};
  const PortEntry invalid = {.if_index = kFc1, .is_valid = 0, .is_pch = 1, .if_pch = kFc2};
  EXPECT_EQ(decode(join({message_head(1), counted({invalid.head(), last.whole(), invalid.head()})})), 0u);
  ASSERT_EQ(body().count, 3u);
  EXPECT_TRUE(is_port(body().ifs[0], invalid));
  EXPECT_TRUE(is_port(body().ifs[1], last));
  EXPECT_TRUE(is_port(body().ifs[2], invalid));
}

TEST_F(PortInfo, OnlyAValidityOf1BringsVsans) {
  for (const uint8_t is_valid : Bytes{2, 3, 0x81, 255}) {
    const PortEntry entry = {.is_valid = is_valid, .is_pch = 1, .if_pch = kServicePch};
    EXPECT_EQ(decode(join({message_head(1), counted({entry.head(), entry.head()})})), 0u);
    EXPECT_TRUE(is_port(body().ifs[0], entry)) << int{is_valid};
    EXPECT_TRUE(is_port(body().ifs[1], entry)) << int{is_valid};
    release();
  }
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(PortInfo, AnInterfaceKeepsItsPortChannelOnlyWhenThatIsOfSubtype0) {
  for (const uint32_t if_pch : {kOtherPch, kServicePch, kFc1, 0x7f000000u, 0u}) {
    const PortEntry entry = {.is_pch = 1, .if_pch = if_pch, .vsans = {{1, 4095}}};
    const PortEntry alone = {.is_pch = 0, .if_pch = 0, .vsans = {{1, 4095}}};
    EXPECT_EQ(decode(join({message_head(1), counted({entry.whole()})})), 0u);
    EXPECT_TRUE(is_port(body().ifs[0], alone)) << if_pch;
    release();
  }
}

TEST_F(PortInfo, AnInterfaceOutsideAPortChannelKeepsWhatItSays) {
  for (const uint8_t is_pch : Bytes{0, 2, 255}) {
    const PortEntry entry = {.is_pch = is_pch, .if_pch = kServicePch};
    EXPECT_EQ(decode(join({message_head(1), counted({entry.whole()})})), 0u);
    EXPECT_TRUE(is_port(body().ifs[0], entry)) << int{is_pch};
    release();
  }
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(PortInfo, OfNoInterfaceHoldsTheCountAlone) {
  for (const uint32_t count : {0u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(decode(join({message_head(1), counted(count, {})})), 0u);
    EXPECT_EQ(body().count, count);
    EXPECT_EQ(body().ifs, nullptr);
    release();
  }
}

TEST_F(PortInfo, InterfacesWithoutMemoryLeaveTheirCount) {
  heap::fail_nth(2);
  EXPECT_EQ(decode(join({message_head(1), counted({PortEntry{}.whole(), PortEntry{}.whole()})})), 1u);
  ASSERT_NE(info_, nullptr);
  EXPECT_EQ(info_->kind, 1);
  EXPECT_EQ(body().count, 2u);
  EXPECT_EQ(body().ifs, nullptr);
  EXPECT_EQ(heap::live(), 1u);
}

TEST_F(PortInfo, ACountThatNoMemoryHoldsIsAFailedAllocation) {
  heap::fail_nth(2);
  EXPECT_EQ(decode(join({message_head(1), counted(0x7FFFFFFF, {})})), 1u);
  EXPECT_EQ(body().count, 0x7FFFFFFFu);
  EXPECT_EQ(body().ifs, nullptr);
  EXPECT_EQ(heap::requests(), sizeof(void*) == 4 ? 1u : 2u);
}

TEST_F(PortInfo, ManyInterfacesAreDecodedInOrder) {
  std::vector<Bytes> entries;
  for (uint32_t i = 0; i < 300; ++i) {
    entries.push_back(PortEntry{.if_index = i, .vsans = {{i, i}}}.whole());
  }
  EXPECT_EQ(decode(join({message_head(1), counted(entries)})), 0u);
  ASSERT_EQ(body().count, 300u);
  for (uint32_t i = 0; i < 300; ++i) {
    EXPECT_TRUE(is_port(body().ifs[i], {.if_index = i, .vsans = {{i, i}}}));
  }
}

TEST_F(PortInfo, TheBodyOfInterfacesIsDecodedByItself) {
  span_pm_src_info_if_t out = {77, reinterpret_cast<span_pm_src_if_t*>(&out)};
  const PortEntry entry = {.if_index = kFc2, .vsans = {{5, 5}}};
  EXPECT_EQ(decode(span_parse_pm_src_info_if, &out, counted({entry.whole()})), 0u);
  ASSERT_EQ(out.count, 1u);
  EXPECT_TRUE(is_port(out.ifs[0], entry));
  std::free(out.ifs);
  EXPECT_EQ(decode(span_parse_pm_src_info_if, &out, counted(0, {})), 0u);
  EXPECT_EQ(out.count, 0u);
  EXPECT_EQ(out.ifs, nullptr);
}

TEST_F(PortInfo, OfInterfacesTracesNothing) {
  fake.debug_on = true;
  EXPECT_EQ(decode(join({message_head(1), counted({PortEntry{}.whole(), PortEntry{.is_valid = 0}.head()})})), 0u);
  EXPECT_EQ(fake.calls(), "");
}

}  // namespace
}  // namespace testkit
