#include "own_platform/BatchRows.h"

#include <charconv>
#include <stdexcept>
#include <utility>

#include "vorn/platform/text.h"

namespace {

std::string literal(const std::string& text) {
  return "'" + vorn::escapeSingleQuotes(text) + "'";
}

template <typename Number>
std::string literal(Number number) {
  char digits[64];
  return {digits, std::to_chars(digits, digits + sizeof digits, number).ptr};
}

/// The elements of a vector stand side by side, so the row's one is found by its place.
template <typename Element>
std::string element(const vorn::TypedRef& column, std::size_t row) {
  return literal(static_cast<const Element*>(column.type.record->first(column.object))[row]);
}

std::string literalOf(const vorn::TypedRef& column, std::size_t row) {
  switch (column.type.record->elementCode) {
    case vorn::element_code::kSigned64:
      return element<long>(column, row);
    case vorn::element_code::kUnsigned64:
      return element<unsigned long>(column, row);
    case vorn::element_code::kFloat:
      return element<float>(column, row);
    case vorn::element_code::kDouble:
      return element<double>(column, row);
    case vorn::element_code::kString:
      return element<std::string>(column, row);
    default:
      throw std::logic_error("a batch has no such column");
  }
}

}  // namespace

BatchRows::BatchRows(std::string text, const vorn::ParamRefMap& columns)
    : m_text(std::move(text)), m_columns(columns), m_count(0) {
  if (columns.empty()) return;
  const vorn::TypedRef& first = columns.begin()->second;
  m_count = first.type.record->count(first.object);
}

std::string BatchRows::statement(std::size_t row) const {
  std::string filled;
  std::size_t from = 0;
  for (std::size_t at = 0; (at = m_text.find('{', from)) != std::string::npos;) {
    const std::size_t end = m_text.find('}', at);
    filled.append(m_text, from, at - from);
    filled += literalOf(m_columns.at(m_text.substr(at + 1, end - at - 1)), row);
    from = end + 1;
  }
  return filled + m_text.substr(from);
}
