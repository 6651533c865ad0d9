// The master agent, snmpd, as seen from here: the line to it, and what Net-SNMP has to say.
#ifndef HOST_AGENT_MASTER_H
#define HOST_AGENT_MASTER_H

#include <functional>
#include <string>

namespace agent {

// Takes a line that is worth telling.
using Say = void (*)(const std::string& line);

// Makes this process a subagent. `socket` is the master's AgentX socket, empty = Net-SNMP's usual one. Objects are
// registered between this and join_master().
bool open_master(const std::string& socket, Say say);

// Connects, now or as soon as there is a master, and again whenever it is back. Each loss is told in a line, and each
// time that objects are served from then on.
void join_master();

// Whether there is one.
bool has_master();

// Has `work` done in serve(), every `period_ms` milliseconds.
void repeat(unsigned period_ms, std::function<void()> work);

// Answers requests until SIGTERM or SIGINT comes, or stop_serving() is called.
void serve();
void stop_serving();

void leave_master();

}  // namespace agent

#endif
