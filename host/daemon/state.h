// The state of a directory, put to use on a switch.
#ifndef HOST_DAEMON_STATE_H
#define HOST_DAEMON_STATE_H

#include <memory>
#include <string>
#include <vector>

#include "host/daemon/store.h"

namespace spand {

struct State {
  std::unique_ptr<Store> store;
  manager::Config config;
};

// The switch does not have what the state is about.
struct StateMisfit : StateError {
  StateMisfit(const std::string& text, std::vector<std::string> lines) : StateError(text), misfits(std::move(lines)) {}
  std::vector<std::string> misfits;
};

enum class Unknown { kRefuse, kForget };

// Looks at all that a start looks at, and changes nothing; also while it is in use. Nothing when there is no state yet;
// throws StateError, and std::runtime_error about the directory.
std::optional<manager::Config> look_into_state(const std::string& directory);

// Throws StateError. What is forgotten is told in the audit, a line for each misfit; an empty state
// becomes that of a switch that is new.
State open_state(const std::string& directory, const chassis::Chassis& chassis, Unknown unknown);

}  // namespace spand

#endif
