#include "exec/adapters/session/slow_statement.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <limits>

#include "common/ascii.h"
#include "common/log_line.h"
#include "vorn/platform/data_session.h"

namespace vorn {

namespace {

constexpr std::uint64_t kNeverSlow = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t kNanosecondsEach = 1000000;
constexpr std::uint64_t kMostMilliseconds = kNeverSlow / kNanosecondsEach - 1;

std::uint64_t thresholdOf(std::uint64_t milliseconds) {
  return milliseconds == 0 ? kNeverSlow : std::min(milliseconds, kMostMilliseconds) * kNanosecondsEach;
}

void logMalformed() noexcept {
  try {
    Logger::info(taggedLine("VORN_SLOW_STATEMENT_MS is no whole number of milliseconds; slow statements are "
                            "not logged"),
                 {"slow_statement", "readSlowStatementThreshold", __LINE__});
  } catch (...) {
    return;  // without memory for the line: what it would say shows by the lines that never come
  }
}

// 1532417890 ns are "1532.417"
std::string millisecondsText(std::uint64_t nanoseconds) {
  const std::string fraction = std::to_string(nanoseconds / 1000 % 1000 + 1000);
  return std::to_string(nanoseconds / kNanosecondsEach) + "." + fraction.substr(1);
}

}  // namespace

std::uint64_t readSlowStatementThreshold() noexcept {
  const char* const value = std::getenv("VORN_SLOW_STATEMENT_MS");
  std::uint64_t milliseconds = 0;
  const bool isMalformed = value != nullptr && !ascii::parseWhole(value, milliseconds);
  const std::uint64_t threshold = thresholdOf(isMalformed ? 0 : milliseconds);
  std::uint64_t inForce = 0;
  if (!slowStatementThreshold.compare_exchange_strong(inForce, threshold)) return inForce;
  if (isMalformed) logMalformed();
  return threshold;
}

void setSlowStatementThreshold(std::chrono::milliseconds threshold) {
  slowStatementThreshold.store(thresholdOf(static_cast<std::uint64_t>(std::max(threshold.count(), {}))));
}

void logSlowStatement(const std::string& shape, const std::string& store, std::uint64_t nanoseconds,
                      std::uint64_t rows, bool succeeded) {
  Logger::info(
      taggedLine("slow statement: " + millisecondsText(nanoseconds) + " ms, " + std::to_string(rows) +
                 " rows" + (succeeded ? ", " : ", failed, ") + store + ": " + shape),
      {"DataSession", "execute", __LINE__});
}

}  // namespace vorn
