#include "host/daemon/tables.h"

#include "host/manager/vsan_text.h"

namespace spand {
namespace {

using manager::Config;
using manager::Session;
using manager::Sources;
using manager::Vsans;

// Word by word what is in the databases of this version: they are compared with it.
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

// ---- Reading --------------------------------------------------------------------------------------------------------

Vsans vsans_of(const Query& query, int column) {
  const std::string text = query.text(column);
  const auto vsans = manager::parse_vsans(text);
  if (!vsans) throw DatabaseError("'" + text.substr(0, 40) + "' are no VSANs");
  return *vsans;
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

// ---- Soundness ------------------------------------------------------------------------------------------------------

// But for those that the database has for itself.
constexpr char kTables[] = R"(
SELECT group_concat(sql, ';') FROM (SELECT sql FROM sqlite_schema WHERE name NOT GLOB 'sqlite_*' ORDER BY name)
)";

// The setting comes with the first change, and stays.
constexpr char kSettingIsGone[] = R"(
SELECT 1 WHERE NOT EXISTS (SELECT * FROM setting) AND
  (EXISTS (SELECT * FROM session) OR EXISTS (SELECT * FROM port_mode) OR EXISTS (SELECT * FROM audit))
)";

std::string tables_of_this_version() {
  Database database(":memory:", Database::Access::kWrite);
  database.run(kSchema);
  return database.text(kTables);
}

}  // namespace

std::string damage_of(Database& database) {
  const std::string verdict = database.text("PRAGMA quick_check(1)");
  if (verdict != "ok") return verdict.substr(0, verdict.find('\n'));
  if (database.text(kTables) != tables_of_this_version()) return "its tables are not those of a SPAN manager";
  if (Query(database, "PRAGMA foreign_key_check").next()) return "sources of a session that is gone";
  if (Query(database, kSettingIsGone).next()) return "its setting is gone";
  return "";
}

void create_tables(const std::string& path) { Database(path, Database::Access::kWrite).run(kSchema); }

std::optional<Config> read_tables(Database& database) {
  Query threshold(database, "SELECT value FROM setting WHERE name = 'drop threshold'");
  if (!threshold.next()) return std::nullopt;
  Config config;
  config.threshold = number_of(threshold, 0);
  read_port_modes(database, config);
  read_sessions(database, config);
  read_sources(database, config);
  return config;
}

void write_tables(Database& database, const Config& from, const Config& to) {
  if (from.sessions != to.sessions) write_sessions(database, from, to);
  if (from.port_modes != to.port_modes) write_port_modes(database, from, to);
  // Always there once something was saved: read_tables() knows by it.
  Query(database,
        "INSERT INTO setting VALUES ('drop threshold', ?1) ON CONFLICT DO UPDATE SET value = ?1 WHERE value != ?1")
      .with(to.threshold)
      .run();
}

}  // namespace spand
