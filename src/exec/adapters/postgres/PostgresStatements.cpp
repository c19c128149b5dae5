#include "exec/adapters/postgres/PostgresStatements.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <random>
#include <utility>

#include "common/ascii.h"
#include "exec/adapters/base/Failure.h"
#include "exec/adapters/postgres/PostgresError.h"

namespace vorn {

namespace {

constexpr std::size_t kSeen = 128;

// How many dropped statements one preparation takes along.
constexpr std::size_t kDropsAtOnce = 8;

constexpr char kSavepoint[] = "savepoint vorn_prepare";
constexpr char kRelease[] = "release savepoint vorn_prepare";
constexpr char kUndo[] = "rollback to savepoint vorn_prepare; release savepoint vorn_prepare";

bool isAnswered(const PGresult* result) {
  const ExecStatusType status = PQresultStatus(result);
  return status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK;
}

bool isOfClass(const PGresult* result, std::initializer_list<const char*> classes) {
  const char* const state = PQresultErrorField(result, PG_DIAG_SQLSTATE);
  return state != nullptr && std::any_of(classes.begin(), classes.end(), [state](const char* each) {
           return std::strncmp(state, each, std::strlen(each)) == 0;
         });
}

// Whether a failure has nothing to do with the statement: a cancel or shutdown, a lock, a conflict, a lack of
// resources.
bool isInterruption(const PGresult* result) {
  return isOfClass(result, {"57", "55P03", "40", "53", "58", "XX"});
}

// Whether the server will say the same the next time.
bool isLasting(const PGresult* result) {
  return isOfClass(result, {"42", "0A"});
}

}  // namespace

PostgresStatements::PostgresStatements(PostgresExecutor& executor, std::size_t capacity,
                                       std::shared_ptr<std::atomic<bool>> allowed)
    : m_executor(executor),
      m_capacity(capacity == 1 ? 2 : capacity),
      m_allowed(std::move(allowed)),
      m_seen(capacity == 0 ? 0 : kSeen) {}

PostgresStatement* PostgresStatements::find(std::string_view key, std::size_t hash) {
  if (m_capacity == 0 || m_executor.textChangedSession() || !m_allowed->load(std::memory_order_relaxed)) {
    return nullptr;
  }
  PostgresStatement* statement = nullptr;
  for (std::size_t at = 0; at < m_hashes.size() && statement == nullptr; ++at) {
    if (m_hashes[at] == hash && m_statements[at]->key == key) statement = m_statements[at].get();
  }
  if (statement == nullptr) {
    if (!seenBefore(hash)) return nullptr;
    statement = &add(key, hash);
  }
  if (statement->generation != m_executor.schemaMark()) {
    if (!statement->name.empty()) m_dropped.push_back(std::exchange(statement->name, {}));
    statement->state = PostgresStatement::State::New;
    statement->generation = m_executor.schemaMark();
  }
  statement->lastUse = ++m_clock;
  return statement;
}

bool PostgresStatements::seenBefore(std::size_t hash) noexcept {
  if (std::find(m_seen.begin(), m_seen.end(), hash) != m_seen.end()) return true;
  m_seen[m_nextSeen] = hash;
  m_nextSeen = (m_nextSeen + 1) % m_seen.size();
  return false;
}

PostgresStatement& PostgresStatements::add(std::string_view key, std::size_t hash) {
  std::size_t at = m_statements.size();
  if (at < m_capacity) {
    m_hashes.reserve(at + 1);
    m_statements.push_back(std::make_unique<PostgresStatement>());
    m_hashes.push_back(hash);
  } else {
    const auto oldest =
        std::min_element(m_statements.begin(), m_statements.end(),
                         [](const auto& one, const auto& other) { return one->lastUse < other->lastUse; });
    at = static_cast<std::size_t>(oldest - m_statements.begin());
    if (!(*oldest)->name.empty()) m_dropped.push_back((*oldest)->name);
    *oldest = std::make_unique<PostgresStatement>();
    m_hashes[at] = hash;
  }
  PostgresStatement& statement = *m_statements[at];
  statement.key = key;
  statement.hash = hash;
  statement.generation = m_executor.schemaMark();
  return statement;
}

const std::string& PostgresStatements::prefix() {
  if (m_prefix.empty()) {
    std::random_device random;
    m_prefix = "vorn_";
    for (int byte = 0; byte < 12; ++byte)
      ascii::appendHex(m_prefix, "", static_cast<char>(random()), "0123456789abcdef");
    m_prefix += '_';
  }
  return m_prefix;
}

std::string PostgresStatements::nextName() {
  return prefix() + std::to_string(++m_names);
}

const std::string& PostgresStatements::savepoint() {
  if (m_savepoint.empty()) m_savepoint = prefix() + "savepoint";
  return m_savepoint;
}

const std::string& PostgresStatements::guardText() {
  if (m_guardText.empty()) m_guardText = "savepoint " + savepoint();
  return m_guardText;
}

ExecResult PostgresStatements::prepare(PostgresStatement& statement, const std::string& text,
                                       const std::vector<Oid>& types, const std::string& columns) {
  PostgresChannel& channel = m_executor.channel();
  ExecResult result = m_executor.makeReady();
  if (result.succeeded()) result = channel.beginPipeline();
  if (!result.succeeded()) return result;
  if (!statement.name.empty()) m_dropped.push_back(std::move(statement.name));
  statement.name = nextName();
  statement.state = PostgresStatement::State::Refused;
  m_interrupted = false;
  statement.parameters.clear();
  statement.columns.clear();
  statement.targets.clear();
  const bool nested = m_executor.inTransaction();
  if (!sendPreparation(statement, text, types, columns, nested)) {
    channel.setBroken();
    return channel.lost();
  }
  result = channel.sendPipeline(m_questions.size());
  if (!result.succeeded()) return result;
  result = receivePreparation(statement);
  if (nested && !channel.broken() && !m_interrupted) {
    ExecResult undone = undoInTransaction();
    if (result.succeeded()) result = std::move(undone);
  }
  if (result.succeeded()) statement.state = PostgresStatement::State::Prepared;
  return result;
}

bool PostgresStatements::sendPreparation(const PostgresStatement& statement, const std::string& text,
                                         const std::vector<Oid>& types, const std::string& columns,
                                         bool nested) {
  PGconn* const handle = m_executor.channel().handle();
  const char* const name = statement.name.c_str();
  m_questions.clear();
  if (nested && !sendText(kSavepoint)) return false;
  m_questions.insert(m_questions.end(), {Question::Prepare, Question::Describe});
  if (PQsendPrepare(handle, name, text.c_str(), static_cast<int>(types.size()),
                    types.empty() ? nullptr : types.data()) != 1 ||
      PQsendDescribePrepared(handle, name) != 1) {
    return false;
  }
  if (!columns.empty()) {
    m_questions.insert(m_questions.end(), {Question::Prepare, Question::DescribeColumns});
    if (PQsendPrepare(handle, "", columns.c_str(), 0, nullptr) != 1 ||
        PQsendDescribePrepared(handle, "") != 1) {
      return false;
    }
  }
  if (m_isDirect && !m_hasGuard && !sendGuard()) return false;
  for (std::size_t drops = 0; drops < kDropsAtOnce && !m_dropped.empty(); ++drops) {
    if (!sendText("deallocate " + m_dropped.back())) return false;
    m_dropped.pop_back();
  }
  return !nested || sendText(kRelease);
}

// Behind a pooler the guard may be unknown to the server of the next transaction, and its failure would cost
// that transaction.
bool PostgresStatements::sendGuard() {
  m_guard = nextName();
  m_questions.push_back(Question::PrepareGuard);
  if (PQsendPrepare(m_executor.channel().handle(), m_guard.c_str(), guardText().c_str(), 0, nullptr) != 1)
    return false;
  if (!sendText("select pg_catalog.pg_backend_pid()")) return false;
  m_questions.back() = Question::AskServer;
  return true;
}

bool PostgresStatements::sendText(const std::string& text) {
  m_questions.push_back(Question::Other);
  return PQsendQueryParams(m_executor.channel().handle(), text.c_str(), 0, nullptr, nullptr, nullptr, nullptr,
                           0) == 1;
}

ExecResult PostgresStatements::receivePreparation(PostgresStatement& statement) {
  PostgresChannel& channel = m_executor.channel();
  ExecResult outcome;
  PostgresResult answer;
  for (const Question question : m_questions) {
    for (;;) {
      if (!channel.next(answer)) return channel.lost();
      if (!answer) break;
      ExecResult step = receiveAnswer(statement, question, answer.get());
      if (outcome.succeeded()) outcome = std::move(step);
    }
  }
  ExecResult ended = channel.endPipeline();
  return outcome.succeeded() ? ended : outcome;
}

ExecResult PostgresStatements::receiveAnswer(PostgresStatement& statement, Question question,
                                             const PGresult* answer) {
  if (!isAnswered(answer)) {
    m_interrupted = m_interrupted || isInterruption(answer);
    // A statement to be dropped may be unknown, and the guard can be done without.
    const bool matters = question == Question::Prepare || question == Question::Describe ||
                         question == Question::DescribeColumns || m_interrupted;
    if (!matters) return {};
    if (!isLasting(answer)) statement.state = PostgresStatement::State::New;
    return postgresFailure(answer, m_executor.channel().handle());
  }
  switch (question) {
    case Question::Describe:
      statement.returnsRows = PQnfields(answer) > 0;
      for (int at = 0; at < PQnparams(answer); ++at) statement.parameters.push_back(PQparamtype(answer, at));
      break;
    case Question::DescribeColumns:
      for (int at = 0; at < PQnfields(answer); ++at)
        statement.columns.push_back({PQftype(answer, at), PQfmod(answer, at)});
      break;
    case Question::AskServer:
      m_hasGuard = m_isDirect =
          std::strtol(PQgetvalue(answer, 0, 0), nullptr, 10) == PQbackendPID(m_executor.channel().handle());
      break;
    default:
      break;
  }
  return {};
}

// A failure on the way has failed the transaction.
ExecResult PostgresStatements::undoInTransaction() {
  PostgresChannel& channel = m_executor.channel();
  if (PQtransactionStatus(channel.handle()) != PQTRANS_INERROR) return {};
  ExecResult result = channel.askSimple(kUndo);
  if (result.succeeded()) result = m_executor.finish();
  if (!result.succeeded()) channel.setBroken();
  return result;
}

bool PostgresStatements::isProven(const PostgresStatement& statement) const noexcept {
  return m_executor.inTransaction() && statement.transaction == m_executor.transactionMark();
}

void PostgresStatements::setProven(PostgresStatement& statement) noexcept {
  statement.transaction = m_executor.transactionMark();
}

void PostgresStatements::setStale(PostgresStatement& statement, bool unknown) noexcept {
  statement.state = PostgresStatement::State::New;
  if (!unknown) return;
  statement.name.clear();
  m_allowed->store(false, std::memory_order_relaxed);
}

void PostgresStatements::clear() noexcept {
  m_hashes.clear();
  m_statements.clear();
  m_dropped.clear();
  m_hasGuard = false;
  std::fill(m_seen.begin(), m_seen.end(), std::size_t{0});
}

}  // namespace vorn
