#pragma once

#include <memory>
#include <string>

#include "exec/adapters/store/StoreConnection.h"
#include "template_store/TemplateDatabase.h"
#include "template_store/TemplateSettings.h"

namespace vorn {

/// One connection to a template store. What it promises, StoreConnection says.
class TemplateConnection : public StoreConnection {
 public:
  /// Connects, and settles the session: every default of a server or a role that would change what is stored
  /// or read.
  static ExecResult open(const TemplateSettings& settings, std::shared_ptr<scripted::Database> shared,
                         std::unique_ptr<StoreConnection>& connection);

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
  explicit TemplateConnection(std::unique_ptr<scripted::Session> session);

  ExecResult run(const char* statement);
  ExecResult runToEnd(const std::string& sql, std::uint64_t& rows);

  TemplateDatabase m_database;
};

}  // namespace vorn
