#include "exec/adapters/sql/LiteralLifter.h"

#include <cstring>

#include "common/ascii.h"

namespace vorn {

namespace {

// SQLite's own bound on the parameters of one statement.
constexpr std::size_t kMostLiterals = 32766;

// The room for undone quotes that is kept from text to text.
constexpr std::size_t kMostKept = 1048576;

using ascii::isDigit;
using ascii::isIdentifierByte;

const char* skipDigits(const char* at, const char* end) {
  while (at < end && isDigit(*at)) ++at;
  return at;
}

}  // namespace

bool LiteralLifter::recognise(const std::string& sql) {
  m_at = sql.data();
  m_end = sql.data() + sql.size();
  m_literals.clear();
  if (m_unescaped.capacity() > kMostKept) m_unescaped = std::string();
  if (!readNames()) return false;
  m_shape.assign(sql.data(), m_at);
  m_unescaped.clear();
  do {
    if (!readLiteral()) return false;
  } while (take(",", 1));
  if (!take(")", 1) || m_at != m_end || m_literals.size() > kMostLiterals) return false;
  m_shape += ')';
  return true;
}

bool LiteralLifter::take(const char* word, std::size_t size) {
  if (static_cast<std::size_t>(m_end - m_at) < size || std::memcmp(m_at, word, size) != 0) return false;
  m_at += size;
  return true;
}

bool LiteralLifter::readName() {
  if (m_at == m_end || isDigit(*m_at) || !isIdentifierByte(*m_at)) return false;
  while (m_at < m_end && isIdentifierByte(*m_at)) ++m_at;
  return true;
}

bool LiteralLifter::readNames() {
  if (!take("insert into ", 12)) return false;
  do {
    if (!readName()) return false;
  } while (take(".", 1));
  if (take(" (", 2)) {
    do {
      if (!readName()) return false;
    } while (take(",", 1));
    if (!take(")", 1)) return false;
  }
  return take(" values(", 8);
}

void LiteralLifter::add(const char* parameter, const Literal& literal) {
  if (!m_literals.empty()) m_shape += ',';
  m_shape += parameter;
  m_literals.push_back(literal);
}

bool LiteralLifter::readLiteral() {
  if (m_at == m_end) return false;
  if (*m_at == '\'') return readText();
  if (*m_at != 'N') return readNumber();
  if (!take("NULL", 4)) return false;
  add("?", {Type::Null, 0, nullptr, 0});
  return true;
}

bool LiteralLifter::readNumber() {
  const char* begin = m_at;
  const char* digits = begin + (*begin == '-' ? 1 : 0);
  const char* whole = skipDigits(digits, m_end);
  if (whole == digits || whole == m_end) return false;
  if (*whole != '.') {
    std::int64_t value = 0;
    if (!ascii::parseWhole({begin, whole}, value)) return false;
    m_at = whole;
    add("?", {Type::Integer, value, nullptr, 0});
    return true;
  }
  const char* fraction = skipDigits(whole + 1, m_end);
  if (fraction == whole + 1) return false;
  // A negative zero is left to the text: its sign is kept in one place and lost in another.
  const bool allZero = std::strspn(digits, "0.") >= static_cast<std::size_t>(fraction - digits);
  if (allZero && *begin == '-') return false;
  m_at = fraction;
  add("cast(? as real)", {Type::Text, 0, begin, static_cast<std::size_t>(fraction - begin)});
  return true;
}

bool LiteralLifter::readText() {
  const char* begin = ++m_at;
  const char* copied = begin;  // up to here the text is in m_unescaped
  std::size_t start = 0;
  for (;;) {
    const auto* quote =
        static_cast<const char*>(std::memchr(m_at, '\'', static_cast<std::size_t>(m_end - m_at)));
    if (quote == nullptr) return false;
    m_at = quote + 1;
    const bool doubled = m_at < m_end && *m_at == '\'';
    if (!doubled && copied == begin) {
      add("?", {Type::Text, 0, begin, static_cast<std::size_t>(quote - begin)});
      return true;
    }
    if (copied == begin) {
      if (m_unescaped.empty()) m_unescaped.reserve(static_cast<std::size_t>(m_end - begin));
      start = m_unescaped.size();
    }
    m_unescaped.append(copied, doubled ? m_at : quote);
    if (!doubled) {
      add("?", {Type::Text, 0, m_unescaped.data() + start, m_unescaped.size() - start});
      return true;
    }
    copied = ++m_at;
  }
}

}  // namespace vorn
