// What the manager makes of requests that are not what they should be.
#include <random>

#include "tests/host/manager_support.h"

namespace manager_test {
namespace {

struct Call {
  const char* name;
  uint32_t opcode;
  uint32_t kind;
  Bytes payload;
};

// One valid request for each opcode, and its variants.
std::vector<Call> valid_calls() {
  const Ranges two = {{fc(1, 1), fc(1, 3)}, {fc(2, 1), fc(2, 1)}};
  return {
      {"destination", 2000, kChange, destination_request(0, 1, fc(1, 1))},
      {"session", 2001, kQuery, {0, 0, 0, 0}},
      {"source interfaces", 2002, kChange, bytes_of({.ranges = two})},
      {"source VSANs", 2002, kChange, bytes_of({.direction = 1, .operation = 4, .type = 3, .vsans = {1}})},
      {"session filter", 2002, kChange, bytes_of({.operation = 16, .type = 6, .vsans = {1}})},
      {"create", 2004, kChange, sessions_request(1, {0, 1, 2})},
      {"brief", 2005, kQuery, {0, 3, 0, 0, 0, 1, 2}},
      {"brief, all", 2005, kQuery, {1, 0, 0, 0}},
      {"suspend", 2006, kChange, state_request(1, 0)},
      {"source interface", 2010, kQuery, source_info_request(fc(1, 1), 0, 1)},
      {"port mode", 2014, kChange, port_request(two, 1)},
      {"tunnel", 2016, kQuery, tunnel_request(fc(2, 48))},
      {"threshold", 2019, kQuery, global_request(0, 1)},
      {"set threshold", 2019, kChange, global_request(5, 0)},
  };
}

class ManagerRequest : public ManagerTest {
 protected:
  void expect_no_answer(uint32_t opcode, uint32_t kind, const Bytes& payload, uint32_t status) {
    const manager::Reply reply = manager_.handle(opcode, kind, payload);
    EXPECT_EQ(reply.status, status);
    EXPECT_TRUE(reply.response.empty());
    EXPECT_NE(reply.result, 0u);
  }

