#include "exec/adapters/postgres/PostgresExecutor.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "exec/adapters/base/Failure.h"
#include "exec/adapters/postgres/PostgresError.h"
#include "exec/adapters/postgres/statement_effects.h"

namespace vorn {

namespace {

// How long a read that is given up may take to come to its end. A shorter time would lose more often what its
// functions have written, a longer one would hold the caller up.
constexpr std::chrono::milliseconds kAbandonPatience{100};

// A connection that answered this short a time ago is not looked at: the look would cost more than it finds.
constexpr std::chrono::milliseconds kFresh{1};

// Where a statement is analysed anew, what it names may have changed. A failure that comes out of a function
// says so by its context; a missing permission is found when the statement begins to run.
PostgresExecutor::Refusal refusalOf(const PGresult* result) {
  const char* const field = PQresultErrorField(result, PG_DIAG_SQLSTATE);
  if (field == nullptr || PQresultErrorField(result, PG_DIAG_CONTEXT) != nullptr)
    return PostgresExecutor::Refusal::None;
  const std::string_view state(field);
  if (state == "26000") return PostgresExecutor::Refusal::Unknown;
  const bool stale = state.substr(0, 2) == "42" ? state != "42501" : state == "0A000" || state == "3F000";
  return stale ? PostgresExecutor::Refusal::Stale : PostgresExecutor::Refusal::None;
}

}  // namespace

PostgresExecutor::PostgresExecutor(std::unique_ptr<PostgresChannel> channel, bool alwaysReset)
    : m_channel(std::move(channel)), m_alwaysReset(alwaysReset) {}

PostgresExecutor::~PostgresExecutor() {
  detachCursor();
}

std::uint64_t PostgresExecutor::rowsWritten(PGresult* result) {
  const std::string_view tag(PQcmdStatus(result));
  const bool readsOnly = tag.starts_with("SELECT") || tag.starts_with("FETCH") || tag.starts_with("MOVE");
  return readsOnly ? 0 : std::strtoull(PQcmdTuples(result), nullptr, 10);
}

bool PostgresExecutor::usable() noexcept {
  if (m_channel->broken()) return false;
  // Whatever arrives while a cursor streams, or was given up, is its rows.
  if (!m_channel->atRest()) return m_answer != Answer::Taken;
  return PostgresChannel::Clock::now() - m_channel->lastAnswer() < kFresh || m_channel->isQuiet();
}

bool PostgresExecutor::inTransaction() const noexcept {
  if (m_channel->broken()) return false;  // it ended with its connection
  if (!m_channel->atRest()) return m_transactionBefore;
  const PGTransactionStatusType status = PQtransactionStatus(m_channel->handle());
  return status == PQTRANS_INTRANS || status == PQTRANS_INERROR;
}

void PostgresExecutor::giveUp() noexcept {
  m_channel->setBroken();
  detachCursor();
}

void PostgresExecutor::detachCursor() noexcept {
  m_answer = Answer::Taken;
  if (m_cursor != nullptr) std::exchange(m_cursor, nullptr)->detach();
}

void PostgresExecutor::drainCursor() noexcept {
  if (m_cursor != nullptr) static_cast<void>(m_cursor->drain());  // the cursor keeps its failure
}

bool PostgresExecutor::dropGivenUp() noexcept {
  if (m_answer != Answer::GivenUp || m_channel->takeRest(kAbandonPatience)) return true;
  giveUp();
  return false;
}

ExecResult PostgresExecutor::makeReady() {
  drainCursor();
  if (std::exchange(m_answer, Answer::Taken) == Answer::GivenUp && !m_channel->atRest()) {
    // If draining fails, the server has marked the transaction failed; the next statement reports it.
    static_cast<void>(finish());
  }
  m_transactionBefore = inTransaction();
  m_rolledBack = false;
  m_refusal = Refusal::None;
  m_used = true;
  m_first = std::exchange(m_justBegun, false);
  if (!m_transactionBefore) {
    m_settingsChanged = m_ranHidden = false;
    ++m_transaction;
    ++m_transactionMark;
  }
  return m_channel->atRest() && !m_channel->broken() ? ExecResult() : m_channel->lost();
}

ExecResult PostgresExecutor::send(const std::string& sql) {
  ExecResult result = makeReady();
  return result.succeeded() ? sendReady(sql) : result;
}

ExecResult PostgresExecutor::run(const char* statement) {
  ExecResult result = makeReady();
  if (result.succeeded()) result = m_channel->askSimple(statement);
  return result.succeeded() ? finish() : result;
}

ExecResult PostgresExecutor::sendReady(const std::string& sql, bool plain) {
  noteStatement(sql, plain);
  return isCopy(sql) ? sendCopy(sql) : m_channel->ask(sql);
}

void PostgresExecutor::noteHidden() noexcept {
  ++m_transactionMark;
  m_ranHidden = true;
}

void PostgresExecutor::noteStatement(const std::string& sql, bool plain) {
  m_sessionChanged = m_sessionChanged || mayChangeSession(sql);
  const SchemaEffect effect = schemaEffect(sql);
  if (effect == SchemaEffect::Hidden && !plain) noteHidden();
  if (effect == SchemaEffect::None || effect == SchemaEffect::Hidden) return;
  ++m_transactionMark;
  if (effect == SchemaEffect::Settings) m_settingsChanged = true;
  if (effect == SchemaEffect::Schema) ++m_schemaMark;
}

// The server answers a commit or a preparation of a failed transaction with a rollback, and with no
// objection.
ExecResult PostgresExecutor::checkKept(const std::string& sql, ExecResult outcome) const {
  if (!outcome.succeeded() || !m_rolledBack || isRollback(sql)) return outcome;
  return postgresFailure("25P02", "a statement of the transaction had failed; it was rolled back");
}

// A copy goes by the simple protocol, which would also run a second statement: first the server has to agree
// that there is only one.
ExecResult PostgresExecutor::sendCopy(const std::string& sql) {
  ExecResult result = m_channel->askToParse(sql);
  if (result.succeeded()) result = finish();
  return result.succeeded() ? m_channel->askSimple(sql) : result;
}

ExecResult PostgresExecutor::finish(std::uint64_t* rows) {
  PostgresResult first;
  return m_channel->next(first) ? finish(std::move(first), rows) : m_channel->lost();
}

ExecResult PostgresExecutor::finish(PostgresResult result, std::uint64_t* rows) {
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
        m_refusal = refusalOf(result.get());
    }
    if (outcome.succeeded() && !step.succeeded()) outcome = std::move(step);
    if (!m_channel->next(result)) return outcome.succeeded() ? m_channel->lost() : outcome;
  }
  return outcome;
}

ExecResult PostgresExecutor::refuseCopy(ExecStatusType status) {
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

void PostgresExecutor::startStreaming(BufferedCursor* cursor) noexcept {
  m_cursor = cursor;
  m_answer = Answer::Streaming;
}

void PostgresExecutor::stopStreaming() noexcept {
  m_cursor = nullptr;
  m_answer = Answer::Taken;
}

ExecResult PostgresExecutor::abandonRead() {
  if (m_channel->takeRest(kAbandonPatience)) return {};
  if (m_transactionBefore && !m_channel->broken()) {
    m_answer = Answer::GivenUp;
    return {};
  }
  m_channel->setBroken();
  return makeFailure(
      Failure::ConnectionLost,
      "it did not end in time, so its connection was closed; whether anything that it wrote was "
      "kept is unknown");
}

}  // namespace vorn
