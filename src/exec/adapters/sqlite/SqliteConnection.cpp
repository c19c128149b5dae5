#include "exec/adapters/sqlite/SqliteConnection.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <thread>
#include <utility>

#include "exec/adapters/base/Failure.h"
#include "exec/adapters/sqlite/SqliteBatch.h"
#include "exec/adapters/sqlite/SqliteCursor.h"
#include "exec/adapters/sqlite/SqliteDriver.h"
#include "exec/adapters/sqlite/SqliteError.h"
#include "exec/adapters/sqlite/SqliteSequentialKey.h"
#include "exec/adapters/store/BatchScope.h"
#include "exec/adapters/store/BatchText.h"

namespace vorn {

namespace {

constexpr std::size_t kCachedStatements = 64;

bool isBusy(const ExecResult& result) {
  return !result.succeeded() && (result.errorCode() & 0xff) == SQLITE_BUSY &&
         result.errorCode() >> 32 == static_cast<std::uint64_t>(ErrorFamily::Sqlite);
}

}  // namespace

SqliteConnection::SqliteConnection(std::unique_ptr<sqlite3, Closer> database)
    : m_database(std::move(database)), m_cache(kCachedStatements) {}

SqliteConnection::~SqliteConnection() {
  SqliteConnection::giveUp();
}

void SqliteConnection::giveUp() noexcept {
  for (SqliteCursor* cursor : m_cursors) cursor->detach();
  m_cursors.clear();
  m_cache.clear();
  m_database.reset();  // no statement holds it any more: its transaction is undone, its locks are gone
  m_file.forget();
}

bool SqliteConnection::usable() noexcept {
  if (!m_database || !m_idle) return m_database != nullptr;
  m_idle = false;
  m_looked = m_file.inPlace(m_database.get());
  if (m_looked) return true;
  m_file.reportMoved(m_database.get());
  giveUp();
  return false;
}

bool SqliteConnection::renew() noexcept {
  m_idle = true;
  return m_database && !m_watch.changed();
}

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
  m_file.opened(m_database.get());
  sqlite3_busy_timeout(m_database.get(), static_cast<int>(settings.busyTimeout));
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(settings.busyTimeout);
  ExecResult result = run("pragma foreign_keys=on");
  if (result.succeeded()) result = runPatiently("pragma synchronous=" + settings.synchronous, deadline);
  // A file that cannot be written keeps its journal mode; reading it is still possible.
  if (result.succeeded() && sqlite3_db_readonly(m_database.get(), "main") != 1) {
    result = settleJournalMode(settings);
  }
  // The first look into the file, so that one that is no database is reported here.
  if (result.succeeded()) result = runPatiently("pragma schema_version", deadline);
  m_cache.clear();
  m_file.noteCompanions();
  m_watch.watch(m_database.get());
  m_looked = true;
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
  ExecResult result = prepare("pragma journal_mode", statement);
  if (!result.succeeded()) return result;
  if (sqlite3_step(statement.get()) != SQLITE_ROW) return sqliteFailure(m_database.get());
  mode = reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), 0));
  return result;
}

// Some locks are refused without a call of the busy handler, where SQLite fears that waiting is in vain.
ExecResult SqliteConnection::runPatiently(const std::string& sql,
                                          std::chrono::steady_clock::time_point deadline) {
  std::chrono::milliseconds pause(1);
  ExecResult result = run(sql);
  while (isBusy(result) && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(pause);
    pause = std::min(2 * pause, std::chrono::milliseconds(20));
    result = run(sql);
  }
  return result;
}

bool SqliteConnection::inTransaction() const noexcept {
  return m_database && sqlite3_get_autocommit(m_database.get()) == 0;
}

// What comes before every statement of the caller's: see the invariants 2 and 3.
ExecResult SqliteConnection::makeReady(const SqliteStatement& statement) {
  const bool apart = !inTransaction();
  const bool writes = !statement.readOnly();
  if (apart || writes || statement.controls) drainCursors();
  return apart || statement.mayCommit ? lookAtFile(writes || statement.controls) : ExecResult();
}

