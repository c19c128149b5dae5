#include "exec/adapters/postgres/PostgresParameters.h"

#include <algorithm>
#include <limits>

#include "common/ascii.h"
#include "exec/adapters/postgres/postgres_oid.h"

namespace vorn {

namespace {

using Literal = StatementShape::Literal;
using Type = StatementShape::Type;

// The length and precision of a type are kept with this added.
constexpr int kModifierOffset = 4;

// A number of more digits may be out of the range of a real.
constexpr std::size_t kMostDigits = 30;

// Types below are the server's own, and never domains.
constexpr Oid kFirstOtherType = 10000;

bool isInRange(std::int64_t value, Oid type) {
  if (type == postgres_oid::kInt2) {
    return value >= std::numeric_limits<std::int16_t>::min() &&
           value <= std::numeric_limits<std::int16_t>::max();
  }
  if (type == postgres_oid::kInt4) {
    return value >= std::numeric_limits<std::int32_t>::min() &&
           value <= std::numeric_limits<std::int32_t>::max();
  }
  return true;
}

// As the server writes it: no blank, no plus, no zero before other digits.
bool isCanonicalInteger(std::string_view text, std::int64_t& value) {
  if (!ascii::parseWhole(text, value)) return false;
  const std::string_view digits = text.substr(text[0] == '-' ? 1 : 0);
  return text == "0" || digits[0] != '0';
}

// Whether a text has the form of a pattern, in which 9 stands for a digit and x for a small hexadecimal one.
bool hasForm(std::string_view text, std::string_view pattern) {
  return std::equal(text.begin(), text.end(), pattern.begin(), pattern.end(), [](char byte, char form) {
    if (form == '9') return ascii::isDigit(byte);
    if (form == 'x') return ascii::isDigit(byte) || (byte >= 'a' && byte <= 'f');
    return byte == form;
  });
}

int numberAt(std::string_view digits, std::size_t at, std::size_t size) {
  int value = 0;
  for (const char digit : digits.substr(at, size)) value = value * 10 + (digit - '0');
  return value;
}

bool isDate(std::string_view text) {
  if (!hasForm(text, "9999-99-99")) return false;
  const int year = numberAt(text, 0, 4), month = numberAt(text, 5, 2), day = numberAt(text, 8, 2);
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (year == 0 || month < 1 || month > 12) return false;
  const bool leap = month == 2 && year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  return day >= 1 && day <= kDays[month - 1] + (leap ? 1 : 0);
}

bool isTimestamp(std::string_view text) {
  constexpr std::size_t kDate = 10;
  return text.size() > kDate && isDate(text.substr(0, kDate)) && hasForm(text.substr(kDate), " 99:99:99") &&
         numberAt(text, 11, 2) < 24 && numberAt(text, 14, 2) < 60 && numberAt(text, 17, 2) < 60;
}

// Whether a text of so many characters fits a type with a length. How many there are in another encoding than
// UTF-8 is only clear where there is nothing but ASCII.
bool fitsLength(std::string_view text, int modifier, bool utf8) {
  if (modifier < 0) return true;
  if (!utf8 && std::any_of(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; })) return false;
  const auto most = static_cast<std::size_t>(modifier - kModifierOffset);
  if (text.size() <= most) return true;
  const auto characters = std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; });
  return static_cast<std::size_t>(characters) <= most;
}

// Whether a number, given by its digits, fits numeric(precision, scale) however it is rounded.
bool fitsPrecision(std::string_view number, int modifier) {
  if (modifier < 0) return true;
  const int packed = modifier - kModifierOffset;
  const int precision = packed >> 16, scale = packed & 0x7ff;
  if (scale > precision) return false;  // or below zero
  number.remove_prefix(number[0] == '-' ? 1 : 0);
  const std::size_t point = std::min(number.find('.'), number.size());
  const auto digits = static_cast<int>(point);
  return digits < precision - scale || (digits == precision - scale && point == number.size());
}

bool numberFits(const Literal& literal, const PostgresStatement::Column& column, bool utf8) {
  const bool whole = literal.type != Type::Decimal;
  if (literal.bytes.size() > kMostDigits) return false;
  switch (column.type) {
    case postgres_oid::kInt2:
    case postgres_oid::kInt4:
    case postgres_oid::kInt8:
      return whole && isInRange(literal.integer, column.type);
    case postgres_oid::kNumeric:
      return fitsPrecision(literal.bytes, column.modifier);
    case postgres_oid::kFloat4:
    case postgres_oid::kFloat8:
      return true;
    case postgres_oid::kText:
    case postgres_oid::kVarchar:
    case postgres_oid::kBpchar:
      return fitsLength(literal.bytes, column.modifier, utf8);
    default:
      return false;
  }
}

