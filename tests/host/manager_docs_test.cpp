// The page on the manager against the manager.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "host/manager/reasons.h"

namespace {

// The page lies in the tree that the description of the switch is from.
std::vector<std::string> page() {
  const auto root = std::filesystem::path(HOST_DEFAULT_CHASSIS).parent_path().parent_path().parent_path();
  std::ifstream file(root / "docs/manager.md");
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

// The first three columns of a reason's row.
std::string row_of(const manager::Reason& reason) {
  char row[256];
  std::snprintf(row, sizeof row, "| 0x%08x | `%s` | %s | ", reason.code, reason.name, reason.text);
  return row;
}

TEST(ManagerPage, ListsTheReasonsInTheirOrderAndNoOthers) {
  std::vector<std::string> rows;
  for (const std::string& line : page()) {
    if (line.starts_with("| 0x")) rows.push_back(line);
  }
  ASSERT_EQ(rows.size(), std::size(manager::kReasons));
  for (size_t i = 0; i < rows.size(); ++i) {
    const std::string expected = row_of(manager::kReasons[i]);
    EXPECT_EQ(rows[i].substr(0, expected.size()), expected);
    EXPECT_GT(rows[i].size(), expected.size() + 2) << "it is not said when";
  }
}

}  // namespace
