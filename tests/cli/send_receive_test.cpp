// One message to a line card and its answer.
#include "platform/quill.h"
#include "tests/cli/line_card_test.h"

namespace testkit {
namespace {

class SendReceive : public LineCardTest {
 protected:
  uint32_t send(const Bytes& payload = {1, 2, 3}) {
    return run([&] {
      return span_show_send_receive(7, 0x1202, 935, 2020, payload.data(), static_cast<uint32_t>(payload.size()),
                                    message_, 5);
    });
  }

  alignas(8) uint8_t message_[QUILL_MESSAGE_SIZE] = {};
};

TEST_F(SendReceive, SendsDropsAndWaitsInTheSameHandle) {
  fake.expect("quill_send");
  fake.expect("quill_recv").gives({9});
  EXPECT_EQ(send(), 0u);
  EXPECT_EQ(fake.calls(),
            "quill_send(7, 4610, 935, 2020, [01 02 03], message 0, 0, 0)\n"
            "quill_rr_token_get(message 1)\n"
            "quill_drop(7, message 1)\n" +
                received(5, 0x7001));
  EXPECT_EQ(heap::requests(), 0u);
  quill_drop(7, message_);
}

TEST_F(SendReceive, TheAnswerIsTheCallersToDrop) {
  fake.messages_left = 1;
  fake.expect("quill_send");
  fake.expect("quill_recv").gives({9, 8});
  EXPECT_EQ(send(), 0u);
  EXPECT_TRUE(same_bytes(copy_of(quill_payload_get(message_), 2), {9, 8}));
}

TEST_F(SendReceive, ArgumentsGoOnAsTheyAre) {
  fake.expect("quill_send(0xffffffff, 0xfffffffe, 0xfffffffd, 0xfffffffc, [], message 0, 0, 0)");
  fake.expect("quill_recv(0xffffffff, message 0, [" + to_hex(options(0xFFFFFFFB, 0x7001)) + "])");
  EXPECT_EQ(run([&] {
              return span_show_send_receive(0xFFFFFFFF, 0xFFFFFFFE, 0xFFFFFFFD, 0xFFFFFFFC, nullptr, 0, message_,
                                            0xFFFFFFFB);
            }),
            0u);
  quill_drop(7, message_);
}

TEST_F(SendReceive, EachReceiveWaitsForTheAnswerToItsOwnRequest) {
  for (const uint32_t token : {0x7001u, 0x7003u, 0x7005u}) {
    fake.expect("quill_send");
    fake.expect(receive(5, token));
    EXPECT_EQ(send(), 0u);
    quill_drop(7, message_);
  }
}

TEST_F(SendReceive, AFailedSendIsATransportError) {
  fake.quill_errno = 113;
  fake.expect("quill_send").returns(0xFFFFFFFF);
  fake.expect("brio_print_quill_error_message(2, 113)");
  EXPECT_EQ(send(), 1u);
  EXPECT_EQ(printed(), "");
  EXPECT_EQ(fake.calls(),
            "quill_send(7, 4610, 935, 2020, [01 02 03], message 0, 0, 0)\n"
            "quill_errno_get(7)\n"
            "brio_print_quill_error_message(2, 113)\n");
}

TEST_F(SendReceive, AFailedReceiveIsToldInHexAndItsNumberReturned) {
  fake.quill_errno = 0xBAD;
  fake.expect("quill_send");
  fake.expect("quill_recv").returns(0xFFFFFFFF);
  EXPECT_EQ(send(), 0xBADu);
  EXPECT_EQ(printed(), "span_show_send_receive QUILL receive error bad\n");
  EXPECT_EQ(fake.calls(),
            "quill_send(7, 4610, 935, 2020, [01 02 03], message 0, 0, 0)\n"
            "quill_rr_token_get(message 1)\n"
            "quill_drop(7, message 1)\n" +
                received(5, 0x7001) +
                "quill_errno_get(7)\n"
                "quill_drop(7, message 0)\n");
}

TEST_F(SendReceive, KeepsAFailedReceiveOfNumber0LookingLikeSuccess) {
  fake.quill_errno = 0;
  fake.expect("quill_send");
  fake.expect("quill_recv").returns(0xFFFFFFFF);
  EXPECT_EQ(send(), 0u);
  EXPECT_EQ(printed(), "span_show_send_receive QUILL receive error 0\n");
}

}  // namespace
}  // namespace testkit
