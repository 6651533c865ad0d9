#include "host/daemon/store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "host/manager/vsan_text.h"

namespace spand {
namespace {

using manager::Config;
using manager::Session;
using manager::Sources;
using manager::Vsans;

constexpr int64_t kApplication = 0x5350414E;
constexpr int64_t kVersion = 1;

constexpr char kSchema[] = R"(
PRAGMA application_id = 0x5350414E;
PRAGMA user_version = 1;
BEGIN;
CREATE TABLE setting (
  name TEXT PRIMARY KEY CHECK (name = 'drop threshold'),
  value INTEGER NOT NULL CHECK (value BETWEEN 0 AND 4294967295)
) STRICT;
CREATE TABLE port_mode (
  interface INTEGER PRIMARY KEY CHECK (interface BETWEEN 1 AND 4294967295),
  mode INTEGER NOT NULL CHECK (mode IN (1, 2))
) STRICT;
CREATE TABLE session (
  number INTEGER PRIMARY KEY CHECK (number BETWEEN 1 AND 16),
  suspended INTEGER NOT NULL CHECK (suspended IN (0, 1)),
  destination INTEGER UNIQUE CHECK (destination BETWEEN 1 AND 4294967295),
  source_vsans TEXT NOT NULL,
  filter_vsans TEXT NOT NULL
) STRICT;
CREATE TABLE source (
  session INTEGER NOT NULL REFERENCES session ON DELETE CASCADE,
  direction INTEGER NOT NULL CHECK (direction IN (1, 2)),
  interface INTEGER NOT NULL CHECK (interface BETWEEN 1 AND 4294967295),
  filter_vsans TEXT NOT NULL,
  PRIMARY KEY (session, direction, interface)
) STRICT, WITHOUT ROWID;
CREATE TABLE audit (
  number INTEGER PRIMARY KEY AUTOINCREMENT,
  time TEXT NOT NULL DEFAULT (strftime('%Y-%m-%dT%H:%M:%fZ', 'now')),
  requester1 TEXT NOT NULL,
  requester2 TEXT NOT NULL,
  uid INTEGER NOT NULL,
  user TEXT NOT NULL,
  pid INTEGER NOT NULL,
  program TEXT NOT NULL,
  opcode INTEGER NOT NULL,
  what TEXT NOT NULL,
  result INTEGER NOT NULL,
  permitted INTEGER NOT NULL CHECK (permitted IN (0, 1))
) STRICT;
CREATE INDEX audit_by_permission ON audit (permitted, number);
COMMIT;
)";

std::string database_path(const std::string& directory) { return directory + "/span.db"; }

[[noreturn]] void refuse(const std::string& path, const std::string& why) { throw StateError(path + ": " + why); }
[[noreturn]] void refuse_errno(const std::string& path) { refuse(path, std::strerror(errno)); }

bool exists(const std::string& path) {
  struct stat facts;
  if (lstat(path.c_str(), &facts) == 0) return true;
  if (errno != ENOENT) refuse_errno(path);
  return false;
}

// ---- Opening --------------------------------------------------------------------------------------------------------

void sync(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor == -1) refuse_errno(path);
  const bool done = fsync(descriptor) == 0;
  close(descriptor);
  if (!done) refuse_errno(path);
}

