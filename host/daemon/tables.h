// A configuration in the tables of the state's database. docs/daemon.md describes them.
#ifndef HOST_DAEMON_TABLES_H
#define HOST_DAEMON_TABLES_H

#include <cstdint>
#include <optional>
#include <string>

#include "host/daemon/database.h"
#include "host/manager/config.h"

namespace spand {

constexpr int64_t kApplication = 0x5350414E;
constexpr int64_t kVersion = 1;

void create_tables(const std::string& path);  // in an empty file

// What is wrong with a database of this program and version; nothing when it is sound.
std::string damage_of(Database& database);

// Nothing as long as nothing was saved.
std::optional<manager::Config> read_tables(Database& database);

// Writes what differs.
void write_tables(Database& database, const manager::Config& from, const manager::Config& to);

}  // namespace spand

#endif
