// Pieces of screens: blanks, lines of VSANs, names of traffic.
#include <array>

#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

class ShowPieces : public CliTest {
 protected:
  std::string blanks(uint32_t count) {
    run([&] { span_print_sp(count); });
    return printed();
  }

  std::string vsan_lines(const char* prefix, const Vsans& vsans) {
    const Bytes holder = vsan_holder(vsans);
    run([&] { span_print_vsan_cfg(prefix, holder.data()); });
    return printed();
  }
};

TEST_F(ShowPieces, BlanksAreCounted) {
  EXPECT_EQ(blanks(0), "");
  EXPECT_EQ(blanks(1), " ");
  EXPECT_EQ(blanks(16), "                ");
  EXPECT_EQ(blanks(1000), std::string(1000, ' '));
}

// ---- Lines of VSANs --------------------------------------------------------------------------------------------------

TEST_F(ShowPieces, EachVsanHasItsLineAscending) {
  EXPECT_EQ(vsan_lines("  source vsan", {{4095, 4095}, {0, 1}, {10, 10}, {100, 100}, {1000, 1000}}),
            "  source vsan 0\n"
            "  source vsan 1\n"
            "  source vsan 10\n"
            "  source vsan 100\n"
            "  source vsan 1000\n"
            "  source vsan 4095\n");
}

TEST_F(ShowPieces, NoVsanLeavesThePrefixAlone) { EXPECT_EQ(vsan_lines("  source vsan", {}), "  source vsan\n"); }

TEST_F(ShowPieces, ThePrefixIsNoFormat) {
  EXPECT_EQ(vsan_lines("%s %n", {{7, 7}}), "%s %n 7\n");
  EXPECT_EQ(vsan_lines("%s %n", {}), "%s %n\n");
}

TEST_F(ShowPieces, AnEmptyPrefixLeavesTheBlank) {
  EXPECT_EQ(vsan_lines("", {{7, 7}}), " 7\n");
  EXPECT_EQ(vsan_lines("", {}), "\n");
}

TEST_F(ShowPieces, TheLengthWordOfTheHolderIsNotRead) {
  const Bytes holder = join({host32(0), vsan_bits({{7, 7}})});
  run([&] { span_print_vsan_cfg("vsan", holder.data()); });
  EXPECT_EQ(printed(), "vsan 7\n");
}

TEST_F(ShowPieces, ASingleVsanIsFoundWhereverItIs) {
  for (const uint32_t vsan : {0u, 1u, 30u, 31u, 32u, 33u, 62u, 63u, 64u, 65u, 4063u, 4064u, 4094u, 4095u}) {
    EXPECT_EQ(vsan_lines("vsan", {{vsan, vsan}}), "vsan " + std::to_string(vsan) + "\n");
  }
}

TEST_F(ShowPieces, All4096VsansHaveTheirLine) {
  std::string lines;
  for (int vsan = 0; vsan < 4096; ++vsan) lines += "  source vsan " + std::to_string(vsan) + "\n";
  EXPECT_EQ(vsan_lines("  source vsan", {{0, 4095}}), lines);
  EXPECT_EQ(heap::requests(), 0u);
}

TEST_F(ShowPieces, APrefixOfAnyLengthIsPrintedWhole) {
  const std::string prefix(20000, 'x');
  EXPECT_EQ(vsan_lines(prefix.c_str(), {{8, 9}}), prefix + " 8\n" + prefix + " 9\n");
}

// ---- Names of traffic ------------------------------------------------------------------------------------------------

// Flags of target, mgmt and initiator, in the order in which they lie, and what becomes of them.
struct NamesCase {
  Bytes flags;
  std::string appended;
  std::string last;
  int length;
};

const std::array kNamesCases = {
    NamesCase{{0, 0, 0}, "", "", 0},
    NamesCase{{1, 0, 0}, "target", "target", 6},
    NamesCase{{0, 1, 0}, "mgmt", "mgmt", 4},
    NamesCase{{0, 0, 1}, "initiator", "initiator", 9},
    NamesCase{{1, 1, 0}, "targetmgmt", "mgmt", 10},
    NamesCase{{1, 0, 1}, "targetinitiator", "initiator", 15},
    NamesCase{{0, 1, 1}, "initiatormgmt", "mgmt", 13},
    NamesCase{{255, 2, 128}, "targetinitiatormgmt", "mgmt", 19},
};

// The flags behind four bytes that nobody reads.
Bytes traffic(const Bytes& flags) { return join({Bytes(4, 0xEE), flags}); }

TEST_F(ShowPieces, NamesAreAppendedAsTargetInitiatorMgmt) {
  for (const NamesCase& names : kNamesCases) {
    char text[64] = "swap ";
    EXPECT_EQ(strcat_span_ks_info(text, traffic(names.flags).data()), names.length);
    EXPECT_EQ(text, "swap " + names.appended);
  }
}

TEST_F(ShowPieces, NamesAreAppendedToAnEmptyText) {
  char text[20] = "";
  EXPECT_EQ(strcat_span_ks_info(text, traffic({1, 1, 1}).data()), 19);
  EXPECT_STREQ(text, "targetinitiatormgmt");
}

TEST_F(ShowPieces, KeepsTheLastNameOnlyAndTheSumOfTheLengths) {
  for (const NamesCase& names : kNamesCases) {
    char text[64] = "";
    EXPECT_EQ(sprintf_ks_info(text, traffic(names.flags).data()), names.length);
    EXPECT_EQ(text, names.last);
  }
}

TEST_F(ShowPieces, NamesAreWrittenOverTheStartOfTheText) {
  char text[32] = "something older";
  EXPECT_EQ(sprintf_ks_info(text, traffic({0, 0, 0}).data()), 0);
  EXPECT_STREQ(text, "something older");
  EXPECT_EQ(sprintf_ks_info(text, traffic({0, 1, 0}).data()), 4);
  EXPECT_STREQ(text, "mgmt");
}

}  // namespace
}  // namespace testkit
