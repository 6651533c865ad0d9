// The TLV codec and the codec of the counter service.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "host/linecard/counter_service.h"
#include "host/platform/status.h"
#include "host/tlv/tlv.h"
#include "platform/hw_counters.h"
#include "platform/tlvu.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Record {
  uint32_t number;
  uint8_t flag;
  uint16_t shorts[3];
  uint64_t wide;
};

constexpr tlvu_field_t field(uint32_t tag, uint32_t width, size_t offset, uint32_t count) {
  return {tag, width, static_cast<uint32_t>(offset), count, {}, 0, 4, TLVU_END, 0};
}

constexpr tlvu_field_t kEnd = {TLVU_END, TLVU_END, TLVU_END, 0, {}, TLVU_END, TLVU_END, TLVU_END, 0};

struct Table {
  tlvu_table_header_t header;
  tlvu_field_t fields[5];
};

constexpr Table kTable = {{sizeof(Record), "Record", {}},
                          {field(1, 4, offsetof(Record, number), 1), field(2, 1, offsetof(Record, flag), 1),
                           field(3, 2, offsetof(Record, shorts), 3), field(0x104, 8, offsetof(Record, wide), 1), kEnd}};

constexpr Record kRecord = {0x01020304, 5, {0x0601, 0x0602, 0x0603}, 0x1112131415161718};

const Bytes kEncoded = {0, 0, 0, 35,                                   //
                        0, 1, 0, 4,  1,    2,    3,    4,              //
                        0, 2, 0, 1,  5,                                //
                        0, 3, 0, 6,  6,    1,    6,    2,    6,    3,  //
                        1, 4, 0, 8,  0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18};

struct Free {
  void operator()(void* block) const { std::free(block); }
};

Bytes encode(const void* table, const void* record) {
  void* block = nullptr;
  uint32_t length = 0;
  EXPECT_EQ(tlvu_table_convert_struct_to_tlv(&block, &length, table, record, 0, 0, 0), 0u);
  const std::unique_ptr<void, Free> owner(block);
  EXPECT_EQ(tlvu_table_size(table, record), length);
  const auto* bytes = static_cast<const uint8_t*>(block);
  return {bytes, bytes + length};
}

uint32_t decode(const Bytes& bytes, Record& out, const Table& table = kTable) {
  void* block = nullptr;
  const uint32_t status = tlvu_table_convert_tlv_to_struct(&block, bytes.data(), 0, &table, 0);
  const std::unique_ptr<void, Free> owner(block);
  EXPECT_EQ(block == nullptr, status != 0);
  if (block != nullptr) std::memcpy(&out, block, sizeof out);
  return status;
}

uint32_t encode_status(const Table& table) {
  void* block = nullptr;
  uint32_t length = 0;
  const uint32_t status = tlvu_table_convert_struct_to_tlv(&block, &length, &table, &kRecord, 0, 0, 0);
  std::free(block);
  return status;
}

// ---- Whole records ---------------------------------------------------------------------------------------------------

TEST(TlvCodec, EncodesByTheTable) { EXPECT_EQ(encode(&kTable, &kRecord), kEncoded); }

TEST(TlvCodec, DecodesByTheTable) {
  Record record = {};
  ASSERT_EQ(decode(kEncoded, record), 0u);
  EXPECT_EQ(record.number, 0x01020304u);
  EXPECT_EQ(record.flag, 5);
  EXPECT_EQ(record.shorts[2], 0x0603);
  EXPECT_EQ(record.wide, 0x1112131415161718u);
}

TEST(TlvCodec, AgreesWithTheWireFormOfNumbers) {
  const uint32_t numbers[] = {7, 0xFFFFFFFF};
  const Table table = {{sizeof numbers, "numbers", {}}, {field(1, 4, 0, 1), field(2, 4, 4, 1), kEnd}};
  const tlv::Field fields[] = {{1, 7}, {2, 0xFFFFFFFF}};
  EXPECT_EQ(encode(&table, numbers), tlv::encode(fields));
  const auto decoded = tlv::decode(encode(&table, numbers));
  ASSERT_TRUE(decoded);
  EXPECT_EQ((*decoded)[1].value, 0xFFFFFFFFu);
}

