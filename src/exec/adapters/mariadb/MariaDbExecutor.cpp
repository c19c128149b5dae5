#include "exec/adapters/mariadb/MariaDbExecutor.h"

#include <mysqld_error.h>

#include <algorithm>
#include <new>
#include <utility>

#include "common/ascii.h"
#include "exec/adapters/base/Failure.h"
#include "exec/adapters/mariadb/MariaDbError.h"

namespace vorn {

namespace {

using std::chrono::milliseconds;

// How long a read that is given up may take to come to its end. A shorter time would lose more often what its
// functions have written, a longer one would hold the caller up.
constexpr milliseconds kAbandonPatience{100};

// A row that stops arriving for so long, with a transaction that is lost by not waiting for it, comes no
// more.
constexpr milliseconds kStalled{1000};

// A connection that answered this short a time ago is not looked at: the look would cost more than it finds.
constexpr milliseconds kFresh{1};

// The command's own byte goes before the text.
constexpr std::size_t kPacketHead = 1;

}  // namespace

MariaDbExecutor::MariaDbExecutor(std::unique_ptr<MariaDbChannel> channel) : m_channel(std::move(channel)) {}

MariaDbExecutor::~MariaDbExecutor() {
  detachCursor();
}

bool MariaDbExecutor::usable() noexcept {
  if (m_channel->broken()) return false;
  // Whatever arrives while a cursor streams, or was given up, is its rows.
  if (!m_channel->atRest()) return m_answer != Answer::Taken;
  return MariaDbChannel::Clock::now() - m_channel->lastAnswer() < kFresh || m_channel->isQuiet();
}

bool MariaDbExecutor::inTransaction() const noexcept {
  return !m_channel->broken() && m_channel->inTransaction();
}

void MariaDbExecutor::giveUp() noexcept {
  m_channel->setBroken();
  detachCursor();
}

void MariaDbExecutor::detachCursor() noexcept {
  m_answer = Answer::Taken;
  if (m_cursor != nullptr) std::exchange(m_cursor, nullptr)->detach();
}

void MariaDbExecutor::drainCursor() noexcept {
  if (m_cursor != nullptr) static_cast<void>(m_cursor->drain());  // the cursor keeps its failure
}

bool MariaDbExecutor::dropGivenUp() noexcept {
  if (m_answer != Answer::GivenUp) return true;
  try {
    if (takeRest(kAbandonPatience)) return true;
  } catch (...) {
    // Giving the connection up drops the rest as well.
  }
  giveUp();
  return false;
}

ExecResult MariaDbExecutor::makeReady() {
  const bool inside = inTransaction();
  ExecResult rest;
  if (BufferedCursor* const cursor = m_cursor) {
    static_cast<void>(cursor->drain());
    rest = cursor->failure();
  }
  if (std::exchange(m_answer, Answer::Taken) == Answer::GivenUp && !m_channel->atRest()) rest = finish();
  if (!m_channel->atRest()) {
    return makeFailure(Failure::ConnectionLost, "the conversation with the server was cut off");
  }
  // A read may fail without harm to its transaction. A deadlock costs it, and what comes next would be kept
  // alone.
  return inside && !rest.succeeded() && !inTransaction() ? rest : ExecResult();
}

ExecResult MariaDbExecutor::send(const std::string& sql, const StatementEffects& effects) {
  ExecResult result = checkSize(sql);
  if (result.succeeded()) result = hideOthers(effects);
  if (!result.succeeded()) return result;
  noteEffect(effects.session);
  result = m_channel->ask(
      sql, effects.session != SessionEffect::None || !(effects.countsRows || effects.onlyReads));
  return result.succeeded() ? result : refusal(std::move(result), sql);
}

ExecResult MariaDbExecutor::hideOthers(const StatementEffects& effects) {
  if (!m_channel->showsOthers(effects.lookBack)) return {};
  noteEffect(effects.session);
  // Only a statement that reads a table clears the warnings and the count of rows found, and sets the count
  // of rows written to one that no fresh session has.
  std::string ignored;
  ExecResult result = ask("select 1 from (select 1) t where last_insert_id(0)", ignored);
  if (result.succeeded()) result = run("set last_insert_id=0");
  if (result.succeeded()) m_channel->setCleared();
  return result;
}

ExecResult MariaDbExecutor::prepare(const std::string& sql, MariaDbStatement& statement) {
  ExecResult result = checkSize(sql);
  if (!result.succeeded()) return result;
  MariaDbStatement prepared;
  prepared.handle = {mysql_stmt_init(m_channel->handle()), MariaDbStatementCloser{m_channel.get()}};
  if (!prepared.handle) throw std::bad_alloc();
  if (sql.size() <= StatementCache<MariaDbStatement>::kLongestText) prepared.text = sql;
  prepared.bytes = sql.size();
  result = m_channel->prepare(prepared.handle.get(), sql);
  if (!result.succeeded()) return refusal(std::move(result), sql);
  statement = std::move(prepared);
  return result;
}

ExecResult MariaDbExecutor::refusal(ExecResult failure, const std::string& sql) const {
  const auto parseError = static_cast<std::uint64_t>(ErrorFamily::MariaDb) << 32 | ER_PARSE_ERROR;
  if (failure.errorCode() != parseError) return failure;
  if (!hasSecondStatement(sql)) return withoutForeignWord(failure, sql);
  return makeFailure(Failure::MultipleStatements,
                     "the text goes on after its first statement; nothing was run");
}

ExecResult MariaDbExecutor::checkSize(const std::string& sql) {
  if (sql.size() < kSurelyTaken) return {};
  const std::uint64_t largest = largestPacket();
  if (largest == 0 || sql.size() + kPacketHead < largest) return {};
  return mariaDbFailure(ER_NET_PACKET_TOO_LARGE,
                        "the statement is larger than 'max_allowed_packet' of the server; it was not sent");
}

std::uint64_t MariaDbExecutor::largestPacket() {
  std::string bytes;
  // A failure shows in the next statement.
  if (m_largestPacket == 0 && ask("select @@max_allowed_packet", bytes).succeeded()) {
    ascii::parseWhole(bytes, m_largestPacket);
  }
  return m_largestPacket;
}

ExecResult MariaDbExecutor::run(const std::string& sql) {
  ExecResult result = makeReady();
  if (result.succeeded()) result = m_channel->ask(sql, true);
  return result.succeeded() ? finish() : result;
}

ExecResult MariaDbExecutor::ask(const std::string& sql, std::string& value) {
  ExecResult result = makeReady();
  if (result.succeeded()) result = m_channel->ask(sql, false);
  if (!result.succeeded()) return result;
  if (m_channel->nextRow(result)) {
    const char* const text = m_channel->values()[0];
    value.assign(text == nullptr ? "" : text, m_channel->lengths()[0]);
    result = finish();
  }
  return result;
}

ExecResult MariaDbExecutor::finish(std::uint64_t* rows) {
  for (;;) {
    ExecResult outcome;
    if (m_channel->hasRows()) {
      while (m_channel->nextRow(outcome)) {
      }
    } else if (rows != nullptr) {
      *rows += m_channel->rowsWritten();
    }
    if (!outcome.succeeded() || m_channel->atRest()) return outcome;
    outcome = m_channel->nextResult();
    if (!outcome.succeeded()) return outcome;
  }
}

SessionEffect MariaDbExecutor::sessionEffect() noexcept {
  if (m_channel->takeSessionChange()) m_session = std::max(m_session, SessionEffect::Reset);
  return m_session;
}

void MariaDbExecutor::startStreaming(BufferedCursor* cursor) noexcept {
  m_cursor = cursor;
  m_answer = Answer::Streaming;
}

void MariaDbExecutor::stopStreaming() noexcept {
  m_cursor = nullptr;
  m_answer = Answer::Taken;
}

bool MariaDbExecutor::takeRest(milliseconds limit) {
  m_channel->hurry(inTransaction() ? kStalled : limit);
  const bool taken = takeRows(limit);
  m_channel->hurry({});
  return taken;
}

bool MariaDbExecutor::takeRows(milliseconds limit) {
  const auto deadline = MariaDbChannel::Clock::now() + limit;
  ExecResult outcome;
  while (!m_channel->atRest() && !m_channel->broken()) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - MariaDbChannel::Clock::now());
    if (left.count() <= 0 || !m_channel->awaitRow(left)) return false;
    if (!m_channel->hasRows()) {
      outcome = m_channel->nextResult();
    } else {
      static_cast<void>(m_channel->nextRow(outcome));
    }
  }
  return m_channel->atRest();
}

ExecResult MariaDbExecutor::abandonRead() {
  if (takeRest(kAbandonPatience)) return {};
  if (inTransaction()) {
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
