#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "exec/adapters/StoreTable.h"

namespace vorn {

/// What the sessions of one name on one thread share: the connection and the transaction.
///
/// The connection is checked out when a session first needs it and goes back with the last session, unless a
/// transaction is open, which keeps it until it ends. Used by one thread.
class ThreadSession {
 public:
  explicit ThreadSession(std::string name);
  ~ThreadSession();
  ThreadSession(const ThreadSession&) = delete;
  ThreadSession& operator=(const ThreadSession&) = delete;

  const std::string& name() const { return m_name; }
  bool idle() const { return m_sessions == 0 && !m_connection && m_transaction == Transaction::None; }

  void addSession() { ++m_sessions; }
  void dropSession();

  ExecResult begin();
  ExecResult commit();
  ExecResult rollback();

  /// Finds the connection for a statement, checked out if need be.
  /// @return a failure when there is none to be had or the transaction was lost
  ExecResult connection(StoreConnection*& connection);

  /// Takes note of what a statement did to the transaction.
  void statementRan(const ExecResult& result);

  /// Rolls back what the thread leaves behind, and says so in the log.
  void endThread();

 private:
  // Lost: the store ended the transaction by itself; nothing may run until the caller has been told by
  // commit() or has rolled back or begun again.
  enum class Transaction { None, Open, Lost };

  void leaveParentProcess();
  ExecResult checkOut();
  void giveBackUnlessNeeded();

  const std::string m_name;
  std::shared_ptr<ConnectionPool> m_pool;
  std::uint64_t m_generation = 0;
  std::unique_ptr<StoreConnection> m_connection;
  std::shared_ptr<ConnectionPool> m_connectionPool;  ///< where m_connection came from
  unsigned m_sessions = 0;
  Transaction m_transaction = Transaction::None;
  std::uint32_t m_forks;
};

}  // namespace vorn
