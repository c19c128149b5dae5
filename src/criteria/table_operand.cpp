#include "vorn/statement.h"

#include "criteria/text_access.h"
#include "statement/EscapedText.h"
#include "statement/concatenate.h"

CVORNCriterionItem CVORNTable::operator[](const std::string& columnName) const {
  // Without a table the column is dropped too.
  CVORNCriterionItem operand;
  if (!m_tableName.empty()) {
    vorn::appendPieces(vorn::TextAccess::of(operand), m_tableName, ".", vorn::EscapedText(columnName));
  }
  return operand;
}
