#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "common/NoDestructor.h"
#include "exec/adapters/base/OwnedByProcess.h"
#include "exec/adapters/session/ConnectionPool.h"

namespace vorn {

/// The stores of the process by session name, and what bindStore() said about them. Any thread may use it.
class StoreTable {
 public:
  static StoreTable& instance();

  ExecResult bind(const std::string& sessionName, const std::string& url);
  void unbindAll();

  /// Finds the pool of a session name's store, made at the first call.
  ExecResult find(const std::string& sessionName, std::shared_ptr<ConnectionPool>& pool);

  /// Changes whenever an answer of find() may have changed.
  std::uint64_t generation() const noexcept { return m_generation.load(std::memory_order_acquire); }

  /// Keep the table's lock from being cut off in the middle by a fork.
  void lock() { m_mutex.lock(); }
  void unlock() { m_mutex.unlock(); }

  /// Closes the idle connections that must not be open while the process forks. The caller holds the lock.
  void closeIdleBeforeFork() noexcept;

  /// Leaves the parent's pools behind as they are, in a child: their locks may be held by threads that do not
  /// exist there, and closing a connection would speak for the parent. The caller holds the lock.
  void forgetParent() noexcept;

 private:
  friend class NoDestructor<StoreTable>;
  using Pools = std::map<std::string, std::shared_ptr<ConnectionPool>>;

  StoreTable();
  static void closeAtExit() noexcept;
  Pools& pools();

  /// @param pool  set where a pool was made already, which is what is returned
  /// @param url  set to what bind() said
  /// @param generation  as of this moment
  bool findMade(const std::string& sessionName, std::shared_ptr<ConnectionPool>& pool,
                std::optional<std::string>& url, std::uint64_t& generation);

  std::mutex m_mutex;
  std::map<std::string, std::string> m_urls;  ///< bindings made by bind()
  OwnedByProcess<Pools> m_pools;
  std::atomic<std::uint64_t> m_generation{1};
};

}  // namespace vorn
