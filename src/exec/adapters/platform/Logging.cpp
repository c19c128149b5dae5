#include "exec/adapters/platform/Logging.h"

#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>

#include "common/NoDestructor.h"

namespace vorn {

namespace {

// Threads and static objects may log while the process ends.
struct SinkState {
  std::mutex mutex;
  std::shared_ptr<const LogSink> sink;
  std::atomic<bool> custom{false};
  std::mutex console;  ///< held while the default sink is made and while it writes
};

SinkState& sinkState() {
  static NoDestructor<SinkState> state;
  return *state;
}

struct DefaultLogger {
  std::shared_ptr<spdlog::logger> logger;
  bool own = false;
};

// An application that registered a logger of this name has said where the lines go. The sink here has no lock
// of its own: a fork could not keep that from being cut off.
const DefaultLogger& defaultLogger() {
  static const DefaultLogger* const made = [] {
    DefaultLogger result{spdlog::get("vorn")};
    if (!result.logger) {
      result = {std::make_shared<spdlog::logger>("vorn", std::make_shared<spdlog::sinks::stderr_sink_st>()),
                true};
      result.logger->set_level(spdlog::level::info);
    }
    return new DefaultLogger(std::move(result));
  }();
  return *made;
}

void writeToDefaultLogger(const LogRecord& record) {
  std::unique_lock lock(sinkState().console);
  const DefaultLogger& target = defaultLogger();
  // The sinks of an application have their own locks, and may run statements.
  if (!target.own) lock.unlock();
  const SourceLocation& place = record.location;
  if (record.level == LogLevel::Error) {
    target.logger->error("{} ({}, {}:{}:{})", record.text, record.code, place.sourceUnit, place.function,
                         place.line);
  } else {
    target.logger->log(record.level == LogLevel::Info ? spdlog::level::info : spdlog::level::trace,
                       "{} ({}:{}:{})", record.text, place.sourceUnit, place.function, place.line);
  }
}

}  // namespace

void setLogSink(LogSink sink) {
  SinkState& state = sinkState();
  std::shared_ptr<const LogSink> next;
  if (sink) next = std::make_shared<const LogSink>(std::move(sink));
  const std::lock_guard lock(state.mutex);
  state.custom.store(next != nullptr, std::memory_order_relaxed);
  state.sink.swap(next);
}

bool tracing() noexcept {
  return sinkState().custom.load(std::memory_order_relaxed);
}

void emitLogRecord(const LogRecord& record) {
  SinkState& state = sinkState();
  std::shared_ptr<const LogSink> sink;
  {
    const std::lock_guard lock(state.mutex);
    sink = state.sink;
  }
  if (sink) {
    (*sink)(record);
  } else {
    writeToDefaultLogger(record);
  }
}

void lockLogSinks() {
  sinkState().console.lock();
  sinkState().mutex.lock();
}
void unlockLogSinks() {
  sinkState().mutex.unlock();
  sinkState().console.unlock();
}

void Logger::error(std::uint32_t code, const std::string& text, const SourceLocation& location) {
  emitLogRecord({LogLevel::Error, code, text, location});
}

void Logger::info(const std::string& text, const SourceLocation& location) {
  emitLogRecord({LogLevel::Info, 0, text, location});
}

FunctionTrace::FunctionTrace(const SourceLocation& location) {
  if (tracing()) emitLogRecord({LogLevel::Trace, 0, location.function, location});
}

}  // namespace vorn
