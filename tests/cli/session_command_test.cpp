// Create and delete a session, set its destination, suspend and resume it.
#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

// ---- Create and delete -----------------------------------------------------------------------------------------------

class CreateSession : public CliTest {
 protected:
  // Session index and action of a command that gets an answer.
  Bytes indexed(Command& command) {
    fake.expect_exchange(2004).gives(delete_response(0));
    EXPECT_EQ(call(span_cli_create_session_id, command), 0u);
    return slice(fake.exchange().payload, 100, 3);
  }
};

TEST_F(CreateSession, SendsOneIndexWithTheActionCreate) {
  Command command;
  command.number(3);
  fake.expect_exchange(2004).gives(delete_response(0));
  EXPECT_EQ(call(span_cli_create_session_id, command), 0u);
  EXPECT_TRUE(sent("01 01 02"));
  EXPECT_EQ(fake.calls(),
            "gettimeofday()\n"
            "vex_req_resp(2004, 3, [103 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n"
            "gettimeofday()\n");
}

TEST_F(CreateSession, NoFormSendsTheActionDelete) {
  Command command;
  command.number(16).negated();
  fake.expect_exchange(2004).gives(delete_response(0));
  EXPECT_EQ(call(span_cli_create_session_id, command), 0u);
  EXPECT_TRUE(sent("02 01 0f"));
}

TEST_F(CreateSession, KeepsToTheLowByteOfNegated) {
  struct Case {
    uint32_t negated;
    uint8_t action;
  };
  for (const auto& [negated, action] : {Case{0x100, 1}, {0x101, 2}, {0xFFFFFF01, 2}, {2, 1}, {0xFF, 1}}) {
    Command command;
    command.number(1).negated(negated);
    EXPECT_TRUE(same_bytes(indexed(command), {action, 1, 0})) << negated;
  }
}

TEST_F(CreateSession, TheIndexIsTheLowByteOfTheNumberLessOne) {
  struct Case {
    uint32_t number;
    uint8_t index;
  };
  for (const auto& [number, index] : {Case{1, 0}, {16, 15}, {0, 255}, {256, 255}, {257, 0}, {0x10000003, 2}}) {
    Command command;
    command.number(number);
    EXPECT_TRUE(same_bytes(indexed(command), {1, 1, index})) << number;
  }
}

TEST_F(CreateSession, TakesTheLastToken) {
  Command command;
  command.number(5).keyword(9).number(6).number(7);
  EXPECT_TRUE(same_bytes(indexed(command), hex("01 01 06")));
}

TEST_F(CreateSession, GivesBothRequesterStringsToTheExchangeWhole) {
  const std::string first(63, 'a');
  const std::string second(59, 'b');
  Command command;
  command.number(1).requesters(first, second).queue(0x80000001);
  fake.expect_exchange(2004).gives(delete_response(0));
  EXPECT_EQ(call(span_cli_create_session_id, command), 0u);
  EXPECT_EQ(fake.exchange().requester1, first);
  EXPECT_EQ(fake.exchange().requester2, second);
  EXPECT_EQ(fake.exchange().queue, 0x80000001u);
  EXPECT_TRUE(same_bytes(fake.exchange().payload, hex("61*59 00 62*39 00 01 01 00")));
}

TEST_F(CreateSession, KeepsTheTextOfStatus0WhenTheExchangeFails) {
  Command command;
  command.number(3);
  fake.expect_exchange(2004).returns(0x40340015);
  EXPECT_EQ(call(span_cli_create_session_id, command), 1u);
  EXPECT_EQ(printed(), "status 0x0\n");
  EXPECT_EQ(fake.calls("syserr2str"), "syserr2str(0)\n");
}

TEST_F(CreateSession, KeepsTheTextOfStatus0WhenAFailedExchangeHasAResponse) {
  Command command;
  command.number(3).negated();
  fake.expect_exchange(2004).returns(0xFFFFFFFF).gives(delete_response(0x40340044));
  EXPECT_EQ(call(span_cli_create_session_id, command), 1u);
  EXPECT_EQ(printed(), "status 0x0\n");
}

TEST_F(CreateSession, KeepsQuietAboutTheManagersResult) {
  Command command;
  command.number(3);
  fake.expect_exchange(2004).gives(delete_response(0x40340044));
  EXPECT_EQ(call(span_cli_create_session_id, command), 0u);
  EXPECT_EQ(printed(), "");
  EXPECT_EQ(fake.calls("syserr2str"), "");
}

