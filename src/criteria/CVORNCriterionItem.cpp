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

namespace {

// Both the condition and the operand become the pieces, among which is the operand's text.
template <typename... Pieces>
[[gnu::always_inline]] inline CVORNCriterion become(std::string& itemText, const Pieces&... pieces) {
  CVORNCriterion condition;
  std::string& text = vorn::TextAccess::of(condition);
  text = vorn::concatenateWithRoom(pieces...);
  itemText = text;
  return condition;
}

CVORNCriterion append(std::string& itemText, std::string_view opening, std::string_view operand,
                      std::string_view closing) {
  return become(itemText, itemText, opening, operand, closing);
}

CVORNCriterion appendAndWrap(std::string& itemText, std::string_view opening, std::string_view operand,
                             std::string_view closing = {}) {
  return become(itemText, "(", itemText, opening, operand, closing, ")");
}

template <typename Number>
CVORNCriterion appendNumberAndWrap(std::string& itemText, const char* format, Number value,
                                   const FormatFailure& failure) {
  vorn::NumberBuffer buffer;
  return become(itemText, "(", itemText, vorn::formatNumber(buffer, format, value, failure), ")");
}

template <typename Integer>
CVORNCriterion createCriterionWithInt(std::string& itemText, Integer value, bool isEqual, bool isUnsigned) {
  const char* const format = isEqual ? (isUnsigned ? "=%lu" : "=%ld") : (isUnsigned ? "!=%lu" : "!=%ld");
  using Wide = std::conditional_t<std::is_unsigned_v<Integer>, unsigned long, long>;
  // This line alone goes out neither tagged nor scrubbed.
  return appendNumberAndWrap(itemText, format, static_cast<Wide>(value),
                             {"CVORNCriterion createCriterionWithInt.snprintf_s failed",
                              {"CVORNCriterionItem", "createCriterionWithInt", __LINE__},
                              false});
}

CVORNCriterion equalToReal(std::string& itemText, double value) {
  return appendNumberAndWrap(
      itemText, "=%f", value,
      {"CVORNCriterionItem::operator==.snprintf_s failed", {"CVORNCriterionItem", "operator==", __LINE__}});
}

CVORNCriterion unequalToReal(std::string& itemText, double value) {
  return appendNumberAndWrap(
      itemText, "!=%f", value,
      {"CVORNCriterionItem::operator!=.snprintf_s failed", {"CVORNCriterionItem", "operator!=", __LINE__}});
}

// Only the first quote is doubled, whatever follows it.
CVORNCriterion equalToText(std::string& itemText, std::string_view value) {
  const std::size_t quote = value.find('\'');
  if (quote == std::string_view::npos) return appendAndWrap(itemText, "='", value, "'");
  return become(itemText, "(", itemText, "='", value.substr(0, quote), "'", value.substr(quote), "')");
}

}  // namespace

CVORNCriterionItem::CVORNCriterionItem(std::string text) : m_text(std::move(text)) {}

CVORNCriterionItem CVORNCriterionItem::operator[](const std::string& name) {
  m_text = vorn::escapeSingleQuotes(name);
  return *this;
}

CVORNCriterion CVORNCriterionItem::operator()(const std::string& value) {
  // The quote stays open and nothing is wrapped: the rest is the caller's.
  return append(m_text, "'", EscapedText(value), {});
}

std::string CVORNCriterionItem::toString() const {
  return m_text;
}

CVORNCriterion CVORNCriterionItem::in(const std::string& list) {
  m_text += keyword::kIn;
  return append(m_text, "(", EscapedText(list), ")");
}

CVORNCriterion CVORNCriterionItem::notIn(const std::string& list) {
  m_text += keyword::kNotIn;
  // Unlike in(), the list goes in as it is.
  return append(m_text, "(", list, ")");
}

