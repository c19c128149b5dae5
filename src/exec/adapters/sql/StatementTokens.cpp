#include "exec/adapters/sql/StatementTokens.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "common/ascii.h"
#include "exec/adapters/sql/SqlScanner.h"

namespace vorn {

namespace {

using ascii::isControl;
using ascii::isDigit;
using Token = StatementTokens::Token;

// The room for undone quotes that is kept from text to text.
constexpr std::size_t kMostKept = 1048576;

// The same of a word in a text, in one load where the text goes on for long enough.
std::uint64_t wordAt(const char* begin, std::size_t size, const char* end) {
  constexpr std::size_t kEight = sizeof(std::uint64_t);
  if (std::endian::native != std::endian::little || end - begin < std::ptrdiff_t{kEight}) {
    return StatementTokens::wordOf({begin, size});
  }
  std::uint64_t word = 0;
  std::memcpy(&word, begin, kEight);
  return (word | 0x2020202020202020U) & (~std::uint64_t{0} >> (8 * (kEight - size)));
}

// What a byte begins.
enum class Byte : unsigned char { Bad, Blank, Word, Digit, Sign, Compare, Minus, Text, Name };

constexpr std::array<Byte, 256> makeBytes() {
  std::array<Byte, 256> bytes{};
  const auto set = [&bytes](std::string_view all, Byte kind) {
    for (const char c : all) bytes[static_cast<unsigned char>(c)] = kind;
  };
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    if (ascii::isIdentifierByte(c)) set({&c, 1}, isDigit(c) ? Byte::Digit : Byte::Word);
    if (ascii::isBlank(c)) set({&c, 1}, Byte::Blank);
  }
  set("(),.*", Byte::Sign);
  set("=<>!", Byte::Compare);
  set("-", Byte::Minus);
  set("'", Byte::Text);
  set("\"`[", Byte::Name);
  return bytes;
}

constexpr std::array<Byte, 256> kBytes = makeBytes();

Byte byteOf(char c) {
  return kBytes[static_cast<unsigned char>(c)];
}

bool isIdentifierByte(char c) {
  static constexpr auto kIs = [] {
    std::array<bool, 256> is{};
    for (std::size_t byte = 0; byte < is.size(); ++byte)
      is[byte] = kBytes[byte] == Byte::Word || kBytes[byte] == Byte::Digit;
    return is;
  }();
  return kIs[static_cast<unsigned char>(c)];
}

const char* skipDigits(const char* at) {
  while (isDigit(*at)) ++at;
  return at;
}

// @param bytes  digits, with a sign or without one
bool parseInteger(std::string_view bytes, const char* digits, std::int64_t& integer) {
  constexpr std::size_t kAlwaysFits = 18;
  if (bytes.size() > kAlwaysFits) return ascii::parseWhole(bytes, integer);
  for (const char* at = digits; at != bytes.data() + bytes.size(); ++at) integer = 10 * integer + (*at - '0');
  if (digits != bytes.data()) integer = -integer;
  return true;
}

Token tokenOf(char sign) {
  switch (sign) {
    case '(':
      return Token::Open;
    case ')':
      return Token::Close;
    case ',':
      return Token::Comma;
    case '.':
      return Token::Dot;
    default:
      return Token::Star;
  }
}

}  // namespace

void StatementTokens::start(const std::string& sql, const SqlDialect& dialect) {
  m_sql = &sql;
  m_dialect = &dialect;
  m_at = m_begin = sql.data();
  m_end = sql.data() + sql.size();
  m_token = Token::End;
  m_literals.clear();
  if (m_unescaped.capacity() > kMostKept) m_unescaped = std::string();
  m_unescaped.clear();
}

void StatementTokens::next() {
  // The zero byte after the text ends every loop over its bytes.
  while (byteOf(*m_at) == Byte::Blank) ++m_at;
  m_begin = m_at;
  switch (byteOf(*m_at)) {
    case Byte::Word:
      return scanWord();
    case Byte::Sign:
      m_token = tokenOf(*m_at++);
      return;
    case Byte::Text:
      scanText();
      break;
    case Byte::Digit:
      scanNumber();
      break;
    case Byte::Compare:
      return scanComparison();
    case Byte::Name:
      return scanQuotedName();
    case Byte::Minus:
      if (!signMayStand()) return bad();
      scanNumber();
      break;
    default:
      return bad();
  }
}

void StatementTokens::bad() {
  m_token = m_at == m_end ? Token::End : Token::Bad;
  if (m_at < m_end) ++m_at;
}

void StatementTokens::scanComparison() {
  const char first = *m_at++;
  const char second = *m_at;
  const bool two = second == '=' ? first != '=' : first == '<' && second == '>';
  if (two) ++m_at;
  m_token = first == '!' && !two ? Token::Bad : Token::Compare;
}

