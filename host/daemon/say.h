// The log: lines on standard error, in order with standard output.
#ifndef HOST_DAEMON_SAY_H
#define HOST_DAEMON_SAY_H

#include <cstdio>
#include <string>

#include "host/daemon/state.h"
#include "host/transport/tame.h"

namespace spand {

// What of it others chose cannot make it look like something else.
inline void say(const std::string& text) {
  std::fflush(stdout);
  std::fprintf(stderr, "spand: %s\n", transport::tame(text).c_str());
}

inline void say_misfits(const StateMisfit& misfit) {
  say(misfit.what());
  for (const std::string& line : misfit.misfits) say("  " + line);
}

}  // namespace spand

#endif
