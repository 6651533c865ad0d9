// The sessions that there are, for an operator who has not typed the number of one yet.
#ifndef HOST_SHELL_EXISTING_H
#define HOST_SHELL_EXISTING_H

#include <optional>
#include <string>
#include <vector>

#include "host/chassis/chassis.h"

namespace shell {

// The numbers of those that the operator may see; nothing when the manager does not tell them at once.
std::optional<std::vector<std::string>> existing_sessions(const chassis::Role& role);

}  // namespace shell

#endif
