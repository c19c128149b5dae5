#include "scripted/scripted_platform.h"

#include <cstdarg>
#include <cstdio>
#include <new>
#include <utility>

#include "support.h"
#include "vorn/platform/process.h"
#include "vorn/platform/secure_c.h"
#include "vorn/platform/text.h"

namespace scripted {

namespace {

std::string identifier(const char* source, const char* function, int line) {
  return std::string(source) + ':' + function + ':' + std::to_string(line);
}

std::string place(const vorn::SourceLocation& location) {
  return " @" + identifier(location.sourceUnit, location.function, location.line);
}

/// @return the first of a script's outcomes or rows, which it takes out, or an empty one
template <typename Script>
typename Script::value_type next(Script& script) {
  if (script.empty()) return {};
  typename Script::value_type result = std::move(script.front());
  script.pop_front();
  return result;
}

}  // namespace

Platform& platform() {
  static Platform instance;
  return instance;
}

std::string takeEvents() {
  std::string text;
  for (const std::string& event : platform().events) text += (text.empty() ? "" : "; ") + event;
  platform().events.clear();
  return text;
}

}  // namespace scripted

namespace vorn {

using scripted::platform;

class DataSession::Impl {
 public:
  void record(const std::string& action, const std::string& details = {}) const {
    platform().events.push_back(action + ' ' + name + details);
  }
  ExecResult act(const std::string& action, const std::string& details = {}) const {
    record(action, details);
    return scripted::next(platform().results);
  }

  std::string name;
};

DataSession::DataSession(const char* sessionName) : m_impl(new Impl{sessionName}) {
  m_impl->record("open");
}
DataSession::~DataSession() {
  m_impl->record("close");
}
ExecResult DataSession::beginTransaction() {
  return m_impl->act("begin");
}
ExecResult DataSession::commit() {
  return m_impl->act("commit");
}
ExecResult DataSession::rollback() {
  return m_impl->act("rollback");
}

ExecResult DataSession::execute(const std::string& id, SqlKind kind, const std::string& sql,
                                NoParametersType) {
  return execute(id, kind, sql, TypedRef());
}

ExecResult DataSession::execute(const std::string& id, SqlKind kind, const std::string& sql,
                                const TypedRef& parameters) {
  ExecResult result =
      m_impl->act("execute", ' ' + id + ' ' + std::to_string(static_cast<std::uint32_t>(kind)) + ' ' + sql);
  if (platform().onExecute) platform().onExecute(parameters);
  return result;
}

bool DataSession::fetchRow(ExecResult& status, const TypedRef& target, int hint) {
  status = ExecResult();
  m_impl->record("fetch", ' ' + std::to_string(target.type.code) + ' ' + std::to_string(hint));
  if (platform().fetchThrows) throw std::bad_alloc();
  if (platform().rows.empty()) return false;
  *static_cast<scripted::Row*>(target.object) = scripted::next(platform().rows);
  return true;
}

std::string makeStatementId(const char* sourceName, const char* functionName, int line) {
  platform().events.push_back("identify " + scripted::identifier(sourceName, functionName, line));
  return scripted::identifier(sourceName, functionName, line);
}

void Logger::error(std::uint32_t code, const std::string& text, const SourceLocation& location) {
  platform().events.push_back("error " + std::to_string(code) + ' ' + text + scripted::place(location));
}

void Logger::info(const std::string& text, const SourceLocation& location) {
  platform().events.push_back("info " + text + scripted::place(location));
}

std::string LogScrubber::scrub(const std::string& text) {
  return scripted::kScrubbed + text;
}

FunctionTrace::FunctionTrace(const SourceLocation& location) {
  platform().events.push_back("trace" + scripted::place(location));
}

std::uint32_t currentProcessId() {
  ++platform().processIdCalls;
  return platform().processId;
}

std::string escapeSingleQuotes(const std::string& text) {
  return escaped(text);
}
std::string escapeLikePattern(const std::string& pattern) {
  return escaped(pattern);
}

int snprintf_s(char* destination, std::size_t destinationSize, std::size_t maximumCount, const char* format,
               ...) {
  if (platform().snprintfSucceeds-- <= 0 || maximumCount >= destinationSize) return -1;
  std::va_list arguments;
  va_start(arguments, format);
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): started above
  const int length = std::vsnprintf(destination, maximumCount + 1, format, arguments);
  va_end(arguments);
  return length > static_cast<int>(maximumCount) ? -1 : length;
}

}  // namespace vorn
