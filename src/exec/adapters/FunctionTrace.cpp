#include "exec/adapters/LogSinks.h"

namespace vorn {

FunctionTrace::FunctionTrace(const SourceLocation& location) {
  if (tracing()) emitLogRecord({LogLevel::Trace, 0, location.function, location});
}

}  // namespace vorn
