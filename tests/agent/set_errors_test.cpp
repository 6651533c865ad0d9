// The table of errors that SETs come to, beside what the library and the manager can say, and beside its page.
#include "host/agent/set_errors.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include "platform/syserr.h"

namespace {

using agent::At;

const std::map<int, std::string> kNames = {
    {SNMP_ERR_GENERR, "genErr"},
    {SNMP_ERR_WRONGVALUE, "wrongValue"},
    {SNMP_ERR_NOCREATION, "noCreation"},
    {SNMP_ERR_INCONSISTENTVALUE, "inconsistentValue"},
    {SNMP_ERR_INCONSISTENTNAME, "inconsistentName"},
    {SNMP_ERR_RESOURCEUNAVAILABLE, "resourceUnavailable"},
    {SNMP_ERR_COMMITFAILED, "commitFailed"},
    {SNMP_ERR_AUTHORIZATIONERROR, "authorizationError"},
};

TEST(SetErrors, AreThoseOfTheTable) {
  EXPECT_EQ(agent::set_error(SPAN_E_SNMP_WRONG_IF, At::kValue), SNMP_ERR_WRONGVALUE);
  EXPECT_EQ(agent::set_error(SPAN_E_SNMP_WRONG_IF, At::kIndex), SNMP_ERR_NOCREATION);
  EXPECT_EQ(agent::set_error(manager::kDestinationInUse, At::kValue), SNMP_ERR_INCONSISTENTVALUE);
  EXPECT_EQ(agent::set_error(manager::kIsDestination, At::kIndex), SNMP_ERR_INCONSISTENTNAME);
  EXPECT_EQ(agent::set_error(manager::kNotPermitted, At::kIndex), SNMP_ERR_AUTHORIZATIONERROR);
  EXPECT_EQ(agent::set_error(SPAN_E_STANDBY, At::kValue), SNMP_ERR_RESOURCEUNAVAILABLE);
}

TEST(SetErrors, OfWhatNobodyExpectsIsGeneral) {
  EXPECT_EQ(agent::set_error(0x12345678, At::kValue), SNMP_ERR_GENERR);
  EXPECT_EQ(agent::set_error(manager::kMalformed, At::kIndex), SNMP_ERR_GENERR);
}

TEST(SetErrors, StandInTheTableOnce) {
  std::set<uint32_t> statuses;
  for (const agent::SetError& each : agent::kSetErrors) {
    EXPECT_TRUE(statuses.insert(each.status).second) << std::hex << each.status;
    EXPECT_TRUE(kNames.contains(each.of_value) && kNames.contains(each.of_index)) << std::hex << each.status;
  }
}

// A reason that is added to the manager is added here or there.
TEST(SetErrors, AreKnownForEveryReasonThatAChangeCanHave) {
  const std::set<uint32_t> not_of_the_agent = {
      manager::kMalformed,       manager::kUnknownOpcode, manager::kWrongKind,         manager::kUnknownOperation,
      manager::kNoInterfaces,    manager::kTooManyRanges, manager::kUnknownSourceType, manager::kUnknownEntry,
      manager::kUnknownPortMode, manager::kReversedRange, manager::kMixedRange,        manager::kHasNoPortMode,
      manager::kOtherSourceType, manager::kNoSuchDump,    manager::kNoSuchObject,      manager::kNoSuchTest,
      manager::kStillActive,
  };
  for (const manager::Reason& reason : manager::kReasons) {
    const bool known = agent::set_error(reason.code, At::kValue) != SNMP_ERR_GENERR;
    EXPECT_NE(known, not_of_the_agent.contains(reason.code)) << reason.name;
  }
}

std::string row_of(const agent::SetError& error) {
  char code[16];
  std::snprintf(code, sizeof code, "0x%08x", error.status);
  return std::string("| ") + code + " | " + syserr2str(error.status) + " | " + kNames.at(error.of_value) + " | " +
         kNames.at(error.of_index) + " |";
}

TEST(SetErrors, AreThoseOfThePage) {
  const auto root = std::filesystem::path(HOST_DEFAULT_CHASSIS).parent_path().parent_path().parent_path();
  std::ifstream page(root / "docs/snmp.md");
  std::vector<std::string> rows;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("| 0x")) rows.push_back(line);
  }
  std::vector<std::string> expected;
  for (const agent::SetError& each : agent::kSetErrors) expected.push_back(row_of(each));
  EXPECT_EQ(rows, expected);
}

}  // namespace
