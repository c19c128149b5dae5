#include "exec/adapters/sql/ValueMask.h"

#include <algorithm>
#include <string_view>

#include "common/ascii.h"

namespace vorn {

// Where the store might see parts that are not those of the scanner, the rest of the text is one value.
void ValueMask::append() {
  while (m_at < m_end && m_text.size() < kLongest) {
    m_begin = m_at;
    m_at = m_sql.data() + m_scanner.opaqueEnd(static_cast<std::size_t>(m_at - m_sql.data()));
    if (m_at > m_begin ? appendOpaque() : appendPlain()) continue;
    if (m_text.empty() || m_text.back() != kMaskedValue) m_text += kMaskedValue;
    return;
  }
}

// @return whether the store surely sees the end of the part where it is
bool ValueMask::appendOpaque() {
  const char first = *m_begin;
  const std::string_view part(m_begin, static_cast<std::size_t>(m_at - m_begin));
  if (first == '-' || first == '/' || first == '#') {
    m_text += ' ';
    const std::size_t line = part.find('\r');  // which ends a comment in one store and not in the other
    return first == '/' || line == std::string_view::npos || line + 1 == part.size();
  }
  const bool closed = part.size() > 1 && part.back() == (first == '[' ? ']' : first);
  const bool literal = first == '\'' || first == '$' || (first == '"' && m_dialect.doubleQuotedLiterals);
  if (closed && !literal) {
    m_text.append(part);
    return true;
  }
  if (!closed) {
    // A quote inside of a value that was not doubled may be why: what stood between two of them is a value.
    m_text.resize(std::min(m_text.find(kMaskedValue), m_text.size()));
    return false;
  }
  const bool doubled = m_begin > m_sql.data() && m_begin[-1] == first && m_text.back() == kMaskedValue;
  if (!doubled) m_text += kMaskedValue;
  if (m_at < m_end && ascii::isIdentifierByte(*m_at)) return false;
  const bool settled = first != '\'' || !m_dialect.backslashIsASetting ||
                       m_scanner.isEscapedLiteral(static_cast<std::size_t>(m_begin - m_sql.data()));
  return settled || part.find('\\') == std::string_view::npos;
}

// @return whether the store surely sees no more of it as a part of its own
bool ValueMask::appendPlain() {
  const char first = *m_at++;
  if (ascii::isDigit(first)) {
    // With its fraction, exponent or hexadecimal digits.
    while (m_at < m_end && (ascii::isIdentifierByte(*m_at) || *m_at == '.')) ++m_at;
    m_text += kMaskedValue;
    return true;
  }
  if (ascii::isIdentifierByte(first)) {
    while (m_at < m_end && (ascii::isIdentifierByte(*m_at) || *m_at == '$')) ++m_at;
    m_text.append(m_begin, m_at);
    return true;
  }
  m_text += ascii::isControl(first) ? ' ' : first;
  if (first == '$' && m_dialect.dollarQuotes) return m_at < m_end && ascii::isDigit(*m_at);
  return (first != '$' && first != '@' && first != ':' && first != '#') || isPlainVariable();
}

// A variable may go on in parentheses, in which a quote is no quote.
bool ValueMask::isPlainVariable() const {
  const char* at = m_at;
  while (at < m_end && (ascii::isIdentifierByte(*at) || *at == '$' || *at == ':')) ++at;
  if (at == m_at || at == m_end || *at != '(') return true;
  do {
    ++at;
  } while (at < m_end && (ascii::isIdentifierByte(*at) || *at == ','));
  return at < m_end && (*at == ')' || ascii::isBlank(*at));
}

}  // namespace vorn
