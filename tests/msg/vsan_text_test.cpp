// Range text of a set of VSANs, and the time of day.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/msg/request_test.h"

namespace testkit {
namespace {

class VsanText : public LibspanTest {
 protected:
  // The text of a holder; the result must be its length.
  std::string text_of_holder(const Bytes& holder) {
    const int result = run([&] { return span_vsan_bitset_sprintf(holder.data()); });
    const std::string text = printed();
    EXPECT_EQ(result, static_cast<int>(text.size()));
    return text;
  }

  std::string text_of(const Vsans& vsans) { return text_of_holder(vsan_holder(vsans)); }
};

// Bit by bit.
std::string plain_text(const Bytes& holder) {
  const auto has = [&](int vsan) {
    return vsan < 4096 && (holder[static_cast<size_t>(4 + vsan / 8)] & 0x80 >> vsan % 8) != 0;
  };
  std::string text;
  for (int vsan = 0; vsan < 4096; ++vsan) {
    if (!has(vsan)) continue;
    const int first = vsan;
    while (has(vsan + 1)) ++vsan;
    text += (text.empty() ? "" : ",") + std::to_string(first);
    if (vsan != first) text += "-" + std::to_string(vsan);
  }
  return text;
}

TEST_F(VsanText, OfNoVsanIsEmpty) { EXPECT_EQ(text_of(Vsans{}), ""); }

TEST_F(VsanText, OfVsan0IsOneCharacter) { EXPECT_EQ(text_of({{0, 0}}), "0"); }

TEST_F(VsanText, JoinsRunsWithCommas) {
  EXPECT_EQ(text_of({{1, 3}, {7, 7}, {4095, 4095}}), "1-3,7,4095");
  EXPECT_EQ(text_of({{1, 5}, {7, 7}, {10, 12}}), "1-5,7,10-12");
}

TEST_F(VsanText, OfTwoNeighboursIsARange) { EXPECT_EQ(text_of({{4, 5}}), "4-5"); }

TEST_F(VsanText, OfAllVsansIsOneRange) { EXPECT_EQ(text_of({{0, 4095}}), "0-4095"); }

TEST_F(VsanText, RunsAcrossWords) {
  EXPECT_EQ(text_of({{31, 32}, {63, 64}, {100, 260}, {4094, 4095}}), "31-32,63-64,100-260,4094-4095");
}

TEST_F(VsanText, HasNoLeadingZeros) {
  EXPECT_EQ(text_of({{9, 9}, {99, 100}, {999, 1000}, {1001, 1001}, {2005, 2005}, {4000, 4009}}),
            "9,99-100,999-1001,2005,4000-4009");
}

TEST_F(VsanText, IsRightForEachSingleVsan) {
  for (uint32_t vsan = 0; vsan < 4096; ++vsan) EXPECT_EQ(text_of({{vsan, vsan}}), std::to_string(vsan));
}

TEST_F(VsanText, DoesNotReadTheLengthWord) {
  for (const uint32_t length : {0u, 1u, 0xFFFFFFFFu}) {
    EXPECT_EQ(text_of_holder(join({host32(length), vsan_bits({{511, 511}, {4095, 4095}})})), "511,4095");
  }
}

TEST_F(VsanText, OfEveryOtherVsanHas2048Runs) {
  const Bytes holder = join({host32(512), Bytes(512, 0xAA)});
  EXPECT_EQ(text_of_holder(holder), plain_text(holder));
}

TEST_F(VsanText, TheLongestHas12913Characters) {
  Vsans pairs = {{0, 0}};
  for (uint32_t vsan = 2; vsan < 4096; vsan += 3) pairs.emplace_back(vsan, vsan + 1);
  const Bytes holder = vsan_holder(pairs);
  const std::string text = text_of_holder(holder);
  EXPECT_EQ(text.size(), 12913u);
  EXPECT_EQ(text, plain_text(holder));
}

TEST_F(VsanText, IsRightForManySets) {
  std::mt19937 random(20);
  for (int round = 0; round < 300; ++round) {
    Bytes holder = host32(512);
    for (int i = 0; i < 512; ++i) {
      const unsigned density = round % 3 == 0 ? 0x11 : 0xFF;
      holder.push_back(static_cast<uint8_t>(round % 3 == 1 ? (random() | random()) : random() & density));
    }
    ASSERT_EQ(text_of_holder(holder), plain_text(holder));
  }
}

TEST_F(VsanText, NeedsNoMemory) {
  text_of({{1, 100}, {200, 200}});
  EXPECT_EQ(heap::requests(), 0u);
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(VsanText, FollowsWhatWasPrintedBefore) {
  const Bytes holder = vsan_holder({{1, 2}});
  run([&] {
    std::fputs("vsan ", stdout);
    span_vsan_bitset_sprintf(holder.data());
    std::puts(".");
  });
  EXPECT_EQ(printed(), "vsan 1-2.\n");
}

// ---- Time ------------------------------------------------------------------------------------------------------------

class PrintTime : public LibspanTest {};

TEST_F(PrintTime, ReadsTheTimeAndPrintsNothing) {
  EXPECT_EQ(run([] { return span_print_time(); }), 0);
  EXPECT_EQ(printed(), "");
  EXPECT_EQ(fake.calls(), "gettimeofday()\n");
}

TEST_F(PrintTime, ReturnsTheResultOfTheCall) {
  fake.time_result = -1;
  EXPECT_EQ(span_print_time(), -1);
}

}  // namespace
}  // namespace testkit
