#pragma once

#include <sqlite3.h>

#include <string>

/// A file in plain SQLite, without any patience.
class PlainSqlite {
 public:
  explicit PlainSqlite(const std::string& file) {
    sqlite3_open(file.c_str(), &m_database);
    sqlite3_extended_result_codes(m_database, 1);
    run("pragma foreign_keys=on");
  }
  ~PlainSqlite() { sqlite3_close(m_database); }
  PlainSqlite(const PlainSqlite&) = delete;
  PlainSqlite& operator=(const PlainSqlite&) = delete;

  /// @return SQLite's extended code
  int run(const std::string& sql) { return sqlite3_exec(m_database, sql.c_str(), keep, &m_last, nullptr); }

  /// @return the first field of the last row, ~ for null, or the failure
  std::string text(const std::string& sql) {
    m_last.clear();
    const int code = run(sql);
    return code == SQLITE_OK ? m_last : sqlite3_errstr(code);
  }

  sqlite3* handle() const { return m_database; }
  bool inTransaction() const { return sqlite3_get_autocommit(m_database) == 0; }

 private:
  static int keep(void* last, int, char** values, char**) {
    *static_cast<std::string*>(last) = values[0] == nullptr ? "~" : values[0];
    return 0;
  }

  sqlite3* m_database = nullptr;
  std::string m_last;
};
