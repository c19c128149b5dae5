#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/log_line.h"
#include "vorn/batch_inserter.h"
#include "vorn/database.h"
#include "vorn/platform/data_session.h"
#include "vorn/platform/logging.h"
#include "vorn/platform/process.h"
#include "vorn/reader.h"
#include "vorn/statement.h"

namespace {

using vorn::DataSession;
using vorn::ExecResult;
using vorn::SourceLocation;

constexpr char kSource[] = "MiraDB";
constexpr unsigned long kSucceeded = 0;
constexpr unsigned long kRefused = 1;

// The log lines name fixed places, so that what reads the log survives a change of this file.
constexpr SourceLocation kReadTrace{kSource, "execReadSQL", 55};
constexpr SourceLocation kReadEmpty{kSource, "execReadSQL", 58};
constexpr SourceLocation kReadStatement{kSource, "execReadSQL", 63};
constexpr SourceLocation kReadFailed{kSource, "execReadSQL", 65};
constexpr SourceLocation kReadUnbound{kSource, "execReadSQL", 69};
constexpr SourceLocation kWriteEmpty{kSource, "execWriteSQL", 80};
constexpr SourceLocation kWriteStatement{kSource, "execWriteSQL", 84};
constexpr SourceLocation kWriteFailed{kSource, "execWriteSQL", 86};
constexpr SourceLocation kBatchEmpty{kSource, "ExecBatchInserter", 97};
constexpr SourceLocation kBatchNoColumns{kSource, "ExecBatchInserter", 105};
constexpr SourceLocation kBatchLengths{kSource, "ExecBatchInserter", 141};
constexpr SourceLocation kBatchStatement{kSource, "ExecBatchInserter", 147};
constexpr SourceLocation kBatchFailed{kSource, "ExecBatchInserter", 149};

unsigned long refuse(std::string_view message, const SourceLocation& location) {
  vorn::Logger::error(kRefused, vorn::taggedLine(message), location);
  return kRefused;
}

/// Turns a statement's outcome into the caller's code. A failed statement is an information line only.
unsigned long conclude(const ExecResult& status, const SourceLocation& location) {
  if (status.succeeded()) return kSucceeded;
  vorn::Logger::info(vorn::taggedLine(status.detail().value_or("")), location);
  return status.errorCode();
}

std::string statementId(const SourceLocation& place) {
  return vorn::makeStatementId(place.sourceUnit, place.function, place.line);
}

/// The session is closed when this returns, before anybody looks at the outcome.
template <typename Parameters>
ExecResult runOnOwnSession(const char* sessionName, const SourceLocation& place, vorn::SqlKind kind,
                           const std::string& sql, const Parameters& parameters) {
  DataSession session(sessionName);
  return session.execute(statementId(place), kind, sql, parameters);
}

unsigned long runTransactionStep(const char* sessionName, ExecResult (DataSession::*step)()) {
  DataSession session(sessionName);
  return (session.*step)().errorCode();
}

bool isProcess(std::uint16_t identifier) {
  return static_cast<std::uint16_t>(vorn::currentProcessId()) == identifier;
}

/// Rows are counted in 32 bits: lengths that agree in their low 32 bits count as equal.
std::uint32_t rowCount(std::size_t elements) {
  return static_cast<std::uint32_t>(elements);
}

template <typename Element>
std::uint32_t refer(vorn::TypedRef& reference, const std::vector<Element>& values) {
  vorn::TypeRegistry::registerVectorType<std::vector<Element>>(reference.type, vorn::type_code::kVector,
                                                               "std::vector", 0);
  reference.type.flags = vorn::type_flag::kReadOnly;
  reference.object = const_cast<std::vector<Element>*>(&values);
  return rowCount(values.size());
}

/// Adds a reference to the vector that the column uses.
/// @return the column's rows; 0, and no reference, for a column of no known type
std::uint32_t referToColumn(vorn::ParamRefMap& references, const std::string& name,
                            const BaseTypeVector& column) {
  switch (column.m_type) {
    case BaseTypeVector::String:
      return refer(references[name], column.m_strVec);
    case BaseTypeVector::Signed:
      return refer(references[name], column.m_longVec);
    case BaseTypeVector::Unsigned:
      return refer(references[name], column.m_ulongVec);
    case BaseTypeVector::Float:
      return refer(references[name], column.m_floatVec);
    case BaseTypeVector::Double:
      return refer(references[name], column.m_doubleVec);
  }
  return 0;
}

/// @return false when the columns differ in length; `references` is incomplete then
bool referToColumns(vorn::ParamRefMap& references, const std::map<std::string, BaseTypeVector>& columns) {
  std::uint32_t rows = 0;
  bool isFirst = true;
  for (const auto& [name, column] : columns) {
    const std::uint32_t count = referToColumn(references, name, column);
    if (!isFirst && count != rows) return false;
    rows = count;
    isFirst = false;
  }
  return true;
}

}  // namespace

