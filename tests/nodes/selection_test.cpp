// Which modules a process stands for.
#include "host/nodes/selection.h"

#include <stdexcept>

#include "tests/nodes/lab.h"

namespace nodes_test {
namespace {

using nodes::select;
using nodes::text_of;
using nodes::Wanted;

std::string refusal(const chassis::Chassis& chassis, const Wanted& wanted) {
  try {
    return "not refused: " + text_of(select(chassis, wanted));
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
}

TEST(Selection, IsEveryModuleThatRunsWhenNoneIsNamed) {
  EXPECT_EQ(text_of(select(lab(), {})), "supervisor, modules 1, 2, 12");
}

TEST(Selection, IsThatOfTheNamedModules) {
  EXPECT_EQ(text_of(select(lab(), {.modules = {12}})), "module 12");
  EXPECT_EQ(text_of(select(lab(), {.modules = {12, 2}})), "modules 2, 12");
  EXPECT_EQ(text_of(select(lab(), {.modules = {5, 1}})), "supervisor, module 1");
}

TEST(Selection, HasTheSupervisorByItsFlagAndByItsNumber) {
  EXPECT_EQ(text_of(select(lab(), {.modules = {}, .supervisor = true})), "supervisor");
  EXPECT_EQ(text_of(select(lab(), {.modules = {5}})), "supervisor");
  EXPECT_EQ(text_of(select(lab(), {.modules = {1}, .supervisor = true})), "supervisor, module 1");
}

TEST(Selection, RefusesAModuleThatServesNothing) {
  EXPECT_EQ(refusal(lab(), {.modules = {1, 3}}), "module 3 of lab is powered down");
  EXPECT_EQ(refusal(lab(), {.modules = {4}}), "module 4 of lab is absent");
  EXPECT_EQ(refusal(lab(), {.modules = {6}}), "module 6 of lab is not the active supervisor, and serves nothing");
  EXPECT_EQ(refusal(lab(), {.modules = {7}, .supervisor = true}), "lab has no module 7; modules: 1, 2, 3, 4, 5, 6, 12");
}

TEST(Selection, KnowsTheFirstSupervisorThatRunsAsTheActiveOne) {
  std::string toml = kLab;
  toml.insert(toml.find("supervisor = true"), "state = \"powered-down\"\n");
  const chassis::Chassis chassis = parsed(toml);
  EXPECT_EQ(text_of(select(chassis, {.modules = {6}})), "supervisor");
  EXPECT_EQ(refusal(chassis, {.modules = {5}}), "module 5 of lab is powered down");
}

TEST(Selection, TellsOfASwitchWithoutASupervisor) {
  const chassis::Chassis chassis =
      parsed("name = \"bare\"\nvsans = 1\n[[module]]\nnumber = 1\nname = \"card\"\n[[role]]\nname = \"all\"\n");
  EXPECT_EQ(text_of(select(chassis, {})), "supervisor, module 1");
}

}  // namespace
}  // namespace nodes_test
