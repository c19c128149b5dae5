#pragma once

#include <sqlite3.h>

#include <set>
#include <string>

#include "exec/adapters/store/BatchColumns.h"

namespace vorn {

/// The parameter set of a batch as a virtual table, one row a row and one column (`c0`, `c1`, …) a column, so
/// that one `insert … select` takes the values straight from where they are. One for each connection.
///
/// The table's name begins with `sqlite_`, which SQLite refuses to every table that a caller creates: none
/// can hide it. No exception leaves the functions that SQLite calls.
class SqliteBatchTable {
 public:
  /// Makes the table with `columns` columns known to the connection, once.
  /// @param name  set to the table's name
  /// @return an SQLite result code
  int provide(sqlite3* database, std::size_t columns, std::string& name);

  /// Shows a parameter set for as long as it lives.
  class Showing {
   public:
    /// @param numbered  a column that is null from its second row on; columns.size() for none
    Showing(SqliteBatchTable& table, const BatchColumns& columns, std::size_t numbered) noexcept
        : m_table(table) {
      table.m_shown = &columns;
      table.m_numbered = numbered;
      table.m_wasRead = false;
    }
    ~Showing() { m_table.m_shown = nullptr; }
    Showing(const Showing&) = delete;
    Showing& operator=(const Showing&) = delete;

    /// @return whether a statement has read the rows
    bool wasRead() const noexcept { return m_table.m_wasRead; }

   private:
    SqliteBatchTable& m_table;
  };

 private:
  struct Table;
  struct Cursor;

  static int connect(sqlite3* database, void* self, int argc, const char* const* argv, sqlite3_vtab** table,
                     char** message) noexcept;
  static int disconnect(sqlite3_vtab* table) noexcept;
  static int bestIndex(sqlite3_vtab* table, sqlite3_index_info* plan) noexcept;
  static int openCursor(sqlite3_vtab* table, sqlite3_vtab_cursor** cursor) noexcept;
  static int closeCursor(sqlite3_vtab_cursor* cursor) noexcept;
  static int filter(sqlite3_vtab_cursor* cursor, int plan, const char* text, int argc,
                    sqlite3_value** argv) noexcept;
  static int next(sqlite3_vtab_cursor* cursor) noexcept;
  static int atEnd(sqlite3_vtab_cursor* cursor) noexcept;
  static int column(sqlite3_vtab_cursor* cursor, sqlite3_context* context, int column) noexcept;
  static int rowId(sqlite3_vtab_cursor* cursor, sqlite3_int64* id) noexcept;
  static const sqlite3_module* module() noexcept;

  std::set<std::size_t> m_provided;  ///< the numbers of columns for which there is a table
  const BatchColumns* m_shown = nullptr;
  std::size_t m_numbered = 0;
  bool m_wasRead = false;
};

}  // namespace vorn
