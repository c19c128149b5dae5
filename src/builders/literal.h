#pragma once

#include <string>
#include <string_view>

#include "vorn/sqlite_util.h"

namespace vorn {

/// The highest number that is written as an unsigned one.
inline constexpr unsigned long kHighestUnsigned = 4294967294;

/// Appends the opening, which ends in a quote, the escaped text or character, and the closing quote. A null
/// text raises its exception after the opening, which stays.
template <typename Text>
void appendLiteral(std::string& target, std::string_view opening, const Text& value) {
  target += opening;
  target += CSQLiteUtil::getInstance()->replaceSpecialChar(value);
  target += '\'';
}

}  // namespace vorn
