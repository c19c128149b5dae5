#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "exec/adapters/postgres/PostgresChannel.h"
#include "exec/adapters/postgres/PostgresResult.h"
#include "exec/adapters/store/BufferedCursor.h"

namespace vorn {

/// Runs statements one after another over a channel, each to the end of its answer.
///
/// Invariants:
/// 1. Between two calls the channel is at rest, or its answer is Streaming to the cursor that is set, or it
///    is the rest of a read that was GivenUp inside a transaction. Otherwise an exception has cut off a
///    conversation, and the executor is not usable.
/// 2. A statement is asked after the answer before it was taken whole: the rest of a streaming cursor moves
///    into memory, the rest of a read that was given up is dropped.
/// 3. The session counts as changed from before a statement that may change it is sent until a reset of the
///    session has succeeded.
class PostgresExecutor {
 public:
  PostgresExecutor(std::unique_ptr<PostgresChannel> channel, bool alwaysReset);
  ~PostgresExecutor();
  PostgresExecutor(const PostgresExecutor&) = delete;
  PostgresExecutor& operator=(const PostgresExecutor&) = delete;

  PostgresChannel& channel() noexcept { return *m_channel; }

  bool usable() noexcept;
  bool inTransaction() const noexcept;

  /// Breaks the channel; its cursor fails.
  void giveUp() noexcept;

  /// Moves what the streaming cursor has not delivered yet into memory.
  void drainCursor() noexcept;

  /// Drops the rest of a read that was given up, if there is one and it does not take long.
  /// @return false when it did; the executor is then given up
  bool dropGivenUp() noexcept;

  /// Makes the channel ready for a question, by taking what is left of the answer before it.
  /// @return a failure when that cannot be done
  ExecResult makeReady();

  /// Makes ready and asks a statement.
  ExecResult send(const std::string& sql);

  /// Asks a statement, after makeReady().
  /// @param plain  whether it is known to set off no functions that its text does not name
  ExecResult sendReady(const std::string& sql, bool plain = false);

  /// Asks one of the layer's own statements by the simple protocol, and takes the answer.
  ExecResult run(const char* statement);

  /// Takes note that the transaction has just begun: if the next statement fails, nothing else is lost.
  void noteBegin() noexcept { m_justBegun = true; }
  /// @return whether nothing has been asked since the transaction began
  bool firstInTransaction() const noexcept { return m_first; }

  /// Takes note of what a statement may change: the session, the schema, the locks of its transaction.
  /// @param plain  as for sendReady()
  void noteStatement(const std::string& sql, bool plain = false);

  /// Takes note that functions may have run of which no text says anything.
  void noteHidden() noexcept;
  /// Takes note that the schema may have changed.
  void noteSchema() noexcept { ++m_schemaMark; }

  /// @return whether the session has to be reset before somebody else gets it
  bool sessionChanged() const noexcept { return m_sessionChanged || (m_alwaysReset && m_used); }
  /// @return whether the text of a statement shows that the session may have changed, be it for the transaction
  bool textChangedSession() const noexcept { return m_sessionChanged || m_settingsChanged; }
  void setSessionReset() noexcept { m_sessionChanged = m_used = false; }

  /// @return a number that stays while what the statements of a transaction have locked stays locked, and
  ///         nothing that this connection ran may have changed the schema. Another one in every transaction.
  std::uint64_t transactionMark() const noexcept { return m_transactionMark; }

  /// @return another number in every transaction
  std::uint64_t transaction() const noexcept { return m_transaction; }

  /// @return whether functions may have run in this transaction of which no text says anything
  bool ranHidden() const noexcept { return m_ranHidden; }

  /// @return a number that stays while no text of this connection may have changed the schema
  std::uint64_t schemaMark() const noexcept { return m_schemaMark; }

  /// Takes what is left of the answer, `result` first, up to its end. Rows are dropped, and a copy that the
  /// statement asks for is refused.
  /// @param rows  where to add the number of rows written, or null
  ExecResult finish(PostgresResult result, std::uint64_t* rows = nullptr);

  /// Takes the whole answer.
  ExecResult finish(std::uint64_t* rows = nullptr);

  /// What an answer says of the prepared statement that was asked.
  enum class Refusal : unsigned char { None, Stale, Unknown };

  /// @return why the server has not begun to run the statement that failed, where another preparation of it,
  ///         or its text, may do
  Refusal refusal() const noexcept { return m_refusal; }

  /// @return the outcome, or a failure for a statement that was to keep a transaction and rolled it back
  ExecResult checkKept(const std::string& sql, ExecResult outcome) const;

  /// @return the number of rows that the statement of an outcome has written
  static std::uint64_t rowsWritten(PGresult* result);

  /// For the cursor that waits for rows of the server: from its start to the end of the answer, or to
  /// abandonRead().
  void startStreaming(BufferedCursor* cursor) noexcept;
  void stopStreaming() noexcept;

  /// Gets rid of what is left of a read whose cursor has stopped streaming. What is here within its patience
  /// is taken. After that, inside a transaction the rows are left until the connection is needed; outside of
  /// one the connection is closed, and with it the read's own transaction.
  /// @return a failure when the read did not come to its end
  ExecResult abandonRead();

 private:
  enum class Answer : unsigned char { Taken, Streaming, GivenUp };

  ExecResult sendCopy(const std::string& sql);
  ExecResult refuseCopy(ExecStatusType status);
  void detachCursor() noexcept;

  std::unique_ptr<PostgresChannel> m_channel;
  const bool m_alwaysReset;
  Answer m_answer = Answer::Taken;
  BufferedCursor* m_cursor = nullptr;  ///< set while Streaming
  bool m_transactionBefore = false;    ///< whether a transaction was open when the last statement was sent
  bool m_rolledBack = false;           ///< whether the last statement that succeeded ended in a rollback
  bool m_sessionChanged = false;
  bool m_settingsChanged = false;  ///< for this transaction
  bool m_justBegun = false;
  bool m_first = false;
  Refusal m_refusal = Refusal::None;
  bool m_used = false;       ///< since the last reset
  bool m_ranHidden = false;  ///< in this transaction
  std::uint64_t m_transaction = 1;
  std::uint64_t m_transactionMark = 1;
  std::uint64_t m_schemaMark = 0;
};

}  // namespace vorn
