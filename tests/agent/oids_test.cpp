// Object identifiers of the agent, and that they are those of its MIB.
#include "host/agent/oids.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <string>

namespace {

using agent::Oid;

TEST(ObjectIdentifier, IsReadWithOrWithoutTheFirstDot) {
  EXPECT_EQ(agent::parse_oid("1.3.6.1"), Oid({1, 3, 6, 1}));
  EXPECT_EQ(agent::parse_oid(".1.3.6.1.4.1.4294967295"), Oid({1, 3, 6, 1, 4, 1, 4294967295}));
  EXPECT_EQ(agent::parse_oid("2.999"), Oid({2, 999}));
}

TEST(ObjectIdentifier, IsNothingElse) {
  for (const char* text : {"", ".", "1", "1.", "..1.3", "1..3", "1.3.", "1.3.x", "1.3 ", "1.3.-1", "1.3.4294967296",
                           "3.1", "1.40", "0.40", "enterprises.1"}) {
    EXPECT_EQ(agent::parse_oid(text), std::nullopt) << text;
  }
}

TEST(ObjectIdentifier, LeavesRoomForIndexes) {
  std::string text = "1.3";
  for (int arcs = 2; arcs < 64; ++arcs) text += ".1";
  EXPECT_TRUE(agent::parse_oid(text));
  EXPECT_FALSE(agent::parse_oid(text + ".1"));
}

TEST(ObjectIdentifier, IsTextAgain) {
  EXPECT_EQ(agent::text_of({1, 3, 6, 1, 4294967295}), "1.3.6.1.4294967295");
  EXPECT_EQ(agent::text_of({}), "");
}

TEST(Base, MovesEverything) {
  const Oid before = agent::scalar_of(agent::kDropsGroup, agent::kDropThreshold);
  agent::set_base({1, 3, 6, 1, 4, 1, 99});
  EXPECT_EQ(agent::column_of(agent::kSourceIfTable, agent::kSourceIfRowStatus, {2, 77, 1}),
            Oid({1, 3, 6, 1, 4, 1, 99, 1, 1, 2, 1, 3, 2, 77, 1}));
  EXPECT_EQ(agent::scalar_of(agent::kDropsGroup, agent::kDropThreshold), Oid({1, 3, 6, 1, 4, 1, 99, 1, 1, 5, 1, 0}));
  EXPECT_EQ(agent::notification(agent::kDropsRisingNotification), Oid({1, 3, 6, 1, 4, 1, 99, 1, 0, 4}));
  agent::set_base(*agent::parse_oid(agent::kDefaultBase));
  EXPECT_EQ(agent::scalar_of(agent::kDropsGroup, agent::kDropThreshold), before);
}

// ---- The module ------------------------------------------------------------------------------------------------------

// The object identifiers that a MIB module gives names to, as it writes them: { parent number }.
class Module {
 public:
  Module() {
    const auto root = std::filesystem::path(HOST_DEFAULT_CHASSIS).parent_path().parent_path();
    std::ifstream file(root / "agent/PORT-MIRROR-MIB.txt");
    const std::regex opening(R"(^(\w+) +(OBJECT|MODULE|NOTIFICATION)[- ].*)");
    const std::regex place(R"(.*::= \{ (\w+) (\d+) \}$)");
    std::string name;
    std::smatch match;
    for (std::string line; std::getline(file, line);) {
      if (std::regex_match(line, match, opening)) name = match[1];
      if (std::regex_match(line, match, place)) names_[name] = {match[1], std::stoul(match[2])};
    }
  }

  Oid operator[](const std::string& name) const {
    if (name == "enterprises") return {1, 3, 6, 1, 4, 1};
    const auto at = names_.find(name);
    if (at == names_.end()) return {};
    return agent::joined((*this)[at->second.first], {at->second.second});
  }

 private:
  std::map<std::string, std::pair<std::string, oid>> names_;
};

TEST(Module, LiesAtTheDefaultBase) {
  EXPECT_EQ(agent::text_of(Module()["portMirrorBase"]), agent::kDefaultBase);
  EXPECT_EQ(Module()["portMirrorMIB"], agent::below_mib({}));
}

TEST(Module, HasTheNumbersOfTheTables) {
  using namespace agent;
  const Module module;
  const auto column = [](oid table, oid number) { return column_of(table, number, {}); };
  EXPECT_EQ(module["portMirrorSession"], column(kSessionTable, kSessionNumber));
  EXPECT_EQ(module["portMirrorSessionDestination"], column(kSessionTable, kSessionDestination));
  EXPECT_EQ(module["portMirrorSessionAdminStatus"], column(kSessionTable, kSessionAdminStatus));
  EXPECT_EQ(module["portMirrorSessionOperStatus"], column(kSessionTable, kSessionOperStatus));
  EXPECT_EQ(module["portMirrorSessionReason"], column(kSessionTable, kSessionReason));
  EXPECT_EQ(module["portMirrorSessionRowStatus"], column(kSessionTable, kSessionRowStatus));
  EXPECT_EQ(module["portMirrorSourceIfIndex"], column(kSourceIfTable, kSourceIfIndex));
  EXPECT_EQ(module["portMirrorSourceIfDirection"], column(kSourceIfTable, kSourceIfDirection));
  EXPECT_EQ(module["portMirrorSourceIfRowStatus"], column(kSourceIfTable, kSourceIfRowStatus));
  EXPECT_EQ(module["portMirrorSourceVsans1k"], column(kSourceVsanTable, kVsanFirstQuarter));
  EXPECT_EQ(module["portMirrorSourceVsans4k"], column(kSourceVsanTable, kVsanLastQuarter));
  EXPECT_EQ(module["portMirrorFilterVsans1k"], column(kVsanFilterTable, kVsanFirstQuarter));
  EXPECT_EQ(module["portMirrorFilterVsans4k"], column(kVsanFilterTable, kVsanLastQuarter));
}

TEST(Module, HasTheNumbersOfScalarsAndNotifications) {
  using namespace agent;
  const Module module;
  EXPECT_EQ(joined(module["portMirrorDropThreshold"], {0}), scalar_of(kDropsGroup, kDropThreshold));
  EXPECT_EQ(joined(module["portMirrorDropModule"], {0}), scalar_of(kDropsGroup, kDropModule));
  EXPECT_EQ(joined(module["portMirrorDropCount"], {0}), scalar_of(kDropsGroup, kDropCount));
  EXPECT_EQ(module["portMirrorSessionActive"], notification(kSessionActiveNotification));
  EXPECT_EQ(module["portMirrorSessionInactive"], notification(kSessionInactiveNotification));
  EXPECT_EQ(module["portMirrorDropThresholdChanged"], notification(kThresholdChangedNotification));
  EXPECT_EQ(module["portMirrorDropsRising"], notification(kDropsRisingNotification));
}

}  // namespace