TEST(TlvCodec, IgnoresTagsThatTheTableDoesNotHave) {
  Record record = {};
  EXPECT_EQ(decode({0, 0, 0, 13, 9, 9, 0, 1, 7, 0, 1, 0, 4, 0, 0, 0, 8}, record), 0u);
  EXPECT_EQ(record.number, 8u);
}

TEST(TlvCodec, LeavesFieldsThatDidNotComeAtZero) {
  Record record = kRecord;
  EXPECT_EQ(decode({0, 0, 0, 0}, record), 0u);
  EXPECT_EQ(record.number, 0u);
  EXPECT_EQ(record.wide, 0u);
}

TEST(TlvCodec, TakesTheLastOfARepeatedField) {
  Record record = {};
  EXPECT_EQ(decode({0, 0, 0, 10, 0, 2, 0, 1, 7, 0, 2, 0, 1, 8}, record), 0u);
  EXPECT_EQ(record.flag, 8);
}

TEST(TlvCodec, RefusesMalformedRecords) {
  Record record = {};
  const Bytes wrong[] = {
      {0, 1, 0, 0},                       // does not start with zero
      {0, 0, 0, 3, 0, 1, 0},              // a cut head
      {0, 0, 0, 7, 0, 1, 0, 4, 1, 2, 3},  // a cut value
      {0, 0, 0, 7, 0, 1, 0, 3, 1, 2, 3},  // another length than the table says
      {0, 0, 0, 6, 0, 2, 0, 2, 1, 2},     // likewise, longer
      {0, 0, 0, 5, 9, 9, 0, 2, 1},        // a cut value of an unknown tag
  };
  for (const Bytes& bytes : wrong) {
    uint32_t size = 77;
    EXPECT_EQ(decode(bytes, record), host::kTlvMalformed);
    EXPECT_EQ(tlvu_table_get_struct_size_from_tlv(&size, bytes.data(), 0, &kTable), host::kTlvMalformed);
    EXPECT_EQ(size, 77u);
  }
}

TEST(TlvCodec, TellsTheSizeOfTheRecord) {
  uint32_t size = 0;
  EXPECT_EQ(tlvu_table_get_struct_size_from_tlv(&size, kEncoded.data(), 0, &kTable), 0u);
  EXPECT_EQ(size, sizeof(Record));
}

TEST(TlvCodec, RefusesTablesWhoseFieldsLeaveTheRecord) {
  for (const tlvu_field_t& wrong : {field(1, 4, sizeof(Record) - 3, 1), field(1, 4, 0, 7), field(1, 4, 0, 0),
                                    field(1, 4, 0xFFFFFFFC, 1), field(1, 8, 0, 0x20000000), field(1, 3, 0, 1),
                                    field(1, 16, 0, 1), field(1, 0, 0, 1), field(0x10000, 4, 0, 1)}) {
    Table table = kTable;
    table.fields[0] = wrong;
    Record record = {};
    EXPECT_EQ(encode_status(table), host::kTlvBadTable);
    EXPECT_EQ(decode(kEncoded, record, table), host::kTlvBadTable);
    EXPECT_EQ(tlvu_table_size(&table, &kRecord), 0u);
  }
}

TEST(TlvCodec, RefusesTablesWithoutFieldsOrEnd) {
  Table empty = kTable;
  empty.fields[0] = kEnd;
  EXPECT_EQ(encode_status(empty), host::kTlvBadTable);
  std::vector<Table> endless(80);
  std::fill_n(endless[0].fields, 80 * sizeof(Table) / sizeof(tlvu_field_t) - 1, field(1, 1, 0, 1));
  endless[0].header = kTable.header;
  EXPECT_EQ(tlvu_table_size(endless.data(), &kRecord), 0u);
  EXPECT_EQ(tlvu_table_size(nullptr, &kRecord), 0u);
}

