#include "vorn/updater.h"

#include "builders/literal.h"
#include "criteria/text_access.h"
#include "statement/EscapedText.h"
#include "statement/concatenate.h"
#include "statement/keywords.h"
#include "statement/number_text.h"

namespace keyword = vorn::keyword;

namespace {

// The log names the overload by its line.
template <typename Number>
void assignNumber(std::string& setList, const char* format, Number value, int line) {
  vorn::appendNumber(setList, format, value,
                     {"CVORNUpdater::assign.snprintf_s failed", {"CVORNUpdater", "assign", line}});
}

}  // namespace

CVORNUpdater::CVORNUpdater() : m_update(keyword::kUpdate) {}

CVORNUpdater::~CVORNUpdater() = default;

CVORNTable CVORNUpdater::table(const std::string& name) {
  return CVORNBase::table(name);
}

CVORNUpdater& CVORNUpdater::operator[](const std::string& column) {
  vorn::appendPieces(m_setList, m_setList.empty() ? keyword::kSet : ",", vorn::EscapedText(column));
  return *this;
}

void CVORNUpdater::assign(const std::string& value) {
  vorn::appendLiteral(m_setList, "='", value);
}

void CVORNUpdater::assign(const char& value) {
  vorn::appendLiteral(m_setList, "='", value);
}

void CVORNUpdater::assign(const char* value) {
  vorn::appendLiteral(m_setList, "='", value);
}

void CVORNUpdater::assign(const short& value) {
  assignNumber(m_setList, "=%d", static_cast<int>(value), 106);
}

void CVORNUpdater::assign(const int& value) {
  assignNumber(m_setList, "=%d", value, 121);
}

void CVORNUpdater::assign(const unsigned int& value) {
  assignNumber(m_setList, "=%lu", value > vorn::kHighestUnsigned ? 0UL : value, 141);
}

void CVORNUpdater::assign(const unsigned long& value) {
  assignNumber(m_setList, "=%lu", value > vorn::kHighestUnsigned ? 0UL : value, 160);
}

void CVORNUpdater::assign(const long& value) {
  assignNumber(m_setList, "=%ld", value, 175);
}

void CVORNUpdater::assign(const float& value) {
  assignNumber(m_setList, "=%f", static_cast<double>(value), 190);
}

void CVORNUpdater::assign(const double& value) {
  assignNumber(m_setList, "=%f", value, 205);
}

void CVORNUpdater::assign(const CVORNNull& /*value*/) {
  m_setList += "=NULL";
}

void CVORNUpdater::where(const CVORNCriterion& condition) {
  m_where = vorn::concatenate(keyword::kWhere, vorn::TextAccess::of(condition));
}

std::string CVORNUpdater::toString() const {
  return vorn::concatenate(m_update, m_table, m_setList, m_where);
}

void CVORNUpdater::clear() {
  m_update = keyword::kUpdate;
  m_setList.clear();
  // A cleared updater differs from a new one: it ends in a bare " where ".
  m_where = keyword::kWhere;
}
