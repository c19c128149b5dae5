#include "exec/adapters/sql/SqlScanner.h"

#include <algorithm>

#include "common/ascii.h"

namespace vorn {

bool SqlScanner::standsAt(std::size_t at, const char* two) const {
  return m_sql.compare(at, 2, two) == 0;
}

std::size_t SqlScanner::endAfter(std::size_t from, const std::string& closing) const {
  const std::size_t found = m_sql.find(closing, from);
  return found == std::string::npos ? m_sql.size() : found + closing.size();
}

// 'a''b' is scanned as two adjacent literals; the end is the same.
std::size_t SqlScanner::opaqueEnd(std::size_t at) const {
  switch (m_sql[at]) {
    case '\'':
      return isEscapedLiteral(at) ? escapedLiteralEnd(at) : endAfter(at + 1, "'");
    case '"':
      return endAfter(at + 1, "\"");
    case '`':
      return m_dialect.backquotedNames ? endAfter(at + 1, "`") : at;
    case '[':
      return m_dialect.bracketedNames ? endAfter(at + 1, "]") : at;
    case '$':
      return m_dialect.dollarQuotes ? dollarQuotedEnd(at) : at;
    case '-':
      return beginsLineComment(at) ? std::min(m_sql.find('\n', at), m_sql.size()) : at;
    case '#':
      return m_dialect.hashComments ? std::min(m_sql.find('\n', at), m_sql.size()) : at;
    case '/':
      return standsAt(at, "/*") && !isExecutable(at) ? commentEnd(at) : at;
    default:
      return at;
  }
}

bool SqlScanner::isEscapedLiteral(std::size_t quote) const {
  return m_dialect.escapedLiterals && quote > 0 && ascii::lowerCase(m_sql[quote - 1]) == 'e' &&
         (quote == 1 || !ascii::isIdentifierByte(m_sql[quote - 2]));
}

bool SqlScanner::beginsLineComment(std::size_t at) const {
  if (!standsAt(at, "--")) return false;
  if (!m_dialect.dashesNeedBlank || at + 2 == m_sql.size()) return true;
  const char next = m_sql[at + 2];
  return ascii::isBlank(next) || ascii::isControl(next) || next == '\x7f';
}

// Also with the other mark, of which one server alone takes notice: M!
bool SqlScanner::isExecutable(std::size_t at) const {
  return m_dialect.executableComments && (m_sql.compare(at + 2, 1, "!") == 0 || standsAt(at + 2, "M!"));
}

// A backslash takes the next byte with it. The literal goes on after a line break.
std::size_t SqlScanner::escapedLiteralEnd(std::size_t at) const {
  for (++at; at < m_sql.size(); ++at) {
    if (m_sql[at] == '\\' || standsAt(at, "''")) {
      ++at;
    } else if (m_sql[at] == '\'') {
      const std::size_t next = std::min(m_sql.find_first_not_of(" \t\r\n\f", at + 1), m_sql.size());
      const bool goesOn = next < m_sql.size() && m_sql[next] == '\'' && m_sql.find('\n', at) < next;
      if (!goesOn) return at + 1;
      at = next;
    }
  }
  return m_sql.size();
}

std::size_t SqlScanner::commentEnd(std::size_t at) const {
  if (!m_dialect.nestedComments) return endAfter(at + 2, "*/");
  int depth = 0;
  while (at + 1 < m_sql.size()) {
    if (standsAt(at, "/*")) {
      ++depth;
      at += 2;
    } else if (standsAt(at, "*/")) {
      --depth;
      at += 2;
      if (depth == 0) return at;
    } else {
      ++at;
    }
  }
  return m_sql.size();
}

// A tag is an identifier; so is a dollar sign inside one no opening.
std::size_t SqlScanner::dollarQuotedEnd(std::size_t at) const {
  if (at > 0 && (ascii::isIdentifierByte(m_sql[at - 1]) || m_sql[at - 1] == '$')) return at;
  std::size_t end = at + 1;
  while (end < m_sql.size() && ascii::isIdentifierByte(m_sql[end])) ++end;
  const bool digitFirst = end > at + 1 && ascii::isDigit(m_sql[at + 1]);
  if (end == m_sql.size() || m_sql[end] != '$' || digitFirst) return at;
  return endAfter(end + 1, m_sql.substr(at, end + 1 - at));
}

}  // namespace vorn