TEST_F(CreateSession, WithoutAQueueNothingIsSent) {
  Command command;
  command.number(3).queue(0);
  EXPECT_EQ(call(span_cli_create_session_id, command), 1u);
  EXPECT_EQ(printed(),
            "Invalid param\n"
            "status 0x0\n");
  EXPECT_EQ(fake.calls(), "syserr2str(0)\n");
}

TEST_F(CreateSession, WithoutMemoryNothingIsSentAndTheNextOneWorks) {
  Command command;
  command.number(3);
  heap::fail_nth(1);
  EXPECT_EQ(call(span_cli_create_session_id, command), 1u);
  EXPECT_EQ(printed(),
            "error: status 0x1 \n"
            "status 0x0\n");
  EXPECT_EQ(fake.calls(), "syserr2str(1)\nsyserr2str(0)\n");
  EXPECT_TRUE(same_bytes(indexed(command), hex("01 01 02")));
  EXPECT_EQ(heap::requests(), 2u);
}

// ---- Destination -----------------------------------------------------------------------------------------------------

class SetDestination : public CliTest {
 protected:
  Command command_;
};

TEST_F(SetDestination, SendsTheInterfaceWithOperation1) {
  command_.number(3).interface(kFc2);
  fake.expect_exchange(2000).gives(status_response(0));
  EXPECT_EQ(call(span_cli_set_dest_config, command_), 0u);
  EXPECT_TRUE(sent("02 01 00 00 5b a5 b5 5a 00 00 00 00"));
}

TEST_F(SetDestination, NoFormSendsOperation2) {
  command_.number(16).interface(kFc1).negated();
  fake.expect_exchange(2000).gives(status_response(0));
  EXPECT_EQ(call(span_cli_set_dest_config, command_), 0u);
  EXPECT_TRUE(sent("0f 02 00 00 5b a5 a5 5a 00 00 00 00"));
}

TEST_F(SetDestination, OnlyTheNegatedValue1IsTheNoForm) {
  for (const uint32_t negated : {2u, 0x101u, 0xFFFFFFFFu}) {
    Command command;
    command.number(1).interface(kFc1).negated(negated);
    fake.expect_exchange(2000).gives(status_response(0));
    EXPECT_EQ(call(span_cli_set_dest_config, command), 0u);
    EXPECT_EQ(fake.exchange().payload[101], 1) << negated;
  }
}

TEST_F(SetDestination, KeepsFormattingTheNameOfTheDestination) {
  command_.number(3).interface(kFc2);
  fake.expect_exchange(2000).gives(status_response(0));
  EXPECT_EQ(call(span_cli_set_dest_config, command_), 0u);
  EXPECT_EQ(fake.calls(),
            "sprintf_if_index(0x1001000)\n"
            "if_index_get_type(0x1001000)\n"
            "vex_req_resp(2000, 3, [112 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n");
}

TEST_F(SetDestination, TakesTheLastTwoTokens) {
  command_.number(9).interface(kFc1).keyword(4).number(0x105).interface(kPortChannel);
  fake.expect_exchange(2000).gives(status_response(0));
  EXPECT_EQ(call(span_cli_set_dest_config, command_), 0u);
  EXPECT_TRUE(sent("04 01 00 00 5e a5 a5 59 00 00 00 00"));
}

TEST_F(SetDestination, AFailedExchangeIsToldOnce) {
  command_.number(3).interface(kFc2);
  fake.expect_exchange(2000).returns(0xFFFFFFFF).gives(status_response(0x40340045));
  EXPECT_EQ(call(span_cli_set_dest_config, command_), 1u);
  EXPECT_EQ(printed(), "config failed: status 0xffffffff\n");
}

TEST_F(SetDestination, TheManagersResultIsTold) {
  command_.number(3).interface(kFc2);
  fake.expect_exchange(2000).gives(status_response(0x40340045));
  EXPECT_EQ(call(span_cli_set_dest_config, command_), 1u);
  EXPECT_EQ(printed(), "config failed: status 0x40340045\n");
  EXPECT_EQ(fake.calls("syserr2str"), "syserr2str(0x40340045)\n");
}

