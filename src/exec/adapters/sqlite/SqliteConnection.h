#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

#include "exec/adapters/BatchColumns.h"
#include "exec/adapters/Store.h"
#include "exec/adapters/sqlite/SqliteBatchTable.h"
#include "exec/adapters/sqlite/SqliteLiftedInsert.h"
#include "exec/adapters/sqlite/SqliteStatementCache.h"

namespace vorn {

class SqliteCursor;
struct SqliteSettings;

/// One connection to an SQLite database.
class SqliteConnection : public StoreConnection {
 public:
  static ExecResult open(const SqliteSettings& settings, std::unique_ptr<StoreConnection>& connection);

  ~SqliteConnection() override;
  SqliteConnection(const SqliteConnection&) = delete;
  SqliteConnection& operator=(const SqliteConnection&) = delete;

  bool usable() noexcept override { return !m_givenUp; }
  bool inTransaction() const noexcept override;
  bool renew() noexcept override { return true; }
  void giveUp() noexcept override { m_givenUp = true; }
  void drainCursors() noexcept override;
  ExecResult begin() override;
  ExecResult commit() override;
  ExecResult rollback() override;
  ExecResult read(const std::string& sql, std::unique_ptr<StoreCursor>& cursor) override;
  ExecResult write(const std::string& sql, std::uint64_t& rows) override;
  ExecResult batch(const std::string& sql, const TypedRef& parameters, std::uint64_t& rows) override;

  /// For the cursors: which of them still need the connection.
  void addCursor(SqliteCursor* cursor);
  void removeCursor(SqliteCursor* cursor);

  /// Resets a statement and keeps it for the next use of its text.
  void finish(SqliteStatement statement);

 private:
  struct Closer {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
  };

  explicit SqliteConnection(std::unique_ptr<sqlite3, Closer> database);

  ExecResult configure(const SqliteSettings& settings);
  ExecResult prepare(const std::string& sql, SqliteStatement& statement);
  bool prepareLifted(const std::string& sql, SqliteStatement& statement);
  ExecResult prepareOne(const std::string& sql, SqliteStatement& statement);
  ExecResult refuseTail(const char* tail, const char* end);
  ExecResult run(const std::string& sql);
  ExecResult runToEnd(SqliteStatement& statement, std::uint64_t& rows);
  ExecResult insertColumns(const std::string& table, const BatchColumns& columns, std::uint64_t& rows);
  ExecResult insertRows(const std::string& table, const BatchColumns& columns,
                        const std::vector<std::size_t>& order, std::size_t numbered,
                        SqliteBatchTable::Range range, std::uint64_t& rows);
  std::vector<std::size_t> inTableOrder(const std::string& table, const BatchColumns& columns);
  ExecResult runRowByRow(const std::string& sql, const BatchColumns& columns, std::uint64_t& rows);
  ExecResult abandonBatch(bool ownTransaction, ExecResult failure);

  std::unique_ptr<sqlite3, Closer> m_database;
  SqliteBatchTable m_batchTable;
  SqliteLiftedInsert m_lifted;
  SqliteStatementCache m_cache;
  std::vector<SqliteCursor*> m_cursors;
  bool m_givenUp = false;
};

}  // namespace vorn
