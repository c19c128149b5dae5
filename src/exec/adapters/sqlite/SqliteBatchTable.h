#pragma once

#include <sqlite3.h>

#include <set>
#include <string>

#include "exec/adapters/BatchColumns.h"

namespace vorn {

/// The parameter set of a batch as a virtual table, one row a row and one column (`c0`, `c1`, …) a column, so
/// that one `insert … select` takes the values straight from where they are. One for each connection.
class SqliteBatchTable {
 public:
  /// Makes the table with `columns` columns known to the connection, once.
  /// @param name  set to the table's name
  /// @return an SQLite result code
  int provide(sqlite3* database, std::size_t columns, std::string& name);

  /// Rows from `first` up to, not including, `end`.
  struct Range {
    std::size_t first = 0;
    std::size_t end = 0;
  };

  /// Sets what the table shows; null for nothing.
  void show(const BatchColumns* columns, Range range) {
    m_shown = columns;
    m_range = range;
  }

 private:
  struct Table;
  struct Cursor;

  static int connect(sqlite3* database, void* self, int argc, const char* const* argv, sqlite3_vtab** table,
                     char** message);
  static int disconnect(sqlite3_vtab* table);
  static int bestIndex(sqlite3_vtab* table, sqlite3_index_info* plan);
  static int openCursor(sqlite3_vtab* table, sqlite3_vtab_cursor** cursor);
  static int closeCursor(sqlite3_vtab_cursor* cursor);
  static int filter(sqlite3_vtab_cursor* cursor, int plan, const char* text, int argc, sqlite3_value** argv);
  static int next(sqlite3_vtab_cursor* cursor);
  static int atEnd(sqlite3_vtab_cursor* cursor);
  static int column(sqlite3_vtab_cursor* cursor, sqlite3_context* context, int column);
  static int rowId(sqlite3_vtab_cursor* cursor, sqlite3_int64* id);
  static const sqlite3_module* module();

  std::set<std::size_t> m_provided;  ///< the numbers of columns for which there is a table
  const BatchColumns* m_shown = nullptr;
  Range m_range;
};

}  // namespace vorn
