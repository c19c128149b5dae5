#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "exec/adapters/mariadb/MariaDbChannel.h"
#include "exec/adapters/mariadb/MariaDbStatement.h"
#include "exec/adapters/mariadb/statement_effects.h"
#include "exec/adapters/store/BufferedCursor.h"

namespace vorn {

/// Runs statements one after another over a channel, each to the end of its answer.
///
/// Invariants:
/// 1. Between two calls the channel is at rest, or its answer is Streaming to the cursor that is set, or it is the
///    rest of a read that was GivenUp inside a transaction. Otherwise an exception has cut off a conversation, and the
///    executor is not usable.
/// 2. A statement is asked after the answer before it was taken whole: the rest of a streaming cursor moves into
///    memory, the rest of a read that was given up is dropped.
/// 3. The session counts as changed from before a statement that may change it is sent until a reset of the session
///    has succeeded, and from when the server says so.
/// 4. A text larger than the server takes is never sent, as the server would close the connection for it.
class MariaDbExecutor {
 public:
  /// Bytes below which a request fits into what every server takes, unless it was told to take hardly anything.
  static constexpr std::size_t kSurelyTaken = 16384;

  explicit MariaDbExecutor(std::unique_ptr<MariaDbChannel> channel);
  ~MariaDbExecutor();
  MariaDbExecutor(const MariaDbExecutor&) = delete;
  MariaDbExecutor& operator=(const MariaDbExecutor&) = delete;

  MariaDbChannel& channel() noexcept { return *m_channel; }

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
  /// @return the failure of that where it has ended the transaction: nothing may be asked any more then
  ExecResult makeReady();

  /// Makes a statement that looks back, which is asked next, see nothing of what others did on the connection.
  ExecResult hideOthers(const StatementEffects& effects);

  /// Asks a statement, after makeReady().
  ExecResult send(const std::string& sql, const StatementEffects& effects);

  /// Prepares a statement, after makeReady().
  /// @param statement  set on success only, with its text and size
  ExecResult prepare(const std::string& sql, MariaDbStatement& statement);

  /// To be called before a prepared statement with an effect on the session is asked.
  void noteEffect(SessionEffect effect) noexcept { m_session = std::max(m_session, effect); }

  /// Makes ready, asks one of the layer's own statements, and takes the answer.
  ExecResult run(const std::string& sql);

  /// Makes ready, asks one of the layer's own statements for one value.
  ExecResult ask(const std::string& sql, std::string& value);

  /// Takes what is left of the answer, up to its end. Rows are dropped.
  /// @param rows  where to add the number of rows written, or null
  ExecResult finish(std::uint64_t* rows = nullptr);

  /// @return the bytes of the largest statement that the server takes, asked once; 0 when that could not be learnt
  std::uint64_t largestPacket();

  SessionEffect sessionEffect() noexcept;
  void setSessionReset() noexcept {
    m_session = SessionEffect::None;
    m_largestPacket = 0;  // a session has that of its beginning
  }

  /// For the cursor that waits for rows of the server: from its start to the end of the answer, or to abandonRead().
  void startStreaming(BufferedCursor* cursor) noexcept;
  void stopStreaming() noexcept;

  /// Gets rid of what is left of a read whose cursor has stopped streaming. What is here within its patience is taken.
  /// After that, inside a transaction the rows are left until the connection is needed; outside of one the connection
  /// is closed, and with it the read's own transaction.
  /// @return a failure when the read did not come to its end
  ExecResult abandonRead();

 private:
  enum class Answer : unsigned char { Taken, Streaming, GivenUp };

  bool takeRest(std::chrono::milliseconds limit);
  bool takeRows(std::chrono::milliseconds limit);
  void detachCursor() noexcept;
  ExecResult checkSize(const std::string& sql);
  ExecResult refusal(ExecResult failure, const std::string& sql) const;

  std::unique_ptr<MariaDbChannel> m_channel;
  Answer m_answer = Answer::Taken;
  BufferedCursor* m_cursor = nullptr;  ///< set while Streaming
  SessionEffect m_session = SessionEffect::None;
  std::uint64_t m_largestPacket = 0;  ///< 0 as long as nobody has asked
};

}  // namespace vorn