TEST_F(SetDestination, WithoutAQueueNothingIsSent) {
  command_.number(3).interface(kFc2).queue(0);
  EXPECT_EQ(call(span_cli_set_dest_config, command_), 1u);
  EXPECT_EQ(printed(),
            "Invalid param\n"
            "config failed: status 0x40340015\n");
  EXPECT_EQ(fake.calls(),
            "sprintf_if_index(0x1001000)\n"
            "syserr2str(0x40340015)\n");
}

TEST_F(SetDestination, WithoutMemoryNothingIsSentAndTheNextOneWorks) {
  command_.number(3).interface(kFc2);
  heap::fail_nth(1);
  EXPECT_EQ(call(span_cli_set_dest_config, command_), 1u);
  EXPECT_EQ(printed(),
            "error: status 0x1\n"
            "config failed: status 0x1\n");
  EXPECT_TRUE(fake.exchanges.empty());
  fake.expect_exchange(2000).gives(status_response(0));
  EXPECT_EQ(call(span_cli_set_dest_config, command_), 0u);
  EXPECT_EQ(heap::requests(), 2u);
}

// ---- Suspend ---------------------------------------------------------------------------------------------------------

class SuspendSession : public CliTest {
 protected:
  Command command_;
};

TEST_F(SuspendSession, PlainFormSuspends) {
  command_.number(3);
  fake.expect_exchange(2006).gives(status_response(0));
  EXPECT_EQ(call(span_cli_set_session_state, command_), 0u);
  EXPECT_TRUE(sent("01 02"));
  EXPECT_EQ(fake.calls(),
            "gettimeofday()\n"
            "vex_req_resp(2006, 3, [102 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n"
            "gettimeofday()\n");
}

TEST_F(SuspendSession, NoFormResumes) {
  command_.number(16).negated();
  fake.expect_exchange(2006).gives(status_response(0));
  EXPECT_EQ(call(span_cli_set_session_state, command_), 0u);
  EXPECT_TRUE(sent("02 0f"));
}

TEST_F(SuspendSession, OnlyTheNegatedValue1IsTheNoForm) {
  for (const uint32_t negated : {2u, 0x101u, 0xFFFFFF01u}) {
    Command command;
    command.number(1).negated(negated);
    fake.expect_exchange(2006).gives(status_response(0));
    EXPECT_EQ(call(span_cli_set_session_state, command), 0u);
    EXPECT_TRUE(sent("01 00")) << negated;
  }
}

TEST_F(SuspendSession, TakesTheLastToken) {
  command_.number(5).keyword(9).number(0x207);
  fake.expect_exchange(2006).gives(status_response(0));
  EXPECT_EQ(call(span_cli_set_session_state, command_), 0u);
  EXPECT_TRUE(sent("01 06"));
}

TEST_F(SuspendSession, AFailedExchangeIsToldInHexadecimal) {
  command_.number(3);
  fake.expect_exchange(2006).returns(0xFFFFFFFF).gives(status_response(0x40340044));
  EXPECT_EQ(call(span_cli_set_session_state, command_), 1u);
  EXPECT_EQ(printed(), "(ffffffff) command failed\n");
  EXPECT_EQ(fake.calls("syserr2str"), "");
}

TEST_F(SuspendSession, KeepsResult0WhenTheManagerRefuses) {
  command_.number(3);
  fake.expect_exchange(2006).gives(status_response(0x40340002));
  EXPECT_EQ(call(span_cli_set_session_state, command_), 0u);
  EXPECT_EQ(printed(), "status 0x40340002\n");
}

TEST_F(SuspendSession, WithoutAQueueNothingIsSent) {
  command_.number(3).queue(0);
  EXPECT_EQ(call(span_cli_set_session_state, command_), 1u);
  EXPECT_EQ(printed(),
            "error: Invalid param\n"
            "(40340015) command failed\n");
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(SuspendSession, WithoutMemoryNothingIsSentAndTheNextOneWorks) {
  command_.number(3);
  heap::fail_nth(1);
  EXPECT_EQ(call(span_cli_set_session_state, command_), 1u);
  EXPECT_EQ(printed(),
            "error:[1] status 0x1 \n"
            "(1) command failed\n");
  EXPECT_EQ(fake.calls(), "syserr2str(1)\n");
  fake.expect_exchange(2006).gives(status_response(0));
  EXPECT_EQ(call(span_cli_set_session_state, command_), 0u);
  EXPECT_EQ(heap::requests(), 2u);
}

}  // namespace
}  // namespace testkit
