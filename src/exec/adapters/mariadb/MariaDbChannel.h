#pragma once

#include <mysql.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "exec/adapters/mariadb/MariaDbHandle.h"
#include "exec/adapters/mariadb/statement_effects.h"
#include "vorn/platform/data_session.h"

namespace vorn {

/// One conversation with a MariaDB server: a statement goes out, and its answer is taken to its end.
///
/// An answer is one result or several; a result is rows, or the count of rows written.
///
/// Invariants:
/// 1. A statement is sent only at rest, which means that no answer is outstanding.
/// 2. A failure of the client library's own breaks the channel, and so does one of the server after which it listens
///    no more. A broken channel stays broken, and its socket is shut down: nothing that is called on it waits, and
///    nothing more is sent.
/// 3. What the server says of the transaction is known after every answer, also after a failure, which does not say
///    it: the server is asked then.
/// 4. No call raises SIGPIPE.
/// 5. No thread is started, and nothing is thrown but std::bad_alloc.
class MariaDbChannel {
 public:
  using Clock = std::chrono::steady_clock;

  explicit MariaDbChannel(MariaDbHandle handle);
  ~MariaDbChannel();
  MariaDbChannel(const MariaDbChannel&) = delete;
  MariaDbChannel& operator=(const MariaDbChannel&) = delete;

  MYSQL* handle() const noexcept { return m_handle.get(); }
  bool atRest() const noexcept { return m_state == State::AtRest; }
  bool broken() const noexcept { return m_state == State::Broken; }
  void setBroken() noexcept;

  /// How long the server may take to answer, and to take what is sent; 0 for no limit. It counts anew with every
  /// piece that arrives.
  void limitWaits(std::uint32_t readSeconds, std::uint32_t writeSeconds) noexcept;

  /// How long the server may take with the rest of a piece that has begun to arrive; after that the channel is broken.
  /// @param limit  0 for that of limitWaits()
  void hurry(std::chrono::milliseconds limit) noexcept;

  /// Looks, without waiting, whether the server has closed a channel at rest or has said something unasked.
  bool isQuiet() noexcept;

  /// Asks one statement, and waits until its answer begins.
  /// @param mayBegin  whether it may begin a transaction and fail after that
  ExecResult ask(const std::string& sql, bool mayBegin);

  /// Asks a prepared statement whose parameters are bound.
  ExecResult ask(MYSQL_STMT* statement);

  /// Prepares a statement. A failure of the server leaves the channel at rest.
  ExecResult prepare(MYSQL_STMT* statement, const std::string& sql);

  /// Closes a prepared statement of this channel, which it needs at rest: elsewhere it is broken by this.
  void close(MYSQL_STMT* statement) noexcept;

  /// @return whether the result in work is rows
  bool hasRows() const noexcept { return m_state == State::Rows; }
  /// @return the prepared statement whose rows these are, or null where they are those of a text
  MYSQL_STMT* statement() const noexcept { return m_statement; }
  /// The columns of the rows.
  const MYSQL_FIELD* fields() const noexcept;
  unsigned columns() const noexcept;

  /// Takes the next row. After the last one the result is over, and where it was the answer's last, the channel is
  /// at rest.
  /// @param outcome  set when there is no row: whether that is a failure
  bool nextRow(ExecResult& outcome);

  /// The row that was taken, where it is one of a text. It is valid until the next call.
  const char* const* values() const noexcept { return m_row; }
  const unsigned long* lengths() const noexcept;

  /// @return the number of rows that the result which is over has written
  std::uint64_t rowsWritten() const noexcept;

  /// Goes on to the next result of the answer, where the one before is over.
  ExecResult nextResult();

  /// @return whether a row can be taken without waiting for the server. False after `limit`.
  bool awaitRow(std::chrono::milliseconds limit) noexcept;

  /// @return whether the server has a transaction open, as of its last word on that
  bool inTransaction() const noexcept { return (m_status & SERVER_STATUS_IN_TRANS) != 0; }

  /// @return whether the server has said since the last time that the state of the session has changed
  bool takeSessionChange() noexcept;

  /// Takes note that the connection serves somebody else from now on, with the session that is there.
  void lend() noexcept;

  /// Takes note that what statements may ask of those before them has been cleared.
  void setCleared() noexcept { m_isLent = false; }

  /// @return whether a statement would be told what earlier users of the connection did
  bool showsOthers(LookBack asked) const noexcept;

  /// Undoes what statements have changed in the session, as far as the server does that. Prepared statements are gone.
  bool resetSession();

  Clock::time_point lastAnswer() const noexcept { return m_lastAnswer; }

 private:
  /// Results: a result is over, and there is another one.
  enum class State : unsigned char { AtRest, Rows, Results, Broken };

  struct Freer {
    void operator()(MYSQL_RES* result) const { mysql_free_result(result); }
  };

  ExecResult answered();
  ExecResult failed(unsigned number, const char* message) noexcept;
  void takeEndOfRows() noexcept;
  ExecResult notReady() const;
  void endResult() noexcept;
  void noteOwn(bool hasWarnings) noexcept;
  void noteStatus(unsigned status) noexcept;
  bool askStatus() noexcept;

  MariaDbHandle m_handle;
  std::unique_ptr<MYSQL_RES, Freer> m_result;  ///< of a text, while its rows are taken
  MYSQL_STMT* m_statement = nullptr;           ///< while its answer is taken
  const char* const* m_row = nullptr;
  State m_state = State::AtRest;
  const bool m_encrypted;
  bool m_mayBegin = false;
  bool m_isLent = false;       ///< something of an earlier user may be there
  bool m_hasAsked = false;     ///< this one has had an answer,
  bool m_hasWarnings = false;  ///< one with warnings or a failure,
  bool m_hasId = false;        ///< one with a key that the server gave
  int m_readLimit = -1;        ///< in milliseconds
  bool m_sessionChanged = false;
  unsigned m_status;  ///< the server's, as of its last answer
  Clock::time_point m_lastAnswer;
};

}  // namespace vorn
