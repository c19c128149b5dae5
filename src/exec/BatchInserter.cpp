#include "vorn/batch_inserter.h"

#include <utility>

#include "common/joined.h"
#include "common/log_line.h"
#include "statement/concatenate.h"
#include "statement/keywords.h"
#include "vorn/platform/logging.h"
#include "vorn/platform/text.h"

BatchInserter::BatchInserter() = default;

BatchInserter::~BatchInserter() = default;

BatchInserter& BatchInserter::operator=(const BatchInserter& other) {
  if (this == &other) return *this;
  BatchInserter copy(other);
  m_table.swap(copy.m_table);
  m_attachSQL.swap(copy.m_attachSQL);
  m_detachSQL.swap(copy.m_detachSQL);
  m_tableList.swap(copy.m_tableList);
  m_curColumn.swap(copy.m_curColumn);
  m_paramMap.swap(copy.m_paramMap);
  m_current.column = nullptr;
  return *this;
}

CVORNTable BatchInserter::table(const std::string& name) {
  return CVORNBase::table(name);
}

void BatchInserter::clear() {
  m_curColumn.clear();
  m_paramMap.clear();
  m_current.column = nullptr;
}

BatchInserter& BatchInserter::operator[](const std::string& column) {
  m_curColumn = vorn::escapeSingleQuotes(column);
  m_current.column = nullptr;
  return *this;
}

void BatchInserter::GetParam(std::map<std::string, BaseTypeVector>& out) const {
  out = m_paramMap;
}

std::string BatchInserter::toString() const {
  std::string columns = vorn::concatenate(vorn::keyword::kInsertInto, m_table, " (");
  std::string placeholders = vorn::concatenate(")", vorn::keyword::kValues);
  vorn::appendJoined(columns, m_paramMap, ", ",
                     [](std::string& text, const auto& entry) { text += entry.first; });
  vorn::appendJoined(placeholders, m_paramMap, ", ", [](std::string& text, const auto& entry) {
    text.append("{").append(entry.first).append("}");
  });
  return columns + placeholders + ")";
}

template <typename Element, typename Value>
BatchInserter& BatchInserter::append(BaseTypeVector::Type type, std::vector<Element> BaseTypeVector::*values,
                                     const Value& value, int line) {
  if (m_current.column == nullptr) {
    const auto entry = m_paramMap.lower_bound(m_curColumn);
    if (entry == m_paramMap.end() || entry->first != m_curColumn) {
      BaseTypeVector column;
      column.m_type = type;
      (column.*values).emplace_back(value);
      m_current.column = &m_paramMap.emplace_hint(entry, m_curColumn, std::move(column))->second;
      return *this;
    }
    m_current.column = &entry->second;
  }
  if (m_current.column->m_type == type) {
    (m_current.column->*values).emplace_back(value);
  } else {
    vorn::Logger::error(type, vorn::taggedLine("typeName is error."), {"BatchInserter", "operator<<", line});
  }
  return *this;
}

BatchInserter& BatchInserter::operator<<(const bool& value) {
  return append(BaseTypeVector::Signed, &BaseTypeVector::m_longVec, value, 58);
}

BatchInserter& BatchInserter::operator<<(const std::string& value) {
  return append(BaseTypeVector::String, &BaseTypeVector::m_strVec, value, 70);
}

BatchInserter& BatchInserter::operator<<(const short& value) {
  return append(BaseTypeVector::Signed, &BaseTypeVector::m_longVec, value, 82);
}

BatchInserter& BatchInserter::operator<<(const unsigned short& value) {
  return append(BaseTypeVector::Unsigned, &BaseTypeVector::m_ulongVec, value, 94);
}

BatchInserter& BatchInserter::operator<<(const int& value) {
  return append(BaseTypeVector::Signed, &BaseTypeVector::m_longVec, value, 106);
}

BatchInserter& BatchInserter::operator<<(const unsigned int& value) {
  return append(BaseTypeVector::Unsigned, &BaseTypeVector::m_ulongVec, value, 118);
}

BatchInserter& BatchInserter::operator<<(const long& value) {
  return append(BaseTypeVector::Signed, &BaseTypeVector::m_longVec, value, 130);
}

BatchInserter& BatchInserter::operator<<(const unsigned long& value) {
  return append(BaseTypeVector::Unsigned, &BaseTypeVector::m_ulongVec, value, 142);
}

BatchInserter& BatchInserter::operator<<(const float& value) {
  return append(BaseTypeVector::Float, &BaseTypeVector::m_floatVec, value, 154);
}

BatchInserter& BatchInserter::operator<<(const double& value) {
  return append(BaseTypeVector::Double, &BaseTypeVector::m_doubleVec, value, 166);
}
