#include "host/nodes/selection.h"

#include <algorithm>
#include <stdexcept>

namespace nodes {
namespace {

using chassis::Chassis;
using chassis::Module;
using chassis::ModuleState;

std::string listed(const std::vector<Module>& modules) {
  std::string text;
  for (const Module& each : modules) text += (text.empty() ? "" : ", ") + std::to_string(each.number);
  return text;
}

bool is_line_card(const Module& module) { return module.runs() && !module.supervisor; }

bool is_active_supervisor(const Chassis& chassis, const Module& module) {
  const auto active =
      std::ranges::find_if(chassis.modules(), [](auto& each) { return each.supervisor && each.runs(); });
  return active != chassis.modules().end() && active->number == module.number;
}

std::string why_not(const Module& module) {
  if (module.state == ModuleState::kAbsent) return "is absent";
  if (module.state == ModuleState::kPoweredDown) return "is powered down";
  return "is not the active supervisor, and serves nothing";
}

void add(Selection& selection, const Chassis& chassis, uint32_t number) {
  const Module* const module = chassis.find_module(number);
  const std::string name = "module " + std::to_string(number);
  if (module == nullptr) {
    throw std::invalid_argument(chassis.name() + " has no " + name + "; modules: " + listed(chassis.modules()));
  }
  if (is_line_card(*module)) {
    selection.line_cards.push_back(*module);
  } else if (is_active_supervisor(chassis, *module)) {
    selection.supervisor = true;
  } else {
    throw std::invalid_argument(name + " of " + chassis.name() + " " + why_not(*module));
  }
}

}  // namespace

Selection select(const Chassis& chassis, const Wanted& wanted) {
  const bool all = wanted.modules.empty() && !wanted.supervisor;
  Selection selection = {.supervisor = all || wanted.supervisor, .line_cards = {}};
  if (all) std::ranges::copy_if(chassis.modules(), std::back_inserter(selection.line_cards), is_line_card);
  for (const uint32_t number : wanted.modules) add(selection, chassis, number);
  return selection;
}

std::string text_of(const Selection& selection) {
  const std::vector<Module>& cards = selection.line_cards;
  const std::string modules = cards.empty() ? "" : (cards.size() == 1 ? "module " : "modules ") + listed(cards);
  if (!selection.supervisor) return modules;
  return modules.empty() ? "supervisor" : "supervisor, " + modules;
}

}  // namespace nodes
