// SQLite, as far as the state needs it. Every failure is a DatabaseError.
#ifndef HOST_DAEMON_DATABASE_H
#define HOST_DAEMON_DATABASE_H

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

namespace spand {

struct DatabaseError : std::runtime_error {
  explicit DatabaseError(const std::string& text, bool may_pass_by_itself = false)
      : std::runtime_error(text), may_pass(may_pass_by_itself) {}

  bool may_pass;  // it lies in the machine, such as a full disk, and not in what the database holds
};

class Database {
 public:
  enum class Access { kWrite, kRead, kReadUnchanging };  // the last: nobody writes it meanwhile, no file is touched

  Database(const std::string& path, Access access);

  void run(const char* sql);  // several statements, no results
  int64_t number(const char* sql);
  std::string text(const char* sql);

  sqlite3* handle() const { return handle_.get(); }
  [[noreturn]] void fail() const;  // with the last error

 private:
  struct Close {
    void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
  };
  std::unique_ptr<sqlite3, Close> handle_;
};

// A statement, run row by row.
class Query {
 public:
  Query(Database& database, const char* sql);

  // Starts over with other arguments.
  template <class... Arguments>
  Query& with(const Arguments&... arguments) {
    sqlite3_reset(statement_.get());
    int position = 0;
    (bind(++position, arguments), ...);
    return *this;
  }

  bool next();  // whether there is a row
  void run();   // to the end

  // Columns of the row, from 0.
  bool is_null(int column) const { return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL; }
  int64_t number(int column) const { return sqlite3_column_int64(statement_.get(), column); }
  std::string text(int column) const;

 private:
  template <class Integer>
  requires std::is_integral_v<Integer>
  void bind(int position, Integer value) {
    check(sqlite3_bind_int64(statement_.get(), position, static_cast<int64_t>(value)));
  }
  void bind(int position, std::string_view value);  // lives until the statement has run
  void check(int result) const;

  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  Database& database_;
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

// A column whose range is not left to the database's own checks: one that is only read does not see to them.
uint32_t number_of(const Query& query, int column, uint32_t first = 0, uint32_t last = UINT32_MAX);

// All or nothing: rolled back unless it comes to its commit().
class Transaction {
 public:
  explicit Transaction(Database& database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void commit();

 private:
  Database& database_;
};

}  // namespace spand

#endif
