// Where the processes of a switch meet: the sockets of its run directory.
#ifndef HOST_TRANSPORT_ENDPOINTS_H
#define HOST_TRANSPORT_ENDPOINTS_H

#include <cstdint>
#include <string>

namespace transport {

// SPAN_RUN_DIR; or else "span" in XDG_RUNTIME_DIR; or else /run/span.
std::string default_run_directory();

// The active manager, "manager.sock"; the standby one, "standby.sock"; the processes at an address of the switch,
// "node-102.sock" (hexadecimal).
std::string manager_socket(const std::string& run_directory);
std::string standby_socket(const std::string& run_directory);
std::string node_socket(const std::string& run_directory, uint32_t address);

// What --connect names: a run directory, or the socket of a manager in one.
struct Endpoint {
  std::string run_directory;
  std::string manager;  // its socket
};
Endpoint endpoint(const std::string& name);

}  // namespace transport

#endif
