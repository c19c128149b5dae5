#include "template_store/TemplateBatch.h"

#include <algorithm>
#include <limits>

#include "exec/adapters/store/BatchScope.h"
#include "exec/adapters/store/BatchText.h"
#include "template_store/TemplateDialect.h"

namespace vorn {

namespace {

// Whether the engine would have to alter a value to keep it.
bool isMisfit(unsigned long value) {
  return value > std::numeric_limits<std::int64_t>::max();
}
bool isMisfit(const auto&) {
  return false;
}

scripted::Value engineValue(const std::string& text) {
  return text;
}
scripted::Value engineValue(long value) {
  return static_cast<std::int64_t>(value);
}
scripted::Value engineValue(unsigned long value) {
  return static_cast<std::int64_t>(value);
}
scripted::Value engineValue(double value) {
  return value;
}

}  // namespace

TemplateBatch::TemplateBatch(StoreConnection& connection, TemplateDatabase& database,
                             const BatchColumns& columns)
    : m_connection(connection), m_database(database), m_columns(columns) {}

ExecResult TemplateBatch::run(const std::string& sql, std::uint64_t& rows) {
  ExecResult result = checkValues();
  if (!result.succeeded()) return result;
  BatchScope scope(m_connection);
  result = scope.open();
  // What close() undoes must not be held by a statement of ours: it is gone by then.
  return result.succeeded() ? scope.close(runRowByRow(sql, rows), rows) : result;
}

// A value is stored exactly or the batch is refused, before anything runs.
ExecResult TemplateBatch::checkValues() const {
  for (const BatchColumn& column : m_columns) {
    const bool fits = column.visit([this](const auto* elements) {
      return std::none_of(elements, elements + m_columns.rows(),
                          [](const auto& element) { return isMisfit(element); });
    });
    if (!fits) {
      return makeFailure(Failure::ValueOutOfRange,
                         "column '" + *column.name + "' has a value above the store's largest integer");
    }
  }
  return {};
}

ExecResult TemplateBatch::runRowByRow(const std::string& sql, std::uint64_t& rows) {
  std::string numbered;
  TemplateStatement statement;
  ExecResult result = numberPlaceholders(sql, m_columns, kTemplateDialect, numbered);
  if (result.succeeded()) result = m_database.prepare(numbered, statement);
  for (std::size_t row = 0; row < m_columns.rows() && result.succeeded(); ++row) {
    std::size_t number = 0;
    for (const BatchColumn& column : m_columns) {
      column.visit([&](const auto* elements) { statement->bind(++number, engineValue(elements[row])); });
    }
    result = m_database.runToEnd(statement, rows);
  }
  m_database.finish(std::move(statement));
  return result;
}

}  // namespace vorn
