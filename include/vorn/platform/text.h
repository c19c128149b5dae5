#pragma once

#include <string>

#include "vorn/export.h"

namespace vorn {

/// @return `text` with every single quote doubled and nothing else changed, ready to stand between single
///         quotes as an SQL string literal. Zero bytes and bytes above 127 pass as they are.
VORN_API std::string escapeSingleQuotes(const std::string& text);

/// @return `pattern` with every single quote doubled, ready to stand between single quotes after LIKE.
///
/// The wildcards `%` and `_` keep their meaning: the pattern is the caller's, and so is the decision which of
/// its characters match literally. No ESCAPE clause is written, so there is no escape character either.
VORN_API std::string escapeLikePattern(const std::string& pattern);

}  // namespace vorn
