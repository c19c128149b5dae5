#include "vorn/criterion.h"

#include <type_traits>
#include <utility>

#include "criteria/text_access.h"
#include "statement/EscapedText.h"
#include "statement/concatenate.h"
#include "statement/keywords.h"
#include "statement/number_text.h"
#include "vorn/platform/text.h"
#include "vorn/statement.h"

namespace keyword = vorn::keyword;
using vorn::EscapedText;
using vorn::FormatFailure;
using vorn::TextAccess;

namespace {

// Appends the pieces to the operand and puts both in parentheses.
template <typename... Pieces>
[[gnu::always_inline]] inline CVORNCriterion appendAndWrapPieces(CVORNCriterionItem& item,
                                                                 const Pieces&... pieces) {
  CVORNCriterion condition;
  std::string& itemText = TextAccess::of(item);
  TextAccess::of(condition) = vorn::concatenateWithRoom("(", itemText, pieces..., ")");
  std::string& comparison = TextAccess::comparisonOf(item);
  vorn::appendPieces(comparison, pieces...);
  // A number that could not be formatted may leave nothing but the parentheses.
  if (comparison.empty()) itemText = TextAccess::of(condition);
  return condition;
}

CVORNCriterion append(CVORNCriterionItem& item, std::string_view keyword, std::string_view opening,
                      std::string_view operand, std::string_view closing) {
  std::string& itemText = TextAccess::of(item);
  vorn::appendPieces(itemText, keyword, opening, operand, closing);
  return CVORNCriterion(itemText);
}

CVORNCriterion appendAndWrap(CVORNCriterionItem& item, std::string_view opening, std::string_view operand,
                             std::string_view closing = {}) {
  return appendAndWrapPieces(item, opening, operand, closing);
}

template <typename Number>
CVORNCriterion appendNumberAndWrap(CVORNCriterionItem& item, const char* format, Number value,
                                   const FormatFailure& failure) {
  vorn::NumberBuffer buffer;
  return appendAndWrapPieces(item, vorn::formatNumber(buffer, format, value, failure));
}

template <typename Integer>
CVORNCriterion createCriterionWithInt(CVORNCriterionItem& item, Integer value, bool isEqual,
                                      bool isUnsigned) {
  const char* const format = isEqual ? (isUnsigned ? "=%lu" : "=%ld") : (isUnsigned ? "!=%lu" : "!=%ld");
  using Wide = std::conditional_t<std::is_unsigned_v<Integer>, unsigned long, long>;
  // This line alone goes out neither tagged nor scrubbed.
  return appendNumberAndWrap(item, format, static_cast<Wide>(value),
                             {"CVORNCriterion createCriterionWithInt.snprintf_s failed",
                              {"CVORNCriterionItem", "createCriterionWithInt", __LINE__},
                              false});
}

CVORNCriterion equalToReal(CVORNCriterionItem& item, double value) {
  return appendNumberAndWrap(
      item, "=%f", value,
      {"CVORNCriterionItem::operator==.snprintf_s failed", {"CVORNCriterionItem", "operator==", __LINE__}});
}

CVORNCriterion unequalToReal(CVORNCriterionItem& item, double value) {
  return appendNumberAndWrap(
      item, "!=%f", value,
      {"CVORNCriterionItem::operator!=.snprintf_s failed", {"CVORNCriterionItem", "operator!=", __LINE__}});
}

// Only the first quote is doubled, whatever follows it.
CVORNCriterion equalToText(CVORNCriterionItem& item, std::string_view value) {
  const std::size_t quote = value.find('\'');
  if (quote == std::string_view::npos) return appendAndWrap(item, "='", value, "'");
  return appendAndWrapPieces(item, "='", value.substr(0, quote), "'", value.substr(quote), "'");
}

}  // namespace

CVORNCriterionItem::CVORNCriterionItem(std::string text) : m_text(std::move(text)) {}

CVORNCriterionItem CVORNCriterionItem::operator[](const std::string& name) {
  m_text = vorn::escapeSingleQuotes(name);
  m_comparison.clear();
  return *this;
}

CVORNCriterion CVORNCriterionItem::operator()(const std::string& value) {
  // The quote stays open and nothing is wrapped: the rest is the caller's.
  return append(*this, {}, "'", EscapedText(value), {});
}

std::string CVORNCriterionItem::toString() const {
  return m_comparison.empty() ? m_text : vorn::concatenate("(", m_text, m_comparison, ")");
}

CVORNCriterion CVORNCriterionItem::in(const std::string& list) {
  return append(*this, keyword::kIn, "(", EscapedText(list), ")");
}

