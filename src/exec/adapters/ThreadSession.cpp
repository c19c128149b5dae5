#include "exec/adapters/ThreadSession.h"

#include <utility>

#include "exec/adapters/LayerError.h"
#include "vorn/platform/logging.h"

namespace vorn {

ThreadSession::ThreadSession(std::string name) : m_name(std::move(name)), m_forks(StoreTable::forks()) {}

ThreadSession::~ThreadSession() {
  leaveParentProcess();
  if (m_connection) m_connectionPool->release(std::move(m_connection));
}

void ThreadSession::dropSession() {
  --m_sessions;
  leaveParentProcess();
  giveBackUnlessNeeded();
}

// A connection made before a fork belongs to the parent; it is left alone, not even closed.
void ThreadSession::leaveParentProcess() {
  if (m_forks == StoreTable::forks()) return;
  m_forks = StoreTable::forks();
  static_cast<void>(m_connection.release());
  if (m_transaction == Transaction::Open) m_transaction = Transaction::Lost;
}

void ThreadSession::giveBackUnlessNeeded() {
  if (m_sessions > 0 || m_transaction == Transaction::Open || !m_connection) return;
  m_connectionPool->release(std::move(m_connection));
  m_connectionPool.reset();
}

ExecResult ThreadSession::checkOut() {
  StoreTable& table = StoreTable::instance();
  const std::uint64_t generation = table.generation();
  if (generation != m_generation) {
    m_pool.reset();
    ExecResult found = table.find(m_name, m_pool);
    if (!found.succeeded()) return found;
    m_generation = generation;
  }
  ExecResult result = m_pool->acquire(m_connection);
  if (result.succeeded()) m_connectionPool = m_pool;
  return result;
}

ExecResult ThreadSession::connection(StoreConnection*& connection) {
  leaveParentProcess();
  if (m_transaction == Transaction::Open && !(m_connection->usable() && m_connection->inTransaction())) {
    m_transaction = Transaction::Lost;
  }
  if (m_transaction == Transaction::Lost) {
    return makeFailure(LayerError::TransactionLost, "the store ended the transaction of session '" + m_name +
                                                        "' by itself; roll back or begin again");
  }
  if (m_connection && !m_connection->usable()) m_connectionPool->release(std::move(m_connection));
  if (!m_connection) {
    ExecResult result = checkOut();
    if (!result.succeeded()) return result;
  }
  connection = m_connection.get();
  return {};
}

void ThreadSession::statementRan(const ExecResult& result) {
  const bool open = m_connection->inTransaction();
  if (open) {
    m_transaction = Transaction::Open;  // also when a raw statement began it
  } else if (m_transaction == Transaction::Open) {
    m_transaction = result.succeeded() ? Transaction::None : Transaction::Lost;
  }
}

ExecResult ThreadSession::begin() {
  leaveParentProcess();
  if (m_transaction == Transaction::Open) {
    return makeFailure(LayerError::TransactionOpen,
                       "a transaction of session '" + m_name + "' is open on this thread already");
  }
  m_transaction = Transaction::None;
  StoreConnection* target = nullptr;
  ExecResult result = connection(target);
  if (result.succeeded()) {
    result = target->begin();
    if (result.succeeded()) m_transaction = Transaction::Open;
  }
  return result;
}

ExecResult ThreadSession::commit() {
  leaveParentProcess();
  if (m_transaction == Transaction::None) {
    return makeFailure(LayerError::NoTransaction,
                       "no transaction of session '" + m_name + "' is open on this thread");
  }
  StoreConnection* target = nullptr;
  ExecResult result = connection(target);
  if (!result.succeeded() || target == nullptr) {
    m_transaction = Transaction::None;  // lost, and now reported
    return result;
  }
  result = target->commit();
  if (!target->inTransaction()) m_transaction = Transaction::None;
  return result;
}

ExecResult ThreadSession::rollback() {
  leaveParentProcess();
  if (m_transaction == Transaction::None) {
    return makeFailure(LayerError::NoTransaction,
                       "no transaction of session '" + m_name + "' is open on this thread");
  }
  ExecResult result;
  if (m_transaction == Transaction::Open && m_connection->usable()) result = m_connection->rollback();
  // Whatever could not be rolled back goes with its connection.
  if (m_connection && m_connection->inTransaction()) m_connectionPool->release(std::move(m_connection));
  m_transaction = Transaction::None;
  return result;
}

void ThreadSession::endThread() {
  leaveParentProcess();
  if (m_transaction == Transaction::Open) {
    const ExecResult result = rollback();
    Logger::info(LogScrubber::scrub("[VORNLib]thread ended with an open transaction of session '" + m_name +
                                    "'; it was rolled back" +
                                    (result.detail() ? " (" + *result.detail() + ")" : std::string())),
                 {"ThreadSession", "endThread", __LINE__});
  }
  giveBackUnlessNeeded();
}

}  // namespace vorn
