#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "exec/adapters/store/BatchColumns.h"
#include "exec/adapters/store/StoreCursor.h"
#include "vorn/platform/data_session.h"

namespace vorn {

/// One connection to a store. It serves one thread at a time and may change threads in between.
class StoreConnection {
 public:
  virtual ~StoreConnection() = default;

  /// Looks, without a round trip, whether the connection can still be used.
  virtual bool usable() noexcept = 0;

  /// @return whether the store sees an open transaction, however it was begun
  virtual bool inTransaction() const noexcept = 0;

  /// Makes a connection without a transaction and without an open cursor as a fresh one: what statements did
  /// to its session (settings, role, temporary or attached objects, locks, listening) is undone. Where they
  /// did nothing it costs nothing.
  /// @return false when the connection has to be closed instead
  virtual bool renew() noexcept = 0;

  /// Gives the connection up: it is not usable() any more, its open cursors end with a failure, and its
  /// transaction is undone.
  virtual void giveUp() noexcept = 0;

  /// Moves what the open cursors have not delivered yet into memory, so that nothing but a transaction still
  /// needs the connection. A cursor for which there is no memory ends with a failure.
  virtual void drainCursors() noexcept = 0;

  virtual ExecResult begin() = 0;
  virtual ExecResult commit() = 0;
  virtual ExecResult rollback() = 0;

  /// Runs one statement and fetches its first row. A statement without rows gives a cursor at its end.
  virtual ExecResult read(const std::string& sql, std::unique_ptr<StoreCursor>& cursor) = 0;

  /// Runs one statement; rows that it returns are dropped.
  /// @param rows  set to the number of rows written
  virtual ExecResult write(const std::string& sql, std::uint64_t& rows) = 0;

  /// Runs one statement for every row of a parameter set, all rows or none. A transaction that was open
  /// before is open afterwards.
  virtual ExecResult batch(const std::string& sql, const BatchColumns& columns, std::uint64_t& rows) = 0;
};

}  // namespace vorn
