#include "vorn/criterion.h"

#include "statement/keywords.h"

namespace {

// An empty right side is joined all the same, and a condition joined with itself already has the joiner when
// its text is read.
void join(std::string& text, std::string_view joiner, const std::string& other) {
  text.reserve(text.size() + joiner.size() + other.size() + 2);
  if (!text.empty()) text += joiner;
  text += other;
  text.insert(text.begin(), '(');
  text += ')';
}

}  // namespace

CVORNCriterion::CVORNCriterion(const std::string& text) {
  // A condition is usually joined next: what does not fit the short string gets room for that at once.
  if (text.size() > m_text.capacity()) m_text.reserve(2 * text.size() + 16);
  m_text = text;
}

std::string CVORNCriterion::toString() const {
  return m_text;
}

CVORNCriterion& CVORNCriterion::operator&&(const CVORNCriterion& other) {
  join(m_text, vorn::keyword::kAnd, other.m_text);
  return *this;
}

CVORNCriterion& CVORNCriterion::operator||(const CVORNCriterion& other) {
  join(m_text, vorn::keyword::kOr, other.m_text);
  return *this;
}
