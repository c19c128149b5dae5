#pragma once

#include "exec/adapters/sqlite/SqliteDatabase.h"
#include "exec/adapters/sqlite/SqliteStatement.h"
#include "exec/adapters/store/BufferedCursor.h"

namespace vorn {

/// The rows of one SQLite statement, stepped one by one.
///
/// Before the database runs anything but a mere read of the same transaction, its open cursors are drained.
/// So a cursor shows the rows as they were when it was opened, whatever is written between fetches, and holds
/// no snapshot that would bar the write.
class SqliteCursor : public BufferedCursor {
 public:
  /// @param statement  prepared, not yet stepped
  SqliteCursor(SqliteDatabase& database, SqliteStatement statement);
  ~SqliteCursor() override;

  /// Steps to the first row.
  /// @return why the statement failed, or success
  ExecResult start();

 private:
  bool take(std::vector<RowValue>& row) override;
  void letGo() noexcept override;
  void forget() noexcept override;
  bool step() noexcept;
  void readRow(std::vector<RowValue>& row);
  bool valuesAreInPlace() const noexcept;
  void lookUpValues();

  SqliteDatabase& m_database;
  SqliteStatement m_statement;
  bool m_atRow = false;  ///< the statement stands at a row that was not taken yet
  bool m_atFirstRow = true;
  int m_columns = 0;
  std::vector<sqlite3_value*> m_values;  ///< where the values of a row are, by the second row
};

}  // namespace vorn
