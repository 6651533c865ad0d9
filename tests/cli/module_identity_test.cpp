// The software identity of a module, as the inventory tells it.
#include <cerrno>
#include <cstring>

#include "tests/cli/line_card_test.h"

namespace testkit {
namespace {

class ModuleIdentity : public LineCardTest {
 protected:
  uint32_t ask(uint32_t module) {
    return run([&] { return syscli_get_module_swid(command_, module, &software_); });
  }

  uint16_t software_ = 0xABCD;
};

TEST_F(ModuleIdentity, IsABigEndianNumberInTheRecordOfTheModule) {
  expect_inventory(3);
  fake.expect("quill_recv").gives(Message(3 * 458, 0xEE).u8(2 * 458 + 31, 0x12).u8(2 * 458 + 32, 0x34));
  EXPECT_EQ(ask(3), 0u);
  EXPECT_EQ(software_, 0x1234);
  EXPECT_EQ(printed(), "");
}

TEST_F(ModuleIdentity, AsksWaitsAndDropsBothMessages) {
  expect_software(1, 163);
  EXPECT_EQ(ask(1), 0u);
  EXPECT_EQ(software_, 163);
  EXPECT_EQ(fake.calls(),
            "wren_get_module_info(7, message 0, 1)\n"
            "quill_rr_token_get(message 1)\n" +
                received(100, 0x7001) +
                "quill_payload_get(message 2)\n"
                "quill_drop(7, message 1)\n"
                "quill_drop(7, message 2)\n");
  EXPECT_EQ(heap::requests(), 0u);
}

TEST_F(ModuleIdentity, TheReceiveWaits100ForTheAnswerToItsRequest) {
  fake.expect("wren_get_module_info").gives({1});
  fake.expect("quill_recv(7, message 0, [" + to_hex(host32(1)) + " 00 00 00 00 " + to_hex(host32(100)) + " " +
              to_hex(host32(0x7001)) + " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00])")
      .gives(module_info(1, 1));
  EXPECT_EQ(ask(1), 0u);
}

TEST_F(ModuleIdentity, EachModuleHasItsRecord) {
  Message info(232 * 458, 0xEE);
  for (uint32_t module = 1; module <= 232; ++module) info.be16((module - 1) * 458 + 31, module * 256 + 7);
  for (uint32_t module = 1; module <= 232; ++module) {
    expect_inventory(module);
    fake.expect("quill_recv").gives(info);
    EXPECT_EQ(ask(module), 0u);
    EXPECT_EQ(software_, module * 256 + 7);
  }
}

TEST_F(ModuleIdentity, TheInventoryIsAskedForTheLowByteOfTheNumber) {
  expect_inventory(1);
  fake.expect("quill_recv").gives(module_info(257, 44));
  EXPECT_EQ(ask(257), 0u);
  EXPECT_EQ(software_, 44);
}

TEST_F(ModuleIdentity, TheQueueIsThatOfTheCommand) {
  command_.queue(0x55);
  fake.expect("wren_get_module_info(85, message 0, 1)");
  fake.expect("quill_recv(85, ").gives(module_info(1, 1));
  EXPECT_EQ(ask(1), 0u);
  EXPECT_EQ(fake.calls("quill_drop"),
            "quill_drop(85, message 1)\n"
            "quill_drop(85, message 2)\n");
}

// ---- Failures --------------------------------------------------------------------------------------------------------

TEST_F(ModuleIdentity, AModuleThatCannotBeAskedForIsTold) {
  expect_inventory(12).returns(5);
  EXPECT_EQ(ask(12), 5u);
  EXPECT_EQ(printed(), "Cannot get info about module 12\n");
  EXPECT_EQ(software_, 0xABCD);
  EXPECT_EQ(fake.calls(), "wren_get_module_info(7, message 0, 12)\n");
}

TEST_F(ModuleIdentity, AnyResultOtherThan0IsAFailure) {
  for (const uint32_t result : {1u, 0xFFFFFFFFu, 0x80000000u, 0x40340008u}) {
    expect_inventory(232).returns(result);
    EXPECT_EQ(ask(232), result);
    EXPECT_EQ(printed(), "Cannot get info about module 232\n");
  }
}

TEST_F(ModuleIdentity, KeepsALineBreakBeforeAFailedReceiveAndNoneBehind) {
  fake.messages_left = 1;
  expect_inventory(4);
  fake.expect("quill_recv").returns(0xFFFFFFFF).does([] { errno = ETIMEDOUT; });
  EXPECT_EQ(ask(4), 0xFFFFFFFFu);
  EXPECT_EQ(printed(),
            "\n"
            " quill_recv returned errno " +
                std::to_string(ETIMEDOUT) + " : " + std::strerror(ETIMEDOUT));
  EXPECT_EQ(software_, 0xABCD);
}

TEST_F(ModuleIdentity, KeepsTheRequestWhenItsReplyCannotBeReceived) {
  fake.messages_left = 1;
  expect_inventory(1);
  fake.expect("quill_recv").returns(0xFFFFFFFF);
  EXPECT_EQ(ask(1), 0xFFFFFFFFu);
  EXPECT_TRUE(printed().starts_with("\n quill_recv returned errno "));
  EXPECT_EQ(fake.calls(),
            "wren_get_module_info(7, message 0, 1)\n"
            "quill_rr_token_get(message 1)\n" +
                received(100, 0x7001) + "quill_drop(7, message 0)\n");
}

TEST_F(ModuleIdentity, TheErrorOfAFailedReceiveIsThatOfTheCLibrary) {
  for (const int error : {EINTR, EAGAIN, ENOBUFS}) {
    ++fake.messages_left;
    expect_inventory(2);
    fake.expect("quill_recv").returns(0xFFFFFFFF).does([error] { errno = error; });
    EXPECT_EQ(ask(2), 0xFFFFFFFFu);
    EXPECT_EQ(printed(), "\n quill_recv returned errno " + std::to_string(error) + " : " + std::strerror(error));
  }
  EXPECT_EQ(fake.calls("quill_errno_get"), "");
}

TEST_F(ModuleIdentity, AReplyWithoutAPayloadIsNoAnswer) {
  expect_inventory(1);
  fake.expect("quill_recv");
  EXPECT_EQ(ask(1), 0xFFFFFFFFu);
  EXPECT_EQ(software_, 0xABCD);
  EXPECT_EQ(fake.calls("quill_drop"),
            "quill_drop(7, message 1)\n"
            "quill_drop(7, message 2)\n");
}

}  // namespace
}  // namespace testkit
