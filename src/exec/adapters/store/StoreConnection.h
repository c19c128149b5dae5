#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "exec/adapters/sql/StatementShape.h"
#include "exec/adapters/store/BatchColumns.h"
#include "exec/adapters/store/StoreCursor.h"
#include "vorn/platform/data_session.h"

namespace vorn {

/// One connection to a store. It serves one thread at a time and may change threads in between. Destroying it
/// undoes its transaction.
///
/// Every failure is an ExecResult. Only allocation failures throw; after one the caller asks usable() and
/// inTransaction(), and gives the connection up where a transaction is open that nobody began.
class StoreConnection {
 public:
  virtual ~StoreConnection() = default;

  /// @return how the store writes its SQL; the statements that it is handed are read by it
  virtual const SqlDialect& dialect() const noexcept = 0;

  /// Looks, without a round trip, whether the connection can still be used. Asked before every statement, so
  /// it has to cost next to nothing on a connection that was used just now.
  virtual bool usable() noexcept = 0;

  /// @return whether the store sees an open transaction, however it was begun: by begin(), by a text, or by a
  ///         call that failed half-way. False once the connection is known to be gone.
  virtual bool inTransaction() const noexcept = 0;

  /// @return whether the last statement has failed and has ended a transaction which it may have committed before
  ///         that, as statements that define the schema do in some stores
  virtual bool mayHaveCommitted() const noexcept { return false; }

  /// Makes a connection without a transaction and without an open cursor as a fresh one: what statements did
  /// to its session (settings, role, temporary or attached objects, locks, listening) is undone. Where they
  /// did nothing it costs nothing.
  /// @return false when the connection has to be closed instead
  virtual bool renew() noexcept = 0;

  /// Gives the connection up: it is not usable() any more, its open cursors end with a failure, and its
  /// transaction is undone. It may be given up twice, and is then only destroyed.
  virtual void giveUp() noexcept = 0;

  /// Moves what the open cursors have not delivered yet into memory, so that nothing but a transaction still
  /// needs the connection. A cursor for which there is no memory ends with a failure.
  virtual void drainCursors() noexcept = 0;

  virtual ExecResult begin() = 0;

  /// A commit that fails may leave the transaction open or have ended it; inTransaction() says which. One
  /// that the store answers with a rollback is a failure.
  virtual ExecResult commit() = 0;
  virtual ExecResult rollback() = 0;

  // The three below take exactly one statement and send it once. A text with a second one is refused whole
  // with MultipleStatements, one without any with EmptyStatement. A statement that broke off with its
  // connection is ConnectionLost: it may have been carried out, so it is not sent again. Where a statement's
  // literals are lifted, a store may run a prepared statement of its shape, if everything that comes of it is
  // what comes of the text.

  /// Runs one statement and fetches its first row. A statement without rows gives a cursor at its end; one
  /// that writes and returns rows has been read to its end, as it may still fail after the last of them.
  /// @param cursor  set on success only
  virtual ExecResult read(const StatementShape& statement, std::unique_ptr<StoreCursor>& cursor) = 0;

  /// Runs one statement; rows that it returns are dropped.
  /// @param rows  set to the number of rows written
  virtual ExecResult write(const StatementShape& statement, std::uint64_t& rows) = 0;

  /// Runs one statement for every row of a parameter set, all rows or none. A transaction that was open
  /// before is open afterwards. See BatchScope.
  /// @param rows  set to the number of rows written, 0 on failure
  virtual ExecResult batch(const std::string& sql, const BatchColumns& columns, std::uint64_t& rows) = 0;
};

}  // namespace vorn
