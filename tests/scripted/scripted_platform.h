#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "vorn/platform/data_session.h"
#include "vorn/platform/logging.h"
#include "vorn/platform/row_value.h"

/// A platform that does what a test wrote down beforehand and keeps a list of what the core asked of it.
namespace scripted {

using Row = std::vector<vorn::RowValue>;

/// The script and the record. Tests read and write the members directly; none of it is thread-safe.
///
/// Events in order, one line each:
///   open NAME / close NAME                          a session
///   begin NAME / commit NAME / rollback NAME
///   execute NAME ID KIND SQL                        ID is SOURCE:FUNCTION:LINE, KIND the number
///   fetch NAME CODE HINT                            CODE is the type code of the row target
///   error CODE TEXT @SOURCE:FUNCTION:LINE           a log line; TEXT starts with kScrubbed if scrubbed
///   info TEXT @SOURCE:FUNCTION:LINE
///   trace @SOURCE:FUNCTION:LINE
struct Platform {
  std::vector<std::string> events;
  std::vector<vorn::LogRecord> logs;  ///< errors and information lines alone

  std::deque<vorn::ExecResult> results;  ///< next outcomes of transactions and executes; then successes
  std::deque<Row> rows;                  ///< next rows, whichever session fetches
  std::uint32_t processId = 1;
  int processIdCalls = 0;
  bool snprintfFails = false;  ///< -1 and an empty text until reset
  int openSessions = 0;

  /// Called inside every execute; `parameters` is null for one without.
  std::function<void(const std::string& sql, const vorn::TypedRef* parameters)> onExecute;
};

/// What the scripted scrubber puts before every text.
inline constexpr char kScrubbed[] = "scrubbed ";

Platform& platform();

vorn::RowValue value(std::nullptr_t);
vorn::RowValue value(std::int64_t integer);
vorn::RowValue value(int integer);
vorn::RowValue value(double real);
vorn::RowValue value(const std::string& text);
vorn::RowValue value(const char* text);
inline vorn::RowValue value(const vorn::RowValue& ready) {
  return ready;
}

/// @return a row of null, integer, real and text values
template <typename... Values>
Row row(const Values&... values) {
  return Row{value(values)...};
}

/// Starts each test on a platform without script and record.
class PlatformTest : public ::testing::Test {
 protected:
  PlatformTest();
};

}  // namespace scripted
