// Global information: the request with the TLV codec in front and behind it, and the decoder.
#include <gtest/gtest.h>

#include <string>

#include "tests/msg/request_test.h"

namespace testkit {
namespace {

const Bytes kTlv = hex("00 01 02 03 04 05 06 07");
const Bytes kAnswer = hex("10 00 00 00 01 00 00 00 00 00 00 00");

class GlobalInfo : public LibspanTest {
 protected:
  uint32_t ask(uint32_t queue = kQueue) {
    return run([&] { return span_global_info(queue, kWho, kWhere, &request_, &reply_); });
  }

  void expect_encoding() { fake.expect("tlvu_table_convert_struct_to_tlv").gives(kTlv); }

  void expect_answer() {
    fake.expect_exchange(2019).gives({0, 9, 9});
    fake.expect("tlv_array_size_get(response, 1)").returns(77);
    fake.expect("tlvu_table_convert_tlv_to_struct(response, 0,").gives(kAnswer);
  }

  void TearDown() override {
    std::free(reply_);
    LibspanTest::TearDown();
  }

  span_global_info_payload_t request_ = {0x01020304, 1, 0x0a0b0c0d};
  span_global_info_payload_t* reply_ = nullptr;
};

TEST_F(GlobalInfo, EncodesSendsAndDecodes) {
  expect_encoding();
  expect_answer();
  EXPECT_EQ(ask(), 0u);
  const std::string record = to_hex(join({host32(0x01020304), host32(1), host32(0x0a0b0c0d)}));
  EXPECT_EQ(fake.calls(), "tlvu_table_convert_struct_to_tlv(span_global_info_payload_t, [" + record +
                              "], 0, 0, 0)\n"
                              "vex_req_resp(2019, 1, [8 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n"
                              "tlv_array_size_get(response, 1)\n"
                              "tlvu_table_convert_tlv_to_struct(response, 0, span_global_info_payload_t, 0)\n");
  EXPECT_TRUE(same_bytes(fake.exchange().payload, hex("00 01 02 03 04 05 06 07")));
}

TEST_F(GlobalInfo, GivesTheDecodedRecordAndFreesAllElse) {
  expect_encoding();
  expect_answer();
  EXPECT_EQ(ask(), 0u);
  EXPECT_TRUE(same_bytes(copy_of(reply_, 12), kAnswer));
  EXPECT_EQ(heap::live(), 1u);
  EXPECT_EQ(heap::requests(), 0u);
}

TEST_F(GlobalInfo, ReadingIsAQueryAndWritingIsAChange) {
  request_.operation = 0;
  expect_encoding();
  expect_answer();
  EXPECT_EQ(ask(), 0u);
  EXPECT_EQ(fake.exchange().kind, 3u);
}

TEST_F(GlobalInfo, KeepsKind0ForAnyOtherOperation) {
  for (const uint32_t operation : {2u, 5u, 0x101u, 0xFFFFFFFFu}) {
    request_.operation = operation;
    expect_encoding();
    fake.expect_exchange(2019).returns(1);
    EXPECT_EQ(ask(), kInvalidParam);
    EXPECT_EQ(fake.exchange().kind, 0u) << operation;
  }
}

TEST_F(GlobalInfo, RefusesNullArgumentsSilently) {
  EXPECT_EQ(run([&] { return span_global_info(kQueue, kWho, kWhere, nullptr, &reply_); }), kInvalidParam);
  EXPECT_EQ(run([&] { return span_global_info(kQueue, kWho, kWhere, &request_, nullptr); }), kInvalidParam);
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(GlobalInfo, RefusesAReplyThatIsThereAlready) {
  span_global_info_payload_t mine = {};
  reply_ = &mine;
  EXPECT_EQ(ask(), kInvalidParam);
  EXPECT_EQ(reply_, &mine);
  EXPECT_EQ(fake.calls(), "");
  reply_ = nullptr;
}

TEST_F(GlobalInfo, WithoutAQueueSendsNothing) {
  EXPECT_EQ(ask(kNoQueue), kInvalidParam);
  EXPECT_EQ(printed(), "Invalid param\n");
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(GlobalInfo, LooksAtItsArgumentsBeforeTheQueue) {
  EXPECT_EQ(run([&] { return span_global_info(kNoQueue, kWho, kWhere, nullptr, &reply_); }), kInvalidParam);
  EXPECT_EQ(printed(), "");
}

TEST_F(GlobalInfo, ReturnsTheCodecsStatusWhenItCannotEncode) {
  fake.expect("tlvu_table_convert_struct_to_tlv").returns(0x1f);
  fake.expect("tlvu_error_print(\"span_global_info_payload_to_tlv: ERR 0x1f\\n\")");
  EXPECT_EQ(ask(), 0x1fu);
  EXPECT_EQ(reply_, nullptr);
  EXPECT_EQ(fake.calls("vex"), "");
}

TEST_F(GlobalInfo, FreesWhatAFailedEncodingLeft) {
  fake.expect("tlvu_table_convert_struct_to_tlv").returns(5).gives(kTlv);
  fake.expect("tlvu_error_print");
  EXPECT_EQ(ask(), 5u);
  EXPECT_EQ(heap::live(), 0u);
}

TEST_F(GlobalInfo, KeepsOneCodeForEveryFailedExchange) {
  for (const uint32_t code : {kTransportFailed, 1u, 0x40340008u}) {
    expect_encoding();
    fake.expect_exchange(2019).returns(code).gives({0});
    EXPECT_EQ(ask(), kInvalidParam);
    EXPECT_EQ(reply_, nullptr);
    EXPECT_EQ(heap::live(), 0u);
  }
  EXPECT_EQ(fake.calls("tlv_array"), "");
}

TEST_F(GlobalInfo, ReturnsTheCodecsStatusWhenItCannotDecode) {
  for (const bool leaves_a_block : {false, true}) {
    expect_encoding();
    fake.expect_exchange(2019).gives({0, 9, 9});
    fake.expect("tlv_array_size_get");
    Script& decoding = fake.expect("tlvu_table_convert_tlv_to_struct").returns(0xABC);
    if (leaves_a_block) decoding.gives(kAnswer);
    fake.expect("tlvu_error_print(\"span_global_info_payload_to_struct: ERR 0xabc\\n\")");
    EXPECT_EQ(ask(), 0xABCu);
    EXPECT_EQ(printed(), "span_global_info: global info convert to struct failed \n");
    EXPECT_EQ(reply_, nullptr);
    EXPECT_EQ(heap::live(), 0u);
  }
}

TEST_F(GlobalInfo, IgnoresTheArraySize) {
  expect_encoding();
  fake.expect_exchange(2019).gives({0, 9, 9});
  fake.expect("tlv_array_size_get").returns(0xFFFFFFFF);
  fake.expect("tlvu_table_convert_tlv_to_struct").gives(kAnswer);
  EXPECT_EQ(ask(), 0u);
}

// ---- Decoder of a response -------------------------------------------------------------------------------------------

class ParseGlobalInfo : public LibspanTest {
 protected:
  uint32_t parse(const uint8_t* payload) {
    fake.name_pointer(payload, "payload");
    return run([&] { return span_parse_global_info_res_payload(payload, &reply_); });
  }

  void TearDown() override {
    std::free(reply_);
    LibspanTest::TearDown();
  }

  const Bytes payload_ = hex("00 01");
  span_global_info_payload_t* reply_ = nullptr;
};

constexpr char kTraced[] =
    "tarn_hist_event_subtype_check(0x730000, 103)\n"
    "tarn_hist_event(0x730000, 76, 103, "
    "\"span_parse_global_info_res_payload:parse response global_info payload \\n\")\n"
    "tarn_chk_int(103, 0, 0, 1)\n";

TEST_F(ParseGlobalInfo, TracesThenDecodes) {
  fake.expect("tlvu_table_convert_tlv_to_struct").gives(kAnswer);
  EXPECT_EQ(parse(payload_.data()), 0u);
  EXPECT_EQ(fake.calls(),
            std::string(kTraced) + "tlvu_table_convert_tlv_to_struct(payload, 0, span_global_info_payload_t, 0)\n");
  EXPECT_TRUE(same_bytes(copy_of(reply_, 12), kAnswer));
  EXPECT_EQ(heap::live(), 1u);
}

TEST_F(ParseGlobalInfo, TracesInTheDebugOutputToo) {
  fake.debug_on = true;
  parse(nullptr);
  EXPECT_EQ(fake.calls("murmur"),
            "murmur(1, tarn_dbg_modname, 0, "
            "\"span_parse_global_info_res_payload:parse response global_info payload \\n\")\n");
}

TEST_F(ParseGlobalInfo, RefusesNoPayloadAfterTheTrace) {
  EXPECT_EQ(parse(nullptr), kInvalidParam);
  EXPECT_EQ(fake.calls(), kTraced);
  EXPECT_EQ(reply_, nullptr);
}

TEST_F(ParseGlobalInfo, RefusesAPayloadThatDoesNotStartWith0) {
  for (const uint8_t first : std::initializer_list<uint8_t>{1, 0x80, 0xff}) {
    EXPECT_EQ(parse(&first), kInvalidParam);
    EXPECT_EQ(reply_, nullptr);
  }
  EXPECT_EQ(fake.calls("tlv"), "");
}

TEST_F(ParseGlobalInfo, FreesWhatAFailedDecodingLeft) {
  fake.expect("tlvu_table_convert_tlv_to_struct").returns(6).gives(kAnswer);
  fake.expect("tlvu_error_print(\"span_global_info_payload_to_struct: ERR 0x6\\n\")");
  EXPECT_EQ(parse(payload_.data()), 6u);
  EXPECT_EQ(reply_, nullptr);
  EXPECT_EQ(heap::live(), 0u);
  EXPECT_EQ(printed(), "");
}

}  // namespace
}  // namespace testkit
