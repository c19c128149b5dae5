// The platform that the library's core calls, with a script in the place of a store: the functions that the
// headers in vorn/platform declare, as far as the core needs them.

#include <unistd.h>

#include <cstdarg>
#include <cstdio>

#include "own_platform/BatchRows.h"
#include "own_platform/Script.h"
#include "vorn/platform/data_session.h"
#include "vorn/platform/logging.h"
#include "vorn/platform/process.h"
#include "vorn/platform/secure_c.h"
#include "vorn/platform/stores.h"
#include "vorn/platform/text.h"

namespace vorn {

namespace {

/// The codes of this platform: a family of its own, above those of the library.
enum Code : std::uint64_t { NoRows = std::uint64_t{32} << 32 | 1, WrongTime };

thread_local ExecResult t_last;

ExecResult keep(ExecResult result) {
  t_last = result;
  return result;
}

ExecResult failure(Code code, const char* detail) {
  return keep({1, code, detail});
}

ExecResult atRightTime(bool done) {
  return done ? keep({}) : failure(WrongTime, "a transaction is open already, or none is");
}

}  // namespace

class DataSession::Impl {};

DataSession::DataSession(const char*) {}
DataSession::~DataSession() = default;

ExecResult DataSession::beginTransaction() {
  return atRightTime(Script::instance().begin());
}
ExecResult DataSession::commit() {
  return atRightTime(Script::instance().commit());
}
ExecResult DataSession::rollback() {
  return atRightTime(Script::instance().rollback());
}

ExecResult DataSession::execute(const std::string&, SqlKind kind, const std::string& sql, NoParametersType) {
  if (kind == SqlKind::Read) return failure(NoRows, "a script has no rows to read");
  Script::instance().add(sql);
  return keep({});
}

ExecResult DataSession::execute(const std::string&, SqlKind, const std::string& sql,
                                const TypedRef& parameters) {
  const BatchRows rows(sql, *static_cast<const ParamRefMap*>(parameters.object));
  for (std::size_t row = 0; row < rows.count(); ++row) Script::instance().add(rows.statement(row));
  return keep({});
}

bool DataSession::fetchRow(ExecResult& status, const TypedRef&, int) {
  status = ExecResult();
  return false;
}

std::string makeStatementId(const char* sourceName, const char* functionName, int line) {
  return std::string(sourceName) + ':' + functionName + ':' + std::to_string(line);
}

const ExecResult& lastResult() noexcept {
  return t_last;
}

ErrorClass errorClass(std::uint64_t code) noexcept {
  return code == 0 ? ErrorClass::Success : ErrorClass::Refused;
}

std::string describeError(std::uint64_t code) {
  return code == NoRows      ? "script NO_ROWS"
         : code == WrongTime ? "script WRONG_TIME"
                             : "refused by the library";
}

void Logger::error(std::uint32_t code, const std::string& text, const SourceLocation&) {
  std::fprintf(stderr, "error %u: %s\n", static_cast<unsigned>(code), text.c_str());
}
void Logger::info(const std::string& text, const SourceLocation&) {
  std::fprintf(stderr, "%s\n", text.c_str());
}

std::string LogScrubber::scrub(const std::string& text) {
  return text;
}

FunctionTrace::FunctionTrace(const SourceLocation&) {}

std::uint32_t currentProcessId() {
  return static_cast<std::uint32_t>(getpid());
}

std::string escapeSingleQuotes(const std::string& text) {
  std::string escaped;
  for (const char character : text) escaped.append(character == '\'' ? 2 : 1, character);
  return escaped;
}
std::string escapeLikePattern(const std::string& pattern) {
  return escapeSingleQuotes(pattern);
}

int snprintf_s(char* destination, std::size_t destinationSize, std::size_t maximumCount, const char* format,
               ...) {
  if (maximumCount >= destinationSize) return -1;
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(destination, maximumCount + 1, format, arguments);
  va_end(arguments);
  return length > static_cast<int>(maximumCount) ? -1 : length;
}

}  // namespace vorn
