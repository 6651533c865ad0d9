// Sessions as a table.
#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

constexpr char kHeader[] =
    "--------------------------------------------------------\n"
    " Session  Admin          Oper           Destination     \n"
    "          State          State          Interface         \n"
    "--------------------------------------------------------\n";

class ShowBrief : public CliTest {
 protected:
  // The row of one session.
  std::string row(const SessionRecord& session, uint8_t all_sessions = 0) {
    const Bytes record = session.bytes();
    run([&] { span_print_get_session_info_brief(Command(), 0, record.data(), all_sessions); });
    return printed();
  }

  void answer(const SessionRecord& session) { fake.expect_exchange(2001).gives(session.response()); }
};

TEST_F(ShowBrief, TheHeaderIsFourLines) {
  run([] { span_print_session_info_brief_header(); });
  EXPECT_EQ(printed(), kHeader);
}

TEST_F(ShowBrief, OneSession) {
  Command command;
  command.number(3).keyword(1);
  answer({.session = 3, .destination = kFc1, .has_destination = 1, .rx = {kFc2}});
  EXPECT_EQ(call(span_cli_show_session_info_brief, command), 0u);
  EXPECT_EQ(printed(),
            "--------------------------------------------------------\n"
            " Session  Admin          Oper           Destination     \n"
            "          State          State          Interface         \n"
            "--------------------------------------------------------\n"
            " 3        no suspend     active         fc1/1           \n");
  EXPECT_EQ(fake.exchange().payload[0], 2);
}

TEST_F(ShowBrief, TheNumberStandsBeforeTheLastToken) {
  Command command;
  command.number(7).number(4).number(9);
  answer({.session = 4, .configured = 0});
  EXPECT_EQ(call(span_cli_show_session_info_brief, command), 0u);
  EXPECT_EQ(printed(), kHeader + std::string("Session 4 not configured\n"));
  EXPECT_EQ(fake.exchange().payload[0], 3);
}

TEST_F(ShowBrief, AllSessionsWithOneConfiguredHaveOneHeaderBeforeItsRow) {
  Command command;
  command.keyword(1);
  for (uint8_t number = 1; number <= 16; ++number) {
    answer({.session = number, .configured = number == 3, .oper_state = 4, .suspended = 1});
  }
  EXPECT_EQ(call(span_cli_show_session_info_brief, command), 0u);
  EXPECT_EQ(printed(),
            "--------------------------------------------------------\n"
            " Session  Admin          Oper           Destination     \n"
            "          State          State          Interface         \n"
            "--------------------------------------------------------\n"
            " 3        suspend        inactive       not configured  \n");
}

TEST_F(ShowBrief, AllSessionsWithNoneConfiguredPrintNothing) {
  Command command;
  command.keyword(1);
  for (uint8_t number = 1; number <= 16; ++number) answer({.session = number, .configured = 0});
  EXPECT_EQ(call(span_cli_show_session_info_brief, command), 0u);
  EXPECT_EQ(printed(), "");
}

TEST_F(ShowBrief, AllSessionsConfigured) {
  Command command;
  command.keyword(1);
  for (uint8_t number = 1; number <= 16; ++number) answer({.session = number});
  EXPECT_EQ(call(span_cli_show_session_info_brief, command), 0u);
  EXPECT_EQ(printed(),
            "--------------------------------------------------------\n"
            " Session  Admin          Oper           Destination     \n"
            "          State          State          Interface         \n"
            "--------------------------------------------------------\n"
            " 1        no suspend     active         not configured  \n"
            " 2        no suspend     active         not configured  \n"
            " 3        no suspend     active         not configured  \n"
            " 4        no suspend     active         not configured  \n"
            " 5        no suspend     active         not configured  \n"
            " 6        no suspend     active         not configured  \n"
            " 7        no suspend     active         not configured  \n"
            " 8        no suspend     active         not configured  \n"
            " 9        no suspend     active         not configured  \n"
            " 10       no suspend     active         not configured  \n"
            " 11       no suspend     active         not configured  \n"
            " 12       no suspend     active         not configured  \n"
            " 13       no suspend     active         not configured  \n"
            " 14       no suspend     active         not configured  \n"
            " 15       no suspend     active         not configured  \n"
            " 16       no suspend     active         not configured  \n");
}

