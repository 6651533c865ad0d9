// The two description tables, and the wrappers that pass them to the TLV codec.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/msg/request_test.h"

namespace testkit {
namespace {

// ---- Tables ----------------------------------------------------------------------------------------------------------

constexpr size_t kHeaderSize = sizeof(void*) == 4 ? 16 : 24;
constexpr uint32_t kEnd = 0xFFFFFFFF;

using Words = std::vector<uint32_t>;

Bytes words(const Words& numbers) {
  Bytes bytes;
  for (const uint32_t number : numbers) bytes = join({bytes, host32(number)});
  return bytes;
}

Bytes field_row(uint32_t tag, uint32_t offset) { return words({tag, 4, offset, 1, 0, 0, 0, 0, 0, 4, kEnd, 0}); }

Bytes end_row() { return words({kEnd, kEnd, kEnd, 0, 0, 0, 0, 0, kEnd, kEnd, kEnd, 0}); }

template <class Table>
Bytes rows_of(const Table& table) {
  return slice(copy_of(&table, sizeof table), kHeaderSize, sizeof table);
}

TEST(TlvTables, GlobalInfoHasThreeRowsAndTheEnd) {
  EXPECT_EQ(sizeof span_global_info_payload_tbl, kHeaderSize + 4 * 48);
  EXPECT_TRUE(same_bytes(rows_of(span_global_info_payload_tbl),
                         join({field_row(1, 0), field_row(2, 4), field_row(3, 8), end_row()})));
}

TEST(TlvTables, AdminInfoHasOneRowAndTheEnd) {
  EXPECT_EQ(sizeof span_global_admin_info_tlv_data_tbl, kHeaderSize + 2 * 48);
  EXPECT_TRUE(same_bytes(rows_of(span_global_admin_info_tlv_data_tbl), join({field_row(1, 0), end_row()})));
}

TEST(TlvTables, HeadersHoldSizeAndName) {
  const tlvu_table_header_t& info = span_global_info_payload_tbl.header;
  const tlvu_table_header_t& admin = span_global_admin_info_tlv_data_tbl.header;
  EXPECT_EQ(info.struct_size, 12u);
  EXPECT_STREQ(info.name, "span_global_info_payload_t");
  EXPECT_TRUE(same_bytes(copy_of(info.zero, 8), Bytes(8)));
  EXPECT_EQ(admin.struct_size, 4u);
  EXPECT_STREQ(admin.name, "span_global_admin_info_tlv_data_t");
  EXPECT_TRUE(same_bytes(copy_of(admin.zero, 8), Bytes(8)));
}

#if UINTPTR_MAX == UINT32_MAX
TEST(TlvTables, WordByWordWhereAPointerHas4Bytes) {
  const auto name = reinterpret_cast<uintptr_t>(span_global_info_payload_tbl.header.name);
  EXPECT_TRUE(
      same_bytes(copy_of(&span_global_info_payload_tbl, 208),
                 join({words({12, name, 0, 0}), words({1, 4, 0, 1, 0, 0, 0, 0, 0, 4, kEnd, 0}),
                       words({2, 4, 4, 1, 0, 0, 0, 0, 0, 4, kEnd, 0}), words({3, 4, 8, 1, 0, 0, 0, 0, 0, 4, kEnd, 0}),
                       words({kEnd, kEnd, kEnd, 0, 0, 0, 0, 0, kEnd, kEnd, kEnd, 0})})));
  const auto admin_name = reinterpret_cast<uintptr_t>(span_global_admin_info_tlv_data_tbl.header.name);
  EXPECT_TRUE(same_bytes(copy_of(&span_global_admin_info_tlv_data_tbl, 112),
                         join({words({4, admin_name, 0, 0}), words({1, 4, 0, 1, 0, 0, 0, 0, 0, 4, kEnd, 0}),
                               words({kEnd, kEnd, kEnd, 0, 0, 0, 0, 0, kEnd, kEnd, kEnd, 0})})));
}
#endif

TEST(TlvTables, AreWritable) {
  const uint32_t count = span_global_info_payload_tbl.fields[0].count;
  span_global_info_payload_tbl.fields[0].count = 7;
  EXPECT_EQ(span_global_info_payload_tbl.fields[0].count, 7u);
  span_global_info_payload_tbl.fields[0].count = count;
  const uint32_t tag = span_global_admin_info_tlv_data_tbl.fields[0].tag;
  span_global_admin_info_tlv_data_tbl.fields[0].tag = 9;
  EXPECT_EQ(span_global_admin_info_tlv_data_tbl.fields[0].tag, 9u);
  span_global_admin_info_tlv_data_tbl.fields[0].tag = tag;
}

// ---- Wrappers --------------------------------------------------------------------------------------------------------

// The seven wrappers of one record.
struct Codec {
  std::string prefix;
  std::string table;
  size_t record_size;
  uint32_t (*to_tlv)(const void*, void**, uint32_t*, uintptr_t, uintptr_t, uintptr_t);
  uint32_t (*to_struct)(void**, const void*, uintptr_t, uintptr_t);
  int32_t (*get_struct_sz)(const void*);
  uint32_t (*get_tlv_sz)(const void*);
  uint32_t (*get_field)(uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t);
  uint32_t (*field_itr_init)(uintptr_t, uintptr_t, uintptr_t, uintptr_t, uint16_t);
  uint32_t (*field_get_next)(uintptr_t, uintptr_t);
};

template <auto kToStruct, class Record>
uint32_t untyped(void** record, const void* tlv, uintptr_t a, uintptr_t b) {
  auto* typed = static_cast<Record*>(*record);
  const uint32_t status = kToStruct(&typed, tlv, a, b);
  *record = typed;
  return status;
}

const Codec kInfoCodec = {"span_global_info_payload",
                          "span_global_info_payload_t",
                          12,
                          span_global_info_payload_to_tlv,
                          untyped<span_global_info_payload_to_struct, span_global_info_payload_t>,
                          span_global_info_payload_get_struct_sz,
                          span_global_info_payload_get_tlv_sz,
                          span_global_info_payload_get_field,
                          span_global_info_payload_field_itr_init,
                          span_global_info_payload_field_get_next};

const Codec kAdminCodec = {"span_global_admin_info_tlv_data",
                           "span_global_admin_info_tlv_data_t",
                           4,
                           span_global_admin_info_tlv_data_to_tlv,
                           untyped<span_global_admin_info_tlv_data_to_struct, span_global_admin_info_tlv_data_t>,
                           span_global_admin_info_tlv_data_get_struct_sz,
                           span_global_admin_info_tlv_data_get_tlv_sz,
                           span_global_admin_info_tlv_data_get_field,
                           span_global_admin_info_tlv_data_field_itr_init,
                           span_global_admin_info_tlv_data_field_get_next};

class TlvWrappers : public LibspanTest, public testing::WithParamInterface<const Codec*> {
 protected:
  void expect_error(const std::string& wrapper, const std::string& status) {
    fake.expect("tlvu_error_print(\"" + codec_.prefix + "_" + wrapper + ": ERR " + status + "\\n\")");
  }

