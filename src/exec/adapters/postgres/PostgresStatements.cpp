#include "exec/adapters/postgres/PostgresStatements.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <random>
#include <utility>

#include "common/ascii.h"
#include "exec/adapters/postgres/PostgresPipeline.h"
#include "exec/adapters/postgres/assignment_targets.h"

namespace vorn {

namespace {

constexpr std::size_t kSeen = 128;

// How many dropped statements one preparation takes along.
constexpr std::size_t kDropsAtOnce = 8;

constexpr char kSavepoint[] = "savepoint vorn_prepare";
constexpr char kRelease[] = "release savepoint vorn_prepare";
constexpr char kUndo[] = "rollback to savepoint vorn_prepare; release savepoint vorn_prepare";

bool failedWithAny(const PostgresPipeline& pipeline, std::initializer_list<const char*> states) {
  return std::any_of(states.begin(), states.end(),
                     [&pipeline](const char* state) { return pipeline.failedWith(state); });
}

// Whether a failure has nothing to do with the statement: a cancel or shutdown, a lock, a conflict, a lack of
// resources.
bool isInterruption(const PostgresPipeline& pipeline) {
  return failedWithAny(pipeline, {"57", "55P03", "40", "53", "58", "XX"});
}

// Whether the server will say the same the next time.
bool isLasting(const PostgresPipeline& pipeline) {
  return failedWithAny(pipeline, {"42", "0A"});
}

}  // namespace

PostgresStatements::PostgresStatements(PostgresExecutor& executor, PostgresWriteEffects& effects,
                                       std::size_t capacity, std::shared_ptr<std::atomic<bool>> allowed)
    : m_executor(executor),
      m_effects(effects),
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
                                       const std::vector<Oid>& types, const std::string& columns,
                                       const std::string& table) {
  using Effect = PostgresWriteEffects::Effect;
  m_interrupted = false;
  PostgresPipeline pipeline(m_executor);
  ExecResult result = pipeline.begin();
  if (!result.succeeded()) return result;
  if (!statement.name.empty()) m_dropped.push_back(std::move(statement.name));
  statement.name = nextName();
  statement.state = PostgresStatement::State::Refused;
  statement.parameters.clear();
  statement.columns.clear();
  statement.targets.clear();
  const bool nested = m_executor.inTransaction();
  if (nested) pipeline.ask(kSavepoint);
  const std::size_t describeAt = pipeline.askToDescribe(text, statement.name, types);
  const std::size_t columnsAt =
      columns.empty() ? PostgresPipeline::kNotAsked : pipeline.askToDescribe(columns);
  const bool knowsEffect = table.empty() || m_effects.of(table) != Effect::Unknown;
  const std::size_t effectAt =
      knowsEffect ? PostgresPipeline::kNotAsked : PostgresWriteEffects::ask(pipeline, table);
  // What comes after this can be done without: a statement to be dropped may be unknown.
  const std::size_t needed = pipeline.questions();
  const std::size_t serverAt =
      m_guardLasts && !m_hasGuard ? askForGuard(pipeline) : PostgresPipeline::kNotAsked;
  const std::size_t dropsAt = pipeline.questions();
  const std::size_t drops = askToDrop(pipeline);
  const auto isDrop = [&](std::size_t question) { return question >= dropsAt && question < dropsAt + drops; };
  if (nested) pipeline.ask(kRelease);
  result = pipeline.end([&](std::size_t question, const PGresult* answer) {
    if (isDrop(question)) m_dropped.pop_back();
    if (question == describeAt) {
      statement.returnsRows = PQnfields(answer) > 0;
      for (int at = 0; at < PQnparams(answer); ++at) statement.parameters.push_back(PQparamtype(answer, at));
    } else if (question == columnsAt) {
      for (int at = 0; at < PQnfields(answer); ++at)
        statement.columns.push_back({PQftype(answer, at), PQfmod(answer, at)});
    } else if (question == effectAt) {
      m_effects.take(table, answer);
    } else if (question == serverAt) {
      noteServer(answer);
    }
  });
  if (!result.succeeded()) {
    if (pipeline.failedAt() < describeAt) statement.name.clear();
    if (isDrop(pipeline.failedAt()) && pipeline.failedWith("26")) m_dropped.pop_back();
    m_interrupted = isInterruption(pipeline);
    const bool matters = m_interrupted || pipeline.failedAt() < needed || m_executor.channel().broken();
    if (!matters) result = {};
    if (matters && !isLasting(pipeline)) statement.state = PostgresStatement::State::New;
    if (nested) result = undoInTransaction(pipeline, std::move(result));
  }
  if (!result.succeeded()) return result;
  const Effect effect = table.empty() ? Effect::Plain : m_effects.of(table);
  statement.hidden = effect != Effect::Plain;
  if (effect != Effect::Rewritten) statement.state = PostgresStatement::State::Prepared;
  return result;
}

