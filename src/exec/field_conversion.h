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

// The three below return false when the text has to decide; the target is untouched then.

template <typename Target>
bool convertInteger(std::int64_t integer, Target& target) noexcept {
  if constexpr (std::is_integral_v<Target>) {
    if (!std::in_range<Target>(integer)) return false;
    target = static_cast<Target>(integer);
  } else {
    // An integer beyond 2^53 rounds here as strtod() rounds its text.
    target = static_cast<Target>(static_cast<double>(integer));
  }
  return true;
}

template <typename Target>
bool convertReal(double real, Target& target) noexcept {
  if constexpr (std::is_integral_v<Target>) {
    return wholeDigits(real, target);
  } else {
    if (!std::isfinite(real)) return false;
    target = static_cast<Target>(real);
    return true;
  }
}

/// Converts without making a text of a number, where that comes to the same.
template <typename Target>
bool convertDirectly(const RowValue& value, Target& target) noexcept {
  switch (value.kind()) {
    case RowValue::Kind::Integer:
      return convertInteger(value.integer(), target);
    case RowValue::Kind::Real:
      return convertReal(value.real(), target);
    case RowValue::Kind::Text: {
      std::conditional_t<std::is_floating_point_v<Target>, double, Target> number;
      if (!ascii::parseWhole(value.textBytes(), number)) return false;
      if constexpr (std::is_floating_point_v<Target>) {
        return convertReal(number, target);
      } else {
        target = number;
        return true;
      }
    }
    default:
      return false;
  }
}

// The first byte of a number is that of its text.
inline bool convertInteger(std::int64_t, char&) noexcept {
  return false;
}
inline bool convertReal(double, char&) noexcept {
  return false;
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
