#include "host/daemon/store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "host/daemon/tables.h"

namespace spand {
namespace {

using manager::Config;

// ---- Opening --------------------------------------------------------------------------------------------------------

// A database in the making. What was left behind of one goes, before and after.
class Draft {
 public:
  explicit Draft(std::string path) : path_(std::move(path)) { remove(); }
  ~Draft() { remove(); }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  const std::string& path() const { return path_; }

 private:
  void remove() const {
    for (const char* const part : {"", "-journal"}) unlink((path_ + part).c_str());
  }

  std::string path_;
};

// Under another name first: a database that bears the right one is whole.
void create(const std::string& directory, const std::string& path) {
  const Draft draft(path + ".new");
  const int descriptor = open(draft.path().c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (descriptor == -1) fail_errno(draft.path());
  close(descriptor);
  create_tables(draft.path());
  sync(draft.path());
  if (rename(draft.path().c_str(), path.c_str()) != 0) fail_errno(path);
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
  if (const std::string damage = damage_of(database); !damage.empty()) refuse(path, "is damaged: " + damage);
  return database;
}

// Runs `work` and words what the database has to say.
template <class Work>
auto about(const std::string& path, Work work) -> decltype(work()) {
  try {
    return work();
  } catch (const DatabaseError& error) {
    const std::string why = std::string("cannot be used: ") + error.what();
    if (error.may_pass) throw StateError(path + ": " + why);
    refuse(path, why);
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

}  // namespace

// ---- The store ------------------------------------------------------------------------------------------------------

Store::Store(const std::string& directory, Limits limits)
    : path_(database_path(directory)),
      lock_(directory),
      database_(open_for_writing(directory)),
      limits_(limits),
      counts_{count_lines(0), count_lines(1)},
      files_{lock_.file(), Opened(path_), Opened(path_ + "-wal")} {}

uint64_t Store::count_lines(int permitted) {
  return about(path_, [&] {
    Query query(database_, "SELECT count(*) FROM audit WHERE permitted = ?");
    query.with(permitted).next();
    return static_cast<uint64_t>(query.number(0));
  });
}

// What is written to a file that has gone goes with it; where the lock has gone, another manager may write, too.
void Store::commit(Transaction& transaction) {
  for (const Opened& file : files_) {
    if (!file.is_there()) throw DatabaseError(file.path() + ": was removed or replaced while in use");
  }
  transaction.commit();
}

std::optional<Config> Store::load() {
  return about(path_, [&] { return read_tables(database_); });
}

void Store::save(const Config& from, const Config& to, std::span<const AuditLine> lines) {
  database_.run("PRAGMA synchronous = FULL");
  Transaction transaction(database_);
  write_tables(database_, from, to);
  Counts counts = counts_;
  for (const AuditLine& line : lines) append(line, counts);
  commit(transaction);
  counts_ = counts;
}

void Store::note(const AuditLine& line) {
  database_.run("PRAGMA synchronous = NORMAL");
  Transaction transaction(database_);
  Counts counts = counts_;
  append(line, counts);
  commit(transaction);
  counts_ = counts;
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
  return database ? about(database_path(directory), [&] { return read_tables(*database); }) : std::nullopt;
}

std::vector<AuditLine> read_audit(const std::string& directory, uint64_t last) {
  auto database = open_for_reading(directory);
  if (!database) refuse(database_path(directory), std::strerror(ENOENT));
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
