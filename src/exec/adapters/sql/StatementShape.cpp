#include "exec/adapters/sql/StatementShape.h"

#include <algorithm>
#include <array>
#include <bit>
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
  std::array<char, sizeof(std::uint64_t)> bytes{};
  for (std::size_t at = 0; at < letters.size(); ++at) bytes[at] = static_cast<char>(letters[at] | 0x20);
  return std::bit_cast<std::uint64_t>(bytes);
}

// The same of a word in a text, in one load where the text goes on for long enough.
std::uint64_t wordAt(const char* begin, std::size_t size, const char* end) {
  constexpr std::size_t kEight = sizeof(std::uint64_t);
  if (std::endian::native != std::endian::little || end - begin < std::ptrdiff_t{kEight}) {
    return wordOf({begin, size});
  }
  std::uint64_t word = 0;
  std::memcpy(&word, begin, kEight);
  return (word | 0x2020202020202020U) & (~std::uint64_t{0} >> (8 * (kEight - size)));
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

bool isControl(char c) {
  return static_cast<unsigned char>(c) < ' ' && !ascii::isBlank(c);
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
  m_end = sql.data() + sql.size();
  if (m_unescaped.capacity() > kMostKept) m_unescaped = std::string();
  for (const Known& known : m_known) {
    if (known.dialect == &dialect && matches(known)) {
      m_key = known.key;
      m_hash = known.hash;
      m_verb = known.verb;
      m_liftable = true;
      return;
    }
  }
  if (isLastUnliftable()) return;
  begin();
  m_depth = 0;
  m_disjunctive = false;
  m_verb = Verb::Other;
  m_text.clear();
  m_marks.clear();
  next();
  m_liftable = readStatement() && m_token == Token::End;
  if (m_liftable) m_text.append(m_copied, m_end);
  m_liftable = m_liftable && m_text.size() <= kLongestShape && !(m_disjunctive && mayBeCombined());
  if (!m_liftable) mask();
  m_key = m_text;
  m_hash = hashOf(m_key);
  m_liftable ? remember() : rememberUnliftable();
}

// A text that is not liftable is often followed by itself.
bool StatementShape::isLastUnliftable() {
  if (m_unliftable.dialect != m_dialect || m_unliftable.text != *m_sql) return false;
  m_literals.clear();
  m_key = m_unliftable.key;
  m_hash = m_unliftable.hash;
  m_verb = m_unliftable.verb;
  m_liftable = false;
  return true;
}

void StatementShape::rememberUnliftable() {
  m_unliftable.dialect = nullptr;  // for as long as it is neither the one nor the other
  if (m_sql->size() > kLongestMasked) return;
  m_unliftable.text.assign(*m_sql);
  m_unliftable.key.assign(m_text);
  m_unliftable.hash = m_hash;
  m_unliftable.verb = m_verb;
  m_unliftable.dialect = m_dialect;
}

bool StatementShape::keepsLiterals() const noexcept {
  return m_liftable && m_key.find(kKept) != std::string_view::npos;
}

void StatementShape::begin() {
  m_at = m_copied = m_begin = m_sql->data();
  m_token = Token::End;
  m_literals.clear();
  m_unescaped.clear();
}

void StatementShape::remember() {
  for (const Known& known : m_known) {
    if (known.dialect == m_dialect && known.key == m_text) return;
  }
  Known& known = m_known[m_oldest];
  m_oldest = (m_oldest + 1) % m_known.size();
  known.dialect = nullptr;  // for as long as it is neither the one nor the other
  known.key.assign(m_text);
  known.marks.assign(m_marks.begin(), m_marks.end());
  known.hash = m_hash;
  known.verb = m_verb;
  known.disjunctive = m_disjunctive;
  known.dialect = m_dialect;
}

// Whether a text differs from a known shape in lifted literals only. Then its tokens are the same but for
// these, and so is everything that is understood of it. A literal that is to be kept, has a sign or is NULL
// is left to the whole reading.
bool StatementShape::matches(const Known& known) {
  begin();
  std::size_t from = 0;
  for (const Mark& mark : known.marks) {
    if (!passOver(std::string_view(known.key).substr(from, mark.at - from))) return false;
    from = mark.at + 1;
    const char kind = known.key[mark.at];
    if (kind == kKept) continue;
    m_begin = m_at;
    const Byte first = byteOf(*m_at);
    if (first == Byte::Digit) {
      scanNumber();
    } else if (first == Byte::Text) {
      scanText();
    } else {
      return false;
    }
    if (m_token != Token::Literal || kind != parameterOf(m_literals.back().type)) return false;
    if (mark.takes == Takes::NotSmall && isSmallInteger(m_literals.back())) return false;
    if (mark.takes == Takes::Whole && !isWhole()) return false;
  }
  return passOver(std::string_view(known.key).substr(from)) && m_at == m_end &&
         !(known.disjunctive && mayBeCombined());
}

// Of two conditions on the sides of an `or`, a planner may make one, but only where it sees that their
// literals are the same, as it does not of two parameters. One that is kept is a small integer.
bool StatementShape::mayBeCombined() const {
  if (!m_dialect->literalsDecideThePlan) return false;
  constexpr std::size_t kMostCompared = 32;
  if (m_literals.size() > kMostCompared) return true;
  for (auto literal = m_literals.begin(); literal != m_literals.end(); ++literal) {
    if (isSmallInteger(*literal)) return true;
    for (auto other = m_literals.begin(); other != literal; ++other) {
      if (other->bytes == literal->bytes) return true;
    }
  }
  return false;
}

bool StatementShape::passOver(std::string_view run) {
  if (static_cast<std::size_t>(m_end - m_at) < run.size() || std::memcmp(m_at, run.data(), run.size()) != 0) {
    return false;
  }
  m_at += run.size();
  return true;
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
      liftNull();
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
      liftNull();
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
  m_marks.back().takes = Takes::Whole;
  if (!isWhole() || (kept && !keepLiteral())) return false;
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
    if (is(word::kOr)) m_disjunctive = true;
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
    if (kept && m_dialect->literalsDecideThePlan) {
      m_marks.back().takes = Takes::NotSmall;
      if (isSmallInteger(m_literals.back()) && !keepLiteral()) return false;
    }
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
  if (m_token == Token::Literal) lift();
}

void StatementShape::bad() {
  m_token = m_at == m_end ? Token::End : Token::Bad;
  if (m_at < m_end) ++m_at;
}

StatementShape::Token StatementShape::tokenOf(char sign) {
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

void StatementShape::scanComparison() {
  const char first = *m_at++;
  const char second = *m_at;
  const bool two = second == '=' ? first != '=' : first == '<' && second == '>';
  if (two) ++m_at;
  m_token = first == '!' && !two ? Token::Bad : Token::Compare;
}

void StatementShape::scanWord() {
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
    m_word = intersect ? word::kIntersect : 0;
  }
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
  if (!isDigit(m_at[1])) return false;
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
  m_literals.push_back({Type::Text, 0, bytes});
  m_token = Token::Literal;
}

char StatementShape::parameterOf(Type type) const {
  constexpr char kTyped[] = {kAnyParameter, kIntegerParameter, kLongParameter, kDecimalParameter,
                             kAnyParameter};
  return m_dialect->typedParameters ? kTyped[static_cast<std::size_t>(type)] : kAnyParameter;
}

// The literal is the token at hand.
void StatementShape::lift() {
  m_text.append(m_copied, m_begin);
  m_copied = m_at;
  m_marks.push_back({m_text.size(), Takes::Any});
  m_text += parameterOf(m_literals.back().type);
}

bool StatementShape::isWhole() const {
  const Type type = m_literals.back().type;
  return type == Type::Integer || type == Type::Long;
}

bool StatementShape::isSmallInteger(const Literal& literal) {
  return literal.type == Type::Integer && literal.integer >= -1 && literal.integer <= 1;
}

// Has the literal at hand stay in the statement.
bool StatementShape::keepLiteral() {
  if (std::any_of(m_begin, m_at, isControl)) return false;
  m_literals.pop_back();
  m_text.back() = kKept;
  m_text.append(m_begin, m_at);
  m_marks.push_back({m_text.size(), Takes::Any});
  m_text += kKept;
  return true;
}

void StatementShape::liftNull() {
  m_literals.push_back({Type::Null, 0, {}});
  lift();
}

// Writes the key of a text that is not liftable: everything that may be a value is gone, whatever it is.
// Where the store might see parts that are not those of the scanner, the rest of the text is one value.
void StatementShape::mask() {
  m_text.clear();
  m_literals.clear();
  const SqlScanner scanner(*m_sql, *m_dialect);
  m_at = m_sql->data();
  while (m_at < m_end && m_text.size() < kLongestMasked) {
    m_begin = m_at;
    m_at = m_sql->data() + scanner.opaqueEnd(static_cast<std::size_t>(m_at - m_sql->data()));
    if (m_at > m_begin ? maskOpaque(scanner) : maskPlain()) continue;
    if (m_text.empty() || m_text.back() != kMasked) m_text += kMasked;
    return;
  }
}

// @return whether the store surely sees the end of the part where it is
bool StatementShape::maskOpaque(const SqlScanner& scanner) {
  const char first = *m_begin;
  const std::string_view part(m_begin, static_cast<std::size_t>(m_at - m_begin));
  if (first == '-' || first == '/') {
    m_text += ' ';
    const std::size_t line = part.find('\r');  // which ends a comment in one store and not in the other
    return first == '/' || line == std::string_view::npos || line + 1 == part.size();
  }
  const bool closed = part.size() > 1 && part.back() == (first == '[' ? ']' : first);
  const bool literal = first == '\'' || first == '$' || (first == '"' && m_dialect->doubleQuotedLiterals);
  if (closed && !literal) {
    m_text.append(part);
    return true;
  }
  if (!closed) {
    // A quote inside of a value that was not doubled may be why: what stood between two of them is a value.
    m_text.resize(std::min(m_text.find(kMasked), m_text.size()));
    return false;
  }
  const bool doubled = m_begin > m_sql->data() && m_begin[-1] == first && m_text.back() == kMasked;
  if (!doubled) m_text += kMasked;
  if (m_at < m_end && isIdentifierByte(*m_at)) return false;
  const bool settled = first != '\'' || !m_dialect->backslashIsASetting ||
                       scanner.isEscapedLiteral(static_cast<std::size_t>(m_begin - m_sql->data()));
  return settled || part.find('\\') == std::string_view::npos;
}

// @return whether the store surely sees no more of it as a part of its own
bool StatementShape::maskPlain() {
  const char first = *m_at++;
  if (isDigit(first)) {
    // With its fraction, exponent or hexadecimal digits.
    while (m_at < m_end && (isIdentifierByte(*m_at) || *m_at == '.')) ++m_at;
    m_text += kMasked;
    return true;
  }
  if (isIdentifierByte(first)) {
    while (m_at < m_end && (isIdentifierByte(*m_at) || *m_at == '$')) ++m_at;
    m_text.append(m_begin, m_at);
    return true;
  }
  m_text += isControl(first) ? ' ' : first;
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
