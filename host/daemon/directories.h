// The directories that the daemon works in.
#ifndef HOST_DAEMON_DIRECTORIES_H
#define HOST_DAEMON_DIRECTORIES_H

#include <sys/types.h>

#include <string>

namespace spand {

// STATE_DIRECTORY, as the service manager sets it; or else /var/lib/span for root; or else "span" in XDG_STATE_HOME or
// in ~/.local/state.
std::string default_state_directory();

// Creates them where they are not there, and refuses what others could tamper with: std::runtime_error.
void prepare_state_directory(const std::string& path);
bool examine_state_directory(const std::string& path);  // the refusing alone; false when it is not there
// Who may use a socket of that mode gets at it. One that is there is opened for them if it is a run directory of this
// user's, that is nothing but sockets lie in it; one that is too tight otherwise is told in the log.
void prepare_run_directory(const std::string& path, mode_t socket_mode, gid_t group);

}  // namespace spand

#endif
