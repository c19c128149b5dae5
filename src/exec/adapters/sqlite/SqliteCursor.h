#pragma once

#include "exec/adapters/RowBuffer.h"
#include "exec/adapters/Store.h"
#include "exec/adapters/sqlite/SqliteStatement.h"

namespace vorn {

class SqliteConnection;

/// The rows of one SQLite statement, stepped one by one.
///
/// Before the connection writes, its open cursors are drained: what they have not delivered yet moves into
/// memory. So a cursor shows the rows as they were when it was opened, whatever is written between fetches,
/// and holds no snapshot that would bar the write.
class SqliteCursor : public StoreCursor {
 public:
  /// @param statement  prepared, not yet stepped
  SqliteCursor(SqliteConnection& connection, SqliteStatement statement);
  ~SqliteCursor() override;

  /// Steps to the first row.
  ExecResult start();

  Fetch fetch(std::vector<RowValue>& row, ExecResult& failure) override;

  /// Moves the remaining rows into memory and ends the statement. A failure on the way is delivered behind
  /// the rows before it.
  /// @return the failure, or success
  ExecResult drain();

  /// The connection is going away.
  void detach();

 private:
  enum class State { AtRow, BetweenRows, Ended };

  void step();
  void note(int code);
  Fetch fetchAtEdge(std::vector<RowValue>& row, ExecResult& failure);
  void readRow(std::vector<RowValue>& row);
  void end();

  SqliteConnection* m_connection;
  SqliteStatement m_statement;
  State m_state = State::BetweenRows;
  int m_columns = 0;
  RowBuffer m_buffer;
  bool m_buffered = false;
  ExecResult m_failure;  ///< why the statement ended early
};

}  // namespace vorn
