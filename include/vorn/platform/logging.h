#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "vorn/export.h"

namespace vorn {

/// The place a log line speaks of: source unit (a class name, no path), function, line.
/// The pointers are to string literals and are never owned.
struct SourceLocation {
  const char* sourceUnit;
  const char* function;
  int line;
};

enum class LogLevel { Trace, Info, Error };

/// One log line as a sink receives it. `code` is 0 unless `level` is Error.
struct LogRecord {
  LogLevel level;
  std::uint32_t code;
  std::string text;
  SourceLocation location;
};

using LogSink = std::function<void(const LogRecord&)>;

/// Sends every later log line of the process to `sink`; an empty sink restores the default one, which writes
/// to standard error from LogLevel::Info up.
///
/// Any thread may call it at any time. The sink is called on the thread that logs, possibly on several
/// threads at once, and a call that has begun may still run in the old sink after setLogSink() returns. A
/// sink may not throw.
/// @code
///   vorn::setLogSink([](const vorn::LogRecord& record) {
///     if (record.level == vorn::LogLevel::Error) std::cerr << record.code << ' ' << record.text << '\n';
///   });
/// @endcode
VORN_API void setLogSink(LogSink sink);

/// Writes log lines. Every function may be called from any thread.
class VORN_API Logger {
 public:
  static void error(std::uint32_t code, const std::string& text, const SourceLocation& location);
  static void info(const std::string& text, const SourceLocation& location);
};

/// Makes a text safe to write on one log line.
class VORN_API LogScrubber {
 public:
  /// @return `text` with control characters written visibly (`\n`, `\x1b`) and the credentials of URLs and of
  ///         `password=` settings replaced by `***`. Text that needs neither comes back unchanged.
  static std::string scrub(const std::string& text);
};

/// Writes one trace line when a function is entered. Costs a flag test while nobody listens.
class VORN_API FunctionTrace {
 public:
  explicit FunctionTrace(const SourceLocation& location);
};

}  // namespace vorn
