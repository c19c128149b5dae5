#pragma once

#include <sqlite3.h>

#include "exec/adapters/store/BatchColumns.h"

namespace vorn {

/// @return a failure when a value of the batch has no exact counterpart in SQLite: an unsigned integer above
/// the
///         signed 64-bit range, or NaN, which would become NULL
ExecResult checkSqliteValues(const BatchColumns& columns);

/// Binds one row to the parameters ?1, ?2, … of a statement, without copying texts.
/// @return an SQLite result code
int bindSqliteRow(sqlite3_stmt* statement, const BatchColumns& columns, std::size_t row);

}  // namespace vorn
