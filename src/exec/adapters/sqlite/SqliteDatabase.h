#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

#include "exec/adapters/sql/StatementShape.h"
#include "exec/adapters/sqlite/SqliteFile.h"
#include "exec/adapters/sqlite/SqliteSessionWatch.h"
#include "exec/adapters/sqlite/SqliteStatement.h"
#include "exec/adapters/store/BufferedCursor.h"
#include "exec/adapters/store/StatementCache.h"

namespace vorn {

/// An open SQLite database: prepares statements, one a text, and runs them.
///
/// Invariants:
/// 1. Once given up, the handle is null, nothing of the database is held open, and every call fails.
/// 2. No cursor is open while anything runs but a read inside a transaction. So a read outside one sees what
///    others have committed, no older snapshot bars a write, and no rollback ends a cursor with other rows.
/// 3. Outside a transaction, and before a commit, the file is looked at: nothing is read from, and nothing is
///    acknowledged into, a file that does not stand under its name any more.
/// 4. A statement is run again only where its names mean what they meant. A statement prepared on an attached
///    database goes on to mean it when another one, which comes earlier, gets a table of the same name; so
///    once a database was attached, each text is prepared anew.
/// 5. Whatever changed the session was seen by the watch, from startWatching() on.
class SqliteDatabase {
 public:
  /// @param flags  of sqlite3_open_v2()
  static ExecResult open(const std::string& file, int flags, std::unique_ptr<SqliteDatabase>& database);

  ~SqliteDatabase();
  SqliteDatabase(const SqliteDatabase&) = delete;
  SqliteDatabase& operator=(const SqliteDatabase&) = delete;

  sqlite3* handle() const noexcept { return m_handle.get(); }
  bool inTransaction() const noexcept { return m_handle && sqlite3_get_autocommit(handle()) == 0; }

  /// The database is set up: what statements do to the session counts from now on.
  void startWatching() noexcept;
  bool sessionChanged() const noexcept { return m_watch.changed(); }

  /// Looks at the file after a time without statements.
  /// @return false when it was moved, replaced or deleted; the database is then given up
  bool lookAfterRest() noexcept;

  void giveUp() noexcept;

  /// Prepares the one statement of a text, or finds it prepared.
  ExecResult prepare(const std::string& sql, SqliteStatement& statement);

  /// How long a statement's literals are used: Copied for as long as it runs, Referred during this call only.
  enum class Texts : unsigned char { Copied, Referred };

  /// Prepares a statement, if it can be with its literals lifted out and bound, so that its like share one.
  ExecResult prepare(const StatementShape& shape, Texts texts, SqliteStatement& statement);

  /// What comes before the first step of every statement of the caller's: see the invariants 2 and 3.
  ExecResult makeReady(const SqliteStatement& statement);

  /// Steps a statement to its end; rows that it returns are dropped.
  /// @param rows  set to the number of rows written
  ExecResult runToEnd(SqliteStatement& statement, std::uint64_t& rows);

  /// Prepares and runs a statement.
  ExecResult run(const std::string& sql);

  /// Resets a statement and keeps it for the next use of its text.
  void finish(SqliteStatement statement) noexcept;

  /// For the cursors: which of them still need the database.
  void addCursor(BufferedCursor* cursor);
  void removeCursor(BufferedCursor* cursor) noexcept;
  void drainCursors() noexcept;

 private:
  struct Closer {
    void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
  };

  explicit SqliteDatabase(std::unique_ptr<sqlite3, Closer> handle);

  ExecResult lookAtFile(bool whole);
  int compile(const std::string& sql, SqliteSessionWatch::Mode mode, SqliteStatement& statement,
              const char*& tail);
  ExecResult prepareOne(const std::string& sql, SqliteStatement& statement);
  bool prepareLifted(const StatementShape& shape, Texts texts, SqliteStatement& statement);
  int bind(SqliteStatement& target, const StatementShape& shape, Texts texts);
  int readReal(std::string_view digits, double& real);
  ExecResult prepareFailure();
  ExecResult refuseTail(const char* tail, const char* end);

  SqliteFile m_file;  ///< outlives the handle
  std::unique_ptr<sqlite3, Closer> m_handle;
  SqliteHandle m_realReader;  ///< has the store itself read a real's digits
  StatementCache<SqliteStatement> m_cache;
  std::vector<BufferedCursor*> m_cursors;
  SqliteSessionWatch m_watch;
  bool m_looked = false;  ///< the file was looked at since the last statement
};

}  // namespace vorn
