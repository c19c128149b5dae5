#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace vorn {

/// Nanoseconds; 0 as long as nobody has set it and the environment was not asked.
inline std::atomic<std::uint64_t> slowStatementThreshold{0};

/// Reads VORN_SLOW_STATEMENT_MS, once in the process. A value that is no whole number switches the lines off,
/// and one line says so.
/// @return the threshold in force
std::uint64_t readSlowStatementThreshold() noexcept;

/// @return whether a call that took so long is slow, see setSlowStatementThreshold()
inline bool isSlowStatement(std::uint64_t nanoseconds) noexcept {
  const std::uint64_t threshold = slowStatementThreshold.load(std::memory_order_relaxed);
  if (nanoseconds <= threshold) return false;
  return threshold != 0 || nanoseconds > readSlowStatementThreshold();
}

/// Writes the line. The caller holds no lock.
/// @param shape  without a value
void logSlowStatement(const std::string& shape, const std::string& store, std::uint64_t nanoseconds,
                      std::uint64_t rows, bool succeeded);

}  // namespace vorn
