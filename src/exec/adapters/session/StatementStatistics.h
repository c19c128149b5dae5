#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>

#include "vorn/platform/data_session.h"

namespace vorn {

/// One thread's figures for one statement identifier. Only its thread writes them, so an addition is a plain
/// load and store; any thread may read them.
struct StatementCounters {
  std::atomic<std::uint64_t> calls{0};
  std::atomic<std::uint64_t> failures{0};
  std::atomic<std::uint64_t> rows{0};
  std::atomic<std::uint64_t> nanoseconds{0};

  static void add(std::atomic<std::uint64_t>& counter, std::uint64_t amount) {
    counter.store(counter.load(std::memory_order_relaxed) + amount, std::memory_order_relaxed);
  }
};

/// The counters of one thread by statement identifier. They live as long as the process, so a pointer to one
/// may be kept while a result is read.
class ThreadStatistics {
 public:
  /// Makes the counters of one more thread. They count in statementStatistics() for ever.
  static ThreadStatistics& create();

  /// Finds the counters of an identifier, made at the first call. Only the owning thread calls it.
  StatementCounters& find(const std::string& statementId);

  ThreadStatistics() = default;
  ThreadStatistics(const ThreadStatistics&) = delete;
  ThreadStatistics& operator=(const ThreadStatistics&) = delete;

 private:
  friend struct AllThreadStatistics;

  std::mutex m_mutex;  ///< guards the map's shape, which only the owning thread changes
  std::unordered_map<std::string, StatementCounters> m_counters;  ///< its nodes never move
  std::string m_lastId;
  StatementCounters* m_last = nullptr;
};

/// Keep the figures' lock from being cut off in the middle by a fork.
void lockStatementStatistics();
void unlockStatementStatistics();

}  // namespace vorn
