#include "vorn/deleter.h"

#include "criteria/text_access.h"
#include "statement/concatenate.h"
#include "statement/keywords.h"

namespace keyword = vorn::keyword;

CVORNDeleter::CVORNDeleter() = default;

CVORNDeleter::~CVORNDeleter() = default;

CVORNTable CVORNDeleter::table(const std::string& name) {
  m_tableList.clear();
  CVORNTable table(name);
  constructAttachAndDetachSQL(table);
  return table;
}

void CVORNDeleter::where(const CVORNCriterion& condition) {
  m_where = vorn::concatenate(keyword::kWhere, vorn::TextAccess::of(condition));
}

std::string CVORNDeleter::toString() const {
  return vorn::concatenate(m_attachSQL, keyword::kDeleteFrom, m_tableList, m_where, m_detachSQL);
}

void CVORNDeleter::clear() {
  m_where.clear();
  m_attachSQL.clear();
  m_detachSQL.clear();
}
