#pragma once

#include <string>
#include <vector>

#include "exec/adapters/sqlite/SqliteBatchTable.h"
#include "exec/adapters/sqlite/SqliteDatabase.h"
#include "exec/adapters/store/BatchColumns.h"
#include "exec/adapters/store/StoreConnection.h"

namespace vorn {

/// Runs one statement for every row of a parameter set, all rows or none.
///
/// Invariant: for any table and any number of rows, what a plain insert stores, and whether it is refused,
/// equals one `insert … values (…),(…)` of all rows. So it is one statement, whose rows come from a virtual
/// table over the parameter set. Any other statement is prepared and run row by row.
class SqliteBatch {
 public:
  /// @param connection  the database's, for the transaction or savepoint around the batch
  /// @param table  the database's
  SqliteBatch(StoreConnection& connection, SqliteDatabase& database, SqliteBatchTable& table,
              const BatchColumns& columns);

  /// @param rows  set to the number of rows written
  ExecResult run(const std::string& sql, std::uint64_t& rows);

 private:
  ExecResult insertColumns(const std::string& target, std::uint64_t& rows);
  std::vector<std::size_t> inTableOrder(const std::string& target);
  ExecResult runRowByRow(const std::string& sql, std::uint64_t& rows);
  ExecResult runRow(SqliteStatement& statement, std::size_t row);

  StoreConnection& m_connection;
  SqliteDatabase& m_database;
  SqliteBatchTable& m_table;
  const BatchColumns& m_columns;
};

}  // namespace vorn
