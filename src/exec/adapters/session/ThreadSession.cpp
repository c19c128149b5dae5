#include "exec/adapters/session/ThreadSession.h"

#include <utility>

#include "common/NoDestructor.h"
#include "common/log_line.h"
#include "exec/adapters/base/Failure.h"
#include "vorn/platform/logging.h"

namespace vorn {

namespace {

ExecResult noTransaction(const std::string& name) {
  return makeFailure(Failure::NoTransaction,
                     "no transaction of session '" + name + "' is open on this thread");
}

}  // namespace

ThreadSession::ThreadSession(std::string name) : m_name(std::move(name)) {}

ThreadSession::~ThreadSession() {
  forgetInherited();
  if (m_connection) giveBack();
}

void ThreadSession::dropSession() noexcept {
  --m_sessions;
  forgetInherited();
  giveBackUnlessNeeded();
}

void ThreadSession::forgetInherited() noexcept {
  if (m_connection.forgetInherited() && m_transaction == Transaction::Open) m_transaction = Transaction::Lost;
}

void ThreadSession::noticeLoss() noexcept {
  forgetInherited();
  if (m_transaction == Transaction::Open && !(m_connection->usable() && m_connection->inTransaction())) {
    m_transaction = Transaction::Lost;
  }
}

void ThreadSession::giveBack() noexcept {
  m_connectionPool->release(m_connection.take());
  m_connectionPool.reset();
}

void ThreadSession::giveBackUnlessNeeded() noexcept {
  if (m_sessions == 0 && m_transaction != Transaction::Open && m_connection) giveBack();
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
  ExecResult result = m_pool->acquire(m_connection.slot());
  if (result.succeeded()) m_connectionPool = m_pool;
  return result;
}

ExecResult ThreadSession::connection(StoreConnection*& connection, TransactionText text) {
  noticeLoss();
  if (m_transaction == Transaction::Lost || m_transaction == Transaction::Unknown) {
    ExecResult lost = endLost(text);
    if (text != TransactionText::Begin) return lost;
  }
  // The connection of an open transaction was looked at just now. A second look might find that it has ended
  // since, and the statement, or the commit, would run on another connection without a transaction.
  if (m_connection && m_transaction != Transaction::Open && !m_connection->usable()) giveBack();
  if (!m_connection) {
    ExecResult result = checkOut();
    if (!result.succeeded()) return result;
  }
  connection = m_connection.get();
  return {};
}

// What is said of a transaction that has ended, and whether the caller then knows it.
ExecResult ThreadSession::endLost(TransactionText text) {
  ExecResult result;
  if (m_transaction == Transaction::Unknown && text != TransactionText::None &&
      text != TransactionText::Begin) {
    result = noTransaction(m_name);
  } else if (text == TransactionText::None || text == TransactionText::Commit) {
    result = makeFailure(Failure::TransactionLost, "the store ended the transaction of session '" + m_name +
                                                       "' by itself; roll back or begin again");
  }
  if (text != TransactionText::None) m_transaction = Transaction::None;
  return result;
}

const StoreName& ThreadSession::store() const noexcept {
  static NoDestructor<StoreName> none("(none)");
  if (m_connectionPool) return m_connectionPool->store();
  return m_pool ? m_pool->store() : *none;
}

void ThreadSession::statementRan(const ExecResult& result, TransactionText text) noexcept {
  if (m_connection->inTransaction()) {
    if (result.succeeded()) m_transaction = Transaction::Open;  // also when a text began it
    endUnacknowledged();
  } else if (m_transaction == Transaction::Open) {
    // The caller of a text that was to end the transaction knows by its outcome that it has ended.
    const bool known =
        result.succeeded() || text == TransactionText::Commit || text == TransactionText::Rollback;
    m_transaction = known                              ? Transaction::None
                    : m_connection->mayHaveCommitted() ? Transaction::Unknown
                                                       : Transaction::Lost;
  }
}

void ThreadSession::connectionThrew(TransactionText text) noexcept {
  const bool wasOpen = m_transaction == Transaction::Open;
  noticeLoss();
  const bool mayBeStored =
      text == TransactionText::Commit || (m_connection && m_connection->mayHaveCommitted());
  if (wasOpen && m_transaction == Transaction::Lost && mayBeStored) m_transaction = Transaction::Unknown;
  endUnacknowledged();
}

void ThreadSession::endUnacknowledged() noexcept {
  if (m_connection && m_transaction != Transaction::Open && m_connection->inTransaction()) {
    m_connection->giveUp();
  }
}

ExecResult ThreadSession::begin() {
  noticeLoss();
  if (m_transaction == Transaction::Open) {
    return makeFailure(Failure::TransactionOpen,
                       "a transaction of session '" + m_name + "' is open on this thread already");
  }
  StoreConnection* target = nullptr;
  ExecResult result = connection(target, TransactionText::Begin);
  if (!result.succeeded()) return result;
  try {
    result = target->begin();
  } catch (...) {
    connectionThrew(TransactionText::Begin);
    throw;
  }
  if (result.succeeded()) m_transaction = Transaction::Open;
  endUnacknowledged();
  return result;
}

ExecResult ThreadSession::commit() {
  forgetInherited();
  if (m_transaction == Transaction::None) return noTransaction(m_name);
  StoreConnection* target = nullptr;
  ExecResult result = connection(target, TransactionText::Commit);
  if (!result.succeeded()) return result;
  try {
    result = target->commit();
  } catch (...) {
    connectionThrew(TransactionText::Commit);
    throw;
  }
  if (!target->inTransaction()) m_transaction = Transaction::None;
  return result;
}

ExecResult ThreadSession::rollback() {
  forgetInherited();
  if (m_transaction == Transaction::None) return noTransaction(m_name);
  if (m_transaction == Transaction::Unknown) return endLost(TransactionText::Rollback);
  ExecResult result;
  if (m_transaction == Transaction::Open && m_connection->usable()) {
    try {
      result = m_connection->rollback();
    } catch (...) {
      m_connection->giveUp();  // which rolls back as well
    }
  }
  // Whatever could not be rolled back goes with its connection.
  if (m_connection && m_connection->inTransaction()) giveBack();
  m_transaction = Transaction::None;
  return result;
}

void ThreadSession::prepareFork() noexcept {
  noticeLoss();
  if (!m_connection || m_connection->inTransaction() || !m_connectionPool->closesBeforeFork()) return;
  m_connection->drainCursors();
  m_connectionPool->discard(m_connection.take());
  m_connectionPool.reset();
}

void ThreadSession::endThread() noexcept {
  forgetInherited();
  if (m_transaction == Transaction::Open) {
    try {
      const ExecResult result = rollback();
      Logger::info(
          taggedLine("thread ended with an open transaction of session '" + m_name + "'; it was rolled back" +
                     (result.detail() ? " (" + *result.detail() + ")" : std::string())),
          {"ThreadSession", "endThread", __LINE__});
    } catch (...) {
      // The line alone is given up, for want of memory: the transaction is rolled back already.
      m_transaction = Transaction::None;
    }
  }
  giveBackUnlessNeeded();
}

}  // namespace vorn
