#include "vorn/platform/row_value.h"

#include <charconv>
#include <cmath>

namespace vorn {

namespace {

// The limits of plain notation. Outside of them the exponent form keeps the text short; inside, the digits
// before the point are the number's own, which counts when a real is read as an integer.
constexpr double kPlainFrom = 1e-4;
constexpr double kPlainBelow = 1e16;

char* writeReal(char* first, char* last, double real) {
  if (std::isnan(real)) return std::to_chars(first, last, std::abs(real)).ptr;
  const double magnitude = std::fabs(real);
  const bool plain = magnitude == 0 || (magnitude >= kPlainFrom && magnitude < kPlainBelow);
  if (!plain) return std::to_chars(first, last, real, std::chars_format::scientific).ptr;
  char* end = std::to_chars(first, last, real, std::chars_format::fixed).ptr;
  if (real == std::trunc(real)) {
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
