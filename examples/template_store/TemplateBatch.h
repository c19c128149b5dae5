#pragma once

#include <cstdint>
#include <string>

#include "exec/adapters/store/BatchColumns.h"
#include "exec/adapters/store/StoreConnection.h"
#include "template_store/TemplateDatabase.h"

namespace vorn {

/// Runs one statement for every row of a parameter set, all rows or none.
///
/// It prepares the statement once and binds row after row, which is right for every statement. The faster way
/// of a store (columns at once, a bulk protocol) goes before it, for the texts that isPlainBatchInsert()
/// knows, and only where it stores the same.
class TemplateBatch {
 public:
  /// @param connection  the database's, for the transaction or savepoint around the batch
  TemplateBatch(StoreConnection& connection, TemplateDatabase& database, const BatchColumns& columns);

  /// @param rows  set to the number of rows written
  ExecResult run(const std::string& sql, std::uint64_t& rows);

 private:
  ExecResult checkValues() const;
  ExecResult runRowByRow(const std::string& sql, std::uint64_t& rows);

  StoreConnection& m_connection;
  TemplateDatabase& m_database;
  const BatchColumns& m_columns;
};

}  // namespace vorn
