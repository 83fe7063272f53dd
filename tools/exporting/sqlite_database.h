// A SQLite database and its prepared statements, closed and finalized by themselves; what fails is
// reported under the database's name.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "tools/output/report.h"

namespace psltool {

class Database {
 public:
  Database() = default;
  ~Database() { Abandon(); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  bool Open(const std::string& path, const std::string& name) {
    name_ = name;
    if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) !=
        SQLITE_OK) {
      return Trouble();
    }
    constexpr int kBusyMilliseconds = 10000;
    sqlite3_busy_timeout(db_, kBusyMilliseconds);
    return true;
  }
  bool Run(const char* text) {
    return sqlite3_exec(db_, text, nullptr, nullptr, nullptr) == SQLITE_OK || Trouble();
  }
  bool Close() {
    const int result = sqlite3_close(db_);
    if (result != SQLITE_OK) return Trouble();
    db_ = nullptr;
    return true;
  }
  // Closes whatever the state is.
  void Abandon() {
    sqlite3_close(db_);
    db_ = nullptr;
  }
  bool Trouble() const { return Fail(name_, std::string("database: ") + sqlite3_errmsg(db_)); }
  sqlite3* get() const { return db_; }

 private:
  sqlite3* db_ = nullptr;
  std::string name_;  // in reports
};

// A prepared statement; the parameters are bound anew each time.
class Statement {
 public:
  Statement() = default;
  ~Statement() { sqlite3_finalize(statement_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  bool Prepare(const Database& database, const char* text) {
    database_ = &database;
    return sqlite3_prepare_v3(database.get(), text, -1, SQLITE_PREPARE_PERSISTENT, &statement_,
                              nullptr) == SQLITE_OK ||
           database.Trouble();
  }
  void Bind(int at, int64_t number) { sqlite3_bind_int64(statement_, at, number); }
  void Bind(int at, double number) { sqlite3_bind_double(statement_, at, number); }
  void Bind(int at, std::string_view text) {
    sqlite3_bind_text(statement_, at, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
  }
  void BindNull(int at) { sqlite3_bind_null(statement_, at); }

  // Runs to the end. `first`: gets the first column of the first row when there is one.
  bool Run(int64_t* first = nullptr) {
    int step = sqlite3_step(statement_);
    if (step == SQLITE_ROW && first != nullptr) *first = sqlite3_column_int64(statement_, 0);
    while (step == SQLITE_ROW) step = sqlite3_step(statement_);
    const bool done = step == SQLITE_DONE || database_->Trouble();
    sqlite3_reset(statement_);
    return done;
  }

 private:
  const Database* database_ = nullptr;
  sqlite3_stmt* statement_ = nullptr;
};

inline bool ReadNumber(const Database& database, const char* text, int64_t& number) {
  Statement statement;
  return statement.Prepare(database, text) && statement.Run(&number);
}

}  // namespace psltool