TEST(TlvCodec, RefusesMissingArgumentsAndOptions) {
  void* block = nullptr;
  uint32_t length = 0;
  EXPECT_EQ(tlvu_table_convert_struct_to_tlv(&block, &length, &kTable, nullptr, 0, 0, 0), host::kTlvNoArgument);
  EXPECT_EQ(tlvu_table_convert_struct_to_tlv(&block, &length, &kTable, &kRecord, 0, 1, 0), host::kTlvNoSuchOption);
  EXPECT_EQ(tlvu_table_convert_tlv_to_struct(&block, nullptr, 0, &kTable, 0), host::kTlvNoArgument);
  EXPECT_EQ(tlvu_table_convert_tlv_to_struct(&block, kEncoded.data(), 1, &kTable, 0), host::kTlvNoSuchOption);
  EXPECT_EQ(tlvu_table_get_struct_size_from_tlv(nullptr, kEncoded.data(), 0, &kTable), host::kTlvNoArgument);
  EXPECT_EQ(block, nullptr);
}

TEST(TlvCodec, MeasuresArraysOfRecords) {
  const Bytes two = {0, 0, 0, 2, 1, 1, 0, 0, 0, 3, 1, 1, 1};
  EXPECT_EQ(tlv_array_size_get(two.data(), 1), 6u);
  EXPECT_EQ(tlv_array_size_get(two.data(), 2), 13u);
  EXPECT_EQ(tlv_array_size_get(two.data(), 0), 0u);
  EXPECT_EQ(tlv_array_size_get(nullptr, 1), 0u);
}

TEST(TlvCodec, TellsErrorsOnStandardError) {
  testing::internal::CaptureStderr();
  tlvu_error_print("%s: ERR 0x%x\n", "name", 0x402A0002);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "name: ERR 0x402a0002\n");
}

// ---- Single fields ---------------------------------------------------------------------------------------------------

uintptr_t word(const void* pointer) { return reinterpret_cast<uintptr_t>(pointer); }

TEST(TlvFields, AreReadByTag) {
  uint16_t shorts[3] = {};
  uint32_t length = 0;
  EXPECT_EQ(tlvu_get_field(word(kEncoded.data()), 3, word(shorts), sizeof shorts, word(&length), &kTable), 0u);
  EXPECT_EQ(shorts[0], 0x0601);
  EXPECT_EQ(length, 6u);
}

TEST(TlvFields, AreRefusedWithTheReason) {
  uint8_t small[1] = {7};
  const Bytes cut = {0, 0, 0, 3, 0, 1, 0};
  EXPECT_EQ(tlvu_get_field(word(kEncoded.data()), 3, word(small), 1, 0, &kTable), host::kTlvNoRoom);
  EXPECT_EQ(tlvu_get_field(word(kEncoded.data()), 9, word(small), 1, 0, &kTable), host::kTlvNoSuchField);
  EXPECT_EQ(tlvu_get_field(word("\0\0\0\0"), 2, word(small), 1, 0, &kTable), host::kTlvNoSuchField);
  EXPECT_EQ(tlvu_get_field(word(cut.data()), 2, word(small), 1, 0, &kTable), host::kTlvMalformed);
  EXPECT_EQ(tlvu_get_field(0, 2, word(small), 1, 0, &kTable), host::kTlvNoArgument);
  EXPECT_EQ(tlvu_get_field(word(kEncoded.data()), 2, word(small), 1, 0, nullptr), host::kTlvBadTable);
  EXPECT_EQ(small[0], 7);
}

std::vector<uint32_t> tags(const Bytes& bytes, uint16_t wanted) {
  uint8_t iterator[64] = {};
  EXPECT_EQ(tlvu_field_itr_init(word(iterator), word(bytes.data()), sizeof iterator, &kTable, 0, wanted), 0u);
  std::vector<uint32_t> out;
  uint32_t tag = 0, status = 0;
  while ((status = tlvu_field_itr_get_next(word(iterator), word(&tag))) == 0) out.push_back(tag);
  EXPECT_EQ(status, host::kTlvEnd);
  EXPECT_EQ(tlvu_field_itr_get_next(word(iterator), word(&tag)), host::kTlvEnd);
  return out;
}

