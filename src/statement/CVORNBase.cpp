#include "vorn/statement.h"

#include "statement/concatenate.h"

CVORNBase::~CVORNBase() = default;

CVORNTable CVORNBase::table(const std::string& name) {
  m_table = name;
  return CVORNTable(name);
}

std::string CVORNBase::toString() const {
  return {};
}

void CVORNBase::clear() {
  m_table.clear();
}

void CVORNBase::constructAttachAndDetachSQL(const CVORNTable& table) {
  // Nothing fills these two; the builders that render a table list still emit them.
  m_attachSQL.clear();
  m_detachSQL.clear();

  const std::string& name = table.m_tableName;
  if (m_tableList.empty()) {
    m_tableList = name;
  } else if (m_tableList.find(name) == std::string::npos) {
    vorn::appendPieces(m_tableList, ",", name);
  }
}
