#include "exec/adapters/sql/SqlWords.h"

#include <array>

#include "common/ascii.h"

namespace vorn {

namespace {

enum class ByteKind : unsigned char { Sign, Word, Blank, Opening };

// Opening: a literal, a quoted name or a comment may begin.
constexpr std::array<ByteKind, 256> makeByteKinds() {
  std::array<ByteKind, 256> kinds{};
  for (int byte = 0; byte < 256; ++byte) {
    const bool word = ascii::isIdentifierByte(static_cast<char>(byte));
    kinds[static_cast<std::size_t>(byte)] = word ? ByteKind::Word : ByteKind::Sign;
  }
  for (const char byte : {' ', '\n', '\t', '\r', '\f', '\v'})
    kinds[static_cast<unsigned char>(byte)] = ByteKind::Blank;
  for (const char byte : {'\'', '"', '`', '[', '$', '-', '/', '#'})
    kinds[static_cast<unsigned char>(byte)] = ByteKind::Opening;
  return kinds;
}

constexpr std::array<ByteKind, 256> kByteKinds = makeByteKinds();

ByteKind kindOf(char c) {
  return kByteKinds[static_cast<unsigned char>(c)];
}

}  // namespace

bool SqlWords::next() {
  m_previous.swap(m_word);
  const std::size_t size = m_sql.size();
  while (m_at < size) {
    const char first = m_sql[m_at];
    const ByteKind kind = kindOf(first);
    m_begin = m_at++;
    if (kind == ByteKind::Blank) continue;
    if (kind == ByteKind::Word || isWordByte(first)) {
      while (m_at < size && isWordByte(m_sql[m_at])) ++m_at;
      m_word.assign(m_sql, m_begin, m_at - m_begin);
      std::transform(m_word.begin(), m_word.end(), m_word.begin(), ascii::lowerCase);
      return true;
    }
    if (kind == ByteKind::Opening) {
      m_at = std::max(m_scanner.opaqueEnd(m_begin), m_at);
      if (isComment()) continue;
    }
    m_word.assign(1, first);
    return true;
  }
  m_word.clear();
  return false;
}

bool SqlWords::toFirst() {
  while (next()) {
    if (m_word != "(" && m_word != ";") return true;
  }
  return false;
}

bool SqlWords::isName() const {
  return isWordByte(m_word[0]) || m_word[0] == '"' || (m_word[0] == '`' && m_dialect.backquotedNames);
}

bool SqlWords::isWordByte(char c) const {
  return kindOf(c) == ByteKind::Word || (c == '$' && !m_dialect.dollarQuotes);
}

// Of what is longer than a sign: the others that are opaque are literals and names.
bool SqlWords::isComment() const {
  const std::string_view token = text();
  if (token.size() < 2) return token == "#" && m_dialect.hashComments;
  if (token[0] == '/') return token.size() >= 4 && token.substr(token.size() - 2) == "*/";
  return token[0] == '-' || token[0] == '#';
}

}  // namespace vorn
