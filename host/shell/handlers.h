// Handlers of the shell's own, around functions of the library that are no handlers or return no status.
#ifndef HOST_SHELL_HANDLERS_H
#define HOST_SHELL_HANDLERS_H

#include "libspan.h"

namespace shell {

// L0: the number of a test. What test 0 prints becomes a line.
uint32_t run_test(const span_cli_parms_t* parms);

// L0: an interface. Nothing is printed for one that feeds no tunnel.
uint32_t show_rspan_tunnel(const span_cli_parms_t* parms);

}  // namespace shell

#endif
