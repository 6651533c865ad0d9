// The bodies of messages: there and back, and nothing else than exactly one of them is taken.
#include "host/transport/message.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace {

using namespace transport;
using Random = std::independent_bits_engine<std::mt19937, 32, uint32_t>;

const Bytes kBlock{0, 1, 254, 255};

// Every kind of body, with every kind of field empty and full.
template <class T>
std::vector<T> samples();

template <>
std::vector<Hello> samples() {
  return {{""}, {"spansh"}, {std::string("a\0b", 3)}};
}
template <>
std::vector<Welcome> samples() {
  return {{}, {Role::kStandby, "lab.toml", "name = \"lab\"\n"}, {Role::kNode, "", ""}};
}
template <>
std::vector<Request> samples() {
  return {
      {}, {2000, 1, "oper", "console", kBlock}, {0xfedcba98, 2, std::nullopt, "", {}}, {1, 2, "", std::nullopt, {}}};
}
template <>
std::vector<Reply> samples() {
  return {{}, {0x4034002b, 0x40340160, kBlock}};
}
template <>
std::vector<DumpRequest> samples() {
  return {{}, {"sessions", kBlock}};
}
template <>
std::vector<Dumped> samples() {
  return {{}, {7, "line 1\nline 2\n"}};
}
template <>
std::vector<RoleList> samples() {
  return {{}, {{{0x1001, 2, true}}}, {{{1, 2, false}, {0xffffffff, 0, true}, {1, 2, false}}}};
}
template <>
std::vector<Watch> samples() {
  return {{}, {0x0123456789abcdef}};
}
template <>
std::vector<Rates> samples() {
  return {{}, {1, 2, {{3, 0xfedcba9876543210}}}, {~uint64_t{0}, ~0u, {{0, 0}, {1, 1}, {~0u, ~uint64_t{0}}}}};
}
template <>
std::vector<Send> samples() {
  return {{}, {1, 2, kBlock}};
}
template <>
std::vector<Failed> samples() {
  return {{}, {110, "too late"}};
}

template <class T>
class Body : public testing::Test {};

using Bodies =
    testing::Types<Hello, Welcome, Request, Reply, DumpRequest, Dumped, RoleList, Watch, Rates, Send, Failed>;
TYPED_TEST_SUITE(Body, Bodies);

TYPED_TEST(Body, ComesBackAsItWent) {
  for (const TypeParam& sample : samples<TypeParam>()) EXPECT_EQ(decode<TypeParam>(encode(sample)), sample);
}

TYPED_TEST(Body, IsNotTakenFromLess) {
  for (const TypeParam& sample : samples<TypeParam>()) {
    const Bytes bytes = encode(sample);
    for (size_t length = 0; length < bytes.size(); ++length) {
      const Bytes less(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(length));
      EXPECT_FALSE(decode<TypeParam>(less)) << length << " of " << bytes.size();
    }
  }
}

TYPED_TEST(Body, IsNotTakenFromMore) {
  for (const TypeParam& sample : samples<TypeParam>()) {
    for (size_t more = 1; more <= 16; ++more) {
      Bytes bytes = encode(sample);
      bytes.resize(bytes.size() + more);
      EXPECT_FALSE(decode<TypeParam>(bytes)) << more;
    }
  }
}

// Bytes that are taken are the only ones for what they say; a count that promises too much is seen before it is
// believed.
TYPED_TEST(Body, HasOneFormOnly) {
  Random random(20);
  int taken = 0;
  for (int round = 0; round < 3000; ++round) {
    const auto all = samples<TypeParam>();
    Bytes bytes = encode(all[random() % all.size()]);
    for (uint32_t changes = random() % 3; changes > 0 && !bytes.empty(); --changes) {
      bytes[random() % bytes.size()] = static_cast<uint8_t>(random() % 4 == 0 ? 255 : random() % 4);
    }
    const auto body = decode<TypeParam>(bytes);
    if (!body) continue;
    ++taken;
    EXPECT_EQ(encode(*body), bytes);
  }
  EXPECT_GT(taken, 100);
}