CVORNCriterion CVORNCriterionItem::like(const std::string& pattern) {
  m_text += keyword::kLike;
  return append(m_text, "'", vorn::escapeLikePattern(pattern), "'");
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the interface takes operands by value
CVORNCriterion CVORNCriterionItem::operator==(CVORNCriterionItem other) {
  return appendAndWrap(m_text, "=", EscapedText(other.m_text));
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the interface takes operands by value
CVORNCriterion CVORNCriterionItem::operator!=(CVORNCriterionItem other) {
  // Unlike ==, the other text goes in as it is.
  return appendAndWrap(m_text, "!=", other.m_text);
}

CVORNCriterion CVORNCriterionItem::operator==(const std::string& value) {
  return equalToText(m_text, value);
}

CVORNCriterion CVORNCriterionItem::operator!=(const std::string& value) {
  return appendAndWrap(m_text, "!='", EscapedText(value), "'");
}

CVORNCriterion CVORNCriterionItem::operator<=(const std::string& value) {
  return appendAndWrap(m_text, " <= '", EscapedText(value), "'");
}

CVORNCriterion CVORNCriterionItem::operator>=(const std::string& value) {
  return appendAndWrap(m_text, " >= '", EscapedText(value), "'");
}

CVORNCriterion CVORNCriterionItem::operator<=(const CVORNBase& subSelect) {
  return appendAndWrap(m_text, " <= (", subSelect.toString(), ")");
}

CVORNCriterion CVORNCriterionItem::operator>=(const CVORNBase& subSelect) {
  return appendAndWrap(m_text, " >= (", subSelect.toString(), ")");
}

CVORNCriterion CVORNCriterionItem::operator==(const char& c) {
  return appendAndWrap(m_text, "='", {&c, 1}, "'");
}

CVORNCriterion CVORNCriterionItem::operator!=(const char& c) {
  return appendAndWrap(m_text, "!='", {&c, 1}, "'");
}

CVORNCriterion CVORNCriterionItem::operator==(const short& value) {
  return createCriterionWithInt(m_text, value, true, false);
}

CVORNCriterion CVORNCriterionItem::operator==(const int& value) {
  return createCriterionWithInt(m_text, value, true, false);
}

CVORNCriterion CVORNCriterionItem::operator==(const unsigned int& value) {
  return createCriterionWithInt(m_text, value, true, true);
}

CVORNCriterion CVORNCriterionItem::operator==(const unsigned long& value) {
  return createCriterionWithInt(m_text, value, true, true);
}

CVORNCriterion CVORNCriterionItem::operator==(const long& value) {
  return createCriterionWithInt(m_text, value, true, false);
}

CVORNCriterion CVORNCriterionItem::operator==(const float& value) {
  return equalToReal(m_text, static_cast<double>(value));
}

CVORNCriterion CVORNCriterionItem::operator==(const double& value) {
  return equalToReal(m_text, value);
}

CVORNCriterion CVORNCriterionItem::operator!=(const short& value) {
  return createCriterionWithInt(m_text, value, false, false);
}

CVORNCriterion CVORNCriterionItem::operator!=(const int& value) {
  return createCriterionWithInt(m_text, value, false, false);
}

CVORNCriterion CVORNCriterionItem::operator!=(const unsigned int& value) {
  return createCriterionWithInt(m_text, value, false, true);
}

CVORNCriterion CVORNCriterionItem::operator!=(const unsigned long& value) {
  return createCriterionWithInt(m_text, value, false, true);
}

CVORNCriterion CVORNCriterionItem::operator!=(const long& value) {
  return createCriterionWithInt(m_text, value, false, false);
}

CVORNCriterion CVORNCriterionItem::operator!=(const float& value) {
  return unequalToReal(m_text, static_cast<double>(value));
}

CVORNCriterion CVORNCriterionItem::operator!=(const double& value) {
  return unequalToReal(m_text, value);
}

CVORNCriterion CVORNCriterionItem::operator>=(int value) {
  return appendNumberAndWrap(
      m_text, " >= %d", value,
      {"CVORNCriterionItem::operator>=.snprintf_s failed", {"CVORNCriterionItem", "operator>=", __LINE__}});
}

CVORNCriterion CVORNCriterionItem::operator<=(int value) {
  return appendNumberAndWrap(
      m_text, " <= %d", value,
      {"CVORNCriterionItem::operator<=.snprintf_s failed", {"CVORNCriterionItem", "operator<=", __LINE__}});
}
