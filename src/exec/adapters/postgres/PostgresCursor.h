#pragma once

#include <vector>

#include "exec/adapters/postgres/PostgresExecutor.h"
#include "exec/adapters/postgres/PostgresResult.h"
#include "exec/adapters/store/BufferedCursor.h"

namespace vorn {

/// The rows of one read, taken from the server one by one.
///
/// The server sends the whole result before it listens again, so a connection has one cursor that streams.
/// When the connection is needed, what that cursor has not delivered yet moves into memory.
class PostgresCursor : public BufferedCursor {
 public:
  /// @param executor  has sent the statement
  explicit PostgresCursor(PostgresExecutor& executor);
  ~PostgresCursor() override;

  /// Waits for the first row.
  ExecResult start();

  ExecResult close() noexcept override;

 private:
  enum class Form : unsigned char { Text, Integer, Real, Boolean, Bytes };

  bool take(std::vector<RowValue>& row) override;
  void letGo() noexcept override;
  void forget() noexcept override;
  static Form formOf(Oid type);
  static void setValue(RowValue& target, Form form, const char* text, std::size_t size);
  void advance();
  void readRow(std::vector<RowValue>& row);

  PostgresExecutor& m_executor;
  PostgresResult m_row;  ///< the next row, when it is here already
  std::vector<Form> m_forms;
  ExecResult m_closing;  ///< what giving up the rest of the read came to
  bool m_lost = false;   ///< the channel broke under the read
};

}  // namespace vorn
