#include "exec/adapters/postgres/PostgresConnection.h"

#include <poll.h>
#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <future>
#include <new>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "exec/adapters/LayerError.h"
#include "exec/adapters/postgres/PostgresBatch.h"
#include "exec/adapters/postgres/PostgresCursor.h"
#include "exec/adapters/postgres/PostgresError.h"
#include "vorn/platform/logging.h"

namespace vorn {

namespace {

// A backslash in a literal is a plain byte, and every value has one text form, whatever the server, the
// database or the role has for its default.
constexpr char kSessionSettings[] =
    "set standard_conforming_strings=on; set datestyle=iso; set intervalstyle=postgres; set bytea_output=hex;"
    " set extra_float_digits=1";

// Milliseconds. The rest of a small result is here at once, and taking it is cheaper than a cancellation.
// What is still under way behind a cancellation may be megabytes; a new connection then costs less than
// taking it.
constexpr int kAbandonPatience = 2;
constexpr int kCancelPatience = 20;
constexpr std::chrono::seconds kCancelLimit{1};

// A connection that answered this short a time ago is not looked at: the look would cost more than it finds.
constexpr std::chrono::milliseconds kFresh{1};

bool startsWith(const char* text, const char* prefix) {
  return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

}  // namespace

PostgresConnection::PostgresConnection(std::unique_ptr<PGconn, Closer> handle)
    : m_handle(std::move(handle)) {}

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
  std::vector<const char*> keywords;
  std::vector<const char*> values;
  for (const auto& [keyword, value] : settings) {
    keywords.push_back(keyword.c_str());
    values.push_back(value.c_str());
  }
  keywords.push_back(nullptr);
  values.push_back(nullptr);
  std::unique_ptr<PGconn, Closer> handle(PQconnectdbParams(keywords.data(), values.data(), 0));
  if (!handle) throw std::bad_alloc();
  // The SQLSTATE of a refused connection is in the verbose message only. ":  " tells that the server spoke.
  if (PQstatus(handle.get()) != CONNECTION_OK &&
      std::strstr(PQerrorMessage(handle.get()), ":  ") != nullptr) {
    PQsetErrorVerbosity(handle.get(), PQERRORS_VERBOSE);
    PQreset(handle.get());
  }
  if (PQstatus(handle.get()) != CONNECTION_OK) return postgresConnectFailure(handle.get());
  PQsetErrorVerbosity(handle.get(), PQERRORS_DEFAULT);

