#pragma once

#include <cstddef>
#include <string>

namespace vorn {

enum class SqlDialect : unsigned char { Sqlite, Postgres };

/// @return whether the byte may stand in an identifier without quotes, behind its first
bool isIdentifierByte(char c);

/// Finds what a dialect does not look into: literals, quoted identifiers, comments.
/// @param at  not inside one of them
/// @return the end of the one that begins at `at`, the end of the text if nothing ends it, or `at` if none
/// begins there
std::size_t opaqueEnd(const std::string& sql, std::size_t at, SqlDialect dialect);

}  // namespace vorn
