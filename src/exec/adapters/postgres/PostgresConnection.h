#pragma once

#include <memory>
#include <string>

#include "exec/adapters/postgres/PostgresExecutor.h"
#include "exec/adapters/postgres/PostgresShapes.h"
#include "exec/adapters/postgres/PostgresStatements.h"
#include "exec/adapters/postgres/PostgresWriteEffects.h"
#include "exec/adapters/store/StoreConnection.h"

namespace vorn {

/// One connection to a PostgreSQL server.
///
/// Invariant: a connection that goes back to the pool with a session that a statement may have changed is
/// reset there, or closed. What holds of its conversation with the server, PostgresExecutor says.
class PostgresConnection : public StoreConnection {
 public:
  static ExecResult open(const PostgresSettings& settings, std::unique_ptr<StoreConnection>& connection);

  const SqlDialect& dialect() const noexcept override;
  bool usable() noexcept override;
  bool inTransaction() const noexcept override;
  bool renew() noexcept override;
  void giveUp() noexcept override;
  void drainCursors() noexcept override;
  ExecResult begin() override;
  ExecResult commit() override;
  ExecResult rollback() override;
  ExecResult read(const StatementShape& shape, std::unique_ptr<StoreCursor>& cursor) override;
  ExecResult write(const StatementShape& shape, std::uint64_t& rows) override;
  ExecResult batch(const std::string& sql, const BatchColumns& columns, std::uint64_t& rows) override;

 private:
  PostgresConnection(std::unique_ptr<PostgresChannel> channel, const PostgresSettings& settings);

  ExecResult configure();
  bool resetSession();
  template <typename Take>
  ExecResult run(const StatementShape& shape, const Take& take);

  PostgresExecutor m_executor;
  PostgresWriteEffects m_effects;
  PostgresStatements m_statements;
  PostgresShapes m_shapes;
  PostgresStatements m_batchStatements;  ///< apart, so that batches of many sizes push no others out
};

}  // namespace vorn
