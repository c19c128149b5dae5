#pragma once

#include <gtest/gtest.h>

#include <climits>
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

/// The script and the record. Tests read and write the members directly; none of it is thread-safe. The class
/// of an error is that of the number.
///
/// Events in order:
///   open NAME / close                               a session
///   begin / commit / rollback
///   identify SOURCE:FUNCTION:LINE                   a statement identifier is made, the text "id"
///   execute ID KIND SQL                             KIND is the number
///   fetch CODE HINT                                 CODE is the type code of the row target
///   error CODE TEXT @SOURCE:FUNCTION:LINE           a log line; TEXT starts with "scrubbed " if scrubbed
///   info TEXT @SOURCE:FUNCTION:LINE
///   trace @SOURCE:FUNCTION:LINE
///   process                                         the identifier of the process is asked for
struct Platform {
  std::string events;       ///< with "; " between them
  vorn::ExecResult result;  ///< of every transaction and execute
  vorn::ExecResult last;    ///< what lastResult() returns
  std::deque<Row> rows;     ///< next rows, whichever session fetches
  std::uint32_t processId = 4073;
  int snprintfSucceeds = INT_MAX;  ///< as often; then -1 and the destination untouched

  /// Called inside every execute and fetch with the parameters, which refer to nothing if there are none, or
  /// the target.
  std::function<void(const vorn::TypedRef& reference)> onCall = [](const vorn::TypedRef&) {};
};

Platform& platform();

void record(const std::string& event);

/// @return the events since the last call, and forgets them
std::string takeEvents();

/// Starts each test on a platform without script and record.
struct PlatformTest : ::testing::Test {
  PlatformTest() { platform() = Platform(); }
};

}  // namespace scripted
