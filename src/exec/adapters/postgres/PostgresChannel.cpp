#include "exec/adapters/postgres/PostgresChannel.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "common/log_line.h"
#include "exec/adapters/base/Failure.h"
#include "exec/adapters/postgres/PostgresError.h"

namespace vorn {

namespace {

using std::chrono::milliseconds;

// A peer that has acknowledged nothing for so long, although there is something to acknowledge, has gone. One
// that cannot take more bytes for the time being still answers the kernel's probes.
constexpr std::chrono::seconds kSilenceLimit{30};

constexpr milliseconds kWaitSlice{250};
// Under TLS, bytes may wait in the client library where the socket does not show them.
constexpr milliseconds kTlsWaitSlice{10};

// The client library may have no memory for a result, and then goes on waiting for what it has received
// already.
bool ranOutOfMemory(const PGconn* connection) {
  const char* const message = PQerrorMessage(connection);
  return *message != '\0' && std::strstr(message, "out of memory") != nullptr;
}

bool hasMemory() {
  constexpr std::size_t kEnough = 4096;
  return std::unique_ptr<char[]>(new (std::nothrow) char[kEnough]) != nullptr;
}

// A failure of the client library's own, after which it may have lost count.
bool isClientFailure(const PGresult* result) {
  const ExecStatusType status = PQresultStatus(result);
  return (status == PGRES_FATAL_ERROR || status == PGRES_BAD_RESPONSE) &&
         PQresultErrorField(result, PG_DIAG_SQLSTATE) == nullptr;
}

bool startsWith(const char* text, const char* prefix) {
  return text != nullptr && std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

// The client library's own rule: at least two seconds, and no limit for 0.
std::chrono::seconds connectLimit(const PostgresKeywords& keywords) {
  const auto found = keywords.find("connect_timeout");
  const char* text = found == keywords.end() ? std::getenv("PGCONNECT_TIMEOUT") : found->second.c_str();
  const long seconds = text == nullptr ? 0 : std::strtol(text, nullptr, 10);
  return std::chrono::seconds(seconds <= 0 ? 0 : std::max(seconds, 2L));
}

// The hosts to try, as far as they are known before a service file is read.
std::string hostsOf(const PostgresKeywords& keywords) {
  for (const char* keyword : {"hostaddr", "host"}) {
    const auto found = keywords.find(keyword);
    if (found != keywords.end()) return found->second;
  }
  const char* fromEnvironment = std::getenv("PGHOST");
  return fromEnvironment == nullptr ? "" : fromEnvironment;
}

bool mayBeSeveralHosts(const PostgresKeywords& keywords) {
  return keywords.count("service") > 0 || std::getenv("PGSERVICE") != nullptr ||
         hostsOf(keywords).find(',') != std::string::npos;
}

// A name may lead to several addresses.
bool isName(const std::string& host) {
  in6_addr address{};
  return !host.empty() && host[0] != '/' && inet_pton(AF_INET, host.c_str(), &address) != 1 &&
         inet_pton(AF_INET6, host.c_str(), &address) != 1;
}

}  // namespace

PostgresChannel::PostgresChannel(const PostgresKeywords& keywords) : m_connectLimit(connectLimit(keywords)) {
  std::vector<const char*> names;
  std::vector<const char*> values;
  for (const auto& [name, value] : keywords) {
    names.push_back(name.c_str());
    values.push_back(value.c_str());
  }
  names.push_back(nullptr);
  values.push_back(nullptr);
  m_handle.reset(PQconnectStartParams(names.data(), values.data(), 0));
  if (!m_handle) throw std::bad_alloc();
  // From here on nothing that the server says goes to standard error.
  PQsetNoticeReceiver(handle(), receiveNotice, this);
}

ExecResult PostgresChannel::connect(const PostgresKeywords& keywords,
                                    std::unique_ptr<PostgresChannel>& channel) {
  std::unique_ptr<PostgresChannel> made(new PostgresChannel(keywords));
  PGconn* const handle = made->handle();
  // Only the client library itself can go on to the next host or address after a limit, and only when it
  // waits itself.
  bool inTime = true;
  bool again = mayBeSeveralHosts(keywords) && PQstatus(handle) != CONNECTION_BAD;
  if (!again) {
    inTime = made->connectToOneHost();
    again = !inTime && isName(hostsOf(keywords));
  }
  if (again) {
    PQreset(handle);
  } else if (!inTime) {
    return postgresFailure("08001", "the server did not answer within " +
                                        std::to_string(made->m_connectLimit.count()) + " seconds");
  }
  // The SQLSTATE of a refused connection is in the verbose message only. ":  " shows that the server spoke.
  if (PQstatus(handle) != CONNECTION_OK && std::strstr(PQerrorMessage(handle), ":  ") != nullptr) {
    PQsetErrorVerbosity(handle, PQERRORS_VERBOSE);
    PQreset(handle);
  }
  if (PQstatus(handle) != CONNECTION_OK) return postgresConnectFailure(handle);
  PQsetErrorVerbosity(handle, PQERRORS_DEFAULT);
  if (PQsetnonblocking(handle, 1) != 0) return postgresConnectionLost(handle);
  channel = std::move(made);
  return {};
}

// @return false when the time is over
bool PostgresChannel::connectToOneHost() {
  const Deadline deadline = connectDeadline();
  PostgresPollingStatusType status = PGRES_POLLING_WRITING;
  while (status != PGRES_POLLING_OK && status != PGRES_POLLING_FAILED) {
    if (PQstatus(handle()) == CONNECTION_BAD) return true;
    const short events = status == PGRES_POLLING_READING ? POLLIN : POLLOUT;
    Wait outcome = Wait::Pause;
    while (outcome == Wait::Pause) outcome = wait(events, deadline);
    if (outcome == Wait::Over) return false;
    status = PQconnectPoll(handle());
  }
  return true;
}

PostgresChannel::Deadline PostgresChannel::connectDeadline() const {
  if (m_connectLimit.count() == 0) return {};
  return Clock::now() + m_connectLimit;
}

// No exception may pass through the client library, which is written in C.
void PostgresChannel::receiveNotice(void* self, const PGresult* notice) noexcept {
  auto& channel = *static_cast<PostgresChannel*>(self);
  const char* severity = PQresultErrorField(notice, PG_DIAG_SEVERITY_NONLOCALIZED);
  const char* state = PQresultErrorField(notice, PG_DIAG_SQLSTATE);
  const bool fatal = startsWith(severity, "FATAL") || startsWith(severity, "PANIC");
  // The server's last words to a connection, of no interest while nobody uses it.
  if (fatal || (startsWith(state, "57P") && channel.atRest())) {
    channel.m_broken = true;
    return;
  }
  // The client library's own remarks have no state: something arrived that nobody had asked for.
  if (state == nullptr) channel.m_broken = true;
  const char* text = PQresultErrorField(notice, PG_DIAG_MESSAGE_PRIMARY);
  try {
    Logger::info(taggedLine(std::string("postgresql ") + (severity == nullptr ? "" : severity) + ": " +
                            (text == nullptr ? PQresultErrorMessage(notice) : text)),
                 {"PostgresChannel", "receiveNotice", __LINE__});
  } catch (...) {
    // The line is given up.
    return;
  }
}

bool PostgresChannel::countsUtf8() const noexcept {
  const char* const encoding = PQparameterStatus(handle(), "server_encoding");
  return encoding != nullptr && std::strcmp(encoding, "UTF8") == 0;
}

bool PostgresChannel::isQuiet() noexcept {
  while (!broken()) {
    pollfd socket{PQsocket(handle()), POLLIN, 0};
    if (poll(&socket, 1, 0) <= 0) return true;
    if (PQconsumeInput(handle()) != 1) return false;
    // Also has the client library look at what arrived.
    while (PGnotify* notification = PQnotifies(handle())) PQfreemem(notification);
  }
  return false;
}

ExecResult PostgresChannel::ask(const std::string& sql) {
  if (!atRest() || broken()) return lost();
  const bool accepted =
      PQsendQueryParams(handle(), sql.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0) == 1;
  if (accepted) PQsetSingleRowMode(handle());
  return asked(accepted);
}

ExecResult PostgresChannel::askPrepared(const PreparedCall& call) {
  if (!atRest() || broken()) return lost();
  const bool accepted = send(call);
  if (accepted) PQsetSingleRowMode(handle());
  return asked(accepted);
}

ExecResult PostgresChannel::askPrepared(const PreparedCall& call, const char* before,
                                        const std::string& name) {
  if (!atRest() || broken()) return lost();
  m_before = Before::Asked;
  bool accepted = PQenterPipelineMode(handle()) == 1;
  if (name.empty()) {
    accepted = accepted && PQsendQueryParams(handle(), before, 0, nullptr, nullptr, nullptr, nullptr, 0) == 1;
  } else {
    accepted = accepted && send({name.c_str(), 0, nullptr, nullptr, nullptr});
  }
  return asked(accepted && send(call) && PQpipelineSync(handle()) == 1);
}

bool PostgresChannel::send(const PreparedCall& call) {
  return PQsendQueryPrepared(handle(), call.name, call.count, call.values, call.lengths, call.formats, 0) ==
         1;
}

ExecResult PostgresChannel::askSimple(const std::string& sql) {
  if (!atRest() || broken()) return lost();
  return asked(PQsendQuery(handle(), sql.c_str()) == 1);
}

ExecResult PostgresChannel::askToParse(const std::string& sql) {
  if (!atRest() || broken()) return lost();
  return asked(PQsendPrepare(handle(), "", sql.c_str(), 0, nullptr) == 1);
}

ExecResult PostgresChannel::asked(bool accepted) {
  m_state = State::Asked;
  m_answered = false;
  if (accepted && flush()) return {};
  m_broken = true;
  return lost();
}

bool PostgresChannel::flush() {
  for (;;) {
    const int left = PQflush(handle());
    if (left <= 0) return left == 0;
    // The server may have to send something before it takes more.
    if (wait(POLLIN | POLLOUT, {}) == Wait::Over || PQconsumeInput(handle()) != 1) return false;
  }
}

bool PostgresChannel::next(PostgresResult& result, const Deadline& deadline) {
  result.reset();
  if (m_state == State::AtRest || m_broken) return false;
  const bool first = m_before == Before::Asked;
  if (first ? !takeStatementBefore(result, deadline) : !takeResult(result, deadline)) return false;
  if (result) {
    m_answered = true;
    if (isClientFailure(result.get())) m_broken = true;
    return true;
  }
  const bool answered = m_answered;
  if (m_before == Before::Answered) endTwoStatements();
  endAnswer();
  // A missing result is a failure; so is a connection that ended after the last one.
  if (!answered || PQstatus(handle()) != CONNECTION_OK) m_broken = true;
  return !m_broken;
}

bool PostgresChannel::takeResult(PostgresResult& result, const Deadline& deadline) {
  result.reset();
  if (awaitResult(deadline)) {
    result.reset(PQgetResult(handle()));
    // Where the client library has lost an answer, for want of memory, the end of the pipeline comes in its
    // place, and after that nothing.
    const bool early = m_state == State::Pipeline ? m_expected > 0 : m_before != Before::None;
    if (!early || PQresultStatus(result.get()) != PGRES_PIPELINE_SYNC) return true;
    result.reset();
  }
  m_broken = true;
  return false;
}

// Takes the answer of the statement before, and the first result of the one that was asked.
bool PostgresChannel::takeStatementBefore(PostgresResult& result, const Deadline& deadline) {
  PostgresResult own;
  PostgresResult none;
  if (!takeResult(own, deadline) || !takeResult(none, deadline)) return false;
  m_before = Before::Answered;
  if (!own || none) {
    m_broken = true;
    return false;
  }
  const bool good = PQresultStatus(own.get()) == PGRES_COMMAND_OK;
  if (good) PQsetSingleRowMode(handle());
  if (!takeResult(result, deadline)) return false;
  // The server has passed over what was asked after a failure.
  if (!good) result = std::move(own);
  return true;
}

void PostgresChannel::endTwoStatements() {
  m_before = Before::None;
  PostgresResult end;
  const bool synchronised = takeResult(end, {}) && PQresultStatus(end.get()) == PGRES_PIPELINE_SYNC;
  if (!synchronised || PQexitPipelineMode(handle()) != 1) m_broken = true;
}

void PostgresChannel::endAnswer() noexcept {
  m_answered = false;
  if (m_state == State::Pipeline) {
    if (m_expected > 0) --m_expected;
  } else {
    m_state = State::AtRest;
    m_lastAnswer = Clock::now();
  }
  while (PGnotify* notification = PQnotifies(handle())) PQfreemem(notification);
}

ExecResult PostgresChannel::lost() const {
  if (!m_reason.empty()) return makeFailure(Failure::ConnectionLost, m_reason);
  const std::string message = PQerrorMessage(handle());
  return makeFailure(Failure::ConnectionLost,
                     message.empty() ? "the conversation with the server was cut off" : message);
}

bool PostgresChannel::takeRest(milliseconds limit) {
  const Deadline deadline = Clock::now() + limit;
  PostgresResult result;
  while (m_state == State::Asked && Clock::now() < *deadline && awaitResult(deadline)) {
    if (!next(result, deadline)) return false;
    const ExecStatusType status = PQresultStatus(result.get());
    if (status == PGRES_COPY_IN || status == PGRES_COPY_OUT || status == PGRES_COPY_BOTH) return false;
  }
  return atRest() && !broken();
}

bool PostgresChannel::putCopyData(const char* bytes, int size) {
  return PQputCopyData(handle(), bytes, size) == 1 && flush();
}

bool PostgresChannel::endCopy(const char* reason) {
  if (PQputCopyEnd(handle(), reason) == 1 && flush()) return true;
  m_broken = true;
  return false;
}

bool PostgresChannel::takeCopyData(char*& data) {
  for (;;) {
    const int size = PQgetCopyData(handle(), &data, 1);
    if (size != 0) return size > 0;
    if (wait(POLLIN, {}) == Wait::Over || PQconsumeInput(handle()) != 1) {
      m_broken = true;
      return false;
    }
  }
}

ExecResult PostgresChannel::beginPipeline() {
  if (!atRest() || broken() || PQenterPipelineMode(handle()) != 1) return lost();
  m_state = State::Pipeline;
  return {};
}

ExecResult PostgresChannel::sendPipeline(std::size_t questions) {
  m_expected = questions;
  m_answered = false;
  if (PQpipelineSync(handle()) == 1 && flush()) return {};
  m_broken = true;
  return lost();
}

ExecResult PostgresChannel::endPipeline() {
  PostgresResult result;
  ExecResult outcome;
  bool more = m_expected == 0 && next(result);
  // Outside of a transaction, what waits for its end, as a deferred constraint does, is refused here.
  while (more && PQresultStatus(result.get()) == PGRES_FATAL_ERROR && !m_broken) {
    outcome = postgresFailure(result.get(), handle());
    more = next(result) && (result || next(result));
  }
  const bool synchronised = more && PQresultStatus(result.get()) == PGRES_PIPELINE_SYNC;
  if (!synchronised || PQexitPipelineMode(handle()) != 1) {
    m_broken = true;
    return lost();
  }
  m_state = State::AtRest;
  m_answered = false;
  m_lastAnswer = Clock::now();
  return outcome;
}

// @return false when the deadline is over, the peer has gone, or the client library waits for nothing
bool PostgresChannel::awaitResult(const Deadline& deadline) {
  while (PQisBusy(handle()) != 0) {
    if (ranOutOfMemory(handle()) || wait(POLLIN, deadline) == Wait::Over) return false;
    // A failure shows in the next result.
    if (PQconsumeInput(handle()) != 1) return true;
  }
  return true;
}

PostgresChannel::Wait PostgresChannel::wait(short events, const Deadline& deadline) {
  milliseconds slice = PQsslInUse(handle()) != 0 ? kTlsWaitSlice : kWaitSlice;
  if (deadline) {
    const auto left = std::chrono::ceil<milliseconds>(*deadline - Clock::now());
    if (left.count() <= 0) return Wait::Over;
    slice = std::min(slice, left);
  }
  pollfd socket{PQsocket(handle()), events, 0};
  const int ready = poll(&socket, 1, static_cast<int>(slice.count()));
  if (ready < 0 && errno == EINTR) return Wait::Pause;
  if (ready != 0) return Wait::Ready;  // a failure shows in the next call
  if (peerIsSilent()) {
    m_reason = "the server has acknowledged nothing for " + std::to_string(kSilenceLimit.count()) + " s";
    return Wait::Over;
  }
  return hasMemory() ? Wait::Pause : Wait::Over;
}

bool PostgresChannel::peerIsSilent() const noexcept {
  tcp_info info{};
  socklen_t size = sizeof info;
  if (getsockopt(PQsocket(handle()), IPPROTO_TCP, TCP_INFO, &info, &size) != 0) return false;
  const bool awaitsAcknowledgement = info.tcpi_unacked > 0 || info.tcpi_probes > 0;
  return awaitsAcknowledgement && milliseconds(info.tcpi_last_ack_recv) > kSilenceLimit;
}

}  // namespace vorn
