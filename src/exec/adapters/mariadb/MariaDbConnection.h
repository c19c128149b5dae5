#pragma once

#include <memory>
#include <string>

#include "exec/adapters/mariadb/MariaDbExecutor.h"
#include "exec/adapters/mariadb/MariaDbSettings.h"
#include "exec/adapters/mariadb/MariaDbShapes.h"
#include "exec/adapters/store/StoreConnection.h"

namespace vorn {

/// One connection to a MariaDB server.
///
/// Invariant: a connection that goes back to the pool with a session that a statement may have changed is reset there,
/// or closed. What holds of its conversation with the server, MariaDbExecutor says.
class MariaDbConnection : public StoreConnection {
 public:
  static ExecResult open(const MariaDbSettings& settings, std::unique_ptr<StoreConnection>& connection);

  const SqlDialect& dialect() const noexcept override;
  bool usable() noexcept override;
  bool inTransaction() const noexcept override;
  bool mayHaveCommitted() const noexcept override { return m_mayHaveCommitted; }
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
  MariaDbConnection(std::unique_ptr<MariaDbChannel> channel, const MariaDbSettings& settings);

  ExecResult settle();
  bool resetSession();
  template <typename Work>
  ExecResult judge(const StatementEffects& effects, const Work& work);
  ExecResult sendText(const StatementShape& shape, StatementEffects& effects);
  template <typename Take>
  ExecResult run(const StatementShape& shape, StatementEffects& effects, const Take& take);
  MariaDbExecutor m_executor;
  MariaDbShapes m_shapes;
  StatementCache<MariaDbStatement> m_batchStatements;  ///< after the executor, which has their channel
  const MariaDbSettings& m_settings;                   ///< the driver's, which outlives its connections
  std::string m_role;                                  ///< of the session as it was opened
  bool m_mayHaveCommitted = false;
};

}  // namespace vorn
