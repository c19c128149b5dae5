#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "exec/adapters/sql/SqlDialect.h"
#include "exec/adapters/store/BatchColumns.h"

namespace vorn {

/// Recognises the plain batch insert, `insert into T (a, b) values({a}, {b})` over exactly the given columns.
///
/// The text is compared byte for byte with what the columns make. Every name must be a plain or double-quoted
/// identifier, so that its end is unambiguous.
/// @param table  set to T
bool isPlainBatchInsert(const std::string& sql, const BatchColumns& columns, std::string& table);

/// Replaces every `{name}` outside of literals, quoted identifiers and comments by the dialect's marker and
/// the column's number from 1 on (`?1`, `$1`), or by the marker alone where the dialect has no numbers.
/// @param order  where to append the column of each placeholder, or null
/// @return a failure for a placeholder without a column, or a column without a placeholder
ExecResult numberPlaceholders(const std::string& sql, const BatchColumns& columns, const SqlDialect& dialect,
                              std::string& result, std::vector<std::size_t>* order = nullptr);

}  // namespace vorn