// Behind a pooler the guard may be unknown to the server of the next transaction, and its failure would cost
// that transaction.
std::size_t PostgresStatements::askForGuard(PostgresPipeline& pipeline) {
  m_guard = nextName();
  pipeline.askToPrepare(guardText(), m_guard);
  return pipeline.ask("select pg_catalog.pg_backend_pid()");
}

void PostgresStatements::noteServer(const PGresult* answer) {
  m_hasGuard = m_guardLasts =
      std::strtol(PQgetvalue(answer, 0, 0), nullptr, 10) == PQbackendPID(m_executor.channel().handle());
}

// The names stay until the server has answered, the last one first: it passes over what follows a failure.
// @return how many it asks for
std::size_t PostgresStatements::askToDrop(PostgresPipeline& pipeline) {
  const std::size_t drops = std::min(kDropsAtOnce, m_dropped.size());
  for (std::size_t drop = 1; drop <= drops; ++drop)
    pipeline.ask("deallocate " + m_dropped[m_dropped.size() - drop]);
  return drops;
}

ExecResult PostgresStatements::findPlain(const std::string& sql, bool& plain) {
  using Effect = PostgresWriteEffects::Effect;
  plain = false;
  const bool open = PQtransactionStatus(m_executor.channel().handle()) == PQTRANS_INTRANS;
  if (!open || m_provenMark != m_executor.transactionMark() || m_executor.textChangedSession()) return {};
  const std::string table = writtenTable(sql);
  if (table.empty()) return {};
  ExecResult result;
  if (m_effects.of(table) == Effect::Unknown) result = findEffect(table);
  plain = isPlain(table);
  return result;
}

ExecResult PostgresStatements::findEffect(const std::string& table) {
  m_interrupted = false;
  m_effects.take(table, nullptr);
  PostgresPipeline pipeline(m_executor);
  ExecResult result = pipeline.begin();
  if (!result.succeeded()) return result;
  pipeline.ask(kSavepoint);
  const std::size_t effectAt = PostgresWriteEffects::ask(pipeline, table);
  pipeline.ask(kRelease);
  result = pipeline.end([&](std::size_t question, const PGresult* answer) {
    if (question == effectAt) m_effects.take(table, answer);
  });
  if (result.succeeded()) return result;
  m_interrupted = isInterruption(pipeline);
  result = undoInTransaction(pipeline, std::move(result));
  return m_interrupted || m_executor.channel().broken() ? result : ExecResult();
}

// A failure on the way has failed the transaction, which is mended unless it was interrupted. Where the
// savepoint, which is asked first, was refused, the transaction had failed before.
// @param outcome  so far. @return the outcome
ExecResult PostgresStatements::undoInTransaction(const PostgresPipeline& pipeline, ExecResult outcome) {
  PostgresChannel& channel = m_executor.channel();
  if (pipeline.failedAt() == 0 || channel.broken() || m_interrupted ||
      PQtransactionStatus(channel.handle()) != PQTRANS_INERROR)
    return outcome;
  ExecResult undone = channel.askSimple(kUndo);
  if (undone.succeeded()) undone = m_executor.finish();
  if (!undone.succeeded()) channel.setBroken();
  return outcome.succeeded() ? undone : outcome;
}

bool PostgresStatements::isProven(const PostgresStatement& statement) const noexcept {
  return m_executor.inTransaction() && statement.transaction == m_executor.transactionMark();
}

void PostgresStatements::setProven(PostgresStatement& statement) noexcept {
  statement.transaction = m_provenMark = m_executor.transactionMark();
}

void PostgresStatements::noteSuccess(PostgresStatement& statement) noexcept {
  if (!statement.hidden) return setProven(statement);
  m_executor.noteHidden();
  m_hasGuard = m_guardLasts = false;
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
