#pragma once

#include <vector>

#include "exec/adapters/mariadb/MariaDbExecutor.h"
#include "exec/adapters/mariadb/mariadb_binary.h"
#include "exec/adapters/store/BufferedCursor.h"

namespace vorn {

/// The rows of one read, taken from the server one by one.
///
/// The server sends the whole result before it listens again, so a connection has one cursor that streams. When the
/// connection is needed, what that cursor has not delivered yet moves into memory. Of an answer of several results, as
/// a procedure may give, the rows of the first one count.
///
/// Invariants:
/// 1. While m_ahead is set, the channel stands at a row that was not delivered.
/// 2. Once the channel is broken or at rest, nothing more is taken from it.
class MariaDbCursor : public BufferedCursor {
 public:
  /// @param executor  has sent the statement
  explicit MariaDbCursor(MariaDbExecutor& executor);
  ~MariaDbCursor() override;

  /// Waits for the first row.
  ExecResult start();

  ExecResult close() noexcept override;

 private:
  bool take(std::vector<RowValue>& row) override;
  void letGo() noexcept override;
  void forget() noexcept override;
  bool advance();
  void readRow(std::vector<RowValue>& row);
  void readText(std::vector<RowValue>& row);
  void readBinary(std::vector<RowValue>& row);

  MariaDbExecutor& m_executor;
  std::vector<MariaDbForm> m_forms;
  ExecResult m_closing;  ///< what giving up the rest of the read came to
  bool m_ahead = false;
};

}  // namespace vorn
