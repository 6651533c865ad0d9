#include "host/daemon/state.h"

#include "host/daemon/directories.h"
#include "host/daemon/fit.h"
#include "host/manager/manager.h"

namespace spand {
namespace {

using manager::Config;

// Nobody is served with what is not kept.
void keep(Store& store, const Config& from, const Config& to, const std::vector<AuditLine>& lines) {
  try {
    store.save(from, to, lines);
  } catch (const DatabaseError& error) {
    throw StateError(store.path() + ": cannot be written: " + error.what());
  }
}

Config begin(Store& store, const chassis::Chassis& chassis) {
  const Config config = manager::Manager(chassis).config();
  keep(store, {}, config, {own_line("state of " + chassis.name() + " created")});
  return config;
}

Config forget(Store& store, const Config& config, const Fit& possible) {
  std::vector<AuditLine> lines;
  for (const std::string& misfit : possible.misfits) lines.push_back(own_line("forgotten: " + misfit));
  keep(store, config, possible.config, lines);
  return possible.config;
}

}  // namespace

std::optional<Config> look_into_state(const std::string& directory) {
  if (!examine_state_directory(directory)) return std::nullopt;
  examine_files(directory);
  return read_config(directory);
}

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
