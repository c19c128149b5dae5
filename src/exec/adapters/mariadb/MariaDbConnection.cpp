#include "exec/adapters/mariadb/MariaDbConnection.h"

#include <utility>

#include "exec/adapters/base/Failure.h"
#include "exec/adapters/mariadb/MariaDbBatch.h"
#include "exec/adapters/mariadb/MariaDbConnector.h"
#include "exec/adapters/mariadb/MariaDbCursor.h"
#include "exec/adapters/mariadb/MariaDbDialect.h"
#include "exec/adapters/mariadb/MariaDbError.h"
#include "exec/adapters/sql/TransactionText.h"

namespace vorn {

namespace {

// Whatever the server has for its defaults: a backslash in a literal is a plain byte, double quotes are for
// names, two bars concatenate, a blank may stand before the parenthesis of a call, a value that does not fit
// its column is refused, and a zero is kept as it is by a column that counts up. Times are UTC. The server
// waits for a reader that takes its time, and says when the state of the session changes, but not the name of
// its database, for which the client library cannot go without memory.
// clang-format off
constexpr char kSessionSettings[] =
    "set names utf8mb4 collate utf8mb4_general_ci,"
    " sql_mode='ANSI_QUOTES,ERROR_FOR_DIVISION_BY_ZERO,IGNORE_SPACE,NO_AUTO_VALUE_ON_ZERO,NO_BACKSLASH_ESCAPES,"
    "NO_ENGINE_SUBSTITUTION,NO_ZERO_DATE,NO_ZERO_IN_DATE,PIPES_AS_CONCAT,STRICT_ALL_TABLES',"
    " time_zone='+00:00', lc_time_names='en_US', default_week_format=0, div_precision_increment=4,"
    " autocommit=1, completion_type=0, foreign_key_checks=1, unique_checks=1, sql_auto_is_null=0,"
    " sql_safe_updates=0, sql_select_limit=default, max_recursive_iterations=4294967295,"
    " net_write_timeout=28800, session_track_state_change=1, session_track_schema=0";
// clang-format on

constexpr char kRole[] = "select ifnull(current_role(), '')";

constexpr std::uint32_t kResetSeconds = 2;

constexpr std::size_t kBatchStatements = 32;

// Whether a transaction is to begin, in words of whatever store, or to end.
TransactionText transactionTextOf(const StatementShape& shape) {
  return shape.verb() == StatementShape::Verb::Other ? transactionText(shape.sql()) : TransactionText::None;
}

}  // namespace

MariaDbConnection::MariaDbConnection(std::unique_ptr<MariaDbChannel> channel, const MariaDbSettings& settings)
    : m_executor(std::move(channel)),
      m_shapes(m_executor, settings.preparedStatements),
      m_batchStatements(settings.preparedStatements == 0 ? 0 : kBatchStatements),
      m_settings(settings) {}

ExecResult MariaDbConnection::open(const MariaDbSettings& settings,
                                   std::unique_ptr<StoreConnection>& connection) {
  MariaDbHandle handle;
  ExecResult result = MariaDbConnector::connect(settings, handle);
  if (!result.succeeded()) return result;
  std::unique_ptr<MariaDbConnection> opened(
      new MariaDbConnection(std::make_unique<MariaDbChannel>(std::move(handle)), settings));
  opened->m_executor.channel().limitWaits(settings.connectTimeout, settings.connectTimeout);
  result = opened->settle();
  if (!result.succeeded()) return result;
  result = opened->m_executor.ask(kRole, opened->m_role);
  if (!result.succeeded()) return result;
  opened->m_executor.channel().limitWaits(settings.readTimeout, settings.writeTimeout);
  connection = std::move(opened);
  return result;
}

ExecResult MariaDbConnection::settle() {
  std::string settings = kSessionSettings;
  if (m_settings.syncWait != 0) settings += ", wsrep_sync_wait=" + std::to_string(m_settings.syncWait);
  ExecResult result = m_executor.run(settings);
  m_executor.channel().takeSessionChange();
  return result;
}

const SqlDialect& MariaDbConnection::dialect() const noexcept {
  return kMariaDbDialect;
}

bool MariaDbConnection::usable() noexcept {
  return m_executor.usable();
}

bool MariaDbConnection::inTransaction() const noexcept {
  return m_executor.inTransaction();
}

bool MariaDbConnection::renew() noexcept {
  MariaDbChannel& channel = m_executor.channel();
  if (!channel.atRest()) return false;
  const SessionEffect effect = m_executor.sessionEffect();
  if (effect == SessionEffect::None) {
    channel.lend();
    return true;
  }
  // What was used where the URL names no database cannot be undone.
  if (effect == SessionEffect::Close || m_settings.database.empty()) return false;
  try {
    channel.limitWaits(kResetSeconds, kResetSeconds);
    if (!resetSession()) {
      channel.setBroken();
      return false;
    }
    channel.limitWaits(m_settings.readTimeout, m_settings.writeTimeout);
  } catch (...) {
    channel.setBroken();
    return false;
  }
  m_executor.setSessionReset();
  m_shapes.clear();
  m_batchStatements.clear();
  return true;
}

// A role outlives the reset.
bool MariaDbConnection::resetSession() {
  std::string use = "use `";
  for (const char c : m_settings.database) use.append(c == '`' ? 2 : 1, c);
  MariaDbChannel& channel = m_executor.channel();
  if (!channel.resetSession() || !settle().succeeded() || !m_executor.run(use + "`").succeeded())
    return false;
  channel.takeSessionChange();  // which is that of the database
  std::string role;
  return m_executor.ask(kRole, role).succeeded() && role == m_role;
}

void MariaDbConnection::giveUp() noexcept {
  m_executor.giveUp();
}

void MariaDbConnection::drainCursors() noexcept {
  m_executor.drainCursor();
}

ExecResult MariaDbConnection::begin() {
  m_mayHaveCommitted = false;
  return m_executor.run("start transaction");
}

ExecResult MariaDbConnection::commit() {
  return m_executor.run("commit");
}

// Closing the connection rolls back as well, and takes no rows that nobody wants.
ExecResult MariaDbConnection::rollback() {
  if (!m_executor.dropGivenUp()) return {};
  ExecResult ready = m_executor.makeReady();
  // What is left of a read may have failed, and the server has rolled back then.
  if (m_executor.channel().atRest() && !inTransaction()) return {};
  return ready.succeeded() ? m_executor.run("rollback") : ready;
}

ExecResult MariaDbConnection::sendText(const StatementShape& shape, StatementEffects& effects) {
  effects = effectsOf(shape.sql());
  if (effects.empty) return makeFailure(Failure::EmptyStatement, "the text holds no statement");
  switch (transactionTextOf(shape)) {
    case TransactionText::Begin:
      // The server would commit the transaction that is open.
      if (inTransaction()) return makeFailure(Failure::TransactionOpen, "a transaction is open already");
      break;
    case TransactionText::Commit:
      return m_executor.send("commit", {});
    case TransactionText::Rollback:
      return m_executor.send("rollback", {});
    case TransactionText::None:
      if (effects.begins && inTransaction())
        return makeFailure(Failure::TransactionOpen, "a transaction is open already");
      break;
  }
  return m_executor.send(shape.sql(), effects);
}

/// Sends a statement and has its answer taken, as a text if the server refuses the prepared statement.
/// @param take  takes the answer
template <typename Take>
ExecResult MariaDbConnection::run(const StatementShape& shape, StatementEffects& effects, const Take& take) {
  ExecResult result = m_executor.makeReady();
  // A rollback finds done what it was sent for, where the rest of a read has failed.
  const bool undone = m_executor.channel().atRest() && !inTransaction() &&
                      transactionTextOf(shape) == TransactionText::Rollback;
  if (!result.succeeded() && !undone) return result;
  bool prepared = false;
  result = m_shapes.send(shape, prepared);
  if (prepared) {
    effects.onlyReads = shape.verb() == StatementShape::Verb::Select;
    effects.countsRows = !effects.onlyReads;
    if (result.succeeded()) result = take();
    if (!m_shapes.isRefused(result)) return result;
    result = {};
  }
  if (!result.succeeded()) return result;
  result = sendText(shape, effects);
  if (result.succeeded()) result = take();
  if (effects.closes && result.succeeded()) giveUp();
  return result;
}

/// Does the work of a call, and sees whether the transaction that was open may be stored although it fails.
template <typename Work>
ExecResult MariaDbConnection::judge(const StatementEffects& effects, const Work& work) {
  const bool inside = inTransaction();
  m_mayHaveCommitted = false;
  try {
    ExecResult result = work();
    m_mayHaveCommitted = inside && !result.succeeded() && !inTransaction() && effects.mayCommit;
    return result;
  } catch (...) {
    m_mayHaveCommitted = inside && effects.mayCommit;
    throw;
  }
}

ExecResult MariaDbConnection::read(const StatementShape& shape, std::unique_ptr<StoreCursor>& cursor) {
  StatementEffects effects;
  std::unique_ptr<MariaDbCursor> opened;
  return judge(effects, [&] {
    ExecResult result = run(shape, effects, [&] {
      opened.reset();
      opened = std::make_unique<MariaDbCursor>(m_executor);
      return opened->start();
    });
    // A write that returns rows may still fail after the last of them.
    if (result.succeeded() && opened->streams() && !effects.onlyReads) {
      if (!opened->drain()) giveUp();
      result = opened->failure();
    }
    if (result.succeeded()) cursor = std::move(opened);
    return result;
  });
}

ExecResult MariaDbConnection::write(const StatementShape& shape, std::uint64_t& rows) {
  StatementEffects effects;
  return judge(effects, [&] {
    return run(shape, effects, [&] { return m_executor.finish(effects.countsRows ? &rows : nullptr); });
  });
}

ExecResult MariaDbConnection::batch(const std::string& sql, const BatchColumns& columns,
                                    std::uint64_t& rows) {
  return judge(effectsOf(sql),
               [&] { return MariaDbBatch(*this, m_executor, m_batchStatements, columns).run(sql, rows); });
}

}  // namespace vorn