  std::unique_ptr<PostgresConnection> opened(new PostgresConnection(std::move(handle)));
  ExecResult result = opened->configure();
  if (result.succeeded()) connection = std::move(opened);
  return result;
}

ExecResult PostgresConnection::configure() {
  PQsetNoticeReceiver(handle(), receiveNotice, this);
  const PostgresResult result(PQexec(handle(), kSessionSettings));
  return PQresultStatus(result.get()) == PGRES_COMMAND_OK ? ExecResult()
                                                          : postgresFailure(result.get(), handle());
}

void PostgresConnection::receiveNotice(void* self, const PGresult* notice) {
  const char* severity = PQresultErrorField(notice, PG_DIAG_SEVERITY_NONLOCALIZED);
  const char* state = PQresultErrorField(notice, PG_DIAG_SQLSTATE);
  auto& connection = *static_cast<PostgresConnection*>(self);
  const bool fatal = severity != nullptr && (startsWith(severity, "FATAL") || startsWith(severity, "PANIC"));
  const bool intervention = state != nullptr && startsWith(state, "57P");
  // The server's last words to a connection, of no interest while nobody uses it.
  if (fatal || (intervention && PQtransactionStatus(connection.handle()) != PQTRANS_ACTIVE)) {
    connection.m_broken = true;
    return;
  }
  const char* text = PQresultErrorField(notice, PG_DIAG_MESSAGE_PRIMARY);
  try {
    Logger::info(
        LogScrubber::scrub(std::string("[VORNLib]postgresql ") + (severity == nullptr ? "" : severity) +
                           ": " + (text == nullptr ? PQresultErrorMessage(notice) : text)),
        {"PostgresConnection", "receiveNotice", __LINE__});
  } catch (const std::bad_alloc&) {
    // No exception may pass through the client library, which is written in C. The line is given up.
    return;
  }
}

bool PostgresConnection::usable() noexcept {
  // Whatever arrives while a cursor streams, or has left rows behind, is its rows.
  if (m_streaming != nullptr || m_abandoned) return !m_broken && PQstatus(handle()) == CONNECTION_OK;
  // An exception may have cut off a conversation with the server.
  if (PQtransactionStatus(handle()) == PQTRANS_ACTIVE) return false;
  if (!m_broken && PQstatus(handle()) == CONNECTION_OK && Clock::now() - m_answered < kFresh) return true;
  while (!m_broken && PQstatus(handle()) == CONNECTION_OK) {
    pollfd socket{PQsocket(handle()), POLLIN, 0};
    if (poll(&socket, 1, 0) <= 0) return true;
    if (PQconsumeInput(handle()) != 1) return false;
    // Also has the client library look at what arrived.
    while (PGnotify* notification = PQnotifies(handle())) PQfreemem(notification);
  }
  return false;
}

void PostgresConnection::drainCursors() noexcept {
  if (m_streaming != nullptr) m_streaming->moveToMemory();
}

bool PostgresConnection::inTransaction() const noexcept {
  switch (PQtransactionStatus(handle())) {
    case PQTRANS_ACTIVE:
      return m_transactionBefore;
    case PQTRANS_INTRANS:
    case PQTRANS_INERROR:
      return true;
    default:
      return false;
  }
}

ExecResult PostgresConnection::begin() {
  return run("begin");
}

ExecResult PostgresConnection::commit() {
  return run("commit");
}

ExecResult PostgresConnection::rollback() {
  if (!m_abandoned || cancel()) return run("rollback");
  m_broken = true;  // and rolled back by its end
  return {};
}

ExecResult PostgresConnection::read(const std::string& sql, std::unique_ptr<StoreCursor>& cursor) {
  ExecResult result = send(sql);
  if (!result.succeeded()) return result;
  const EarlyEnd end = earlyEndOf(sql);
  auto opened = std::make_unique<PostgresCursor>(*this, end);
  result = opened->start();
  // A write that returns rows may still fail behind the last of them.
  if (result.succeeded() && end == EarlyEnd::Undoes) result = opened->moveToMemory();
  if (result.succeeded()) result = checkCommitted(sql);
  if (result.succeeded()) cursor = std::move(opened);
  return result;
}

ExecResult PostgresConnection::write(const std::string& sql, std::uint64_t& rows) {
  ExecResult result = send(sql);
  if (result.succeeded()) result = finish(PostgresResult(PQgetResult(handle())), &rows);
  return result.succeeded() ? checkCommitted(sql) : result;
}

// The server takes the commit of a failed transaction for a rollback, and has no objection.
ExecResult PostgresConnection::checkCommitted(const std::string& sql) const {
  if (!m_rolledBack || !isCommit(sql)) return {};
  return postgresFailure("25P02", "a statement of the transaction had failed; it was rolled back");
}

ExecResult PostgresConnection::batch(const std::string& sql, const TypedRef& parameters,
                                     std::uint64_t& rows) {
  BatchColumns columns;
  ExecResult result = BatchColumns::read(parameters, columns);
  return result.succeeded() ? PostgresBatch(*this, columns).run(sql, rows) : result;
}

ExecResult PostgresConnection::run(const std::string& sql) {
  std::uint64_t rows = 0;
  return write(sql, rows);
}

ExecResult PostgresConnection::send(const std::string& sql, int count, const char* const* values) {
  if (m_streaming != nullptr) m_streaming->moveToMemory();
  // A failure on the way failed the transaction, and shows there.
  if (std::exchange(m_abandoned, false)) static_cast<void>(finish(PostgresResult(PQgetResult(handle()))));
  m_transactionBefore = inTransaction();
  m_rolledBack = false;
  // The extended protocol has the server itself refuse a second statement.
  if (PQsendQueryParams(handle(), sql.c_str(), count, nullptr, values, nullptr, nullptr, 0) != 1) {
    m_broken = true;
    return postgresConnectionLost(handle());
  }
  PQsetSingleRowMode(handle());
  return {};
}

ExecResult PostgresConnection::finish(PostgresResult result, std::uint64_t* rows) {
  ExecResult outcome;
  for (; result; result.reset(PQgetResult(handle()))) {
    ExecResult step;
    switch (PQresultStatus(result.get())) {
      case PGRES_SINGLE_TUPLE:
        continue;
      case PGRES_TUPLES_OK:
      case PGRES_COMMAND_OK:
        m_rolledBack = std::strcmp(PQcmdStatus(result.get()), "ROLLBACK") == 0;
        if (rows != nullptr) *rows += rowsWritten(result.get());
        break;
      case PGRES_EMPTY_QUERY:
        step = makeFailure(LayerError::EmptyStatement, "the text holds no statement");
        break;
      case PGRES_COPY_IN:
      case PGRES_COPY_OUT:
      case PGRES_COPY_BOTH:
        step = refuseCopy(PQresultStatus(result.get()));
        if (m_broken) return step;
        break;
      default:
        step = postgresFailure(result.get(), handle());
    }
    if (outcome.succeeded()) outcome = std::move(step);
  }
  m_answered = Clock::now();
  // An answer counts when it is complete: the commit of a statement comes behind its own outcome.
  if (outcome.succeeded() && PQstatus(handle()) != CONNECTION_OK) outcome = postgresConnectionLost(handle());
  return outcome;
}

ExecResult PostgresConnection::refuseCopy(ExecStatusType status) {
  if (status == PGRES_COPY_IN) {
    if (PQputCopyEnd(handle(), "copy from stdin is not supported") != 1) m_broken = true;
  } else if (status == PGRES_COPY_OUT) {
    // In a transaction a cancellation would end that as well.
    if (!m_transactionBefore && !cancel()) m_broken = true;
    char* data = nullptr;
    while (!m_broken && PQgetCopyData(handle(), &data, 0) > 0) PQfreemem(data);
  } else {
    m_broken = true;
  }
  return makeFailure(LayerError::NotSupported, "a statement cannot copy from or to the client");
}

void PostgresConnection::abandonRead(EarlyEnd end) {
  if (takeRest(kAbandonPatience)) return;
  // A cancelled read would take the whole transaction along.
  m_abandoned = m_transactionBefore;
  if (m_abandoned) return;
  if (end == EarlyEnd::Harmless) {
    if (!cancel() || !takeRest(kCancelPatience)) m_broken = true;
    return;
  }
  const ExecResult result = finish(PostgresResult(PQgetResult(handle())));
  if (result.succeeded()) return;
  Logger::error(
      static_cast<std::uint32_t>(result.errorCode()),
      LogScrubber::scrub("[VORNLib]a read that was given up broke off: " + result.detail().value_or("")),
      {"PostgresConnection", "abandonRead", __LINE__});
}

bool PostgresConnection::takeRest(int milliseconds) {
  const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
  for (;;) {
    while (PQisBusy(handle()) == 0) {
      if (!PostgresResult(PQgetResult(handle()))) return true;
      if (Clock::now() > deadline) return false;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd socket{PQsocket(handle()), POLLIN, 0};
    if (poll(&socket, 1, static_cast<int>(std::max<long>(left, 0))) <= 0) return false;
    // A failure shows in the next result.
    static_cast<void>(PQconsumeInput(handle()));
  }
}

// A request has no time limit of its own, so it goes by a thread, which is left behind when it takes too
// long. A cancellation that does not get through leaves the statement running, which the caller sees.
// @return false when the request is still under way, or could not be made
bool PostgresConnection::cancel() {
  const std::shared_ptr<PGcancel> request(PQgetCancel(handle()), PQfreeCancel);
  if (!request) return false;
  std::promise<void> answered;
  const std::future<void> answer = answered.get_future();
  try {
    std::thread([request, answered = std::move(answered)]() mutable {
      sigset_t all;
      sigfillset(&all);
      pthread_sigmask(SIG_BLOCK, &all, nullptr);
      char message[256];
      static_cast<void>(PQcancel(request.get(), message, sizeof message));
      answered.set_value();
    }).detach();
  } catch (const std::system_error&) {
    return false;
  }
  return answer.wait_for(kCancelLimit) == std::future_status::ready;
}

}  // namespace vorn
