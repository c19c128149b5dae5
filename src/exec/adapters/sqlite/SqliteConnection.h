#pragma once

#include <sqlite3.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "exec/adapters/sqlite/SqliteBatchTable.h"
#include "exec/adapters/sqlite/SqliteFile.h"
#include "exec/adapters/sqlite/SqliteLiftedInsert.h"
#include "exec/adapters/sqlite/SqliteSessionWatch.h"
#include "exec/adapters/sqlite/SqliteStatementCache.h"
#include "exec/adapters/store/BatchColumns.h"
#include "exec/adapters/store/StoreConnection.h"

namespace vorn {

class SqliteCursor;
struct SqliteSettings;

/// One connection to an SQLite database.
///
/// Invariants:
/// 1. Once given up, m_database is null, nothing of the connection is held open, and every call fails.
/// 2. No cursor is open while anything runs but a read inside a transaction. So a read outside one sees what
///    others have committed, no older snapshot bars a write, and no rollback ends a cursor with other rows.
/// 3. Outside a transaction, and before a commit, the file is looked at: nothing is read from, and nothing is
///    acknowledged into, a file that does not stand under its name any more.
/// 4. Whatever changed the session was seen by m_watch; such a connection is not renewed.
class SqliteConnection : public StoreConnection {
 public:
  static ExecResult open(const SqliteSettings& settings, std::unique_ptr<StoreConnection>& connection);

  ~SqliteConnection() override;
  SqliteConnection(const SqliteConnection&) = delete;
  SqliteConnection& operator=(const SqliteConnection&) = delete;

  bool usable() noexcept override;
  bool inTransaction() const noexcept override;
  bool renew() noexcept override;
  void giveUp() noexcept override;
  void drainCursors() noexcept override;
  ExecResult begin() override;
  ExecResult commit() override;
  ExecResult rollback() override;
  ExecResult read(const std::string& sql, std::unique_ptr<StoreCursor>& cursor) override;
  ExecResult write(const std::string& sql, std::uint64_t& rows) override;
  ExecResult batch(const std::string& sql, const BatchColumns& columns, std::uint64_t& rows) override;

  /// For the cursors: which of them still need the connection.
  void addCursor(SqliteCursor* cursor);
  void removeCursor(SqliteCursor* cursor) noexcept;

  /// Resets a statement and keeps it for the next use of its text.
  void finish(SqliteStatement statement) noexcept;

 private:
  struct Closer {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
  };

  explicit SqliteConnection(std::unique_ptr<sqlite3, Closer> database);

  ExecResult configure(const SqliteSettings& settings);
  ExecResult settleJournalMode(const SqliteSettings& settings);
  ExecResult runPatiently(const std::string& sql, std::chrono::steady_clock::time_point deadline);
  ExecResult journalMode(std::string& mode);
  ExecResult makeReady(const SqliteStatement& statement);
  ExecResult lookAtFile(bool whole);
  ExecResult prepare(const std::string& sql, SqliteStatement& statement);
  bool prepareLifted(const std::string& sql, SqliteStatement& statement);
  ExecResult prepareOne(const std::string& sql, SqliteStatement& statement);
  ExecResult prepareFailure();
  ExecResult refuseTail(const char* tail, const char* end);
  ExecResult run(const std::string& sql);
  ExecResult runToEnd(SqliteStatement& statement, std::uint64_t& rows);
  ExecResult insertColumns(const std::string& table, const BatchColumns& columns, std::uint64_t& rows);
  std::vector<std::size_t> inTableOrder(const std::string& table, const BatchColumns& columns);
  ExecResult runRowByRow(const std::string& sql, const BatchColumns& columns, std::uint64_t& rows);

  SqliteFile m_file;  ///< outlives m_database
  std::unique_ptr<sqlite3, Closer> m_database;
  SqliteBatchTable m_batchTable;
  SqliteLiftedInsert m_lifted;
  SqliteStatementCache m_cache;
  std::vector<SqliteCursor*> m_cursors;
  SqliteSessionWatch m_watch;
  bool m_idle = false;    ///< in the pool since the file was looked at
  bool m_looked = false;  ///< the file was looked at since the last statement
};

}  // namespace vorn
