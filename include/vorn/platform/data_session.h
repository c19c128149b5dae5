#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "vorn/export.h"
#include "vorn/platform/exec_result.h"
#include "vorn/platform/std_parts.h"
#include "vorn/platform/type_registry.h"

namespace vorn {

/// How the data-access layer runs a statement. The values are part of the contract of a platform.
enum class SqlKind : std::uint32_t { Read = 0, Batch = 1, Write = 4 };

/// Says in a call of DataSession::execute() that the statement has no placeholders.
struct NoParametersType {};
inline constexpr NoParametersType NoParameters{};

/// A session of the store that a session name leads to, for the current thread.
///
/// Sessions of one session name on one thread share a connection. A transaction belongs to the pair (session
/// name, thread) and not to the session: a session that is destroyed between beginTransaction() and commit()
/// leaves the transaction open.
///
/// A session has one result at a time, the rows of the read that it executed last.
/// @code
///   vorn::DataSession session("default");
///   const vorn::ExecResult outcome =
///       session.execute(vorn::makeStatementId("Sweeper", "purge", 12), vorn::SqlKind::Write,
///                       "delete from alarm where level = 0", vorn::NoParameters);
///   if (!outcome.succeeded()) std::cerr << outcome.detail().value_or("no alarm was deleted") << '\n';
/// @endcode
///
/// Threads: one thread, the one that created the session.
///
/// Errors: every failure is returned as an ExecResult, and kept in lastResult(). Only allocations throw.
class VORN_API DataSession {
 public:
  /// Opens nothing: a store that cannot be reached is reported by the next call.
  /// @param sessionName  text that ends in a zero byte, and is copied
  explicit DataSession(const char* sessionName);

  /// Gives up the result, and gives back the connection if no other session and no transaction needs it.
  ~DataSession();
  DataSession(const DataSession&) = delete;
  DataSession& operator=(const DataSession&) = delete;

  /// Begins a transaction of the session name on this thread.
  /// @return `vorn 8 TRANSACTION_OPEN` when one was open before, which stays open
  ExecResult beginTransaction();

  /// Commits the open transaction. A success says that everything that was written in it is stored.
  /// @return `vorn 9 NO_TRANSACTION` when no transaction was open, or as for rollback(); `vorn 10
  ///         TRANSACTION_LOST` when the store had ended the transaction by itself, so that nothing is stored
  ///         and no transaction is open any more. After another failure the transaction may still be open.
  ExecResult commit();

  /// Undoes everything that was written in the open transaction. No transaction is open afterwards, whatever
  /// is returned.
  /// @return success also when the store had ended the transaction by itself; `vorn 9 NO_TRANSACTION` when no
  ///         transaction was open, and when a statement that failed has ended it and may have committed
  ///         before that, as those that define the schema do on MariaDB
  ExecResult rollback();

  /// Runs exactly one statement. Text with a second statement after the first is refused, and nothing of it
  /// is run. The result before is given up.
  ///
  /// The first row of a read has been fetched when this call returns, so that a failure shows here and not as
  /// an empty result. Rows that a write returns are dropped.
  /// @param statementId  says where the statement comes from, see makeStatementId()
  /// @param kind         Read for a statement whose rows are to be fetched, Write for every other one
  ExecResult execute(const std::string& statementId, SqlKind kind, const std::string& sqlText,
                     NoParametersType parameters);

  /// Runs one statement for every row of a parameter set, for all rows or for none.
  /// @param sqlText     holds a placeholder `{name}` for each column
  /// @param parameters  refers to a ParamRefMap (type code 101), which holds a typed column for each
  ///                    placeholder. The columns are read during the call and not copied.
  ExecResult execute(const std::string& statementId, SqlKind kind, const std::string& sqlText,
                     const TypedRef& parameters);

  /// Fetches the next row of the result.
  /// @param status     receives the outcome of the fetch, which is a success at the end of the result and
  ///                   where the session has no result
  /// @param rowTarget  refers to a std::vector<RowValue> (type code 105), whose values are all replaced
  /// @param hint       how many rows the caller may want soon, which never changes what is delivered
  /// @return whether a row was delivered
  ///
  /// Errors: a failure is also logged at error level, ends the result, and is returned by every further
  /// fetch.
  bool fetchRow(ExecResult& status, const TypedRef& rowTarget, int hint);

