#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <string>

#include "exec/adapters/BatchColumns.h"

namespace vorn {

/// Looks for the column of a batch that SQLite would number by itself in the same way: the table's row id,
/// its values rising by one and all above what the table holds. Once the first of them is there, the others
/// need no search for their place.
/// @param table  a plain table name, as the batch gives it
/// @return the column's number; columns.size() when there is none, or when a trigger could tell the
/// difference
std::size_t findSequentialRowId(sqlite3* database, const std::string& table, const BatchColumns& columns);

}  // namespace vorn
