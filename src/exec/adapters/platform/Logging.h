#pragma once

#include "vorn/platform/logging.h"

namespace vorn {

/// @return whether a trace line would reach anybody
bool tracing() noexcept;

/// Hands a record to the sink in force.
void emitLogRecord(const LogRecord& record);

/// Keep the sinks' locks, those of the default one included, from being cut off in the middle by a fork.
void lockLogSinks();
void unlockLogSinks();

}  // namespace vorn
