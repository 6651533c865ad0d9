// What is printed of the result of a source configuration.
#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

constexpr char kBanner[] =
    "=================================================\n"
    "Configuration failed on the following interface(s)\n"
    "=================================================\n";

class SrcConfigResult : public CliTest {
 protected:
  using Printer = void(const void*);

  // What a printer prints of a result.
  std::string text_of(const SourceConfigResult& result, Printer* printer = span_print_set_src_config_info_res) {
    const Bytes response = result.response();
    run([&] { printer(response.data()); });
    return printed();
  }
};

// ---- Which printer ---------------------------------------------------------------------------------------------------

TEST_F(SrcConfigResult, SourceTypes1And2And7AreInterfaces) {
  for (const uint8_t type : Bytes{1, 2, 7}) {
    EXPECT_EQ(text_of({.source_type = type, .interfaces = {{kFc1, 5}}}), kBanner + std::string("fc1/1 status 0x5\n"));
  }
}

TEST_F(SrcConfigResult, SourceType3IsVsans) {
  EXPECT_EQ(text_of({.source_type = 3, .refused = {{1, 1}}}),
            "Following vsans are not allowed as a SPAN source\n"
            "1\n");
}

TEST_F(SrcConfigResult, SourceType5IsSilent) {
  const SourceConfigResult result = {.source_type = 5, .result = 7, .interfaces = {{kFc1, 5}}, .refused = {{1, 1}}};
  EXPECT_EQ(text_of(result), "");
  EXPECT_EQ(text_of(result, span_print_src_config_info_res_src_filter), "");
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(SrcConfigResult, SourceType6IsTheSessionFilter) {
  EXPECT_EQ(text_of({.source_type = 6, .result = 7, .refused = {{1, 1}}}),
            "Following vsans are not allowed as SPAN session filters\n"
            "1\n");
}

TEST_F(SrcConfigResult, OtherSourceTypesAreSilent) {
  for (const uint8_t type : Bytes{0, 4, 8, 255}) {
    EXPECT_EQ(text_of({.source_type = type, .result = 7, .interfaces = {{kFc1, 5}}, .refused = {{1, 1}}}), "")
        << int{type};
  }
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(SrcConfigResult, NoPrinterAsksForMemory) {
  for (const uint8_t type : Bytes{1, 3, 6}) {
    text_of({.source_type = type, .result = 7, .interfaces = {{kFc1, 5}}, .refused = {{0, 4095}}});
  }
  EXPECT_EQ(heap::requests(), 0u);
}

// ---- Interfaces ------------------------------------------------------------------------------------------------------

TEST_F(SrcConfigResult, AcceptedInterfacesPrintNothing) {
  EXPECT_EQ(text_of({.source_type = 1, .result = 7, .interfaces = {{kFc1, 0}, {kFc2, 0}}}), "");
}

TEST_F(SrcConfigResult, NoInterfacesPrintNothing) {
  EXPECT_EQ(text_of({.source_type = 1, .result = 7, .refused = {{1, 1}}}), "");
}

TEST_F(SrcConfigResult, TheBannerGoesBeforeTheFirstRefusedInterfaceOnly) {
  fake.status_texts[0x40340045] = "interface is a SPAN destination";
  EXPECT_EQ(text_of({.source_type = 1,
                     .interfaces = {{kFc1, 0}, {kFc2, 0x40340045}, {kInband, 0}, {kPortChannel, 0xFFFFFFFF}}}),
            "=================================================\n"
            "Configuration failed on the following interface(s)\n"
            "=================================================\n"
            "fc1/2 interface is a SPAN destination\n"
            "port-channel 3 status 0xffffffff\n");
}

TEST_F(SrcConfigResult, KeepsFormattingTheNameOfEveryInterface) {
  text_of({.source_type = 1, .interfaces = {{kFc1, 0}, {kFc2, 5}, {kInband, 0}}}, span_print_src_config_info_res_if);
  EXPECT_EQ(fake.calls(),
            "sprintf_if_index(0x1000000)\n"
            "sprintf_if_index(0x1001000)\n"
            "syserr2str(5)\n"
            "sprintf_if_index(0x6000000)\n");
}

TEST_F(SrcConfigResult, AnInterfaceWithoutANameLeavesItsPlaceEmpty) {
  EXPECT_EQ(text_of({.source_type = 1, .interfaces = {{kFc1, 5}, {kUnknownIf, 5}}}),
            kBanner + std::string("fc1/1 status 0x5\n status 0x5\n"));
}

TEST_F(SrcConfigResult, AThousandRefusedInterfacesAreAllTold) {
  Results results;
  std::string lines;
  for (int i = 0; i < 1000; ++i) {
    results.push_back({kPortChannel, 5});
    lines += "port-channel 3 status 0x5\n";
  }
  EXPECT_EQ(text_of({.source_type = 2, .interfaces = results}), kBanner + lines);
}

// ---- Source VSANs ----------------------------------------------------------------------------------------------------

TEST_F(SrcConfigResult, RefusedSourceVsansArePrintedWhateverTheOverallResult) {
  for (const uint32_t result : {0u, 5u, 0x4034003Bu, 0x4034003Cu}) {
    EXPECT_EQ(text_of({.source_type = 3, .result = result, .refused = {{1, 5}, {7, 7}, {10, 11}, {4095, 4095}}}),
              "Following vsans are not allowed as a SPAN source\n"
              "1-5,7,10-11,4095\n")
        << result;
  }
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(SrcConfigResult, TwoOverallResultsAreToldWithoutARefusedSourceVsan) {
  EXPECT_EQ(text_of({.source_type = 3, .result = 0x4034003B}), "status 0x4034003b\n");
  EXPECT_EQ(text_of({.source_type = 3, .result = 0x4034003C}), "status 0x4034003c\n");
}

TEST_F(SrcConfigResult, OtherOverallResultsWithoutARefusedSourceVsanAreSilent) {
  for (const uint32_t result : {0u, 1u, 0x4034003Au, 0x4034003Du, 0x40340046u}) {
    EXPECT_EQ(text_of({.source_type = 3, .result = result}, span_print_src_config_info_res_vsan), "") << result;
  }
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(SrcConfigResult, All4096VsansAreOneRange) {
  EXPECT_EQ(text_of({.source_type = 3, .refused = {{0, 4095}}}),
            "Following vsans are not allowed as a SPAN source\n"
            "0-4095\n");
}

TEST_F(SrcConfigResult, TheLongestRangeTextIsPrintedWhole) {
  Vsans vsans;
  std::string ranges;
  for (uint32_t vsan = 0; vsan < 4096; vsan += 3) {
    const uint32_t last = vsan == 4095 ? vsan : vsan + 1;
    vsans.push_back({vsan, last});
    ranges += (vsan == 0 ? "" : ",") + std::to_string(vsan);
    if (last != vsan) ranges += "-" + std::to_string(last);
  }
  EXPECT_EQ(ranges.size(), 12913u);
  EXPECT_EQ(text_of({.source_type = 3, .refused = vsans}),
            "Following vsans are not allowed as a SPAN source\n" + ranges + "\n");
  EXPECT_EQ(text_of({.source_type = 6, .result = 1, .refused = vsans}),
            "Following vsans are not allowed as SPAN session filters\n" + ranges + "\n");
}

// ---- Session filter --------------------------------------------------------------------------------------------------

TEST_F(SrcConfigResult, KeepsQuietAboutRefusedFilterVsansWhenTheOverallResultIs0) {
  EXPECT_EQ(text_of({.source_type = 6, .result = 0, .refused = {{1, 5}}}), "");
  EXPECT_EQ(text_of({.source_type = 6, .result = 0}), "");
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(SrcConfigResult, ARefusedSessionFilterWithoutVsansIsTwoLines) {
  fake.status_texts[0x40340002] = "session not present";
  EXPECT_EQ(text_of({.source_type = 6, .result = 0x40340002}),
            "Configuration failed for the session filter \n"
            "session not present\n");
  EXPECT_EQ(text_of({.source_type = 6, .result = 0x4034003B}, span_print_src_config_info_res_ssn_filter),
            "Configuration failed for the session filter \n"
            "status 0x4034003b\n");
}

TEST_F(SrcConfigResult, RefusedFilterVsansArePrintedWithoutTheOverallResult) {
  EXPECT_EQ(text_of({.source_type = 6, .result = 0x40340002, .refused = {{0, 0}, {2, 3}, {4094, 4095}}}),
            "Following vsans are not allowed as SPAN session filters\n"
            "0,2-3,4094-4095\n");
  EXPECT_EQ(fake.calls(), "");
}

}  // namespace
}  // namespace testkit
