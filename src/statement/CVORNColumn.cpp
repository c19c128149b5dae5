#include "vorn/statement.h"

#include "statement/concatenate.h"

CVORNColumn::CVORNColumn(const std::string& tableName, const std::string& columnName)
    : m_tableName(tableName), m_columnName(columnName) {}

std::string CVORNColumn::getTableName() const {
  return m_tableName;
}

std::string CVORNColumn::getColumnName() const {
  // A column without a table has no suffix in a qualified name.
  if (m_tableName.empty()) return {};
  return vorn::concatenate(".", m_columnName);
}

std::string CVORNColumn::toString() const {
  if (m_tableName.empty()) return {};
  return vorn::concatenate(m_tableName, ".", m_columnName);
}
