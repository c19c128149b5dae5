#pragma once

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <type_traits>
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
///   identify SOURCE:FUNCTION:LINE                   a statement identifier is made
///   execute NAME ID KIND SQL                        ID is SOURCE:FUNCTION:LINE, KIND the number
///   fetch NAME CODE HINT                            CODE is the type code of the row target
///   error CODE TEXT @SOURCE:FUNCTION:LINE           a log line; TEXT starts with kScrubbed if scrubbed
///   info TEXT @SOURCE:FUNCTION:LINE
///   trace @SOURCE:FUNCTION:LINE
struct Platform {
  std::vector<std::string> events;
  std::deque<vorn::ExecResult> results;  ///< next outcomes of transactions and executes; then successes
  std::deque<Row> rows;                  ///< next rows, whichever session fetches
  std::uint32_t processId = 1;
  int processIdCalls = 0;
  int snprintfSucceeds = INT_MAX;  ///< as often; then -1 and the destination untouched

  bool fetchThrows = false;  ///< std::bad_alloc

  /// Called inside every execute; `parameters` refers to nothing for one without.
  std::function<void(const vorn::TypedRef& parameters)> onExecute;
};

/// What the scripted scrubber puts before every text.
inline constexpr char kScrubbed[] = "scrubbed ";

Platform& platform();

template <typename Value>
vorn::RowValue value(const Value& value) {
  vorn::RowValue result;
  if constexpr (std::is_same_v<Value, vorn::RowValue>) {
    result = value;
  } else if constexpr (std::is_floating_point_v<Value>) {
    result.setReal(value);
  } else if constexpr (std::is_integral_v<Value>) {
    result.setInteger(value);
  } else if constexpr (!std::is_null_pointer_v<Value>) {
    const std::string text = value;
    result.setText(text.data(), text.size());
  }
  return result;
}

/// @return a row of null, integer, real and text values
template <typename... Values>
Row row(const Values&... values) {
  return Row{value(values)...};
}

/// @return the events since the last call, with "; " between them, and forgets them
std::string takeEvents();

/// Starts each test on a platform without script and record.
struct PlatformTest : ::testing::Test {
  PlatformTest() { platform() = Platform(); }
};

}  // namespace scripted
