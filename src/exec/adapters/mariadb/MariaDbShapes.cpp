#include "exec/adapters/mariadb/MariaDbShapes.h"

#include <errmsg.h>
#include <mysqld_error.h>

#include <algorithm>
#include <utility>

#include "exec/adapters/base/Failure.h"
#include "exec/adapters/mariadb/MariaDbError.h"
#include "exec/adapters/mariadb/mariadb_binary.h"
#include "exec/adapters/mariadb/statement_effects.h"

namespace vorn {

namespace {

// A longer text gains nothing by being prepared, and has to be measured against what the server takes.
constexpr std::size_t kLongestText = 16000;

// A number of one digit takes ten bytes as a parameter.
std::size_t sizeBound(const StatementShape& shape) {
  return shape.sql().size() + 10 * shape.literals().size();
}

}  // namespace

ExecResult MariaDbShapes::send(const StatementShape& shape, bool& asked) {
  asked = false;
  giveBack();
  if (m_capacity == 0 || !shape.liftable() || sizeBound(shape) > kLongestText ||
      m_executor.sessionEffect() != SessionEffect::None) {
    return {};
  }
  m_inTransaction = m_executor.inTransaction();
  m_current = m_statements.take(shape.key(), shape.hash(), true);
  if (!m_current.handle && !m_current.asText) {
    if (!seenBefore(shape.hash())) return {};
    ExecResult result = prepare(shape);
    if (!result.succeeded()) return result;
  }
  if (m_current.asText || !m_parameters.bind(shape)) return {};
  MYSQL_STMT* const statement = m_current.handle.get();
  if (m_parameters.count() != mysql_stmt_param_count(statement)) return {};
  if (m_parameters.count() > 0 && mysql_stmt_bind_param(statement, m_parameters.binds()) != 0) return {};
  asked = true;
  return m_executor.channel().ask(statement);
}

// What is wrong with the statement itself, its text says.
ExecResult MariaDbShapes::prepare(const StatementShape& shape) {
  MariaDbStatement statement;
  statement.asText = effectsOf(shape.sql()).session != SessionEffect::None;
  if (!statement.asText) {
    ExecResult result = m_executor.prepare(shape.statement(), statement);
    const bool lost = m_executor.channel().broken() || m_inTransaction != m_executor.inTransaction();
    if (!result.succeeded() && lost) return result;
    statement.asText = !result.succeeded() || !hasBinaryForms(statement.handle.get());
    if (statement.asText) statement.handle.reset();
  }
  statement.text = shape.key();
  statement.bytes = shape.key().size();
  statement.hash = shape.hash();
  statement.lifted = true;
  statement.recurs = true;
  m_current = std::move(statement);
  return {};
}

bool MariaDbShapes::seenBefore(std::size_t hash) noexcept {
  if (std::find(m_seen.begin(), m_seen.end(), hash) != m_seen.end()) return true;
  m_seen[m_nextSeen] = hash;
  m_nextSeen = (m_nextSeen + 1) % m_seen.size();
  return false;
}

void MariaDbShapes::giveBack() noexcept {
  if (m_current.handle || m_current.asText) m_statements.put(std::exchange(m_current, {}));
}

bool MariaDbShapes::isRefused(const ExecResult& outcome) {
  const bool refused = isMariaDbError(outcome, ER_NEED_REPREPARE) ||
                       isMariaDbError(outcome, ER_UNKNOWN_STMT_HANDLER) ||
                       isMariaDbError(outcome, CR_NEW_STMT_METADATA);
  if (!refused || !m_executor.channel().atRest() || m_inTransaction != m_executor.inTransaction())
    return false;
  m_current = {};
  return true;
}

void MariaDbShapes::clear() noexcept {
  m_current = {};
  m_statements.clear();
}

}  // namespace vorn
