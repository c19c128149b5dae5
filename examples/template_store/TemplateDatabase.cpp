#include "template_store/TemplateDatabase.h"

#include <utility>

#include "common/ascii.h"
#include "exec/adapters/sql/SqlScanner.h"
#include "template_store/TemplateDialect.h"

namespace vorn {

namespace {

constexpr std::size_t kCachedStatements = 16;

// One statement a call is the layer's promise, which keeps text that breaks out of a literal from doing more.
// An engine that says itself where the statement ended, or refuses a second one, needs no scan.
ExecResult checkOneStatement(const std::string& sql) {
  const SqlScanner scanner(sql, kTemplateDialect);
  bool begun = false;
  bool ended = false;
  for (std::size_t at = 0; at < sql.size();) {
    const std::size_t end = scanner.opaqueEnd(at);
    const bool comment = end > at && (sql[at] == '-' || sql[at] == '/');
    if (sql[at] == ';') {
      ended = begun;
    } else if (!comment && !ascii::isBlank(sql[at])) {
      begun = true;
      if (ended) {
        return makeFailure(Failure::MultipleStatements,
                           "the text goes on after its first statement; nothing was run");
      }
    }
    at = end > at ? end : at + 1;
  }
  return begun ? ExecResult() : makeFailure(Failure::EmptyStatement, "the text holds no statement");
}

}  // namespace

TemplateDatabase::TemplateDatabase(std::unique_ptr<scripted::Session> session)
    : m_session(std::move(session)), m_cache(kCachedStatements) {}

TemplateDatabase::~TemplateDatabase() {
  giveUp();
}

void TemplateDatabase::giveUp() noexcept {
  if (m_cursor != nullptr) std::exchange(m_cursor, nullptr)->detach();
  m_cache.clear();
  m_session.reset();
}

void TemplateDatabase::drainCursor() noexcept {
  if (m_cursor != nullptr) static_cast<void>(m_cursor->drain());  // the cursor keeps its failure
}

ExecResult TemplateDatabase::prepare(const std::string& sql, TemplateStatement& statement) {
  if (!m_session) return connectionClosed();
  drainCursor();
  const std::size_t hash = std::hash<std::string>{}(sql);
  statement = m_cache.take(sql, hash, false);
  if (!statement.handle) {
    ExecResult result = checkOneStatement(sql);
    if (!result.succeeded()) return result;
    const scripted::Code code = m_session->prepare(sql, statement.handle);
    if (code != scripted::Code::Ok) return failure(code);
    if (sql.size() <= StatementCache<TemplateStatement>::kLongestText) statement.text = sql;
    statement.bytes = sql.size();
    statement.hash = hash;
  }
  m_sessionChanged = m_sessionChanged || statement->changesSession();
  return {};
}

ExecResult TemplateDatabase::runToEnd(TemplateStatement& statement, std::uint64_t& rows) {
  const std::uint64_t before = m_session->changes();
  scripted::Row row;
  scripted::Code code = scripted::Code::Row;
  while (code == scripted::Code::Row) code = statement->step(row);
  statement->reset();
  if (code != scripted::Code::Done) return failure(code);
  rows += m_session->changes() - before;
  return {};
}

void TemplateDatabase::finish(TemplateStatement statement) noexcept {
  if (!statement.handle) return;
  statement->reset();
  m_cache.put(std::move(statement));
}

}  // namespace vorn
