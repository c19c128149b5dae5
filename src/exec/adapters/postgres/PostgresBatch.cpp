#include "exec/adapters/postgres/PostgresBatch.h"

#include <algorithm>
#include <functional>
#include <string_view>
#include <utility>

#include "common/joined.h"
#include "exec/adapters/base/Failure.h"
#include "exec/adapters/postgres/PostgresBinaryCopy.h"
#include "exec/adapters/postgres/PostgresDialect.h"
#include "exec/adapters/postgres/PostgresMultiRowInsert.h"
#include "exec/adapters/postgres/PostgresPipeline.h"
#include "exec/adapters/postgres/PostgresTextCopy.h"
#include "exec/adapters/postgres/postgres_literal.h"
#include "exec/adapters/postgres/statement_effects.h"
#include "exec/adapters/store/BatchScope.h"
#include "exec/adapters/store/BatchText.h"

namespace vorn {

namespace {

// COPY passes over insert rules, and the server refuses it for views and under row security. Above read
// committed the catalogs may be as old as the transaction, and what the server does is not.
constexpr char kInspect[] =
    "select c.relkind in ('r', 'p') and not c.relrowsecurity"
    " and not exists (select 1 from pg_catalog.pg_rewrite r where r.ev_class = c.oid and r.ev_type = '3')"
    " and pg_catalog.current_setting('transaction_isolation') = 'read committed',"
    " pg_catalog.version() like 'PostgreSQL %'"
    " from pg_catalog.pg_class c where c.oid = $1::regclass";

// Values of a batch, up to which one insert as a text costs less than the look-up before a copy.
constexpr std::size_t kTextValues = 64;

// Values up to which a prepared insert is kept. With more a copy is as fast, and the server's plan of the
// insert takes about 250 bytes a value.
constexpr std::size_t kPreparedValues = 512;

// Bytes of the text of one insert, and its rows.
constexpr std::size_t kInsertBytes = 256 << 10;
constexpr std::size_t kInsertRows = 1000;

constexpr std::size_t kRowsInFlight = 1000;

}  // namespace

PostgresBatch::PostgresBatch(StoreConnection& connection, PostgresExecutor& executor,
                             PostgresStatements& statements, const BatchColumns& columns)
    : m_connection(connection),
      m_executor(executor),
      m_channel(executor.channel()),
      m_statements(statements),
      m_columns(columns) {}

ExecResult PostgresBatch::run(const std::string& sql, std::uint64_t& rows) {
  if (!isPlainBatchInsert(sql, m_columns, m_table))
    return runInScope([&] { return runRowByRow(sql, rows); }, rows);
  if (m_columns.rows() == 0) return {};
  m_target = m_table + " (";
  appendJoined(m_target, m_columns, ", ",
               [](std::string& text, const BatchColumn& column) { text += *column.name; });
  m_target += ")";
  const std::size_t values = m_columns.rows() * m_columns.size();
  if (values <= kPreparedValues && textBytes() < kInsertBytes / 2) {
    ExecResult result = refuseZeroBytes(m_columns);
    if (!result.succeeded()) return result;
    PostgresMultiRowInsert insert(m_connection, m_executor, m_statements, m_table, m_target, m_columns);
    const bool prepared = insert.prepare();
    if (!insert.interruption().succeeded()) return insert.interruption();
    if (prepared || values <= kTextValues) return insert.run(rows);
  }
  ExecResult result = insertColumns(rows);
  if (!m_statements.isPlain(m_table)) m_executor.noteHidden();
  return result;
}

std::size_t PostgresBatch::textBytes() const {
  std::size_t bytes = 0;
  for (const BatchColumn& column : m_columns) {
    if (!column.isText()) continue;
    for (std::size_t row = 0; row < m_columns.rows(); ++row) bytes += column.text(row).size();
  }
  return bytes;
}

template <typename Work>
ExecResult PostgresBatch::runInScope(const Work& work, std::uint64_t& rows) {
  BatchScope scope(m_connection);
  ExecResult result = scope.open();
  return result.succeeded() ? scope.close(work(), rows) : result;
}

ExecResult PostgresBatch::insertColumns(std::uint64_t& rows) {
  bool repeat = false;
  ExecResult result = insertColumnsOnce(rows, repeat);
  return repeat ? insertColumnsOnce(rows, repeat) : result;
}

// Looks up and copies inside of a transaction, or of a savepoint, of its own. What opens and closes that
// goes along with the look-up and with the copy.
// @param repeat  whether the server does not know the look-up that it has prepared; it goes as a text then
ExecResult PostgresBatch::insertColumnsOnce(std::uint64_t& rows, bool& repeat) {
  BatchScope scope(m_connection);
  Target target;
  ExecResult result = inspect(scope, target, repeat);
  if (!result.succeeded()) return result;
  if (!target.canCopy) return scope.close(insertLiterals(rows), rows);
  result = insertByCopy(target, scope.keepingText(), rows);
  if (result.succeeded()) {
    scope.setKept();
  } else {
    rows = 0;
  }
  return result;
}

// Parsing the insert takes the insert's own lock, to the end of the transaction, and has the server refuse
// what it refuses of every insert. The look-up after it in the same round trip sees what nobody can change
// any more.
ExecResult PostgresBatch::inspect(BatchScope& scope, Target& target, bool& isUnknown) {
  std::string insert = "insert into " + m_target + " values (";
  for (std::size_t index = 0; index < m_columns.size(); ++index) {
    insert.append(index == 0 ? "$" : ", $").append(std::to_string(index + 1));
  }
  insert += ")";
  constexpr std::string_view kLookUp = kInspect;
  PostgresStatement* kept = m_statements.find(kLookUp, std::hash<std::string_view>()(kLookUp));
  if (kept != nullptr && kept->state == PostgresStatement::State::New)
    static_cast<void>(m_statements.prepare(*kept, kInspect, {}));  // or it goes as text
  if (kept != nullptr && kept->state != PostgresStatement::State::Prepared) kept = nullptr;
  PostgresPipeline pipeline(m_executor);
  ExecResult result = pipeline.begin();
  if (!result.succeeded()) return result;
  pipeline.ask(scope.openingText());
  const std::size_t describe = pipeline.askToDescribe(insert);
  const std::size_t lookUp =
      pipeline.askWithText(kept != nullptr, kept == nullptr ? kInspect : kept->name, m_table);
  result = pipeline.end([&](std::size_t question, PGresult* answer) {
    if (question == 0) scope.setOpen();
    if (question == describe) {
      for (int index = 0; index < PQnparams(answer); ++index)
        target.types.push_back(PQparamtype(answer, index));
    } else if (question > describe && PQntuples(answer) == 1) {
      target.canCopy = *PQgetvalue(answer, 0, 0) == 't';
      target.isPostgres = *PQgetvalue(answer, 0, 1) == 't';
    }
  });
  isUnknown = kept != nullptr && !result.succeeded() && pipeline.failedAt() == lookUp &&
              pipeline.failedWith("26") && !m_channel.broken();
  if (isUnknown) m_statements.setStale(*kept, true);
  return result;
}

ExecResult PostgresBatch::insertByCopy(const Target& target, const char* after, std::uint64_t& rows) {
  if (target.isPostgres) {
    const PostgresBinaryCopy binary(m_columns, target.types);
    if (binary.possible()) return copy(binary, m_target + " from stdin (format binary)", after, rows);
  }
  return copy(PostgresTextCopy(m_columns), m_target + " from stdin", after, rows);
}

template <typename Format>
ExecResult PostgresBatch::copy(const Format& format, const std::string& destination, const char* after,
                               std::uint64_t& rows) {
  ExecResult result = m_executor.makeReady();
  if (result.succeeded()) result = m_channel.askSimple("copy " + destination + "; " + after);
  if (!result.succeeded()) return result;
  PostgresResult answer;
  if (!m_channel.next(answer)) return m_channel.lost();
  if (PQresultStatus(answer.get()) == PGRES_COPY_IN) {
    const bool sent = format.send(m_channel);
    m_channel.endCopy(sent ? nullptr : "the rows could not be sent");
    // The answer says whether any of it failed.
    if (!m_channel.next(answer)) return m_channel.lost();
  }
  return m_executor.checkKept(after, m_executor.finish(std::move(answer), &rows));
}

ExecResult PostgresBatch::insertLiterals(std::uint64_t& rows) {
  ExecResult result = refuseZeroBytes(m_columns);
  const std::string head = "insert into " + m_target + " values ";
  std::string sql;
  for (std::size_t row = 0; row < m_columns.rows() && result.succeeded();) {
    sql = head;
    for (std::size_t count = 0; row < m_columns.rows() && count < kInsertRows && sql.size() < kInsertBytes;
         ++row, ++count) {
      sql += count == 0 ? "(" : ",(";
      appendJoined(sql, m_columns, ",", [row](std::string& text, const BatchColumn& column) {
        appendPostgresLiteral(text, column, row);
      });
      sql += ')';
    }
    result = m_executor.makeReady();
    if (result.succeeded()) result = m_channel.ask(sql);
    if (result.succeeded()) result = m_executor.finish(&rows);
  }
  return result;
}

ExecResult PostgresBatch::runRowByRow(const std::string& sql, std::uint64_t& rows) {
  std::string numbered;
  ExecResult result = refuseZeroBytes(m_columns);
  if (result.succeeded()) result = numberPlaceholders(sql, m_columns, kPostgresDialect, numbered);
  if (result.succeeded() && isCopy(numbered)) {
    result = makeFailure(Failure::NotSupported, "a statement cannot copy from or to the client");
  }
  if (result.succeeded()) result = m_executor.makeReady();
  if (!result.succeeded()) return result;
  m_executor.noteStatement(numbered);
  result = m_channel.askToParse(numbered);
  if (result.succeeded()) result = m_executor.finish();
  PostgresBatchParameters parameters(m_columns, {}, 1);
  for (std::size_t first = 0; first < m_columns.rows() && result.succeeded(); first += kRowsInFlight) {
    result = runRows(first, std::min(first + kRowsInFlight, m_columns.rows()), parameters, rows);
  }
  return result;
}

ExecResult PostgresBatch::runRows(std::size_t first, std::size_t last, PostgresBatchParameters& parameters,
                                  std::uint64_t& rows) {
  PostgresPipeline pipeline(m_executor);
  ExecResult result = pipeline.begin();
  if (!result.succeeded()) return result;
  for (std::size_t row = first; row < last; ++row) {
    parameters.set(row, row + 1);
    pipeline.askPrepared("", &parameters);
  }
  return pipeline.end(
      [&rows](std::size_t, PGresult* answer) { rows += PostgresExecutor::rowsWritten(answer); });
}

}  // namespace vorn
