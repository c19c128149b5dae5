#include "exec/adapters/LogSinks.h"

namespace vorn {

void Logger::error(std::uint32_t code, const std::string& text, const SourceLocation& location) {
  emitLogRecord({LogLevel::Error, code, text, location});
}

void Logger::info(const std::string& text, const SourceLocation& location) {
  emitLogRecord({LogLevel::Info, 0, text, location});
}

}  // namespace vorn
