#include "exec/adapters/postgres/PostgresMultiRowInsert.h"

#include <functional>
#include <string_view>
#include <utility>

#include "common/joined.h"
#include "exec/adapters/postgres/PostgresBatchParameters.h"
#include "exec/adapters/postgres/postgres_literal.h"
#include "exec/adapters/postgres/postgres_oid.h"
#include "exec/adapters/store/BatchScope.h"

namespace vorn {

namespace {

std::size_t hashOf(std::string_view key) {
  return std::hash<std::string_view>()(key);
}

}  // namespace

PostgresMultiRowInsert::PostgresMultiRowInsert(StoreConnection& connection, PostgresExecutor& executor,
                                               PostgresStatements& statements, const std::string& table,
                                               const std::string& target, const BatchColumns& columns)
    : m_connection(connection),
      m_executor(executor),
      m_statements(statements),
      m_table(table),
      m_target(target),
      m_columns(columns) {}

bool PostgresMultiRowInsert::prepare() {
  m_select = m_statements.find(m_target, hashOf(m_target));
  if (m_select == nullptr) return false;
  if (m_select->state == PostgresStatement::State::New) {
    std::string select = "select ";
    appendJoined(select, m_columns, ", ",
                 [](std::string& text, const BatchColumn& column) { text += *column.name; });
    select += " from only " + m_table + " where false";
    if (!makePrepared(m_select, select, select, m_table, m_columns.size())) return false;
  }
  if (m_select->state != PostgresStatement::State::Prepared) return false;
  // What was just found is not the one used longest ago, so it stays.
  const std::string key = m_select->name + " " + std::to_string(m_columns.rows());
  m_insert = m_statements.find(key, hashOf(key));
  if (m_insert == nullptr) return false;
  if (m_insert->state == PostgresStatement::State::New) {
    if (!makePrepared(m_insert, insertText(true), {}, {}, m_columns.rows() * m_columns.size())) return false;
    if (readsLiteralsByLength()) m_insert->state = PostgresStatement::State::Refused;
  }
  return m_insert->state == PostgresStatement::State::Prepared;
}

bool PostgresMultiRowInsert::makePrepared(PostgresStatement* statement, const std::string& text,
                                          const std::string& columns, const std::string& table,
                                          std::size_t described) {
  ExecResult result = m_statements.prepare(*statement, text, {}, columns, table);
  if (!result.succeeded()) {
    if (m_statements.wasInterrupted()) m_interruption = std::move(result);
    return false;
  }
  if (statement->parameters.size() + statement->columns.size() == described) return true;
  statement->state = PostgresStatement::State::Refused;
  return false;
}

// A literal for an interval is read by the fields that its column has, a parameter is not.
bool PostgresMultiRowInsert::readsLiteralsByLength() const {
  for (std::size_t index = 0; index < m_columns.size(); ++index) {
    if (m_insert->parameters[index] == postgres_oid::kInterval && m_select->columns[index].modifier != -1)
      return true;
  }
  return false;
}

// Literals are cut to length, and fail to be, before the first row is there; parameters one row after the
// other. With a domain it is the other way round.
bool PostgresMultiRowInsert::isConverted() const {
  for (std::size_t index = 0; index < m_columns.size(); ++index) {
    const PostgresStatement::Column& column = m_select->columns[index];
    if (column.modifier != -1 || column.type != m_insert->parameters[index]) return true;
  }
  return false;
}

ExecResult PostgresMultiRowInsert::run(std::uint64_t& rows) {
  const bool prepared = m_insert != nullptr && m_insert->state == PostgresStatement::State::Prepared;
  bool repeat = false;
  ExecResult result = attempt(prepared, rows, repeat);
  return repeat ? attempt(false, rows, repeat) : result;
}

ExecResult PostgresMultiRowInsert::attempt(bool prepared, std::uint64_t& rows, bool& repeat) {
  repeat = false;
  BatchScope scope(m_connection);
  PostgresPipeline pipeline(m_executor);
  ExecResult result = pipeline.begin();
  if (!result.succeeded()) return result;
  if (scope.nested()) pipeline.ask(scope.openingText());
  std::size_t selectAt = PostgresPipeline::kNotAsked;
  std::size_t insertAt = PostgresPipeline::kNotAsked;
  if (prepared) {
    PostgresBatchParameters parameters(m_columns, m_insert->parameters, m_columns.rows());
    parameters.set(0, m_columns.rows());
    if (!m_statements.isProven(*m_select)) selectAt = pipeline.askPrepared(m_select->name);
    insertAt = pipeline.askPrepared(m_insert->name, &parameters);
  } else {
    insertAt = pipeline.ask(insertText(false));
  }
  if (scope.nested()) pipeline.ask(scope.keepingText());
  rows = 0;
  result = pipeline.end([&](std::size_t question, PGresult* answer) {
    if (question == insertAt) rows += PostgresExecutor::rowsWritten(answer);
    if (question == 0 && scope.nested()) scope.setOpen();
  });
  if (result.succeeded()) {
    scope.setKept();
    noteSuccess(prepared);
  } else {
    rows = 0;
    repeat = prepared && needsRepeat(pipeline, selectAt, insertAt);
  }
  return result;
}

// An insert that was refused when it was to be prepared, and whose text is kept, shows another table.
void PostgresMultiRowInsert::noteSuccess(bool prepared) noexcept {
  if (prepared) {
    m_statements.noteSuccess(*m_select);
    return;
  }
  if (!m_statements.isPlain(m_table)) m_executor.noteHidden();
  if (m_insert != nullptr && m_insert->parameters.empty()) {
    m_statements.setStale(*m_select, false);
  }
}

bool PostgresMultiRowInsert::needsRepeat(const PostgresPipeline& pipeline, std::size_t selectAt,
                                         std::size_t insertAt) {
  if (m_executor.channel().broken()) return false;
  const bool unknown = pipeline.failedWith("26");
  if (pipeline.failedAt() == selectAt) {
    if (!unknown && !pipeline.failedWith("42") && !pipeline.failedWith("0A")) return false;
    m_statements.setStale(*m_select, unknown);
    // Who may insert need not be allowed to read.
    if (pipeline.failedWith("42501")) m_select->state = PostgresStatement::State::Refused;
    return true;
  }
  if (pipeline.failedAt() != insertAt) return false;
  if (unknown) m_statements.setStale(*m_insert, true);
  // Of a text the encoding is looked at first, of parameters one after the other.
  return unknown || pipeline.failedWith("42") || pipeline.failedWith("22") ||
         (pipeline.failedWith("23") && isConverted());
}

std::string PostgresMultiRowInsert::insertText(bool prepared) const {
  std::string sql = "insert into " + m_target + " values ";
  std::size_t parameter = 0;
  for (std::size_t row = 0; row < m_columns.rows(); ++row) {
    sql += row == 0 ? "(" : ",(";
    appendJoined(sql, m_columns, ",", [&](std::string& text, const BatchColumn& column) {
      if (prepared) {
        text.append(1, '$').append(std::to_string(++parameter));
      } else {
        appendPostgresLiteral(text, column, row);
      }
    });
    sql += ')';
  }
  return sql;
}

}  // namespace vorn
