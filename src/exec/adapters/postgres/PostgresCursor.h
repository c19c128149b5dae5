#pragma once

#include <vector>

#include "exec/adapters/postgres/PostgresResult.h"
#include "exec/adapters/store/RowBuffer.h"
#include "exec/adapters/store/StoreCursor.h"

namespace vorn {

class PostgresConnection;

/// The rows of one read, taken from the server one by one.
///
/// The server sends the whole result before it listens again, so a connection has one cursor that streams.
/// When the connection is needed, what that cursor has not delivered yet moves into memory.
class PostgresCursor : public StoreCursor {
 public:
  /// @param connection  has sent the statement
  explicit PostgresCursor(PostgresConnection& connection);
  ~PostgresCursor() override;
  PostgresCursor(const PostgresCursor&) = delete;
  PostgresCursor& operator=(const PostgresCursor&) = delete;

  /// Waits for the first row.
  ExecResult start();

  /// @return whether rows of the server are still to come
  bool streams() const noexcept { return m_connection != nullptr; }

  Fetch fetch(std::vector<RowValue>& row, ExecResult& failure) override;

  ExecResult close() noexcept override;

  /// Moves the remaining rows into memory. A failure on the way is delivered after the rows before it. After
  /// an exception, too, the cursor delivers the rows that it has, and then a failure.
  /// @return the failure, or success
  ExecResult moveToMemory();

  /// The connection is going away.
  void detach() noexcept;

 private:
  enum class Form : unsigned char { Text, Integer, Real, Boolean, Bytes };

  static Form formOf(Oid type);
  static void setValue(RowValue& target, Form form, const char* text, std::size_t size);
  void advance();
  void end(ExecResult failure) noexcept;
  void readRow(std::vector<RowValue>& row);

  PostgresConnection* m_connection;  ///< null once the server's answer is complete
  PostgresResult m_row;              ///< the next row, when it is here already
  std::vector<Form> m_forms;
  RowBuffer m_buffer;
  bool m_buffered = false;
  ExecResult m_failure;  ///< why the result ended early
};

}  // namespace vorn
