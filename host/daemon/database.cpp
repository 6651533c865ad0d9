#include "host/daemon/database.h"

namespace spand {
namespace {

// How long the lock of somebody who looks into the file is waited for.
constexpr int kBusyMilliseconds = 500;

// A path in a URI: only what has a meaning there is escaped.
std::string uri_of(const std::string& path, const char* parameters) {
  std::string uri = "file:";
  for (const char c : path) {
    if (c == '%')
      uri += "%25";
    else if (c == '?')
      uri += "%3f";
    else if (c == '#')
      uri += "%23";
    else
      uri += c;
  }
  return uri + parameters;
}

bool may_pass(int result) {
  switch (result & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_NOMEM:
    case SQLITE_IOERR:
    case SQLITE_FULL:
    case SQLITE_CANTOPEN:
      return true;
    default:
      return false;
  }
}

}  // namespace

Database::Database(const std::string& path, Access access) {
  const bool write = access == Access::kWrite;
  const std::string uri = uri_of(path, access == Access::kReadUnchanging ? "?immutable=1" : "");
  sqlite3* handle = nullptr;
  const int flags = SQLITE_OPEN_URI | SQLITE_OPEN_EXRESCODE | (write ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY);
  const int result = sqlite3_open_v2(uri.c_str(), &handle, flags, nullptr);
  handle_.reset(handle);
  if (handle == nullptr) throw DatabaseError(sqlite3_errstr(result), may_pass(result));
  if (result != SQLITE_OK) fail();
  sqlite3_busy_timeout(handle, kBusyMilliseconds);
}

void Database::run(const char* sql) {
  if (sqlite3_exec(handle_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

int64_t Database::number(const char* sql) {
  Query query(*this, sql);
  return query.next() ? query.number(0) : 0;
}

std::string Database::text(const char* sql) {
  Query query(*this, sql);
  return query.next() ? query.text(0) : "";
}

void Database::fail() const {
  throw DatabaseError(sqlite3_errmsg(handle_.get()), may_pass(sqlite3_errcode(handle_.get())));
}

Query::Query(Database& database, const char* sql) : database_(database) {
  sqlite3_stmt* statement = nullptr;
  check(sqlite3_prepare_v2(database.handle(), sql, -1, &statement, nullptr));
  statement_.reset(statement);
}

bool Query::next() {
  const int result = sqlite3_step(statement_.get());
  if (result != SQLITE_ROW && result != SQLITE_DONE) database_.fail();
  return result == SQLITE_ROW;
}

void Query::run() {
  while (next()) {
  }
}

std::string Query::text(int column) const {
  const void* const bytes = sqlite3_column_text(statement_.get(), column);
  const auto length = static_cast<size_t>(sqlite3_column_bytes(statement_.get(), column));
  return bytes == nullptr ? "" : std::string(static_cast<const char*>(bytes), length);
}

void Query::bind(int position, std::string_view value) {
  check(sqlite3_bind_text64(statement_.get(), position, value.data(), value.size(), SQLITE_STATIC, SQLITE_UTF8));
}

void Query::check(int result) const {
  if (result != SQLITE_OK) database_.fail();
}

uint32_t number_of(const Query& query, int column, uint32_t first, uint32_t last) {
  const int64_t number = query.number(column);
  if (number < first || number > last) throw DatabaseError(std::to_string(number) + " is out of range");
  return static_cast<uint32_t>(number);
}

Transaction::Transaction(Database& database) : database_(database) { database_.run("BEGIN IMMEDIATE"); }

// Some failures have rolled it back already.
Transaction::~Transaction() {
  sqlite3* const handle = database_.handle();
  if (sqlite3_get_autocommit(handle) == 0) sqlite3_exec(handle, "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::commit() { database_.run("COMMIT"); }

}  // namespace spand
