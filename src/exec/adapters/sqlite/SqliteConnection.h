#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "exec/adapters/sqlite/SqliteBatchTable.h"
#include "exec/adapters/sqlite/SqliteDatabase.h"
#include "exec/adapters/sqlite/SqliteSettings.h"
#include "exec/adapters/store/StoreConnection.h"

namespace vorn {

/// One connection to an SQLite database.
///
/// Invariants:
/// 1. Once given up, the database has no handle, and every call fails.
/// 2. A connection whose session a statement has changed is not renewed.
/// 3. After a rest in the pool the file is looked at before anything runs.
class SqliteConnection : public StoreConnection {
 public:
  static ExecResult open(const SqliteSettings& settings, std::unique_ptr<StoreConnection>& connection);

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
  explicit SqliteConnection(std::unique_ptr<SqliteDatabase> database);

  ExecResult configure(const SqliteSettings& settings);
  ExecResult settleJournalMode(const SqliteSettings& settings);
  ExecResult runPatiently(const std::string& sql, std::chrono::steady_clock::time_point deadline);
  ExecResult journalMode(std::string& mode);

  SqliteBatchTable m_batchTable;  ///< outlives the database, which calls it
  std::unique_ptr<SqliteDatabase> m_database;
  bool m_idle = false;  ///< in the pool since the file was looked at
};

}  // namespace vorn
