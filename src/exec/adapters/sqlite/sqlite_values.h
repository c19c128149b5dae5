#pragma once

#include <sqlite3.h>

#include "exec/adapters/store/BatchColumns.h"

namespace vorn {

/// @return a failure when a value of the batch has no exact counterpart in SQLite: an unsigned integer above
///         the signed 64-bit range, or NaN, which would become NULL
ExecResult checkSqliteValues(const BatchColumns& columns);

/// Binds one row to the parameters ?1, ?2, … of a statement, without copying texts.
/// @return an SQLite result code
int bindSqliteRow(sqlite3_stmt* statement, const BatchColumns& columns, std::size_t row);

/// Makes one value of a column the result of a function or of a virtual table's column, without copying
/// texts.
void returnSqliteValue(sqlite3_context* context, const BatchColumn& column, std::size_t row) noexcept;

}  // namespace vorn
