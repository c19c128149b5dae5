#include "exec/adapters/mariadb/MariaDbParameters.h"

namespace vorn {

namespace {

using Type = StatementShape::Type;

// The server looks at the bytes of a literal, and not at those of a parameter.
bool isUtf8(std::string_view text) {
  const auto byte = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  for (std::size_t at = 0; at < text.size();) {
    const unsigned lead = byte(at);
    const std::size_t more = lead < 0x80   ? 0
                             : lead < 0xc2 ? 4
                             : lead < 0xe0 ? 1
                             : lead < 0xf0 ? 2
                             : lead < 0xf5 ? 3
                                           : 4;
    if (more > 3 || text.size() - at <= more) return false;
    for (std::size_t next = 1; next <= more; ++next) {
      if ((byte(at + next) & 0xc0) != 0x80) return false;
    }
    const unsigned second = more > 0 ? byte(at + 1) : 0;
    // Written longer than need be, half a pair, or beyond the last character.
    if ((lead == 0xe0 && second < 0xa0) || (lead == 0xed && second > 0x9f) ||
        (lead == 0xf0 && second < 0x90) || (lead == 0xf4 && second > 0x8f)) {
      return false;
    }
    at += more + 1;
  }
  return true;
}

}  // namespace

bool MariaDbParameters::bind(const StatementShape& shape) {
  const auto& literals = shape.literals();
  m_binds.assign(literals.size(), MYSQL_BIND{});
  for (std::size_t at = 0; at < literals.size(); ++at) {
    if (!bindOne(literals[at], at)) return false;
  }
  return true;
}

// The client library does not write to what it sends.
bool MariaDbParameters::bindOne(const StatementShape::Literal& literal, std::size_t at) {
  MYSQL_BIND& bind = m_binds[at];
  switch (literal.type) {
    case Type::Null:
      bind.buffer_type = MYSQL_TYPE_NULL;
      return true;
    case Type::Integer:
    case Type::Long:
      bind.buffer_type = MYSQL_TYPE_LONGLONG;
      bind.buffer = const_cast<std::int64_t*>(&literal.integer);
      return true;
    case Type::Decimal:
      // A whole number may still be an unsigned integer.
      if (literal.bytes.find('.') == std::string_view::npos) return false;
      bind.buffer_type = MYSQL_TYPE_NEWDECIMAL;
      break;
    default:
      if (!isUtf8(literal.bytes)) return false;
      bind.buffer_type = MYSQL_TYPE_STRING;
      break;
  }
  bind.buffer = const_cast<char*>(literal.bytes.data());
  bind.buffer_length = static_cast<unsigned long>(literal.bytes.size());
  bind.length_value = bind.buffer_length;
  return true;
}

}  // namespace vorn
