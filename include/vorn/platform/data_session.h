#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vorn/export.h"
#include "vorn/platform/exec_result.h"
#include "vorn/platform/type_registry.h"

namespace vorn {

/// What a statement is to the data-access layer. The values are part of its contract.
enum class SqlKind : std::uint32_t { Read = 0, Batch = 1, Write = 4 };

/// Says that a statement has no bound parameters.
struct NoParametersType {};
inline constexpr NoParametersType NoParameters{};

/// A session of a named store for the current thread.
///
/// Sessions of one name on one thread share a connection, and a transaction belongs to the pair (name,
/// thread), not to the object: a session that is destroyed between beginTransaction() and commit() takes
/// nothing with it. Use a session on the thread that made it.
///
/// The constructor opens nothing and never fails: a store that cannot be reached is reported by the next
/// call. Every failure is an ExecResult; only allocation failures throw.
/// @code
///   vorn::DataSession session("default");
///   vorn::ExecResult status = session.execute(vorn::makeStatementId("Sweeper", "purge", 12),
///                                             vorn::SqlKind::Write, "delete from log", vorn::NoParameters);
///   if (!status.succeeded()) report(status.errorCode(), status.detail());
/// @endcode
class VORN_API DataSession {
 public:
  explicit DataSession(const char* sessionName);
  ~DataSession();
  DataSession(const DataSession&) = delete;
  DataSession& operator=(const DataSession&) = delete;

  ExecResult beginTransaction();
  ExecResult commit();
  ExecResult rollback();

  /// Runs exactly one statement. Text with a second statement behind the first is refused whole.
  ///
  /// A read has fetched its first row when this returns, so that a failure shows here and not as an empty
  /// result; an older result of the same session is given up.
  ExecResult execute(const std::string& statementId, SqlKind kind, const std::string& sqlText,
                     NoParametersType parameters);

  /// Runs one statement for every row of a parameter set, all rows or none.
  /// @param parameters  refers to a ParamRefMap (type code 101): placeholder name to typed column
  ExecResult execute(const std::string& statementId, SqlKind kind, const std::string& sqlText,
                     const TypedRef& parameters);

  /// Fetches the next row of the statement last executed on this session.
  /// @param status     set to the outcome of the fetch
  /// @param rowTarget  refers to a std::vector<RowValue> (type code 105), replaced whole
  /// @param hint       rows the caller may want soon; no effect on the result
  /// @return true when a row was delivered, false at the end of the result and on failure. A failure also
  ///         stays in lastResult() and is logged at error level.
  bool fetchRow(ExecResult& status, const TypedRef& rowTarget, int hint);

 private:
  class Impl;
  std::unique_ptr<Impl> m_impl;
};

/// @return the identifier under which the layer records a statement, made of the place that runs it
VORN_API std::string makeStatementId(const char* sourceName, const char* functionName, int line);

/// @return the outcome of this thread's last data-access call, row fetches included. The reference stays
///         valid for the thread's life and changes with its next call.
VORN_API const ExecResult& lastResult() noexcept;

/// What one statement identifier did in this process so far.
struct StatementStatistics {
  std::string statementId;
  std::uint64_t calls = 0;
  std::uint64_t failures = 0;
  std::uint64_t rows = 0;              ///< rows fetched, written or bound
  std::uint64_t totalNanoseconds = 0;  ///< time inside execute(); fetching rows is the reader's time
};

/// @return one entry for each statement identifier used so far by any thread, ordered by identifier
VORN_API std::vector<StatementStatistics> statementStatistics();

}  // namespace vorn
