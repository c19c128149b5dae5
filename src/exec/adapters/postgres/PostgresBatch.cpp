#include "exec/adapters/postgres/PostgresBatch.h"

#include <algorithm>
#include <array>
#include <utility>

#include "common/joined.h"
#include "exec/adapters/base/Failure.h"
#include "exec/adapters/postgres/PostgresBinaryCopy.h"
#include "exec/adapters/postgres/PostgresDialect.h"
#include "exec/adapters/postgres/PostgresError.h"
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

// Up to here one insert with its values as literals is faster than the look-up before a copy.
constexpr std::size_t kFewRows = 50;

// Bytes of the text of one insert, and its rows.
constexpr std::size_t kSlice = 256 << 10;
constexpr std::size_t kSliceRows = 1000;

constexpr std::size_t kRowsInFlight = 1000;

// From here on a binary copy gains more than it costs to check every value.
constexpr std::size_t kBinaryRows = 2000;

}  // namespace

PostgresBatch::PostgresBatch(StoreConnection& connection, PostgresExecutor& executor,
                             const BatchColumns& columns)
    : m_connection(connection), m_executor(executor), m_channel(executor.channel()), m_columns(columns) {}

ExecResult PostgresBatch::run(const std::string& sql, std::uint64_t& rows) {
  if (isPlainBatchInsert(sql, m_columns, m_table)) {
    m_target = m_table + " (";
    appendJoined(m_target, m_columns, ", ",
                 [](std::string& text, const BatchColumn& column) { text += *column.name; });
    m_target += ")";
  }
  // One statement needs no transaction around it to be kept whole or not at all.
  if (isSmall() && !m_executor.inTransaction()) {
    ExecResult result = insertLiterals(rows);
    if (!result.succeeded()) rows = 0;
    return result;
  }
  BatchScope scope(m_connection);
  ExecResult result = scope.open();
  return result.succeeded() ? scope.close(runInScope(sql, rows), rows) : result;
}

ExecResult PostgresBatch::runInScope(const std::string& sql, std::uint64_t& rows) {
  if (m_target.empty()) return runRowByRow(sql, rows);
  return isSmall() ? insertLiterals(rows) : insertColumns(rows);
}

bool PostgresBatch::isSmall() const {
  if (m_target.empty() || m_columns.rows() > kFewRows) return false;
  std::size_t bytes = 0;
  for (const BatchColumn& column : m_columns) {
    if (!column.isText()) continue;
    for (std::size_t row = 0; row < m_columns.rows(); ++row) bytes += column.text(row).size();
  }
  return bytes < kSlice / 2;
}

ExecResult PostgresBatch::insertColumns(std::uint64_t& rows) {
  Target target;
  ExecResult result = inspect(target);
  if (!result.succeeded()) return result;
  return target.canCopy ? insertByCopy(target, rows) : insertLiterals(rows);
}

// Parsing the insert takes the insert's own lock, to the end of the transaction, and has the server refuse
// what it refuses of every insert. The look-up after it in the same round trip sees what nobody can change
// any more.
ExecResult PostgresBatch::inspect(Target& target) {
  std::string insert = "insert into " + m_target + " values (";
  for (std::size_t index = 0; index < m_columns.size(); ++index) {
    insert.append(index == 0 ? "$" : ", $").append(std::to_string(index + 1));
  }
  insert += ")";
  ExecResult result = m_executor.makeReady();
  if (result.succeeded()) result = m_channel.beginPipeline();
  if (!result.succeeded()) return result;
  PGconn* const handle = m_channel.handle();
  const char* const table = m_table.c_str();
  if (PQsendPrepare(handle, "", insert.c_str(), 0, nullptr) != 1 || PQsendDescribePrepared(handle, "") != 1 ||
      PQsendQueryParams(handle, kInspect, 1, nullptr, &table, nullptr, nullptr, 0) != 1) {
    m_channel.setBroken();
    return m_channel.lost();
  }
  result = m_channel.sendPipeline(3);
  return result.succeeded() ? receiveInspection(target) : result;
}