 private:
  class Impl;
  std::unique_ptr<Impl> m_impl;
};

/// @return the identifier under which the data-access layer counts a statement, made of the place that runs
///         it
VORN_API std::string makeStatementId(const char* sourceName, const char* functionName, int line);

/// @return the outcome of this thread's last call into the data-access layer, row fetches included. The
///         reference is valid until the thread ends, and its object changes with the thread's next call.
VORN_API const ExecResult& lastResult() noexcept;

/// Makes `outcome` what lastResult() returns on this thread, for what is built on the data-access layer and
/// itself refuses what came from it, as vorn::rows() does.
///
/// Errors: only allocations throw.
VORN_API void setLastResult(const ExecResult& outcome);

/// What the statements of one statement identifier did in this process so far.
/// @code
///   for (const vorn::StatementStatistics& each : vorn::statementStatistics()) {
///     std::cout << each.statementId << ": " << each.calls << " calls, " << each.failures << " failed\n";
///   }
/// @endcode
struct StatementStatistics {
  std::string statementId;
  std::uint64_t calls = 0;
  std::uint64_t failures = 0;
  std::uint64_t rows = 0;              ///< rows that were fetched or written
  std::uint64_t totalNanoseconds = 0;  ///< time inside execute(), without that for fetching further rows
};

/// @return one entry for each statement identifier that any thread has used so far, ordered by identifier
///
/// Threads: any thread. Statements that run during the call may be counted or not.
VORN_API std::vector<StatementStatistics> statementStatistics();

/// What the statements of one shape did on one store in this process so far. A shape is the text of a
/// statement with `?` for each value, so it may be logged and exported.
///
/// Statements that never reached the store have the shape `(not run)`: no connection was to be had, their
/// transaction was lost, or their text has a zero byte. Where there is not even a store, its name is
/// `(none)`. The process keeps 1,000 pairs of store and shape apart, the first that it meets, and counts the
/// others together, with `(other)` for both names.
struct ShapeStatistics {
  /// `sqlite:/var/lib/app/state.db`, `postgresql://db1:5432/app`: without user, password and options. One
  /// store that has two session names is one store here, if their URLs write its place alike.
  std::string store;
  std::string shape;  ///< of a text above 4,096 bytes the beginning
  std::uint64_t calls = 0;
  std::uint64_t failures = 0;
  std::uint64_t rows = 0;  ///< rows that were fetched or written

  /// The time inside execute(), without that for fetching further rows: of all calls, and of the longest.
  std::uint64_t totalNanoseconds = 0;
  std::uint64_t longestNanoseconds = 0;

  /// How long the fastest 50, 90 and 99 of each hundred calls took at most. A figure is never below the true
  /// time, and at most an eighth above it. Times below 1,024 ns count as 1,024 ns, and times above 68 s as
  /// the longest.
  std::uint64_t p50Nanoseconds = 0;
  std::uint64_t p90Nanoseconds = 0;
  std::uint64_t p99Nanoseconds = 0;
};

/// @return one entry for each store and statement shape that any thread has used so far, the one with the
///         longest total first
/// @code
///   for (const vorn::ShapeStatistics& each : vorn::shapeStatistics()) {
///     std::cout << each.calls << " x " << each.shape << ", 99 of 100 calls within "
///               << static_cast<double>(each.p99Nanoseconds) / 1e6 << " ms\n";
///   }
/// @endcode
///
/// Threads: any thread. Statements that run during the call may be counted or not.
VORN_API std::vector<ShapeStatistics> shapeStatistics();

/// Has every statement that takes longer than `threshold` inside execute() logged, by one line at information
/// level: milliseconds, rows, whether it failed, store and shape, without a value. The time for fetching
/// further rows is not in it, and the rows of a read, which are fetched later, are not counted in it.
///
/// A threshold of 0 or less switches this off, as it is by default. The environment variable
/// `VORN_SLOW_STATEMENT_MS` is the threshold in milliseconds until this is called. It is read once, at the
/// first statement; a value that is no whole number counts as 0, and one line says so.
///
/// The log sink may run statements. Those that it runs while it receives such a line have no line themselves.
/// @code
///   vorn::setSlowStatementThreshold(std::chrono::seconds(5));
/// @endcode
///
/// Threads: any thread.
VORN_API void setSlowStatementThreshold(std::chrono::milliseconds threshold);

}  // namespace vorn
