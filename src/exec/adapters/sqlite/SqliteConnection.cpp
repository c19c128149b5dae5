#include "exec/adapters/sqlite/SqliteConnection.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "exec/adapters/LayerError.h"
#include "exec/adapters/sqlite/SqliteCursor.h"
#include "exec/adapters/sqlite/SqliteDriver.h"
#include "exec/adapters/sqlite/SqliteError.h"

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

bool SqliteConnection::inTransaction() const {
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
  ExecResult result = prepare(sql, statement);
  if (!result.succeeded()) return result;
  if (sqlite3_stmt_readonly(statement.get()) == 0) drainCursors();
  return runToEnd(statement, rows);
}

ExecResult SqliteConnection::batch(const std::string&, const TypedRef&, std::uint64_t&) {
  return makeFailure(LayerError::NotSupported, "batches are not supported by this store");
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
  m_cache.put(std::move(statement));
}

void SqliteConnection::addCursor(SqliteCursor* cursor) {
  m_cursors.push_back(cursor);
}

void SqliteConnection::removeCursor(SqliteCursor* cursor) {
  m_cursors.erase(std::remove(m_cursors.begin(), m_cursors.end(), cursor), m_cursors.end());
}

void SqliteConnection::drainCursors() {
  while (!m_cursors.empty()) m_cursors.back()->drain();
}

}  // namespace vorn
