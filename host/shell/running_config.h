// The running configuration: the commands that would make the switch what it is. docs/running-config.md describes it.
#ifndef HOST_SHELL_RUNNING_CONFIG_H
#define HOST_SHELL_RUNNING_CONFIG_H

#include <string>
#include <vector>

#include "host/chassis/chassis.h"
#include "libspan.h"

namespace shell {

// Prints it: what the section of the library does not carry, then that section as it is. False when the manager did not
// tell all of it.
bool print_running_config(const chassis::Chassis& chassis, const span_cli_parms_t& parms);

// What of the state no command can say, a line for each source that has it.
std::vector<std::string> unsaid(const chassis::Chassis& chassis, const span_cli_parms_t& parms);

// Puts it into a file, whole or not at all. Returns why it failed, nothing when it is done.
std::string save_running_config(const chassis::Chassis& chassis, const span_cli_parms_t& parms,
                                const std::string& path);

}  // namespace shell

#endif
