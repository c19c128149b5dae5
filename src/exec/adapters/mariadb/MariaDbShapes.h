#pragma once

#include <array>
#include <cstddef>

#include "exec/adapters/mariadb/MariaDbExecutor.h"
#include "exec/adapters/mariadb/MariaDbParameters.h"
#include "exec/adapters/mariadb/MariaDbStatement.h"
#include "exec/adapters/sql/StatementShape.h"

namespace vorn {

/// Asks statements by their shape: prepared from the second time on.
///
/// The server prepares a statement anew by itself when what it names has changed. Where it cannot, or no longer knows
/// the statement, nothing has run, and the text is asked instead.
///
/// Invariants:
/// 1. What comes of a statement is what comes of its text. A statement whose values cannot all be bound, one that calls
///    unknown functions, and one of a session that a text has changed is asked as text.
/// 2. The statement that was asked last is in use until the channel is at rest again, and not in the cache for so long.
/// 3. The text is asked after a refusal only if the refusal has not cost the transaction.
class MariaDbShapes {
 public:
  /// @param capacity  the statements that are kept at most; 0 for none
  MariaDbShapes(MariaDbExecutor& executor, std::size_t capacity)
      : m_executor(executor), m_capacity(capacity), m_statements(capacity) {}

  /// Asks a prepared statement, after makeReady().
  /// @param asked  set to false when the text has to be asked instead, which is no failure
  ExecResult send(const StatementShape& shape, bool& asked);

  /// Looks at the outcome of what was sent.
  /// @return whether it was refused, and the text has to be asked instead
  bool isRefused(const ExecResult& outcome);

  /// Forgets all statements, with the channel at rest or gone.
  void clear() noexcept;

 private:
  ExecResult prepare(const StatementShape& shape);
  bool seenBefore(std::size_t hash) noexcept;
  void giveBack() noexcept;

  MariaDbExecutor& m_executor;
  const std::size_t m_capacity;
  StatementCache<MariaDbStatement> m_statements;
  MariaDbStatement m_current;
  MariaDbParameters m_parameters;
  bool m_inTransaction = false;           ///< when the last statement was sent
  std::array<std::size_t, 128> m_seen{};  ///< hashes of shapes that have come once
  std::size_t m_nextSeen = 0;
};

}  // namespace vorn
