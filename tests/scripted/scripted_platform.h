#pragma once

#include <gtest/gtest.h>

#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <functional>
#include <string>
#include <utility>
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
  std::string events;     ///< with "; " between them
  vorn::ExecResult last;  ///< what lastResult() returns
  std::deque<Row> rows;   ///< next rows, whichever session fetches
  std::uint32_t processId = 4073;

  /// What an event of a session comes to. It is given the parameters of an execute, if there are any, and the
  /// target of a fetch, whose outcome is success all the same.
  std::function<vorn::ExecResult(const std::string& event, const vorn::TypedRef& reference)> answer =
      [](const std::string&, const vorn::TypedRef&) { return vorn::ExecResult(); };
};

inline Platform platform;

inline void record(const std::string& event) {
  platform.events += (platform.events.empty() ? "" : "; ") + event;
}

/// @return the events since the last call, and forgets them
inline std::string takeEvents() {
  return std::exchange(platform.events, {});
}

/// Starts each test on a platform without script and record, while the process writes 1234.5 as 1.234,5.
struct PlatformTest : ::testing::Test {
  PlatformTest() {
    platform = Platform();
    setenv("LOCPATH", VORN_TEST_LOCALES, 1);
    EXPECT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
  }
};

}  // namespace scripted
