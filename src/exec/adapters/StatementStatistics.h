#pragma once

#include <atomic>
#include <cstdint>
#include <string>

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

/// @return the calling thread's counters of an identifier. They live as long as the process, so the pointer
///         may be kept while a result is read.
StatementCounters& statementCounters(const std::string& statementId);

/// Keep the figures' lock from being cut off in the middle by a fork.
void lockStatementStatistics();
void unlockStatementStatistics();

}  // namespace vorn
