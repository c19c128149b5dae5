#include "exec/adapters/postgres/PostgresConnection.h"

#include <chrono>
#include <utility>

#include "exec/adapters/postgres/PostgresBatch.h"
#include "exec/adapters/postgres/PostgresCursor.h"
#include "exec/adapters/postgres/PostgresDialect.h"
#include "exec/adapters/postgres/PostgresError.h"
#include "exec/adapters/postgres/statement_effects.h"

namespace vorn {

namespace {

// A backslash in a literal is a plain byte, and every value has one text form, whatever the server, the
// database or the role has for its default.
#define VORN_SESSION_SETTINGS                                                          \
  "set standard_conforming_strings=on; set datestyle=iso; set intervalstyle=postgres;" \
  " set bytea_output=hex; set extra_float_digits=1"
constexpr char kSessionSettings[] = VORN_SESSION_SETTINGS;
constexpr char kReset[] =
    "close all; set session authorization default; reset role; reset all; deallocate all; unlisten *;"
    " select pg_catalog.pg_advisory_unlock_all(); discard temp; discard sequences; " VORN_SESSION_SETTINGS;
#undef VORN_SESSION_SETTINGS

constexpr std::chrono::seconds kResetLimit{2};

constexpr std::size_t kBatchStatements = 32;

}  // namespace

PostgresConnection::PostgresConnection(std::unique_ptr<PostgresChannel> channel,
                                       const PostgresSettings& settings)
    : m_executor(std::move(channel), settings.alwaysReset),
      m_effects(m_executor),
      m_statements(m_executor, m_effects, settings.preparedStatements, settings.statementsLast),
      m_shapes(m_executor, m_statements),
      m_batchStatements(m_executor, m_effects, settings.preparedStatements == 0 ? 0 : kBatchStatements,
                        settings.statementsLast) {}

ExecResult PostgresConnection::open(const PostgresSettings& settings,
                                    std::unique_ptr<StoreConnection>& connection) {
  std::unique_ptr<PostgresChannel> channel;
  ExecResult result = PostgresChannel::connect(settings.keywords, channel);
  if (!result.succeeded()) return result;
  std::unique_ptr<PostgresConnection> opened(new PostgresConnection(std::move(channel), settings));
  result = opened->configure();
  if (result.succeeded()) connection = std::move(opened);
  return result;
}

ExecResult PostgresConnection::configure() {
  PostgresChannel& channel = m_executor.channel();
  const PostgresChannel::Deadline deadline = channel.connectDeadline();
  ExecResult outcome = channel.askSimple(kSessionSettings);
  PostgresResult result;
  while (outcome.succeeded() && !channel.atRest()) {
    if (!channel.next(result, deadline)) {
      return postgresFailure("08001", "the server accepted the connection and then answered no more");
    }
    if (result && PQresultStatus(result.get()) != PGRES_COMMAND_OK) {
      outcome = postgresFailure(result.get(), channel.handle());
    }
  }
  return outcome;
}

const SqlDialect& PostgresConnection::dialect() const noexcept {
  return kPostgresDialect;
}

bool PostgresConnection::usable() noexcept {
  return m_executor.usable();
}

bool PostgresConnection::inTransaction() const noexcept {
  return m_executor.inTransaction();
}

bool PostgresConnection::renew() noexcept {
  PostgresChannel& channel = m_executor.channel();
  if (!channel.atRest() || channel.broken()) return false;
  if (!m_executor.sessionChanged()) return true;
  try {
    if (!resetSession()) return false;
  } catch (...) {
    channel.setBroken();
    return false;
  }
  m_executor.setSessionReset();
  m_effects.clear();
  m_statements.clear();
  m_batchStatements.clear();
  return true;
}

bool PostgresConnection::resetSession() {
  PostgresChannel& channel = m_executor.channel();
  const PostgresChannel::Deadline deadline = PostgresChannel::Clock::now() + kResetLimit;
  bool good = channel.askSimple(kReset).succeeded();
  PostgresResult result;
  while (!channel.atRest()) {
    if (!channel.next(result, deadline)) return false;
    const ExecStatusType status = PQresultStatus(result.get());
    good = good && (!result || status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK);
  }
  return good && !channel.broken();
}

void PostgresConnection::giveUp() noexcept {
  m_executor.giveUp();
}

void PostgresConnection::drainCursors() noexcept {
  m_executor.drainCursor();
}

ExecResult PostgresConnection::begin() {
  ExecResult result = m_executor.run("begin");
  if (result.succeeded()) m_executor.noteBegin();
  return result;
}

ExecResult PostgresConnection::commit() {
  return m_executor.checkKept("commit", m_executor.run("commit"));
}

// Closing the connection rolls back as well, and takes no rows that nobody wants.
ExecResult PostgresConnection::rollback() {
  return m_executor.dropGivenUp() ? m_executor.run("rollback") : ExecResult();
}

/// Sends a statement and has its answer taken, by another way if the server refuses the first one.
/// @param take  takes the answer
template <typename Take>
ExecResult PostgresConnection::run(const StatementShape& shape, const Take& take) {
  ExecResult result = m_shapes.send(shape);
  if (result.succeeded()) result = take();
  if (!m_shapes.isRefused(result)) return result;
  result = m_shapes.undoRefused();
  if (result.succeeded()) result = m_executor.send(shape.sql());
  return result.succeeded() ? take() : result;
}

ExecResult PostgresConnection::read(const StatementShape& shape, std::unique_ptr<StoreCursor>& cursor) {
  std::unique_ptr<PostgresCursor> opened;
  ExecResult result = run(shape, [&] {
    opened.reset();
    opened = std::make_unique<PostgresCursor>(m_executor);
    return opened->start();
  });
  // A write that returns rows may still fail after the last of them.
  if (result.succeeded() && opened->streams() && shape.verb() != StatementShape::Verb::Select &&
      writesAndReturns(shape.sql())) {
    if (!opened->drain()) giveUp();
    result = opened->failure();
  }
  result = m_executor.checkKept(shape.sql(), std::move(result));
  if (result.succeeded()) cursor = std::move(opened);
  return result;
}

ExecResult PostgresConnection::write(const StatementShape& shape, std::uint64_t& rows) {
  ExecResult result = run(shape, [&] { return m_executor.finish(&rows); });
  return m_executor.checkKept(shape.sql(), std::move(result));
}

ExecResult PostgresConnection::batch(const std::string& sql, const BatchColumns& columns,
                                     std::uint64_t& rows) {
  return PostgresBatch(*this, m_executor, m_batchStatements, columns).run(sql, rows);
}

}  // namespace vorn