CVORNCriterion CVORNCriterionItem::notIn(const std::string& list) {
  // Unlike in(), the list goes in as it is.
  return append(*this, keyword::kNotIn, "(", list, ")");
}

CVORNCriterion CVORNCriterionItem::like(const std::string& pattern) {
  return append(*this, keyword::kLike, "'", vorn::escapeLikePattern(pattern), "'");
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the interface takes operands by value
CVORNCriterion CVORNCriterionItem::operator==(CVORNCriterionItem other) {
  return appendAndWrap(*this, "=", EscapedText(TextAccess::of(other)));
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the interface takes operands by value
CVORNCriterion CVORNCriterionItem::operator!=(CVORNCriterionItem other) {
  // Unlike ==, the other text goes in as it is.
  return appendAndWrap(*this, "!=", TextAccess::of(other));
}

CVORNCriterion CVORNCriterionItem::operator==(const std::string& value) {
  return equalToText(*this, value);
}

CVORNCriterion CVORNCriterionItem::operator!=(const std::string& value) {
  return appendAndWrap(*this, "!='", EscapedText(value), "'");
}

CVORNCriterion CVORNCriterionItem::operator<=(const std::string& value) {
  return appendAndWrap(*this, " <= '", EscapedText(value), "'");
}

CVORNCriterion CVORNCriterionItem::operator>=(const std::string& value) {
  return appendAndWrap(*this, " >= '", EscapedText(value), "'");
}

CVORNCriterion CVORNCriterionItem::operator<=(const CVORNBase& subSelect) {
  return appendAndWrap(*this, " <= (", subSelect.toString(), ")");
}

CVORNCriterion CVORNCriterionItem::operator>=(const CVORNBase& subSelect) {
  return appendAndWrap(*this, " >= (", subSelect.toString(), ")");
}

CVORNCriterion CVORNCriterionItem::operator==(const char& c) {
  return appendAndWrap(*this, "='", {&c, 1}, "'");
}

CVORNCriterion CVORNCriterionItem::operator!=(const char& c) {
  return appendAndWrap(*this, "!='", {&c, 1}, "'");
}

CVORNCriterion CVORNCriterionItem::operator==(const short& value) {
  return createCriterionWithInt(*this, value, true, false);
}

CVORNCriterion CVORNCriterionItem::operator==(const int& value) {
  return createCriterionWithInt(*this, value, true, false);
}

CVORNCriterion CVORNCriterionItem::operator==(const unsigned int& value) {
  return createCriterionWithInt(*this, value, true, true);
}

CVORNCriterion CVORNCriterionItem::operator==(const unsigned long& value) {
  return createCriterionWithInt(*this, value, true, true);
}

CVORNCriterion CVORNCriterionItem::operator==(const long& value) {
  return createCriterionWithInt(*this, value, true, false);
}

CVORNCriterion CVORNCriterionItem::operator==(const float& value) {
  return equalToReal(*this, static_cast<double>(value));
}

CVORNCriterion CVORNCriterionItem::operator==(const double& value) {
  return equalToReal(*this, value);
}

CVORNCriterion CVORNCriterionItem::operator!=(const short& value) {
  return createCriterionWithInt(*this, value, false, false);
}

CVORNCriterion CVORNCriterionItem::operator!=(const int& value) {
  return createCriterionWithInt(*this, value, false, false);
}

CVORNCriterion CVORNCriterionItem::operator!=(const unsigned int& value) {
  return createCriterionWithInt(*this, value, false, true);
}

CVORNCriterion CVORNCriterionItem::operator!=(const unsigned long& value) {
  return createCriterionWithInt(*this, value, false, true);
}

CVORNCriterion CVORNCriterionItem::operator!=(const long& value) {
  return createCriterionWithInt(*this, value, false, false);
}

CVORNCriterion CVORNCriterionItem::operator!=(const float& value) {
  return unequalToReal(*this, static_cast<double>(value));
}

CVORNCriterion CVORNCriterionItem::operator!=(const double& value) {
  return unequalToReal(*this, value);
}

CVORNCriterion CVORNCriterionItem::operator>=(int value) {
  return appendNumberAndWrap(
      *this, " >= %d", value,
      {"CVORNCriterionItem::operator>=.snprintf_s failed", {"CVORNCriterionItem", "operator>=", __LINE__}});
}

CVORNCriterion CVORNCriterionItem::operator<=(int value) {
  return appendNumberAndWrap(
      *this, " <= %d", value,
      {"CVORNCriterionItem::operator<=.snprintf_s failed", {"CVORNCriterionItem", "operator<=", __LINE__}});
}
