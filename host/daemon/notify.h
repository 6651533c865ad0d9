// What the service manager wants to hear: a datagram to the socket that it names in NOTIFY_SOCKET.
#ifndef HOST_DAEMON_NOTIFY_H
#define HOST_DAEMON_NOTIFY_H

#include <string>

namespace spand {

// Such as "READY=1"; without a service manager nothing happens.
void notify(const std::string& state);

}  // namespace spand

#endif
