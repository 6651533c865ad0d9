// Who asked for what, and what became of it.
#ifndef HOST_DAEMON_AUDIT_H
#define HOST_DAEMON_AUDIT_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "host/transport/server.h"

namespace spand {

struct AuditLine {
  std::string when{};  // UTC; set when it is saved
  std::string requester1{};
  std::string requester2{};
  uid_t uid = 0;
  std::string user{};  // name of that uid
  pid_t pid = 0;
  std::string program{};  // what it calls itself
  uint32_t opcode = 0;    // 0 = no request: something that the manager did by itself
  std::string what{};
  uint32_t result = 0;
  bool permitted = true;

  bool operator==(const AuditLine&) const = default;
};

// A line with what is known of a client; and one of this process.
AuditLine line_of(const transport::Peer& peer);
AuditLine own_line(std::string what);

// Text that somebody else chose, as it can be kept and shown: printable ASCII, anything else as \xNN, no longer than
// 100 characters.
std::string tame(const std::string& text);

// Columns for people to read, with a head; empty when there are no lines.
std::string audit_table(const std::vector<AuditLine>& lines);

}  // namespace spand

#endif
