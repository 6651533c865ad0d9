#include "host/daemon/audit.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <map>

#include "host/transport/tame.h"
#include "platform/syserr.h"

namespace spand {
namespace {

constexpr size_t kMaxText = 100;

// Asked once for each user: it may mean a question to another machine.
const std::string& user_name(uid_t uid) {
  static std::map<uid_t, std::string> names;
  const auto known = names.find(uid);
  if (known != names.end()) return known->second;
  const passwd* const user = getpwuid(uid);
  return names[uid] = user != nullptr ? user->pw_name : "";
}

constexpr size_t kColumns = 7;
using Row = std::array<std::string, kColumns>;

Row row_of(const AuditLine& line) {
  const std::string requester = line.requester1 + (line.requester2.empty() ? "" : " " + line.requester2);
  return {line.when,
          line.user.empty() ? std::to_string(line.uid) : line.user,
          std::to_string(line.pid),
          line.program,
          requester,
          line.what,
          line.result == 0 ? "done" : syserr2str(line.result)};
}

}  // namespace

AuditLine line_of(const transport::Peer& peer) {
  return {.uid = peer.uid, .user = user_name(peer.uid), .pid = peer.pid, .program = tame(peer.program)};
}

AuditLine own_line(std::string what) {
  return {.uid = geteuid(), .user = user_name(geteuid()), .pid = getpid(), .program = "spand", .what = std::move(what)};
}

std::string tame(const std::string& text) { return transport::tame(text, kMaxText); }

std::string audit_table(const std::vector<AuditLine>& lines) {
  if (lines.empty()) return "";
  std::vector<Row> rows = {{"TIME", "USER", "PID", "PROGRAM", "REQUESTER", "CHANGE", "RESULT"}};
  std::ranges::transform(lines, std::back_inserter(rows), row_of);
  std::array<size_t, kColumns> widths{};
  for (const Row& row : rows) {
    for (size_t i = 0; i < kColumns; ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string table;
  for (Row& row : rows) {
    for (size_t i = 0; i + 1 < kColumns; ++i) table += row[i].append(widths[i] + 2 - row[i].size(), ' ');
    table += row.back() + '\n';
  }
  return table;
}

}  // namespace spand
