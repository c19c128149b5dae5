#include "vorn/selector.h"

#include <utility>

#include "criteria/text_access.h"
#include "statement/EscapedText.h"
#include "statement/concatenate.h"
#include "statement/keywords.h"
#include "statement/number_text.h"

namespace keyword = vorn::keyword;

namespace {

std::string_view compoundFragment(ENUM_COMPOUND_OP op) {
  switch (op) {
    case COMPOUND_UNION_ALL:
      return " UNION ALL ";
    case COMPOUND_INTERSECT:
      return " INTERSECT ";
    case COMPOUND_EXCEPT:
      return " EXCEPT ";
    case COMPOUND_UNION:
      break;
  }
  return " UNION ";
}

void appendColumn(std::string& columns, const std::string& column) {
  if (!columns.empty()) columns += ',';
  vorn::appendPieces(columns, vorn::EscapedText(column));
}

vorn::FormatFailure limitFailure(int line) {
  return {"CVORNSelector::limit.snprintf_s failed", {"CVORNSelector", "limit", line}};
}

}  // namespace

CVORNSelector::CVORNSelector() = default;

CVORNSelector::~CVORNSelector() = default;

CVORNTable CVORNSelector::table(const std::string& name) {
  CVORNTable table(name);
  constructAttachAndDetachSQL(table);
  return table;
}

void CVORNSelector::select(const std::string& column) {
  appendColumn(m_columns, column);
}

void CVORNSelector::select(const CVORNColumn& column) {
  appendColumn(m_columns, column.toString());
}

CVORNSelector& CVORNSelector::operator<<(const CVORNCriterionItem& item) {
  appendColumn(m_columns, item.toString());
  return *this;
}

void CVORNSelector::distinct() {
  m_distinct = keyword::kDistinct;
}

void CVORNSelector::orderBy(const std::string& column, bool ascending) {
  vorn::appendPieces(m_orderBy, ",", vorn::EscapedText(column),
                     ascending ? std::string_view() : keyword::kDescending);
}

void CVORNSelector::orderBy(const CVORNColumn& column, bool ascending) {
  orderBy(column.toString(), ascending);
}

void CVORNSelector::where(const CVORNCriterion& condition) {
  m_where = vorn::concatenate(keyword::kWhere, vorn::TextAccess::of(condition));
}

void CVORNSelector::limit(unsigned int count, unsigned int offset) {
  // One buffer for both: where the offset cannot be formatted, its text is what the buffer still holds.
  vorn::NumberBuffer buffer;
  // The log names the place of each number by these lines.
  std::string limit =
      vorn::concatenateWithRoom(vorn::formatNumber(buffer, "%u", count, limitFailure(158)), keyword::kOffset);
  limit += vorn::formatNumber(buffer, "%u", offset, limitFailure(164));
  m_limit = std::move(limit);
}

void CVORNSelector::compound(const CVORNSelector& other, ENUM_COMPOUND_OP op) {
  m_compound = vorn::concatenate(compoundFragment(op), other.toString());
}

std::string CVORNSelector::toString() const {
  const std::string_view columns = m_columns.empty() ? keyword::kAllColumns : m_columns;
  // The sort keys and the limit are kept without their keywords, so that most of them need no allocation.
  std::string_view orderBy;
  std::string_view sortKeys;
  if (!m_orderBy.empty()) {
    orderBy = keyword::kOrderBy;
    sortKeys = std::string_view(m_orderBy).substr(1);
  }
  return vorn::concatenate(m_attachSQL, keyword::kSelect, m_distinct, columns, keyword::kFrom, m_tableList,
                           m_where, m_compound, orderBy, sortKeys, m_limit.empty() ? "" : keyword::kLimit,
                           m_limit, m_detachSQL);
}

void CVORNSelector::clear() {
  for (std::string* clause :
       {&m_columns, &m_orderBy, &m_where, &m_distinct, &m_attachSQL, &m_detachSQL, &m_limit, &m_compound}) {
    clause->clear();
  }
}
