// What the processes at an address answer, message by message.
#include "host/nodes/node.h"

#include <cerrno>
#include <optional>

#include "tests/nodes/lab.h"

namespace nodes_test {
namespace {

using transport::Bytes;
using transport::Failed;
using transport::Message;
using transport::Type;

// Request for the counter of module 12, and its answer but for the number.
const Bytes kCounterRequest = {0, 0, 0, 24, 0, 1, 0, 4, 0, 0, 0, 0, 0, 2, 0, 4, 0, 0, 0, 11, 0, 3, 0, 4, 0, 0, 0, 1};
const Bytes kCounterAnswer = {0, 0, 0, 16, 0, 2, 0, 4, 0, 0, 0, 11, 0, 4, 0, 4};

Bytes sent(uint32_t service, uint32_t opcode, Bytes payload) {
  return transport::encode(transport::Send{service, opcode, std::move(payload)});
}

// Nothing when there is no answer.
std::optional<Message> answer_of(const transport::Handler& node, Type type, Bytes body) {
  std::optional<Message> answer;
  node({}, {type, 77, std::move(body)}, [&](Type kind, Bytes bytes) {
    EXPECT_FALSE(answer) << "a second answer";
    answer = {kind, 77, std::move(bytes)};
  });
  return answer;
}

Failed failure_of(const transport::Handler& node, Type type, Bytes body) {
  const auto answer = answer_of(node, type, std::move(body));
  if (!answer || answer->type != Type::kFailed) return {0, "did not fail"};
  return transport::decode<Failed>(answer->body).value_or(Failed{0, "malformed"});
}

class NodeOfALineCard : public testing::Test {
 protected:
  const chassis::Module& module(uint32_t number) { return *lab().find_module(number); }

  uint64_t now_ = 0;
  nodes::Cards cards_{[this] { return now_; }};
  transport::Handler node_ = nodes::line_card(cards_, module(12));
};

TEST_F(NodeOfALineCard, TellsItsCounterAsItIsNow) {
  cards_.set_rates({{1, 9000}, {12, 4000 + 0x010203}}, 1);
  now_ = 1001;
  const auto answer = answer_of(node_, Type::kSend, sent(935, 2020, kCounterRequest));
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->type, Type::kAnswer);
  Bytes expected = kCounterAnswer;
  const uint32_t drops = cards_.drops(12);
  EXPECT_EQ(drops, 0x010203u * 1001 / 1000 - 1);
  for (int shift = 24; shift >= 0; shift -= 8) expected.push_back(static_cast<uint8_t>(drops >> shift));
  EXPECT_EQ(answer->body, expected);
}

TEST_F(NodeOfALineCard, HasNoCounterOfAnotherModule) {
  Bytes request = kCounterRequest;
  request[19] = 0;
  const auto answer = answer_of(node_, Type::kSend, sent(935, 2020, request));
  ASSERT_TRUE(answer);
  EXPECT_EQ(*answer, (Message{Type::kAnswer, 77, {0, 0, 0, 0}}));
}

TEST_F(NodeOfALineCard, FailsAtOnceForAServiceThatIsNotThere) {
  EXPECT_EQ(failure_of(node_, Type::kSend, sent(100, 1, {12})), (Failed{ECONNREFUSED, "there is no service 100 here"}));
  EXPECT_EQ(failure_of(node_, Type::kSend, sent(936, 2020, kCounterRequest)).error, uint32_t{ECONNREFUSED});
}

TEST_F(NodeOfALineCard, DoesNotAnswerWhatItsServiceDoesNotUnderstand) {
  EXPECT_FALSE(answer_of(node_, Type::kSend, sent(935, 2021, kCounterRequest)));
  EXPECT_FALSE(answer_of(node_, Type::kSend, sent(935, 2020, {})));
  for (size_t length = 0; length < kCounterRequest.size(); ++length) {
    const Bytes cut(kCounterRequest.begin(), kCounterRequest.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_FALSE(answer_of(node_, Type::kSend, sent(935, 2020, cut))) << length;
  }
}

TEST_F(NodeOfALineCard, RefusesAMessageThatIsNotWhole) {
  const Bytes whole = sent(935, 2020, kCounterRequest);
  for (size_t length = 0; length < whole.size(); ++length) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_EQ(failure_of(node_, Type::kSend, cut), (Failed{EPROTO, "malformed message"})) << length;
  }
}

TEST_F(NodeOfALineCard, RefusesWhatIsForAManager) {
  for (const Type type : {Type::kRequest, Type::kDump, Type::kRoles, Type::kWatch, Type::kTakeOver}) {
    EXPECT_EQ(failure_of(node_, type, sent(935, 2020, kCounterRequest)),
              (Failed{EOPNOTSUPP, "no message for a module"}));
  }
}

TEST_F(NodeOfALineCard, NeverAnswersWhenItIsSilent) {
  const transport::Handler silent = nodes::line_card(cards_, module(2));
  Bytes request = kCounterRequest;
  request[19] = 1;
  ASSERT_TRUE(answer_of(nodes::line_card(cards_, module(1)), Type::kSend, sent(935, 2020, request)));
  EXPECT_FALSE(answer_of(silent, Type::kSend, sent(935, 2020, request)));
  EXPECT_FALSE(answer_of(silent, Type::kSend, sent(1, 1, {})));
  EXPECT_FALSE(answer_of(silent, Type::kRequest, {}));
}

TEST(NodeOfTheSupervisor, TellsTheModules) {
  const transport::Handler node = nodes::supervisor(lab());
  const auto answer = answer_of(node, Type::kSend, sent(100, 1, {12}));
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->type, Type::kAnswer);
  ASSERT_EQ(answer->body.size(), 12u * 458);
  EXPECT_EQ(answer->body[32], 43);
  EXPECT_EQ(answer->body[11 * 458 + 32], 163);
}

TEST(NodeOfTheSupervisor, HasNoCounter) {
  const transport::Handler node = nodes::supervisor(lab());
  EXPECT_EQ(failure_of(node, Type::kSend, sent(935, 2020, kCounterRequest)).error, uint32_t{ECONNREFUSED});
  EXPECT_FALSE(answer_of(node, Type::kSend, sent(100, 2, {12})));
  EXPECT_FALSE(answer_of(node, Type::kSend, sent(100, 1, {})));
}

}  // namespace
}  // namespace nodes_test
