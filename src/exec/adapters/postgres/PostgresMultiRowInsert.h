#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "exec/adapters/postgres/PostgresExecutor.h"
#include "exec/adapters/postgres/PostgresPipeline.h"
#include "exec/adapters/postgres/PostgresStatements.h"
#include "exec/adapters/store/BatchColumns.h"
#include "exec/adapters/store/StoreConnection.h"

namespace vorn {

/// Runs a plain batch insert of few rows as one statement, inside a transaction with a savepoint around it, in
/// one round trip. It is kept prepared for each number of rows that comes again. The statement's parameters
/// have no type of their own, so each value passes through the input of its column as a literal does.
///
/// Invariants:
/// 1. What a prepared insert takes for the types of its columns is what they are. The server keeps the types
///    of parameters over a change of the table, and would convert from them without a word. So a select of
///    the same columns goes before the insert: the server refuses it when their types have changed, and its
///    lock keeps them as they are up to the insert. An insert is found only with the select that was prepared
///    before it.
/// 2. Where the text might be kept, or be refused for another reason than the prepared insert was, it runs
///    after it. Nothing of the insert is left then.
class PostgresMultiRowInsert {
 public:
  /// @param statements  for at least two
  /// @param target      the table and its columns, as in "t (a, b)"
  PostgresMultiRowInsert(StoreConnection& connection, PostgresExecutor& executor,
                         PostgresStatements& statements, const std::string& table, const std::string& target,
                         const BatchColumns& columns);

  /// @return whether run() can use a prepared insert
  bool prepare();

  /// @return why the preparation was interrupted, which is the outcome of the batch then, or success
  const ExecResult& interruption() const noexcept { return m_interruption; }

  /// Runs the prepared insert, or the text. @param rows  set to the number of rows written
  ExecResult run(std::uint64_t& rows);

 private:
  ExecResult attempt(bool prepared, std::uint64_t& rows, bool& repeat);
  bool makePrepared(PostgresStatement* statement, const std::string& text, const std::string& columns,
                    const std::string& table, std::size_t described);
  void noteSuccess(bool prepared) noexcept;
  bool needsRepeat(const PostgresPipeline& pipeline, std::size_t selectAt, std::size_t insertAt);
  bool readsLiteralsByLength() const;
  bool isConverted() const;
  std::string insertText(bool prepared) const;

  StoreConnection& m_connection;
  PostgresExecutor& m_executor;
  PostgresStatements& m_statements;
  const std::string& m_table;
  const std::string& m_target;
  const BatchColumns& m_columns;
  PostgresStatement* m_select = nullptr;
  PostgresStatement* m_insert = nullptr;
  ExecResult m_interruption;
};

}  // namespace vorn
