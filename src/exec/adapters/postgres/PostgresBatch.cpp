#include "exec/adapters/postgres/PostgresBatch.h"

#include <algorithm>
#include <array>
#include <utility>

#include "exec/adapters/BatchStatement.h"
#include "exec/adapters/LayerError.h"
#include "exec/adapters/postgres/PostgresBinaryCopy.h"
#include "exec/adapters/postgres/PostgresError.h"
#include "exec/adapters/postgres/PostgresStatement.h"
#include "exec/adapters/postgres/PostgresText.h"
#include "exec/adapters/postgres/PostgresTextCopy.h"

namespace vorn {

namespace {

// COPY passes over insert rules and over the refusal of values for columns that are always generated, and the
// server refuses it for views and under row security. Asked anew each time, as a table may change. In a
// transaction with a snapshot of its own the catalogs are old, and what the server does is not.
constexpr char kCanCopy[] =
    "select c.relkind in ('r', 'p') and not c.relrowsecurity"
    " and not exists (select 1 from pg_catalog.pg_rewrite r where r.ev_class = c.oid and r.ev_type = '3')"
    " and not exists (select 1 from pg_catalog.pg_attribute a where a.attrelid = c.oid"
    " and a.attname = any($2::text[]) and (a.attidentity = 'a'";
constexpr char kGenerated[] = " or a.attgenerated <> ''";  // since 12
constexpr char kCanCopyTail[] =
    ")) and ($3 = 'f' or pg_catalog.current_setting('transaction_isolation') = 'read committed'),"
    " pg_catalog.version() like 'PostgreSQL %'"
    " from pg_catalog.pg_class c where c.oid = $1::regclass";
constexpr int kGeneratedSince = 120000;

// The name of a type behind all its domains. -1: without a length, which the column itself adds, refusing
// what a cast would cut off.
constexpr char kTypeName[] =
    "with recursive t(oid, base) as (select oid, typbasetype from pg_catalog.pg_type where oid = $1::oid"
    " union all select p.oid, p.typbasetype from pg_catalog.pg_type p join t on p.oid = t.base)"
    " select pg_catalog.format_type(oid, -1) from t where base = 0";

// Bytes of the arrays of one insert. The server takes a message of a gigabyte.
constexpr std::size_t kSlice = 8 << 20;

constexpr std::size_t kRowsInFlight = 1000;

// From here on a binary copy gains more than the look-up of the column types costs.
constexpr std::size_t kBinaryRows = 2000;

}  // namespace

PostgresBatch::PostgresBatch(PostgresConnection& connection, const BatchColumns& columns)
    : m_connection(connection), m_columns(columns) {}

ExecResult PostgresBatch::run(const std::string& sql, std::uint64_t& rows) {
  std::string table;
  const bool plain = isPlainBatchInsert(sql, m_columns, table);
  const bool nested = m_connection.inTransaction();
  // Also around a single copy: an engine that speaks this protocol may cut a large one into pieces.
  ExecResult result = m_connection.run(nested ? "savepoint vorn_batch" : "begin");
  if (!result.succeeded()) return result;

  try {
    result = plain ? insertColumns(table, nested, rows) : runRowByRow(sql, rows);
  } catch (...) {
    m_connection.setBroken();  // with whatever was under way
    throw;
  }
  if (result.succeeded()) {
    result = nested ? m_connection.run("release savepoint vorn_batch") : m_connection.commit();
  }
  if (result.succeeded()) return result;
  rows = 0;
  if (!m_connection.inTransaction()) return result;
  ExecResult undone = m_connection.run(nested ? "rollback to savepoint vorn_batch" : "rollback");
  if (undone.succeeded() && nested) undone = m_connection.run("release savepoint vorn_batch");
  // What cannot be undone leaves the transaction failed, and the server says so at the next statement.
  return result;
}

ExecResult PostgresBatch::insertColumns(const std::string& table, bool nested, std::uint64_t& rows) {
  std::string target = table + " (";
  for (const BatchColumn& column : m_columns) {
    target.append(&column == &m_columns[0] ? "" : ", ").append(*column.name);
  }
  target += ")";
  bool can = false;
  bool binary = false;
  ExecResult result = canCopy(table, nested, can, binary);
  if (!result.succeeded()) return result;
  return can ? insertByCopy(target, binary, rows) : insertUnnested(target, rows);
}

ExecResult PostgresBatch::canCopy(const std::string& table, bool nested, bool& can, bool& binary) {
  std::vector<std::string> names;
  for (const BatchColumn& column : m_columns) names.push_back(foldIdentifier(*column.name));
  std::vector<std::string> row;
  const bool knowsGenerated = PQserverVersion(m_connection.handle()) >= kGeneratedSince;
  const std::string sql = std::string(kCanCopy) + (knowsGenerated ? kGenerated : "") + kCanCopyTail;
  ExecResult result = queryRow(sql, {table, postgresArray(names), nested ? "t" : "f"}, row);
  can = !row.empty() && row[0] == "t";
  binary = can && row[1] == "t";
  return result;
}

ExecResult PostgresBatch::insertByCopy(const std::string& target, bool mayBeBinary, std::uint64_t& rows) {
  std::vector<Oid> types;
  ExecResult result;
  if (mayBeBinary && m_columns.rows() >= kBinaryRows) result = columnTypes(target, types);
  if (!result.succeeded()) return result;
  const PostgresBinaryCopy binary(m_columns, types);
  return binary.possible() ? copy(binary, target + " from stdin (format binary)", rows)
                           : copy(PostgresTextCopy(m_columns), target + " from stdin", rows);
}

template <typename Format>
ExecResult PostgresBatch::copy(const Format& format, const std::string& destination, std::uint64_t& rows) {
  ExecResult result = m_connection.send("copy " + destination);
  if (!result.succeeded()) return result;
  PGconn* handle = m_connection.handle();
  PostgresResult answer(PQgetResult(handle));
  if (PQresultStatus(answer.get()) == PGRES_COPY_IN) {
    const bool sent = format.send(handle);
    // The answer tells whether any of it failed, this call included.
    static_cast<void>(PQputCopyEnd(handle, sent ? nullptr : "the rows could not be sent"));
    answer.reset(PQgetResult(handle));
  }
  return m_connection.finish(std::move(answer), &rows);
}

// Every value passes through its column's own type from text, as it does in a copy and in a bound insert.
ExecResult PostgresBatch::insertUnnested(const std::string& target, std::uint64_t& rows) {
  std::vector<Oid> types;
  std::vector<std::string> typeNames;
  ExecResult result = refuseZeroBytes(m_columns);
  if (result.succeeded()) result = columnTypes(target, types);
  if (result.succeeded()) result = namesOf(types, typeNames);
  if (!result.succeeded()) return result;
  std::string values;
  std::string arrays;
  std::string names;
  for (std::size_t index = 0; index < m_columns.size(); ++index) {
    const char* separator = index == 0 ? "" : ", ";
    const std::string number = std::to_string(index + 1);
    values.append(separator).append("v.c").append(number).append("::").append(typeNames[index]);
    arrays.append(separator).append("$").append(number).append("::text[]");
    names.append(separator).append("c").append(number);
  }
  const std::string sql =
      "insert into " + target + " select " + values + " from unnest(" + arrays + ") as v(" + names + ")";
  for (std::size_t row = 0; row < m_columns.rows() && result.succeeded();) {
    result = insertSlice(sql, row, rows);
  }
  return result;
}

// Inserts rows from `row` on, which is set to the first that is left.
ExecResult PostgresBatch::insertSlice(const std::string& sql, std::size_t& row, std::uint64_t& rows) {
  std::vector<std::string> literals(m_columns.size());
  std::size_t size = 0;
  for (; row < m_columns.rows() && size < kSlice; ++row) {
    size = 0;
    for (std::size_t index = 0; index < m_columns.size(); ++index) {
      appendToPostgresArray(literals[index], m_columns[index], row);
      size += literals[index].size();
    }
  }
  for (std::string& literal : literals) literal += '}';
  ExecResult result = send(sql, literals);
  if (!result.succeeded()) return result;
  return m_connection.finish(PostgresResult(PQgetResult(m_connection.handle())), &rows);
}

// The types that the server infers for the placeholders of the insert. It locks the table with that, so they
// stay what they are to the end of the transaction.
ExecResult PostgresBatch::columnTypes(const std::string& target, std::vector<Oid>& types) {
  std::string sql = "insert into " + target + " values (";
  for (std::size_t index = 0; index < m_columns.size(); ++index) {
    sql.append(index == 0 ? "$" : ", $").append(std::to_string(index + 1));
  }
  PGconn* handle = m_connection.handle();
  PostgresResult described(PQprepare(handle, "", (sql + ")").c_str(), 0, nullptr));
  if (PQresultStatus(described.get()) != PGRES_COMMAND_OK) return postgresFailure(described.get(), handle);
  described.reset(PQdescribePrepared(handle, ""));
  if (PQresultStatus(described.get()) != PGRES_COMMAND_OK) return postgresFailure(described.get(), handle);
  for (int index = 0; index < PQnparams(described.get()); ++index) {
    types.push_back(PQparamtype(described.get(), index));
  }
  return {};
}

ExecResult PostgresBatch::namesOf(const std::vector<Oid>& types, std::vector<std::string>& names) {
  for (const Oid type : types) {
    std::vector<std::string> row;
    ExecResult result = queryRow(kTypeName, {std::to_string(type)}, row);
    if (!result.succeeded()) return result;
    names.push_back(row.at(0));
  }
  return {};
}

ExecResult PostgresBatch::send(const std::string& sql, const std::vector<std::string>& parameters) {
  std::vector<const char*> values(parameters.size());
  std::transform(parameters.begin(), parameters.end(), values.begin(),
                 [](const std::string& parameter) { return parameter.c_str(); });
  return m_connection.send(sql, static_cast<int>(values.size()), values.data());
}

ExecResult PostgresBatch::queryRow(const std::string& sql, const std::vector<std::string>& parameters,
                                   std::vector<std::string>& row) {
  ExecResult result = send(sql, parameters);
  if (!result.succeeded()) return result;
  PostgresResult answer(PQgetResult(m_connection.handle()));
  if (PQresultStatus(answer.get()) == PGRES_SINGLE_TUPLE) {
    for (int index = 0; index < PQnfields(answer.get()); ++index) {
      row.emplace_back(PQgetvalue(answer.get(), 0, index));
    }
  }
  return m_connection.finish(std::move(answer));
}

ExecResult PostgresBatch::runRowByRow(const std::string& sql, std::uint64_t& rows) {
  std::string numbered;
  ExecResult result = refuseZeroBytes(m_columns);
  if (result.succeeded()) result = numberPlaceholders(sql, m_columns, SqlDialect::Postgres, numbered);
  if (!result.succeeded()) return result;
  PGconn* handle = m_connection.handle();
  const PostgresResult prepared(PQprepare(handle, "", numbered.c_str(), 0, nullptr));
  if (PQresultStatus(prepared.get()) != PGRES_COMMAND_OK) return postgresFailure(prepared.get(), handle);
  if (PQenterPipelineMode(handle) != 1) return postgresConnectionLost(handle);
  for (std::size_t first = 0; first < m_columns.rows() && result.succeeded(); first += kRowsInFlight) {
    result = runRows(first, std::min(first + kRowsInFlight, m_columns.rows()), rows);
  }
  if (PQexitPipelineMode(handle) != 1 && result.succeeded()) result = postgresConnectionLost(handle);
  return result;
}

ExecResult PostgresBatch::runRows(std::size_t first, std::size_t last, std::uint64_t& rows) {
  std::vector<std::array<char, kPostgresNumberSize + 1>> numbers(m_columns.size());
  std::vector<const char*> values(m_columns.size());
  bool sent = true;
  for (std::size_t row = first; row < last && sent; ++row) {
    for (std::size_t index = 0; index < m_columns.size(); ++index) {
      const BatchColumn& column = m_columns[index];
      const bool text = column.elementCode == element_code::kString;
      values[index] = text ? column.text(row).c_str() : numbers[index].data();
      if (!text) *writePostgresNumber(numbers[index].data(), column, row) = '\0';
    }
    sent = PQsendQueryPrepared(m_connection.handle(), "", static_cast<int>(values.size()), values.data(),
                               nullptr, nullptr, 0) == 1;
  }
  if (!sent || PQpipelineSync(m_connection.handle()) != 1)
    return postgresConnectionLost(m_connection.handle());
  return collectRows(rows);
}

// The answers of a pipeline: each statement's ends with a null, the whole with the sync.
ExecResult PostgresBatch::collectRows(std::uint64_t& rows) {
  ExecResult outcome;
  PGconn* handle = m_connection.handle();
  for (bool ended = false;;) {
    const PostgresResult answer(PQgetResult(handle));
    const ExecStatusType status = PQresultStatus(answer.get());
    if (answer && status == PGRES_PIPELINE_SYNC) return outcome;
    if (!answer && (ended || PQstatus(handle) != CONNECTION_OK)) {
      return outcome.succeeded() ? postgresConnectionLost(handle) : outcome;
    }
    ended = !answer;
    if (!answer || status == PGRES_PIPELINE_ABORTED || !outcome.succeeded()) continue;
    if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK) {
      rows += PostgresConnection::rowsWritten(answer.get());
    } else {
      outcome = postgresFailure(answer.get(), handle);
    }
  }
}

}  // namespace vorn