TEST_F(ShowBrief, TheHeaderGoesBeforeAConfiguredSessionThatIsHidden) {
  fake.allowed_interfaces = {kFc2};
  Command command;
  command.keyword(1);
  for (uint8_t number = 1; number <= 16; ++number) {
    answer({.session = number, .configured = number <= 2, .rx = {number == 1 ? kFc1 : kFc2}});
  }
  EXPECT_EQ(call(span_cli_show_session_info_brief, command), 0u);
  EXPECT_EQ(printed(), kHeader + std::string(" 2        no suspend     active         not configured  \n"));
}

TEST_F(ShowBrief, AHiddenSessionAloneLeavesTheHeader) {
  fake.allowed_interfaces.emplace();
  Command command;
  command.number(2).keyword(1);
  answer({.session = 2, .rx = {kFc1}});
  EXPECT_EQ(call(span_cli_show_session_info_brief, command), 0u);
  EXPECT_EQ(printed(), kHeader);
}

TEST_F(ShowBrief, NothingForANullRecord) {
  EXPECT_EQ(run([] { return span_cli_show_session_info_brief(nullptr); }), 0u);
  EXPECT_EQ(printed(), "");
}

// ---- Rows ------------------------------------------------------------------------------------------------------------

TEST_F(ShowBrief, ASessionThatIsNotConfiguredIsToldWhenItIsTheOnlyOne) {
  EXPECT_EQ(row({.session = 5, .configured = 0}), "Session 5 not configured\n");
  EXPECT_EQ(row({.session = 5, .configured = 0}, 1), "");
}

TEST_F(ShowBrief, AHiddenSessionHasNoRow) {
  fake.allowed_vsans.emplace();
  fake.allowed_interfaces.emplace();
  EXPECT_EQ(row({.session = 5, .rx_vsans = {{1, 1}}, .rx = {kFc1}, .tx = {kFc2}}), "");
  EXPECT_EQ(row({.session = 5}), " 5        no suspend     active         not configured  \n");
}

TEST_F(ShowBrief, AnyOperationalStateButZeroIsInactive) {
  for (const uint8_t oper_state : Bytes{1, 2, 4, 255}) {
    EXPECT_EQ(row({.session = 16, .oper_state = oper_state}),
              " 16       no suspend     inactive       not configured  \n");
  }
}

TEST_F(ShowBrief, KeepsActiveAlthoughSuspended) {
  EXPECT_EQ(row({.session = 1, .oper_state = 0, .suspended = 0x0100}),
            " 1        suspend        active         not configured  \n");
}

TEST_F(ShowBrief, TheDestinationIsShownOnlyWhenItIsConfigured) {
  EXPECT_EQ(row({.session = 1, .destination = kPortChannel, .has_destination = 0x0100}),
            " 1        no suspend     active         port-channel 3  \n");
  EXPECT_EQ(row({.session = 1, .destination = kPortChannel, .has_destination = 0}),
            " 1        no suspend     active         not configured  \n");
  EXPECT_EQ(fake.calls(), "sprintf_if_index(0x4000003)\n");
}

TEST_F(ShowBrief, ANameAsLongAsTheColumnOrLongerGetsNoPadding) {
  for (const size_t length : {15u, 16u, 17u, 127u}) {
    fake.interfaces[kFc1].name = std::string(length, 'n');
    EXPECT_EQ(row({.session = 1, .destination = kFc1, .has_destination = 1}),
              " 1        no suspend     active         " + std::string(length, 'n') + (length == 15 ? " \n" : "\n"));
  }
}

TEST_F(ShowBrief, ANameThatIsMissingLeavesTheColumnBlank) {
  EXPECT_EQ(row({.session = 1, .destination = kUnknownIf, .has_destination = 1}),
            " 1        no suspend     active                         \n");
}

TEST_F(ShowBrief, NoInterfaceIsAskedFor) {
  row({.session = 1, .rx = {kFc1}, .tx = {kFc2}});
  EXPECT_TRUE(fake.exchanges.empty());
  EXPECT_EQ(heap::requests(), 0u);
}

}  // namespace
}  // namespace testkit
