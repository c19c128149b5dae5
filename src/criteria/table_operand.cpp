#include "vorn/criteria.h"

#include "vorn/platform/text.h"

CVORNCriterionItem CVORNTable::operator[](const std::string& columnName) const {
  // Without a table the column is dropped too.
  if (m_tableName.empty()) return {};
  const std::string column = vorn::escapeSingleQuotes(columnName);
  std::string text;
  text.reserve(m_tableName.size() + 1 + column.size());
  text.append(m_tableName).append(1, '.').append(column);
  return text;
}
