#include "exec/adapters/sql/StatementShape.h"

#include <algorithm>
#include <cstring>

#include "common/ascii.h"
#include "exec/adapters/sql/SqlScanner.h"
#include "exec/adapters/sql/ValueMask.h"

namespace vorn {

namespace {

// Stand in a key for the literals that were lifted, one byte each. No liftable text holds bytes below a tab
// outside of its literals.
constexpr char kAnyParameter = '\1';
constexpr char kIntegerParameter = '\2';
constexpr char kLongParameter = '\3';
constexpr char kDecimalParameter = '\4';
constexpr char kKept = '\5';  // on both sides of a literal that stays

// A longer shape is hardly used twice.
constexpr std::size_t kLongestShape = 16384;

constexpr int kDeepest = 64;

namespace word {
constexpr auto wordOf = StatementTokens::wordOf;
constexpr std::uint64_t kSelect = wordOf("select"), kInsert = wordOf("insert"), kUpdate = wordOf("update"),
                        kDelete = wordOf("delete"), kInto = wordOf("into"), kValues = wordOf("values"),
                        kSet = wordOf("set"), kFrom = wordOf("from"), kWhere = wordOf("where"),
                        kGroup = wordOf("group"), kHaving = wordOf("having"), kOrder = wordOf("order"),
                        kBy = wordOf("by"), kLimit = wordOf("limit"), kOffset = wordOf("offset"),
                        kUnion = wordOf("union"), kExcept = wordOf("except"), kAll = wordOf("all"),
                        kOn = wordOf("on"), kAnd = wordOf("and"), kOr = wordOf("or"), kNot = wordOf("not"),
                        kIn = wordOf("in"), kIs = wordOf("is"), kLike = wordOf("like"),
                        kBetween = wordOf("between"), kExists = wordOf("exists"), kNull = wordOf("null");
constexpr std::uint64_t kIntersect = StatementTokens::kIntersect;
}  // namespace word

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
  m_tokens.start(sql, dialect);
  m_copied = sql.data();
  m_depth = 0;
  m_disjunctive = false;
  m_verb = Verb::Other;
  m_text.clear();
  m_marks.clear();
  next();
  m_liftable = readStatement() && m_tokens.token() == Token::End;
  if (m_liftable) m_text.append(m_copied, m_tokens.end());
  m_liftable = m_liftable && m_text.size() <= kLongestShape && !(m_disjunctive && mayBeCombined());
  if (!m_liftable) {
    m_tokens.literals().clear();
    m_text.clear();
    ValueMask(sql, dialect, m_text).append();
  }
  m_key = m_text;
  m_hash = hashOf(m_key);
  m_liftable ? remember() : rememberUnliftable();
}

// A text that is not liftable is often followed by itself.
bool StatementShape::isLastUnliftable() {
  if (m_unliftable.dialect != m_dialect || m_unliftable.text != *m_sql) return false;
  m_tokens.literals().clear();
  m_key = m_unliftable.key;
  m_hash = m_unliftable.hash;
  m_verb = m_unliftable.verb;
  m_liftable = false;
  return true;
}

void StatementShape::rememberUnliftable() {
  m_unliftable.dialect = nullptr;  // for as long as it is neither the one nor the other
  if (m_sql->size() > ValueMask::kLongest) return;
  m_unliftable.text.assign(*m_sql);
  m_unliftable.key.assign(m_text);
  m_unliftable.hash = m_hash;
  m_unliftable.verb = m_verb;
  m_unliftable.dialect = m_dialect;
}

bool StatementShape::keepsLiterals() const noexcept {
  return m_liftable && m_key.find(kKept) != std::string_view::npos;
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
  m_tokens.start(*m_sql, *m_dialect);
  std::size_t from = 0;
  for (const Mark& mark : known.marks) {
    if (!m_tokens.passOver(std::string_view(known.key).substr(from, mark.at - from))) return false;
    from = mark.at + 1;
    const char kind = known.key[mark.at];
    if (kind == kKept) continue;
    if (!m_tokens.passLiteral() || kind != parameterOf(m_tokens.literals().back().type)) return false;
    if (mark.takes == Takes::NotSmall && isSmallInteger(m_tokens.literals().back())) return false;
    if (mark.takes == Takes::Whole && !isWhole()) return false;
  }
  return m_tokens.passOver(std::string_view(known.key).substr(from)) && m_tokens.at() == m_tokens.end() &&
         !(known.disjunctive && mayBeCombined());
}

// Of two conditions on the sides of an `or`, a planner may make one, but only where it sees that their
// literals are the same, as it does not of two parameters. One that is kept is a small integer.
bool StatementShape::mayBeCombined() const {
  if (!m_dialect->literalsDecideThePlan) return false;
  constexpr std::size_t kMostCompared = 32;
  if (m_tokens.literals().size() > kMostCompared) return true;
  for (auto literal = m_tokens.literals().begin(); literal != m_tokens.literals().end(); ++literal) {
    if (isSmallInteger(*literal)) return true;
    for (auto other = m_tokens.literals().begin(); other != literal; ++other) {
      if (other->bytes == literal->bytes) return true;
    }
  }
  return false;
}

bool StatementShape::readStatement() {
  if (m_tokens.token() != Token::Word) return false;
  switch (m_tokens.word()) {
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
  if (m_tokens.token() == Token::Open && !readColumnList()) return false;
  if (!take(word::kValues) || !take(Token::Open)) return false;
  do {
    if (is(word::kNull)) {
      liftNull();
    } else if (m_tokens.token() != Token::Literal) {
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
    if (!readTableName() || m_tokens.token() != Token::Compare || m_tokens.at() - m_tokens.begin() != 1 ||
        *m_tokens.begin() != '=')
      return false;
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
    if (m_tokens.token() != Token::Word && m_tokens.token() != Token::Name) return false;
    next();
  } while (take(Token::Dot));
  return true;
}

bool StatementShape::readColumnList() {
  next();
  do {
    if (m_tokens.token() != Token::Word && m_tokens.token() != Token::Name) return false;
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
  if (m_tokens.token() != Token::Literal) return false;
  m_marks.back().takes = Takes::Whole;
  if (!isWhole() || (kept && !keepLiteral())) return false;
  next();
  return true;
}

// Names, with stars and calls: a select list, tables, what to sort or to group by. No literal stands there.
// Ends before a word that begins the next clause.
bool StatementShape::skipNames() {
  for (;; next()) {
    switch (m_tokens.token()) {
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
    switch (m_tokens.word()) {
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
    switch (m_tokens.token()) {
      case Token::Open:
        ++depth;
        break;
      case Token::Close:
        if (--depth == 0) return true;
        break;
      case Token::Word:
        if (m_tokens.word() == word::kSelect) return false;
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
  if (take(word::kExists)) return m_tokens.token() == Token::Open && readSubSelect();
  if (m_tokens.token() == Token::Open) {
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
  if (m_tokens.token() == Token::Compare) {
    const bool equality = *m_tokens.begin() == '=';
    next();
    if (m_tokens.token() == Token::Open) return readSubSelect();
    return readOperand(literal, equality) && !(literal && literalOnTheLeft);
  }
  if (literalOnTheLeft) return false;
  if (take(word::kIs)) {
    take(word::kNot);
    return take(word::kNull);
  }
  take(word::kNot);
  if (take(word::kIn)) return m_tokens.token() == Token::Open && readList();
  if (take(word::kBetween)) {
    return readOperand(literal, false) && take(word::kAnd) && readOperand(literal, false);
  }
  if (!take(word::kLike)) return true;
  // A number is a pattern in the character set of the column, and a parameter is not.
  const bool kept = m_dialect->literalsDecideThePlan || *m_tokens.begin() != '\'';
  if (m_tokens.token() == Token::Literal && kept && !keepLiteral()) return false;
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
  literal = m_tokens.token() == Token::Literal;
  if (literal) {
    if (kept && m_dialect->literalsDecideThePlan) {
      m_marks.back().takes = Takes::NotSmall;
      if (isSmallInteger(m_tokens.literals().back()) && !keepLiteral()) return false;
    }
    next();
    return true;
  }
  if (is(word::kSelect) || !readTableName()) return false;
  if (m_tokens.token() != Token::Open) return true;
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
  if (m_tokens.token() != token) return false;
  next();
  return true;
}

void StatementShape::next() {
  m_tokens.next();
  if (m_tokens.token() == Token::Literal) lift();
}

char StatementShape::parameterOf(Type type) const {
  constexpr char kTyped[] = {kAnyParameter, kIntegerParameter, kLongParameter, kDecimalParameter,
                             kAnyParameter};
  return m_dialect->typedParameters ? kTyped[static_cast<std::size_t>(type)] : kAnyParameter;
}

// The literal is the token at hand.
void StatementShape::lift() {
  m_text.append(m_copied, m_tokens.begin());
  m_copied = m_tokens.at();
  m_marks.push_back({m_text.size(), Takes::Any});
  m_text += parameterOf(m_tokens.literals().back().type);
}

bool StatementShape::isWhole() const {
  const Type type = m_tokens.literals().back().type;
  return type == Type::Integer || type == Type::Long;
}

bool StatementShape::isSmallInteger(const Literal& literal) {
  return literal.type == Type::Integer && literal.integer >= -1 && literal.integer <= 1;
}

// Has the literal at hand stay in the statement.
bool StatementShape::keepLiteral() {
  if (std::any_of(m_tokens.begin(), m_tokens.at(), ascii::isControl)) return false;
  m_tokens.literals().pop_back();
  m_text.back() = kKept;
  m_text.append(m_tokens.begin(), m_tokens.at());
  m_marks.push_back({m_text.size(), Takes::Any});
  m_text += kKept;
  return true;
}

void StatementShape::liftNull() {
  m_tokens.literals().push_back({Type::Null, 0, {}});
  lift();
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
    } else if (c >= kAnyParameter && c <= kMaskedValue) {
      text += mask ? '?' : dialect.parameterMark;
      if (!mask && dialect.numberedParameters) text += std::to_string(++parameter);
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
