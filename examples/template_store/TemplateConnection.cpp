#include "template_store/TemplateConnection.h"

#include <utility>

#include "template_store/TemplateBatch.h"
#include "template_store/TemplateCursor.h"
#include "template_store/TemplateDialect.h"

namespace vorn {

TemplateConnection::TemplateConnection(std::unique_ptr<scripted::Session> session)
    : m_database(std::move(session)) {}

ExecResult TemplateConnection::open(const TemplateSettings& settings,
                                    std::shared_ptr<scripted::Database> shared,
                                    std::unique_ptr<StoreConnection>& connection) {
  auto session = std::make_unique<scripted::Session>(std::move(shared), settings.mode == "read");
  connection.reset(new TemplateConnection(std::move(session)));
  return {};
}

// No round trip: what the client library knows by itself, such as a socket that has something to read while
// nothing was asked.
const SqlDialect& TemplateConnection::dialect() const noexcept {
  return kTemplateDialect;
}

bool TemplateConnection::usable() noexcept {
  return m_database.usable();
}

bool TemplateConnection::inTransaction() const noexcept {
  return m_database.inTransaction();
}

// Closing is always right, and a reset that costs less is better.
bool TemplateConnection::renew() noexcept {
  return !m_database.sessionChanged();
}

void TemplateConnection::giveUp() noexcept {
  m_database.giveUp();
}

void TemplateConnection::drainCursors() noexcept {
  m_database.drainCursor();
}

ExecResult TemplateConnection::begin() {
  return run("begin");
}

ExecResult TemplateConnection::commit() {
  return run("commit");
}

ExecResult TemplateConnection::rollback() {
  return run("rollback");
}

ExecResult TemplateConnection::run(const char* statement) {
  std::uint64_t ignored = 0;
  return runToEnd(statement, ignored);
}

// An engine whose writes can return rows is read to the end here: such a write has succeeded only when its
// last row was seen.
ExecResult TemplateConnection::read(const StatementShape& shape, std::unique_ptr<StoreCursor>& cursor) {
  TemplateStatement statement;
  ExecResult result = m_database.prepare(shape.sql(), statement);
  if (!result.succeeded()) return result;
  auto opened = std::make_unique<TemplateCursor>(m_database, std::move(statement));
  result = opened->start();
  if (result.succeeded()) cursor = std::move(opened);
  return result;
}

// An engine whose parameters mean what literals mean may prepare shape.statement() once for all texts that
// are liftable, and bind shape.literals().
ExecResult TemplateConnection::write(const StatementShape& shape, std::uint64_t& rows) {
  return runToEnd(shape.sql(), rows);
}

ExecResult TemplateConnection::runToEnd(const std::string& sql, std::uint64_t& rows) {
  TemplateStatement statement;
  ExecResult result = m_database.prepare(sql, statement);
  if (result.succeeded()) result = m_database.runToEnd(statement, rows);
  m_database.finish(std::move(statement));
  return result;
}

ExecResult TemplateConnection::batch(const std::string& sql, const BatchColumns& columns,
                                     std::uint64_t& rows) {
  return TemplateBatch(*this, m_database, columns).run(sql, rows);
}

}  // namespace vorn
