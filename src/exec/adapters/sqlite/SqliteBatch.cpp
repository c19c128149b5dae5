#include "exec/adapters/sqlite/SqliteBatch.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "common/joined.h"
#include "exec/adapters/base/Failure.h"
#include "exec/adapters/sqlite/SqliteDialect.h"
#include "exec/adapters/sqlite/SqliteError.h"
#include "exec/adapters/sqlite/sequential_key.h"
#include "exec/adapters/sqlite/sqlite_values.h"
#include "exec/adapters/store/BatchScope.h"
#include "exec/adapters/store/BatchText.h"

namespace vorn {

SqliteBatch::SqliteBatch(StoreConnection& connection, SqliteDatabase& database, SqliteBatchTable& table,
                         const BatchColumns& columns)
    : m_connection(connection), m_database(database), m_table(table), m_columns(columns) {}

// The statement alone would be atomic but for conflict clauses of the table that keep the rows before a
// failure, hence the transaction or savepoint around it.
ExecResult SqliteBatch::run(const std::string& sql, std::uint64_t& rows) {
  ExecResult result = checkSqliteValues(m_columns);
  if (!result.succeeded()) return result;
  m_database.drainCursors();
  BatchScope scope(m_connection);
  result = scope.open();
  if (!result.succeeded()) return result;
  std::string target;
  result = isPlainBatchInsert(sql, m_columns, target) ? insertColumns(target, rows) : runRowByRow(sql, rows);
  return scope.close(std::move(result), rows);
}

ExecResult SqliteBatch::insertColumns(const std::string& target, std::uint64_t& rows) {
  std::string source;
  if (m_table.provide(m_database.handle(), m_columns.size(), source) != SQLITE_OK) {
    return sqliteFailure(m_database.handle());
  }
  const std::vector<std::size_t> order = inTableOrder(target);
  std::string sql = "insert into " + target + " (";
  appendJoined(sql, order, ",",
               [this](std::string& text, std::size_t column) { text += *m_columns[column].name; });
  sql += ") select ";
  appendJoined(sql, order, ",", [](std::string& text, std::size_t column) {
    text.append("c").append(std::to_string(column));
  });
  sql += " from temp." + source;
  SqliteStatement statement;
  ExecResult result = m_database.prepare(sql, statement);
  if (!result.succeeded()) return result;
  const SqliteBatchTable::Showing showing(m_table, m_columns,
                                          findSequentialRowId(m_database.handle(), target, m_columns));
  result = m_database.runToEnd(statement, rows);
  if (result.succeeded() && !showing.wasRead()) {
    return makeFailure(Failure::NotSupported, "a table of the database hides the source of the batch's rows");
  }
  return result;
}

// Values that arrive in the order of the table's columns are written without being moved once more.
std::vector<std::size_t> SqliteBatch::inTableOrder(const std::string& target) {
  std::vector<std::size_t> order(m_columns.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  SqliteStatement everything;
  if (!m_database.prepare("select * from " + target, everything).succeeded()) return order;
  const int count = sqlite3_column_count(everything.get());
  const auto place = [&](std::size_t column) {
    const char* const name = m_columns[column].name->c_str();
    int at = 0;
    while (at < count && sqlite3_stricmp(sqlite3_column_name(everything.get(), at), name) != 0) ++at;
    return at;
  };
  std::vector<int> places(m_columns.size());
  std::transform(order.begin(), order.end(), places.begin(), place);
  m_database.finish(std::move(everything));
  // A name that is none of these columns', such as rowid, may mean one of them, and the last one counts.
  if (std::find(places.begin(), places.end(), count) != places.end()) return order;
  std::sort(order.begin(), order.end(), [&places](std::size_t left, std::size_t right) {
    return places[left] != places[right] ? places[left] < places[right] : left < right;
  });
  return order;
}

ExecResult SqliteBatch::runRowByRow(const std::string& sql, std::uint64_t& rows) {
  std::string numbered;
  SqliteStatement statement;
  ExecResult result = numberPlaceholders(sql, m_columns, kSqliteDialect, numbered);
  if (result.succeeded()) result = m_database.prepare(numbered, statement);
  if (!result.succeeded()) return result;

  const sqlite3_int64 before = sqlite3_total_changes64(m_database.handle());
  for (std::size_t row = 0; row < m_columns.rows() && result.succeeded(); ++row) {
    result = runRow(statement, row);
  }
  rows = static_cast<std::uint64_t>(sqlite3_total_changes64(m_database.handle()) - before);
  m_database.finish(std::move(statement));
  return result;
}

ExecResult SqliteBatch::runRow(SqliteStatement& statement, std::size_t row) {
  int code = bindSqliteRow(statement.get(), m_columns, row);
  if (code == SQLITE_OK) {
    do code = sqlite3_step(statement.get());
    while (code == SQLITE_ROW);
  }
  ExecResult result;
  if (code != SQLITE_DONE) result = sqliteFailure(m_database.handle());
  sqlite3_reset(statement.get());
  return result;
}

}  // namespace vorn
