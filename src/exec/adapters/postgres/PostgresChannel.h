#pragma once

#include <libpq-fe.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "exec/adapters/postgres/PostgresResult.h"
#include "exec/adapters/postgres/PostgresSettings.h"
#include "vorn/platform/data_session.h"

namespace vorn {

/// One conversation with a PostgreSQL server: questions go out, and the answers that come back are counted.
///
/// Invariants:
/// 1. A question is sent only at rest, which means that no answer is outstanding.
/// 2. Every question has one answer of at least one result. An answer without a result is a failure.
/// 3. Whatever is not understood (a failed sending, an answer without a result, a message that nobody asked
///    for, a pipeline whose answers do not match its questions) breaks the channel, and a broken channel
///    stays broken.
/// 4. No wait lasts for ever after the other side has gone: keepalives end a wait for an answer, and a peer
///    that acknowledges nothing of what was sent for half a minute is given up. A peer that is merely slow is
///    waited for.
/// 5. No thread is started, and nothing is thrown but std::bad_alloc.
class PostgresChannel {
 public:
  using Clock = std::chrono::steady_clock;
  using Deadline = std::optional<Clock::time_point>;

  /// Connects within the `connect_timeout` of the keywords, which holds for each host.
  static ExecResult connect(const PostgresKeywords& keywords, std::unique_ptr<PostgresChannel>& channel);

  PostgresChannel(const PostgresChannel&) = delete;
  PostgresChannel& operator=(const PostgresChannel&) = delete;

  PGconn* handle() const noexcept { return m_handle.get(); }
  bool atRest() const noexcept { return m_state == State::AtRest; }
  bool broken() const noexcept { return m_broken || PQstatus(handle()) != CONNECTION_OK; }
  void setBroken() noexcept { m_broken = true; }

  /// @return whether the server keeps texts, and counts their characters, as UTF-8
  bool countsUtf8() const noexcept;

  /// Looks, without waiting, whether the server has closed a channel at rest or has said something unasked.
  bool isQuiet() noexcept;

  /// Asks one statement by the extended protocol, in which the server itself refuses a second one. Its rows
  /// come one by one.
  ExecResult ask(const std::string& sql);

  /// A prepared statement, the values of its parameters, and how they are given, as PQexecPrepared() takes them.
  struct PreparedCall {
    const char* name;
    int count;
    const char* const* values;
    const int* lengths;
    const int* formats;
  };

  /// Asks a prepared statement. Its rows come one by one.
  ExecResult askPrepared(const PreparedCall& call);

  /// Asks a prepared statement, and just before it, in the same round trip, a statement without rows. Where
  /// that one fails, its failure is the answer.
  /// @param before  its text
  /// @param name    under which it is prepared; empty if it is not
  ExecResult askPrepared(const PreparedCall& call, const char* before, const std::string& name);

  /// Asks by the simple protocol. There, a copy that the server refuses before its first data has one answer;
  /// in the extended protocol it has two. The text may hold several statements.
  ExecResult askSimple(const std::string& sql);

  /// Has the server parse a statement, as its unnamed prepared statement.
  ExecResult askToParse(const std::string& sql);

  /// Waits for the next result of the answer.
  /// @param result  set to null at the end of the answer, after which the channel is at rest
  /// @return false when there is none to be had: see lost()
  bool next(PostgresResult& result, const Deadline& deadline = {});

  /// @return why next() had no result
  ExecResult lost() const;

  /// Drops the rest of the answer for at most `limit`.
  /// @return whether the channel is at rest
  bool takeRest(std::chrono::milliseconds limit);

  /// Sends bytes of a copy. @return false when the server takes no more; its answer then says why
  bool putCopyData(const char* bytes, int size);
  /// Ends a copy, or with a reason gives it up.
  bool endCopy(const char* reason);
  /// Takes a piece of a copy that the server sends; the caller frees it by PQfreemem().
  /// @return false when there is no more
  bool takeCopyData(char*& data);

  /// Begins to ask several things in one round trip, which go out by libpq's own send functions.
  ExecResult beginPipeline();
  /// @param questions  how many were sent. Each has an answer that next() ends with a null.
  ExecResult sendPipeline(std::size_t questions);
  /// Ends the pipeline after the last answer.
  /// @return a failure when the server could not keep what was done outside of a transaction, or the answers do
  ///         not match the questions
  ExecResult endPipeline();

  Clock::time_point lastAnswer() const noexcept { return m_lastAnswer; }

  /// @return the end of the time in which a connection has to be made ready, if there is a limit
  Deadline connectDeadline() const;

 private:
  enum class State : unsigned char { AtRest, Asked, Pipeline };
  /// Pause: nothing has come for a while; ask the client library again, and go on waiting.
  enum class Wait : unsigned char { Ready, Pause, Over };

  struct Closer {
    void operator()(PGconn* connection) const { PQfinish(connection); }
  };

  explicit PostgresChannel(const PostgresKeywords& keywords);

  static void receiveNotice(void* self, const PGresult* notice) noexcept;
  bool connectToOneHost();
  bool send(const PreparedCall& call);
  ExecResult asked(bool accepted);
  bool flush();
  bool awaitResult(const Deadline& deadline);
  Wait wait(short events, const Deadline& deadline);
  bool peerIsSilent() const noexcept;
  void endAnswer() noexcept;
  bool takeStatementBefore(PostgresResult& result, const Deadline& deadline);
  bool takeResult(PostgresResult& result, const Deadline& deadline);
  void endTwoStatements();

  std::unique_ptr<PGconn, Closer> m_handle;
  std::chrono::seconds m_connectLimit{0};  ///< 0 for none
  State m_state = State::AtRest;
  bool m_broken = false;
  bool m_answered = false;  ///< whether the answer in work has had a result
  /// Of the statement that was asked before another one.
  enum class Before : unsigned char { None, Asked, Answered } m_before = Before::None;
  std::size_t m_expected = 0;  ///< answers of the pipeline that are still to come
  std::string m_reason;        ///< why the channel was given up, where the client library does not know it
  Clock::time_point m_lastAnswer;
};

}  // namespace vorn
