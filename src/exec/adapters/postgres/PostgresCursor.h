#pragma once

#include <vector>

#include "exec/adapters/RowBuffer.h"
#include "exec/adapters/Store.h"
#include "exec/adapters/postgres/PostgresResult.h"
#include "exec/adapters/postgres/PostgresStatement.h"

namespace vorn {

class PostgresConnection;

/// The rows of one read, taken from the server one by one.
///
/// The server sends the whole result before it listens again, so a connection has one cursor that streams.
/// When the connection is needed, what that cursor has not delivered yet moves into memory.
class PostgresCursor : public StoreCursor {
 public:
  /// @param connection  has sent the statement
  /// @param end  what the statement loses when it ends early
  PostgresCursor(PostgresConnection& connection, EarlyEnd end);
  ~PostgresCursor() override;
  PostgresCursor(const PostgresCursor&) = delete;
  PostgresCursor& operator=(const PostgresCursor&) = delete;

  /// Waits for the first row.
  ExecResult start();

  Fetch fetch(std::vector<RowValue>& row, ExecResult& failure) override;

  /// Moves the remaining rows into memory. A failure on the way is delivered behind the rows before it.
  /// @return the failure, or success
  ExecResult moveToMemory();

  /// The connection is going away.
  void detach();

 private:
  enum class Form : unsigned char { Text, Integer, Real, Boolean, Bytes };

  static Form formOf(Oid type);
  static void setValue(RowValue& target, Form form, const char* text, std::size_t size);
  void advance();
  void readRow(std::vector<RowValue>& row);

  PostgresConnection* m_connection;  ///< null once the server's answer is complete
  const EarlyEnd m_end;
  PostgresResult m_row;  ///< the next row, when it is here already
  std::vector<Form> m_forms;
  RowBuffer m_buffer;
  bool m_buffered = false;
  ExecResult m_failure;  ///< why the result ended early
};

}  // namespace vorn
