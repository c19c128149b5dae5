#include "vorn/statement.h"

CVORNsqlstr::CVORNsqlstr() = default;

CVORNsqlstr::~CVORNsqlstr() = default;

void CVORNsqlstr::assign(const std::string& sql) {
  m_sql = sql;
}

CVORNTable CVORNsqlstr::table(const std::string& name) {
  CVORNTable table(name);
  constructAttachAndDetachSQL(table);
  return table;
}

std::string CVORNsqlstr::toString() const {
  return m_sql;
}

void CVORNsqlstr::clear() {
  m_sql.clear();
}

void CVORNsqlstr::where(const CVORNCriterion& /*condition*/) {}
