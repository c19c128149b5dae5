#include "exec/adapters/mariadb/MariaDbChannel.h"

#include <errmsg.h>
#include <ma_pvio.h>
#include <mysqld_error.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <utility>

#include "exec/adapters/base/Failure.h"
#include "exec/adapters/mariadb/MariaDbError.h"
#include "exec/adapters/mariadb/NoPipeSignal.h"
#include "exec/adapters/mariadb/mariadb_binary.h"

namespace vorn {

namespace {

using std::chrono::milliseconds;

// After a failure of these kinds there is nobody at the other end, or nothing is known of what comes next, or
// the node has lost its cluster, and another one is to be asked.
bool breaks(unsigned number) {
  const bool isClients = (number >= CR_MIN_ERROR && number <= CR_MAX_ERROR) ||
                         (number >= CER_MIN_ERROR && number <= CER_MAX_ERROR);
  // A node that is not ready refuses everything until it is: another one may be.
  return isClients || number == 0 || number == ER_NET_PACKET_TOO_LARGE || number == ER_UNKNOWN_COM_ERROR ||
         classifyMariaDbError(number) == ErrorClass::ConnectionLost;
}

}  // namespace

MariaDbChannel::MariaDbChannel(MariaDbHandle handle)
    : m_handle(std::move(handle)),
      m_encrypted(mysql_get_ssl_cipher(m_handle.get()) != nullptr),
      m_status(m_handle->server_status) {}

MariaDbChannel::~MariaDbChannel() {
  const NoPipeSignal quiet(m_encrypted);
  if (!atRest()) setBroken();
  m_result.reset();
  m_handle.reset();
}

void MariaDbChannel::setBroken() noexcept {
  if (m_state == State::Broken) return;
  m_state = State::Broken;
  m_row = nullptr;
  // The client library reads what is left of an answer before it lets go of it.
  if (m_handle->net.pvio != nullptr) shutdown(mysql_get_socket(handle()), SHUT_RDWR);
}

void MariaDbChannel::limitWaits(std::uint32_t readSeconds, std::uint32_t writeSeconds) noexcept {
  MARIADB_PVIO* const stream = m_handle->net.pvio;
  if (stream == nullptr) return;
  stream->methods->set_timeout(stream, PVIO_READ_TIMEOUT, static_cast<int>(readSeconds));
  stream->methods->set_timeout(stream, PVIO_WRITE_TIMEOUT, static_cast<int>(writeSeconds));
  m_readLimit = stream->timeout[PVIO_READ_TIMEOUT];
}

void MariaDbChannel::hurry(milliseconds limit) noexcept {
  MARIADB_PVIO* const stream = m_handle->net.pvio;
  if (stream == nullptr) return;
  stream->timeout[PVIO_READ_TIMEOUT] = limit.count() > 0 ? static_cast<int>(limit.count()) : m_readLimit;
}

bool MariaDbChannel::isQuiet() noexcept {
  if (!atRest() || m_handle->net.pvio == nullptr) return false;
  pollfd socket{mysql_get_socket(handle()), POLLIN, 0};
  if (poll(&socket, 1, 0) <= 0) return true;
  setBroken();
  return false;
}

ExecResult MariaDbChannel::notReady() const {
  return makeFailure(Failure::ConnectionLost, "the conversation with the server was cut off");
}

ExecResult MariaDbChannel::ask(const std::string& sql, bool mayBegin) {
  if (!atRest()) return notReady();
  const NoPipeSignal quiet(m_encrypted);
  m_statement = nullptr;
  m_mayBegin = mayBegin;
  const int refused = mysql_real_query(handle(), sql.data(), sql.size());
  return refused == 0 ? answered() : failed(mysql_errno(handle()), mysql_error(handle()));
}

ExecResult MariaDbChannel::ask(MYSQL_STMT* statement) {
  if (!atRest()) return notReady();
  const NoPipeSignal quiet(m_encrypted);
  m_statement = statement;
  m_mayBegin = false;
  const bool executed = mysql_stmt_execute(statement) == 0;
  if (executed && hasBinaryForms(statement)) return answered();
  // The server has other columns than were prepared. Their rows are taken, and dropped.
  if ((executed || mysql_stmt_errno(statement) == CR_NEW_STMT_METADATA) &&
      mysql_stmt_free_result(statement) == 0 && m_handle->net.pvio != nullptr) {
    noteStatus(m_handle->server_status);
    m_lastAnswer = Clock::now();
    return mariaDbFailure(CR_NEW_STMT_METADATA, "the columns of the statement have changed");
  }
  return failed(mysql_stmt_errno(statement), mysql_stmt_error(statement));
}

ExecResult MariaDbChannel::prepare(MYSQL_STMT* statement, const std::string& sql) {
  if (!atRest()) return notReady();
  const NoPipeSignal quiet(m_encrypted);
  m_statement = nullptr;
  m_mayBegin = false;
  const int refused = mysql_stmt_prepare(statement, sql.data(), sql.size());
  if (refused != 0) return failed(mysql_stmt_errno(statement), mysql_stmt_error(statement));
  m_lastAnswer = Clock::now();
  return {};
}

// The client library would first read what is left of an answer, and then write.
void MariaDbChannel::close(MYSQL_STMT* statement) noexcept {
  const NoPipeSignal quiet(m_encrypted);
  if (!atRest()) setBroken();
  mysql_stmt_close(statement);
}

// The head of a result is here.
ExecResult MariaDbChannel::answered() {
  noteStatus(m_handle->server_status);
  if (m_handle->field_count == 0) {
    endResult();
    return {};
  }
  if (m_statement == nullptr) {
    m_result.reset(mysql_use_result(handle()));
    if (!m_result) {
      setBroken();
      return outOfMemory();
    }
  }
  m_state = State::Rows;
  return {};
}

void MariaDbChannel::lend() noexcept {
  m_isLent = true;
  m_hasAsked = m_hasWarnings = m_hasId = false;
}

bool MariaDbChannel::showsOthers(LookBack asked) const noexcept {
  if (!m_isLent || asked == LookBack::None) return false;
  if (!m_hasAsked) return true;
  if (asked == LookBack::Warnings) return !m_hasWarnings;
  if (asked == LookBack::Id) return !m_hasId;
  return asked == LookBack::Anything && !m_hasWarnings && !m_hasId;
}

void MariaDbChannel::noteOwn(bool hasWarnings) noexcept {
  if (!m_isLent) return;
  m_hasAsked = true;
  m_hasWarnings = m_hasWarnings || hasWarnings;
  m_hasId = m_hasId || (m_handle->field_count == 0 && m_handle->insert_id != 0);
}

void MariaDbChannel::endResult() noexcept {
  m_row = nullptr;
  m_result.reset();
  m_state = mysql_more_results(handle()) != 0 ? State::Results : State::AtRest;
  noteOwn(mysql_warning_count(handle()) > 0);
  m_lastAnswer = Clock::now();
}

// What becomes of the channel comes before anything that may throw. The server says nothing of the
// transaction when a statement fails, but may have ended it. A client library without a reason had no memory
// to find one.
ExecResult MariaDbChannel::failed(unsigned number, const char* message) noexcept {
  ExecResult failure = outOfMemory();
  try {
    if (number != 0) failure = mariaDbFailure(number, message);
  } catch (...) {
    // Then that is the failure.
    failure = outOfMemory();
  }
  if (breaks(number)) {
    setBroken();
    return failure;
  }
  m_row = nullptr;
  m_result.reset();
  m_state = State::AtRest;
  noteOwn(true);
  const bool unknown = inTransaction() || (m_status & SERVER_STATUS_AUTOCOMMIT) == 0 || m_mayBegin;
  if (unknown && !askStatus()) setBroken();
  m_lastAnswer = Clock::now();
  return failure;
}

// The client library leaves the answer to a ping unread.
bool MariaDbChannel::askStatus() noexcept {
  constexpr unsigned long kStatusEnd = 5;
  if (mysql_ping(handle()) != 0 || m_handle->packet_length < kStatusEnd) return false;
  const unsigned char* const answer = m_handle->net.read_pos;
  if (answer[0] != 0 || answer[1] != 0 || answer[2] != 0) return false;
  m_handle->server_status = static_cast<unsigned>(answer[3] | answer[4] << 8);
  noteStatus(m_handle->server_status);
  return true;
}

// The client library leaves the status of the last packet unread where the rows are those of a prepared
// statement.
void MariaDbChannel::takeEndOfRows() noexcept {
  constexpr unsigned char kEnd = 254;
  const unsigned char* const packet = m_handle->net.read_pos;
  if (packet[0] != kEnd) return;
  m_handle->warning_count = static_cast<unsigned>(packet[1] | packet[2] << 8);
  m_handle->server_status = static_cast<unsigned>(packet[3] | packet[4] << 8);
}

void MariaDbChannel::noteStatus(unsigned status) noexcept {
  m_status = status;
  if ((status & SERVER_SESSION_STATE_CHANGED) != 0) m_sessionChanged = true;
}

bool MariaDbChannel::takeSessionChange() noexcept {
  return std::exchange(m_sessionChanged, false);
}

const MYSQL_FIELD* MariaDbChannel::fields() const noexcept {
  return m_statement != nullptr ? m_statement->fields : m_result->fields;
}

unsigned MariaDbChannel::columns() const noexcept {
  return m_statement != nullptr ? m_statement->field_count : m_result->field_count;
}

const unsigned long* MariaDbChannel::lengths() const noexcept {
  return m_result->lengths;
}

bool MariaDbChannel::nextRow(ExecResult& outcome) {
  if (!hasRows()) {
    outcome = notReady();
    return false;
  }
  const NoPipeSignal quiet(m_encrypted);
  if (m_statement != nullptr) {
    const int fetched = mysql_stmt_fetch(m_statement);
    if (fetched == 0) return true;
    if (fetched != MYSQL_NO_DATA) {
      outcome = failed(mysql_errno(handle()), mysql_error(handle()));
      return false;
    }
    takeEndOfRows();
  } else {
    m_row = mysql_fetch_row(m_result.get());
    if (m_row != nullptr) return true;
    if (mysql_errno(handle()) != 0) {
      outcome = failed(mysql_errno(handle()), mysql_error(handle()));
      return false;
    }
  }
  outcome = {};
  noteStatus(m_handle->server_status);
  endResult();
  return false;
}

std::uint64_t MariaDbChannel::rowsWritten() const noexcept {
  const my_ulonglong rows = mysql_affected_rows(handle());
  return rows == static_cast<my_ulonglong>(-1) ? 0 : rows;
}

ExecResult MariaDbChannel::nextResult() {
  if (m_state != State::Results) return notReady();
  const NoPipeSignal quiet(m_encrypted);
  const int next = mysql_next_result(handle());
  return next == 0 ? answered() : failed(mysql_errno(handle()), mysql_error(handle()));
}

bool MariaDbChannel::awaitRow(milliseconds limit) noexcept {
  const MARIADB_PVIO* const stream = m_handle->net.pvio;
  if (stream == nullptr) return true;  // the failure shows in the next row
  if (m_handle->net.compress != 0 && m_handle->net.remain_in_buf > 0) return true;
  if (stream->cache_pos < stream->cache + stream->cache_size) return true;
  pollfd socket{mysql_get_socket(handle()), POLLIN, 0};
  return poll(&socket, 1, static_cast<int>(std::max(limit, milliseconds(0)).count())) > 0;
}

bool MariaDbChannel::resetSession() {
  const NoPipeSignal quiet(m_encrypted);
  if (!atRest()) return false;
  if (mysql_reset_connection(handle()) != 0) setBroken();
  setCleared();
  return atRest();
}

}  // namespace vorn
