#include "exec/adapters/sqlite/SqliteConnection.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <utility>

#include "exec/adapters/BatchStatement.h"
#include "exec/adapters/LayerError.h"
#include "exec/adapters/sqlite/SqliteBatch.h"
#include "exec/adapters/sqlite/SqliteCursor.h"
#include "exec/adapters/sqlite/SqliteDriver.h"
#include "exec/adapters/sqlite/SqliteError.h"
#include "exec/adapters/sqlite/SqliteRowIdColumn.h"

namespace vorn {

namespace {

constexpr std::size_t kCachedStatements = 64;

}  // namespace

SqliteConnection::SqliteConnection(std::unique_ptr<sqlite3, Closer> database)
    : m_database(std::move(database)), m_cache(kCachedStatements) {}

SqliteConnection::~SqliteConnection() {
  for (SqliteCursor* cursor : m_cursors) cursor->detach();
}

ExecResult SqliteConnection::open(const SqliteSettings& settings,
                                  std::unique_ptr<StoreConnection>& connection) {
  // A connection serves one thread at a time, so SQLite needs no locks of its own.
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE |
                    (settings.isUri ? SQLITE_OPEN_URI : 0);
  sqlite3* handle = nullptr;
  const int code = sqlite3_open_v2(settings.file.c_str(), &handle, flags, nullptr);
  std::unique_ptr<sqlite3, Closer> database(handle);
  if (code != SQLITE_OK) return database ? sqliteFailure(database.get()) : sqliteFailure(code);

  std::unique_ptr<SqliteConnection> opened(new SqliteConnection(std::move(database)));
  ExecResult result = opened->configure(settings);
  if (result.succeeded()) connection = std::move(opened);
  return result;
}

ExecResult SqliteConnection::configure(const SqliteSettings& settings) {
  sqlite3_busy_timeout(m_database.get(), static_cast<int>(settings.busyTimeout));
  ExecResult result = run("pragma foreign_keys=on");
  if (result.succeeded()) result = run("pragma synchronous=" + settings.synchronous);
  // A file that cannot be written keeps its journal mode; reading it is still possible.
  if (result.succeeded() && sqlite3_db_readonly(m_database.get(), "main") != 1) {
    result = run("pragma journal_mode=" + settings.journalMode);
  }
  // The first look into the file, so that one that is no database is reported here.
  if (result.succeeded()) result = run("pragma schema_version");
  m_cache.clear();
  return result;
}

bool SqliteConnection::inTransaction() const noexcept {
  return sqlite3_get_autocommit(m_database.get()) == 0;
}

// An open cursor may hold an older snapshot, from which no write lock can be had.
ExecResult SqliteConnection::begin() {
  drainCursors();
  return run("begin immediate");
}

ExecResult SqliteConnection::commit() {
  return run("commit");
}

ExecResult SqliteConnection::rollback() {
  drainCursors();
  return run("rollback");
}

ExecResult SqliteConnection::read(const std::string& sql, std::unique_ptr<StoreCursor>& cursor) {
  SqliteStatement statement;
  ExecResult result = prepare(sql, statement);
  if (!result.succeeded()) return result;

  const bool writes = sqlite3_stmt_readonly(statement.get()) == 0;
  if (writes) drainCursors();
  auto opened = std::make_unique<SqliteCursor>(*this, std::move(statement));
  result = opened->start();
  if (!result.succeeded()) return result;
  // A write that returns rows is complete, and committed, only when its last row was stepped to.
  if (writes) result = opened->drain();
  if (result.succeeded()) cursor = std::move(opened);
  return result;
}

ExecResult SqliteConnection::write(const std::string& sql, std::uint64_t& rows) {
  SqliteStatement statement;
  ExecResult result;
  if (!prepareLifted(sql, statement)) result = prepare(sql, statement);
  if (!result.succeeded()) return result;
  if (sqlite3_stmt_readonly(statement.get()) == 0) drainCursors();
  return runToEnd(statement, rows);
}

// The statement alone would be atomic but for conflict clauses of the table that keep the rows before a
// failure, hence the transaction or savepoint around it.
ExecResult SqliteConnection::batch(const std::string& sql, const TypedRef& parameters, std::uint64_t& rows) {
  BatchColumns columns;
  ExecResult result = BatchColumns::read(parameters, columns);
  if (result.succeeded()) result = checkSqliteValues(columns);
  if (!result.succeeded()) return result;

  const bool ownTransaction = !inTransaction();
  drainCursors();
  result = run(ownTransaction ? "begin immediate" : "savepoint vorn_batch");
  if (!result.succeeded()) return result;
  std::string table;
  result = isPlainBatchInsert(sql, columns, table) ? insertColumns(table, columns, rows)
                                                   : runRowByRow(sql, columns, rows);
  if (result.succeeded()) result = run(ownTransaction ? "commit" : "release vorn_batch");
  return result.succeeded() ? result : abandonBatch(ownTransaction, std::move(result));
}

ExecResult SqliteConnection::abandonBatch(bool ownTransaction, ExecResult failure) {
  // A conflict clause or a trigger may have ended the whole transaction already.
  if (inTransaction()) {
    const ExecResult undone = run(ownTransaction ? "rollback" : "rollback to vorn_batch");
    if (undone.succeeded() && !ownTransaction) run("release vorn_batch");
  }
  return failure;
}

ExecResult SqliteConnection::insertColumns(const std::string& table, const BatchColumns& columns,
                                           std::uint64_t& rows) {
  const std::vector<std::size_t> order = inTableOrder(table, columns);
  const std::size_t rowId = findSequentialRowId(m_database.get(), table, columns);
  if (rowId == columns.size()) return insertRows(table, columns, order, rowId, {0, columns.rows()}, rows);

  // The first row says where the numbering begins, which SQLite then carries on.
  std::uint64_t first = 0;
  ExecResult result = insertRows(table, columns, order, columns.size(), {0, 1}, first);
  if (result.succeeded()) result = insertRows(table, columns, order, rowId, {1, columns.rows()}, rows);
  rows += first;
  return result;
}

ExecResult SqliteConnection::insertRows(const std::string& table, const BatchColumns& columns,
                                        const std::vector<std::size_t>& order, std::size_t numbered,
                                        SqliteBatchTable::Range range, std::uint64_t& rows) {
  std::string source;
  if (m_batchTable.provide(m_database.get(), columns.size(), source) != SQLITE_OK) {
    return sqliteFailure(m_database.get());
  }
  std::string targets;
  std::string values;
  for (const std::size_t column : order) {
    const char* separator = targets.empty() ? "" : ",";
    targets.append(separator).append(*columns[column].name);
    values.append(separator);
    column == numbered ? values.append("null") : values.append("c").append(std::to_string(column));
  }
  const std::string sql =
      "insert into " + table + " (" + targets + ") select " + values + " from temp." + source;
  SqliteStatement statement;
  ExecResult result = prepare(sql, statement);
  if (!result.succeeded()) return result;
  m_batchTable.show(&columns, range);
  result = runToEnd(statement, rows);
  m_batchTable.show(nullptr, {});
  return result;
}

// Values that arrive in the order of the table's columns are written without being moved once more.
std::vector<std::size_t> SqliteConnection::inTableOrder(const std::string& table,
                                                        const BatchColumns& columns) {
  std::vector<std::size_t> order(columns.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  SqliteStatement everything;
  if (!prepare("select * from " + table, everything).succeeded()) return order;
  const int count = sqlite3_column_count(everything.get());
  const auto place = [&](std::size_t column) {
    int at = 0;
    while (at < count &&
           sqlite3_stricmp(sqlite3_column_name(everything.get(), at), columns[column].name->c_str()) != 0) {
      ++at;
    }
    return at;
  };
  std::vector<int> places(columns.size());
  std::transform(order.begin(), order.end(), places.begin(), place);
  std::stable_sort(order.begin(), order.end(),
                   [&places](std::size_t left, std::size_t right) { return places[left] < places[right]; });
  finish(std::move(everything));
  return order;
}

ExecResult SqliteConnection::runRowByRow(const std::string& sql, const BatchColumns& columns,
                                         std::uint64_t& rows) {
  std::string numbered;
  SqliteStatement statement;
  ExecResult result = numberPlaceholders(sql, columns, SqlDialect::Sqlite, numbered);
  if (result.succeeded()) result = prepare(numbered, statement);
  if (!result.succeeded()) return result;

  const sqlite3_int64 before = sqlite3_total_changes64(m_database.get());
  for (std::size_t row = 0; row < columns.rows() && result.succeeded(); ++row) {
    int code = bindSqliteRow(statement.get(), columns, row);
    if (code == SQLITE_OK) {
      do code = sqlite3_step(statement.get());
      while (code == SQLITE_ROW);
    }
    if (code != SQLITE_DONE) result = sqliteFailure(m_database.get());
    sqlite3_reset(statement.get());
  }
  rows = static_cast<std::uint64_t>(sqlite3_total_changes64(m_database.get()) - before);
  finish(std::move(statement));
  return result;
}

ExecResult SqliteConnection::runToEnd(SqliteStatement& statement, std::uint64_t& rows) {
  const sqlite3_int64 before = sqlite3_total_changes64(m_database.get());
  int code = SQLITE_ROW;
  while (code == SQLITE_ROW) code = sqlite3_step(statement.get());
  ExecResult result;
  if (code == SQLITE_DONE) {
    rows = static_cast<std::uint64_t>(sqlite3_total_changes64(m_database.get()) - before);
  } else {
    result = sqliteFailure(m_database.get());
  }
  finish(std::move(statement));
  return result;
}

ExecResult SqliteConnection::run(const std::string& sql) {
  SqliteStatement statement;
  std::uint64_t rows = 0;
  ExecResult result = prepare(sql, statement);
  return result.succeeded() ? runToEnd(statement, rows) : result;
}

ExecResult SqliteConnection::prepare(const std::string& sql, SqliteStatement& statement) {
  statement = m_cache.take(sql);
  return statement ? ExecResult() : prepareOne(sql, statement);
}

// Whatever is unusual about a statement, its failures included, is left to its own text.
bool SqliteConnection::prepareLifted(const std::string& sql, SqliteStatement& statement) {
  const int longestText = sqlite3_limit(m_database.get(), SQLITE_LIMIT_SQL_LENGTH, -1);
  if (sql.size() > static_cast<std::size_t>(longestText) || !m_lifted.recognise(sql)) return false;
  if (prepare(m_lifted.shape(), statement).succeeded() && m_lifted.bind(statement.get()) == SQLITE_OK)
    return true;
  statement = {};
  return false;
}

ExecResult SqliteConnection::prepareOne(const std::string& sql, SqliteStatement& statement) {
  sqlite3_stmt* handle = nullptr;
  const char* tail = nullptr;
  const char* end = sql.data() + sql.size();
  const int code = sqlite3_prepare_v3(m_database.get(), sql.c_str(), static_cast<int>(sql.size() + 1),
                                      SQLITE_PREPARE_PERSISTENT, &handle, &tail);
  statement.handle.reset(handle);
  if (code != SQLITE_OK) return sqliteFailure(m_database.get());
  if (handle == nullptr) return makeFailure(LayerError::EmptyStatement, "the text holds no statement");
  statement.text = sql;
  return tail == end ? ExecResult() : refuseTail(tail, end);
}

// Blanks, semicolons and comments may follow a statement, nothing else.
ExecResult SqliteConnection::refuseTail(const char* tail, const char* end) {
  while (tail < end) {
    tail += std::strspn(tail, " \t\r\n\f;");
    if (tail >= end) break;
    sqlite3_stmt* handle = nullptr;
    const char* rest = nullptr;
    const int code =
        sqlite3_prepare_v2(m_database.get(), tail, static_cast<int>(end - tail + 1), &handle, &rest);
    sqlite3_finalize(handle);
    if (code != SQLITE_OK || handle != nullptr) {
      return makeFailure(LayerError::MultipleStatements,
                         "the text goes on after its first statement; nothing was run");
    }
    tail = rest;
  }
  return {};
}

void SqliteConnection::finish(SqliteStatement statement) {
  if (!statement) return;
  sqlite3_reset(statement.get());
  sqlite3_clear_bindings(statement.get());  // the bound texts are not the statement's own
  m_cache.put(std::move(statement));
}

void SqliteConnection::addCursor(SqliteCursor* cursor) {
  m_cursors.push_back(cursor);
}

void SqliteConnection::removeCursor(SqliteCursor* cursor) {
  m_cursors.erase(std::remove(m_cursors.begin(), m_cursors.end(), cursor), m_cursors.end());
}

void SqliteConnection::drainCursors() noexcept {
  while (!m_cursors.empty()) m_cursors.back()->drain();
}

}  // namespace vorn
