// What of the bytes that are said to be a response is one, by the numbers of the protocol.
#include "host/manager/responses.h"

#include <array>
#include <random>

#include "tests/host/manager_support.h"

namespace manager_test {
namespace {

using manager::is_whole;

struct Response {
  uint32_t opcode;
  Bytes bytes;
};

uint64_t word_at(const Bytes& bytes, uint64_t at) { return at + 4 <= bytes.size() ? be32(bytes, at) : UINT32_MAX; }

// As many bytes as the counts say.
uint64_t length_of(uint32_t opcode, const Bytes& bytes) {
  switch (opcode) {
    case 2001: {
      const uint64_t tx = 1656 + 4 * word_at(bytes, 1652);
      return tx + 4 + 4 * word_at(bytes, tx);
    }
    case 2002:
      return 528 + 8 * word_at(bytes, 8);
    case 2005:
      return bytes.empty() ? 8 : 8 + 16 * uint64_t{bytes[0]};
    case 2014:
      return 8 + 8 * word_at(bytes, 4);
    default:
      return UINT64_MAX;
  }
}

class ManagerResponses : public ManagerTest {
 protected:
  // One to each request, where there are lists with several elements.
  std::vector<Response> responses() {
    std::vector<Response> all;
    const auto note = [&](uint32_t opcode, uint32_t kind, const Bytes& request) {
      all.push_back({opcode, ask(opcode, kind, request)});
    };
    note(2004, kChange, sessions_request(1, {0, 1}));
    note(2014, kChange, port_request({{fc(1, 1), fc(1, 4)}}, 1));
    note(2000, kChange, destination_request(0, 1, fc(1, 1)));
    note(2002, kChange, bytes_of({.direction = 1, .ranges = {{fc(2, 1), fc(2, 3)}}}));
    note(2002, kChange, bytes_of({.direction = 2, .ranges = {{fc(2, 4), fc(2, 5)}}}));
    note(2006, kChange, state_request(1, 0));
    note(2001, kQuery, {0, 0, 0, 0});
    note(2001, kQuery, {9, 0, 0, 0});
    note(2005, kQuery, {1, 0, 0, 0});
    note(2005, kQuery, {0, 2, 0, 0, 1, 0});
    note(2010, kQuery, source_info_request(fc(2, 1), 0, 1));
    note(2016, kQuery, tunnel_request(fc(2, 48)));
    note(2019, kQuery, global_request(0, 1));
    return all;
  }
};

TEST_F(ManagerResponses, OfTheManagerAreWhole) {
  for (const Response& each : responses()) EXPECT_TRUE(is_whole(each.opcode, each.bytes)) << each.opcode;
  EXPECT_TRUE(is_whole(2001, manager::standby_reply(2001).response));
}

TEST_F(ManagerResponses, AreNotWholeWhenAnythingIsMissing) {
  for (const Response& each : responses()) {
    for (size_t size = 0; size < each.bytes.size(); ++size) {
      EXPECT_FALSE(is_whole(each.opcode, std::span(each.bytes).first(size))) << each.opcode << ", " << size << " bytes";
    }
  }
}

TEST_F(ManagerResponses, HaveNothingBehindThem) {
  for (Response& each : responses()) {
    each.bytes.push_back(0);
    EXPECT_FALSE(is_whole(each.opcode, each.bytes)) << each.opcode;
  }
}

TEST_F(ManagerResponses, AreOfARequestThatIsKnown) {
  EXPECT_FALSE(is_whole(2003, Bytes(8)));
  EXPECT_FALSE(is_whole(0, {}));
}

// Words of all kinds at all places, counts among them.
TEST_F(ManagerResponses, AreWholeWhenTheirCountsFit) {
  constexpr auto kWords = std::to_array<uint32_t>(
      {0, 1, 2, 3, 5, 15, 0x3FFFFFFF, 0x40000000, 0x40000003, 0x7FFFFFFF, 0x80000000, UINT32_MAX});
  std::minstd_rand random(7);
  size_t fit = 0;
  size_t wrong = 0;
  for (const Response& each : responses()) {
    if (length_of(each.opcode, each.bytes) == UINT64_MAX) continue;
    for (size_t at = 0; at + 4 <= each.bytes.size(); ++at) {
      Bytes bytes = each.bytes;
      put_be32(bytes, at, kWords[random() % kWords.size()]);
      if (random() % 2 == 0) bytes.resize(random() % (bytes.size() + 32));
      const bool whole = is_whole(each.opcode, bytes);
      EXPECT_EQ(whole, length_of(each.opcode, bytes) == bytes.size()) << each.opcode << ", a word at " << at;
      ++(whole ? fit : wrong);
    }
  }
  EXPECT_GT(fit, 1000u);
  EXPECT_GT(wrong, 1000u);
}

}  // namespace
}  // namespace manager_test