// Under another name first: a database that bears the right one is whole.
void create(const std::string& directory, const std::string& path) {
  if (exists(path + "-wal")) refuse(path, "is gone, but its journal " + path + "-wal is still there");
  const std::string draft = path + ".new";
  for (const char* const leftover : {"", "-journal"}) unlink((draft + leftover).c_str());
  const int descriptor = open(draft.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (descriptor == -1) refuse_errno(draft);
  close(descriptor);
  Database(draft, Database::Access::kWrite).run(kSchema);
  sync(draft);
  if (rename(draft.c_str(), path.c_str()) != 0) refuse_errno(path);
  sync(directory);
}

// The database, once it is known to be a sound one of this program.
Database checked(const std::string& path, Database database) {
  if (std::filesystem::file_size(path) == 0) refuse(path, "is damaged: it is empty");
  if (database.number("PRAGMA application_id") != kApplication) refuse(path, "is not the state of a SPAN manager");
  const int64_t version = database.number("PRAGMA user_version");
  if (version != kVersion) {
    refuse(path, "is of version " + std::to_string(version) + ", this program knows version " +
                     std::to_string(kVersion) + " only");
  }
  const std::string verdict = database.text("PRAGMA quick_check(1)");
  if (verdict != "ok") refuse(path, "is damaged: " + verdict.substr(0, verdict.find('\n')));
  if (Query(database, "PRAGMA foreign_key_check").next()) refuse(path, "is damaged: sources of a session that is gone");
  return database;
}

// Runs `work` and words what the database has to say.
template <class Work>
auto about(const std::string& path, Work work) -> decltype(work()) {
  try {
    return work();
  } catch (const DatabaseError& error) {
    refuse(path, std::string("cannot be used: ") + error.what());
  } catch (const std::filesystem::filesystem_error& error) {
    refuse(path, error.code().message());
  }
}

Database open_for_writing(const std::string& directory) {
  const std::string path = database_path(directory);
  return about(path, [&] {
    if (!exists(path)) create(directory, path);
    Database database = checked(path, Database(path, Database::Access::kWrite));
    database.run("PRAGMA foreign_keys = ON; PRAGMA journal_mode = WAL; PRAGMA journal_size_limit = 4194304;");
    return database;
  });
}

// Nothing when there is none.
std::optional<Database> open_for_reading(const std::string& directory) {
  const std::string path = database_path(directory);
  if (!exists(path)) return std::nullopt;
  const auto access = exists(path + "-wal") ? Database::Access::kRead : Database::Access::kReadUnchanging;
  return about(path, [&] {
    Database database = checked(path, Database(path, access));
    database.run("BEGIN");  // one and the same state in all that is read
    return database;
  });
}

// ---- Reading --------------------------------------------------------------------------------------------------------

Vsans vsans_of(const Query& query, int column) {
  const std::string text = query.text(column);
  const auto vsans = manager::parse_vsans(text);
  if (!vsans) throw DatabaseError("'" + text.substr(0, 40) + "' are no VSANs");
  return *vsans;
}

// A database that is only read does not see to its own checks.
uint32_t number_of(const Query& query, int column, uint32_t first = 0, uint32_t last = UINT32_MAX) {
  const int64_t number = query.number(column);
  if (number < first || number > last) throw DatabaseError(std::to_string(number) + " is out of range");
  return static_cast<uint32_t>(number);
}

Session& session_of(Config& config, const Query& query) {
  return config.sessions[number_of(query, 0, 1, SPAN_SESSIONS) - 1];
}

void read_sessions(Database& database, Config& config) {
  Query query(database, "SELECT number, suspended, destination, source_vsans, filter_vsans FROM session");
  while (query.next()) {
    Session& session = session_of(config, query);
    session.configured = true;
    session.suspended = number_of(query, 1, 0, 1) != 0;
    session.destination = number_of(query, 2);
    session.source_vsans = vsans_of(query, 3);
    session.filter = vsans_of(query, 4);
  }
}

void read_sources(Database& database, Config& config) {
  Query query(database, "SELECT session, direction, interface, filter_vsans FROM source");
  while (query.next()) {
    Session& session = session_of(config, query);
    session.sources[number_of(query, 1, SPAN_RX, SPAN_TX) - 1][number_of(query, 2, 1)] = vsans_of(query, 3);
  }
}

void read_port_modes(Database& database, Config& config) {
  Query query(database, "SELECT interface, mode FROM port_mode");
  while (query.next()) config.port_modes[number_of(query, 0, 1)] = chassis::PortMode{number_of(query, 1, 1, 2)};
}

std::optional<Config> read(Database& database) {
  Query threshold(database, "SELECT value FROM setting WHERE name = 'drop threshold'");
  if (!threshold.next()) return std::nullopt;
  Config config;
  config.threshold = number_of(threshold, 0);
  read_port_modes(database, config);
  read_sessions(database, config);
  read_sources(database, config);
  return config;
}

// ---- Writing --------------------------------------------------------------------------------------------------------

void write_sources(Database& database, size_t number, size_t direction, const Sources& sources) {
  Query insert(database, "INSERT INTO source VALUES (?, ?, ?, ?)");
  for (const auto& [if_index, filter] : sources) {
    const std::string vsans = manager::vsan_text(filter);
    insert.with(number, direction, if_index, vsans).run();
  }
}

void remove_session(Database& database, size_t number) {
  Query(database, "DELETE FROM session WHERE number = ?").with(number).run();
}

void write_session(Database& database, size_t number, const Session& session) {
  const std::string source_vsans = manager::vsan_text(session.source_vsans);
  const std::string filter_vsans = manager::vsan_text(session.filter);
  Query(database, "INSERT INTO session VALUES (?, ?, nullif(?, 0), ?, ?)")
      .with(number, session.suspended, session.destination, source_vsans, filter_vsans)
      .run();
  for (size_t i = 0; i < session.sources.size(); ++i) write_sources(database, number, i + 1, session.sources[i]);
}

// All sessions that differ leave before one of them comes back: a destination may have moved from one to another.
void write_sessions(Database& database, const Config& from, const Config& to) {
  for (size_t i = 0; i < to.sessions.size(); ++i) {
    if (to.sessions[i] != from.sessions[i]) remove_session(database, i + 1);
  }
  for (size_t i = 0; i < to.sessions.size(); ++i) {
    const Session& session = to.sessions[i];
    if (session.configured && session != from.sessions[i]) write_session(database, i + 1, session);
  }
}

void write_port_modes(Database& database, const Config& from, const Config& to) {
  Query remove(database, "DELETE FROM port_mode WHERE interface = ?");
  for (const auto& [if_index, mode] : from.port_modes) {
    if (!to.port_modes.contains(if_index)) remove.with(if_index).run();
  }
  Query set(database, "INSERT OR REPLACE INTO port_mode VALUES (?, ?)");
  for (const auto& [if_index, mode] : to.port_modes) {
    const auto old = from.port_modes.find(if_index);
    if (old == from.port_modes.end() || old->second != mode) set.with(if_index, static_cast<uint32_t>(mode)).run();
  }
}

}  // namespace

