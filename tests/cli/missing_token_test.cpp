// Commands that lack what their handler needs: index 0, value 0, no crash.
#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

constexpr uint32_t kConfIntf = 0xd030001;
constexpr uint32_t kPortMode = 12;

class MissingToken : public CliTest {
 protected:
  void accept_source() { fake.expect_exchange(2002).gives(SourceConfigResult{}.response()); }

  // What a source command sends behind the requester header, for no VSAN and no interface.
  static std::string nothing_but(const std::string& head) { return head + " 00 02 00 00 00*512 00*4"; }

  Command command_;
};

// ---- Sessions --------------------------------------------------------------------------------------------------------

TEST_F(MissingToken, CreateSendsIndex0) {
  fake.expect_exchange(2004).gives(delete_response(0));
  EXPECT_EQ(call(span_cli_create_session_id, command_), 0u);
  EXPECT_TRUE(sent("01 01 00"));
}

TEST_F(MissingToken, CreateSendsIndex0ForATokenWithoutAValue) {
  command_.number(5).keyword(9).negated();
  fake.expect_exchange(2004).gives(delete_response(0));
  EXPECT_EQ(call(span_cli_create_session_id, command_), 0u);
  EXPECT_TRUE(sent("02 01 00"));
}

TEST_F(MissingToken, ATokenThatIsNullIsNotThere) {
  command_.number(5).number(6);
  command_.parms()->tokens[2] = nullptr;
  fake.expect_exchange(2004).gives(delete_response(0));
  EXPECT_EQ(call(span_cli_create_session_id, command_), 0u);
  EXPECT_TRUE(sent("01 01 00"));
}

TEST_F(MissingToken, ACountBeyondTheRecordIsNotFollowed) {
  command_.number(5);
  for (const uint8_t count : Bytes{78, 255}) {
    command_.parms()->token_count = count;
    fake.expect_exchange(2004).gives(delete_response(0));
    EXPECT_EQ(call(span_cli_create_session_id, command_), 0u);
    EXPECT_TRUE(sent("01 01 00"));
  }
}

TEST_F(MissingToken, TheRecordHasRoomFor77Tokens) {
  for (uint32_t number = 1; number <= 77; ++number) command_.number(number);
  fake.expect_exchange(2004).gives(delete_response(0));
  EXPECT_EQ(call(span_cli_create_session_id, command_), 0u);
  EXPECT_TRUE(sent("01 01 4c"));
}

TEST_F(MissingToken, DestinationSendsIndex0AndInterface0) {
  fake.expect_exchange(2000).gives(status_response(0));
  EXPECT_EQ(call(span_cli_set_dest_config, command_), 0u);
  EXPECT_TRUE(sent("00 01 00 00 5a a5 a5 5a 00 00 00 00"));
  EXPECT_EQ(fake.calls("sprintf"), "sprintf_if_index(0)\n");
}

TEST_F(MissingToken, DestinationSendsIndex0WithoutASession) {
  command_.interface(kFc1);
  fake.expect_exchange(2000).gives(status_response(0));
  EXPECT_EQ(call(span_cli_set_dest_config, command_), 0u);
  EXPECT_TRUE(sent("00 01 00 00 5b a5 a5 5a 00 00 00 00"));
}

TEST_F(MissingToken, SuspendSendsIndex0) {
  fake.expect_exchange(2006).gives(status_response(0));
  EXPECT_EQ(call(span_cli_set_session_state, command_), 0u);
  EXPECT_TRUE(sent("01 00"));
}

// ---- Sources ---------------------------------------------------------------------------------------------------------

TEST_F(MissingToken, SourceVsansSendNoVsan) {
  accept_source();
  EXPECT_EQ(call(span_cli_set_src_config_vsan, command_), 0u);
  EXPECT_TRUE(sent(nothing_but("00 01 04 03")));
}

TEST_F(MissingToken, SourceVsansSendIndex0WithoutASession) {
  command_.vsans(1, 1);
  accept_source();
  EXPECT_EQ(call(span_cli_set_src_config_vsan, command_), 0u);
  EXPECT_TRUE(sent("00 01 04 03 00 02 00 00 40 00*511 00*4"));
}

TEST_F(MissingToken, SessionFilterSendsDirection0) {
  accept_source();
  EXPECT_EQ(call(span_cli_set_src_config_ssn_filter, command_), 0u);
  EXPECT_TRUE(sent(nothing_but("00 00 10 06")));
}

TEST_F(MissingToken, SessionFilterSendsItsDirectionAlone) {
  command_.keyword(6);
  accept_source();
  EXPECT_EQ(call(span_cli_set_src_config_ssn_filter, command_), 0u);
  EXPECT_TRUE(sent(nothing_but("00 03 10 06")));
}

TEST_F(MissingToken, InterfaceFilterSendsNoInterfaceForIngress) {
  accept_source();
  EXPECT_EQ(call(span_cli_set_src_config_if_dir_filter, command_), 0u);
  EXPECT_TRUE(sent(nothing_but("00 01 01 01")));
}

TEST_F(MissingToken, InterfaceFilterSendsNoInterfaceForAListWithoutAValue) {
  command_.number(3).keyword(1).keyword(4).vsans(1, 1);
  accept_source();
  EXPECT_EQ(call(span_cli_set_src_config_if_dir_filter, command_), 0u);
  EXPECT_TRUE(sent("02 03 01 01 00 02 00 00 40 00*511 00*4"));
}

