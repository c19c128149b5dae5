#pragma once

#include <string>
#include <vector>

#include "exec/adapters/postgres/PostgresBatchParameters.h"
#include "exec/adapters/postgres/PostgresExecutor.h"
#include "exec/adapters/postgres/PostgresStatements.h"
#include "exec/adapters/store/BatchColumns.h"
#include "exec/adapters/store/BatchScope.h"
#include "exec/adapters/store/StoreConnection.h"

namespace vorn {

/// Runs one statement for every row of a parameter set, all rows or none.
///
/// Invariant: every value passes through the input of its own column, as the literal of a single insert does.
/// A plain insert of few rows is one statement, see PostgresMultiRowInsert. One of many rows goes as COPY where
/// that means the same, and otherwise as inserts of many rows each, whose values are literals without a type.
/// Whether it means the same is looked up under the lock that
/// the insert itself takes, so that nobody can change the answer before the rows are there. Any other
/// statement is prepared and run row by row, many rows a round trip.
class PostgresBatch {
 public:
  /// @param connection  the executor's, for the transaction or savepoint around the batch
  /// @param statements  the connection's prepared ones, of batches alone
  PostgresBatch(StoreConnection& connection, PostgresExecutor& executor, PostgresStatements& statements,
                const BatchColumns& columns);

  /// @param rows  set to the number of rows written
  ExecResult run(const std::string& sql, std::uint64_t& rows);

 private:
  /// What the server says about the target of an insert.
  struct Target {
    bool canCopy = false;
    bool isPostgres = false;  ///< rather than another engine that speaks the protocol
    std::vector<Oid> types;   ///< of the columns of the batch
  };

  template <typename Work>
  ExecResult runInScope(const Work& work, std::uint64_t& rows);
  ExecResult insertColumns(std::uint64_t& rows);
  ExecResult insertColumnsOnce(std::uint64_t& rows, bool& repeat);
  ExecResult inspect(BatchScope& scope, Target& target, bool& isUnknown);
  ExecResult insertByCopy(const Target& target, const char* after, std::uint64_t& rows);
  template <typename Format>
  ExecResult copy(const Format& format, const std::string& destination, const char* after,
                  std::uint64_t& rows);
  ExecResult insertLiterals(std::uint64_t& rows);
  std::size_t textBytes() const;
  ExecResult runRowByRow(const std::string& sql, std::uint64_t& rows);
  ExecResult runRows(std::size_t first, std::size_t last, PostgresBatchParameters& parameters,
                     std::uint64_t& rows);

  StoreConnection& m_connection;
  PostgresExecutor& m_executor;
  PostgresChannel& m_channel;
  PostgresStatements& m_statements;
  const BatchColumns& m_columns;
  std::string m_table;   ///< of a plain insert
  std::string m_target;  ///< the table and its columns
};

}  // namespace vorn
