#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "common/ascii.h"
#include "vorn/platform/row_value.h"

namespace vorn {

// How a field of a row becomes a value of the caller's. A field means its text: convertText() is the
// definition, and convertDirectly() a short cut for the fields whose result is certain to be the same.

/// Implements the conversion documented at CVORNReader::operator>>(Target&).
/// @param text  not empty, with a zero byte after it
void convertText(std::string_view text, char& target);
void convertText(std::string_view text, short& target);
void convertText(std::string_view text, int& target);
void convertText(std::string_view text, unsigned int& target);
void convertText(std::string_view text, unsigned short& target);
void convertText(std::string_view text, unsigned long& target);
void convertText(std::string_view text, long& target);
void convertText(std::string_view text, float& target);
void convertText(std::string_view text, double& target);

/// Takes the digits before the point, where no conversion of the text of a real to an integer reads on.
template <typename Integer>
bool wholeDigits(double real, Integer& digits) noexcept {
  if (!(std::fabs(real) < 0x1p63)) return false;
  const auto whole = static_cast<std::int64_t>(real);
  if (!std::in_range<Integer>(whole)) return false;
  digits = static_cast<Integer>(whole);
  return true;
}

/// Converts without making a text of a number, where that comes to the same.
/// @return false when the text has to decide; the target is untouched then
template <typename Target>
bool convertDirectly(const RowValue& value, Target& target) noexcept {
  using Parsed = std::conditional_t<std::is_floating_point_v<Target>, double, Target>;
  Parsed number;
  switch (value.kind()) {
    case RowValue::Kind::Integer:
      if constexpr (std::is_integral_v<Target>) {
        if (!std::in_range<Target>(value.integer())) return false;
      }
      // An integer beyond 2^53 rounds here as strtod() rounds its text.
      number = static_cast<Parsed>(value.integer());
      break;
    case RowValue::Kind::Real:
      if constexpr (std::is_integral_v<Target>) {
        if (!wholeDigits(value.real(), number)) return false;
      } else {
        number = value.real();
      }
      break;
    case RowValue::Kind::Text:
      if (!ascii::parseWhole(value.textBytes(), number)) return false;
      break;
    default:
      return false;
  }
  if constexpr (std::is_floating_point_v<Target>) {
    if (!std::isfinite(number)) return false;
  }
  target = static_cast<Target>(number);
  return true;
}

inline bool convertDirectly(const RowValue& value, char& target) noexcept {
  if (value.kind() != RowValue::Kind::Text || value.textBytes().empty()) return false;
  target = value.textBytes().front();
  return true;
}

/// @return whether the field's text is empty
inline bool isEmptyField(const RowValue& value) noexcept {
  return value.kind() == RowValue::Kind::Null ||
         (value.kind() == RowValue::Kind::Text && value.textBytes().empty());
}

/// Converts a field that is not empty as its text says.
template <typename Target>
[[gnu::noinline]] void convertThroughText(const RowValue& value, Target& target) {
  RowValue::TextBuffer buffer;
  convertText(value.textView(buffer), target);
}

}  // namespace vorn