void StatementTokens::scanWord() {
  const char* at = m_at + 1;
  while (isIdentifierByte(*at)) ++at;
  m_at = at;
  m_token = Token::Word;
  const auto size = static_cast<std::size_t>(at - m_begin);
  if (size <= sizeof m_word) {
    m_word = wordAt(m_begin, size, m_end);
  } else {
    const bool intersect =
        size == 9 && wordOf({m_begin + 1, 8}) == wordOf("ntersect") && (*m_begin | 0x20) == 'i';
    m_word = intersect ? kIntersect : 0;
  }
}

void StatementTokens::scanQuotedName() {
  const SqlScanner scanner(*m_sql, *m_dialect);
  const auto begin = static_cast<std::size_t>(m_begin - m_sql->data());
  const std::size_t end = scanner.opaqueEnd(begin);
  m_at = m_sql->data() + end;
  const bool closed = end - begin >= 2 && m_at[-1] == (*m_begin == '[' ? ']' : *m_begin);
  m_token = closed && std::none_of(m_begin, m_at, isControl) ? Token::Name : Token::Bad;
  if (m_at == m_begin) ++m_at;
}

// Whether a minus here belongs to the number after it: it is a sign, no operator, and no operator before it
// takes it in, as the stores would read "!=-".
bool StatementTokens::signMayStand() const {
  if (!isDigit(m_at[1])) return false;
  switch (m_token) {
    case Token::Open:
    case Token::Comma:
      return true;
    case Token::Compare:
      return m_at[-1] != '=' || m_at[-2] != '!';
    case Token::Word:
      return m_word == wordOf("and") || m_word == wordOf("between");
    default:
      return false;
  }
}

void StatementTokens::scanNumber() {
  const char* const digits = m_at + (*m_at == '-' ? 1 : 0);
  m_at = skipDigits(digits);
  m_token = Token::Bad;
  const bool fraction = *m_at == '.';
  if (fraction && (m_at = skipDigits(m_at + 1))[-1] == '.') return;
  if (isIdentifierByte(*m_at) || *m_at == '.' || *m_at == '\'') return;
  const std::string_view bytes(m_begin, static_cast<std::size_t>(m_at - m_begin));
  std::int64_t integer = 0;
  Type type = Type::Decimal;
  if (!fraction && parseInteger(bytes, digits, integer)) {
    const bool narrow = integer >= std::numeric_limits<std::int32_t>::min() &&
                        integer <= std::numeric_limits<std::int32_t>::max();
    type = narrow ? Type::Integer : Type::Long;
  } else if (digits != m_begin && bytes.find_first_not_of("-0.") == std::string_view::npos) {
    return;  // the stores keep the sign of a zero in one place and lose it in another
  }
  m_literals.push_back({type, integer, bytes});
  m_token = Token::Literal;
}

void StatementTokens::scanText() {
  const bool prefixed = m_begin > m_sql->data() && isIdentifierByte(m_begin[-1]);
  const char* const begin = ++m_at;
  const char* copied = begin;  // up to here the text is in m_unescaped
  std::string_view bytes;
  std::size_t start = 0;
  m_token = Token::Bad;
  for (;;) {
    const auto* quote =
        static_cast<const char*>(std::memchr(m_at, '\'', static_cast<std::size_t>(m_end - m_at)));
    if (quote == nullptr) {
      m_at = m_end;
      return;
    }
    m_at = quote + 1;
    const bool doubled = m_at < m_end && *m_at == '\'';
    if (!doubled && copied == begin) {
      bytes = {begin, static_cast<std::size_t>(quote - begin)};
      break;
    }
    if (copied == begin) {
      if (m_unescaped.empty()) m_unescaped.reserve(static_cast<std::size_t>(m_end - begin));
      start = m_unescaped.size();
    }
    m_unescaped.append(copied, doubled ? m_at : quote);
    if (!doubled) {
      bytes = std::string_view(m_unescaped).substr(start);
      break;
    }
    copied = ++m_at;
  }
  if (prefixed || (m_at < m_end && isIdentifierByte(*m_at))) return;
  if (m_dialect->backslashIsASetting && bytes.find('\\') != std::string_view::npos) return;
  m_literals.push_back({Type::Text, 0, bytes});
  m_token = Token::Literal;
}

bool StatementTokens::passOver(std::string_view run) {
  if (static_cast<std::size_t>(m_end - m_at) < run.size() || std::memcmp(m_at, run.data(), run.size()) != 0) {
    return false;
  }
  m_at += run.size();
  return true;
}

bool StatementTokens::passLiteral() {
  m_begin = m_at;
  const Byte first = byteOf(*m_at);
  if (first != Byte::Digit && first != Byte::Text) return false;
  first == Byte::Digit ? scanNumber() : scanText();
  return m_token == Token::Literal;
}

}  // namespace vorn
