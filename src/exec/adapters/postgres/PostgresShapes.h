#pragma once

#include <cstddef>
#include <string>

#include "exec/adapters/postgres/PostgresExecutor.h"
#include "exec/adapters/postgres/PostgresParameters.h"
#include "exec/adapters/postgres/PostgresStatements.h"
#include "exec/adapters/sql/StatementShape.h"

namespace vorn {

/// Asks statements by their shape: as text the first time, and prepared from the second time on.
///
/// The server analyses a prepared statement anew when something that it names has changed, and may then refuse
/// it although its text is good. Nothing has run then, so the text is asked instead.
///
/// Invariants:
/// 1. What comes of a statement is what comes of its text. A statement whose values cannot all be bound, one
///    in a transaction that has failed, and one that calls unknown functions is asked as text.
/// 2. A refusal of a prepared statement is seen by nobody and costs a transaction nothing. It can come only in
///    the statement's first use in a transaction, as the locks of that use keep what it names from being
///    changed by others; what the transaction itself has run since may have changed it, unless every write was
///    plain. Before that use there is nothing to lose, or a savepoint.
/// 3. There are at most kMostSavepoints in a transaction; further first uses are asked as text. The savepoints
///    are released before a text that may depend on there being none, but for those above which one of the
///    caller's may stand.
class PostgresShapes {
 public:
  PostgresShapes(PostgresExecutor& executor, PostgresStatements& statements)
      : m_executor(executor), m_statements(statements) {}

  /// Makes ready, and asks a statement.
  ExecResult send(const StatementShape& shape);

  /// Looks at the outcome of what was sent.
  /// @return whether it was refused, and the text has to be asked instead
  bool isRefused(const ExecResult& outcome);

  /// Puts the transaction back to where it was before a refusal.
  ExecResult undoRefused();

 private:
  static constexpr unsigned kMostSavepoints = 16;
  enum class Net : unsigned char { None, Begin, Savepoint };

  bool find(const StatementShape& shape, ExecResult& result);
  ExecResult prepare(const StatementShape& shape);
  ExecResult releaseSavepoints(const StatementShape& shape);
  ExecResult sendText(const StatementShape& shape);
  bool chooseNet(bool first);

  PostgresExecutor& m_executor;
  PostgresStatements& m_statements;
  PostgresParameters m_parameters;
  PostgresStatement* m_statement = nullptr;  ///< that was asked last; null for a text
  Net m_net = Net::None;                     ///< under the statement that was asked last
  unsigned m_savepoints = 0;                 ///< in one transaction
  unsigned m_uppermost = 0;                  ///< of these, with nothing above them that is not released
  std::uint64_t m_transaction = 0;           ///< the executor's, of these
};

}  // namespace vorn
