#include "vorn/criterion.h"

#include "statement/concatenate.h"
#include "statement/keywords.h"

namespace {

// An empty right side is joined all the same, and a condition joined with itself already has the joiner when
// its text is read.
void join(std::string& text, std::string_view joiner, const std::string& other) {
  const std::size_t before = text.size();
  if (before == 0) joiner = {};
  if (&text == &other) {
    text = vorn::concatenateWithRoom("(", text, joiner, text, joiner, ")");
  } else if (before + joiner.size() + other.size() + 2 > text.capacity()) {
    text = vorn::concatenateWithRoom("(", text, joiner, other, ")");
  } else {
    // The blank stands for the byte by which the text moves.
    vorn::appendPieces(text, " ", joiner, other, ")");
    std::memmove(text.data() + 1, text.data(), before);
    text.front() = '(';
  }
}

}  // namespace

// A condition is usually joined next, so it gets room for that at once.
CVORNCriterion::CVORNCriterion(const std::string& text) : m_text(vorn::concatenateWithRoom(text)) {}

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
