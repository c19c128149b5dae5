#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "exec/adapters/base/OwnedByProcess.h"
#include "exec/adapters/session/StoreTable.h"
#include "exec/adapters/sql/TransactionText.h"

namespace vorn {

/// What the sessions of one name on one thread share: the connection and the transaction. Used by one thread.
///
/// Invariants:
/// 1. Open: there is a connection, and after the last call its store saw a transaction. Whatever a call or a
///    statement did, the state follows what the store reports. No other connection takes its place before the
///    caller knows that the transaction has ended.
/// 2. Lost, Unknown: a transaction ended that the caller believes open. Nothing runs on the store until a commit
///    has reported that to the caller, or the caller has rolled back or begun again, by a call or by a text. Of
///    an Unknown one neither a commit nor a rollback is a success.
/// 3. At rest, that is without a session and without an open transaction, there is no connection: the next
///    call runs on the store that the name means then.
/// 4. Neither an exception nor a failure leaves a transaction open of which the caller knows nothing: the
///    connection is given up instead.
/// 5. A forked child owns no connection of its parent, and a transaction that was open is Lost there.
class ThreadSession {
 public:
  explicit ThreadSession(std::string name);
  ~ThreadSession();
  ThreadSession(const ThreadSession&) = delete;
  ThreadSession& operator=(const ThreadSession&) = delete;

  const std::string& name() const { return m_name; }
  bool idle() const { return m_sessions == 0 && !m_connection && m_transaction == Transaction::None; }

  void addSession() noexcept { ++m_sessions; }
  void dropSession() noexcept;

  ExecResult begin();
  ExecResult commit();
  ExecResult rollback();

  /// Finds the connection for a statement, checked out if need be.
  /// @param text  what the statement does to the transaction
  /// @return a failure when there is none to be had or the transaction was lost. A success without a
  ///         connection: the statement has done its work on the lost transaction, there is nothing to run.
  ExecResult connection(StoreConnection*& connection, TransactionText text = TransactionText::None);

  /// @return the store of the last statement, which is valid until the next call; a name of its own for none
  const StoreName& store() const noexcept;

  /// Takes note of what a statement did to the transaction.
  void statementRan(const ExecResult& result, TransactionText text) noexcept;

  /// Takes note of an exception that came out of the connection.
  /// @param text  what the call was to do to the transaction
  void connectionThrew(TransactionText text) noexcept;

  /// Drains and closes the connection if it must not be open while the process forks.
  void prepareFork() noexcept;

  /// Rolls back what the thread leaves behind, and says so in the log.
  void endThread() noexcept;

 private:
  /// Unknown: as Lost, but what ended it may have stored it.
  enum class Transaction { None, Open, Lost, Unknown };

  void forgetInherited() noexcept;
  void noticeLoss() noexcept;
  void endUnacknowledged() noexcept;
  ExecResult checkOut();
  ExecResult endLost(TransactionText text);
  void giveBack() noexcept;
  void giveBackUnlessNeeded() noexcept;

  const std::string m_name;
  std::shared_ptr<ConnectionPool> m_pool;
  std::uint64_t m_generation = 0;
  OwnedByProcess<StoreConnection> m_connection;
  std::shared_ptr<ConnectionPool> m_connectionPool;  ///< where m_connection came from
  unsigned m_sessions = 0;
  Transaction m_transaction = Transaction::None;
};

}  // namespace vorn
