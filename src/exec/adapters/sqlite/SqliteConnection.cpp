#include "exec/adapters/sqlite/SqliteConnection.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "exec/adapters/base/Failure.h"
#include "exec/adapters/sqlite/SqliteBatch.h"
#include "exec/adapters/sqlite/SqliteCursor.h"
#include "exec/adapters/sqlite/SqliteDialect.h"
#include "exec/adapters/sqlite/SqliteError.h"

namespace vorn {

namespace {

bool isBusy(const ExecResult& result) {
  return !result.succeeded() && (result.errorCode() & 0xff) == SQLITE_BUSY &&
         result.errorCode() >> 32 == static_cast<std::uint64_t>(ErrorFamily::Sqlite);
}

}  // namespace

SqliteConnection::SqliteConnection(std::unique_ptr<SqliteDatabase> database)
    : m_database(std::move(database)) {}

ExecResult SqliteConnection::open(const SqliteSettings& settings,
                                  std::unique_ptr<StoreConnection>& connection) {
  if (!settings.isUri && SqliteFile::isOpenInParent(settings.file)) {
    return makeFailure(
        Failure::ForkedStore,
        "the parent process had the file open when it forked this one, and the file's locks would "
        "not hold; close it before forking, or run another program");
  }
  // A connection serves one thread at a time, so SQLite needs no locks of its own.
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE |
                    (settings.isUri ? SQLITE_OPEN_URI : 0);
  std::unique_ptr<SqliteDatabase> database;
  ExecResult result = SqliteDatabase::open(settings.file, flags, database);
  if (!result.succeeded()) return result;
  std::unique_ptr<SqliteConnection> opened(new SqliteConnection(std::move(database)));
  result = opened->configure(settings);
  if (result.succeeded()) connection = std::move(opened);
  return result;
}

ExecResult SqliteConnection::configure(const SqliteSettings& settings) {
  sqlite3_busy_timeout(m_database->handle(), static_cast<int>(settings.busyTimeout));
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(settings.busyTimeout);
  ExecResult result = m_database->run("pragma foreign_keys=on");
  if (result.succeeded()) result = runPatiently("pragma synchronous=" + settings.synchronous, deadline);
  // A file that cannot be written keeps its journal mode; reading it is still possible.
  if (result.succeeded() && sqlite3_db_readonly(m_database->handle(), "main") != 1) {
    result = settleJournalMode(settings);
  }
  // The first look into the file, so that one that is no database is reported here.
  if (result.succeeded()) result = runPatiently("pragma schema_version", deadline);
  m_database->startWatching();
  return result;
}

// The journal mode is the file's own, and other processes may hold it with another one. It is then kept: what
// is read and written is the same in every mode.
ExecResult SqliteConnection::settleJournalMode(const SqliteSettings& settings) {
  const auto now = std::chrono::steady_clock::now();
  const auto patience = std::chrono::milliseconds(settings.busyTimeout);
  std::string mode;
  ExecResult result = runPatiently("pragma journal_mode", now + patience);
  if (result.succeeded()) result = journalMode(mode);
  if (!result.succeeded() || mode == settings.journalMode) return result;
  // Whoever holds the file in WAL mode holds it for as long as it is connected; every other lock is short.
  result = runPatiently("pragma journal_mode=" + settings.journalMode, mode == "wal" ? now : now + patience);
  return isBusy(result) ? ExecResult() : result;
}

ExecResult SqliteConnection::journalMode(std::string& mode) {
  SqliteStatement statement;
  ExecResult result = m_database->prepare("pragma journal_mode", statement);
  if (!result.succeeded()) return result;
  if (sqlite3_step(statement.get()) != SQLITE_ROW) return sqliteFailure(m_database->handle());
  mode = reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), 0));
  return result;
}

// Some locks are refused without a call of the busy handler, where SQLite fears that waiting is in vain.
ExecResult SqliteConnection::runPatiently(const std::string& sql,
                                          std::chrono::steady_clock::time_point deadline) {
  std::chrono::milliseconds pause(1);
  ExecResult result = m_database->run(sql);
  while (isBusy(result) && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(pause);
    pause = std::min(2 * pause, std::chrono::milliseconds(20));
    result = m_database->run(sql);
  }
  return result;
}

const SqlDialect& SqliteConnection::dialect() const noexcept {
  return kSqliteDialect;
}

bool SqliteConnection::usable() noexcept {
  if (m_database->handle() == nullptr) return false;
  return !std::exchange(m_idle, false) || m_database->lookAfterRest();
}

bool SqliteConnection::renew() noexcept {
  m_idle = true;
  return m_database->handle() != nullptr && !m_database->sessionChanged();
}

void SqliteConnection::giveUp() noexcept {
  m_database->giveUp();
}

void SqliteConnection::drainCursors() noexcept {
  m_database->drainCursors();
}

bool SqliteConnection::inTransaction() const noexcept {
  return m_database->inTransaction();
}

ExecResult SqliteConnection::begin() {
  return m_database->run("begin immediate");
}

ExecResult SqliteConnection::commit() {
  return m_database->run("commit");
}

ExecResult SqliteConnection::rollback() {
  return m_database->run("rollback");
}

ExecResult SqliteConnection::read(const StatementShape& shape, std::unique_ptr<StoreCursor>& cursor) {
  SqliteStatement statement;
  ExecResult result = m_database->prepare(shape, SqliteDatabase::Texts::Copied, statement);
  if (result.succeeded()) result = m_database->makeReady(statement);
  if (!result.succeeded()) return result;

  const bool writes = !statement.readOnly();
  auto opened = std::make_unique<SqliteCursor>(*m_database, std::move(statement));
  result = opened->start();
  if (!result.succeeded()) return result;
  // A write that returns rows is complete, and committed, only when its last row was stepped to.
  if (writes) {
    opened->drain();
    result = opened->failure();
  }
  if (result.succeeded()) cursor = std::move(opened);
  return result;
}

ExecResult SqliteConnection::write(const StatementShape& shape, std::uint64_t& rows) {
  SqliteStatement statement;
  ExecResult result = m_database->prepare(shape, SqliteDatabase::Texts::Referred, statement);
  if (result.succeeded()) result = m_database->makeReady(statement);
  return result.succeeded() ? m_database->runToEnd(statement, rows) : result;
}

ExecResult SqliteConnection::batch(const std::string& sql, const BatchColumns& columns, std::uint64_t& rows) {
  return SqliteBatch(*this, *m_database, m_batchTable, columns).run(sql, rows);
}

}  // namespace vorn
