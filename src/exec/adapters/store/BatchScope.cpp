#include "exec/adapters/store/BatchScope.h"

#include <utility>

namespace vorn {

BatchScope::BatchScope(StoreConnection& connection)
    : m_connection(connection), m_nested(connection.inTransaction()) {}

BatchScope::~BatchScope() {
  if (m_open) undo();
}

ExecResult BatchScope::open() {
  m_open = true;  // first: an exception may come after the store has begun
  ExecResult result = m_nested ? run(kSetSavepoint) : m_connection.begin();
  if (result.succeeded()) return result;
  // A transaction may have begun all the same. A savepoint does no harm.
  m_open = false;
  if (!m_nested) undo();
  return result;
}

ExecResult BatchScope::close(ExecResult outcome, std::uint64_t& rows) {
  if (outcome.succeeded()) {
    outcome = m_nested ? run(kReleaseSavepoint) : m_connection.commit();
    if (outcome.succeeded()) {
      m_open = false;
      return outcome;
    }
  }
  rows = 0;
  undo();
  return outcome;
}

ExecResult BatchScope::run(const char* statement) {
  const std::string sql(statement);
  StatementShape shape;
  shape.read(sql, m_connection.dialect());
  std::uint64_t ignored = 0;
  return m_connection.write(shape, ignored);
}

void BatchScope::undo() noexcept {
  m_open = false;
  // A conflict clause, a trigger or the server may have ended the whole transaction already.
  if (!m_connection.usable() || !m_connection.inTransaction()) return;
  try {
    ExecResult undone = m_nested ? run("rollback to savepoint vorn_batch") : m_connection.rollback();
    if (undone.succeeded() && m_nested) undone = run(kReleaseSavepoint);
    if (undone.succeeded()) return;
  } catch (...) {
    // Giving the connection up undoes it too.
  }
  m_connection.giveUp();
}

}  // namespace vorn
