#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "exec/adapters/Store.h"
#include "exec/adapters/postgres/PostgresDriver.h"
#include "exec/adapters/postgres/PostgresResult.h"
#include "exec/adapters/postgres/PostgresStatement.h"

namespace vorn {

class PostgresCursor;

/// One connection to a PostgreSQL server.
class PostgresConnection : public StoreConnection {
 public:
  static ExecResult open(const PostgresSettings& settings, std::unique_ptr<StoreConnection>& connection);

  ~PostgresConnection() override;
  PostgresConnection(const PostgresConnection&) = delete;
  PostgresConnection& operator=(const PostgresConnection&) = delete;

  bool usable() noexcept override;
  bool inTransaction() const noexcept override;
  bool renew() noexcept override { return true; }
  void giveUp() noexcept override { m_broken = true; }
  void drainCursors() noexcept override;
  ExecResult begin() override;
  ExecResult commit() override;
  ExecResult rollback() override;
  ExecResult read(const std::string& sql, std::unique_ptr<StoreCursor>& cursor) override;
  ExecResult write(const std::string& sql, std::uint64_t& rows) override;
  ExecResult batch(const std::string& sql, const TypedRef& parameters, std::uint64_t& rows) override;

  PGconn* handle() const { return m_handle.get(); }

  /// Sends one statement with `count` parameters as text. Its answer comes row by row.
  ExecResult send(const std::string& sql, int count = 0, const char* const* values = nullptr);

  /// Takes what is left of the answer, `result` first, up to its end. Rows are dropped, and a copy that the
  /// statement asks for is refused.
  /// @param rows  where to add the number of rows written, or null
  ExecResult finish(PostgresResult result, std::uint64_t* rows = nullptr);

  /// @return the number of rows that the statement of an outcome has written
  static std::uint64_t rowsWritten(PGresult* result);

  /// Runs one statement whose rows do not count.
  ExecResult run(const std::string& sql);

  /// For the cursor that still waits for rows of the server.
  void setStreaming(PostgresCursor* cursor) { m_streaming = cursor; }

  /// Gets rid of what is left of a read: takes it if it is little or may undo something, and cancels the read
  /// otherwise, or in a transaction leaves the rows until the connection is needed.
  void abandonRead(EarlyEnd end);

  /// Gives the connection up; it is closed instead of being used again.
  void setBroken() { m_broken = true; }

 private:
  using Clock = std::chrono::steady_clock;

  struct Closer {
    void operator()(PGconn* connection) const { PQfinish(connection); }
  };

  explicit PostgresConnection(std::unique_ptr<PGconn, Closer> handle);

  static void receiveNotice(void* self, const PGresult* notice);
  ExecResult configure();
  ExecResult checkCommitted(const std::string& sql) const;
  ExecResult refuseCopy(ExecStatusType status);
  bool takeRest(int milliseconds);
  bool cancel();

  std::unique_ptr<PGconn, Closer> m_handle;
  PostgresCursor* m_streaming = nullptr;
  bool m_transactionBefore = false;  ///< whether a transaction was open when the statement in work was sent
  bool m_abandoned = false;          ///< whether rows of a read that was given up are still to come
  bool m_broken = false;
  Clock::time_point m_answered;  ///< when the server last completed an answer
  bool m_rolledBack = false;     ///< whether the last statement that succeeded ended in a rollback
};

}  // namespace vorn
