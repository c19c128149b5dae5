#pragma once

#include <sqlite3.h>

#include <string>
#include <vector>

#include "vorn/platform/row_value.h"

/// A file in plain SQLite, without any patience.
class PlainSqlite {
 public:
  explicit PlainSqlite(const std::string& file) {
    sqlite3_open_v2(file.c_str(), &m_database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_URI,
                    nullptr);
    sqlite3_extended_result_codes(m_database, 1);
    run("pragma foreign_keys=on");
  }
  ~PlainSqlite() { sqlite3_close(m_database); }
  PlainSqlite(const PlainSqlite&) = delete;
  PlainSqlite& operator=(const PlainSqlite&) = delete;

  /// @return SQLite's extended code
  int run(const std::string& sql) {
    return rows(sql, [](const auto&) {});
  }

  /// What rows() returns for a text with more than one statement, of which nothing is run, and with none.
  static constexpr int kSeveral = -1, kNone = -2;

  /// Runs a text of one statement, and hands every row to `take`. @return SQLite's extended code
  template <typename Take>
  int rows(const std::string& sql, const Take& take) {
    sqlite3_stmt* statement = nullptr;
    const char* rest = nullptr;
    int code = sqlite3_prepare_v2(m_database, sql.c_str(), -1, &statement, &rest);
    if (code != SQLITE_OK) return code;
    if (statement == nullptr) return kNone;
    if (goesOn(rest)) return sqlite3_finalize(statement), kSeveral;
    std::vector<vorn::RowValue> row;
    while ((code = sqlite3_step(statement)) == SQLITE_ROW) {
      row.resize(static_cast<std::size_t>(sqlite3_data_count(statement)));
      for (std::size_t column = 0; column < row.size(); ++column)
        readValue(statement, static_cast<int>(column), row[column]);
      take(row);
    }
    return sqlite3_finalize(statement);
  }

  bool inTransaction() const { return sqlite3_get_autocommit(m_database) == 0; }

 private:
  static void readValue(sqlite3_stmt* statement, int column, vorn::RowValue& value) {
    const int type = sqlite3_column_type(statement, column);
    if (type == SQLITE_NULL) return value.setNull();
    if (type == SQLITE_INTEGER) return value.setInteger(sqlite3_column_int64(statement, column));
    if (type == SQLITE_FLOAT) return value.setReal(sqlite3_column_double(statement, column));
    const void* const bytes = sqlite3_column_blob(statement, column);
    const int size = sqlite3_column_bytes(statement, column);
    value.setText(size == 0 ? "" : static_cast<const char*>(bytes), static_cast<std::size_t>(size));
  }

  /// @return whether anything but blanks, comments and semicolons is left
  bool goesOn(const char* rest) {
    sqlite3_stmt* statement = nullptr;
    while (*rest != '\0' && statement == nullptr)
      if (sqlite3_prepare_v2(m_database, rest, -1, &statement, &rest) != SQLITE_OK) return true;
    sqlite3_finalize(statement);
    return statement != nullptr;
  }

  sqlite3* m_database = nullptr;
};