CVORN::~CVORN() = default;

MIRAsqlDB::MIRAsqlDB(bool useProcessSessionName) : m_useProcessSessionName(useProcessSessionName) {}

MIRAsqlDB::~MIRAsqlDB() = default;

const char* MIRAsqlDB::sessionName() const {
  constexpr std::uint16_t kBackupProcess = 4073;
  constexpr std::uint16_t kSecondBackupProcess = 4222;
  if (!m_useProcessSessionName) return "default";
  return isProcess(kBackupProcess) || isProcess(kSecondBackupProcess) ? "NeBackupDB" : "NeUpgradeDB";
}

unsigned long MIRAsqlDB::beginTransaction() {
  return runTransactionStep(sessionName(), &DataSession::beginTransaction);
}

unsigned long MIRAsqlDB::commitTransaction() {
  return runTransactionStep(sessionName(), &DataSession::commit);
}

unsigned long MIRAsqlDB::rollbackTransaction() {
  return runTransactionStep(sessionName(), &DataSession::rollback);
}

unsigned long MIRAsqlDB::execReadSQL(const CVORNBase& statement, CVORNReader& reader) {
  const vorn::FunctionTrace trace(kReadTrace);
  const std::string sql = statement.toString();
  if (sql.empty()) return refuse("Exception! strSQL is empty string!", kReadEmpty);

  DataSession* const session = reader.initializeSession(sessionName());
  // A reader without a session is reported with the words of the empty statement.
  if (session == nullptr) return refuse("Exception! strSQL is empty string!", kReadUnbound);

  return conclude(session->execute(statementId(kReadStatement), vorn::SqlKind::Read, sql, vorn::NoParameters),
                  kReadFailed);
}

unsigned long MIRAsqlDB::execWriteSQL(const CVORNBase& statement) {
  const std::string sql = statement.toString();
  if (sql.empty()) return refuse("execWriteSQL! strSQL is empty string!", kWriteEmpty);

  return conclude(
      runOnOwnSession(sessionName(), kWriteStatement, vorn::SqlKind::Write, sql, vorn::NoParameters),
      kWriteFailed);
}

unsigned long MIRAsqlDB::ExecBatchInserter(const BatchInserter& batch) {
  const std::string sql = batch.toString();
  if (sql.empty()) return refuse("ExecBatchInserter! strSQL is empty string!", kBatchEmpty);

  if (batch.m_paramMap.empty()) {
    vorn::Logger::info(vorn::taggedLine("ExecBatchInserter! paramMap is empty!"), kBatchNoColumns);
    return kSucceeded;
  }

  // The references point into the batch itself, read-only: copying the values would double their memory.
  vorn::ParamRefMap references;
  if (!referToColumns(references, batch.m_paramMap)) {
    return refuse("ExecBatchInserter! paramMap is error!", kBatchLengths);
  }

  vorn::TypedRef parameters;
  parameters.type.code = vorn::type_code::kParameterSet;
  parameters.type.flags = vorn::type_flag::kReadOnly;
  parameters.object = &references;
  return conclude(runOnOwnSession(sessionName(), kBatchStatement, vorn::SqlKind::Batch, sql, parameters),
                  kBatchFailed);
}