TYPED_TEST(Body, SurvivesAnyBytes) {
  Random random(21);
  for (int round = 0; round < 2000; ++round) {
    Bytes bytes(random() % 64);
    for (uint8_t& each : bytes) each = static_cast<uint8_t>(random() % 3 == 0 ? random() : 0);
    const auto body = decode<TypeParam>(bytes);
    if (!body) continue;
    EXPECT_EQ(encode(*body), bytes);
  }
}

TEST(Bodies, HaveTheseBytes) {
  EXPECT_EQ(encode(Hello{"ab"}), (Bytes{0, 0, 0, 2, 'a', 'b'}));
  EXPECT_EQ(encode(Welcome{Role::kStandby, "n", ""}), (Bytes{1, 0, 0, 0, 1, 'n', 0, 0, 0, 0}));
  EXPECT_EQ(encode(Request{0x7d0, 2, "a", std::nullopt, {9}}),
            (Bytes{0, 0, 7, 0xd0, 0, 0, 0, 2, 1, 0, 0, 0, 1, 'a', 0, 0, 0, 0, 1, 9}));
  EXPECT_EQ(encode(Reply{0x4034002b, 1, {}}), (Bytes{0x40, 0x34, 0, 0x2b, 0, 0, 0, 1, 0, 0, 0, 0}));
  EXPECT_EQ(encode(DumpRequest{"f", {1}}), (Bytes{0, 0, 0, 1, 'f', 0, 0, 0, 1, 1}));
  EXPECT_EQ(encode(Dumped{1, "t"}), (Bytes{0, 0, 0, 1, 0, 0, 0, 1, 't'}));
  EXPECT_EQ(encode(RoleList{{{0x1001, 2, true}}}), (Bytes{0, 0, 0, 1, 0, 0, 0x10, 1, 0, 0, 0, 2, 1}));
  EXPECT_EQ(encode(Watch{0x0102030405060708}), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(encode(Rates{1, 2, {{3, 4}}}),
            (Bytes{0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 1, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 4}));
  EXPECT_EQ(encode(Send{1, 2, {3}}), (Bytes{0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 1, 3}));
  EXPECT_EQ(encode(Failed{110, "t"}), (Bytes{0, 0, 0, 110, 0, 0, 0, 1, 't'}));
}

TEST(Bodies, AreRefusedForAnUnknownRole) {
  EXPECT_TRUE(decode<Welcome>(Bytes{2, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_FALSE(decode<Welcome>(Bytes{3, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(Bodies, AreRefusedForAFlagThatIsNeitherYesNorNo) {
  EXPECT_TRUE(decode<RoleList>(Bytes{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 1}));
  EXPECT_FALSE(decode<RoleList>(Bytes{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 2}));
}

TEST(Bodies, AreRefusedForModulesTwiceOrOutOfOrder) {
  const Bytes good = encode(Rates{1, 2, {{3, 4}, {5, 6}}});
  ASSERT_TRUE(decode<Rates>(good));
  Bytes bytes = good;
  bytes[31] = 3;  // 3 and 3
  EXPECT_FALSE(decode<Rates>(bytes));
  bytes[31] = 2;  // 3, then 2
  EXPECT_FALSE(decode<Rates>(bytes));
}

TEST(Bodies, AreRefusedForCountsThatPromiseTooMuch) {
  EXPECT_FALSE(decode<Hello>(Bytes{255, 255, 255, 255, 'a'}));
  EXPECT_FALSE(decode<RoleList>(Bytes{255, 255, 255, 255, 0, 0, 0, 1, 0, 0, 0, 0, 1}));
  EXPECT_FALSE(decode<Rates>(Bytes{0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 2, 0x15, 0x55, 0x55, 0x56, 0, 0, 0, 3}));
}

}  // namespace
