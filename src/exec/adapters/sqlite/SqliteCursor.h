#pragma once

#include "exec/adapters/sqlite/SqliteStatement.h"
#include "exec/adapters/store/RowBuffer.h"
#include "exec/adapters/store/StoreCursor.h"

namespace vorn {

class SqliteConnection;

/// The rows of one SQLite statement, stepped one by one.
///
/// Before the connection runs anything but a mere read of the same transaction, its open cursors are drained:
/// what they have not delivered yet moves into memory. So a cursor shows the rows as they were when it was
/// opened, whatever is written between fetches, and holds no snapshot that would bar the write.
///
/// Invariants:
/// 1. While the state is not Ended, the statement is stepped to the row that the state says, and the cursor
/// is
///    known to its connection. Ended, it holds no statement and no connection.
/// 2. Where memory runs out, the cursor is Ended and its failure is set before anybody is told. Rows that
/// were
///    moved into memory before are still delivered.
class SqliteCursor : public StoreCursor {
 public:
  /// @param statement  prepared, not yet stepped
  SqliteCursor(SqliteConnection& connection, SqliteStatement statement);
  ~SqliteCursor() override;

  /// Steps to the first row.
  /// @return why the statement failed, or success
  ExecResult start();

  Fetch fetch(std::vector<RowValue>& row, ExecResult& failure) override;

  /// Moves the remaining rows into memory and ends the statement. A failure on the way is delivered after the
  /// rows before it; a statement that writes is then undone.
  void drain() noexcept;

  /// @return why the statement ended early, or success
  const ExecResult& failure() const noexcept { return m_failure; }

  /// The connection is going away.
  void detach() noexcept;

 private:
  enum class State { AtRow, BetweenRows, Ended };

  void step() noexcept;
  void note(int code) noexcept;
  void fail(ExecResult failure) noexcept;
  Fetch fetchAtEdge(std::vector<RowValue>& row, ExecResult& failure);
  void readRow(std::vector<RowValue>& row);
  void end() noexcept;

  SqliteConnection* m_connection;
  SqliteStatement m_statement;
  State m_state = State::BetweenRows;
  int m_columns = 0;
  RowBuffer m_buffer;
  bool m_buffered = false;  ///< there may be rows in m_buffer
  ExecResult m_failure;     ///< why the statement ended early
};

}  // namespace vorn