TEST(TlvFields, AreVisitedInOrder) {
  EXPECT_EQ(tags(kEncoded, 0), (std::vector<uint32_t>{1, 2, 3, 0x104}));
  EXPECT_EQ(tags(kEncoded, 3), (std::vector<uint32_t>{3}));
  EXPECT_EQ(tags(kEncoded, 9), (std::vector<uint32_t>{}));
  EXPECT_EQ(tags({0, 0, 0, 9, 9, 9, 0, 0, 0, 2, 0, 1, 7}, 0), (std::vector<uint32_t>{2}));
}

TEST(TlvFields, AreNotVisitedInWhatIsNoRecord) {
  uint8_t iterator[64] = {};
  const Bytes cut = {0, 0, 0, 3, 0, 1, 0};
  const uintptr_t block = word(iterator), record = word(kEncoded.data());
  EXPECT_EQ(tlvu_field_itr_init(block, word(cut.data()), 64, &kTable, 0, 0), host::kTlvMalformed);
  EXPECT_EQ(tlvu_field_itr_init(block, record, 8, &kTable, 0, 0), host::kTlvNoRoom);
  EXPECT_EQ(tlvu_field_itr_init(block, record, 64, &kTable, 1, 0), host::kTlvNoSuchOption);
  EXPECT_EQ(tlvu_field_itr_init(block, record, 64, nullptr, 0, 0), host::kTlvBadTable);
  EXPECT_EQ(tlvu_field_itr_init(0, record, 64, &kTable, 0, 0), host::kTlvNoArgument);
  EXPECT_EQ(tlvu_field_itr_get_next(0, word(iterator)), host::kTlvNoArgument);
}

// ---- Counter service -------------------------------------------------------------------------------------------------

TEST(CounterCodec, EncodesTheRequest) {
  const span_hw_counters_request_t request = {9, 11, 1};
  void* payload = nullptr;
  uint32_t consumed = 0, length = 0;
  ASSERT_EQ(span_hw_counters_payload_to_tlv(&request, &payload, &consumed, 0, &length, 0), 0);
  const auto* bytes = static_cast<const uint8_t*>(payload);
  EXPECT_EQ(consumed, 12u);
  EXPECT_EQ(Bytes(bytes, bytes + length),
            (Bytes{0, 0, 0, 24, 0, 1, 0, 4, 0, 0, 0, 9, 0, 2, 0, 4, 0, 0, 0, 11, 0, 3, 0, 4, 0, 0, 0, 1}));
  EXPECT_NE(span_hw_counters_payload_to_tlv(nullptr, &payload, &consumed, 0, &length, 0), 0);
  EXPECT_NE(span_hw_counters_payload_to_tlv(&request, nullptr, &consumed, 0, &length, 0), 0);
}

TEST(CounterCodec, DecodesTheResult) {
  const span_hw_counters_result_t sent = {1, 11, 1, 255};
  const Bytes payload = encode(&linecard::kCounterResultTable, &sent);
  void* result = nullptr;
  ASSERT_EQ(span_hw_counters_payload_to_struct(&result, payload.data(), 0, 0), 0);
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(std::memcmp(result, &sent, sizeof sent), 0);
}

TEST(CounterCodec, HasNoResultWithoutACounter) {
  void* result = &result;
  EXPECT_EQ(span_hw_counters_payload_to_struct(&result, "\0\0\0\0", 0, 0), 0);
  EXPECT_EQ(result, nullptr);
}

TEST(CounterCodec, RefusesWhatIsNoAnswer) {
  void* result = &result;
  EXPECT_NE(span_hw_counters_payload_to_struct(&result, "\1\0\0\0", 0, 0), 0);
  EXPECT_EQ(result, nullptr);
  EXPECT_NE(span_hw_counters_payload_to_struct(&result, nullptr, 0, 0), 0);
  EXPECT_NE(span_hw_counters_payload_to_struct(nullptr, "\0\0\0\0", 0, 0), 0);
}

}  // namespace