  std::string record_text() const { return "[" + to_hex(slice(record_, 0, codec_.record_size)) + "]"; }

  const Codec& codec_ = *GetParam();
  const Bytes record_ = hex("01 02 03 04 05 06 07 08 09 0a 0b 0c");
  const uint8_t tlv_[1] = {0};
  void* block_ = nullptr;
  uint32_t length_ = kUntouched;
};

TEST_P(TlvWrappers, ToTlvEncodesWithItsTable) {
  fake.expect("tlvu_table_convert_struct_to_tlv").gives({1, 2, 3});
  EXPECT_EQ(codec_.to_tlv(record_.data(), &block_, &length_, 11, 12, 13), 0u);
  EXPECT_EQ(fake.calls(),
            "tlvu_table_convert_struct_to_tlv(" + codec_.table + ", " + record_text() + ", 11, 12, 13)\n");
  EXPECT_EQ(length_, 3u);
  EXPECT_TRUE(same_bytes(copy_of(block_, 3), {1, 2, 3}));
  std::free(block_);
}

TEST_P(TlvWrappers, ToTlvReportsAFailureInHex) {
  fake.expect("tlvu_table_convert_struct_to_tlv").returns(0xABCDEF12);
  expect_error("to_tlv", "0xabcdef12");
  EXPECT_EQ(codec_.to_tlv(record_.data(), &block_, &length_, 0, 0, 0), 0xABCDEF12u);
}

TEST_P(TlvWrappers, ToTlvLeavesTheBlockOfAFailureToTheCaller) {
  fake.expect("tlvu_table_convert_struct_to_tlv").returns(3).gives({1});
  expect_error("to_tlv", "0x3");
  EXPECT_EQ(codec_.to_tlv(record_.data(), &block_, &length_, 0, 0, 0), 3u);
  EXPECT_EQ(heap::live(), 1u);
  std::free(block_);
}

TEST_P(TlvWrappers, ToStructDecodesWithItsTable) {
  fake.name_pointer(tlv_, "the tlv");
  fake.expect("tlvu_table_convert_tlv_to_struct").gives({1, 2, 3, 4});
  EXPECT_EQ(codec_.to_struct(&block_, tlv_, 11, 12), 0u);
  EXPECT_EQ(fake.calls(), "tlvu_table_convert_tlv_to_struct(the tlv, 11, " + codec_.table + ", 12)\n");
  EXPECT_TRUE(same_bytes(copy_of(block_, 4), {1, 2, 3, 4}));
  std::free(block_);
}

TEST_P(TlvWrappers, ToStructReportsAFailure) {
  fake.expect("tlvu_table_convert_tlv_to_struct").returns(16);
  expect_error("to_struct", "0x10");
  EXPECT_EQ(codec_.to_struct(&block_, tlv_, 0, 0), 16u);
}

TEST_P(TlvWrappers, GetStructSzGivesTheSize) {
  fake.name_pointer(tlv_, "the tlv");
  fake.expect("tlvu_table_get_struct_size_from_tlv").gives(host32(12));
  EXPECT_EQ(codec_.get_struct_sz(tlv_), 12);
  EXPECT_EQ(fake.calls(), "tlvu_table_get_struct_size_from_tlv(the tlv, 0, " + codec_.table + ")\n");
}

TEST_P(TlvWrappers, GetStructSzReportsAFailureAndGivesMinusOne) {
  fake.expect("tlvu_table_get_struct_size_from_tlv").returns(9).gives(host32(12));
  expect_error("get_struct_sz", "0x9");
  EXPECT_EQ(codec_.get_struct_sz(tlv_), -1);
}

TEST_P(TlvWrappers, GetTlvSzGivesTheCodecsResult) {
  fake.expect("tlvu_table_size").returns(0xFFFFFFF0);
  EXPECT_EQ(codec_.get_tlv_sz(record_.data()), 0xFFFFFFF0u);
  EXPECT_EQ(fake.calls(), "tlvu_table_size(" + codec_.table + ", " + record_text() + ")\n");
}

TEST_P(TlvWrappers, GetFieldPassesItsWordsInFullWidth) {
  const uintptr_t all_ones = ~uintptr_t{0};
  fake.expect("tlvu_get_field").returns(4);
  EXPECT_EQ(codec_.get_field(1, 2, 3, 4, all_ones), 4u);
  const std::string last = sizeof(void*) == 4 ? "0xffffffff" : "0xffffffffffffffff";
  EXPECT_EQ(fake.calls(), "tlvu_get_field(1, 2, 3, 4, " + last + ", " + codec_.table + ")\n");
}

TEST_P(TlvWrappers, FieldItrInitPutsTheTableFourth) {
  fake.expect("tlvu_field_itr_init").returns(4);
  EXPECT_EQ(codec_.field_itr_init(1, 2, 3, 4, 0xFFFF), 4u);
  EXPECT_EQ(fake.calls(), "tlvu_field_itr_init(1, 2, 3, " + codec_.table + ", 4, 65535)\n");
}

TEST_P(TlvWrappers, FieldGetNextPassesBothWords) {
  fake.expect("tlvu_field_itr_get_next").returns(4);
  EXPECT_EQ(codec_.field_get_next(1, 2), 4u);
  EXPECT_EQ(fake.calls(), "tlvu_field_itr_get_next(1, 2)\n");
}

INSTANTIATE_TEST_SUITE_P(OfEachRecord, TlvWrappers, testing::Values(&kInfoCodec, &kAdminCodec),
                         [](const auto& codec) { return codec.param->prefix; });

}  // namespace
}  // namespace testkit