ExecResult PostgresBatch::receiveInspection(Target& target) {
  ExecResult outcome;
  PostgresResult answer;
  for (int question = 0; question < 3; ++question) {
    for (;;) {
      if (!m_channel.next(answer)) return outcome.succeeded() ? m_channel.lost() : outcome;
      if (!answer) break;
      const ExecStatusType status = PQresultStatus(answer.get());
      if (status == PGRES_TUPLES_OK && PQntuples(answer.get()) == 1) {
        target.canCopy = *PQgetvalue(answer.get(), 0, 0) == 't';
        target.isPostgres = *PQgetvalue(answer.get(), 0, 1) == 't';
      } else if (status == PGRES_COMMAND_OK) {
        for (int index = 0; index < PQnparams(answer.get()); ++index) {
          target.types.push_back(PQparamtype(answer.get(), index));
        }
      } else if (status != PGRES_TUPLES_OK && outcome.succeeded()) {
        outcome = postgresFailure(answer.get(), m_channel.handle());
      }
    }
  }
  ExecResult ended = m_channel.endPipeline();
  return outcome.succeeded() ? ended : outcome;
}

ExecResult PostgresBatch::insertByCopy(const Target& target, std::uint64_t& rows) {
  if (target.isPostgres && m_columns.rows() >= kBinaryRows) {
    const PostgresBinaryCopy binary(m_columns, target.types);
    if (binary.possible()) return copy(binary, m_target + " from stdin (format binary)", rows);
  }
  return copy(PostgresTextCopy(m_columns), m_target + " from stdin", rows);
}

template <typename Format>
ExecResult PostgresBatch::copy(const Format& format, const std::string& destination, std::uint64_t& rows) {
  ExecResult result = m_executor.makeReady();
  if (result.succeeded()) result = m_channel.askSimple("copy " + destination);
  if (!result.succeeded()) return result;
  PostgresResult answer;
  if (!m_channel.next(answer)) return m_channel.lost();
  if (PQresultStatus(answer.get()) == PGRES_COPY_IN) {
    const bool sent = format.send(m_channel);
    m_channel.endCopy(sent ? nullptr : "the rows could not be sent");
    // The answer says whether any of it failed.
    if (!m_channel.next(answer)) return m_channel.lost();
  }
  return m_executor.finish(std::move(answer), &rows);
}

ExecResult PostgresBatch::insertLiterals(std::uint64_t& rows) {
  ExecResult result = refuseZeroBytes(m_columns);
  const std::string head = "insert into " + m_target + " values ";
  std::string sql;
  for (std::size_t row = 0; row < m_columns.rows() && result.succeeded();) {
    sql = head;
    for (std::size_t count = 0; row < m_columns.rows() && count < kSliceRows && sql.size() < kSlice;
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
  for (std::size_t first = 0; first < m_columns.rows() && result.succeeded(); first += kRowsInFlight) {
    result = runRows(first, std::min(first + kRowsInFlight, m_columns.rows()), rows);
  }
  return result;
}

ExecResult PostgresBatch::runRows(std::size_t first, std::size_t last, std::uint64_t& rows) {
  std::vector<std::array<char, kPostgresNumberSize + 1>> numbers(m_columns.size());
  std::vector<const char*> values(m_columns.size());
  ExecResult result = m_channel.beginPipeline();
  if (!result.succeeded()) return result;
  for (std::size_t row = first; row < last; ++row) {
    for (std::size_t index = 0; index < m_columns.size(); ++index) {
      const BatchColumn& column = m_columns[index];
      const bool text = column.isText();
      values[index] = text ? column.text(row).c_str() : numbers[index].data();
      if (!text) *writePostgresNumber(numbers[index].data(), column, row) = '\0';
    }
    if (PQsendQueryPrepared(m_channel.handle(), "", static_cast<int>(values.size()), values.data(), nullptr,
                            nullptr, 0) != 1) {
      m_channel.setBroken();
      return m_channel.lost();
    }
  }
  result = m_channel.sendPipeline(last - first);
  return result.succeeded() ? receiveRows(last - first, rows) : result;
}

ExecResult PostgresBatch::receiveRows(std::size_t questions, std::uint64_t& rows) {
  ExecResult outcome;
  PostgresResult answer;
  for (std::size_t question = 0; question < questions; ++question) {
    for (;;) {
      if (!m_channel.next(answer)) return outcome.succeeded() ? m_channel.lost() : outcome;
      if (!answer) break;
      const ExecStatusType status = PQresultStatus(answer.get());
      if (!outcome.succeeded() || status == PGRES_PIPELINE_ABORTED) continue;
      if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK) {
        rows += PostgresExecutor::rowsWritten(answer.get());
      } else {
        outcome = postgresFailure(answer.get(), m_channel.handle());
      }
    }
  }
  ExecResult ended = m_channel.endPipeline();
  return outcome.succeeded() ? ended : outcome;
}

}  // namespace vorn
