#pragma once

#include <string>
#include <string_view>

#include "statement/EscapedText.h"
#include "statement/concatenate.h"
#include "vorn/sqlite_util.h"

namespace vorn {

/// The highest number that is written as an unsigned one.
inline constexpr unsigned long kHighestUnsigned = 4294967294;

/// Appends the opening, which ends in a quote, the escaped text or character, and the closing quote.
inline void appendLiteral(std::string& target, std::string_view opening, const std::string& value) {
  appendPieces(target, opening, EscapedText(value), "'");
}

inline void appendLiteral(std::string& target, std::string_view opening, char value) {
  appendPieces(target, opening, CSQLiteUtil::getInstance()->replaceSpecialChar(value), "'");
}

/// A null text raises its exception after the opening, which stays.
inline void appendLiteral(std::string& target, std::string_view opening, const char* value) {
  target += opening;
  appendLiteral(target, {}, std::string(value));
}

}  // namespace vorn
