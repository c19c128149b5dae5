#pragma once

#include <cstdint>

#include "exec/adapters/store/StoreConnection.h"

namespace vorn {

/// The transaction around one batch, or the savepoint inside the caller's. The store's write() has to
/// understand `savepoint S`, `rollback to savepoint S` and `release savepoint S`, and no statement of the
/// batch may be unfinished when the scope is closed.
///
/// Invariants:
/// 1. A batch that was not kept by close() is undone when the scope ends, by an exception too.
/// 2. What cannot be undone takes its connection along, and with that the caller's transaction, which is then
///    reported as lost. So no batch is ever kept in part.
/// 3. The caller's transaction is open after the scope if it was open before, unless the store ended it.
class BatchScope {
 public:
  explicit BatchScope(StoreConnection& connection);
  ~BatchScope();
  BatchScope(const BatchScope&) = delete;
  BatchScope& operator=(const BatchScope&) = delete;

  /// Begins the transaction, or sets the savepoint.
  ExecResult open();

  /// Keeps the batch if it succeeded, and undoes it otherwise.
  /// @param outcome  of the batch
  /// @param rows  set to 0 when nothing was kept
  /// @return the batch's outcome, or why it could not be kept
  ExecResult close(ExecResult outcome, std::uint64_t& rows);

  /// For a store that opens the scope and keeps the batch in round trips of its own: the statements for that.
  const char* openingText() const noexcept { return m_nested ? kSetSavepoint : "begin"; }
  const char* keepingText() const noexcept { return m_nested ? kReleaseSavepoint : "commit"; }
  /// Takes note that these have succeeded.
  void setOpen() noexcept { m_open = true; }
  void setKept() noexcept { m_open = false; }

  /// @return whether the caller had a transaction open
  bool nested() const noexcept { return m_nested; }

 private:
  static constexpr char kSetSavepoint[] = "savepoint vorn_batch";
  static constexpr char kReleaseSavepoint[] = "release savepoint vorn_batch";

  ExecResult run(const char* statement);
  void undo() noexcept;

  StoreConnection& m_connection;
  const bool m_nested;
  bool m_open = false;
};

}  // namespace vorn
