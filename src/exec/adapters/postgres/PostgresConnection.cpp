#include "exec/adapters/postgres/PostgresConnection.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "exec/adapters/base/Failure.h"
#include "exec/adapters/postgres/PostgresBatch.h"
#include "exec/adapters/postgres/PostgresCursor.h"
#include "exec/adapters/postgres/PostgresError.h"
#include "exec/adapters/postgres/PostgresStatementKind.h"

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

// How long a read that is given up may take to come to its end. A shorter one would lose what its functions
// have written more often, a longer one would hold the caller up.
constexpr std::chrono::milliseconds kAbandonPatience{100};

constexpr std::chrono::seconds kResetLimit{2};

// A connection that answered this short a time ago is not looked at: the look would cost more than it finds.
constexpr std::chrono::milliseconds kFresh{1};

bool startsWith(const char* text, const char* prefix) {
  return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

}  // namespace

PostgresConnection::PostgresConnection(std::unique_ptr<PostgresChannel> channel, bool alwaysReset)
    : m_channel(std::move(channel)), m_alwaysReset(alwaysReset) {}

std::uint64_t PostgresConnection::rowsWritten(PGresult* result) {
  const char* tag = PQcmdStatus(result);
  const bool readsOnly = startsWith(tag, "SELECT") || startsWith(tag, "FETCH") || startsWith(tag, "MOVE");
  return readsOnly ? 0 : std::strtoull(PQcmdTuples(result), nullptr, 10);
}

PostgresConnection::~PostgresConnection() {
  if (m_streaming != nullptr) m_streaming->detach();
}

ExecResult PostgresConnection::open(const PostgresSettings& settings,
                                    std::unique_ptr<StoreConnection>& connection) {
  std::unique_ptr<PostgresChannel> channel;
  ExecResult result = PostgresChannel::connect(settings.keywords, channel);
  if (!result.succeeded()) return result;
  std::unique_ptr<PostgresConnection> opened(
      new PostgresConnection(std::move(channel), settings.alwaysReset));
  result = opened->configure();
  if (result.succeeded()) connection = std::move(opened);
  return result;
}

ExecResult PostgresConnection::configure() {
  const PostgresChannel::Deadline deadline = m_channel->connectDeadline();
  ExecResult outcome = m_channel->askSimple(kSessionSettings);
  PostgresResult result;
  while (outcome.succeeded() && !m_channel->atRest()) {
    if (!m_channel->next(result, deadline)) {
      return postgresFailure("08001", "the server accepted the connection and then answered no more");
    }
    if (result && PQresultStatus(result.get()) != PGRES_COMMAND_OK) {
      outcome = postgresFailure(result.get(), m_channel->handle());
    }
  }
  return outcome;
}

bool PostgresConnection::usable() noexcept {
  if (m_channel->broken()) return false;
  // Whatever arrives while a cursor streams, or has left rows behind, is its rows.
  if (!m_channel->atRest()) return m_streaming != nullptr || m_abandoned;
  return PostgresChannel::Clock::now() - m_channel->lastAnswer() < kFresh || m_channel->isQuiet();
}

bool PostgresConnection::inTransaction() const noexcept {
  if (m_channel->broken()) return false;  // it ended with its connection
  if (!m_channel->atRest()) return m_transactionBefore;
  const PGTransactionStatusType status = PQtransactionStatus(m_channel->handle());
  return status == PQTRANS_INTRANS || status == PQTRANS_INERROR;
}

bool PostgresConnection::renew() noexcept {
  if (!m_channel->atRest() || m_channel->broken()) return false;
  if (!m_changed) return true;
  try {
    m_changed = !runQuietly(kReset, PostgresChannel::Clock::now() + kResetLimit);
  } catch (...) {
    m_channel->setBroken();
  }
  return !m_changed && !m_channel->broken();
}

bool PostgresConnection::runQuietly(const std::string& sql, const PostgresChannel::Deadline& deadline) {
  bool good = m_channel->askSimple(sql).succeeded();
  PostgresResult result;
  while (!m_channel->atRest()) {
    if (!m_channel->next(result, deadline)) return false;
    const ExecStatusType status = PQresultStatus(result.get());
    good = good && (!result || status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK);
  }
  return good;
}

void PostgresConnection::giveUp() noexcept {
  m_channel->setBroken();
  if (m_streaming != nullptr) std::exchange(m_streaming, nullptr)->detach();
}

void PostgresConnection::drainCursors() noexcept {
  if (m_streaming == nullptr) return;
  try {
    // The cursor keeps a failure of its read and delivers it after the rows.
    static_cast<void>(m_streaming->moveToMemory());
  } catch (...) {
    giveUp();
  }
}

ExecResult PostgresConnection::begin() {
  std::uint64_t rows = 0;
  return write("begin", rows);
}

ExecResult PostgresConnection::commit() {
  std::uint64_t rows = 0;
  return write("commit", rows);
}

// Closing the connection rolls back as well, and takes no rows that nobody wants.
ExecResult PostgresConnection::rollback() {
  if (m_abandoned && !m_channel->takeRest(kAbandonPatience)) {
    giveUp();
    return {};
  }
  std::uint64_t rows = 0;
  return write("rollback", rows);
}