TEST_F(MissingToken, SourceInterfacesSendNoInterfaceForBothDirections) {
  accept_source();
  EXPECT_EQ(call(span_cli_set_src_config_if, command_), 0u);
  EXPECT_TRUE(sent(nothing_but("00 03 01 01")));
}

TEST_F(MissingToken, SourceInterfacesSendTheirDirectionAlone) {
  command_.keyword(3);
  accept_source();
  EXPECT_EQ(call(span_cli_set_src_config_if_dir, command_), 0u);
  EXPECT_TRUE(sent(nothing_but("00 02 01 01")));
}

TEST_F(MissingToken, ATrafficTypeAloneIsForNoServiceModuleInterface) {
  command_.keyword(18);
  EXPECT_EQ(call(span_cli_set_src_config_if_dir_traffic_type, command_), 0u);
  EXPECT_EQ(printed(), "traffic-type option is supported for only svc interfaces\n");
  EXPECT_EQ(fake.calls("vex"), "");
}

TEST_F(MissingToken, ArgumentsThatAreNotThereAreNullAndIndex0) {
  void* list = this;
  uint32_t number = 0;
  uint32_t* session = &number;
  uint8_t session_index = 77;
  uint8_t direction = 99;
  command_.keyword(2);
  EXPECT_EQ(span_get_set_src_config_cli_params(command_, &list, &session, &session_index, &direction), 0u);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(session, nullptr);
  EXPECT_EQ(session_index, 0);
  EXPECT_EQ(direction, 1);
}

// ---- Port mode -------------------------------------------------------------------------------------------------------

// What is printed when the keyword behind the interfaces is not there.
constexpr char kNoMode[] =
    "span_encode_cfg_tlv: Type not handled - 0\n"
    "span_vex_set_port_config: err(1077149749) in pm_encode_tlv\n"
    "config_failed: status 0x40340035\n";

TEST_F(MissingToken, PortModeIsRefusedWithoutAnythingBehindTheInterfaces) {
  command_.interfaces({{kFc1, kFc1}}, kConfIntf);
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_EQ(printed(), kNoMode);
  EXPECT_EQ(fake.calls("vex"), "");
}

TEST_F(MissingToken, PortModeIsRefusedWithoutItsKeyword) {
  for (const uint32_t negated : {0u, 1u}) {
    Command command;
    command.interfaces({{kFc1, kFc1}}, kConfIntf).keyword(11).keyword(kPortMode).number(4).negated(negated);
    EXPECT_EQ(call(span_cli_set_port_config, command), 0u);
    EXPECT_EQ(printed(), kNoMode);
  }
  EXPECT_EQ(fake.calls("vex"), "");
}

TEST_F(MissingToken, PortModeSendsMode0WithoutAMode) {
  command_.interfaces({{kFc1, kFc1}}, kConfIntf).keyword(kPortMode);
  for (int tokens = 2; tokens <= 3; ++tokens) {
    fake.expect_exchange(2014).gives(port_config_response(0, {}));
    EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
    EXPECT_TRUE(sent("00 01 5b a5 a5 5a 5b a5 a5 5a 01 04 00 00 00 00"));
    command_.keyword(9);
  }
}

TEST_F(MissingToken, PortModeOfInterfacesWithoutAListIsRefused) {
  command_.keyword(kConfIntf).keyword(kPortMode).number(4);
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_EQ(printed(), "config_failed: status 0x40290000\n");
  EXPECT_EQ(fake.calls("vex"), "");
}

TEST_F(MissingToken, PortModeLooksPastATokenThatIsNull) {
  command_.number(1).interfaces({{kFc1, kFc1}}, kConfIntf).keyword(kPortMode).number(4);
  command_.parms()->tokens[1] = nullptr;
  fake.expect_exchange(2014).gives(port_config_response(0, {}));
  EXPECT_EQ(call(span_cli_set_port_config, command_), 0u);
  EXPECT_TRUE(sent("00 01 5b a5 a5 5a 5b a5 a5 5a 01 04 00 00 00 04"));
}

// ---- Show ------------------------------------------------------------------------------------------------------------

class MissingSessionToken : public MissingToken {
 protected:
  // Whether a show command asks for all sessions.
  void expect_all(Handler* handler) {
    fake.expect_exchange(2001).gives(SessionRecord{.configured = 0}.response()).times(16);
    EXPECT_EQ(call(handler, command_), 0u);
    EXPECT_EQ(fake.exchanges.size(), 16u);
  }
};

TEST_F(MissingSessionToken, ShowWithoutTokensIsAllSessions) { expect_all(span_cli_show_session_info); }

TEST_F(MissingSessionToken, BriefWithoutTokensIsAllSessions) { expect_all(span_cli_show_session_info_brief); }

TEST_F(MissingSessionToken, ATokenThatIsNullIsAllSessions) {
  command_.number(5);
  command_.parms()->tokens[1] = nullptr;
  expect_all(span_cli_show_session_info);
}

TEST_F(MissingSessionToken, APositionBehindTheLastTokenIsAllSessions) {
  command_.number(5);
  expect_all([](const span_cli_parms_t* parms) {
    return span_cli_show_session_info_common(parms, 2, nullptr, span_print_get_session_info);
  });
}

}  // namespace
}  // namespace testkit
