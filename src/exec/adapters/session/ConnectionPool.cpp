#include "exec/adapters/session/ConnectionPool.h"

#include <algorithm>
#include <utility>

#include "exec/adapters/base/Failure.h"

namespace vorn {

ConnectionPool::ConnectionPool(std::string sessionName, std::shared_ptr<StoreDriver> driver, Limits limits)
    : m_sessionName(std::move(sessionName)),
      m_limits(limits),
      m_driver(std::move(driver)),
      m_store(m_driver->name()) {
  m_idle.reserve(limits.size);
}

ExecResult ConnectionPool::acquire(std::unique_ptr<StoreConnection>& connection) {
  {
    std::unique_lock lock(m_mutex);
    if (!m_waiters.empty() || (m_idle.empty() && m_open >= m_limits.size)) {
      ExecResult turn = waitForTurn(lock, connection);
      if (!turn.succeeded()) return turn;
    } else if (!m_idle.empty()) {
      connection = std::move(m_idle.back());
      m_idle.pop_back();
    } else {
      ++m_open;
    }
  }
  // The look at an idle connection and the opening of a new one need no lock.
  if (connection && connection->usable()) return {};
  connection.reset();
  return openNew(connection);
}

ConnectionPool::Waiter::~Waiter() {
  if (!served) m_queue.erase(std::find(m_queue.begin(), m_queue.end(), this));
}

ExecResult ConnectionPool::waitForTurn(std::unique_lock<std::mutex>& lock,
                                       std::unique_ptr<StoreConnection>& connection) {
  Waiter self(m_waiters);
  if (!self.wake.wait_for(lock, m_limits.acquireTimeout, [&self] { return self.served; })) {
    return makeFailure(
        Failure::PoolExhausted,
        "no connection of store '" + m_sessionName + "' became free within " +
            std::to_string(m_limits.acquireTimeout.count()) + " ms, all " + std::to_string(m_limits.size) +
            " are in use by readers and transactions; pool_size and acquire_timeout_ms of the URL allow "
            "more");
  }
  connection = std::move(self.connection);
  return {};
}

ExecResult ConnectionPool::openNew(std::unique_ptr<StoreConnection>& connection) {
  ExecResult result;
  try {
    result = m_driver->open(connection);
  } catch (...) {
    passOn(nullptr);
    throw;
  }
  if (!result.succeeded()) {
    connection.reset();
    passOn(nullptr);
  }
  return result;
}

void ConnectionPool::release(std::unique_ptr<StoreConnection> connection) noexcept {
  if (!connection->usable() || connection->inTransaction() || !connection->renew()) connection.reset();
  passOn(std::move(connection));
}

void ConnectionPool::discard(std::unique_ptr<StoreConnection> connection) noexcept {
  connection.reset();
  passOn(nullptr);
}

// Gives a connection, or the room that a closed one leaves, to the thread that has waited longest.
void ConnectionPool::passOn(std::unique_ptr<StoreConnection> connection) noexcept {
  std::unique_ptr<StoreConnection> surplus;  // closed after the lock is gone
  const std::lock_guard lock(m_mutex);
  if (!m_waiters.empty()) {
    Waiter* next = m_waiters.front();
    m_waiters.pop_front();
    next->connection = std::move(connection);
    next->served = true;
    next->wake.notify_one();
  } else if (connection && !m_closed) {
    m_idle.push_back(std::move(connection));
  } else {
    surplus = std::move(connection);
    --m_open;
  }
}

// One by one, as each is closed after the lock is gone; only as many as there were, as others come back.
void ConnectionPool::closeIdle() noexcept {
  for (std::uint32_t closed = 0; closed < m_limits.size; ++closed) {
    std::unique_ptr<StoreConnection> idle;
    const std::lock_guard lock(m_mutex);
    if (m_idle.empty()) return;
    idle = std::move(m_idle.back());
    m_idle.pop_back();
    --m_open;
  }
}

void ConnectionPool::close() {
  {
    const std::lock_guard lock(m_mutex);
    m_closed = true;
  }
  closeIdle();
  m_driver->close();
}

}  // namespace vorn