bool fits(const Literal& literal, const PostgresStatement::Column& column, bool utf8) {
  switch (literal.type) {
    case Type::Null:
      return true;
    case Type::Text:
      // What its column's type does not print like this is not bound at all.
      return column.type == postgres_oid::kNumeric ? fitsPrecision(literal.bytes, column.modifier)
             : column.type == postgres_oid::kVarchar || column.type == postgres_oid::kBpchar
                 ? fitsLength(literal.bytes, column.modifier, utf8)
                 : true;
    default:
      return numberFits(literal, column, utf8);
  }
}

}  // namespace

std::vector<Oid> PostgresParameters::typesOf(const StatementShape& shape) {
  std::vector<Oid> types;
  for (const Literal& literal : shape.literals()) {
    switch (literal.type) {
      case Type::Integer:
        types.push_back(postgres_oid::kInt4);
        break;
      case Type::Long:
        types.push_back(postgres_oid::kInt8);
        break;
      case Type::Decimal:
        types.push_back(postgres_oid::kNumeric);
        break;
      default:
        types.push_back(0);
    }
  }
  return types;
}

bool PostgresParameters::bind(const StatementShape& shape, const PostgresStatement& statement, bool utf8) {
  const std::vector<Literal>& literals = shape.literals();
  const std::size_t count = literals.size();
  if (count != statement.parameters.size()) return false;
  m_values.resize(count);
  m_lengths.resize(count);
  m_formats.resize(count);
  m_copies.resize(count);
  for (std::size_t at = 0; at < count; ++at) {
    if (at < statement.targets.size() && statement.targets[at].type != 0 &&
        !fits(literals[at], statement.targets[at], utf8)) {
      return false;
    }
    if (!bindOne(literals[at], statement.parameters[at], at)) return false;
  }
  return true;
}

bool PostgresParameters::bindOne(const Literal& literal, Oid type, std::size_t at) {
  switch (literal.type) {
    case Type::Null:
      m_values[at] = nullptr;
      return type < kFirstOtherType;
    case Type::Integer:
      bindInteger(literal.integer, sizeof(std::int32_t), at);
      return true;
    case Type::Long:
      bindInteger(literal.integer, sizeof(std::int64_t), at);
      return true;
    case Type::Decimal:
      return literal.bytes.size() <= kMostDigits && bindCopy(literal.bytes, at);
    default:
      return bindText(literal.bytes, type, at);
  }
}

bool PostgresParameters::bindText(std::string_view text, Oid type, std::size_t at) {
  std::int64_t integer = 0;
  switch (type) {
    case postgres_oid::kText:
    case postgres_oid::kVarchar:
    case postgres_oid::kBpchar:
      // Blanks at the end count in one of these types and not in another.
      bindBytes(text, at);
      return text.empty() || text.back() != ' ';
    case postgres_oid::kInt2:
    case postgres_oid::kInt4:
    case postgres_oid::kInt8:
      if (!isCanonicalInteger(text, integer) || !isInRange(integer, type)) return false;
      bindInteger(integer, type == postgres_oid::kInt2 ? 2 : type == postgres_oid::kInt4 ? 4 : 8, at);
      return true;
    case postgres_oid::kNumeric:
      return isCanonicalInteger(text, integer) && bindCopy(text, at);
    case postgres_oid::kBool:
      return (text == "true" || text == "false") && bindCopy(text, at);
    case postgres_oid::kDate:
      return isDate(text) && bindCopy(text, at);
    case postgres_oid::kTimestamp:
      return isTimestamp(text) && bindCopy(text, at);
    case postgres_oid::kUuid:
      return hasForm(text, "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx") && bindCopy(text, at);
    default:
      return false;
  }
}

// In network order.
void PostgresParameters::bindInteger(std::int64_t value, std::size_t size, std::size_t at) {
  auto bits = static_cast<std::uint64_t>(value);
  for (std::size_t byte = size; byte > 0; bits >>= 8U) m_copies[at][--byte] = static_cast<char>(bits & 0xFFU);
  bindBytes({m_copies[at].data(), size}, at);
}

void PostgresParameters::bindBytes(std::string_view bytes, std::size_t at) {
  m_values[at] = bytes.data();
  m_lengths[at] = static_cast<int>(bytes.size());
  m_formats[at] = 1;
}

bool PostgresParameters::bindCopy(std::string_view text, std::size_t at) {
  char* const copy = m_copies[at].data();
  copy[text.copy(copy, kLongestCopy - 1)] = '\0';
  m_values[at] = copy;
  m_formats[at] = 0;
  return true;
}

}  // namespace vorn
