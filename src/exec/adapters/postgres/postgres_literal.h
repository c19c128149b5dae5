#pragma once

#include <string>

#include "exec/adapters/store/BatchColumns.h"

namespace vorn {

/// Enough for the text of any number.
constexpr std::size_t kPostgresNumberSize = 40;

/// Writes a number of a column, which is none of texts, as the server reads it back exactly.
/// @param out  kPostgresNumberSize bytes
/// @return the end of what was written
char* writePostgresNumber(char* out, const BatchColumn& column, std::size_t row);

/// Appends a value as a literal without a type, which the server reads by the input of the value's column.
void appendPostgresLiteral(std::string& sql, const BatchColumn& column, std::size_t row);

/// Texts of a statement and of its parameters end at a zero byte, which would cut them off unseen.
/// @return the failure that the server has for a zero byte, or success
ExecResult refuseZeroBytes(const BatchColumns& columns);

}  // namespace vorn
