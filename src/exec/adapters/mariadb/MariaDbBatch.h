#pragma once

#include <mysql.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "exec/adapters/mariadb/MariaDbExecutor.h"
#include "exec/adapters/mariadb/MariaDbStatement.h"
#include "exec/adapters/store/BatchColumns.h"
#include "exec/adapters/store/StoreConnection.h"

namespace vorn {

/// Runs one statement for every row of a parameter set, all rows or none.
///
/// The statement is prepared, and its parameters are bound column by column: numbers where they stand in the caller's
/// columns, texts by their addresses and lengths. It is executed for many rows at once, for as many as go into one
/// packet. A statement that the server does not execute for many rows is executed row by row.
///
/// A value means what a literal of it means. What no literal can say, a real that is not finite, is refused.
///
/// Invariant: rows that go out together do so inside a transaction, whose commit is the caller's or this class's own.
class MariaDbBatch {
 public:
  /// @param connection  the executor's, for the transaction or savepoint around the batch
  /// @param statements  those of batches that are kept prepared
  MariaDbBatch(StoreConnection& connection, MariaDbExecutor& executor,
               StatementCache<MariaDbStatement>& statements, const BatchColumns& columns);

  /// @param rows  set to the number of rows written
  ExecResult run(const std::string& sql, std::uint64_t& rows);

 private:
  /// The texts of a column's rows in work, as the client library takes them.
  struct Texts {
    std::vector<char*> bytes;
    std::vector<unsigned long> sizes;
  };

  ExecResult checkValues() const;
  bool isOneStatement() const;
  bool takesArrays() const noexcept;
  ExecResult runAlone(const std::string& marked, std::uint64_t& rows);
  ExecResult runInScope(const std::string& marked, std::uint64_t& rows);
  ExecResult prepare(const std::string& marked);
  void keepStatement() noexcept;
  ExecResult runChunks(std::uint64_t& rows);
  ExecResult runRows(std::size_t first, std::size_t count, bool atOnce, std::uint64_t* rows);
  ExecResult execute(std::size_t first, unsigned count, bool atOnce, std::uint64_t* rows);
  void bind(std::size_t first, std::size_t count, bool atOnce);
  std::size_t sizeOf(std::size_t row) const;
  std::size_t rowsWithin(std::size_t first, std::size_t size) const;
  ExecResult nextChunk(std::size_t first, std::size_t& count);

  StoreConnection& m_connection;
  MariaDbExecutor& m_executor;
  StatementCache<MariaDbStatement>& m_statements;
  const BatchColumns& m_columns;
  MariaDbStatement m_statement;
  bool m_isKnown = false;                 ///< whether it was prepared before
  const std::string* m_marked = nullptr;  ///< its text, with a mark for each parameter
  StatementEffects m_effects;
  std::vector<std::size_t> m_order;  ///< the column of each parameter
  std::vector<MYSQL_BIND> m_binds;   ///< by parameter
  std::vector<Texts> m_texts;        ///< by column
};

}  // namespace vorn
