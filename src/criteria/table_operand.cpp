#include "vorn/statement.h"

#include "statement/concatenate.h"
#include "vorn/platform/text.h"

CVORNCriterionItem CVORNTable::operator[](const std::string& columnName) const {
  // Without a table the column is dropped too.
  if (m_tableName.empty()) return {};
  return vorn::concatenate(m_tableName, ".", vorn::escapeSingleQuotes(columnName));
}
