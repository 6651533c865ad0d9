#include "host/daemon/state.h"

#include "host/daemon/fit.h"
#include "host/manager/manager.h"

namespace spand {
namespace {

using manager::Config;

Config begin(Store& store, const chassis::Chassis& chassis) {
  const Config config = manager::Manager(chassis).config();
  store.save({}, config, std::vector{own_line("state of " + chassis.name() + " created")});
  return config;
}

Config forget(Store& store, const Config& config, const Fit& possible) {
  std::vector<AuditLine> lines;
  for (const std::string& misfit : possible.misfits) lines.push_back(own_line("forgotten: " + misfit));
  store.save(config, possible.config, lines);
  return possible.config;
}

}  // namespace

State open_state(const std::string& directory, const chassis::Chassis& chassis, Unknown unknown) {
  auto store = std::make_unique<Store>(directory);
  auto config = store->load();
  if (!config) {
    config = begin(*store, chassis);
  } else if (Fit possible = fit(chassis, *config); !possible.misfits.empty()) {
    if (unknown == Unknown::kRefuse) {
      throw StateMisfit(directory + ": does not fit the switch " + chassis.name(), std::move(possible.misfits));
    }
    config = forget(*store, *config, possible);
  }
  return {std::move(store), *std::move(config)};
}

}  // namespace spand
