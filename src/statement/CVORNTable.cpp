#include "vorn/statement.h"

CVORNTable::CVORNTable(const std::string& name) : m_tableName(name) {}

std::string CVORNTable::getTableName() const {
  return m_tableName;
}

CVORNColumn CVORNTable::column(const std::string& columnName) {
  return {m_tableName, columnName};
}
