// A start-up file: commands that configure the switch before anybody may type.
#ifndef HOST_SHELL_STARTUP_H
#define HOST_SHELL_STARTUP_H

#include <optional>
#include <string>

#include "host/shell/session.h"

namespace shell {

// Runs all lines of the file, past those that fail; each of these is told as "FILE:LINE: COMMAND: why". What the others
// print is shown. Returns the worst status; nothing when the file could not be read to its end, which is told too.
std::optional<Status> run_startup(const chassis::Chassis& chassis, const Operator& who, const std::string& name);

}  // namespace shell

#endif
