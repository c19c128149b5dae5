#include "scripted/scripted_platform.h"

#include <utility>

#include "vorn/platform/process.h"
#include "vorn/platform/stores.h"

namespace vorn {

using scripted::platform;
using scripted::record;

static std::string place(const SourceLocation& location) {
  return std::string(location.sourceUnit) + ':' + location.function + ':' + std::to_string(location.line);
}

static ExecResult act(const std::string& event, const TypedRef& reference = {}) {
  record(event);
  return platform.answer(event, reference);
}

class DataSession::Impl {};

DataSession::DataSession(const char* sessionName) {
  record(std::string("open ") + sessionName);
}
DataSession::~DataSession() {
  record("close");
}
ExecResult DataSession::beginTransaction() {
  return act("begin");
}
ExecResult DataSession::commit() {
  return act("commit");
}
ExecResult DataSession::rollback() {
  return act("rollback");
}

ExecResult DataSession::execute(const std::string& id, SqlKind kind, const std::string& sql,
                                NoParametersType) {
  return execute(id, kind, sql, TypedRef());
}

ExecResult DataSession::execute(const std::string& id, SqlKind kind, const std::string& sql,
                                const TypedRef& parameters) {
  return act("execute " + id + ' ' + std::to_string(static_cast<std::uint32_t>(kind)) + ' ' + sql,
             parameters);
}

bool DataSession::fetchRow(ExecResult& status, const TypedRef& target, int hint) {
  status = act("fetch " + std::to_string(target.type.code) + ' ' + std::to_string(hint), target);
  if (platform.rows.empty()) return false;
  *static_cast<scripted::Row*>(target.object) = platform.rows.front();
  platform.rows.pop_front();
  return true;
}

std::string makeStatementId(const char* sourceName, const char* functionName, int line) {
  record("identify " + place({sourceName, functionName, line}));
  return "id";
}

const ExecResult& lastResult() noexcept {
  return platform.last;
}

ErrorClass errorClass(std::uint64_t code) noexcept {
  return static_cast<ErrorClass>(code);
}

std::string describeError(std::uint64_t code) {
  return std::to_string(code);
}

void Logger::error(std::uint32_t code, const std::string& text, const SourceLocation& location) {
  record("error " + std::to_string(code) + ' ' + text + " @" + place(location));
}

void Logger::info(const std::string& text, const SourceLocation& location) {
  record("info " + text + " @" + place(location));
}

std::string LogScrubber::scrub(const std::string& text) {
  return "scrubbed " + text;
}

FunctionTrace::FunctionTrace(const SourceLocation& location) {
  record("trace @" + place(location));
}

std::uint32_t currentProcessId() {
  record("process");
  return platform.processId;
}

}  // namespace vorn
