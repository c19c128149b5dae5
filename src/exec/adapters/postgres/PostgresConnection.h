#pragma once

#include <memory>
#include <string>

#include "exec/adapters/postgres/PostgresChannel.h"
#include "exec/adapters/store/StoreConnection.h"

namespace vorn {

class PostgresCursor;

/// One connection to a PostgreSQL server.
///
/// Invariants:
/// 1. Between two calls the channel is at rest, or its answer belongs to the cursor that streams, or to a
/// read
///    that was given up inside a transaction. Otherwise an exception has cut off a conversation, and the
///    connection is not usable.
/// 2. A statement is asked after the answer before it was taken whole: the rest of a streaming cursor moves
/// into
///    memory, the rest of a read that was given up is dropped.
/// 3. A connection that goes back to the pool with a session that a statement may have changed is reset
/// there,
///    or closed.
class PostgresConnection : public StoreConnection {
 public:
  static ExecResult open(const PostgresSettings& settings, std::unique_ptr<StoreConnection>& connection);

  ~PostgresConnection() override;
  PostgresConnection(const PostgresConnection&) = delete;
  PostgresConnection& operator=(const PostgresConnection&) = delete;

  bool usable() noexcept override;
  bool inTransaction() const noexcept override;
  bool renew() noexcept override;
  void giveUp() noexcept override;
  void drainCursors() noexcept override;
  ExecResult begin() override;
  ExecResult commit() override;
  ExecResult rollback() override;
  ExecResult read(const std::string& sql, std::unique_ptr<StoreCursor>& cursor) override;
  ExecResult write(const std::string& sql, std::uint64_t& rows) override;
  ExecResult batch(const std::string& sql, const BatchColumns& columns, std::uint64_t& rows) override;

  PostgresChannel& channel() noexcept { return *m_channel; }

  /// Makes the channel ready for a question, by taking what is left of the answer before it.
  /// @return a failure when that cannot be done
  ExecResult makeReady();

  /// Takes note that a statement may change the session.
  void noteStatement(const std::string& sql);

  /// Takes what is left of the answer, `result` first, up to its end. Rows are dropped, and a copy that the
  /// statement asks for is refused.
  /// @param rows  where to add the number of rows written, or null
  ExecResult finish(PostgresResult result, std::uint64_t* rows = nullptr);

  /// Takes the whole answer.
  ExecResult finish(std::uint64_t* rows = nullptr);

  /// @return the number of rows that the statement of an outcome has written
  static std::uint64_t rowsWritten(PGresult* result);

  /// For the cursor that still waits for rows of the server.
  void setStreaming(PostgresCursor* cursor) noexcept { m_streaming = cursor; }

  /// Gets rid of what is left of a read. What is here within its patience is taken. After that, inside a
  /// transaction the rows are left until the connection is needed; outside of one the connection is closed,
  /// and with it the read's own transaction.
  /// @return a failure when the read did not come to its end
  ExecResult abandonRead();

 private:
  PostgresConnection(std::unique_ptr<PostgresChannel> channel, bool alwaysReset);

  ExecResult configure();
  ExecResult send(const std::string& sql);
  ExecResult sendCopy(const std::string& sql);
  ExecResult refuseCopy(ExecStatusType status);
  ExecResult checkKept(const std::string& sql, ExecResult outcome) const;
  bool runQuietly(const std::string& sql, const PostgresChannel::Deadline& deadline);

  std::unique_ptr<PostgresChannel> m_channel;
  const bool m_alwaysReset;
  PostgresCursor* m_streaming = nullptr;
  bool m_abandoned = false;          ///< whether rows of a read that was given up are still to come
  bool m_transactionBefore = false;  ///< whether a transaction was open when the last statement was sent
  bool m_rolledBack = false;         ///< whether the last statement that succeeded ended in a rollback
  bool m_changed = false;            ///< whether a statement may have changed the session
};

}  // namespace vorn
