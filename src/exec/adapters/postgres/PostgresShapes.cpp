#include "exec/adapters/postgres/PostgresShapes.h"

#include <utility>

#include "exec/adapters/postgres/assignment_targets.h"
#include "exec/adapters/postgres/statement_effects.h"

namespace vorn {

namespace {

using State = PostgresStatement::State;

constexpr char kBeginAgain[] = "rollback; begin";

}  // namespace

ExecResult PostgresShapes::send(const StatementShape& shape) {
  m_statement = nullptr;
  m_net = Net::None;
  ExecResult result = m_executor.makeReady();
  if (!result.succeeded()) return result;
  const bool first = m_executor.firstInTransaction();
  if (!shape.liftable() || !find(shape, result)) {
    return result.succeeded() ? sendText(shape) : result;
  }
  if (!m_parameters.bind(shape, *m_statement, m_executor.channel().countsUtf8()) || !chooseNet(first)) {
    m_statement = nullptr;
    return sendText(shape);
  }
  const PostgresChannel::PreparedCall call{m_statement->name.c_str(), m_parameters.count(),
                                           m_parameters.values(), m_parameters.lengths(),
                                           m_parameters.formats()};
  PostgresChannel& channel = m_executor.channel();
  if (m_net != Net::Savepoint) return channel.askPrepared(call);
  return channel.askPrepared(call, m_statements.guardText().c_str(), m_statements.guard());
}

ExecResult PostgresShapes::sendText(const StatementShape& shape) {
  using Verb = StatementShape::Verb;
  bool plain = false;
  ExecResult released = releaseSavepoints(shape);
  if (!released.succeeded()) return released;
  if (shape.verb() == Verb::Insert || shape.verb() == Verb::Update || shape.verb() == Verb::Delete) {
    ExecResult result = m_statements.findPlain(shape.sql(), plain);
    if (!result.succeeded()) return result;
  }
  return m_executor.sendReady(shape.sql(), plain);
}

// Some functions are refused where there is a savepoint.
ExecResult PostgresShapes::releaseSavepoints(const StatementShape& shape) {
  if (m_uppermost == 0) return {};
  const bool open = PQtransactionStatus(m_executor.channel().handle()) == PQTRANS_INTRANS;
  const bool depends = open && m_transaction == m_executor.transaction() && mayChangeSession(shape.sql());
  if (!depends && shape.verb() != StatementShape::Verb::Other) return {};
  // They are gone then, or a savepoint of the caller's may come to stand above them.
  const unsigned count = std::exchange(m_uppermost, 0);
  if (!depends) return {};
  std::string release;
  for (unsigned each = 0; each < count; ++each)
    release += "release savepoint " + m_statements.savepoint() + ";";
  return m_executor.run(release.c_str());
}

// @param result  set to a failure when the connection broke, or the preparation was interrupted
bool PostgresShapes::find(const StatementShape& shape, ExecResult& result) {
  if (PQtransactionStatus(m_executor.channel().handle()) == PQTRANS_INERROR) return false;
  m_statement = m_statements.find(shape.key(), shape.hash());
  if (m_statement == nullptr) return false;
  if (m_statement->state == State::New) result = prepare(shape);
  if (m_statement->state == State::Prepared && result.succeeded()) return true;
  m_statement = nullptr;
  // What is wrong with the statement itself, its text says.
  if (!m_executor.channel().broken() && (result.succeeded() || !m_statements.wasInterrupted())) result = {};
  return false;
}

ExecResult PostgresShapes::prepare(const StatementShape& shape) {
  PostgresStatement& statement = *m_statement;
  if (mayChangeSession(shape.sql())) {
    statement.state = State::Refused;
    return {};
  }
  const std::string text = shape.statement();
  const AssignmentTargets targets = assignmentTargets(text);
  const bool writes = shape.verb() != StatementShape::Verb::Select;
  ExecResult result = m_statements.prepare(statement, text, PostgresParameters::typesOf(shape),
                                           targets.select, writes ? writtenTable(text) : std::string());
  if (!result.succeeded()) return result;
  // A rule may have a write return rows, after which it may still fail.
  if ((writes && statement.returnsRows) || statement.columns.size() < targets.parameters.size()) {
    statement.state = State::Refused;
    return {};
  }
  if (!targets.parameters.empty()) statement.targets.resize(statement.parameters.size());
  for (std::size_t at = 0; at < targets.parameters.size(); ++at) {
    statement.targets.at(static_cast<std::size_t>(targets.parameters[at])) = statement.columns[at];
  }
  m_statements.setProven(statement);
  return {};
}

// What keeps a refusal from harm. @return false when there is nothing more to be had
bool PostgresShapes::chooseNet(bool first) {
  if (!m_executor.inTransaction() || m_statements.isProven(*m_statement)) return true;
  m_net = first ? Net::Begin : Net::Savepoint;
  if (first) return true;
  const std::uint64_t transaction = m_executor.transaction();
  if (std::exchange(m_transaction, transaction) != transaction) m_savepoints = m_uppermost = 0;
  if (++m_savepoints > kMostSavepoints) return false;
  ++m_uppermost;
  return true;
}

bool PostgresShapes::isRefused(const ExecResult& outcome) {
  if (m_statement == nullptr) return false;
  const PostgresExecutor::Refusal refusal = m_executor.refusal();
  if (outcome.succeeded()) {
    m_statements.noteSuccess(*m_statement);
    return false;
  }
  PostgresChannel& channel = m_executor.channel();
  const bool known = refusal != PostgresExecutor::Refusal::None && channel.atRest() && !channel.broken();
  if (!known) return false;
  if (m_net == Net::None && m_executor.inTransaction()) {
    // It was proven, so something is not as it was thought to be, and the transaction has failed.
    m_executor.noteSchema();
    return false;
  }
  m_statements.setStale(*m_statement, refusal == PostgresExecutor::Refusal::Unknown);
  return true;
}

ExecResult PostgresShapes::undoRefused() {
  if (m_net == Net::None) return {};
  if (m_net == Net::Begin) return m_executor.run(kBeginAgain);
  return m_executor.run(("rollback to savepoint " + m_statements.savepoint()).c_str());
}

}  // namespace vorn
