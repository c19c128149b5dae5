#include "exec/adapters/sqlite/SqliteDatabase.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "exec/adapters/base/Failure.h"
#include "exec/adapters/sqlite/SqliteError.h"
#include "exec/adapters/sqlite/sqlite_values.h"

namespace vorn {

namespace {

constexpr std::size_t kCachedStatements = 64;

// Below this a text's program is small too, and is not worth measuring.
constexpr std::size_t kShortText = 4096;

// A statement that the planner makes anew for its values half of the time is better off as text.
constexpr unsigned kUsesLookedAt = 16;
constexpr int kMostReprepared = 8;

// Gives a new statement what the cache needs to keep it; a text that is too long gets nothing.
void label(SqliteStatement& statement, std::string_view key, std::size_t hash, bool lifted) {
  if (key.size() > StatementCache<SqliteStatement>::kLongestText) return;
  statement.text = key;
  statement.hash = hash;
  statement.lifted = lifted;
  statement.bytes = key.size();
  if (key.size() > kShortText) {
    statement.bytes +=
        static_cast<std::size_t>(sqlite3_stmt_status(statement.get(), SQLITE_STMTSTATUS_MEMUSED, 0));
  }
}

// A relative path says nothing to whoever does not know the working directory.
ExecResult withPath(const ExecResult& failure, const std::string& file) {
  std::error_code unknown;
  const std::filesystem::path whole = std::filesystem::absolute(file, unknown);
  const std::string path = unknown ? file : whole.string();
  return makeFailure(ErrorFamily::Sqlite, static_cast<std::uint32_t>(failure.errorCode()),
                     failure.detail().value_or("") + " '" + path + "'" + SqliteFile::whyNotOpened(path));
}

}  // namespace

SqliteDatabase::SqliteDatabase(std::unique_ptr<sqlite3, Closer> handle)
    : m_handle(std::move(handle)), m_cache(kCachedStatements) {}

SqliteDatabase::~SqliteDatabase() {
  giveUp();
}

ExecResult SqliteDatabase::open(const std::string& file, int flags,
                                std::unique_ptr<SqliteDatabase>& database) {
  sqlite3* raw = nullptr;
  const int code = sqlite3_open_v2(file.c_str(), &raw, flags, nullptr);
  std::unique_ptr<sqlite3, Closer> handle(raw);
  if (code != SQLITE_OK) {
    ExecResult failure = handle ? sqliteFailure(handle.get()) : sqliteFailure(code);
    return (flags & SQLITE_OPEN_URI) != 0 ? failure : withPath(failure, file);
  }
  database.reset(new SqliteDatabase(std::move(handle)));
  database->m_file.opened(database->handle());
  return {};
}

void SqliteDatabase::startWatching() noexcept {
  m_cache.clear();
  m_file.noteCompanions();
  m_watch.watch(handle());
  m_looked = true;
}

void SqliteDatabase::giveUp() noexcept {
  for (BufferedCursor* cursor : m_cursors) cursor->detach();
  m_cursors.clear();
  m_cache.clear();
  m_realReader.reset();
  m_handle.reset();  // no statement holds it any more: its transaction is undone, its locks are gone
  m_file.forget();
}

bool SqliteDatabase::lookAfterRest() noexcept {
  m_looked = m_file.inPlace(handle());
  if (m_looked) return true;
  m_file.reportMoved(handle());
  giveUp();
  return false;
}

ExecResult SqliteDatabase::makeReady(const SqliteStatement& statement) {
  const bool apart = !inTransaction();
  const bool writes = !statement.readOnly();
  if (apart || writes || statement.controls) drainCursors();
  return apart || statement.mayCommit ? lookAtFile(writes || statement.controls) : ExecResult();
}

ExecResult SqliteDatabase::lookAtFile(bool whole) {
  const bool looked = std::exchange(m_looked, false);
  // The caller may have changed the journal mode itself.
  if (m_watch.changed()) m_file.forgetCompanions();
  if (whole ? m_file.wholeInPlace(handle()) : looked || m_file.inPlace(handle())) return {};
  m_file.reportMoved(handle());
  giveUp();
  return makeFailure(Failure::ConnectionLost,
                     "the file of the store was moved, replaced or deleted; nothing was written");
}

ExecResult SqliteDatabase::runToEnd(SqliteStatement& statement, std::uint64_t& rows) {
  const sqlite3_int64 before = sqlite3_total_changes64(handle());
  int code = SQLITE_ROW;
  while (code == SQLITE_ROW) code = sqlite3_step(statement.get());
  ExecResult result;
  if (code == SQLITE_DONE) {
    rows = static_cast<std::uint64_t>(sqlite3_total_changes64(handle()) - before);
  } else {
    result = sqliteFailure(handle());
  }
  finish(std::move(statement));
  return result;
}

ExecResult SqliteDatabase::run(const std::string& sql) {
  SqliteStatement statement;
  std::uint64_t rows = 0;
  ExecResult result = prepare(sql, statement);
  if (result.succeeded()) result = makeReady(statement);
  return result.succeeded() ? runToEnd(statement, rows) : result;
}

ExecResult SqliteDatabase::prepare(const std::string& sql, SqliteStatement& statement) {
  if (!m_handle) return makeFailure(Failure::ConnectionLost, "the connection was given up");
  const std::size_t hash = std::hash<std::string_view>{}(sql);
  if (!m_watch.attached()) statement = m_cache.take(sql, hash, false);
  if (statement) return {};
  ExecResult result = prepareOne(sql, statement);
  if (result.succeeded()) label(statement, sql, hash, false);
  return result;
}

ExecResult SqliteDatabase::prepare(const StatementShape& shape, Texts texts, SqliteStatement& statement) {
  if (shape.liftable() && m_handle && !m_watch.attached() && prepareLifted(shape, texts, statement))
    return {};
  return prepare(shape.sql(), statement);
}

// Whatever is unusual about a statement, its failures included, is left to its own text.
bool SqliteDatabase::prepareLifted(const StatementShape& shape, Texts texts, SqliteStatement& statement) {
  const int longestText = sqlite3_limit(handle(), SQLITE_LIMIT_SQL_LENGTH, -1);
  if (shape.sql().size() > static_cast<std::size_t>(longestText)) return false;
  statement = m_cache.take(shape.key(), shape.hash(), true);
  if (statement.asText) {
    m_cache.put(std::exchange(statement, {}));
    return false;
  }
  if (!statement && prepareOne(shape.statement(), statement).succeeded()) {
    label(statement, shape.key(), shape.hash(), true);
    statement.recurs = !shape.keepsLiterals();
  }
  if (statement && bind(statement, shape, texts) == SQLITE_OK) return true;
  statement = {};
  return false;
}

int SqliteDatabase::bind(SqliteStatement& target, const StatementShape& shape, Texts texts) {
  using Type = StatementShape::Type;
  sqlite3_stmt* const statement = target.get();
  target.hasTexts = false;
  const auto owner = texts == Texts::Copied ? SQLITE_TRANSIENT : SQLITE_STATIC;
  int parameter = 0;
  for (const StatementShape::Literal& literal : shape.literals()) {
    ++parameter;
    int code = SQLITE_OK;
    double real = 0;
    switch (literal.type) {
      case Type::Text:
        target.hasTexts = true;
        code = sqlite3_bind_text64(statement, parameter, literal.bytes.data(), literal.bytes.size(), owner,
                                   SQLITE_UTF8);
        break;
      case Type::Integer:
      case Type::Long:
        code = sqlite3_bind_int64(statement, parameter, literal.integer);
        break;
      case Type::Decimal:
        code = readReal(literal.bytes, real);
        if (code == SQLITE_OK) code = sqlite3_bind_double(statement, parameter, real);
        break;
      case Type::Null:
        code = sqlite3_bind_null(statement, parameter);
        break;
    }
    if (code != SQLITE_OK) return code;
  }
  return SQLITE_OK;
}

// The store rounds some digits in its own way.
int SqliteDatabase::readReal(std::string_view digits, double& real) {
  constexpr char kReader[] = "select cast(?1 as real)";
  int code = SQLITE_OK;
  if (!m_realReader) {
    sqlite3_stmt* compiled = nullptr;
    code =
        sqlite3_prepare_v3(handle(), kReader, sizeof kReader, SQLITE_PREPARE_PERSISTENT, &compiled, nullptr);
    m_realReader.reset(compiled);
  }
  if (code == SQLITE_OK) {
    code =
        sqlite3_bind_text64(m_realReader.get(), 1, digits.data(), digits.size(), SQLITE_STATIC, SQLITE_UTF8);
  }
  if (code == SQLITE_OK) {
    code = sqlite3_step(m_realReader.get()) == SQLITE_ROW ? SQLITE_OK : SQLITE_ERROR;
    real = sqlite3_column_double(m_realReader.get(), 0);
    sqlite3_reset(m_realReader.get());
  }
  return code;
}

int SqliteDatabase::compile(const std::string& sql, SqliteSessionWatch::Mode mode, SqliteStatement& statement,
                            const char*& tail) {
  sqlite3_stmt* compiled = nullptr;
  m_watch.prepareIn(mode);
  const int code = sqlite3_prepare_v3(handle(), sql.c_str(), static_cast<int>(sql.size() + 1),
                                      SQLITE_PREPARE_PERSISTENT, &compiled, &tail);
  statement.handle.reset(compiled);
  return code;
}

// A pragma takes effect while it is compiled, so it is compiled only once nothing else is known to follow it.
ExecResult SqliteDatabase::prepareOne(const std::string& sql, SqliteStatement& statement) {
  const char* tail = nullptr;
  const char* const end = sql.data() + sql.size();
  int code = compile(sql, SqliteSessionWatch::Mode::DenyPragmas, statement, tail);
  if (code != SQLITE_OK && m_watch.deniedPragma()) {
    ExecResult alone = refuseTail(tail, end);
    if (!alone.succeeded()) return alone;
    code = compile(sql, SqliteSessionWatch::Mode::Allow, statement, tail);
  }
  const SqliteSessionWatch::Control control = m_watch.control();
  m_watch.prepareIn(SqliteSessionWatch::Mode::Allow);
  if (code != SQLITE_OK) return prepareFailure();
  if (!statement) return makeFailure(Failure::EmptyStatement, "the text holds no statement");
  statement.controls = control.any;
  statement.mayCommit = control.commits;
  return tail == end ? ExecResult() : refuseTail(tail, end);
}

// A text may be refused only because another file, with another schema, stands under the name by now.
ExecResult SqliteDatabase::prepareFailure() {
  ExecResult failure = sqliteFailure(handle());
  m_looked = false;
  if (inTransaction() || m_file.inPlace(handle())) return failure;
  drainCursors();
  return lookAtFile(false);
}

// Blanks, semicolons and comments may follow a statement, nothing else.
ExecResult SqliteDatabase::refuseTail(const char* tail, const char* end) {
  while (tail < end) {
    tail += std::strspn(tail, " \t\r\n\f;");
    if (tail >= end) break;
    sqlite3_stmt* compiled = nullptr;
    const char* rest = nullptr;
    m_watch.prepareIn(SqliteSessionWatch::Mode::DenyAll);
    const int code = sqlite3_prepare_v2(handle(), tail, static_cast<int>(end - tail + 1), &compiled, &rest);
    m_watch.prepareIn(SqliteSessionWatch::Mode::Allow);
    sqlite3_finalize(compiled);
    if (code != SQLITE_OK || compiled != nullptr) {
      return makeFailure(Failure::MultipleStatements,
                         "the text goes on after its first statement; nothing was run");
    }
    tail = rest;
  }
  return {};
}

void SqliteDatabase::finish(SqliteStatement statement) noexcept {
  if (!statement) return;
  sqlite3_reset(statement.get());
  // Bound texts are not the statement's own, or may be long.
  if (!statement.lifted || statement.hasTexts) sqlite3_clear_bindings(statement.get());
  if (statement.lifted && ++statement.uses % kUsesLookedAt == 0 &&
      sqlite3_stmt_status(statement.get(), SQLITE_STMTSTATUS_REPREPARE, 1) >= kMostReprepared) {
    statement.asText = true;
    statement.handle.reset();
  }
  m_cache.put(std::move(statement));
}

void SqliteDatabase::addCursor(BufferedCursor* cursor) {
  m_cursors.push_back(cursor);
}

void SqliteDatabase::removeCursor(BufferedCursor* cursor) noexcept {
  m_cursors.erase(std::remove(m_cursors.begin(), m_cursors.end(), cursor), m_cursors.end());
}

void SqliteDatabase::drainCursors() noexcept {
  while (!m_cursors.empty()) m_cursors.back()->drain();
}

}  // namespace vorn
