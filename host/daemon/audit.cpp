#include "host/daemon/audit.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
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
  return names[uid] = user != nullptr ? tame(user->pw_name) : "";
}

constexpr size_t kColumns = 8;
using Row = std::array<std::string, kColumns>;

// A text in a column. It was tamed when it was saved, and is not trusted all the same: the database may have been
// edited. What others chose has no blank either, which would look like the end of the column.
std::string cell(const std::string& text, char lowest = '!') {
  std::string shown;
  for (const char c : text) {
    char escaped[8];
    std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(c));
    shown += c >= lowest && c <= '~' ? std::string(1, c) : escaped;
  }
  return shown;
}

// One that is empty has a mark, so that the columns can be counted.
std::string filled(const std::string& text) { return text.empty() ? "-" : cell(text); }

Row row_of(const AuditLine& line) {
  return {filled(line.when),        line.user.empty() ? std::to_string(line.uid) : cell(line.user),
          std::to_string(line.pid), filled(line.program),
          filled(line.requester1),  filled(line.requester2),
          cell(line.what, ' '),     line.result == 0 ? "done" : syserr2str(line.result)};
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
  std::vector<Row> rows = {{"TIME", "USER", "PID", "PROGRAM", "REQUESTER1", "REQUESTER2", "CHANGE", "RESULT"}};
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
