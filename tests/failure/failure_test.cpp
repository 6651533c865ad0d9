// Every exported function, with each of its allocations and each answer of the platform failing in turn.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "tests/failure/scenario.h"
#include "tests/support/libspan_test.h"

namespace testkit::failure {

namespace {

Scenarios all_scenarios() {
  return joined({codec_scenarios(), request_scenarios(), interface_scenarios(), port_manager_scenarios(),
                 command_scenarios(), show_scenarios(), running_config_scenarios(), line_card_scenarios(),
                 diagnostics_scenarios(), snmp_session_scenarios(), snmp_source_scenarios(), snmp_vsan_scenarios()});
}

// How an answer failed.
struct Fault {
  uint32_t code = 0;
  bool handed = false;
};

void replace_all(std::string& text, const std::string& mark, const std::string& value) {
  for (size_t at = 0; (at = text.find(mark, at)) != std::string::npos; at += value.size()) {
    text.replace(at, mark.size(), value);
  }
}

std::string filled(std::string text, const Fault& fault) {
  char hex_digits[16];
  std::snprintf(hex_digits, sizeof hex_digits, "%x", fault.code);
  replace_all(text, "%d", std::to_string(static_cast<int32_t>(fault.code)));
  replace_all(text, "%x", hex_digits);
  replace_all(text, "%?", fault.handed ? "block" : "null");
  return text;
}

class Failures : public LibspanTest {
 protected:
  void SetUp() override {
    LibspanTest::SetUp();
    span_snmp_set_quill_q(&queue_);
    span_snmp_set_tarn(0x510067);
  }

  // Plays a scenario and compares all that its caller sees.
  void expect(const Scenario& scenario, const Outcome& expected, const Fault& fault = {}) {
    fake.traces.clear();
    const Seen seen = run(scenario.call);
    EXPECT_EQ(seen.result, expected.result.value_or(fault.code));
    EXPECT_EQ(printed(), filled(expected.printed, fault));
    EXPECT_EQ(seen.out, filled(expected.out, fault));
    if (!expected.trace.empty()) {
      EXPECT_EQ(fake.traces.empty() ? "" : fake.traces.back().text, filled(expected.trace, fault));
    }
    EXPECT_EQ(heap::sweep(), expected.left);
    fake.messages_left += expected.messages_left;
  }

  void expect_to_work(const Scenario& scenario) {
    platform_.fail(0);
    expect(scenario, scenario.works);
  }

  void expect_broken(const Scenario& scenario, size_t n, const Broken& broken, const Fault& fault) {
    Outcome expected = broken.outcome;
    if (fault.code == 0xFFFFFFFF && broken.all_ones) expected = *broken.all_ones;
    if (fault.handed && broken.handed) expected.printed = *broken.handed;
    platform_.fail(n, fault.code, fault.handed);
    expect(scenario, expected, fault);
  }

  uint32_t queue_ = kQueue;
  Switch platform_{fake};
};

// The functions that the shared object exports; its two tables are no functions.
std::set<std::string> exported_functions() {
  std::ifstream map(std::filesystem::path(__FILE__).parent_path() / "../../feature/span/lib/libspan.map");
  EXPECT_TRUE(map) << "libspan.map cannot be read";
  std::set<std::string> names;
  for (std::string line; std::getline(map, line);) {
    if (!line.starts_with("    ") || !line.ends_with(";") || line.ends_with("_tbl;") || line.ends_with("*;")) continue;
    names.insert(line.substr(4, line.size() - 5));
  }
  return names;
}

TEST_F(Failures, AreLookedAtForEveryExportedFunction) {
  std::set<std::string> tried;
  for (const Scenario& scenario : all_scenarios()) tried.insert(scenario.function);
  const std::set<std::string> exported = exported_functions();
  std::vector<std::string> on_one_side;
  std::ranges::set_symmetric_difference(tried, exported, std::back_inserter(on_one_side));
  EXPECT_EQ(on_one_side, std::vector<std::string>{});
  EXPECT_GT(exported.size(), 100u);
}

TEST_F(Failures, AreAsManyAsTheScenariosSay) {
  for (const Scenario& scenario : all_scenarios()) {
    SCOPED_TRACE(scenario.function);
    const size_t before = heap::requests();
    expect_to_work(scenario);
    EXPECT_EQ(heap::requests() - before, scenario.without_memory.size()) << "allocations";
    EXPECT_EQ(platform_.answers(), scenario.broken.size()) << "answers that can be a failure";
  }
}

TEST_F(Failures, OfAnAllocationAreToldAndLeaveNothingBehind) {
  for (const Scenario& scenario : all_scenarios()) {
    for (size_t n = 1; n <= scenario.without_memory.size(); ++n) {
      SCOPED_TRACE(scenario.function + ", allocation " + std::to_string(n));
      heap::fail_nth(n);
      expect(scenario, scenario.without_memory[n - 1], {.code = kNoMemory});
      expect_to_work(scenario);
    }
  }
}

TEST_F(Failures, OfThePlatformAreToldAndLeaveNothingBehind) {
  constexpr Fault kFaults[] = {{5, false}, {5, true}, {0xFFFFFFFF, false}, {0xFFFFFFFF, true}};
  for (const Scenario& scenario : all_scenarios()) {
    for (size_t n = 1; n <= scenario.broken.size(); ++n) {
      for (const Fault& fault : kFaults) {
        SCOPED_TRACE(scenario.function + ", answer " + std::to_string(n) + filled(": code %x, %?", fault));
        expect_broken(scenario, n, scenario.broken[n - 1], fault);
        expect_to_work(scenario);
      }
    }
  }
}

}  // namespace
}  // namespace testkit::failure