ExecResult PostgresConnection::read(const std::string& sql, std::unique_ptr<StoreCursor>& cursor) {
  ExecResult result = send(sql);
  if (!result.succeeded()) return result;
  auto opened = std::make_unique<PostgresCursor>(*this);
  result = opened->start();
  // A write that returns rows may still fail after the last of them.
  if (result.succeeded() && opened->streams() && writesAndReturns(sql)) result = opened->moveToMemory();
  result = checkKept(sql, std::move(result));
  if (result.succeeded()) cursor = std::move(opened);
  return result;
}

ExecResult PostgresConnection::write(const std::string& sql, std::uint64_t& rows) {
  ExecResult result = send(sql);
  return result.succeeded() ? checkKept(sql, finish(&rows)) : result;
}

// The server answers a commit or a preparation of a failed transaction with a rollback, and with no
// objection.
ExecResult PostgresConnection::checkKept(const std::string& sql, ExecResult outcome) const {
  if (!outcome.succeeded() || !m_rolledBack || isRollback(sql)) return outcome;
  return postgresFailure("25P02", "a statement of the transaction had failed; it was rolled back");
}

ExecResult PostgresConnection::batch(const std::string& sql, const BatchColumns& columns,
                                     std::uint64_t& rows) {
  return PostgresBatch(*this, columns).run(sql, rows);
}

ExecResult PostgresConnection::makeReady() {
  // The cursor keeps a failure of its read and delivers it after the rows.
  if (m_streaming != nullptr) static_cast<void>(m_streaming->moveToMemory());
  if (std::exchange(m_abandoned, false) && !m_channel->atRest()) {
    // A failure of the read has failed its transaction, and the server says so at the next statement.
    static_cast<void>(finish());
  }
  m_transactionBefore = inTransaction();
  m_rolledBack = false;
  m_changed = m_changed || m_alwaysReset;
  return m_channel->atRest() && !m_channel->broken() ? ExecResult() : m_channel->lost();
}

ExecResult PostgresConnection::send(const std::string& sql) {
  ExecResult result = makeReady();
  if (!result.succeeded()) return result;
  noteStatement(sql);
  return isCopy(sql) ? sendCopy(sql) : m_channel->ask(sql);
}

void PostgresConnection::noteStatement(const std::string& sql) {
  m_changed = m_changed || mayChangeSession(sql);
}

// A copy goes by the simple protocol, which would also run a second statement: first the server has to agree
// that there is only one.
ExecResult PostgresConnection::sendCopy(const std::string& sql) {
  ExecResult result = m_channel->askToParse(sql);
  if (result.succeeded()) result = finish();
  return result.succeeded() ? m_channel->askSimple(sql) : result;
}

ExecResult PostgresConnection::finish(std::uint64_t* rows) {
  PostgresResult first;
  return m_channel->next(first) ? finish(std::move(first), rows) : m_channel->lost();
}

ExecResult PostgresConnection::finish(PostgresResult result, std::uint64_t* rows) {
  ExecResult outcome;
  while (result) {
    ExecResult step;
    switch (PQresultStatus(result.get())) {
      case PGRES_SINGLE_TUPLE:
        break;
      case PGRES_TUPLES_OK:
      case PGRES_COMMAND_OK:
        m_rolledBack = std::strcmp(PQcmdStatus(result.get()), "ROLLBACK") == 0;
        if (rows != nullptr) *rows += rowsWritten(result.get());
        break;
      case PGRES_EMPTY_QUERY:
        step = makeFailure(Failure::EmptyStatement, "the text holds no statement");
        break;
      case PGRES_COPY_IN:
      case PGRES_COPY_OUT:
      case PGRES_COPY_BOTH:
        step = refuseCopy(PQresultStatus(result.get()));
        if (m_channel->broken()) return step;
        break;
      default:
        step = postgresFailure(result.get(), m_channel->handle());
    }
    if (outcome.succeeded() && !step.succeeded()) outcome = std::move(step);
    if (!m_channel->next(result)) return outcome.succeeded() ? m_channel->lost() : outcome;
  }
  return outcome;
}

ExecResult PostgresConnection::refuseCopy(ExecStatusType status) {
  ExecResult refusal = makeFailure(Failure::NotSupported, "a statement cannot copy from or to the client");
  char* data = nullptr;
  if (status == PGRES_COPY_IN) {
    m_channel->endCopy("copy from stdin is not supported");
  } else if (status == PGRES_COPY_OUT && m_transactionBefore) {
    // Without an end of the copy there is none of the transaction.
    while (m_channel->takeCopyData(data)) PQfreemem(data);
  } else {
    m_channel->setBroken();
  }
  return refusal;
}

ExecResult PostgresConnection::abandonRead() {
  if (m_channel->takeRest(kAbandonPatience)) return {};
  if (m_transactionBefore && !m_channel->broken()) {
    m_abandoned = true;
    return {};
  }
  m_channel->setBroken();
  return makeFailure(
      Failure::ConnectionLost,
      "it did not end in time, so its connection was closed; whether anything that it wrote was "
      "kept is unknown");
}

}  // namespace vorn
