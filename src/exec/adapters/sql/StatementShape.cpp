#include "exec/adapters/sql/StatementShape.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

#include "common/ascii.h"
#include "exec/adapters/sql/SqlScanner.h"

namespace vorn {

namespace {

using ascii::isDigit;

// Stand in a key for the literals that were lifted, one byte each. No liftable text holds bytes below a tab
// outside of its literals.
constexpr char kAnyParameter = '\1';
constexpr char kIntegerParameter = '\2';
constexpr char kLongParameter = '\3';
constexpr char kDecimalParameter = '\4';
constexpr char kKept = '\5';  // on both sides of a literal that stays
constexpr char kMasked = '\6';

// A longer shape is hardly used twice.
constexpr std::size_t kLongestShape = 16384;
constexpr std::size_t kLongestMasked = 4096;

// The room for undone quotes that is kept from text to text.
constexpr std::size_t kMostKept = 1048576;

constexpr int kDeepest = 64;

// The letters of a word of at most eight, in lower case. No two words of identifier bytes that differ in more
// than case come to the same.
constexpr std::uint64_t wordOf(std::string_view letters) {
  std::uint64_t word = 0;
  for (const char c : letters) word = word << 8 | (static_cast<unsigned char>(c) | 0x20U);
  return word;
}

namespace word {
constexpr std::uint64_t kSelect = wordOf("select"), kInsert = wordOf("insert"), kUpdate = wordOf("update"),
                        kDelete = wordOf("delete"), kInto = wordOf("into"), kValues = wordOf("values"),
                        kSet = wordOf("set"), kFrom = wordOf("from"), kWhere = wordOf("where"),
                        kGroup = wordOf("group"), kHaving = wordOf("having"), kOrder = wordOf("order"),
                        kBy = wordOf("by"), kLimit = wordOf("limit"), kOffset = wordOf("offset"),
                        kUnion = wordOf("union"), kExcept = wordOf("except"), kAll = wordOf("all"),
                        kOn = wordOf("on"), kAnd = wordOf("and"), kOr = wordOf("or"), kNot = wordOf("not"),
                        kIn = wordOf("in"), kIs = wordOf("is"), kLike = wordOf("like"),
                        kBetween = wordOf("between"), kExists = wordOf("exists"), kNull = wordOf("null");
// The one word of more than eight letters that is looked for.
constexpr std::uint64_t kIntersect = 1;
}  // namespace word

bool isIdentifierByte(char c) {
  static constexpr auto kTable = [] {
    std::array<bool, 256> table{};
    for (int byte = 0; byte < 256; ++byte)
      table[static_cast<std::size_t>(byte)] = ascii::isIdentifierByte(static_cast<char>(byte));
    return table;
  }();
  return kTable[static_cast<unsigned char>(c)];
}

bool isControl(char c) {
  return static_cast<unsigned char>(c) < ' ' && !ascii::isBlank(c);
}

const char* skipDigits(const char* at, const char* end) {
  while (at < end && isDigit(*at)) ++at;
  return at;
}

std::size_t hashOf(std::string_view bytes) {
  constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15U;
  std::uint64_t hash = bytes.size() * kFactor;
  const auto mix = [&hash](std::uint64_t eight) {
    hash = (hash ^ eight) * kFactor;
    hash ^= hash >> 32U;
  };
  std::uint64_t eight = 0;
  while (bytes.size() >= sizeof eight) {
    std::memcpy(&eight, bytes.data(), sizeof eight);
    mix(eight);
    bytes.remove_prefix(sizeof eight);
  }
  eight = 0;
  std::memcpy(&eight, bytes.data(), bytes.size());
  mix(eight);
  return hash;
}

}  // namespace

void StatementShape::read(const std::string& sql, const SqlDialect& dialect) {
  m_sql = &sql;
  m_dialect = &dialect;
  m_at = m_copied = m_begin = sql.data();
  m_end = sql.data() + sql.size();
  m_depth = 0;
  m_token = Token::End;
  m_verb = Verb::Other;
  m_key.clear();
  m_literals.clear();
  if (m_unescaped.capacity() > kMostKept) m_unescaped = std::string();
  m_unescaped.clear();
  next();
  m_liftable = readStatement() && m_token == Token::End;
  if (m_liftable) m_key.append(m_copied, m_end);
  m_liftable = m_liftable && m_key.size() <= kLongestShape;
  if (!m_liftable) mask();
  m_hash = hashOf(m_key);
}

bool StatementShape::readStatement() {
  if (m_token != Token::Word) return false;
  switch (m_word) {
    case word::kSelect:
      m_verb = Verb::Select;
      return readSelect();
    case word::kInsert:
      m_verb = Verb::Insert;
      return readInsert();
    case word::kUpdate:
      m_verb = Verb::Update;
      return readUpdate();
    case word::kDelete:
      m_verb = Verb::Delete;
      return readDelete();
    default:
      return false;
  }
}

bool StatementShape::readInsert() {
  next();
  if (!take(word::kInto) || !readTableName()) return false;
  if (m_token == Token::Open && !readColumnList()) return false;
  if (!take(word::kValues) || !take(Token::Open)) return false;
  do {
    if (is(word::kNull)) {
      lift(m_begin, Type::Null, 0, {});
    } else if (m_token != Token::Literal) {
      return false;
    }
    next();
  } while (take(Token::Comma));
  return take(Token::Close);
}

bool StatementShape::readUpdate() {
  next();
  if (!readTableName() || !take(word::kSet)) return false;
  do {
    if (!readTableName() || m_token != Token::Compare || m_at - m_begin != 1 || *m_begin != '=') return false;
    next();
    bool literal = false;
    if (is(word::kNull)) {
      lift(m_begin, Type::Null, 0, {});
      next();
    } else if (!readOperand(literal, false)) {
      return false;
    }
  } while (take(Token::Comma));
  return !take(word::kWhere) || readCondition();
}

bool StatementShape::readDelete() {
  next();
  if (!take(word::kFrom) || !readTableName()) return false;
  return !take(word::kWhere) || readCondition();
}

bool StatementShape::readTableName() {
  do {
    if (m_token != Token::Word && m_token != Token::Name) return false;
    next();
  } while (take(Token::Dot));
  return true;
}

bool StatementShape::readColumnList() {
  next();
  do {
    if (m_token != Token::Word && m_token != Token::Name) return false;
    next();
  } while (take(Token::Comma));
  return take(Token::Close);
}

bool StatementShape::readSelect() {
  for (;;) {
    next();
    if (!skipNames() || !take(word::kFrom) || !readFrom()) return false;
    if (take(word::kWhere) && !readCondition()) return false;
    if (take(word::kGroup) && !(take(word::kBy) && skipNames())) return false;
    if (take(word::kHaving) && !readCondition()) return false;
    if (!take(word::kUnion) && !take(word::kExcept) && !take(word::kIntersect)) return readTail();
    take(word::kAll);
    if (!is(word::kSelect)) return false;
  }
}

bool StatementShape::readFrom() {
  for (;;) {
    if (!skipNames()) return false;
    if (!take(word::kOn)) return true;
    if (!readCondition()) return false;
  }
}

bool StatementShape::readTail() {
  if (take(word::kOrder) && !(take(word::kBy) && skipNames())) return false;
  if (take(word::kLimit) && !readCount(m_dialect->literalsDecideThePlan)) return false;
  return !take(word::kOffset) || readCount(false);
}

bool StatementShape::readCount(bool kept) {
  if (m_token != Token::Literal) return false;
  const Type type = m_literals.back().type;
  if ((type != Type::Integer && type != Type::Long) || (kept && !keepLiteral())) return false;
  next();
  return true;
}

// Names, with stars and calls: a select list, tables, what to sort or to group by. No literal stands there.
// Ends before a word that begins the next clause.
bool StatementShape::skipNames() {
  for (;; next()) {
    switch (m_token) {
      case Token::Name:
      case Token::Dot:
      case Token::Comma:
      case Token::Star:
        continue;
      case Token::Open:
        if (!skipCall()) return false;
        continue;
      case Token::End:
      case Token::Close:
        return true;
      case Token::Word:
        break;
      default:
        return false;
    }
    switch (m_word) {
      case word::kSelect:
      case word::kInto:
        return false;
      case word::kFrom:
      case word::kWhere:
      case word::kGroup:
      case word::kHaving:
      case word::kOrder:
      case word::kLimit:
      case word::kOffset:
      case word::kUnion:
      case word::kExcept:
      case word::kIntersect:
      case word::kOn:
        return true;
      default:
        break;
    }
  }
}

// From an opening parenthesis to the one that closes it, where no literal and no select may stand.
bool StatementShape::skipCall() {
  int depth = 0;
  for (;; next()) {
    switch (m_token) {
      case Token::Open:
        ++depth;
        break;
      case Token::Close:
        if (--depth == 0) return true;
        break;
      case Token::Word:
        if (m_word == word::kSelect) return false;
        break;
      case Token::Name:
      case Token::Dot:
      case Token::Comma:
      case Token::Star:
        break;
      default:
        return false;
    }
  }
}

bool StatementShape::readCondition() {
  if (++m_depth > kDeepest) return false;
  do {
    while (take(word::kNot)) {
    }
    if (!readPredicate()) return false;
  } while (take(word::kAnd) || take(word::kOr));
  --m_depth;
  return true;
}

bool StatementShape::readPredicate() {
  bool literal = false;
  if (take(word::kExists)) return m_token == Token::Open && readSubSelect();
  if (m_token == Token::Open) {
    next();
    if (!is(word::kSelect)) return readCondition() && take(Token::Close);
    if (!readSelect() || !take(Token::Close)) return false;
  } else if (!readOperand(literal, true)) {
    return false;
  }
  return readComparison(literal);
}

bool StatementShape::readSubSelect() {
  next();
  return is(word::kSelect) && readSelect() && take(Token::Close);
}

bool StatementShape::readComparison(bool literalOnTheLeft) {
  bool literal = false;
  if (m_token == Token::Compare) {
    const bool equality = *m_begin == '=';
    next();
    if (m_token == Token::Open) return readSubSelect();
    return readOperand(literal, equality) && !(literal && literalOnTheLeft);
  }
  if (literalOnTheLeft) return false;
  if (take(word::kIs)) {
    take(word::kNot);
    return take(word::kNull);
  }
  take(word::kNot);
  if (take(word::kIn)) return m_token == Token::Open && readList();
  if (take(word::kBetween)) {
    return readOperand(literal, false) && take(word::kAnd) && readOperand(literal, false);
  }
  if (!take(word::kLike)) return true;
  if (m_token == Token::Literal && m_dialect->literalsDecideThePlan && !keepLiteral()) return false;
  return readOperand(literal, false);
}

bool StatementShape::readList() {
  next();
  if (is(word::kSelect)) return readSelect() && take(Token::Close);
  bool literal = false;
  do {
    if (!readOperand(literal, true)) return false;
  } while (take(Token::Comma));
  return take(Token::Close);
}

// @param kept  whether a literal by which the store plans stays
bool StatementShape::readOperand(bool& literal, bool kept) {
  literal = m_token == Token::Literal;
  if (literal) {
    if (kept && m_dialect->literalsDecideThePlan && isSmallInteger() && !keepLiteral()) return false;
    next();
    return true;
  }
  if (is(word::kSelect) || !readTableName()) return false;
  if (m_token != Token::Open) return true;
  if (!skipCall()) return false;
  next();
  return true;
}

bool StatementShape::take(std::uint64_t word) {
  if (!is(word)) return false;
  next();
  return true;
}

bool StatementShape::take(Token token) {
  if (m_token != token) return false;
  next();
  return true;
}

void StatementShape::next() {
  while (m_at < m_end && ascii::isBlank(*m_at)) ++m_at;
  m_begin = m_at;
  if (m_at == m_end) {
    m_token = Token::End;
    return;
  }
  const char first = *m_at;
  const auto sign = [this](Token token) {
    m_token = token;
    ++m_at;
  };
  switch (first) {
    case '(':
      return sign(Token::Open);
    case ')':
      return sign(Token::Close);
    case ',':
      return sign(Token::Comma);
    case '.':
      return sign(Token::Dot);
    case '*':
      return sign(Token::Star);
    case '\'':
      return scanText();
    case '"':
    case '`':
    case '[':
      return scanQuotedName();
    case '-':
      if (signMayStand()) return scanNumber();
      return sign(Token::Bad);
    case '!':
    case '=':
    case '<':
    case '>': {
      ++m_at;
      const char second = m_at < m_end ? *m_at : '\0';
      if (second == '=' ? first != '=' : first == '<' && second == '>') ++m_at;
      const bool alone = first == '!' && m_at - m_begin == 1;
      m_token = alone ? Token::Bad : Token::Compare;
      return;
    }
    default:
      if (isDigit(first)) return scanNumber();
      if (isIdentifierByte(first)) return scanWord();
      sign(Token::Bad);
  }
}

void StatementShape::scanWord() {
  std::uint64_t word = 0;
  while (m_at < m_end && isIdentifierByte(*m_at)) {
    word = word << 8 | (static_cast<unsigned char>(*m_at) | 0x20U);
    ++m_at;
  }
  const auto size = static_cast<std::size_t>(m_at - m_begin);
  if (size > sizeof word) {
    const bool intersect = size == 9 && word == wordOf("ntersect") && (*m_begin | 0x20) == 'i';
    word = intersect ? word::kIntersect : 0;
  }
  m_word = word;
  m_token = Token::Word;
}

void StatementShape::scanQuotedName() {
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
bool StatementShape::signMayStand() const {
  if (m_at + 1 == m_end || !isDigit(m_at[1])) return false;
  switch (m_token) {
    case Token::Open:
    case Token::Comma:
      return true;
    case Token::Compare:
      return m_at[-1] != '=' || m_at[-2] != '!';
    case Token::Word:
      return m_word == word::kAnd || m_word == word::kBetween;
    default:
      return false;
  }
}

void StatementShape::scanNumber() {
  const char* const digits = m_at + (*m_at == '-' ? 1 : 0);
  m_at = skipDigits(digits, m_end);
  const bool fraction = m_at < m_end && *m_at == '.';
  if (fraction) {
    const char* const first = ++m_at;
    m_at = skipDigits(first, m_end);
    if (m_at == first) {
      m_token = Token::Bad;
      return;
    }
  }
  m_token = Token::Bad;
  if (m_at < m_end && (isIdentifierByte(*m_at) || *m_at == '.' || *m_at == '\'')) return;
  const std::string_view bytes(m_begin, static_cast<std::size_t>(m_at - m_begin));
  std::int64_t integer = 0;
  Type type = Type::Decimal;
  if (!fraction && ascii::parseWhole(bytes, integer)) {
    const bool narrow = integer >= std::numeric_limits<std::int32_t>::min() &&
                        integer <= std::numeric_limits<std::int32_t>::max();
    type = narrow ? Type::Integer : Type::Long;
  } else if (digits != m_begin && bytes.find_first_not_of("-0.") == std::string_view::npos) {
    return;  // the stores keep the sign of a zero in one place and lose it in another
  }
  lift(m_begin, type, integer, bytes);
  m_token = Token::Literal;
}

void StatementShape::scanText() {
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
  lift(m_begin, Type::Text, 0, bytes);
  m_token = Token::Literal;
}

void StatementShape::lift(const char* begin, Type type, std::int64_t integer, std::string_view bytes) {
  constexpr char kTyped[] = {kAnyParameter, kIntegerParameter, kLongParameter, kDecimalParameter,
                             kAnyParameter};
  m_key.append(m_copied, begin);
  m_key += m_dialect->typedParameters ? kTyped[static_cast<std::size_t>(type)] : kAnyParameter;
  m_copied = m_at;
  m_literals.push_back({type, integer, bytes});
}

bool StatementShape::isSmallInteger() const {
  const Literal& literal = m_literals.back();
  return literal.type == Type::Integer && literal.integer >= -1 && literal.integer <= 1;
}

// Has the literal at hand stay in the statement.
bool StatementShape::keepLiteral() {
  if (std::any_of(m_begin, m_at, isControl)) return false;
  m_literals.pop_back();
  m_key.back() = kKept;
  m_key.append(m_begin, m_at);
  m_key += kKept;
  return true;
}

// Writes the key of a text that is not liftable: everything that may be a value is gone, whatever it is.
// Where the store might see parts that are not those of the scanner, the rest of the text is one value.
void StatementShape::mask() {
  m_key.clear();
  m_literals.clear();
  const SqlScanner scanner(*m_sql, *m_dialect);
  m_at = m_sql->data();
  while (m_at < m_end && m_key.size() < kLongestMasked) {
    m_begin = m_at;
    m_at = m_sql->data() + scanner.opaqueEnd(static_cast<std::size_t>(m_at - m_sql->data()));
    if (m_at > m_begin ? maskOpaque() : maskPlain()) continue;
    if (m_key.empty() || m_key.back() != kMasked) m_key += kMasked;
    return;
  }
}

// @return whether the store surely sees the end of the part where it is
bool StatementShape::maskOpaque() {
  const char first = *m_begin;
  const std::string_view part(m_begin, static_cast<std::size_t>(m_at - m_begin));
  if (first == '-' || first == '/') {
    m_key += ' ';
    const std::size_t line = part.find('\r');  // which ends a comment in one store and not in the other
    return first == '/' || line == std::string_view::npos || line + 1 == part.size();
  }
  const bool closed = part.size() > 1 && part.back() == (first == '[' ? ']' : first);
  const bool literal = first == '\'' || first == '$' || (first == '"' && m_dialect->doubleQuotedLiterals);
  if (closed && !literal) {
    m_key.append(part);
    return true;
  }
  if (!closed) {
    // A quote inside of a value that was not doubled may be why: what stood between two of them is a value.
    m_key.resize(std::min(m_key.find(kMasked), m_key.size()));
    return false;
  }
  const bool doubled = m_begin > m_sql->data() && m_begin[-1] == first && m_key.back() == kMasked;
  if (!doubled) m_key += kMasked;
  if (m_at < m_end && isIdentifierByte(*m_at)) return false;
  return first != '\'' || !m_dialect->backslashIsASetting || part.find('\\') == std::string_view::npos;
}

// @return whether the store surely sees no more of it as a part of its own
bool StatementShape::maskPlain() {
  const char first = *m_at++;
  if (isDigit(first)) {
    // With its fraction, exponent or hexadecimal digits.
    while (m_at < m_end && (isIdentifierByte(*m_at) || *m_at == '.')) ++m_at;
    m_key += kMasked;
    return true;
  }
  if (isIdentifierByte(first)) {
    while (m_at < m_end && (isIdentifierByte(*m_at) || *m_at == '$')) ++m_at;
    m_key.append(m_begin, m_at);
    return true;
  }
  m_key += isControl(first) ? ' ' : first;
  if (first == '$' && m_dialect->dollarQuotes) return m_at < m_end && isDigit(*m_at);
  return (first != '$' && first != '@' && first != ':' && first != '#') || isPlainVariable();
}

// A variable may go on in parentheses, in which a quote is no quote.
bool StatementShape::isPlainVariable() const {
  const char* at = m_at;
  while (at < m_end && (isIdentifierByte(*at) || *at == '$' || *at == ':')) ++at;
  if (at == m_at || at == m_end || *at != '(') return true;
  do {
    ++at;
  } while (at < m_end && (isIdentifierByte(*at) || *at == ','));
  return at < m_end && (*at == ')' || ascii::isBlank(*at));
}

std::string StatementShape::written(std::string_view key, const SqlDialect& dialect, bool mask) {
  const std::string source(key);
  const SqlScanner scanner(source, dialect);
  std::string text;
  text.reserve(source.size() + 16);
  int parameter = 0;
  for (std::size_t at = 0; at < source.size();) {
    const char c = source[at];
    if (c == kKept) {
      const std::size_t end = source.find(kKept, at + 1);
      text += mask ? "?" : source.substr(at + 1, end - at - 1);
      at = end + 1;
    } else if (c >= kAnyParameter && c <= kMasked) {
      text += mask ? std::string(1, '?') : dialect.parameterMark + std::to_string(++parameter);
      ++at;
    } else {
      const std::size_t end = std::max(scanner.opaqueEnd(at), at + 1);
      const bool hidden = mask && c == '"' && dialect.doubleQuotedLiterals;
      text.append(hidden ? std::string("?") : source.substr(at, end - at));
      at = end;
    }
  }
  return text;
}

}  // namespace vorn
