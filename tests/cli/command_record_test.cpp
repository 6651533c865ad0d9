// The shell's command record as bytes: where each field lies.
#include <array>
#include <cstring>

#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

// A record built with numbers for offsets. Where a pointer has 4 bytes, the tokens start at 900 and the display
// context at 1212; where it is wider, they are moved by its alignment and size only.
class RawCommand {
 public:
  RawCommand() {
    bytes_.fill(0xEE);
    bytes_[0] = 0;
    put(12, 0);
    put(36, 0);
    put(40, 7);
    text(776, "operator");
    text(840, "vty 1");
  }

  RawCommand& put(size_t offset, uint32_t value) {
    std::memcpy(&bytes_.at(offset), &value, sizeof value);
    return *this;
  }

  RawCommand& text(size_t offset, const char* characters) {
    std::strcpy(reinterpret_cast<char*>(&bytes_.at(offset)), characters);
    return *this;
  }

  RawCommand& token(uint32_t id, uint32_t value_type, const void* value) {
    Token& token = tokens_.at(bytes_[0]++);
    token.fill(0xEE);
    std::memcpy(&token[0], &id, sizeof id);
    std::memcpy(&token[4], &value_type, sizeof value_type);
    std::memcpy(&token[16], &value, sizeof value);
    const void* const address = &token;
    std::memcpy(&bytes_.at(kTokens + sizeof address * bytes_[0]), &address, sizeof address);
    return *this;
  }

  const span_cli_parms_t* parms() const { return static_cast<const span_cli_parms_t*>(at(0)); }
  const void* at(size_t offset) const { return &bytes_.at(offset); }

  static constexpr size_t kTokens = (900 + sizeof(void*) - 1) / sizeof(void*) * sizeof(void*);
  static constexpr size_t kDisplayContext = kTokens + 78 * sizeof(void*);

 private:
  struct alignas(8) Token : std::array<uint8_t, 24> {};

  alignas(8) std::array<uint8_t, 4096> bytes_;
  std::array<Token, 8> tokens_;
};

class CommandRecord : public CliTest {
 protected:
  RawCommand command_;
};

TEST_F(CommandRecord, HasTheOffsetsOfTheShell) {
  if (sizeof(void*) == 4) {
    EXPECT_EQ(RawCommand::kTokens, 900u);
    EXPECT_EQ(RawCommand::kDisplayContext, 1212u);
  }
  EXPECT_EQ(command_.parms()->display_ctx, command_.at(RawCommand::kDisplayContext));
}

TEST_F(CommandRecord, QueueRequestersTokensAndNegatedAreRead) {
  const uint32_t session = 3;
  const uint32_t if_index = kFc1;
  command_.put(12, 1).put(40, 0x1234).text(776, "who").text(840, "where");
  command_.token(9, 9, &session).token(9, 9, &if_index);
  fake.expect_exchange(2000).gives(status_response(0));
  EXPECT_EQ(run([&] { return span_cli_set_dest_config(command_.parms()); }), 0u);
  EXPECT_EQ(fake.calls("vex"), "vex_req_resp(2000, 3, [112 bytes], \"who\", \"where\", 68, 4660, 35)\n");
  EXPECT_TRUE(same_bytes(fake.exchange().payload,
                         hex("77 68 6f 00*57 77 68 65 72 65 00*35 02 02 00 00 5b a5 a5 5a 00 00 00 00")));
}

TEST_F(CommandRecord, TheIdOfATokenIsItsFirstWord) {
  const uint32_t session = 3;
  const uint32_t vsans[] = {1, 1};
  command_.token(9, 9, &session).token(6, 2, vsans);
  fake.expect_exchange(2002).gives(SourceConfigResult{}.response());
  EXPECT_EQ(run([&] { return span_cli_set_src_config_ssn_filter(command_.parms()); }), 0u);
  EXPECT_TRUE(sent("02 03 10 06 00 02 00 00 40 00*511 00*4"));
}

TEST_F(CommandRecord, TheValueTypeOfATokenIsItsSecondWord) {
  const uint32_t session = 3;
  command_.token(0x40100001, 9, &session).token(9, 0x40100001, &session);
  fake.expect_exchange(2001).gives(SessionRecord{.session = 3, .configured = 0}.response());
  EXPECT_EQ(run([&] { return span_cli_show_session_info(command_.parms()); }), 0u);
  EXPECT_EQ(printed(), "Session 3 is not configured\n");
  EXPECT_EQ(fake.exchange().payload[0], 2);
}

TEST_F(CommandRecord, SkipIsTheWordAt36) {
  command_.put(36, 1);
  EXPECT_EQ(run([&] { return span_cli_set_port_config(command_.parms()); }), 0u);
  EXPECT_EQ(printed(), "");
}

TEST_F(CommandRecord, TheDisplayContextGoesToThePermissionChecksByAddress) {
  fake.name_pointer(command_.at(RawCommand::kDisplayContext), "display context");
  fake.allowed_vsans.emplace();
  const Bytes record = SessionRecord{.rx_vsans = {{5, 5}}, .rx = {kFc1}}.bytes();
  EXPECT_EQ(span_check_is_session_print_allowed(command_.parms(), record.data()), 1);
  EXPECT_EQ(fake.calls(),
            "brio_is_vsan_allowed(display context, 5)\n"
            "brio_is_interface_display_allowed(7, display context, 0x1000000)\n");
}

}  // namespace
}  // namespace testkit
