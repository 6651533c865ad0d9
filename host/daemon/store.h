// The manager's state on disk: its configuration, and the audit of what was asked of it. docs/daemon.md has the tables.
#ifndef HOST_DAEMON_STORE_H
#define HOST_DAEMON_STORE_H

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/daemon/audit.h"
#include "host/daemon/database.h"
#include "host/daemon/files.h"
#include "host/manager/config.h"

namespace spand {

class Store {
 public:
  // How many lines of the audit are kept; the oldest go first. What was not permitted has room of its own, so that it
  // cannot crowd out what was done.
  struct Limits {
    uint64_t permitted = 100'000;
    uint64_t refused = 10'000;
  };

  // Opens the state of a directory, or creates it. One that is damaged, or of a newer program, is left as it is.
  explicit Store(const std::string& directory) : Store(directory, Limits()) {}
  Store(const std::string& directory, Limits limits);

  const std::string& path() const { return path_; }  // of the database

  // Nothing as long as nothing was saved.
  std::optional<manager::Config> load();

  // Writes what differs, and the lines, together: when it returns they are on disk, when it throws DatabaseError none
  // of it is.
  void save(const manager::Config& from, const manager::Config& to, std::span<const AuditLine> lines);

  // A line that is not worth the wait: it survives this process, if perhaps not a power failure.
  void note(const AuditLine& line);

 private:
  using Counts = std::array<uint64_t, 2>;  // of lines: refused, permitted

  uint64_t count_lines(int permitted);
  void append(const AuditLine& line, Counts& counts);
  void commit(Transaction& transaction);

  std::string path_;
  StateLock lock_;
  Database database_;
  Limits limits_;
  Counts counts_;
  std::array<Opened, 3> files_;  // lock, database, journal
};

// Look into a state that may be in use, and change nothing.
std::optional<manager::Config> read_config(const std::string& directory);        // nothing when there is none
std::vector<AuditLine> read_audit(const std::string& directory, uint64_t last);  // oldest first

}  // namespace spand

#endif
