#pragma once

#include <libpq-fe.h>

#include <cstddef>

#include "exec/adapters/store/BatchColumns.h"

namespace vorn {

/// How the values of a batch's column are written in the binary form of the protocol.
enum class PostgresForm : unsigned char { None, Text, Int16, Int32, Int64, Float32, Float64 };

/// Enough for the bytes of any number.
constexpr std::size_t kPostgresBinarySize = 8;

/// @param type  of the table's column, whose binary form the server takes
/// @return None where its text would mean something else; hasPostgresForm() says whether the values are of that type
PostgresForm postgresForm(const BatchColumn& column, Oid type);

/// @return whether each of a column's first `rows` values has this form: a number out of its column's range has
///         not, and goes as text for the server to refuse
bool hasPostgresForm(const BatchColumn& column, PostgresForm form, std::size_t rows);

/// @return the number of bytes of a number
std::size_t postgresFormSize(PostgresForm form);

/// Writes the bytes of a number, which has the form.
/// @param out  kPostgresBinarySize bytes
/// @return the end of what was written
char* writePostgresBinary(char* out, const BatchColumn& column, PostgresForm form, std::size_t row);

}  // namespace vorn
