#pragma once

#include <atomic>
#include <cstdint>

#include "exec/adapters/session/StatementStatistics.h"
#include "exec/adapters/session/TimeHistogram.h"

namespace vorn {

/// One thread's figures for one statement shape on one store. Only its thread writes them; any thread may read
/// them. The calls are the sum of the histogram.
struct ShapeCounters {
  std::atomic<std::uint64_t> failures{0};
  std::atomic<std::uint64_t> rows{0};
  std::atomic<std::uint64_t> nanoseconds{0};
  std::atomic<std::uint64_t> longest{0};
  TimeHistogram times;

  void addCall(bool succeeded, std::uint64_t itsRows, std::uint64_t itsNanoseconds) noexcept {
    StatementCounters::add(succeeded ? rows : failures, succeeded ? itsRows : 1);
    StatementCounters::add(nanoseconds, itsNanoseconds);
    if (itsNanoseconds > longest.load(std::memory_order_relaxed)) {
      longest.store(itsNanoseconds, std::memory_order_relaxed);
    }
    times.add(itsNanoseconds);
  }
};

}  // namespace vorn
