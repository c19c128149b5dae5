#pragma once

#include <atomic>
#include <cstdint>

namespace vorn {

/// Counts the forks between the first process and this one.
class ProcessEpoch {
 public:
  static std::uint32_t current() noexcept { return s_forks.load(std::memory_order_relaxed); }

  /// Called once in a forked child.
  static void beginInChild() noexcept { s_forks.fetch_add(1, std::memory_order_relaxed); }

 private:
  static std::atomic<std::uint32_t> s_forks;
};

}  // namespace vorn