ExecResult SqliteConnection::lookAtFile(bool whole) {
  const bool looked = std::exchange(m_looked, false);
  // The caller may have changed the journal mode itself.
  if (m_watch.changed()) m_file.forgetCompanions();
  if (whole ? m_file.wholeInPlace(m_database.get()) : looked || m_file.inPlace(m_database.get())) return {};
  m_file.reportMoved(m_database.get());
  giveUp();
  return makeFailure(Failure::ConnectionLost,
                     "the file of the store was moved, replaced or deleted; nothing was written");
}

ExecResult SqliteConnection::begin() {
  return run("begin immediate");
}

ExecResult SqliteConnection::commit() {
  return run("commit");
}

ExecResult SqliteConnection::rollback() {
  return run("rollback");
}

ExecResult SqliteConnection::read(const std::string& sql, std::unique_ptr<StoreCursor>& cursor) {
  SqliteStatement statement;
  ExecResult result = prepare(sql, statement);
  if (result.succeeded()) result = makeReady(statement);
  if (!result.succeeded()) return result;

  const bool writes = !statement.readOnly();
  auto opened = std::make_unique<SqliteCursor>(*this, std::move(statement));
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

ExecResult SqliteConnection::write(const std::string& sql, std::uint64_t& rows) {
  SqliteStatement statement;
  ExecResult result;
  if (!prepareLifted(sql, statement)) result = prepare(sql, statement);
  if (result.succeeded()) result = makeReady(statement);
  return result.succeeded() ? runToEnd(statement, rows) : result;
}

// The statement alone would be atomic but for conflict clauses of the table that keep the rows before a
// failure, hence the transaction or savepoint around it.
ExecResult SqliteConnection::batch(const std::string& sql, const BatchColumns& columns, std::uint64_t& rows) {
  ExecResult result = checkSqliteValues(columns);
  if (!result.succeeded()) return result;

  drainCursors();
  BatchScope scope(*this);
  result = scope.open();
  if (!result.succeeded()) return result;
  std::string table;
  result = isPlainBatchInsert(sql, columns, table) ? insertColumns(table, columns, rows)
                                                   : runRowByRow(sql, columns, rows);
  return scope.close(std::move(result), rows);
}

// One statement, as the insert of all rows by one values list would be.
ExecResult SqliteConnection::insertColumns(const std::string& table, const BatchColumns& columns,
                                           std::uint64_t& rows) {
  std::string source;
  if (m_batchTable.provide(m_database.get(), columns.size(), source) != SQLITE_OK) {
    return sqliteFailure(m_database.get());
  }
  std::string targets;
  std::string values;
  for (const std::size_t column : inTableOrder(table, columns)) {
    const char* separator = targets.empty() ? "" : ",";
    targets.append(separator).append(*columns[column].name);
    values.append(separator).append("c").append(std::to_string(column));
  }
  SqliteStatement statement;
  ExecResult result = prepare(
      "insert into " + table + " (" + targets + ") select " + values + " from temp." + source, statement);
  if (!result.succeeded()) return result;
  const SqliteBatchTable::Showing showing(m_batchTable, columns,
                                          findSequentialRowId(m_database.get(), table, columns));
  result = runToEnd(statement, rows);
  if (result.succeeded() && !showing.wasRead()) {
    return makeFailure(Failure::NotSupported, "a table of the database hides the source of the batch's rows");
  }
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
  finish(std::move(everything));
  // A name that is none of these columns', such as rowid, may mean one of them, and the last one counts.
  if (std::find(places.begin(), places.end(), count) != places.end()) return order;
  std::sort(order.begin(), order.end(), [&places](std::size_t left, std::size_t right) {
    return places[left] != places[right] ? places[left] < places[right] : left < right;
  });
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
  if (result.succeeded()) result = makeReady(statement);
  return result.succeeded() ? runToEnd(statement, rows) : result;
}

ExecResult SqliteConnection::prepare(const std::string& sql, SqliteStatement& statement) {
  if (!m_database) return makeFailure(Failure::ConnectionLost, "the connection was given up");
  statement = m_cache.take(sql);
  return statement ? ExecResult() : prepareOne(sql, statement);
}

// Whatever is unusual about a statement, its failures included, is left to its own text.
bool SqliteConnection::prepareLifted(const std::string& sql, SqliteStatement& statement) {
  if (!m_database) return false;
  const int longestText = sqlite3_limit(m_database.get(), SQLITE_LIMIT_SQL_LENGTH, -1);
  if (sql.size() > static_cast<std::size_t>(longestText) || !m_lifted.recognise(sql)) return false;
  if (prepare(m_lifted.shape(), statement).succeeded() && m_lifted.bind(statement.get()) == SQLITE_OK)
    return true;
  statement = {};
  return false;
}

// A pragma takes effect while it is compiled, so it is compiled only once nothing else is known to follow it.
ExecResult SqliteConnection::prepareOne(const std::string& sql, SqliteStatement& statement) {
  sqlite3_stmt* handle = nullptr;
  const char* tail = nullptr;
  const char* const end = sql.data() + sql.size();
  const auto compile = [&](SqliteSessionWatch::Mode mode) {
    m_watch.prepareIn(mode);
    const int code = sqlite3_prepare_v3(m_database.get(), sql.c_str(), static_cast<int>(sql.size() + 1),
                                        SQLITE_PREPARE_PERSISTENT, &handle, &tail);
    statement.handle.reset(handle);
    return code;
  };
  int code = compile(SqliteSessionWatch::Mode::DenyPragmas);
  if (code != SQLITE_OK && m_watch.deniedPragma()) {
    ExecResult alone = refuseTail(tail, end);
    if (!alone.succeeded()) return alone;
    code = compile(SqliteSessionWatch::Mode::Allow);
  }
  const SqliteSessionWatch::Control control = m_watch.control();
  m_watch.prepareIn(SqliteSessionWatch::Mode::Allow);
  if (code != SQLITE_OK) return prepareFailure();
  if (handle == nullptr) return makeFailure(Failure::EmptyStatement, "the text holds no statement");
  statement.controls = control.any;
  statement.mayCommit = control.commits;
  SqliteStatementCache::label(statement, sql);
  return tail == end ? ExecResult() : refuseTail(tail, end);
}

// A text may be refused only because another file, with another schema, stands under the name by now.
ExecResult SqliteConnection::prepareFailure() {
  ExecResult failure = sqliteFailure(m_database.get());
  m_looked = false;
  if (inTransaction() || m_file.inPlace(m_database.get())) return failure;
  drainCursors();
  return lookAtFile(false);
}

// Blanks, semicolons and comments may follow a statement, nothing else.
ExecResult SqliteConnection::refuseTail(const char* tail, const char* end) {
  while (tail < end) {
    tail += std::strspn(tail, " \t\r\n\f;");
    if (tail >= end) break;
    sqlite3_stmt* handle = nullptr;
    const char* rest = nullptr;
    m_watch.prepareIn(SqliteSessionWatch::Mode::DenyAll);
    const int code =
        sqlite3_prepare_v2(m_database.get(), tail, static_cast<int>(end - tail + 1), &handle, &rest);
    m_watch.prepareIn(SqliteSessionWatch::Mode::Allow);
    sqlite3_finalize(handle);
    if (code != SQLITE_OK || handle != nullptr) {
      return makeFailure(Failure::MultipleStatements,
                         "the text goes on after its first statement; nothing was run");
    }
    tail = rest;
  }
  return {};
}

void SqliteConnection::finish(SqliteStatement statement) noexcept {
  if (!statement) return;
  sqlite3_reset(statement.get());
  sqlite3_clear_bindings(statement.get());  // the bound texts are not the statement's own
  m_cache.put(std::move(statement));
}

void SqliteConnection::addCursor(SqliteCursor* cursor) {
  m_cursors.push_back(cursor);
}

void SqliteConnection::removeCursor(SqliteCursor* cursor) noexcept {
  m_cursors.erase(std::remove(m_cursors.begin(), m_cursors.end(), cursor), m_cursors.end());
}

void SqliteConnection::drainCursors() noexcept {
  while (!m_cursors.empty()) m_cursors.back()->drain();
}

}  // namespace vorn
