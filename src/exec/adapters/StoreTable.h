#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "exec/adapters/ConnectionPool.h"

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

  /// Counts the forks between the first process and this one.
  static std::uint32_t forks() noexcept { return s_forks.load(std::memory_order_relaxed); }

 private:
  using Pools = std::map<std::string, std::shared_ptr<ConnectionPool>>;

  StoreTable();
  static void closeAtExit();
  static void beforeFork();
  static void afterForkInParent();
  static void afterForkInChild();

  static std::atomic<std::uint32_t> s_forks;

  std::mutex m_mutex;
  std::map<std::string, std::string> m_urls;  ///< bindings made by bind()
  Pools m_pools;
  std::atomic<std::uint64_t> m_generation{1};
};

}  // namespace vorn
