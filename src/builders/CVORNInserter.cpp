#include "vorn/inserter.h"

#include "builders/literal.h"
#include "statement/EscapedText.h"
#include "statement/concatenate.h"
#include "statement/keywords.h"
#include "statement/number_text.h"

namespace keyword = vorn::keyword;

namespace {

void appendSeparator(std::string& values) {
  if (values.empty()) {
    values = keyword::kValues;
  } else {
    values += ',';
  }
}

template <typename Number>
void SetValue(std::string& values, const char* format, Number value) {
  appendSeparator(values);
  vorn::appendNumber(values, format, value,
                     {"CVORNInserter::operator<<.snprintf_s failed", {"CVORNInserter", "SetValue", 33}});
}

}  // namespace

CVORNInserter::CVORNInserter() : m_insertInto(keyword::kInsertInto) {}

CVORNInserter::~CVORNInserter() = default;

CVORNTable CVORNInserter::table(const std::string& name) {
  return CVORNBase::table(name);
}

CVORNInserter& CVORNInserter::operator[](const std::string& column) {
  vorn::appendPieces(m_columns, m_columns.empty() ? std::string_view(" (") : ",", vorn::EscapedText(column));
  return *this;
}

CVORNInserter& CVORNInserter::operator<<(const CVORNNull& /*value*/) {
  appendSeparator(m_values);
  m_values += "NULL";
  return *this;
}

CVORNInserter& CVORNInserter::operator<<(const bool& value) {
  SetValue(m_values, "%d", static_cast<int>(value));
  return *this;
}

CVORNInserter& CVORNInserter::operator<<(const char& value) {
  appendSeparator(m_values);
  vorn::appendLiteral(m_values, "'", value);
  return *this;
}

CVORNInserter& CVORNInserter::operator<<(const char* value) {
  appendSeparator(m_values);
  vorn::appendLiteral(m_values, "'", value);
  return *this;
}

CVORNInserter& CVORNInserter::operator<<(const std::string& value) {
  appendSeparator(m_values);
  vorn::appendLiteral(m_values, "'", value);
  return *this;
}

CVORNInserter& CVORNInserter::operator<<(const short& value) {
  SetValue(m_values, "%d", static_cast<int>(value));
  return *this;
}

CVORNInserter& CVORNInserter::operator<<(const int& value) {
  SetValue(m_values, "%d", value);
  return *this;
}

CVORNInserter& CVORNInserter::operator<<(const unsigned short& value) {
  SetValue(m_values, "%d", static_cast<int>(value));
  return *this;
}

CVORNInserter& CVORNInserter::operator<<(const unsigned int& value) {
  // Written with the signed format, so the upper half comes out negative; the updater does not do so.
  SetValue(m_values, "%d", value > vorn::kHighestUnsigned ? 0 : static_cast<int>(value));
  return *this;
}

CVORNInserter& CVORNInserter::operator<<(const unsigned long& value) {
  SetValue(m_values, "%lu", value > vorn::kHighestUnsigned ? 0UL : value);
  return *this;
}

CVORNInserter& CVORNInserter::operator<<(const long& value) {
  SetValue(m_values, "%ld", value);
  return *this;
}

CVORNInserter& CVORNInserter::operator<<(const float& value) {
  SetValue(m_values, "%f", static_cast<double>(value));
  return *this;
}

CVORNInserter& CVORNInserter::operator<<(const double& value) {
  SetValue(m_values, "%f", value);
  return *this;
}

std::string CVORNInserter::toString() const {
  // The last parenthesis closes the values and stands even where none were given.
  return vorn::concatenate(m_insertInto, m_table, m_columns, m_columns.empty() ? "" : ")", m_values, ")");
}

void CVORNInserter::clear() {
  m_columns.clear();
  m_values.clear();
}
