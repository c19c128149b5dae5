#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "exec/adapters/Store.h"

namespace vorn {

/// A bounded set of connections to one store, lent out first come, first served. Any thread may use it.
class ConnectionPool {
 public:
  struct Limits {
    std::uint32_t size = 16;
    std::chrono::milliseconds acquireTimeout{5000};
  };

  /// @param storeName  how failures name the store
  ConnectionPool(std::string storeName, std::shared_ptr<StoreDriver> driver, Limits limits);

  /// Lends a connection: an idle one that still works, else a new one, else, after waiting, one that another
  /// thread gives back.
  ExecResult acquire(std::unique_ptr<StoreConnection>& connection);

  /// Takes a lent connection back; one that broke or is in a transaction is closed instead of kept.
  void release(std::unique_ptr<StoreConnection> connection);

  /// Closes the idle connections, lets go of the driver's own, and closes lent ones as they come back.
  void close();

  /// Closes the idle connections if they must not be open while the process forks.
  void prepareFork();

 private:
  // A thread in the queue. It is served by being given a connection or the right to open one.
  struct Waiter {
    std::condition_variable wake;
    std::unique_ptr<StoreConnection> connection;
    bool served = false;
  };

  ExecResult openNew(std::unique_ptr<StoreConnection>& connection);
  ExecResult waitForTurn(std::unique_lock<std::mutex>& lock, std::unique_ptr<StoreConnection>& connection);
  void closeIdle(bool forGood);
  void passOn(std::unique_ptr<StoreConnection> connection);

  const std::string m_storeName;
  const Limits m_limits;
  const std::shared_ptr<StoreDriver> m_driver;
  std::mutex m_mutex;
  std::vector<std::unique_ptr<StoreConnection>> m_idle;
  std::deque<Waiter*> m_waiters;
  std::uint32_t m_open = 0;  ///< connections lent, idle or being opened
  bool m_closed = false;
};

}  // namespace vorn
