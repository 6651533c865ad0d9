// What a change is called in the audit.
#include "host/manager/words.h"

#include "tests/daemon/daemon_support.h"

namespace {

using namespace manager_test;
using manager::describe;

std::string words(uint32_t opcode, const Bytes& payload) { return describe(daemon_test::lab(), opcode, payload); }

std::string source_words(const SourceRequest& request) { return words(2002, bytes_of(request)); }

TEST(Words, Destination) {
  EXPECT_EQ(words(2000, destination_request(2, 1, fc(1, 1))), "session 3: destination fc1/1");
  EXPECT_EQ(words(2000, destination_request(0, 2, tunnel(1))), "session 1: no destination rspan-tunnel 1");
  EXPECT_EQ(words(2000, destination_request(0, 1, 0x0100FFFF)), "session 1: destination 0x0100ffff");
}

TEST(Words, SourceInterfaces) {
  EXPECT_EQ(source_words({.ranges = {{fc(1, 3), fc(1, 4)}, {fc(2, 7), fc(2, 7)}}}),
            "session 1: source fc1/3-4, fc2/7 both");
  EXPECT_EQ(
      source_words(
          {.index = 15, .direction = 1, .operation = 8, .type = 2, .ranges = {{port_channel(1), port_channel(2)}}}),
      "session 16: no source port-channel 1-2 rx");
  EXPECT_EQ(source_words({.direction = 2, .ranges = {{fc(1, 1), fc(2, 1)}}}), "session 1: source fc1/1 - fc2/1 tx");
  EXPECT_EQ(source_words({.direction = 0}), "session 1: source no interface no direction");
}

TEST(Words, SourceFilters) {
  EXPECT_EQ(source_words({.direction = 1, .vsans = range(1, 20), .ranges = {{fc(1, 3), fc(1, 3)}}}),
            "session 1: source fc1/3 rx filter vsan 1-20");
  EXPECT_EQ(source_words({.direction = 1, .operation = 2, .vsans = {7, 9}, .ranges = {{fc(1, 3), fc(1, 3)}}}),
            "session 1: source fc1/3 rx no filter vsan 7,9");
}

TEST(Words, Vsans) {
  EXPECT_EQ(source_words({.operation = 4, .type = 3, .vsans = range(1, 10)}), "session 1: source vsan 1-10");
  EXPECT_EQ(source_words({.operation = 8, .type = 3, .vsans = {5}}), "session 1: no source vsan 5");
  EXPECT_EQ(source_words({.operation = 16, .type = 6, .vsans = {5}}), "session 1: filter vsan 5");
  EXPECT_EQ(source_words({.operation = 32, .type = 6, .vsans = {5}}), "session 1: no filter vsan 5");
}

TEST(Words, Sessions) {
  EXPECT_EQ(words(2004, sessions_request(1, {0, 2})), "create session 1, 3");
  EXPECT_EQ(words(2004, sessions_request(2, {15})), "delete session 16");
  EXPECT_EQ(words(2006, state_request(1, 0)), "session 1: suspend");
  EXPECT_EQ(words(2006, state_request(2, 4)), "session 5: resume");
}

TEST(Words, PortModesAndThreshold) {
  EXPECT_EQ(words(2014, port_request({{fc(1, 1), fc(1, 2)}}, 1)), "fc1/1-2: port mode span-destination");
  EXPECT_EQ(words(2014, port_request({{fc(1, 1), fc(1, 1)}}, 0)), "fc1/1: port mode normal");
  EXPECT_EQ(words(2014, port_request({{fc(1, 1), fc(1, 1)}}, 9)), "fc1/1: port mode 9");
  EXPECT_EQ(words(2019, global_request(2000, 0)), "drop threshold 2000");
  EXPECT_EQ(words(2019, global_request(0xFFFFFFFF, 0)), "drop threshold default");
}

TEST(Words, WhatMakesNoSenseIsToldByItsNumbers) {
  EXPECT_EQ(words(4711, {1, 2, 3}), "request 4711, 3 bytes");
  for (const uint32_t opcode : {2000, 2002, 2004, 2006, 2014, 2019}) {
    EXPECT_EQ(words(opcode, {1, 2, 3}), "request " + std::to_string(opcode) + ", 3 bytes");
  }
}

TEST(Words, LongOnesAreCutShort) {
  VsanList odd;
  for (uint32_t vsan = 1; vsan < 4096; vsan += 2) odd.insert(vsan);
  const std::string vsans = source_words({.operation = 4, .type = 3, .vsans = odd});
  EXPECT_EQ(vsans.size(), manager::kMaxWords);
  EXPECT_TRUE(vsans.ends_with("..."));
  const Ranges many(1024, {fc(1, 1), fc(1, 1)});
  EXPECT_EQ(source_words({.ranges = many}).size(), manager::kMaxWords);
}

// Counts that promise more than there is, and every other byte that may come.
TEST(Words, AnyBytesAreSafe) {
  daemon_test::Dice dice(1);
  for (int i = 0; i < 20'000; ++i) {
    Bytes bytes(dice.below(800));
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(dice.one_in(3) ? 0xFF : dice.below(256));
    EXPECT_LE(words(2000 + dice.below(20), bytes).size(), manager::kMaxWords);
  }
}

}  // namespace
