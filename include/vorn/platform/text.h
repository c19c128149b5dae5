#pragma once

#include <string>

#include "vorn/export.h"

namespace vorn {

/// Escapes a text that is to stand between single quotes as an SQL literal.
/// @code
///   assert(vorn::escapeSingleQuotes("it's") == "it''s");
/// @endcode
/// @return `text` with every single quote doubled, and with every other byte as it was, also zero bytes and
///         bytes above 127
///
/// Threads: any thread.
VORN_API std::string escapeSingleQuotes(const std::string& text);

/// Escapes a pattern that is to stand between single quotes after LIKE. The wildcards `%` and `_` keep their
/// meaning. As no ESCAPE clause is written, there is no character that would take it from them.
/// @return `pattern` with every single quote doubled
///
/// Threads: any thread.
VORN_API std::string escapeLikePattern(const std::string& pattern);

}  // namespace vorn
