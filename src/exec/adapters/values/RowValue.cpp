#include "vorn/platform/row_value.h"

#include <charconv>
#include <cmath>

namespace vorn {

namespace {

// Never an exponent: what reads an integer stops at the first byte that is no digit, so the digits before the
// point have to be the number's own, all of them.
char* writeReal(char* first, char* last, double real) {
  if (std::isnan(real)) return std::to_chars(first, last, std::abs(real)).ptr;
  char* end = std::to_chars(first, last, real, std::chars_format::fixed).ptr;
  if (real == std::trunc(real) && std::isfinite(real)) {
    *end++ = '.';
    *end++ = '0';
  }
  return end;
}

}  // namespace

std::string_view RowValue::textView(TextBuffer& buffer) const noexcept {
  char* const first = buffer.bytes;
  char* const last = first + sizeof buffer.bytes - 1;
  char* end = first;
  switch (m_kind) {
    case Kind::Null:
      break;
    case Kind::Integer:
      end = std::to_chars(first, last, m_number.integer).ptr;
      break;
    case Kind::Real:
      end = writeReal(first, last, m_number.real);
      break;
    case Kind::Text:
      return m_text;
  }
  *end = '\0';
  return {first, static_cast<std::size_t>(end - first)};
}

std::string RowValue::text() const {
  TextBuffer buffer;
  return std::string(textView(buffer));
}

void RowValue::writeNumber(std::string& target) const {
  TextBuffer buffer;
  target.assign(textView(buffer));
}

}  // namespace vorn
