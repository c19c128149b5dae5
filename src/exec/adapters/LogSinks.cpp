#include "exec/adapters/LogSinks.h"

#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <atomic>
#include <memory>
#include <mutex>

namespace vorn {

namespace {

// Never destroyed: threads and static objects may log while the process ends.
struct SinkState {
  std::mutex mutex;
  std::shared_ptr<const LogSink> sink;
  std::atomic<bool> custom{false};
};

SinkState& sinkState() {
  static SinkState* const state = new SinkState;
  return *state;
}

// An application that registered a logger of this name has said where the lines go.
spdlog::logger& defaultLogger() {
  static const std::shared_ptr<spdlog::logger>* const logger = [] {
    std::shared_ptr<spdlog::logger> found = spdlog::get("vorn");
    if (!found) {
      found = std::make_shared<spdlog::logger>("vorn", std::make_shared<spdlog::sinks::stderr_sink_mt>());
      found->set_level(spdlog::level::info);
    }
    return new std::shared_ptr<spdlog::logger>(std::move(found));
  }();
  return **logger;
}

void writeToDefaultLogger(const LogRecord& record) {
  const SourceLocation& place = record.location;
  if (record.level == LogLevel::Error) {
    defaultLogger().error("{} ({}, {}:{}:{})", record.text, record.code, place.sourceUnit, place.function,
                          place.line);
  } else {
    defaultLogger().log(record.level == LogLevel::Info ? spdlog::level::info : spdlog::level::trace,
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
  sinkState().mutex.lock();
}
void unlockLogSinks() {
  sinkState().mutex.unlock();
}

}  // namespace vorn