  // Everything that the manager tells, for comparing.
  std::vector<Bytes> everything() {
    std::vector<Bytes> all;
    for (uint8_t i = 0; i < 16; ++i) all.push_back(ask(2001, kQuery, {i, 0, 0, 0}));
    all.push_back(ask(2019, kQuery, global_request(0, 1)));
    for (const uint32_t port : {fc(1, 1), fc(1, 2), fc(2, 1), fc(2, 48)}) {
      all.push_back({static_cast<uint8_t>(manager_.port_mode(port))});
    }
    return all;
  }
};

TEST_F(ManagerRequest, EachValidRequestIsAnswered) {
  create({0});
  for (const Call& call : valid_calls()) {
    const manager::Reply reply = manager_.handle(call.opcode, call.kind, call.payload);
    EXPECT_EQ(reply.status, 0u) << call.name;
    EXPECT_FALSE(reply.response.empty()) << call.name;
  }
}

TEST_F(ManagerRequest, EveryOtherLengthIsMalformedAndChangesNothing) {
  create({0});
  const auto before = everything();
  for (const Call& call : valid_calls()) {
    for (size_t length = 0; length < call.payload.size(); ++length) {
      SCOPED_TRACE(std::string(call.name) + ", " + std::to_string(length) + " bytes");
      expect_no_answer(call.opcode, call.kind, Bytes(call.payload.begin(), call.payload.begin() + long(length)),
                       manager::kMalformed);
    }
    SCOPED_TRACE(call.name);
    Bytes longer = call.payload;
    longer.push_back(0);
    expect_no_answer(call.opcode, call.kind, longer, manager::kMalformed);
  }
  EXPECT_EQ(everything(), before);
}

TEST_F(ManagerRequest, UnknownOpcodesHaveNoAnswer) {
  for (const uint32_t opcode : {0u, 1999u, 2003u, 2007u, 2009u, 2015u, 2018u, 2020u, 0xFFFFFFFFu}) {
    expect_no_answer(opcode, kQuery, {0, 0, 0, 0}, manager::kUnknownOpcode);
  }
}

TEST_F(ManagerRequest, AnotherKindHasNoAnswer) {
  create({0});
  const auto before = everything();
  for (const Call& call : valid_calls()) {
    SCOPED_TRACE(call.name);
    for (const uint32_t kind : {0u, 2u, 4u, call.kind == kQuery ? kChange : kQuery, 0xFFFFFFFFu}) {
      expect_no_answer(call.opcode, kind, call.payload, manager::kWrongKind);
    }
  }
  EXPECT_EQ(everything(), before);
}

TEST_F(ManagerRequest, CountsBeyondThePayloadAreMalformed) {
  Bytes request = bytes_of({.ranges = {{fc(1, 1), fc(1, 1)}}});
  for (const uint32_t count : {0u, 2u, 0x00010000u, 0x20000001u, 0x80000001u, 0xFFFFFFFFu}) {
    put_be32(request, 620, count);
    expect_no_answer(2002, kChange, request, manager::kMalformed);
  }
  Bytes ports = port_request({{fc(1, 1), fc(1, 1)}}, 1);
  for (const uint8_t count : Bytes{0, 2, 255}) {
    ports[101] = count;
    expect_no_answer(2014, kChange, ports, manager::kMalformed);
  }
  ports[100] = ports[101] = 0xFF;
  expect_no_answer(2014, kChange, ports, manager::kMalformed);
  Bytes sessions = sessions_request(1, {0});
  sessions[101] = 255;
  expect_no_answer(2004, kChange, sessions, manager::kMalformed);
  expect_no_answer(2005, kQuery, {0, 255, 0, 0, 1}, manager::kMalformed);
}

TEST_F(ManagerRequest, CountWhoseBytesWrapAroundIsMalformed) {
  Bytes request = bytes_of({});
  put_be32(request, 620, 0x20000000);  // times 8 is 2 to the 32nd
  expect_no_answer(2002, kChange, request, manager::kMalformed);
}

TEST_F(ManagerRequest, BitmapLengthIsInHostOrderAnd512) {
  Bytes request = bytes_of({});
  const uint32_t swapped = 0x00020000;
  for (const uint32_t length : {0u, 511u, 513u, swapped, 0xFFFFFFFFu}) {
    std::memcpy(&request[104], &length, 4);
    expect_no_answer(2002, kChange, request, manager::kMalformed);
  }
}

TEST_F(ManagerRequest, ConfigurationEntryHasAValueOf4Bytes) {
  Bytes request = port_request({{fc(1, 1), fc(1, 1)}}, 1);
  for (const uint8_t length : Bytes{0, 3, 5, 255}) {
    request[111] = length;
    expect_no_answer(2014, kChange, request, manager::kMalformed);
  }
}

TEST_F(ManagerRequest, MoreRangesThanTheLimitAreRefusedAsAWhole) {
  create({0});
  const Ranges many(1025, {fc(1, 1), fc(1, 1)});
  const SourceResult result = sources({.ranges = many});
  EXPECT_EQ(result.overall, manager::kTooManyRanges);
  EXPECT_TRUE(result.interfaces.empty());
  EXPECT_EQ(result.told, manager::kTooManyRanges);
  const Bytes answer = ask(2014, kChange, port_request(many, 1));
  EXPECT_EQ(be32(answer, 0), manager::kTooManyRanges);
  EXPECT_EQ(be32(answer, 4), 0u);
  EXPECT_EQ(sources({.ranges = Ranges(1024, {fc(1, 1), fc(1, 1)})}).interfaces, (Results{{fc(1, 1), 0}}));
}

// Random bytes, and valid requests with some bytes changed: an answer or a status, never both, never neither.
TEST_F(ManagerRequest, AnyBytesHaveAnAnswerOrAStatus) {
  create({0, 1});
  std::mt19937 random(20);
  const auto byte = [&] { return static_cast<uint8_t>(random()); };
  const std::vector<Call> calls = valid_calls();
  uint32_t answered = 0;
  for (int round = 0; round < 20000; ++round) {
    const Call& call = calls[random() % calls.size()];
    Bytes payload = call.payload;
    if (round % 4 == 0) {
      payload.resize(random() % 700);
      for (uint8_t& each : payload) each = byte();
    } else {
      for (uint32_t i = 0; i <= random() % 4; ++i) payload[random() % payload.size()] = byte();
    }
    const manager::Reply reply = manager_.handle(call.opcode, call.kind, payload);
    ASSERT_NE(reply.status == 0, reply.response.empty()) << call.name;
    answered += reply.status == 0;
  }
  EXPECT_GT(answered, 1000u);
  EXPECT_LT(answered, 19000u);
}

TEST(ManagerReasons, CodesAreOfTheFamilyAndDiffer) {
  std::set<uint32_t> codes;
  std::set<std::string> names;
  for (const manager::Reason& reason : manager::kReasons) {
    EXPECT_EQ(reason.code >> 16, 0x4034u) << reason.name;
    EXPECT_TRUE(codes.insert(reason.code).second) << reason.name;
    EXPECT_TRUE(names.insert(reason.name).second) << reason.name;
    EXPECT_GT(std::strlen(reason.text), 10u) << reason.name;
  }
}

TEST(ManagerReasons, CodesAreNotThoseOfTheLibrary) {
  for (const manager::Reason& reason : manager::kReasons) {
    for (const uint32_t taken : {0x40340000, 0x40340002, 0x40340004, 0x40340008, 0x40340015, 0x4034002B, 0x40340035,
                                 0x40340036, 0x40340044, 0x40340045, 0x40340046, 0x40340048}) {
      EXPECT_NE(reason.code, taken) << reason.name;
    }
  }
}

}  // namespace
}  // namespace manager_test