// ---- The lock -------------------------------------------------------------------------------------------------------

StateLock::StateLock(const std::string& directory) {
  const std::string path = directory + "/lock";
  descriptor_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
  if (descriptor_ == -1) refuse_errno(path);
  char pid[32] = "";
  if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
    const bool in_use = errno == EWOULDBLOCK;
    const ssize_t length = pread(descriptor_, pid, sizeof pid - 1, 0);
    close(descriptor_);
    if (!in_use) refuse_errno(path);
    throw StateInUse(directory + ": is in use by another SPAN manager" +
                     (length > 0 ? ", process " + std::string(pid) : ""));
  }
  const int length = std::snprintf(pid, sizeof pid, "%d", getpid());
  // Only for the message above.
  static_cast<void>(ftruncate(descriptor_, 0) == 0 && pwrite(descriptor_, pid, static_cast<size_t>(length), 0) > 0);
}

StateLock::~StateLock() { close(descriptor_); }

// ---- The store ------------------------------------------------------------------------------------------------------

Store::Store(const std::string& directory, Limits limits)
    : path_(database_path(directory)),
      lock_(directory),
      database_(open_for_writing(directory)),
      limits_(limits),
      counts_{static_cast<uint64_t>(database_.number("SELECT count(*) FROM audit WHERE permitted = 0")),
              static_cast<uint64_t>(database_.number("SELECT count(*) FROM audit WHERE permitted = 1"))} {}

std::optional<Config> Store::load() {
  return about(path_, [&] { return read(database_); });
}

void Store::save(const Config& from, const Config& to, std::span<const AuditLine> lines) {
  database_.run("PRAGMA synchronous = FULL");
  Transaction transaction(database_);
  write(from, to);
  Counts counts = counts_;
  for (const AuditLine& line : lines) append(line, counts);
  transaction.commit();
  counts_ = counts;
}

void Store::note(const AuditLine& line) {
  database_.run("PRAGMA synchronous = NORMAL");
  Transaction transaction(database_);
  Counts counts = counts_;
  append(line, counts);
  transaction.commit();
  counts_ = counts;
}

void Store::write(const Config& from, const Config& to) {
  if (from.sessions != to.sessions) write_sessions(database_, from, to);
  if (from.port_modes != to.port_modes) write_port_modes(database_, from, to);
  // Always there once something was saved: load() knows by it.
  Query(database_,
        "INSERT INTO setting VALUES ('drop threshold', ?1) ON CONFLICT DO UPDATE SET value = ?1 WHERE value != ?1")
      .with(to.threshold)
      .run();
}

void Store::append(const AuditLine& line, Counts& counts) {
  Query(database_,
        "INSERT INTO audit (requester1, requester2, uid, user, pid, program, opcode, what, result, permitted)"
        " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
      .with(line.requester1, line.requester2, line.uid, line.user, line.pid, line.program, line.opcode, line.what,
            line.result, line.permitted)
      .run();
  const uint64_t limit = line.permitted ? limits_.permitted : limits_.refused;
  uint64_t& count = counts[line.permitted];
  if (++count <= limit) return;
  Query(database_,
        "DELETE FROM audit WHERE number IN (SELECT number FROM audit WHERE permitted = ? ORDER BY number LIMIT ?)")
      .with(line.permitted, count - limit)
      .run();
  count = limit;
}

// ---- Looking in -----------------------------------------------------------------------------------------------------

std::optional<Config> read_config(const std::string& directory) {
  auto database = open_for_reading(directory);
  return database ? about(database_path(directory), [&] { return read(*database); }) : std::nullopt;
}

std::vector<AuditLine> read_audit(const std::string& directory, uint64_t last) {
  auto database = open_for_reading(directory);
  if (!database) return {};
  return about(database_path(directory), [&] {
    Query query(*database,
                "SELECT time, requester1, requester2, uid, user, pid, program, opcode, what, result, permitted"
                " FROM audit ORDER BY number DESC LIMIT ?");
    std::vector<AuditLine> lines;
    query.with(std::min<uint64_t>(last, INT64_MAX));
    while (query.next()) {
      lines.push_back({query.text(0), query.text(1), query.text(2), number_of(query, 3), query.text(4),
                       static_cast<pid_t>(query.number(5)), query.text(6), number_of(query, 7), query.text(8),
                       number_of(query, 9), query.number(10) != 0});
    }
    std::ranges::reverse(lines);
    return lines;
  });
}

}  // namespace spand
