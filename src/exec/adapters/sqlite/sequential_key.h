#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <string>

#include "exec/adapters/store/BatchColumns.h"

namespace vorn {

/// Looks for the column of a batch that SQLite would number by itself in the same way: the table's row id,
/// its values rising by one and all above what the table holds. Once the first of them is there, the others
/// need no search for their place, and may be given as null.
///
/// That holds only where each row is stored or ends the statement: not where a conflict clause of the table
/// ignores or replaces rows, and not where a trigger writes others. Such tables have no such column.
/// @param table  a plain table name, as the batch gives it; its transaction is open for writing
/// @return the column's number; columns.size() when there is none, or when it cannot be known
std::size_t findSequentialRowId(sqlite3* database, const std::string& table, const BatchColumns& columns);

}  // namespace vorn
