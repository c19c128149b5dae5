#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "exec/adapters/session/StoreName.h"
#include "exec/adapters/store/StoreDriver.h"

namespace vorn {

/// A bounded set of connections to one store, lent out first come, first served. Any thread may use it.
///
/// Invariants:
/// 1. m_open counts the connections that are lent, idle or being opened, and never exceeds the pool's size. A
///    thread that fails on the way, by an exception too, gives its room back.
/// 2. An idle connection is as a fresh one. Others are closed when they come back.
/// 3. m_idle has the capacity of the pool's size from the beginning and keeps it, so nothing that gives back
///    or closes allocates: it cannot fail.
/// 4. Nobody overtakes a thread that waits, and none in the queue has stopped waiting.
class ConnectionPool {
 public:
  struct Limits {
    std::uint32_t size = 16;
    std::chrono::milliseconds acquireTimeout{5000};
  };

  /// @param sessionName  how failures name the store
  ConnectionPool(std::string sessionName, std::shared_ptr<StoreDriver> driver, Limits limits);

  /// Lends a connection: an idle one that still works, else a new one, else, after waiting, one that another
  /// thread gives back.
  ExecResult acquire(std::unique_ptr<StoreConnection>& connection);

  /// Takes a lent connection back. One that broke, is in a transaction or cannot be made as fresh is closed.
  void release(std::unique_ptr<StoreConnection> connection) noexcept;

  /// Takes a lent connection back and closes it.
  void discard(std::unique_ptr<StoreConnection> connection) noexcept;

  /// Closes the idle connections, lets go of the driver's own, and closes lent ones as they come back.
  void close();

  /// @return the name of the store, the same for every pool that leads to it
  const StoreName& store() const noexcept { return m_store; }

  /// @return whether a connection must not be open while the process forks, if that can be had
  bool closesBeforeFork() const { return m_driver->closesIdleBeforeFork(); }

  /// Closes the connections that are idle now.
  void closeIdle() noexcept;

 private:
  // A thread in the queue, while the lock is held or waited for. It is served by being given a connection or
  // the right to open one.
  class Waiter {
   public:
    explicit Waiter(std::deque<Waiter*>& queue) : m_queue(queue) { m_queue.push_back(this); }
    ~Waiter();
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;

    std::condition_variable wake;
    std::unique_ptr<StoreConnection> connection;
    bool served = false;

   private:
    std::deque<Waiter*>& m_queue;
  };

  ExecResult openNew(std::unique_ptr<StoreConnection>& connection);
  ExecResult waitForTurn(std::unique_lock<std::mutex>& lock, std::unique_ptr<StoreConnection>& connection);
  void passOn(std::unique_ptr<StoreConnection> connection) noexcept;

  const std::string m_sessionName;
  const Limits m_limits;
  const std::shared_ptr<StoreDriver> m_driver;
  const StoreName m_store;
  std::mutex m_mutex;
  std::vector<std::unique_ptr<StoreConnection>> m_idle;
  std::deque<Waiter*> m_waiters;
  std::uint32_t m_open = 0;  ///< connections lent, idle or being opened
  bool m_closed = false;
};

}  // namespace vorn
