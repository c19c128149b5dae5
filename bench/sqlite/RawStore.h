#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

#include "Checksum.h"
#include "Place.h"

namespace bench {

// The library's own settings, given to the others.
inline constexpr int kBusyTimeout = 5000;
inline std::vector<std::string> settingsOf(const Place& place) {
  return {"pragma foreign_keys=on", "pragma synchronous=" + place.synchronous, "pragma journal_mode=wal"};
}

/// The C interface of SQLite.
class RawStore {
 public:
  struct Closer {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Closer>;

  void open(const Place& place);
  void close();
  void begin() { run(m_begin.get()); }
  void commit() { run(m_commit.get()); }
  std::string first(const std::string& sql);

  /// Runs statements with sqlite3_exec().
  void execute(const char* sql);
  void execute(const std::string& sql) { execute(sql.c_str()); }
  Statement prepare(const std::string& sql);

  void bind(sqlite3_stmt* statement, int index, long value) const {
    check(sqlite3_bind_int64(statement, index, value));
  }
  void bind(sqlite3_stmt* statement, int index, double value) const {
    check(sqlite3_bind_double(statement, index, value));
  }
  void bind(sqlite3_stmt* statement, int index, const std::string& text) const {
    check(sqlite3_bind_text(statement, index, text.data(), static_cast<int>(text.size()), SQLITE_STATIC));
  }

  static void take(sqlite3_stmt* statement, int index, long& value) {
    value = sqlite3_column_int64(statement, index);
  }
  static void take(sqlite3_stmt* statement, int index, int& value) {
    value = sqlite3_column_int(statement, index);
  }
  static void take(sqlite3_stmt* statement, int index, double& value) {
    value = sqlite3_column_double(statement, index);
  }
  static void take(sqlite3_stmt* statement, int index, std::string& text) {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement, index));
    text.assign(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement, index)));
  }

  /// Calls `take` for each row of a statement.
  template <typename Take>
  void stepThrough(sqlite3_stmt* statement, const Take& takeRow) const {
    int code = SQLITE_ROW;
    while ((code = sqlite3_step(statement)) == SQLITE_ROW) takeRow();
    check(code, SQLITE_DONE);
  }

  /// Runs a statement that gives no rows, and makes it ready for the next time.
  void run(sqlite3_stmt* statement) const {
    check(sqlite3_step(statement), SQLITE_DONE);
    check(sqlite3_reset(statement));
  }

  /// Reads all rows (id, text, level, ratio) of a statement.
  void readRows(sqlite3_stmt* statement, Checksum& checksum);
  void readRows(const std::string& text, Checksum& checksum) { readRows(prepare(text).get(), checksum); }

  /// Fills the sample table as a user would: one prepared statement in a loop.
  void insert(const SampleRows& rows);

  /// Throws unless `code` is `wanted`.
  void check(int code, int wanted = SQLITE_OK) const {
    if (code != wanted) fail();
  }

 private:
  [[noreturn]] void fail() const;

  std::unique_ptr<sqlite3, Closer> m_database;
  Statement m_begin;
  Statement m_commit;
  SampleRow m_row;
};

}  // namespace bench
