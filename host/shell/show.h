// Screens of the shell's own: what the switch has, as far as the operator may see it. They go to standard output.
#ifndef HOST_SHELL_SHOW_H
#define HOST_SHELL_SHOW_H

#include "host/chassis/chassis.h"

namespace shell {

bool may_see(const chassis::Role& role, const chassis::Interface& interface);

// As the commands have it.
const char* port_mode_text(chassis::PortMode mode);

// False when the manager did not tell what the ports are to it; nothing is shown then.
bool show_interfaces(const chassis::Chassis& chassis, const chassis::Role& role);
void show_vsans(const chassis::Chassis& chassis, const chassis::Role& role);
void show_roles(const chassis::Chassis& chassis, const chassis::Role& current);
void show_events();

}  // namespace shell

#endif
