#include "vorn/dropper.h"

#include "statement/concatenate.h"
#include "statement/keywords.h"

namespace keyword = vorn::keyword;

CVORNDroper::CVORNDroper() = default;

CVORNDroper::~CVORNDroper() = default;

CVORNTable CVORNDroper::table(const std::string& name) {
  return CVORNBase::table(name);
}

CVORNTable CVORNDroper::view(const std::string& name) {
  m_isTable = false;
  return CVORNBase::table(name);
}

void CVORNDroper::database(const std::string& name) {
  m_database = name;
}

void CVORNDroper::index(const std::string& name) {
  m_index = name;
}

std::string CVORNDroper::toString() const {
  const std::string_view kind = m_isTable ? keyword::kTable : keyword::kView;
  // The database stands before the kind of the object, not before its name.
  return vorn::concatenate(keyword::kDrop, m_database, m_database.empty() ? "" : ".",
                           m_table.empty() ? std::string_view() : kind, m_table);
}

void CVORNDroper::clear() {
  CVORNBase::clear();
  m_database.clear();
  m_index.clear();
}
